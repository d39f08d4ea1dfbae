// Inside the story: what is known when a cycle (or a start-up with its first cycle) is over.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/io/print.h"
#include "lab/session/cycle.h"
#include "lab/story/decision.h"
#include "lab/story/features.h"

namespace lab::story_parts {

constexpr std::int32_t FULL_VOLTAGE_MV = 4450;  // no feature asks for less

// What one cycle showed, before it is turned into decisions.
struct step {
    std::int64_t boot = 0;
    std::int64_t elapsed_s = 0;
    std::int64_t real_time_s = 0;
    bool is_start_up = false;
    bool has_content = false;
    std::vector<std::string> records;
    std::vector<std::string> logs;
    std::optional<std::int32_t> toc_mv;           // published in this step, successfully
    std::optional<std::string> disable_charging;  // likewise
    bool did_reboot = false;
    sample seen;  // of the cycle that ended the step, if it had one

    // The first record of that schema in this step, empty when there is none.
    std::string_view record(std::string_view schema_id) const;
    bool has_record(std::string_view schema_id) const { return !record(schema_id).empty(); }
    // The first log line that contains the words, empty when there is none.
    std::string_view log_with(std::string_view words) const;
};

// What outlives a step and a boot.
struct memory {
    std::optional<std::int32_t> toc_mv;
    std::optional<std::int32_t> stress_mv;    // asked by the stress trip
    std::optional<std::int32_t> pulldown_mv;  // asked by the pulldown
    std::int64_t lowered_since_s = 0;         // wall clock; 0: not known, from before this story
    std::string lowered_by;
    std::string disabled_by;  // value of the property; empty or "0": charging is allowed
    std::int64_t disabled_since_s = 0;
    std::string stress_table;           // bytes of its file
    std::string stress_table_told;      // of the step before
    std::int64_t rebooted_in_boot = 0;  // the daemon asks in every cycle until the device goes down
};

// Something that goes on from cycle to cycle until it stops.
struct condition {
    feature who = feature::core;
    std::string sentence;
    std::int64_t first_real_time_s = 0;
    std::int64_t last_real_time_s = 0;
    std::int64_t last_elapsed_s = 0;
    std::int64_t hold_s = 0;  // over when it has not been seen for longer than this
    std::int64_t boot = 0;
    std::int64_t count = 0;
};
struct sighting {
    std::string key;
    feature who;
    std::string sentence;
    std::int64_t hold_s;
    std::string path = {};  // of a file that could not be opened
};

// The decisions of a step, in the order in which the daemon takes them; `about` is brought up to date.
std::vector<decision> decisions_of(const step& now, memory& about);

// Parts of that.
void tell_start(const step& now, const memory& about, std::vector<decision>& told);
void tell_voltage(const step& now, memory& about, std::vector<decision>& told);
void tell_charging(const step& now, memory& about, std::vector<decision>& told);
void tell_reboot(const step& now, memory& about, std::vector<decision>& told);
void tell_findings(const step& now, std::vector<decision>& told);
void tell_histogram(const step& now, memory& about, std::vector<decision>& told);

// What in this log line or record is a failure that may repeat.
std::optional<sighting> failure_in_log(std::string_view text, bool is_start_up);

// What a precharge event's record says of the voltage last saved before it.
std::string last_voltage_text(std::string_view precharge_event);

// The five buckets that brought most of the stress hours.
std::vector<number> heaviest_buckets(std::string_view stress_table);

decision& add(std::vector<decision>& told, const step& now, importance weight, std::string_view who,
              std::string sentence);
inline decision& add(std::vector<decision>& told, const step& now, importance weight, feature who,
                     std::string sentence) {
    return add(told, now, weight, name_of(who), std::move(sentence));
}

}  // namespace lab::story_parts
