// How far two signals that ought to turn together turn apart.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace lab {

class turn_lags {
  public:
    // The signal is on or off at this second. The first time is no turn, nor is the same again.
    void follower(bool is_on, std::int64_t at_s) { take(follower_, leader_, is_on, at_s, 1); }
    void leader(bool is_on, std::int64_t at_s) { take(leader_, follower_, is_on, at_s, -1); }

    std::size_t count() const { return lags_s_.size(); }
    // Of the follower behind the leader, in the middle of all; where there are two middles, the smaller one: half of
    // them are that far apart, to the same side. Negative: before it.
    std::int64_t middle_s() const;

  private:
    struct signal {
        std::optional<bool> is_on;
        std::optional<std::int64_t> turned_s;  // and the other has not yet
    };
    void take(signal& mine, signal& other, bool is_on, std::int64_t at_s, int sign);

    signal follower_, leader_;
    std::vector<std::int64_t> lags_s_;
};

}  // namespace lab
