// fleet_page: what many phones came to, as one file of HTML that asks for nothing and runs no script.
#pragma once

#include <string>

#include "lab/fleet/fleet_summary.h"

namespace lab {

// `directory` as the page's commands name it.
std::string fleet_page(const fleet_summary& of, const std::string& directory, const fleet_identity& identity);

// The curves as CSV: at each moment, for each kind, the share not yet lowered with its interval and the numbers under it.
std::string curves_csv(const fleet_summary& of);

}  // namespace lab
