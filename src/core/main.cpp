#include "core/daemon.h"
#include "platform/os.h"

int main() {
    if (!os::begin_process()) return 1;
    daemon_start();
    for (;;) daemon_cycle();
}
