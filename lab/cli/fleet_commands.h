// The commands of vorn-lab fleet, by what they do; each function adds some to it.
#pragma once

namespace CLI {
class App;
}

namespace lab {

void add_fleet_run_commands(CLI::App& fleet);     // run, gather, add
void add_fleet_result_commands(CLI::App& fleet);  // phone, export, sql, columns
void add_fleet_view_commands(CLI::App& fleet);    // report, compare

}  // namespace lab
