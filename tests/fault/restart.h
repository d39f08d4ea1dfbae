// Restarts the daemon inside this process: everything it remembers goes back to what a new process has.
//
// Thousands of boots a second need no process each. The daemon's objects are linked here with their data
// sections renamed (CMakeLists.txt), which makes the linker tell where its memory begins and ends.
#pragma once

namespace fault {

// Call once before any function of the daemon has run.
void remember_daemon_memory();

// The daemon's memory is now as it was then; the virtual device is left alone.
void restart_daemon();

// What a power cut leaves of the virtual device: state files and persistent properties. Its listeners stay.
void lose_power();

}  // namespace fault
