// input_difference_json: the difference on one input as JSON, and back.
#pragma once

#include <nlohmann/json.hpp>

#include "lab/compare/input_difference.h"

namespace lab {

nlohmann::ordered_json json_of(const input_difference& of);
// Keys that are not known are passed over, and what is missing stays as it is in a new object.
input_difference input_difference_from(const nlohmann::ordered_json& from);

}  // namespace lab
