// The manual page of vorn-lab, made from the command line that the program itself reads.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace lab {

// The page vorn-lab(1) in mdoc.
std::string manual_page(const CLI::App& app);

}  // namespace lab
