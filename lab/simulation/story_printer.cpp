#include "lab/simulation/story_printer.h"

#include <algorithm>
#include <ostream>

#include "lab/io/time_text.h"
#include "lab/scenario/truth.h"

namespace lab {

story_printer::story_printer(std::ostream& out, const scenario& plan, const device_image& start,
                             bool shows_routine)
    : out_(out),
      scenario_(plan),
      lines_(out, shows_routine),
      story_([this](const decision& told) { print(told); }, start) {
    for (const scenario_event& each : plan.events) {
        const std::string again = each.every_s > 0 ? " (every " + duration_text(each.every_s) + ")" : "";
        happenings_.push_back({each.at_s, each.what + again});
        if (each.for_s > 0 && each.every_s == 0) {
            happenings_.push_back({each.at_s + each.for_s, "over: " + each.what});
        }
    }
    std::stable_sort(happenings_.begin(), happenings_.end(),
                     [](const happening& a, const happening& b) { return a.at_s < b.at_s; });
    out_ << plan.title << " (" << plan.file << ")\n"
         << duration_text(plan.duration_s()) << " from " << local_time_text(plan.start_utc_s) << ", "
         << plan.time_zone << "\n\n";
}

void story_printer::on_cycle(const cycle& after) {
    now_s_ = static_cast<std::int64_t>(after.truth[0]);
    elapsed_s_ = after.elapsed_s;
    if (next_happening_ < happenings_.size()) print_happenings(now_s_);
    story_.on_cycle(after);
}

void story_printer::finish() {
    print_happenings(scenario_.duration_s());
    story_.finish();
    lines_.finish();
}

void story_printer::print_happenings(std::int64_t until_s) {
    while (next_happening_ < happenings_.size() && happenings_[next_happening_].at_s <= until_s) {
        const happening& each = happenings_[next_happening_++];
        lines_.line(time_text(each.at_s), "~", each.what);
    }
}

std::string story_printer::time_text(std::int64_t at_s) const {
    return local_time_text(scenario_.start_utc_s + at_s);
}

// The device's own wall clock may be wrong; the scenario's is not.
void story_printer::print(const decision& told) {
    lines_.tell(told, time_text(now_s_ - (elapsed_s_ - told.elapsed_s)));
}

}  // namespace lab
