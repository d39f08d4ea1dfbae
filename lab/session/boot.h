// One boot of the daemon in the process that calls: the child's side of a session.
#pragma once

#include "lab/session/course.h"
#include "lab/session/wire.h"

namespace lab {

// What the parent wants to hear of.
struct boot_wishes {
    bool events = true;
    bool cycles = true;
    bool samples = true;  // in the cycles
    bool state = true;    // in the cycles: all that is no sample, but the clocks
};

// Sets up the device of this process from `image`, runs the daemon until the course ends the boot, and sends
// what happens. Never returns: exits with status 0 also when the course threw, which is sent as a failure.
[[noreturn]] void run_boot(course& device_course, const device_image& image, boot_wishes wishes,
                           wire::shared_state& shared, int channel);

// The body of a boot_over message.
struct boot_result {
    device_image image;
    std::string course_state;
    bool has_more_boots = false;
};
boot_result receive_boot_result(wire::body from);

}  // namespace lab
