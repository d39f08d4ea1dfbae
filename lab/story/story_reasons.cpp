// Why the charge voltage is what it is, why charging is stopped, why the device reboots.

#include "lab/io/time_text.h"
#include "lab/records/record_text.h"
#include "lab/state/stress_table.h"
#include "lab/story/story_step.h"
#include "stress/stress_table.h"
#include "stress/stress_trip.h"
#include "util/record_index.h"
#include "util/status.h"

namespace lab::story_parts {

namespace {

const std::string STRESS(name_of(feature::stress));
const std::string PULLDOWN(name_of(feature::pulldown));
const std::string EARLIER = "an earlier request";
constexpr std::size_t BUCKETS_NAMED = 5;
constexpr int BLOCK_SAMPLES = 6;  // of the secondary thermal detector

std::string since_text(std::int64_t since_s) {
    return since_s == 0 ? "before this record begins" : local_time_text(since_s);
}

// The feature whose request is the published voltage; empty when nobody asks for less than full.
std::string asker_of(std::int32_t toc_mv, const memory& about) {
    if (toc_mv >= FULL_VOLTAGE_MV) return "";
    if (about.stress_mv.value_or(FULL_VOLTAGE_MV) <= toc_mv) return STRESS;
    if (about.pulldown_mv.value_or(FULL_VOLTAGE_MV) <= toc_mv) return PULLDOWN;
    return EARLIER;
}

// The record with the stress hours of this step: of an evaluation or of a start-up.
std::string_view stress_record(const step& now) {
    const auto evaluated = now.record(record::stress_evaluated_id);
    return evaluated.empty() ? now.record(record::stress_start_id) : evaluated;
}

void explain_stress(const step& now, const memory& about, decision& told) {
    const auto record = stress_record(now);
    if (record.empty()) return;
    const auto hours = record_integer(record, "stress_hours");
    told.numbers.push_back({"stress hours", std::to_string(hours)});
    for (const auto& level : STRESS_TRIP_LEVELS) {
        if (hours > static_cast<std::int64_t>(level.above_h)) {
            told.numbers.push_back({"limit passed", std::to_string(level.above_h)});
            break;
        }
    }
    const auto buckets = heaviest_buckets(about.stress_table);
    told.numbers.insert(told.numbers.end(), buckets.begin(), buckets.end());
}

void explain_pulldown(const step& now, decision& told) {
    const auto record = now.record(record::pulldown_applied_id);
    if (record.empty()) return;
    told.numbers.push_back({"on the charger for", duration_text(record_integer(record, "pulldown_timer_s"))});
    told.numbers.push_back({"battery", std::to_string(record_integer(record, "batt_volt_mv")) + " mV"});
}

void tell_lowered(const step& now, memory& about, std::vector<decision>& told) {
    const std::int32_t before_mv = about.toc_mv.value_or(FULL_VOLTAGE_MV);
    const auto asker = asker_of(*now.toc_mv, about);
    about.lowered_since_s = now.real_time_s;
    about.lowered_by = asker;
    auto& change = add(told, now, importance::action, asker,
                       text_of("Lowered the top-of-charge voltage from %d to %d mV", before_mv, *now.toc_mv));
    if (asker == STRESS) {
        change.sentence += " for good: the battery has lived too many stress hours";
        explain_stress(now, about, change);
    } else if (asker == PULLDOWN) {
        change.sentence += ": the phone has not left its charger for more than seven days, nearly full";
        if (now.has_record(record::pulldown_applied_id) &&
            record_integer(now.record(record::pulldown_applied_id), "pulldown_timer_s") <= 604800) {
            change.sentence = text_of(
                "Lowered the top-of-charge voltage from %d to %d mV: on the charger for "
                "longer than the test threshold",
                before_mv, *now.toc_mv);
        }
        explain_pulldown(now, change);
    }
}

void tell_raised(const step& now, memory& about, std::vector<decision>& told) {
    const std::string who = about.lowered_by.empty() ? PULLDOWN : about.lowered_by;
    auto& change =
        add(told, now, importance::action, who,
            text_of("Raised the top-of-charge voltage from %d to %d mV", *about.toc_mv, *now.toc_mv));
    const auto ended = now.record(record::pulldown_watch_ended_id);
    if (!ended.empty()) {
        const auto away_s = record_integer(ended, "discharge_timer_s");
        const auto volt_mv = record_integer(ended, "batt_volt_mv");
        change.sentence += away_s > 0 ? ": the charger has been away for an hour"
                                      : ": the battery has fallen to 4000 mV or below";
        if (away_s > 0) change.numbers.push_back({"charger away for", duration_text(away_s)});
        change.numbers.push_back({"battery", std::to_string(volt_mv) + " mV"});
    } else if (now.is_start_up) {
        change.sentence += ": a start of the daemon drops the temporary request";
    }
    change.numbers.push_back({"lowered since", since_text(about.lowered_since_s)});
    about.lowered_by = asker_of(*now.toc_mv, about);
    about.lowered_since_s = about.lowered_by.empty() ? 0 : now.real_time_s;
}

std::string feature_of_value(const std::string& value) {
    if (value == "charge_timer") return std::string(name_of(feature::charge_timer));
    if (value == "secondary_thermal") return std::string(name_of(feature::thermal));
    if (value == "precharge_timer") return std::string(name_of(feature::precharge));
    return value;
}

void explain_expiry(const step& now, decision& told) {
    const auto record = now.record(record::charge_timer_expired_id);
    if (record.empty()) return;
    const auto ran_s = record_integer(record, "charge_timer_s");
    const auto limit_s = record_integer(record, "threshold_s");
    told.sentence += text_of(": the charge that began at %s has run for %s, longer than its limit of %s",
                             local_time_text(now.real_time_s - ran_s).c_str(), duration_text(ran_s).c_str(),
                             duration_text(limit_s).c_str());
    const auto least_ua = record_integer(record, "min_curr_ua");
    const bool has_least = least_ua != INT64_MAX;
    told.numbers.push_back({"charging for", duration_text(ran_s)});
    told.numbers.push_back({"limit", duration_text(limit_s)});
    told.numbers.push_back({"smallest current that set the limit",
                            has_least ? std::to_string(least_ua / 1000) + " mA" : "none reached 1 mA"});
    told.numbers.push_back({"gauge", std::to_string(record_integer(record, "final_soc")) + " %"});
}

void explain_thermal(const step& now, decision& told) {
    const auto record = now.record(record::thermal_event_id);
    if (record.empty()) return;
    const double rise_c = static_cast<double>(record_integer(record, "temp_rise_c")) / BLOCK_SAMPLES;
    told.sentence += text_of(": the battery warmed by %.1f °C from one minute to the next", rise_c);
    std::string temperatures;
    for (int i = 0; i < BLOCK_SAMPLES; ++i) {
        temperatures += std::to_string(record_integer(record, "t" + std::to_string(i))) + " ";
    }
    const double before_c = static_cast<double>(record_integer(record, "tsum_prev_c")) / BLOCK_SAMPLES;
    told.numbers.push_back({"minute before", text_of("%.1f °C on average", before_c)});
    told.numbers.push_back({"last minute", temperatures + "°C"});
    told.numbers.push_back({"charging for", duration_text(record_integer(record, "charge_timer_s"))});
    told.numbers.push_back(
        {"battery",
         text_of("%lld mV, %lld mA", static_cast<long long>(record_integer(record, "batt_volt_mv")),
                 static_cast<long long>(record_integer(record, "batt_curr_a")))});
}

void explain_precharge(const step& now, decision& told) {
    const auto record = now.record(record::precharge_event_id);
    if (record.empty() || record_integer(record, "fault_trip") == 0) {
        told.sentence += ": a precharge fault of an earlier start stands";
        return;
    }
    told.sentence += ": the boot loader reports a precharge fault";
    told.numbers.push_back({"precharged for", duration_text(record_integer(record, "precharge_timer_s"))});
    told.numbers.push_back({"last voltage before", last_voltage_text(record)});
}

void explain_release(const step& now, decision& told) {
    const auto period = now.record(record::charge_period_ended_id);
    const auto cooled = now.record(record::thermal_released_id);
    if (!period.empty()) {
        told.sentence += ": the charger has been away for a minute";
    } else if (!cooled.empty()) {
        told.numbers.push_back({"battery", std::to_string(record_integer(cooled, "batt_temp_c")) + " °C"});
        const bool unplugged = now.seen.status == STATUS_DISCHARGING;
        told.sentence += unplugged ? ": the charger is away" : ": the battery has cooled to 33 °C or below";
    } else if (now.is_start_up) {
        told.sentence += ": a start of the daemon drops what it had raised";
    }
}

}  // namespace

std::vector<number> heaviest_buckets(std::string_view stress_table) {
    std::vector<number> named;
    const auto table = parse_stress_table(stress_table.substr(0, STRESS_TABLE_SIZE));
    if (!table) return named;
    for (const stress_bucket& each : summarise_stress(*table).buckets) {
        if (named.size() == BUCKETS_NAMED) break;
        named.push_back(
            {bucket_text(each.row, each.column),
             text_of("%.1f h x %.3g = %.0f stress hours (%.0f %%)", static_cast<double>(each.hours),
                     each.weight, each.stress_hours, 100 * each.share)});
    }
    return named;
}

void tell_voltage(const step& now, memory& about, std::vector<decision>& told) {
    if (!now.toc_mv) return;
    const std::int32_t before_mv = about.toc_mv.value_or(FULL_VOLTAGE_MV);
    if (*now.toc_mv < before_mv) {
        tell_lowered(now, about, told);
    } else if (*now.toc_mv > before_mv) {
        tell_raised(now, about, told);
    } else if (about.lowered_by.empty()) {
        about.lowered_by = asker_of(*now.toc_mv, about);
    }
    about.toc_mv = now.toc_mv;
}

void tell_charging(const step& now, memory& about, std::vector<decision>& told) {
    if (!now.disable_charging) return;
    const std::string value = *now.disable_charging == "0" ? "" : *now.disable_charging;
    const std::string before = about.disabled_by == "0" ? "" : about.disabled_by;
    if (value == before) return;
    if (value.empty()) {
        auto& change = add(told, now, importance::action, feature_of_value(before), "Allowed charging again");
        explain_release(now, change);
        change.numbers.push_back({"stopped since", since_text(about.disabled_since_s)});
        about.disabled_since_s = 0;
    } else {
        auto& change = add(told, now, importance::action, feature_of_value(value),
                           before.empty() ? "Stopped charging" : "Keeps charging stopped, for a new reason");
        if (value == "charge_timer") explain_expiry(now, change);
        if (value == "secondary_thermal") explain_thermal(now, change);
        if (value == "precharge_timer") explain_precharge(now, change);
        if (before.empty()) about.disabled_since_s = now.real_time_s;
    }
    about.disabled_by = value;
}

void tell_start(const step& now, const memory& about, std::vector<decision>& told) {
    auto& start = add(told, now, importance::finding, feature::core,
                      text_of("Started (boot %lld)", static_cast<long long>(now.boot)));
    std::string voltage = about.toc_mv ? text_of("%d mV", *about.toc_mv) : "not known";
    if (about.toc_mv.value_or(FULL_VOLTAGE_MV) < FULL_VOLTAGE_MV) {
        voltage += ", asked by " + (about.lowered_by.empty() ? EARLIER : about.lowered_by) + " since " +
                   since_text(about.lowered_since_s);
    }
    start.numbers.push_back({"top of charge", voltage});
    const bool is_stopped = !about.disabled_by.empty() && about.disabled_by != "0";
    if (is_stopped) {
        start.numbers.push_back({"charging stopped by", feature_of_value(about.disabled_by) + " since " +
                                                            since_text(about.disabled_since_s)});
    }
    const auto stress = now.record(record::stress_start_id);
    if (!stress.empty()) {
        start.numbers.push_back({"stress hours", std::to_string(record_integer(stress, "stress_hours"))});
    }
    const auto offline = now.record(record::stress_offline_hours_id);
    if (record_real(offline, "time") > 0) {
        start.numbers.push_back({"not seen running for", text_of("%.2f h", record_real(offline, "time"))});
    }
}

void tell_reboot(const step& now, memory& about, std::vector<decision>& told) {
    const auto scheduled = now.log_with("Scheduled reboot at ");
    if (!scheduled.empty()) {
        unsigned long at_s = 0;
        unsigned long now_s = 0;
        const auto words = scheduled.substr(scheduled.find("Scheduled"));
        std::sscanf(std::string(words).c_str(), "Scheduled reboot at %lu sec, now=%lu", &at_s, &now_s);
        const auto wait_s = static_cast<std::int64_t>(at_s - now_s);
        auto& plan = add(told, now, importance::action, feature::core,
                         "Scheduled a reboot for " + local_time_text(now.real_time_s + wait_s) +
                             ", because the permanent top-of-charge voltage changed");
        plan.numbers.push_back({"from now", duration_text(wait_s)});
    }
    if (!now.log_with("Failed local time to schedule reboot").empty()) {
        add(told, now, importance::finding, feature::core,
            "Reboots at once: there is no local time to wait for");
    }
    if (now.did_reboot && about.rebooted_in_boot != now.boot) {
        about.rebooted_in_boot = now.boot;
        add(told, now, importance::action, feature::core, "Rebooted the device");
    }
}

}  // namespace lab::story_parts
