// Is this device wired as the daemon expects? One verdict for each entry of the table.
#pragma once

#include <vector>

#include "lab/evidence/dossier.h"
#include "lab/wiring/findings.h"
#include "lab/wiring/sample_facts.h"

namespace lab {

// `facts` null: there are no samples.
std::vector<finding> check_wiring(const dossier& of, const sample_facts* facts);

}  // namespace lab
