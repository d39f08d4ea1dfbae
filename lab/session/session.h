// A session: the unmodified daemon run over a course of events on the virtual device.
//
// Each boot of the daemon is a child process, so that every file-scope variable starts from zero. The child
// owns the virtual device and the course; it sends each effect and each cycle to the parent, which hands
// them to the listeners in order. When a boot ends, the device (files, properties) and the course's own state
// go back to the parent and from there to the next boot's child.
#pragma once

#include <stdexcept>
#include <vector>

#include "lab/session/course.h"
#include "lab/session/listener.h"

namespace lab {

// The daemon crashed. what() says in which boot, when, and how.
class daemon_crashed : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Runs the course, one boot at least, to its end from `image`, which afterwards holds what the device kept.
// Throws daemon_crashed, when the listeners have heard all that came before the crash; what the
// course threw comes as an input_error, and a std::logic_error of the course or a listener as a program_fault with boot
// and time (lab/io/error.h). `image` is then as the last complete boot left it.
void run_session(course& device_course, device_image& image, const std::vector<listener*>& listeners);

}  // namespace lab
