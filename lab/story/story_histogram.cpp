// What becomes of the record of the battery's life: what the daemon does to it by its rules, and nobody undoes.

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "lab/io/time_text.h"
#include "lab/records/record_text.h"
#include "lab/story/story_step.h"
#include "util/record_index.h"

namespace lab::story_parts {

namespace {

constexpr double NOISE_H = 0.5;            // less than this is rounding
constexpr double INCREDIBLE_OFF_H = 8766;  // a year
constexpr std::int64_t FAR_AHEAD_S = 86400;

struct contents {
    double hours = 0;  // of the buckets that are numbers
    bool has_nan = false;
};

contents contents_of(std::string_view table) {
    contents held;
    for (std::size_t at = 0; at + sizeof(float) <= table.size(); at += sizeof(float)) {
        float hours = 0;
        std::memcpy(&hours, table.data() + at, sizeof hours);
        held.has_nan |= std::isnan(hours);
        if (std::isfinite(hours)) held.hours += static_cast<double>(hours);
    }
    return held;
}

void tell_table(const step& now, memory& about, std::vector<decision>& told) {
    const contents before = contents_of(about.stress_table_told);
    const contents held = contents_of(about.stress_table);
    if (held.hours < before.hours - NOISE_H) {
        auto& lost = add(told, now, importance::finding, feature::stress,
                         "Wrote a lifetime histogram that holds less than the one before");
        lost.numbers.push_back({"hours before", text_of("%.1f", before.hours)});
        lost.numbers.push_back({"hours now", text_of("%.1f", held.hours)});
    }
    if (held.has_nan && (now.is_start_up || !before.has_nan)) {
        add(told, now, importance::finding, feature::stress,
            "A bucket of the lifetime histogram is no number: the stress hours count as 0, and the voltage "
            "is "
            "not lowered any more");
    }
    about.stress_table_told = about.stress_table;
}

// The log line reads "difftime -123.00 fails sanity check".
void tell_saved_time(const step& now, std::vector<decision>& told) {
    const std::string_view line = now.log_with("difftime -");
    const bool is_clock_set = now.log_with("time now ").empty();
    if (line.empty() || !is_clock_set || !now.is_start_up) return;
    constexpr std::string_view words = "difftime -";
    const auto ahead_s = static_cast<std::int64_t>(
        std::strtod(std::string(line.substr(line.find(words) + words.size())).c_str(), nullptr));
    if (ahead_s < FAR_AHEAD_S) return;
    add(told, now, importance::finding, feature::stress,
        "The time last saved is ahead of the clock: until the clock is there, no time off counts")
        .numbers.push_back({"ahead by", duration_text(ahead_s)});
}

void tell_time_off(const step& now, std::vector<decision>& told) {
    const auto offline = now.record(record::stress_offline_hours_id);
    if (offline.empty() || record_real(offline, "time") < INCREDIBLE_OFF_H) return;
    add(told, now, importance::finding, feature::stress,
        "Credited more than a year of time off to one bucket of the lifetime histogram: was the date right?")
        .numbers.push_back({"not seen running for", text_of("%.0f h", record_real(offline, "time"))});
}

}  // namespace

void tell_histogram(const step& now, memory& about, std::vector<decision>& told) {
    tell_time_off(now, told);
    tell_saved_time(now, told);
    if (now.is_start_up || about.stress_table != about.stress_table_told) tell_table(now, about, told);
}

}  // namespace lab::story_parts
