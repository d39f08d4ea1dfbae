#include "lab/evidence/log_events.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "core/sys_properties.h"
#include "lab/records/record_text.h"
#include "util/log.h"
#include "util/metrics.h"
#include "util/record_index.h"

namespace lab {

namespace {

constexpr std::string_view GROUP = METRICS_GROUP;
constexpr std::int32_t FULL_VOLTAGE_MV = 4450;  // step 0
constexpr std::int32_t STEP_MV = 50;
constexpr std::int64_t QUIET_S[] = {
    70, 7810};  // just longer than the story waits for what comes every cycle or hour
constexpr std::string_view FAILURES_FILE = "/mnt/vendor/nvcfg/vorn/charge_failures";

std::optional<std::int64_t> number_after(std::string_view text, std::string_view words) {
    const std::size_t at = text.find(words);
    if (at == text.npos) return std::nullopt;
    const std::string_view rest = text.substr(at + words.size());
    std::int64_t value = 0;
    if (std::from_chars(rest.data(), rest.data() + rest.size(), value).ec != std::errc()) return std::nullopt;
    return value;
}

std::string voltage_of_step(std::int64_t step) {
    return std::to_string(FULL_VOLTAGE_MV - STEP_MV * step);
}

class log_teller {
  public:
    log_teller(const dossier& evidence, const log_timeline& timeline, const std::vector<listener*>& listeners)
        : of_(evidence), timeline_(timeline), listeners_(listeners) {
        const auto said = evidence.log.properties().find(PRECHARGE_PROPERTY);
        was_flagged_before_ = said != evidence.log.properties().end() && said->second.text == "1";
        for (const timed_line& each : timeline.lines) {
            if (record_schema_id(text_of(each)) == record::precharge_flag_raised_id)
                was_flagged_before_ = false;
        }
        precharge_ = was_flagged_before_;
    }

    void tell() {
        const auto& lines = timeline_.lines;
        for (std::size_t begin = 0; begin < lines.size();) {
            std::size_t end = begin;
            while (end < lines.size() && lines[end].step == lines[begin].step) ++end;
            tell_step(begin, end);
            begin = end;
        }
    }

  private:
    std::string_view text_of(const timed_line& line) const { return of_.log.text(line.entry->text); }

    void tell_step(std::size_t begin, std::size_t end) {
        begin_ = begin;
        end_ = end;
        for (std::size_t i = begin; i < end; ++i) tell_line(timeline_.lines[i]);
        const timed_line& last = timeline_.lines[end - 1];
        cycle over;
        over.boot = last.boot;
        over.elapsed_s = last.elapsed_s;
        over.real_time_s = last.utc_s;
        const auto set = [&over](column which, std::int32_t value) {
            over.daemon[static_cast<std::size_t>(which)] = value;
        };
        set(column::toc_mv, toc_mv_);
        set(column::perm_step, perm_step_);
        set(column::temp_step, temp_step_);
        set(column::charge_timer_flag, timer_ ? 1 : 0);
        set(column::thermal_flag, thermal_ ? 1 : 0);
        set(column::precharge_flag, precharge_ ? 1 : 0);
        for (listener* each : listeners_) each->on_cycle(over);
        const bool goes_on = end < timeline_.lines.size() && timeline_.lines[end].boot == last.boot;
        if (goes_on) tell_silence(over, timeline_.lines[end].elapsed_s);
    }

    // The daemon ran on without a word: what used to come back has ended meanwhile.
    void tell_silence(cycle after, std::int64_t until_s) {
        const cycle last = after;
        for (const std::int64_t quiet_s : QUIET_S) {
            after.elapsed_s = last.elapsed_s + quiet_s;
            after.real_time_s = last.real_time_s + quiet_s;
            if (after.elapsed_s >= until_s) return;
            for (listener* each : listeners_) each->on_cycle(after);
        }
    }

    void tell_line(const timed_line& line) {
        const std::string_view text = text_of(line);
        event what;
        what.boot = line.boot;
        what.elapsed_s = line.elapsed_s;
        what.real_time_s = line.utc_s;
        what.name = LOG_TAG;
        what.text = text;
        if (text.starts_with(GROUP)) {
            what.kind = event_kind::metric;
            what.priority = ANDROID_LOG_WARN;
            what.buffer = METRICS_LOG_BUFFER;
            tell_event(what);
            return take_record(what, text);
        }
        what.text += "\n";
        what.priority = line.entry->priority == 'I' ? ANDROID_LOG_INFO : ANDROID_LOG_ERROR;
        if (text.find("attempting to migrate persistent files") != text.npos) timer_ = thermal_ = false;
        tell_event(what);
        take_log(what, text);
    }

    void tell_event(const event& what) {
        for (listener* each : listeners_) each->on_event(what);
    }

    // The daemon tells of a property that could not be set in a line of its own, which follows.
    void tell_property(event what, const std::string& name, const std::string& value) {
        const std::string failure = "error setting property str \"" + name + "\" to \"" + value + "\"";
        what.kind = event_kind::property_set;
        what.name = name;
        what.text = value;
        for (std::size_t i = begin_; i < end_; ++i) {
            if (text_of(timeline_.lines[i]).find(failure) != std::string_view::npos) what.result = -1;
        }
        tell_event(what);
    }

    void tell_write(event what, const std::string& path, std::int64_t result) {
        what.kind = event_kind::write;
        what.name = path;
        what.text.clear();
        what.result = result;
        tell_event(what);
    }

    void take_log(const event& what, std::string_view text) {
        if (const auto toc_mv = number_after(text, "CHG_MGR New ToC setting: v=")) {
            toc_mv_ = static_cast<std::int32_t>(std::clamp<std::int64_t>(*toc_mv, 0, INT32_MAX));
            return tell_property(what, TOC_PROPERTY, std::to_string(*toc_mv));
        }
        if (const auto step = number_after(text, "CHG_MGR New ToC request: step=")) {
            const bool is_permanent = text.find("perm_id=") != text.npos;
            (is_permanent ? perm_step_ : temp_step_) = static_cast<std::int32_t>(*step);
            return tell_property(what, is_permanent ? STRESS_PROPERTY : PULLDOWN_PROPERTY,
                                 voltage_of_step(*step));
        }
        if (const auto status = number_after(text, "charge disable sysprop set with status "))
            return tell_property(what, DISABLE_PROPERTY,
                                 timer_       ? "charge_timer"
                                 : thermal_   ? "secondary_thermal"
                                 : precharge_ ? "precharge_timer"
                                              : "0");
        if (text.find("Performing reboot!") != text.npos)
            return tell_property(what, POWER_PROPERTY, "reboot");
        if (text.find("setting charge fail counter to ") != text.npos)
            return tell_write(what, std::string(FAILURES_FILE), 4);
        constexpr std::string_view FAILED_WRITE = "file write error errno file ";
        if (const std::size_t at = text.find(FAILED_WRITE); at != text.npos) {
            const std::string_view path = text.substr(at + FAILED_WRITE.size());
            tell_write(what, std::string(path.substr(0, path.find(' '))), -1);
        }
    }

    void take_record(const event& what, std::string_view text) {
        const std::string_view schema = record_schema_id(text);
        if (schema == record::charge_timer_expired_id) timer_ = true;
        if (schema == record::charge_period_ended_id) timer_ = false;
        if (schema == record::thermal_event_id) thermal_ = true;
        if (schema == record::thermal_released_id) thermal_ = false;
        if (schema == record::precharge_flag_raised_id) precharge_ = true;
        if (schema == record::stress_start_id)
            perm_step_ = static_cast<std::int32_t>(record_integer(text, "stress_trip"));
        if (schema == record::stress_start_id && record_integer(text, "set_prop") == 0)
            tell_property(what, STRESS_PROPERTY, voltage_of_step(record_integer(text, "stress_trip")));
    }

    const dossier& of_;
    const log_timeline& timeline_;
    const std::vector<listener*>& listeners_;
    std::size_t begin_ = 0, end_ = 0;  // lines of the step
    std::int32_t toc_mv_ = 0;          // as last told; 0: not yet
    std::int32_t perm_step_ = 0, temp_step_ = 0;
    bool was_flagged_before_ = false;
    bool timer_ = false, thermal_ = false,
         precharge_ = false;  // the daemon's flags, as its records tell them
};

}  // namespace

void tell_log(const dossier& evidence, const log_timeline& lines, const std::vector<listener*>& listeners) {
    log_teller(evidence, lines, listeners).tell();
}

device_image image_before_log(const dossier& evidence, const log_timeline& lines) {
    device_image before;
    for (const auto& [path, bytes] : evidence.image.files) {
        if (path.ends_with("/batt_stress")) before.files[path] = bytes;
    }
    // The start-up tells the voltage that it found in force before anything asks for another.
    for (const timed_line& each : lines.lines) {
        const auto toc_mv =
            number_after(evidence.log.text(each.entry->text), "CHG_MGR Initial ToC/BoC settings: toc_mv=");
        if (each.boot > 1 || toc_mv) {
            if (toc_mv && each.boot == 1) before.properties[TOC_PROPERTY] = std::to_string(*toc_mv);
            break;
        }
    }
    return before;
}

}  // namespace lab
