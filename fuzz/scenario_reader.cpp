// Any bytes as a scenario: read whole, or refused in one line that names the place. Its timeline then goes
// forward, each step as far as its phases reach, and the simulated phone starts and runs its first cycles.
//
// Input: the text; then, each after a 0x1E, "key=value" texts as --set has them.

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/io/error.h"
#include "lab/io/time_text.h"
#include "lab/scenario/scenario.h"
#include "lab/scenario/timeline.h"
#include "lab/simulation/simulated_course.h"
#include "once.h"

namespace {

constexpr int CHANGES_MAX = 200;
constexpr int CYCLES_MAX = 20;
constexpr std::int64_t LONGEST_RUN_S =
    30LL * 86400;  // a phone that sleeps for years is simulated all the way

void expect_one_line(std::string_view what) {
    const bool has_place = what.starts_with("x.toml:") || what.starts_with("--set");
    fuzz::expect(has_place && what.find('\n') == std::string_view::npos, "one line, with place");
}

void follow(const lab::timeline& times, std::int64_t end_s) {
    std::int64_t at_s = 0;
    for (int i = 0; i < CHANGES_MAX && at_s < end_s; ++i) {
        times.conditions_at(at_s);
        const std::int64_t next_s = times.next_change(at_s);
        fuzz::expect(next_s > at_s && next_s <= end_s, "the timeline goes forward");
        at_s = next_s;
    }
}

void run(const lab::scenario& of, virtual_device::device& device) {
    lab::simulated_course course(of);
    try {
        course.begin_boot(device);
    } catch (const lab::input_error& never_starts) {
        expect_one_line(never_starts.what());
        return;
    }
    for (int i = 0; i < CYCLES_MAX && course.next_cycle(device); ++i) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto& device = fuzz::new_device();
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const std::string_view text = fuzz::next_piece(rest, '\x1e');
    std::vector<std::string> overrides;
    while (!rest.empty()) overrides.emplace_back(fuzz::next_piece(rest, '\x1e'));
    try {
        const lab::scenario read = lab::parse_scenario(text, "x.toml", overrides);
        fuzz::expect(read.duration_s() > 0, "a scenario lasts");
        const lab::local_zone zone(read.time_zone);
        follow(lab::timeline(read), read.duration_s());
        if (read.duration_s() <= LONGEST_RUN_S) run(read, device);
    } catch (const lab::input_error& refused) {
        expect_one_line(refused.what());
    }
    return 0;
}
