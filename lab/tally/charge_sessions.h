// charge_sessions: each stretch of time on a charger, what it brought and why it ended; and the charge that went
// through the cell in all.
//
// A session lasts while the status says that a charger is there (util/status.h). The charge is counted from the
// current at each cycle, which holds until the next one when that comes within MAX_HELD_S; the rest of the time is
// `unmeasured_s`.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "lab/session/cycle.h"

namespace lab {

struct charge_session {
    enum class end : std::uint8_t {
        going_on,   // the run ended before it did
        unplugged,  // while it was not full
        full,       // unplugged while it was full
        off,        // the daemon was started anew: what happened meanwhile is not known
    };
    std::int64_t from_t = 0;  // axis seconds
    std::int64_t to_t = 0;
    std::optional<std::int32_t> from_pct, to_pct;  // the gauge's state of charge
    std::int64_t charge_mas = 0;                   // mA s into the cell, less what went out meanwhile
    std::int64_t unmeasured_s = 0;
    std::optional<std::int32_t> peak_decic;
    bool was_stopped = false;  // the daemon stopped charging in it
    bool was_full = false;
    end ended = end::going_on;
};

class charge_sessions {
  public:
    static constexpr std::int64_t MAX_HELD_S = 600;
    static constexpr std::size_t MAX_SESSIONS = 4000;  // of more the earliest are kept, the rest counted

    // One cycle with what the daemon saw, in order, at moment `t` of the axis, which never falls.
    void add(std::int64_t t, const cycle& after);

    // The one that goes on, if any, is the last.
    std::vector<charge_session> all() const;
    std::uint64_t seen() const { return seen_; }
    // mA s that went into the cell plus what came out, so far.
    std::int64_t moved_mas() const { return moved_mas_; }

  private:
    void count_charge(std::int64_t held_s);
    void close(charge_session::end how);

    std::vector<charge_session> finished_;
    std::optional<charge_session> open_;
    std::uint64_t seen_ = 0;
    std::int64_t moved_mas_ = 0;
    bool has_cycle_ = false, is_full_ = false;
    std::int64_t last_t_ = 0, boot_ = 0;
    std::optional<std::int32_t> last_ma_;
};

}  // namespace lab
