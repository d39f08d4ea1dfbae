// option_checks: what an option's value may be. CLI11's own checks put their names into the help.
#pragma once

#include <string>

#include "lab/io/text.h"

namespace lab {

// Empty when the text is a count from 1 to 10000, else why it is not.
inline std::string at_least_one(const std::string& text) {
    const auto count = parse_integer(text);
    return count && *count >= 1 && *count <= 10000 ? "" : "not a count from 1 to 10000: " + for_message(text);
}

// Empty when the text is not, else why that is wrong.
inline std::string not_empty(const std::string& text) {
    return text.empty() ? "is empty" : "";
}

}  // namespace lab
