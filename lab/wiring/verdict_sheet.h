// The verdicts of a check while they are worked out: one for each entry of the table, "not there" until something is said.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/session/course.h"
#include "lab/wiring/findings.h"

namespace lab {

class verdict_sheet {
  public:
    verdict_sheet();

    void say(std::string_view id, wiring_verdict result, std::string what, std::string raw = "",
             std::uint64_t count = 0);
    finding& at(std::string_view id);  // of an id that the table has
    std::vector<finding> finish() { return std::move(found_); }

  private:
    std::vector<finding> found_;
};

// Whether the state files are whole and plausible.
void check_state_files(const device_image& image, verdict_sheet& sheet);

}  // namespace lab
