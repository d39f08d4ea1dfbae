// The values of a node: how many, how far, in the middle; in constant memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lab {

class value_range {
  public:
    void add(std::int64_t value);

    std::uint64_t count() const { return count_; }
    std::uint64_t changes() const { return changes_; }  // from one value to the next
    std::int64_t least() const { return least_; }
    std::int64_t greatest() const { return greatest_; }
    // Of all values, or of every so many evenly; 0 when there are none. `share` from 0 to 1.
    std::int64_t quantile(double share) const;
    std::int64_t magnitude(double share) const;  // of the values without their signs

  private:
    static constexpr std::size_t MOST_KEPT = 4096;
    std::uint64_t count_ = 0, changes_ = 0, every_ = 1;
    std::int64_t last_ = 0, least_ = INT64_MAX, greatest_ = INT64_MIN;
    std::vector<std::int64_t> kept_;
};

}  // namespace lab
