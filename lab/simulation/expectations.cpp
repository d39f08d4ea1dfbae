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

bool is_in_range(const expectation& wanted, double value) {
    return value >= wanted.min.value_or(value) && value <= wanted.max.value_or(value);
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
    constexpr std::string_view NAMES[] = {
        "property ", "file ", "log lines with \"", "records of ", "the simulated phone's ", "series "};
    std::string text(NAMES[static_cast<std::size_t>(wanted.of)]);
    text += wanted.name;
    if (wanted.of == subject::log) text += '"';
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
    : scenario_(of), image_(std::move(before)), progress_(of.expectations.size()) {
    for (const auto& each : of.expectations) {
        has_throughout_ = has_throughout_ || each.is_throughout;
        has_counts_ = has_counts_ || each.of == subject::log || each.of == subject::record;
    }
}

void expectation_checker::on_event(const event& what) {
    if (what.boot != boot_) {
        boot_ = what.boot;
        image_.forget_volatile();
    }
    apply(what);
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
    const bool is_due = now_s >= next_due_s_;
    if (has_throughout_ || is_due) {
        next_due_s_ = NEVER_S;
        for (std::size_t i = 0; i < progress_.size(); ++i) {
            const expectation& wanted = scenario_.expectations[i];
            if (progress_[i].is_done) continue;
            if (wanted.is_throughout && now_s >= wanted.since_s) watch_range(wanted, progress_[i], after);
            if (!wanted.at_s) continue;
            if (now_s >= *wanted.at_s) {
                check(wanted, progress_[i], after);
            } else {
                next_due_s_ = std::min(next_due_s_, *wanted.at_s);
            }
        }
    }
    last_ = after;
}

void expectation_checker::finish(const device_image& after) {
    image_ = after;
    for (const event& each : pending_) count(each, scenario_.duration_s());
    for (std::size_t i = 0; i < progress_.size(); ++i) {
        if (!progress_[i].is_done) check(scenario_.expectations[i], progress_[i], last_);
    }
}

double expectation_checker::value_of(const expectation& wanted, const cycle& at) const {
    const auto place = [&](const auto& names) {
        return static_cast<std::size_t>(std::find(names.begin(), names.end(), wanted.name) - names.begin());
    };
    if (wanted.of == subject::cell) return at.truth.at(place(truth_column_names));
    return at.daemon.at(place(column_names));
}

void expectation_checker::watch_range(const expectation& wanted, progress& so_far, const cycle& after) {
    const double value = value_of(wanted, after);
    if (so_far.is_broken || is_in_range(wanted, value)) return;
    so_far.is_broken = true;
    so_far.broken_at = number_text(value) + " at " + duration_text(static_cast<std::int64_t>(after.truth[0]));
}

void expectation_checker::check(const expectation& wanted, progress& so_far, const cycle& at) {
    so_far.is_done = true;
    std::string found;
    bool holds = false;
    switch (wanted.of) {
        case subject::property:
            found = text_in(image_.properties, wanted.name);
            break;
        case subject::file:
            found = field_in(image_, wanted.name);
            break;
        case subject::log:
        case subject::record:
            found = std::to_string(so_far.count);
            break;
        case subject::cell:
        case subject::series:
            if (wanted.is_throughout) {
                if (so_far.is_broken) fail(wanted, so_far, so_far.broken_at);
                return;
            }
            found = at.truth.empty() ? "no cycle" : number_text(value_of(wanted, at));
            break;
    }
    if (wanted.is) {
        holds = found == *wanted.is;
    } else {
        double value = 0;
        const auto parsed = std::from_chars(found.data(), found.data() + found.size(), value);
        holds = parsed.ec == std::errc() && is_in_range(wanted, value);
    }
    if (!holds) fail(wanted, so_far, wanted.is ? "\"" + found + "\"" : found);
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
