// build_runner: another build of vorn-lab, run as a program of its own.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "lab/compare/identity.h"
#include "lab/compare/run_result.h"

namespace lab {

struct other_build {
    std::string name;  // "OLD", for messages
    std::string program;
    build_identity identity;
    std::string wire;  // version of what its daemon and another lab say to each other; empty: it has none
    std::string lab;   // the program whose lab its daemon runs in; empty: its own
};

// Asks the program who it is. Throws input_error for one that cannot be run, is no vorn-lab, or tells no digests.
other_build identify(const std::string& name, const std::string& program);

// Throws input_error when its daemon cannot be run in this program's lab.
void require_wire(const other_build& build);

struct build_words {
    std::vector<std::string> words;  // after the program's name
    std::string time_zone;           // empty: this process's
    std::string folder;              // for what it prints
};

// Runs it on one input with --json, which `words` need not have. Throws input_error, which names the build and says what it
// said, when there is no result; a run that crashed or went otherwise than expected has one.
run_result run_build(const other_build& build, build_words how);

}  // namespace lab
