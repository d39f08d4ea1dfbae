// Any trace through the daemon: rows, boots, faults, garbage in the cells, clocks that jump.
//
// Input: a trace file.

#include <cstdint>
#include <string_view>

#include "core/daemon.h"
#include "lab/io/error.h"
#include "lab/recordings/trace_course.h"
#include "once.h"

namespace {

constexpr int CYCLES_MAX = 2000;  // an input is meant to be small

void run(lab::trace_course& course, virtual_device::device& device, fault::watch& seen) {
    int cycles = 0;
    do {
        device.forget_volatile_properties();
        course.begin_boot(device);
        daemon_start();
        while (course.next_cycle(device)) {
            if (++cycles > CYCLES_MAX) return;
            daemon_cycle();
            seen.after_cycle();
        }
    } while (course.has_more_boots());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto& device = fuzz::new_device();
    fault::watch seen;
    seen.expect_all_torn();
    try {
        const std::string_view text(reinterpret_cast<const char*>(data), size);
        lab::trace_course course(
            lab::trace_reader(lab::input_file::from_text(text, "trace.csv"), {}, [](const std::string&) {}));
        run(course, device, seen);
    } catch (const lab::input_error&) {
        // Said in one line; the rows before it have run.
    }
    fuzz::expect_kept(seen);
    return 0;
}
