// toml_file: what is written in TOML, as a table.
#pragma once

#include <string>
#include <string_view>

#include "lab/scenario/toml_section.h"

namespace lab {

// `name` for messages. Throws input_error "name:line:column: what"; also for a key of more parts than any has, since
// the library takes a table within a table by a call within a call, and millions of them would be no less valid.
toml::table parse_toml(std::string_view text, const std::string& name);

}  // namespace lab
