// What a check or a line of the daemon's log means, for every command that has --explain.
#pragma once

#include <string>

namespace lab {

// By its id, or of a log line by what it says. Throws input_error, with what was probably meant.
std::string explanation_of(const std::string& id_or_line);

}  // namespace lab
