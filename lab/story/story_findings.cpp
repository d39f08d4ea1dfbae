// What the features report beside the voltage and charging, and what fails.

#include <array>

#include "lab/io/time_text.h"
#include "lab/records/record_text.h"
#include "lab/story/story_step.h"
#include "stress/stress_trip.h"
#include "util/record_index.h"

namespace lab::story_parts {

namespace {

constexpr std::int64_t CYCLE_HOLD_S = 60;
constexpr std::int64_t SLOW_HOLD_S = 7800;  // longer than two of the hourly writes

std::string integer_text(std::string_view record, std::string_view field, const char* unit) {
    return std::to_string(record_integer(record, field)) + unit;
}

void tell_stress(const step& now, std::vector<decision>& told) {
    const auto evaluated = now.record(record::stress_evaluated_id);
    if (!evaluated.empty()) {
        auto& each = add(told, now, importance::routine, feature::stress, "Evaluated the stress hours");
        each.numbers.push_back({"stress hours", integer_text(evaluated, "stress_hours", "")});
        each.numbers.push_back({"step", integer_text(evaluated, "stress_trip", "")});
        if (record_integer(evaluated, "set_prop") == 1) {
            each.weight = importance::finding;
            each.sentence += "; the lower voltage could not be requested";
        }
    }
    const auto offline = now.record(record::stress_offline_hours_id);
    if (!offline.empty() && record_integer(offline, "retry") != 0) {
        add(told, now, importance::finding, feature::stress,
            "Cannot tell how long the device was off; tries again every hour");
    }
    if (!offline.empty() && record_integer(offline, "init") == 0) {
        auto& each = add(told, now, importance::finding, feature::stress,
                         "Credited the time off that could not be told at the start");
        each.numbers.push_back({"not seen running for", text_of("%.2f h", record_real(offline, "time"))});
    }
    if (now.has_record(record::stress_trip_refused_id)) {
        add(told, now, importance::finding, feature::stress,
            "Keeps the lowered voltage although the stress hours call for less");
    }
    for (const std::string& rejected : now.records) {
        if (record_schema_id(rejected) != record::stress_entry_rejected_id) continue;
        auto& each = add(told, now, importance::finding, feature::stress,
                         "Dropped a bucket of the lifetime histogram that cannot be true");
        each.numbers.push_back(
            {"row, column", integer_text(rejected, "v", ", ") + integer_text(rejected, "t", "")});
        each.numbers.push_back({"hours", std::string(record_field(rejected, "val").value_or("?"))});
    }
}

constexpr std::int64_t NO_VOLTAGE_MV = 2147483647 / 1000;  // of a file that could not be read

void tell_precharge(const step& now, std::vector<decision>& told) {
    const auto happened = now.record(record::precharge_event_id);
    if (happened.empty()) return;
    const bool is_fault = record_integer(happened, "fault_trip") != 0;
    auto& each = add(told, now, importance::finding, feature::precharge,
                     is_fault ? "The boot loader precharged the battery and reports a fault"
                              : "The boot loader had to precharge the battery");
    each.numbers.push_back({"precharged for", duration_text(record_integer(happened, "precharge_timer_s"))});
    each.numbers.push_back({"last voltage before", last_voltage_text(happened)});
    const auto total = now.record(record::precharge_trackers_updated_id);
    if (!total.empty()) {
        const bool is_first = record_integer(total, "counter") == 1;
        each.numbers.push_back(
            {"in this battery's life", integer_text(total, "counter", is_first ? " time, " : " times, ") +
                                           integer_text(total, "timer_s", " s")});
    }
}

void tell_short(const step& now, std::vector<decision>& told) {
    const auto fault = now.record(record::short_fault_detected_id);
    if (!fault.empty()) {
        auto& each = add(told, now, importance::finding, feature::short_detect,
                         "The voltage fell while charging at a steady current: suspects a soft short");
        each.numbers.push_back({"battery", integer_text(fault, "v_mv", " mV")});
        each.numbers.push_back({"highest before", integer_text(fault, "v_max_mv", " mV, ") +
                                                      integer_text(fault, "sec_since_max", " s ago")});
        each.numbers.push_back({"dip threshold", integer_text(fault, "v_dip_th_mv", " mV")});
        each.numbers.push_back({"current", integer_text(fault, "curr_ma", " mA")});
    }
    if (now.has_record(record::short_fault_cleared_id)) {
        add(told, now, importance::finding, feature::short_detect,
            "Drops the suspicion of a soft short: no charger for a minute, or no usable reading");
    }
}

void tell_top_off(const step& now, std::vector<decision>& told) {
    const auto full = now.record(record::topoff_set_id);
    if (!full.empty()) {
        add(told, now, importance::routine, feature::topoff,
            "Full at 100 %; holds until the voltage drops by 200 mV")
            .numbers.push_back({"battery", integer_text(full, "v_mv", " mV")});
    }
    const auto left = now.record(record::topoff_cleared_id);
    if (!left.empty()) {
        add(told, now, importance::routine, feature::topoff, "Full no longer")
            .numbers.push_back({"was full for", duration_text(record_integer(left, "dur_s"))});
    }
}

void tell_charge_period(const step& now, std::vector<decision>& told) {
    const auto ended = now.record(record::charge_period_ended_id);
    if (!ended.empty()) {
        auto& each = add(told, now, importance::routine, feature::charge_timer, "A charge period ended");
        each.numbers.push_back({"lasted", duration_text(record_integer(ended, "charge_timer_s"))});
        each.numbers.push_back({"limit", duration_text(record_integer(ended, "threshold_s"))});
        each.numbers.push_back({"gauge", integer_text(ended, "final_soc", " %")});
    }
    const auto watch = now.record(record::pulldown_watch_ended_id);
    if (!watch.empty()) {
        add(told, now, importance::routine, feature::pulldown,
            "The watch for a phone left on its charger ended")
            .numbers.push_back({"lasted", duration_text(record_integer(watch, "pulldown_timer_s"))});
    }
}

void tell_estimator(const step& now, std::vector<decision>& told) {
    const auto landed = now.record(record::soc_landed_id);
    if (!landed.empty()) {
        auto& each = add(told, now, importance::routine, feature::dyn_soc,
                         "The charge current falls: landing at 100 %");
        each.numbers.push_back({"battery", integer_text(landed, "v_mv", " mV")});
        each.numbers.push_back({"average current", integer_text(landed, "i_avg_ma", " mA")});
    }
    const auto substitute = now.log_with("Substituting battery params with vendor");
    if (!substitute.empty()) {
        const auto first = substitute.find('"');
        const auto last = substitute.rfind('"');
        const bool is_named = first != std::string_view::npos && last > first;
        add(told, now, importance::finding, feature::dyn_soc,
            "No parameters for this cell vendor; uses those of " +
                std::string(is_named ? substitute.substr(first + 1, last - first - 1) : "another"));
    }
}

// The word of a log line that follows `words`: a path, or a number.
std::string word_after(std::string_view text, std::string_view words) {
    const auto at = text.find(words);
    if (at == std::string_view::npos) return {};
    const auto rest = text.substr(at + words.size());
    return std::string(rest.substr(0, rest.find_first_of(" \n")));
}

struct failing_line {
    std::string_view words;  // the log line contains them; a path or value follows
    feature who;
    const char* sentence;  // that path or value is appended where the sentence ends with a space
    std::int64_t hold_s;
};
constexpr std::array FAILING_LINES{
    failing_line{"file read error errno file ", feature::core, "Could not read ", SLOW_HOLD_S},
    failing_line{"file read error ", feature::core, "Could not read ", CYCLE_HOLD_S},
    failing_line{"file open error errno file ", feature::core, "Could not open ", SLOW_HOLD_S},
    failing_line{"time now ", feature::core, "The wall clock is not set", SLOW_HOLD_S},
    failing_line{"difftime ", feature::core, "The wall clock is behind the time last saved", SLOW_HOLD_S},
    failing_line{"DYN_SOC error: bad temperature", feature::dyn_soc, "Has no usable battery temperature",
                 CYCLE_HOLD_S},
    failing_line{"DYN_SOC error: bad charge status", feature::dyn_soc,
                 "Leaves out cycles: no usable charge status", CYCLE_HOLD_S},
    failing_line{"DYN_SOC error: bad ", feature::dyn_soc, "Leaves out cycles: no usable ", CYCLE_HOLD_S},
    failing_line{"falling back to virtual temp", feature::dyn_soc,
                 "Uses the thermal zone in place of the battery temperature", CYCLE_HOLD_S},
    failing_line{"failed to write params", feature::dyn_soc, "Could not save its parameters", CYCLE_HOLD_S},
    failing_line{"SHORT_DETECT Invalid inputs", feature::short_detect, "Has no usable reading", CYCLE_HOLD_S},
    failing_line{"No valid battery params found", feature::dyn_soc, "Is off: no battery parameters",
                 CYCLE_HOLD_S},
};

}  // namespace

void tell_findings(const step& now, std::vector<decision>& told) {
    tell_stress(now, told);
    tell_precharge(now, told);
    tell_short(now, told);
    tell_top_off(now, told);
    tell_charge_period(now, told);
    tell_estimator(now, told);
}

std::string last_voltage_text(std::string_view precharge_event) {
    const auto voltage_mv = record_integer(precharge_event, "last_batt_volt_mv");
    return voltage_mv == NO_VOLTAGE_MV ? "not known" : std::to_string(voltage_mv) + " mV";
}

// At a start-up a file that cannot be opened is one that is not there yet.
std::optional<sighting> failure_in_log(std::string_view text, bool is_start_up) {
    for (const auto& each : FAILING_LINES) {
        if (text.find(each.words) == std::string_view::npos) continue;
        if (is_start_up && each.words.starts_with("file open error")) return std::nullopt;
        std::string sentence = each.sentence;
        if (sentence.ends_with(' ')) sentence += word_after(text, each.words);
        const bool is_open = each.words.starts_with("file open error");
        return sighting{sentence, each.who, sentence, each.hold_s,
                        is_open ? word_after(text, each.words) : std::string()};
    }
    return std::nullopt;
}

}  // namespace lab::story_parts
