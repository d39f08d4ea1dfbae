// What differs between two devices, or between two moments of one.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "lab/state/stored_state.h"

namespace lab {

struct state_change {
    std::string name;  // of a field, of a file's condition, or of what the daemon makes of the files
    std::string from;  // as text; "none" where a file does not hold the field
    std::string to;
    std::string unit;        // empty when there is none
    std::string difference;  // with its sign; empty when it is no number
    std::string note;        // what the field is, where the name does not say
};

// Everything that differs, in the order of the files; what the daemon makes of them comes last. Of two single
// files, which must be of one kind, that one. Throws input_error when there is nothing to compare.
std::vector<state_change> compare_states(const stored_state& before, const stored_state& after);

std::string changes_as_text(const std::vector<state_change>& changes);
nlohmann::ordered_json changes_as_json(const std::vector<state_change>& changes);

}  // namespace lab
