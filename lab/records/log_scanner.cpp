#include "lab/records/log_scanner.h"

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "util/metrics.h"

namespace lab {

namespace {

constexpr std::string_view GROUP = METRICS_GROUP;
constexpr std::size_t LONGEST_HEADER = 256;  // of the long form with its line feed: fewer bytes than this

// The next mention of the group in `text`; null when there is none.
const char* find_group(std::string_view text) {
    return static_cast<const char*>(memmem(text.data(), text.size(), GROUP.data(), GROUP.size()));
}

std::uint64_t count_lines(std::string_view text) {
    return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string_view between(const char* begin, const char* end) {
    return {begin, static_cast<std::size_t>(end - begin)};
}

const char* end_of(std::string_view text) {
    return text.data() + text.size();
}

std::string string_of(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

std::int64_t number_of(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_integer() ? found->get<std::int64_t>() : 0;
}

}  // namespace

log_scanner::log_scanner(handler handle, std::size_t buffer_size)
    : handle_(std::move(handle)), buffer_(std::max(buffer_size, LEAST_BUFFER_SIZE)) {}

std::span<char> log_scanner::space() {
    return {buffer_.data() + end_, buffer_.size() - end_};
}

void log_scanner::filled(std::size_t count) {
    const std::string_view came(buffer_.data() + end_, count);
    end_ += count;
    // Only what came can end a line: a long one is not looked through again with each block.
    if (came.find('\n') != came.npos) read_whole_lines();
    if (space().size() < LONGEST_RECORD) read_piece_of_line();
}

void log_scanner::read_whole_lines() {
    const std::string_view text = unread();
    const std::string_view lines = text.substr(0, text.rfind('\n') + 1);  // npos + 1 is 0
    scan(lines, lines);
    drop_read(lines.size());
}

// A line that the buffer cannot hold is read in pieces. Each leaves as much as the longest record unread, so
// that no record falls between two of them.
void log_scanner::read_piece_of_line() {
    const std::string_view text = unread();
    const std::string_view piece = text.substr(0, text.size() - LONGEST_RECORD);
    scan(piece, text);
    drop_read(piece.size());
}

void log_scanner::finish() {
    scan(unread(), unread());
    begin_ = end_ = 0;
    line_ = 1;
}

// Takes `count` bytes as read and moves the rest to the front, behind as much of the last line read as a
// header of the long form may take.
void log_scanner::drop_read(std::size_t count) {
    begin_ += count;
    const std::size_t kept = std::min(begin_, LONGEST_HEADER);
    std::memmove(buffer_.data(), buffer_.data() + begin_ - kept, end_ - begin_ + kept);
    end_ = end_ - begin_ + kept;
    begin_ = kept;
}

// Reads every mention of the group that begins in `region`; its line may reach on into `visible`, of which
// `region` is the start. Afterwards line_ is the number of the line at the end of `region`.
void log_scanner::scan(std::string_view region, std::string_view visible) {
    const char* next = region.data();
    const char* counted = region.data();
    while (const char* match = find_group(between(next, end_of(visible)))) {
        if (match >= end_of(region)) break;
        const std::string_view before = between(region.data(), match);
        const char* const line = region.data() + (before.rfind('\n') + 1);  // npos + 1 is 0
        const std::string_view after = between(match, end_of(visible));
        const char* const line_end = after.data() + std::min(after.find('\n'), after.size());
        if (line > counted) line_ += count_lines(between(counted, line));
        counted = std::max(counted, line);
        next = read_mention(between(line, line_end), match);
    }
    if (end_of(region) > counted) line_ += count_lines(between(counted, end_of(region)));
}

// A line that may not be kept whole between two blocks is never taken for a header.
std::string_view log_scanner::previous_line(const char* line) const {
    const std::string_view before = between(buffer_.data(), line);
    if (!before.ends_with('\n')) return {};
    const std::string_view text = before.substr(0, before.size() - 1);
    const std::string_view previous = text.substr(text.rfind('\n') + 1);  // npos + 1 is 0
    return previous.size() + 1 < LONGEST_HEADER ? previous : std::string_view();
}

// Reads the record at `match` and returns where to look on. A second record torn into the same line ends the
// first one.
const char* log_scanner::read_mention(std::string_view line, const char* match) {
    if (line.starts_with('{') && read_event(line)) return end_of(line);
    const char* const another = find_group(between(match + GROUP.size(), end_of(line)));
    const char* const text_end = another == nullptr ? end_of(line) : another;
    const char* const first = find_group(line);
    found_record found;
    found.line = line_;
    found.origin = first == line.data() ? read_long_header(previous_line(line.data()))
                                        : read_prefix(between(line.data(), first));
    found.text = without_line_tail(between(match, text_end).substr(0, LONGEST_RECORD));
    hand_over(found, another == nullptr);
    return text_end;
}

// Whether `line` is an event of the lab; records are those of kind metric.
bool log_scanner::read_event(std::string_view line) {
    const auto event = nlohmann::json::parse(line, nullptr, false);
    if (!event.is_object() || !event.contains("event")) return false;
    const std::string text = string_of(event, "text");
    if (string_of(event, "event") != "metric" || !text.starts_with(GROUP)) return true;
    found_record found;
    found.line = line_;
    found.is_event = true;
    found.boot = number_of(event, "boot");
    found.elapsed_s = number_of(event, "elapsed");
    found.text = text;
    hand_over(found, false);
    return true;
}

void log_scanner::hand_over(found_record& found, bool may_have_tail) {
    found.record = parse_record(found.text);
    parsed_record& record = found.record;
    if (!record.rest.empty() && !(may_have_tail && is_process_tail(record.rest))) {
        if (record.result == verdict::good) record.result = verdict::bad_envelope;
        record.detail += record.detail.empty() ? "" : "; ";
        record.detail += "followed by \"" + std::string(record.rest) + "\"";
    }
    handle_(found);
}

}  // namespace lab
