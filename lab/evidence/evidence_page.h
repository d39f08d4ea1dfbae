// The page of a device, from whatever it left.
#pragma once

#include <string>

#include "lab/evidence/evidence_story.h"

namespace lab {

// Makes the page at `path` ("-" is standard output), whole or not at all, with `zone` in force; without a `title`, under
// the input's name. It holds of people and devices only what without_personal() leaves. Gives what it told. Throws
// input_error.
evidence_story write_evidence_page(const dossier& evidence, const device_zone& zone, const std::string& path,
                                   const std::string& title);

}  // namespace lab
