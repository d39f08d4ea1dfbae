// close_ups: every single cycle of the time around a moment that matters, however much the run is thinned.
//
//     cycles    . . . . . . . . . . . . . . . . . . . . . . .
//     moment                  ^
//     close-up      [ . . . . . . . . . . . ]                  HALF_S on both sides
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "lab/report/thinned_list.h"

namespace lab {

class close_ups {
  public:
    static constexpr std::int64_t HALF_S = 1200;
    static constexpr std::size_t MAX_CYCLES = 600;    // of one close-up, and kept for the next one
    static constexpr std::size_t MAX_CLOSE_UPS = 16;  // more are thinned evenly

    struct taken {
        std::int64_t t = 0;  // axis seconds
        std::vector<std::int32_t> values;
        std::uint32_t states = 0;
    };
    using close_up = std::vector<taken>;  // cycles one after the other, at least one

    // One cycle, as thinned_series::add.
    void add(std::int64_t t, std::span<const std::int32_t> values, std::uint32_t states);
    // What has just happened, in the last cycle or shortly before, is worth a close-up.
    void mark();
    // The run is over; to be called once.
    void finish();

    // In order, apart from each other.
    const std::vector<thinned_list<close_up>::entry>& all() const { return finished_.entries(); }

  private:
    close_up recent();

    std::vector<taken> ring_;  // the cycles before now, here so that a cycle allocates nothing
    std::size_t ring_begin_ = 0, ring_size_ = 0;
    std::optional<close_up> open_;
    std::int64_t until_t_ = 0;  // of the open one
    std::int64_t last_t_ = 0;
    thinned_list<close_up> finished_{MAX_CLOSE_UPS, SIZE_MAX};
};

}  // namespace lab
