// The command line of vorn-lab.
#pragma once

namespace lab {

// Runs the command that the arguments say and returns the exit status: 0 done; 1 the run failed; 2 bad usage
// or unreadable input. What went wrong is one line on standard error.
int run_command_line(int argc, const char* const* argv);

}  // namespace lab
