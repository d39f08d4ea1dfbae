// Events as lines for a person.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "lab/session/listener.h"

namespace lab {

// Prints one line per event. An effect that comes back cycle after cycle is printed once and, when it has
// ended, counted:
//
//     boot 1, 2026-01-01 00:00:00
//         0:00:10  error   file read error /sys/class/power_supply/battery/temp
//         0:00:20  set     persist.vendor.vorn.toc = 4350
//         0:04:30          26 times more: error   file read error /sys/...
//
// The files that a first start does not find are one entry, unless everything is wanted.
class event_log : public listener {
  public:
    explicit event_log(std::ostream& out, bool folds_missing_files = true)
        : out_(out), folds_missing_files_(folds_missing_files) {}

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;

    // Prints the counts of what was still coming back.
    void finish();

  private:
    struct streak {
        std::string text;
        std::int64_t more = 0;  // times after the first
        std::int64_t last_cycle = 0;
        std::int64_t last_elapsed_s = 0;
    };

    void begin_boot(const event& first);
    bool fold(const event& what);
    void print_missing_files();
    void end_streak(const streak& ended);
    void end_streaks_before_this_cycle();
    void print_news();

    std::ostream& out_;
    bool folds_missing_files_;
    std::vector<std::string> missing_files_;  // not found by this start, each once
    std::size_t missing_at_ = 0;              // in the news, where the first of them stood
    bool has_boot_ = false;
    std::int64_t boot_ = 0;
    std::int64_t cycle_ = 0;
    std::vector<streak> streaks_;
    std::string text_;
    std::string news_;  // lines of this cycle, not yet printed
};

}  // namespace lab
