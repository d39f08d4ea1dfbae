// identity: which build this is. Two builds whose daemon digests are equal run the same daemon code.
#pragma once

#include <string>

namespace lab {

struct build_identity {
    std::string version;  // of the release
    std::string daemon;   // digest of the daemon library's code, 16 hexadecimal digits
    std::string lab;      // likewise of the lab library's
};

// Of this program; empty texts until it has been set, which main() does first of all.
const build_identity& this_build();
void set_this_build(build_identity what);

}  // namespace lab
