#include "lab/story/story.h"

#include <charconv>
#include <utility>

#include "core/sys_properties.h"
#include "lab/io/time_text.h"
#include "lab/records/record_text.h"
#include "lab/story/story_step.h"
#include "util/record_index.h"

namespace lab {

namespace story_parts {

std::string_view step::record(std::string_view schema_id) const {
    for (const auto& each : records) {
        if (record_schema_id(each) == schema_id) return each;
    }
    return {};
}

std::string_view step::log_with(std::string_view words) const {
    for (const auto& each : logs) {
        if (each.find(words) != std::string::npos) return each;
    }
    return {};
}

decision& add(std::vector<decision>& told, const step& now, importance weight, std::string_view who,
              std::string sentence) {
    told.push_back(
        {now.boot, now.elapsed_s, now.real_time_s, weight, std::string(who), std::move(sentence), {}});
    return told.back();
}

std::vector<decision> decisions_of(const step& now, memory& about) {
    std::vector<decision> told;
    tell_findings(now, told);
    tell_histogram(now, about, told);
    tell_voltage(now, about, told);
    tell_charging(now, about, told);
    if (now.is_start_up) tell_start(now, about, told);
    tell_reboot(now, about, told);
    return told;
}

}  // namespace story_parts

using story_parts::condition;
using story_parts::sighting;

namespace {

constexpr std::string_view STRESS_FILE = "batt_stress";
constexpr std::string_view START_UP_WORDS = "attempting to migrate persistent files";
constexpr std::int64_t SLOW_HOLD_S = 7800;  // longer than two of the hourly writes

std::optional<std::int32_t> millivolts(const std::string& text) {
    std::int32_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (parsed.ec != std::errc()) return std::nullopt;
    return value;
}

bool is_stress_file(const std::string& path) {
    return path.ends_with(STRESS_FILE) && path.size() > STRESS_FILE.size() &&
           path[path.size() - STRESS_FILE.size() - 1] == '/';
}

// A write replaces the start of the file and leaves the rest.
void overlay(std::string& bytes, const std::string& written) {
    bytes.resize(std::max(bytes.size(), written.size()));
    bytes.replace(0, written.size(), written);
}

}  // namespace

struct story::told_so_far {
    teller tell;
    story_parts::memory about;
    story_parts::step now;
    std::vector<sighting> sightings;         // of this step
    std::map<std::string, condition> going;  // what goes on, by key

    void take_property(const event& what);
    void take_log(const event& what);
    void begin_step(const event& what);
    void conclude();
    void note(const sighting& seen);
    void close_conditions(std::int64_t boot, std::int64_t elapsed_s, std::int64_t real_time_s, bool all);
};

void story::told_so_far::begin_step(const event& what) {
    now.boot = what.boot;
    now.elapsed_s = what.elapsed_s;
    now.real_time_s = what.real_time_s;
    now.has_content = true;
}

void story::told_so_far::take_property(const event& what) {
    if (what.result != 0) {
        sightings.push_back(
            {"set " + what.name, feature::core, "Could not set the property " + what.name, 60});
        return;
    }
    if (what.name == TOC_PROPERTY) now.toc_mv = millivolts(what.text);
    if (what.name == STRESS_PROPERTY) about.stress_mv = millivolts(what.text);
    if (what.name == PULLDOWN_PROPERTY) about.pulldown_mv = millivolts(what.text);
    if (what.name == DISABLE_PROPERTY) now.disable_charging = what.text;
    if (what.name == POWER_PROPERTY) now.did_reboot = true;
}

void story::told_so_far::take_log(const event& what) {
    const auto failure = story_parts::failure_in_log(what.text, now.is_start_up);
    if (failure) {
        sightings.push_back(*failure);
    }
    now.logs.push_back(what.text);
}

void story::told_so_far::note(const sighting& seen) {
    auto& what = going[seen.key];
    if (what.count == 0) {
        what = {seen.who, seen.sentence, now.real_time_s, 0, 0, seen.hold_s, 0, 0};
        tell({now.boot,
              now.elapsed_s,
              now.real_time_s,
              importance::finding,
              std::string(name_of(seen.who)),
              seen.sentence,
              {}});
    }
    what.last_real_time_s = now.real_time_s;
    what.last_elapsed_s = now.elapsed_s;
    what.boot = now.boot;
    what.count += 1;
}

void story::told_so_far::conclude() {
    // Decisions before failures: what failed is often why, and a reader looks for the change first.
    for (const auto& each : story_parts::decisions_of(now, about)) tell(each);
    for (const auto& each : sightings) note(each);
    sightings.clear();
    now = {};
}

// What happened once is no news a second time.
void story::told_so_far::close_conditions(std::int64_t boot, std::int64_t elapsed_s, std::int64_t real_time_s,
                                          bool all) {
    for (auto each = going.begin(); each != going.end();) {
        const condition& what = each->second;
        const bool goes_on = what.boot == boot && elapsed_s - what.last_elapsed_s <= what.hold_s;
        if (goes_on && !all) {
            ++each;
            continue;
        }
        if (what.count > 1) {
            decision end{boot, elapsed_s, real_time_s, importance::finding, std::string(name_of(what.who)),
                         "",   {}};
            end.sentence = (all && goes_on ? "Still at the end: " : "Over: ") + what.sentence + " (" +
                           std::to_string(what.count) + " times from " +
                           local_time_text(what.first_real_time_s) + " to " +
                           local_time_text(what.last_real_time_s) + ")";
            tell(end);
        }
        each = going.erase(each);
    }
}

story::story(teller tell, const device_image& before) : state_(std::make_unique<told_so_far>()) {
    state_->tell = std::move(tell);
    for (const auto& [path, bytes] : before.files) {
        if (is_stress_file(path)) state_->about.stress_table = state_->about.stress_table_told = bytes;
    }
    const auto property = [&](const char* name) {
        const auto found = before.properties.find(name);
        return found == before.properties.end() ? std::string() : found->second;
    };
    state_->about.toc_mv = millivolts(property(TOC_PROPERTY));
    state_->about.disabled_by = property(DISABLE_PROPERTY);
}

story::~story() = default;

void story::on_event(const event& what) {
    auto& state = *state_;
    const bool starts = what.kind == event_kind::log && what.text.find(START_UP_WORDS) != std::string::npos;
    const bool is_new = what.boot != state.now.boot || what.elapsed_s != state.now.elapsed_s || starts;
    if (state.now.has_content && is_new) state.conclude();
    if (!state.now.has_content) state.begin_step(what);
    if (starts) state.now.is_start_up = true;
    switch (what.kind) {
        case event_kind::log:
            state.take_log(what);
            break;
        case event_kind::metric:
            state.now.records.push_back(what.text);
            break;
        case event_kind::property_set:
            state.take_property(what);
            break;
        case event_kind::write:
            if (what.result < 0) {
                state.sightings.push_back(
                    {"write " + what.name, feature::core, "Could not write " + what.name, SLOW_HOLD_S});
            } else {
                // What can be written was only not there yet when it was read.
                std::erase_if(state.sightings, [&](const sighting& seen) { return seen.path == what.name; });
                if (is_stress_file(what.name)) overlay(state.about.stress_table, what.text);
            }
            break;
    }
}

void story::on_cycle(const cycle& after) {
    auto& state = *state_;
    if (state.now.has_content) {
        state.now.seen = after.seen;
        state.conclude();
    }
    if (!state.going.empty()) {
        state.close_conditions(after.boot, after.elapsed_s, after.real_time_s, false);
    }
}

void story::finish() {
    auto& state = *state_;
    if (state.now.has_content) state.conclude();
    if (state.going.empty()) return;
    std::int64_t last_boot = 0;
    for (const auto& [key, what] : state.going) last_boot = std::max(last_boot, what.boot);
    for (const auto& [key, what] : state.going) {
        if (what.boot == last_boot) {
            state.close_conditions(last_boot, what.last_elapsed_s, what.last_real_time_s, true);
            return;
        }
    }
}

}  // namespace lab
