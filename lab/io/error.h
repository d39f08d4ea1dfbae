// What ends a command otherwise than with a yes (exit status 0).
#pragma once

#include <stdexcept>

namespace lab {

// Trouble with what was given (2). what() is one line that says what and where, for example "trace.csv:12:3: elapsed_s is not a number: x".
class input_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The answer is no (1): two things differ, a log has problems. what() is one line, or empty when all has been said.
class answer_is_no : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A run that came to its end, but not to what was expected of it.
class expectation_failed : public answer_is_no {
    using answer_is_no::answer_is_no;
};

// There is no answer (3): something that had to run for it did not. what() is one line.
class no_answer : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A fault of this program (3). what() says what, and where in a run.
class program_fault : public std::logic_error {
    using std::logic_error::logic_error;
};

}  // namespace lab
