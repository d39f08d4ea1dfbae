// thinned_series: what happened in any number of cycles, in a fixed number of buckets, without losing a peak.
//
//     cycles    . . . . . . . . . . . . . . . .       every bucket covers the same number of cycles;
//     buckets   [ . . ][ . . ][ . . ][ . . ]          when all are in use, each two neighbours become one
//               [ . . . . . . ][ . . . . . . ]        and the number doubles
//
// A bucket keeps, for each channel, the least, the greatest and the mean value; for each state, in how many of its
// cycles the state held. The memory is that of CAPACITY buckets, whatever the run.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace lab {

class thinned_series {
  public:
    static constexpr std::int32_t NO_VALUE = std::numeric_limits<std::int32_t>::min();
    static constexpr std::size_t CAPACITY = 65536;  // a week of 10 s cycles stays as it is

    struct range {
        std::int32_t least = NO_VALUE;  // NO_VALUE: the channel had no value in this bucket
        std::int32_t greatest = NO_VALUE;
        std::int64_t sum = 0;     // of the values; of 2^32 cycles at most, so that it cannot overflow
        std::uint32_t count = 0;  // cycles with a value

        // Of one cycle.
        static range of(std::int32_t value) {
            return value == NO_VALUE ? range{} : range{value, value, value, 1};
        }
        void take(const range& other) {
            if (other.count == 0) return;
            least = count == 0 ? other.least : std::min(least, other.least);
            greatest = std::max(greatest, other.greatest);  // NO_VALUE is the least of all
            sum += other.sum;
            count += other.count;
        }
        double mean() const { return count == 0 ? 0.0 : static_cast<double>(sum) / count; }
    };
    struct extent {
        std::int64_t first_t = 0;  // axis seconds of the first and the last cycle in the bucket
        std::int64_t last_t = 0;
        std::uint32_t cycles = 0;
    };

    // `capacity` is even and at least 2.
    thinned_series(std::size_t channels, std::size_t states, std::size_t capacity = CAPACITY);

    // One cycle at moment `t`: a value (or NO_VALUE) for each channel, a bit (the lowest is state 0) for each state.
    void add(std::int64_t t, std::span<const std::int32_t> values, std::uint32_t states);

    std::size_t channels() const { return channels_; }
    std::size_t states() const { return states_; }
    std::size_t size() const { return extents_.size(); }  // buckets in use
    std::uint64_t cycles() const { return cycles_; }      // cycles added in all
    std::uint32_t cycles_per_bucket() const { return cycles_per_bucket_; }

    const extent& bucket(std::size_t index) const { return extents_[index]; }
    const range& value(std::size_t channel, std::size_t index) const {
        return values_[index * channels_ + channel];
    }
    std::uint32_t cycles_in_state(std::size_t state, std::size_t index) const {
        return cycles_in_state_[index * states_ + state];
    }

  private:
    void open_bucket(std::int64_t t, std::span<const std::int32_t> values);
    void halve();

    std::size_t channels_, states_, capacity_;
    std::uint32_t cycles_per_bucket_ = 1;
    std::uint64_t cycles_ = 0;
    std::vector<extent> extents_;
    std::vector<range> values_;                   // bucket by bucket, each channel by channel
    std::vector<std::uint32_t> cycles_in_state_;  // likewise
};

}  // namespace lab
