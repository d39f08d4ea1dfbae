#include "lab/story/event_log.h"

#include <algorithm>
#include <ostream>

#include "lab/io/text.h"
#include "lab/io/time_text.h"
#include "lab/story/effect_text.h"
#include "platform/android_log.h"
#include "util/log.h"

namespace lab {

namespace {

constexpr int ELAPSED_WIDTH = 14;
constexpr std::size_t NUMBER_INDENT = 24;
constexpr std::string_view MISSING_FILE_WORDS[] = {"file open error errno file ",
                                                   "failed to read file, while migrating "};

std::string_view log_kind(std::int32_t priority) {
    switch (priority) {
        case ANDROID_LOG_INFO:
            return "info    ";
        case ANDROID_LOG_ERROR:
            return "error   ";
        default:
            return "log     ";
    }
}

// A log line without what every one of them carries: dashes and the tag.
std::string_view without_decoration(std::string_view text) {
    const auto drop_start = [&text](std::string_view start) {
        if (text.starts_with(start)) text.remove_prefix(start.size());
    };
    drop_start("--- ");
    drop_start(LOG_TAG);
    drop_start(" ");
    while (text.ends_with('-') || text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

std::string log_line(const event& what) {
    std::string text = on_one_line(effect_text(what));
    switch (what.kind) {
        case event_kind::log:
            return std::string(log_kind(what.priority)).append(without_decoration(text));
        case event_kind::metric:
            return "record  " + text;
        case event_kind::property_set:
            return "set     " + text;
        case event_kind::write:
            return "write   " + text;
    }
    return text;
}

std::string padded_elapsed(std::int64_t seconds) {
    std::string text = elapsed_text(seconds);
    text.insert(0, text.size() < ELAPSED_WIDTH ? ELAPSED_WIDTH - text.size() : 0, ' ');
    return text;
}

std::string_view directory_of(const std::string& path) {
    return std::string_view(path).substr(0, path.rfind('/') + 1);
}

}  // namespace

void event_log::begin_boot(const event& first) {
    finish();
    has_boot_ = true;
    boot_ = first.boot;
    out_ << "boot " << boot_ << ", " << local_time_text(first.real_time_s) << '\n';
}

// A start looks for each of its files in two places, and says of each one missing that it is.
bool event_log::fold(const event& what) {
    const bool is_of_start = what.kind == event_kind::log && what.elapsed_s == 0;
    if (!folds_missing_files_ || !is_of_start) return false;
    for (const std::string_view words : MISSING_FILE_WORDS) {
        const std::size_t at = what.text.find(words);
        if (at == what.text.npos) continue;
        const std::string_view rest = std::string_view(what.text).substr(at + words.size());
        const std::string path(rest.substr(0, rest.find_first_of(" \n")));
        if (missing_files_.empty()) missing_at_ = news_.size();
        if (std::ranges::find(missing_files_, path) == missing_files_.end()) missing_files_.push_back(path);
        return true;
    }
    return false;
}

void event_log::print_missing_files() {
    if (missing_files_.empty()) return;
    std::string lines =
        padded_elapsed(0) + "  error   " + counted(missing_files_.size(), "file") + " not found:";
    std::ranges::stable_sort(missing_files_, {}, directory_of);
    std::string_view directory;
    for (const std::string& path : missing_files_) {
        const std::string_view its = directory_of(path);
        if (its != directory) lines.append("\n").append(NUMBER_INDENT, ' ').append(directory = its);
        lines.append(" ").append(path, its.size());
    }
    news_.insert(missing_at_, lines + "\n");
    missing_files_.clear();
}

void event_log::on_event(const event& what) {
    if (!has_boot_ || what.boot != boot_) begin_boot(what);
    if (fold(what)) return;
    text_ = log_line(what);
    const auto known = std::find_if(streaks_.begin(), streaks_.end(),
                                    [this](const streak& each) { return each.text == text_; });
    if (known != streaks_.end()) {
        ++known->more;
        known->last_cycle = cycle_;
        known->last_elapsed_s = what.elapsed_s;
        return;
    }
    streaks_.push_back({text_, 0, cycle_, what.elapsed_s});
    news_ += padded_elapsed(what.elapsed_s) + "  " + text_ + '\n';
}

// What is over ended in the cycle before, so its count comes before the news of this one.
void event_log::end_streaks_before_this_cycle() {
    const auto is_over = [this](const streak& each) { return each.last_cycle < cycle_; };
    for (const streak& each : streaks_) {
        if (is_over(each)) end_streak(each);
    }
    std::erase_if(streaks_, is_over);
}

void event_log::on_cycle(const cycle& /*after*/) {
    end_streaks_before_this_cycle();
    print_news();
    ++cycle_;
}

void event_log::end_streak(const streak& ended) {
    if (ended.more == 0) return;
    const std::string times = ended.more == 1 ? "once more" : std::to_string(ended.more) + " times more";
    out_ << padded_elapsed(ended.last_elapsed_s) << "          " << times << ": " << ended.text << '\n';
}

void event_log::print_news() {
    print_missing_files();
    out_ << news_;
    news_.clear();
}

void event_log::finish() {
    end_streaks_before_this_cycle();
    print_news();
    for (const streak& each : streaks_) end_streak(each);
    streaks_.clear();
}

}  // namespace lab
