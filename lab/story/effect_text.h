// One effect of the daemon as one line of text for a person.
#pragma once

#include <string>

#include "lab/session/event.h"

namespace lab {

// Without a line feed at its end: a log line's text; a record as its name and "key=value" pairs; a property as "name =
// value"; a write as its path, its length and, when short, its bytes. A failure is said.
std::string effect_text(const event& what);

}  // namespace lab
