// vorn-lab: the daemon on a virtual device.

#include "lab/cli/command_line.h"
#include "lab/compare/identity.h"

extern const lab::build_identity THIS_BUILD;  // made by the build, of the libraries' code

int main(int argc, char** argv) {
    lab::set_this_build(THIS_BUILD);
    return lab::run_command_line(argc, argv);
}
