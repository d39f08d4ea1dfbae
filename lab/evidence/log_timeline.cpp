#include "lab/evidence/log_timeline.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>

#include "lab/evidence/log_merge.h"
#include "lab/io/error.h"

namespace lab {

namespace {

constexpr std::string_view START_WORDS = "attempting to migrate persistent files";
constexpr std::string_view UNSET_WORDS = "time now ";  // and the seconds since 1970
constexpr std::string_view TIME_FILE = "/mnt/vendor/nvcfg/vorn/last_datetime";
constexpr std::int64_t STEP_S = 4;  // the lines of one cycle come within it; the next cycle is 10 s later
constexpr std::int64_t DAY_S = 86400;
constexpr int MONTHS_OF_A_ROLL = 6;  // a month steps back by more only where the year rolls over

struct reference_day {
    int year = 0;  // 0: nothing tells
    int month = 12;
    int day = 31;
    const char* why = "";
};

// The year by the report's head, or by what the daemon saved last.
reference_day reference_of(const dossier& evidence) {
    reference_day day;
    for (const auto& [source, time] : evidence.log.report_times()) {
        reference_day said;
        if (std::sscanf(time.text.c_str(), "%d-%d-%d", &said.year, &said.month, &said.day) == 3 &&
            said.year >= 2000)
            day = {said.year, said.month, said.day, "year from the report's head"};
    }
    if (day.year != 0) return day;
    const auto file = evidence.image.files.find(std::string(TIME_FILE));
    std::int64_t saved_s = 0;
    if (file == evidence.image.files.end() || file->second.size() != sizeof saved_s) return day;
    std::memcpy(&saved_s, file->second.data(), sizeof saved_s);
    const std::time_t when = saved_s;
    std::tm local{};
    if (saved_s < FIRST_SET_S || ::localtime_r(&when, &local) == nullptr) return day;
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
            "year from the time that the daemon saved last"};
}

// A local date and time as UTC, in this process's zone. `not_before_s` decides an hour that comes twice.
std::int64_t utc_of(int year, const log_time& time, std::int64_t not_before_s) {
    const std::int32_t seconds = time.ms_of_day / 1000;
    if (time.zone_min)
        return day_number(year, time.month, time.day) * DAY_S + seconds - std::int64_t{60} * *time.zone_min;
    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = time.month - 1;
    local.tm_mday = time.day;
    local.tm_sec = seconds % 60;
    local.tm_min = seconds / 60 % 60;
    local.tm_hour = seconds / 3600;
    local.tm_isdst = 1;
    std::tm later = local;
    const std::time_t first = ::mktime(&local);
    later.tm_isdst = 0;
    const std::time_t second = ::mktime(&later);
    // mktime moves a time by an hour when it is asked for a time of the year that is not in force.
    const auto is_same = [&](std::time_t at) {
        std::tm back{};
        return ::localtime_r(&at, &back) != nullptr && back.tm_min == seconds / 60 % 60 &&
               back.tm_hour == seconds / 3600;
    };
    const bool is_first = is_same(first);
    const bool is_second = is_same(second);
    // The hour comes twice: the second time when the first one is over.
    if (is_first && is_second)
        return not_before_s > std::min(first, second) ? std::max(first, second) : std::min(first, second);
    return is_first ? first : second;
}

std::string_view text_of(const dossier& evidence, const log_entry& entry) {
    return evidence.log.text(entry.text);
}

bool is_start(const dossier& evidence, const log_entry& entry) {
    return text_of(evidence, entry).find(START_WORDS) != std::string_view::npos;
}

bool is_new_years(const log_time& time) {
    return (time.month == 1 && time.day <= 2) || (time.month == 12 && time.day == 31);
}

using line_span = std::span<const log_entry* const>;

// Which lines were written before the clock was set: those of a run that begins with a boot, in the
// first hours of 1970, and that ends with a jump or says so itself.
std::vector<bool> unset_lines(const dossier& evidence, line_span lines) {
    std::vector<bool> unset(lines.size(), false);
    for (std::size_t begin = 0; begin < lines.size();) {
        const bool begins_boot =
            begin == 0 || is_start(evidence, *lines[begin]) || lines[begin]->pid != lines[begin - 1]->pid;
        std::size_t end = begin + 1;
        if (!begins_boot || !is_new_years(lines[begin]->time)) {
            begin = end;
            continue;
        }
        bool says_so = text_of(evidence, *lines[begin]).find(UNSET_WORDS) != std::string_view::npos;
        while (end < lines.size() && is_new_years(lines[end]->time) && !is_start(evidence, *lines[end]) &&
               lines[end]->pid == lines[begin]->pid) {
            says_so |= text_of(evidence, *lines[end]).find(UNSET_WORDS) != std::string_view::npos;
            ++end;
        }
        const bool jumps = end < lines.size() && lines[end]->pid == lines[begin]->pid &&
                           !is_start(evidence, *lines[end]) && !is_new_years(lines[end]->time) &&
                           lines[end]->time.month * 31 + lines[end]->time.day > 34;
        if (says_so || jumps)
            std::fill(unset.begin() + static_cast<std::ptrdiff_t>(begin),
                      unset.begin() + static_cast<std::ptrdiff_t>(end), true);
        begin = end;
    }
    return unset;
}

// The moments of lines in their order, in ms, from the end backwards, where the year is known.
std::vector<std::int64_t> place_lines(const dossier& evidence, line_span lines, reference_day until) {
    const std::vector<bool> unset = unset_lines(evidence, lines);
    std::vector<std::int64_t> utc(lines.size(), 0);
    std::vector<int> years(lines.size(), until.year == 0 ? YEAR_UNKNOWN : until.year);
    int year = until.year == 0 ? YEAR_UNKNOWN : until.year;
    int month = until.month;
    for (std::size_t i = lines.size(); i-- > 0;) {
        const log_time& time = lines[i]->time;
        if (time.kind != log_time::form::month_day || unset[i]) continue;
        if (until.year != 0 && time.month - month > MONTHS_OF_A_ROLL) year -= 1;
        if (until.year != 0 && month - time.month > MONTHS_OF_A_ROLL && i + 1 < lines.size()) year += 1;
        month = time.month;
        years[i] = year;
    }
    std::int64_t before_s = INT64_MIN / 2;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const log_time& time = lines[i]->time;
        switch (time.kind) {
            case log_time::form::none:
                break;
            case log_time::form::since_boot:
            case log_time::form::epoch:
                utc[i] = time.ms / 1000;
                break;
            case log_time::form::date:
                utc[i] = utc_of(time.year, time, before_s);
                break;
            case log_time::form::month_day:
                utc[i] = utc_of(unset[i] ? (time.month == 12 ? 1969 : 1970) : years[i], time, before_s);
                break;
        }
        before_s = utc[i];
        utc[i] = utc[i] * 1000 + (time.kind >= log_time::form::epoch ? time.ms : time.ms_of_day) % 1000;
    }
    return utc;
}

void number_boots_and_steps(const dossier& evidence, std::vector<timed_line>& lines) {
    std::int64_t boot = 0;
    std::uint32_t step = 0;
    std::int64_t step_began_s = 0;
    std::vector<std::uint32_t> texts;  // of a step without times
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const timed_line* const before = i == 0 ? nullptr : &lines[i - 1];
        const log_entry& entry = *lines[i].entry;
        const bool begins = before == nullptr || is_start(evidence, entry) || entry.pid != before->entry->pid;
        const bool has_time = entry.time.kind != log_time::form::none;
        const bool comes_again = !has_time && std::ranges::find(texts, entry.text) != texts.end();
        if (begins) boot += 1;
        if (begins || comes_again || std::abs(lines[i].utc_s - step_began_s) >= STEP_S) {
            step += 1;
            step_began_s = lines[i].utc_s;
            texts.clear();
        }
        texts.push_back(entry.text);
        lines[i].boot = boot;
        lines[i].step = step;
    }
}

// A line of 1970 moves with the boot's first line after the clock was set; how long that took is not known, so it is
// placed as late as it can have been.
void place_unset_lines(std::vector<timed_line>& lines) {
    for (std::size_t end = lines.size(); end-- > 1;) {
        timed_line& earlier = lines[end - 1];
        const timed_line& later = lines[end];
        const bool is_unset = earlier.utc_s < FIRST_SET_S &&
                              earlier.entry->time.kind != log_time::form::none &&
                              earlier.entry->time.kind != log_time::form::since_boot;
        if (!is_unset || earlier.boot != later.boot || later.utc_s < FIRST_SET_S) continue;
        const std::int64_t shift_s = later.utc_s - earlier.utc_s;
        for (std::size_t i = end; i-- > 0 && lines[i].boot == later.boot && lines[i].utc_s < FIRST_SET_S;)
            lines[i].utc_s += shift_s;
    }
}

void count_elapsed(std::vector<timed_line>& lines) {
    for (std::size_t i = 1; i < lines.size(); ++i) {
        if (lines[i].boot != lines[i - 1].boot) continue;
        const bool is_same_step = lines[i].step == lines[i - 1].step;
        const std::int64_t since_s =
            std::max<std::int64_t>(lines[i].utc_s - lines[i - 1].utc_s, is_same_step ? 0 : 1);
        lines[i].elapsed_s = lines[i - 1].elapsed_s + (is_same_step ? 0 : since_s);
        if (is_same_step) lines[i].utc_s = lines[i - 1].utc_s;
    }
}

std::string words_for_clock(const std::vector<timed_line>& lines, const reference_day& until) {
    const auto has = [&](log_time::form kind) {
        return std::ranges::any_of(lines,
                                   [&](const timed_line& each) { return each.entry->time.kind == kind; });
    };
    std::string words;
    const auto add = [&](const std::string& more) { words += (words.empty() ? "" : "; ") + more; };
    if (has(log_time::form::month_day)) add(until.year == 0 ? "year unknown" : until.why);
    if (has(log_time::form::date)) add("the log has the year");
    if (has(log_time::form::epoch)) add("the log counts from 1970");
    if (has(log_time::form::since_boot)) add("day unknown: the log counts from the device's start");
    if (has(log_time::form::none)) add("day unknown: the log has no times");
    const bool is_unset = std::ranges::any_of(lines, [](const timed_line& each) {
        return each.utc_s < FIRST_SET_S && (each.entry->time.kind == log_time::form::month_day ||
                                            each.entry->time.kind == log_time::form::date);
    });
    if (is_unset) add("day unknown where a boot's clock was never set");
    return words;
}

}  // namespace

log_timeline make_timeline(const dossier& evidence) {
    const reference_day until = reference_of(evidence);
    const auto& entries = evidence.log.entries();
    std::vector<const log_entry*> lines;
    for (const log_entry& each : entries) lines.push_back(&each);
    // Each source by itself first, which is enough to put them together; what one says of the clock then counts for all.
    std::vector<std::int64_t> utc_ms;
    utc_ms.reserve(entries.size());
    for (std::size_t begin = 0; begin < entries.size();) {
        std::size_t end = begin;
        while (end < entries.size() && entries[end].at.source == entries[begin].at.source) ++end;
        const auto placed = place_lines(evidence, line_span(lines).subspan(begin, end - begin), until);
        utc_ms.insert(utc_ms.end(), placed.begin(), placed.end());
        begin = end;
    }
    log_timeline result;
    const std::vector<std::uint32_t> order = merge_logs(evidence, utc_ms);
    result.repeated = entries.size() - order.size();
    lines.clear();
    for (const std::uint32_t i : order) lines.push_back(&entries[i]);
    utc_ms = place_lines(evidence, lines, until);
    for (std::size_t i = 0; i < lines.size(); ++i)
        result.lines.push_back({lines[i], 0, 0, utc_ms[i] / 1000, 0});
    number_boots_and_steps(evidence, result.lines);
    place_unset_lines(result.lines);
    result.clock_words = words_for_clock(result.lines, until);
    result.has_year = until.year != 0 || std::ranges::none_of(result.lines, [](const timed_line& each) {
                          return each.entry->time.kind == log_time::form::month_day;
                      });
    count_elapsed(result.lines);
    return result;
}

device_zone::device_zone(const dossier& evidence, const std::string& zone) {
    if (!zone.empty()) {
        zone_.emplace(zone);
        words_ = zone + " (--timezone)";
        return;
    }
    const auto said = evidence.log.properties().find("persist.sys.timezone");
    const auto kept = evidence.image.properties.find("persist.sys.timezone");
    std::string name;
    if (said != evidence.log.properties().end()) name = said->second.text;
    if (name.empty() && kept != evidence.image.properties.end()) name = kept->second;
    try {
        if (!name.empty()) zone_.emplace(name);
        words_ = name + " (persist.sys.timezone)";
    } catch (const input_error&) {
        name.clear();  // the device knows zones that this machine does not
    }
    if (!name.empty()) return;
    zone_.emplace("UTC");
    words_ = "zone unknown: times as the evidence has them";
}

}  // namespace lab
