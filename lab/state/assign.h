// Writes fields of state files.
#pragma once

#include <string>
#include <vector>

namespace lab {

// Sets fields, each given as FIELD=VALUE (docs/state-files.md), in the state files of `directory`: all of
// them or none. A file that is missing or too short is filled up with what the daemon would start from;
// bytes beyond a record stay. Tells what changed, one line per field: "toc_clients: 0 -> 2".
// Throws input_error for an unknown field, a value that does not fit it, a file that cannot be read or
// written and, unless `force`, a value that the daemon would not take.
std::string assign_fields(const std::string& directory, const std::vector<std::string>& assignments,
                          bool force);

}  // namespace lab
