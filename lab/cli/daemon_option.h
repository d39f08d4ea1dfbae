// daemon_option: runs the daemon of another build of vorn-lab on this one's phones and traces.
#pragma once

#include <CLI/CLI.hpp>

namespace lab {

// --daemon PROGRAM; the results then say whose daemon it was.
void add_daemon_option(CLI::App& command);

// vorn-lab daemon-wire CHANNEL, which the other program is started as; no help names it.
void add_daemon_wire_command(CLI::App& app);

}  // namespace lab
