// Decisions as lines for a person: when, who, what and why, then what decided it.
//
//     2026-03-28 08:00:10  battery stress    Lowered the top-of-charge voltage from 4450 to 4350 mV for good: ...
//                                              stress hours: 12197
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "lab/story/story.h"

namespace lab {

class story_lines {
  public:
    // `shows_routine`: evaluations, ends of charges and other bookkeeping too.
    story_lines(std::ostream& out, bool shows_routine) : out_(out), shows_routine_(shows_routine) {}

    // A decision, at `when` as a person reads it.
    void tell(const decision& what, const std::string& when);
    void line(const std::string& when, std::string_view who, std::string_view what);
    // Says how many routine decisions were left out.
    void finish();

  private:
    std::ostream& out_;
    bool shows_routine_;
    std::uint64_t not_shown_ = 0;
};

}  // namespace lab
