// State files for people and for programs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "lab/state/stored_state.h"

namespace lab {

// Every file with its condition, its fields and what they mean; where they are among them, the stress table
// and why the voltage is what it is. Ends with a line feed.
std::string show_as_text(const stored_state& state);

// The same for programs (docs/state-files.md). Not-a-number and infinite hours are text.
nlohmann::ordered_json show_as_json(const stored_state& state);

}  // namespace lab
