#include "lab/story/story_lines.h"

#include <iomanip>
#include <ostream>

#include "lab/io/text.h"

namespace lab {

namespace {

constexpr int WHO_WIDTH = 17;  // and a space
constexpr int NUMBER_INDENT = 41;

}  // namespace

void story_lines::line(const std::string& when, std::string_view who, std::string_view what) {
    out_ << when << "  " << std::left << std::setw(WHO_WIDTH) << who << ' ' << what << '\n';
}

void story_lines::tell(const decision& what, const std::string& when) {
    if (what.weight == importance::routine && !shows_routine_) {
        not_shown_ += 1;
        return;
    }
    line(when, what.feature, what.sentence);
    for (const number& each : what.numbers) {
        out_ << std::string(NUMBER_INDENT, ' ') << each.name << ": " << each.value << '\n';
    }
}

void story_lines::finish() {
    if (not_shown_ > 0)
        out_ << "\nand " << counted(not_shown_, "routine decision") << ", which --all shows\n";
    not_shown_ = 0;
}

}  // namespace lab
