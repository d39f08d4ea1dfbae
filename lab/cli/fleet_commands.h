// The commands of vorn-lab fleet, by what they do; each function adds some to it.
#pragma once

#include <cstdint>

namespace CLI {
class App;
}

namespace lab {

// Of a fleet, and of what is counted in it.
inline constexpr std::uint64_t MOST_PHONES = 1'000'000'000;

void add_fleet_run_commands(CLI::App& fleet);     // run, gather, add
void add_fleet_result_commands(CLI::App& fleet);  // phone, export, sql, columns
void add_fleet_view_commands(CLI::App& fleet);    // report, compare

}  // namespace lab
