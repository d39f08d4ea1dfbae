// The reference tables of docs/metrics.md and docs/state-files.md, made from the code's own tables.
#pragma once

#include <string>

namespace lab {

// Every metrics record: schema id, version, when it is emitted, its fields. Markdown.
std::string metrics_reference();

// Every state file: path, size, what the daemon does without it, its fields byte by byte. Markdown.
std::string state_reference();

}  // namespace lab
