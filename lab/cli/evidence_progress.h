// Reading evidence, with a bar on standard error for what takes long.
#pragma once

#include <string>
#include <vector>

#include "lab/evidence/dossier.h"

namespace lab {

struct given_devices {
    std::vector<dossier> devices;  // at least one
    std::string refused;           // "1 of 3 inputs"; empty: none
};

// The devices whose evidence the inputs are: one, unless two of them hold a device of their own each, or each is said to
// be one. Of several inputs, one that cannot be read or has nothing of the daemon in it is told of on standard error and
// costs only itself. Throws input_error when nothing is left.
given_devices read_devices(const std::vector<std::string>& inputs, bool each_by_itself = false);

// The only device of the inputs, all of which were read; throws input_error otherwise.
dossier read_device(const std::vector<std::string>& inputs);

// To be called when all else is told: throws input_error when some were refused.
void require_all_read(const given_devices& given);

}  // namespace lab
