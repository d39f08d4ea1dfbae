// run_clock: one time axis for a run whose own clocks restart, repeat, sleep and jump.
//
//     boot 1            off        boot 2
//     |--elapsed_s--->|          |--elapsed_s-->|      the daemon's boot clock, from zero in each boot
//     0 . . . . . . . . . . . . . . . . . . . . . >    the axis: seconds since the first moment of the run
//
// Within a boot the axis advances with the boot clock. Across a boot it advances with the wall clock, which is
// the only one that ran meanwhile, unless that clock went back or more than MAX_OFF_S ahead (it was lost): then it
// stands still. The axis never falls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lab {

class run_clock {
  public:
    static constexpr std::int64_t MAX_OFF_S =
        std::int64_t{2} * 365 * 86400;                // a longer gap between boots is not believed
    static constexpr std::int64_t TOLERANCE_S = 120;  // a wall clock further off its course has jumped
    static constexpr std::size_t MAX_JUMPS = 500;     // more are counted, not listed

    // From moment `t` of the axis on the wall clock was `t + offset_s`.
    struct stretch {
        std::int64_t t;
        std::int64_t offset_s;
    };

    // The moment on the axis, in seconds, of something that was seen at these three readings. In order of events.
    // Without a wall clock (`real_time_s` 0 or less) a new boot follows the one before at once.
    std::int64_t at(std::int64_t boot, std::int64_t elapsed_s, std::int64_t real_time_s);

    std::int64_t last() const { return now_; }  // the latest moment, 0 before the first

    bool has_wall_clock() const { return has_wall_clock_; }
    // The wall clock (UTC seconds) at moment 0 as the wall clock had it that was kept longest.
    std::int64_t start_real_time_s() const;
    // Every stretch between two jumps, the first one included.
    const std::vector<stretch>& stretches() const { return stretches_; }
    std::int64_t jumps_left_out() const { return jumps_left_out_; }

  private:
    std::int64_t step(std::int64_t boot, std::int64_t elapsed_s, std::int64_t real_time_s) const;
    void follow_wall_clock(std::int64_t real_time_s);

    bool started_ = false;
    std::int64_t boot_ = 0;
    std::int64_t elapsed_s_ = 0;
    std::int64_t real_time_s_ = 0;
    std::int64_t now_ = 0;

    bool has_wall_clock_ = false;
    stretch current_{};
    std::int64_t best_offset_s_ = 0;
    std::int64_t best_length_s_ = -1;
    std::vector<stretch> stretches_;
    std::int64_t jumps_left_out_ = 0;
};

}  // namespace lab
