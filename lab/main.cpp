// vorn-lab: the daemon on a virtual device.

#include "lab/cli/command_line.h"

int main(int argc, char** argv) {
    return lab::run_command_line(argc, argv);
}
