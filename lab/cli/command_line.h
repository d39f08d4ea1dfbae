// The command line of vorn-lab.
#pragma once

namespace lab {

// Runs the command that the arguments say and returns the exit status: 0 the answer is yes, 1 it is no, 2
// trouble with what was given, 3 a fault of this program. What went wrong is one line on standard error.
int run_command_line(int argc, const char* const* argv);

}  // namespace lab
