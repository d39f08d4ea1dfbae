// The story of a simulation on a timeline that a person can read: what befalls the phone, what the daemon
// decides, and why.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "lab/scenario/scenario.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/story/story.h"
#include "lab/story/story_lines.h"

namespace lab {

class story_printer : public listener {
  public:
    // `shows_routine`: evaluations, ends of charges and other bookkeeping too.
    story_printer(std::ostream& out, const scenario& plan, const device_image& start, bool shows_routine);

    void on_event(const event& what) override { story_.on_event(what); }
    void on_cycle(const cycle& after) override;
    void finish();

  private:
    struct happening {
        std::int64_t at_s;
        std::string what;
    };

    void print_happenings(std::int64_t until_s);
    void print(const decision& told);
    // A moment of the scenario as the zone's wall clock shows it.
    std::string time_text(std::int64_t at_s) const;

    std::ostream& out_;
    const scenario& scenario_;
    story_lines lines_;
    story story_;
    std::vector<happening> happenings_;  // in the order of their times
    std::size_t next_happening_ = 0;
    std::int64_t now_s_ = 0;  // of the cycle last heard of
    std::int64_t elapsed_s_ = 0;
};

}  // namespace lab
