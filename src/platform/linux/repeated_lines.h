// repeated_lines: a line logged in cycle after cycle is written when it begins and when it ends.
//
// On a file system that is full or read-only the daemon logs the same few errors in every cycle, 35,000 lines a day.
// A device's log is a ring that takes them; a host's log is a file on that very file system.
#pragma once

namespace repeated_lines {

// Notes that `text` is logged in this cycle. Whether it is to be written: not when the cycle before had it too.
bool is_to_be_written(const char* text);

// Logs, once, each line that was held back and did not come in this cycle any more, with in how many cycles it was.
void end_cycle();

}  // namespace repeated_lines
