// What ends a command: exit status 2 for bad usage or input that cannot be read, 1 for a run that failed.
#pragma once

#include <stdexcept>

namespace lab {

// what() is one line that says what and where, for example "trace.csv:12:3: elapsed_s is not a number: x".
class input_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A run that came to its end, but not to what was expected of it. what() is one line.
class expectation_failed : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace lab
