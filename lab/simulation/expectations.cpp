#include "lab/simulation/expectations.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "lab/io/time_text.h"
#include "lab/records/record_schema.h"
#include "lab/records/record_text.h"
#include "lab/scenario/timeline.h"
#include "lab/scenario/truth.h"
#include "lab/state/state_layout.h"

namespace lab {

namespace {

std::string number_text(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

bool is_met(const expectation& wanted, double value) {
    if (wanted.is) return number_text(value) == *wanted.is;
    return value >= wanted.min.value_or(value) && value <= wanted.max.value_or(value);
}

bool is_met(const expectation& wanted, const std::string& found) {
    if (wanted.is) return found == *wanted.is;
    double value = 0;
    const auto parsed = std::from_chars(found.data(), found.data() + found.size(), value);
    return parsed.ec == std::errc() && is_met(wanted, value);
}

// By the record's name here, or by the beginning of its schema id.
bool is_record(std::string_view schema, std::string_view wanted) {
    const record_schema* const named = find_schema_by_name(wanted);
    if (named != nullptr) return schema == named->id;
    return schema.starts_with(wanted);
}

std::string range_text(const expectation& wanted) {
    if (wanted.min && wanted.max && *wanted.min == *wanted.max) return number_text(*wanted.min);
    if (wanted.min && wanted.max) return number_text(*wanted.min) + " to " + number_text(*wanted.max);
    if (wanted.min) return "at least " + number_text(*wanted.min);
    return "at most " + number_text(*wanted.max);
}

std::string expected_text(const expectation& wanted) {
    return wanted.is ? "\"" + *wanted.is + "\"" : range_text(wanted);
}

std::string subject_text(const expectation& wanted) {
    constexpr std::string_view NAMES[] = {"property ",
                                          "file ",
                                          "log lines with \"",
                                          "records of ",
                                          "decisions with \"",
                                          "the simulated phone's ",
                                          "series "};
    std::string text(NAMES[static_cast<std::size_t>(wanted.of)]);
    text += wanted.name;
    if (wanted.of == subject::log || wanted.of == subject::decision) text += '"';
    return text;
}

std::string time_text(const expectation& wanted) {
    std::string text = wanted.at_s ? "at " + duration_text(*wanted.at_s) : "at the end";
    if (wanted.is_throughout) text = "from " + duration_text(wanted.since_s) + " on, until " + text.substr(3);
    return text;
}

std::string sentence_of(const expectation& wanted) {
    return subject_text(wanted) + " " + time_text(wanted) + ": expected " + expected_text(wanted);
}

std::string text_in(const std::map<std::string, std::string>& entries, const std::string& name) {
    const auto found = entries.find(name);
    return found == entries.end() ? std::string() : found->second;
}

std::string field_in(const device_image& image, const std::string& name) {
    const auto dot = name.find('.');
    const auto* const file = find_state_file(name.substr(0, dot));
    const auto bytes = image.files.find(std::string(file->path));
    if (bytes == image.files.end()) return "no file";
    return state_field_text(*file, bytes->second, name.substr(dot + 1)).value_or("a file too short");
}

}  // namespace

expectation_checker::expectation_checker(const scenario& of, device_image before)
    : scenario_(of),
      image_(std::move(before)),
      progress_(of.expectations.size()),
      told_([this](const decision& told) { decisions_.push_back(told); }, image_) {
    for (const auto& each : of.expectations) {
        has_throughout_ = has_throughout_ || each.is_throughout;
        has_decisions_ = has_decisions_ || each.of == subject::decision;
        has_counts_ = has_counts_ || each.of == subject::log || each.of == subject::record;
    }
}

void expectation_checker::on_event(const event& what) {
    if (what.boot != boot_) {
        boot_ = what.boot;
        image_.forget_volatile();
    }
    apply(what);
    if (has_decisions_) told_.on_event(what);
    if (has_counts_ && (what.kind == event_kind::log || what.kind == event_kind::metric)) {
        pending_.push_back(what);
    }
}

void expectation_checker::apply(const event& what) {
    if (what.kind == event_kind::property_set && what.result == 0) {
        image_.properties[what.name] = what.text;
    } else if (what.kind == event_kind::write && what.result > 0) {
        auto& bytes = image_.files[what.name];
        bytes.resize(std::max(bytes.size(), what.text.size()));
        bytes.replace(0, what.text.size(), what.text);
    }
}

void expectation_checker::count(const event& what, std::int64_t at_s) {
    const bool is_log = what.kind == event_kind::log;
    const auto schema = is_log ? std::string_view() : record_schema_id(what.text);
    for (std::size_t i = 0; i < progress_.size(); ++i) {
        const expectation& wanted = scenario_.expectations[i];
        if (wanted.of != (is_log ? subject::log : subject::record)) continue;
        if (at_s < wanted.since_s || progress_[i].is_done) continue;
        const bool is_it =
            is_log ? what.text.find(wanted.name) != std::string::npos : is_record(schema, wanted.name);
        if (is_it) progress_[i].count += 1;
    }
}

void expectation_checker::on_cycle(const cycle& after) {
    const auto now_s = static_cast<std::int64_t>(after.truth[0]);
    for (const event& each : pending_) count(each, now_s);
    pending_.clear();
    last_ = after;
    if (has_decisions_) told_.on_cycle(after);
    for (const decision& each : std::exchange(decisions_, {})) count(each);
    const bool is_due = now_s >= next_due_s_;
    if (has_throughout_ || is_due) {
        next_due_s_ = NEVER_S;
        for (std::size_t i = 0; i < progress_.size(); ++i) {
            const expectation& wanted = scenario_.expectations[i];
            if (progress_[i].is_done) continue;
            if (wanted.is_throughout && now_s >= wanted.since_s) watch(wanted, progress_[i], after);
            if (!wanted.at_s) continue;
            if (now_s >= *wanted.at_s) {
                check(wanted, progress_[i], after);
            } else {
                next_due_s_ = std::min(next_due_s_, *wanted.at_s);
            }
        }
    }
}

void expectation_checker::finish(const device_image& after) {
    image_ = after;
    for (const event& each : pending_) count(each, scenario_.duration_s());
    if (has_decisions_) told_.finish();
    for (const decision& each : std::exchange(decisions_, {})) count(each);
    for (std::size_t i = 0; i < progress_.size(); ++i) {
        if (!progress_[i].is_done) check(scenario_.expectations[i], progress_[i], last_);
    }
}

// A decision is told when its cycle is over, or at the end of what it tells of.
void expectation_checker::count(const decision& told) {
    const auto now_s = last_.truth.empty() ? 0 : static_cast<std::int64_t>(last_.truth[0]);
    const std::int64_t at_s = now_s - (last_.elapsed_s - told.elapsed_s);
    const std::string text = told.feature + ": " + told.sentence;
    for (std::size_t i = 0; i < progress_.size(); ++i) {
        const expectation& wanted = scenario_.expectations[i];
        if (wanted.of != subject::decision || progress_[i].is_done) continue;
        if (at_s < wanted.since_s || at_s > wanted.at_s.value_or(at_s)) continue;
        if (text.find(wanted.name) != std::string::npos) progress_[i].count += 1;
    }
}

double expectation_checker::value_of(const expectation& wanted, const cycle& at) const {
    const auto place = [&](const auto& names) {
        return static_cast<std::size_t>(std::find(names.begin(), names.end(), wanted.name) - names.begin());
    };
    if (wanted.of == subject::cell) return at.truth.at(place(truth_column_names));
    return wanted.name == STRESS_COLUMN ? at.stress_h : at.daemon.at(place(column_names));
}

std::string expectation_checker::found_text(const expectation& wanted, const progress& so_far,
                                            const cycle& at) const {
    if (is_counted(wanted.of)) return std::to_string(so_far.count);
    if (wanted.of == subject::property) return text_in(image_.properties, wanted.name);
    if (wanted.of == subject::file) return field_in(image_, wanted.name);
    return at.truth.empty() ? "no cycle" : number_text(value_of(wanted, at));
}

void expectation_checker::watch(const expectation& wanted, progress& so_far, const cycle& after) {
    if (so_far.is_broken) return;
    const bool is_quantity = wanted.of == subject::cell || wanted.of == subject::series;
    if (is_quantity && is_met(wanted, value_of(wanted, after))) return;
    const std::string found = found_text(wanted, so_far, after);
    if (!is_quantity && is_met(wanted, found)) return;
    so_far.is_broken = true;
    so_far.broken_at = found + " at " + duration_text(static_cast<std::int64_t>(after.truth[0]));
}

void expectation_checker::check(const expectation& wanted, progress& so_far, const cycle& at) {
    so_far.is_done = true;
    if (wanted.is_throughout) {
        if (so_far.is_broken) fail(wanted, so_far, so_far.broken_at);
        return;
    }
    const std::string found = found_text(wanted, so_far, at);
    if (!is_met(wanted, found)) fail(wanted, so_far, wanted.is ? "\"" + found + "\"" : found);
}

void expectation_checker::fail(const expectation& wanted, progress& of, const std::string& found) {
    of.found = found;
    failures_.push_back(wanted.where + ": " + sentence_of(wanted) + ", found " + found);
}

std::vector<expectation_checker::outcome> expectation_checker::outcomes() const {
    std::vector<outcome> all;
    for (std::size_t i = 0; i < progress_.size(); ++i)
        all.push_back({sentence_of(scenario_.expectations[i]), progress_[i].found});
    return all;
}

}  // namespace lab
