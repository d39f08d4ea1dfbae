// Reading evidence, with a bar on standard error for what takes long.
#pragma once

#include <string>
#include <vector>

#include "lab/evidence/dossier.h"

namespace lab {

// Adds what the input holds; throws input_error when nothing of the daemon is in it.
void read_shown(const std::string& input, dossier& into);

// All inputs as one device's.
dossier read_device(const std::vector<std::string>& inputs);

}  // namespace lab
