#include "lab/evidence/evidence_story.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <string_view>

#include "core/sys_properties.h"
#include "lab/evidence/log_events.h"
#include "lab/io/time_text.h"
#include "lab/recordings/from_files.h"
#include "lab/recordings/trace_course.h"
#include "lab/session/session.h"
#include "lab/story/log_table.h"
#include "lab/story/story.h"

namespace lab {

namespace {

constexpr std::string_view STRESS_FILE = "/mnt/vendor/nvcfg/vorn/batt_stress";
constexpr std::string_view TIME_FILE = "/mnt/vendor/nvcfg/vorn/last_datetime";
constexpr std::size_t DATE_SIZE = 10;  // "2026-03-28"

// The words of the line that shows a decision.
struct clue {
    std::string_view sentence;
    std::string_view line;
};
constexpr clue CLUES[] = {
    {"top-of-charge voltage from", "New ToC setting"},   {"charging", "charge disable sysprop"},
    {"Scheduled a reboot", "Scheduled reboot"},          {"Rebooted", "Performing reboot"},
    {"Evaluated the stress hours", "stress calc hours"}, {"Could not", "error"},
};

// The line of the decision's moment that shows it, or the first of that moment.
const log_entry* entry_of(const dossier& of, const log_timeline& timeline, const decision& what) {
    std::string_view words;
    for (const clue& each : CLUES) {
        if (words.empty() && what.sentence.find(each.sentence) != std::string::npos) words = each.line;
    }
    const auto is_before = [&](const timed_line& line, const decision& moment) {
        return line.boot != moment.boot ? line.boot < moment.boot : line.elapsed_s < moment.elapsed_s;
    };
    const auto first = std::lower_bound(timeline.lines.begin(), timeline.lines.end(), what, is_before);
    const auto is_then = [&](auto line) {
        return line != timeline.lines.end() && line->boot == what.boot && line->elapsed_s == what.elapsed_s;
    };
    const log_entry* found = nullptr;
    for (auto line = first; is_then(line); ++line) {
        if (found == nullptr) found = line->entry;
        if (!words.empty() && of.log.text(line->entry->text).find(words) != std::string::npos)
            return line->entry;
    }
    return found;
}

void tell_missing(const dossier& of, evidence_story& told) {
    if (told.origin.empty())
        told.missing.emplace_back("no log, events or trace: what the daemon decided is not known");
    if (told.origin != "replay" && !of.series && !of.trace)
        told.missing.emplace_back("no samples: curves are missing");
    if (!of.image.files.contains(std::string(STRESS_FILE)) && !of.trace)
        told.missing.emplace_back(
            "no histogram: which temperatures and voltages wore the battery is not known");
    const bool has_properties = !of.log.properties().empty() || !of.image.properties.empty();
    if (!has_properties && !of.trace)
        told.missing.emplace_back("no properties: the device's zone is not known");
    if (of.log.is_full())
        told.missing.emplace_back("more lines of the daemon than are kept: the last ones are missing");
}

// A log does not hold the histogram; what names its buckets is the file as it was pulled.
void note_age_of_buckets(decision& what) {
    const bool names_buckets = std::ranges::any_of(what.numbers, [](const number& each) {
        return each.value.find(" stress hours (") != std::string::npos;
    });
    if (names_buckets)
        what.numbers.push_back({"these buckets", "as the pulled histogram has them, which may be later"});
}

std::string property_of(const dossier& of, const std::string& name) {
    const auto said = of.log.properties().find(name);
    if (said != of.log.properties().end()) return said->second.text;
    const auto kept = of.image.properties.find(name);
    return kept == of.image.properties.end() ? "" : kept->second;
}

// " (getprop:1)", or nothing.
std::string place_of_property(const dossier& of, const std::string& name) {
    const auto said = of.log.properties().find(name);
    const auto kept = of.image_from.find(name);
    if (said == of.log.properties().end() && kept == of.image_from.end()) return "";
    const place at = said != of.log.properties().end() ? said->second.at : kept->second;
    return " (" + of.sources[at.source].name + ":" + std::to_string(at.line) + ")";
}

// The last of the story against what the device held when its evidence was taken.
void tell_contradictions(const dossier& of, const log_timeline& timeline, evidence_story& told) {
    told.contradictions = of.contradictions;
    std::string last_toc, toc_at;
    for (const timed_line& each : timeline.lines) {
        const std::string& text = of.log.text(each.entry->text);
        const std::size_t at = text.find("New ToC setting: v=");
        if (at == text.npos) continue;
        last_toc = text.substr(at + 19, text.find(' ', at + 19) - at - 19);
        toc_at = of.sources[each.entry->at.source].name + ":" + std::to_string(each.entry->at.line);
    }
    const std::string held = property_of(of, TOC_PROPERTY);
    if (!last_toc.empty() && !held.empty() && held != last_toc)
        told.contradictions.push_back("the log ends with a top of charge of " + last_toc + " mV (" + toc_at +
                                      "), the properties" + place_of_property(of, TOC_PROPERTY) + " say " +
                                      held + " mV: other devices, or other moments");
    const auto saved = of.image.files.find(std::string(TIME_FILE));
    std::int64_t saved_s = 0;
    if (saved == of.image.files.end() || saved->second.size() != sizeof saved_s || timeline.lines.empty())
        return;
    std::memcpy(&saved_s, saved->second.data(), sizeof saved_s);
    const std::int64_t last_s = timeline.lines.back().utc_s;
    constexpr std::int64_t APART_S = std::int64_t{2} * 86400;  // it is saved every hour
    if (told.has_year && last_s >= FIRST_SET_S && saved_s >= FIRST_SET_S &&
        std::abs(last_s - saved_s) > APART_S)
        told.contradictions.push_back("the log ends " + local_time_text(last_s) +
                                      ", the state files were last written " + local_time_text(saved_s) +
                                      ": other devices, or other moments");
}

void tell_tables(const dossier& of, const std::vector<listener*>& listeners) {
    event_reader events(of.events->file.again());
    const boot_clocks clocks(events);
    if (of.series) {
        tell_from_files(std::move(events), series_reader(of.series->file.again()), clocks, listeners);
        return;
    }
    cycle now;
    bool has_cycle = false;
    const auto end_cycle = [&] {
        for (listener* each : listeners) each->on_cycle(now);
    };
    for (event each; events.next(each);) {
        const bool is_new = !has_cycle || each.boot != now.boot || each.elapsed_s != now.elapsed_s;
        if (has_cycle && is_new && each.elapsed_s != 0 && now.elapsed_s != each.elapsed_s) end_cycle();
        now.boot = each.boot;
        now.elapsed_s = each.elapsed_s;
        now.real_time_s = each.real_time_s = clocks.real_time_s(each.boot, each.elapsed_s);
        has_cycle = true;
        for (listener* to : listeners) to->on_event(each);
    }
    if (has_cycle) end_cycle();
}

void tell_trace(const dossier& of, const std::vector<listener*>& listeners) {
    trace_course course(trace_reader(of.trace->file.again(), {}, [](const std::string&) {}));
    device_image image = of.image;
    if (!course.is_empty()) run_session(course, image, listeners);
}

}  // namespace

evidence_story tell_evidence(const dossier& of, const log_timeline& timeline, const device_zone& zone,
                             const story_audience& audience) {
    evidence_story told;
    told.has_year = timeline.has_year;
    told.clock = zone.words();
    told.proof = prove_by_replay(of, timeline);
    const bool goes_by_trace = audience.has_curves && told.proof && told.proof->first_difference.empty();
    const bool has_log = !timeline.lines.empty() && !goes_by_trace;
    story teller(
        [&](const decision& what) {
            told.decisions.push_back({what, {}, {}});
            if (const log_entry* const shows = entry_of(of, timeline, what)) {
                told.decisions.back().at = shows->at;
                const log_line* const known = log_line_of(of.log.text(shows->text));
                if (known != nullptr) told.decisions.back().line_id = known->id;
            }
            if (has_log) note_age_of_buckets(told.decisions.back().what);
            if (audience.on_decision) audience.on_decision(told.decisions.back());
        },
        has_log                       ? image_before_log(of, timeline)
        : of.events && !goes_by_trace ? device_image()
                                      : of.image);
    std::vector<listener*> listeners = audience.listeners;
    listeners.push_back(&teller);
    if (has_log) {
        told.origin = "log";
        told.clock = (timeline.clock_words.empty() ? "" : timeline.clock_words + "; ") + zone.words();
        tell_log(of, timeline, listeners);
    } else if (of.events && !goes_by_trace) {
        told.origin = "events";
        tell_tables(of, listeners);
    } else if (of.trace) {
        told.origin = "replay";
        tell_trace(of, listeners);
    }
    teller.finish();
    tell_missing(of, told);
    tell_contradictions(of, timeline, told);
    return told;
}

std::string moment_text(const evidence_story& of, std::int64_t real_time_s) {
    return with_moments(of, local_time_text(real_time_s));
}

// Every time of day in a story comes from local_time_text.
std::string with_moments(const evidence_story& of, std::string sentence) {
    const std::string year_unknown = std::to_string(YEAR_UNKNOWN) + "-";
    for (std::size_t at = 0; at + DATE_SIZE <= sentence.size(); ++at) {
        const std::string_view rest = std::string_view(sentence).substr(at);
        const bool is_start = at == 0 || sentence[at - 1] == ' ';
        if (!is_start || rest[4] != '-' || rest[7] != '-') continue;
        if (rest.starts_with("1970-") || rest.starts_with("1969-"))
            sentence.replace(at, DATE_SIZE, "day unknown");
        else if (!of.has_year && rest.starts_with(year_unknown))
            sentence.replace(at, 4, "????");
    }
    return sentence;
}

}  // namespace lab
