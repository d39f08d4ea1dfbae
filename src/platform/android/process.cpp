// The process on Android: init starts a service once, with the standard descriptors open.

#include <unistd.h>

#include "platform/os.h"

namespace os {

bool begin_process() {
    return true;
}

void sleep_s(unsigned seconds) {
    ::sleep(seconds);
}

}  // namespace os
