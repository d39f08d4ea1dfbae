#include "core/daemon.h"

int main() {
    daemon_start();
    for (;;) daemon_cycle();
}
