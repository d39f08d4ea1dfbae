// Inside the scenario reader: its sections.
#pragma once

#include "lab/scenario/scenario.h"
#include "lab/scenario/toml_section.h"

namespace lab {

// Of a scenario that lasts `end_s`: what can never happen is a mistake.
scenario_event read_scenario_event(toml_section& from, std::int64_t start_utc_s, std::int64_t end_s);
expectation read_expectation(toml_section& from, std::int64_t start_utc_s, std::int64_t end_s);
std::vector<phase> read_phases(toml_section& top, std::int64_t start_utc_s);
void read_files(toml_section& from, scenario& into);

}  // namespace lab
