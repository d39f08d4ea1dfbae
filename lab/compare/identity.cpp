#include "lab/compare/identity.h"

#include <utility>

namespace lab {

namespace {

build_identity of_this_program;

}  // namespace

const build_identity& this_build() {
    return of_this_program;
}

void set_this_build(build_identity what) {
    of_this_program = std::move(what);
}

}  // namespace lab
