// override: --set reaches every value of a scenario.
//
//     KEY=VALUE    KEY is names and places in lists, joined by dots: cell.soc_pct, phase[0].load_mw,
//                  phase.*.daily.*.charger, files.batt_stress.hours[6][4]
//
// phase[0] and phase.0 are the same; * stands for every item of a list. VALUE is TOML, or else a text.
#pragma once

#include <string>

#include "lab/scenario/toml_section.h"

namespace lab {

// Puts the value in its places. A key that nobody knows is left for the reader to find. Throws input_error for a text
// of another form and a place that is not there, with what would have been right; `name` is the scenario's.
void apply_override(toml::table& top, const std::string& text, const std::string& name);

}  // namespace lab
