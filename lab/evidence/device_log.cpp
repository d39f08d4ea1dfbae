#include "lab/evidence/device_log.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "lab/records/daemon_line.h"
#include "util/log.h"

namespace lab {

namespace {

constexpr std::size_t BUFFER_SIZE = 1 << 18;
constexpr std::size_t LONGEST_LINE =
    8192;  // the daemon's end at 1023 characters, and logcat's head before them
constexpr std::string_view REPORT_HEAD = "== dumpstate: ";
constexpr std::string_view ZONE_PROPERTY = "[persist.sys.timezone]: [";
// What a line holds that is looked at. The rest, hundreds to one, is only counted.
constexpr std::string_view MARKS[] = {LOG_TAG, ZONE_PROPERTY, REPORT_HEAD};

const char* find(std::string_view text, std::string_view word) {
    return static_cast<const char*>(memmem(text.data(), text.size(), word.data(), word.size()));
}

std::string_view between(const char* begin, const char* end) {
    return {begin, static_cast<std::size_t>(end - begin)};
}

std::uint64_t count_lines(std::string_view text) {
    return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

// The places of each mark in a block, in the order of the block.
class mark_finder {
  public:
    explicit mark_finder(std::string_view block) : end_(block.data() + block.size()) {
        for (std::size_t i = 0; i < std::size(MARKS); ++i) next_[i] = find(block, MARKS[i]);
    }

    // The first mark at or after `from`; null when there is none.
    const char* next(const char* from) {
        const char* first = nullptr;
        for (std::size_t i = 0; i < std::size(MARKS); ++i) {
            if (next_[i] != nullptr && next_[i] < from) next_[i] = find(between(from, end_), MARKS[i]);
            if (next_[i] != nullptr && (first == nullptr || next_[i] < first)) first = next_[i];
        }
        return first;
    }

  private:
    const char* end_;
    const char* next_[std::size(MARKS)] = {};
};

}  // namespace

std::uint64_t device_log::read(byte_stream& from, std::uint32_t source) {
    std::string buffer(BUFFER_SIZE, '\0');
    std::size_t kept = 0;    // bytes at the front from before: the line before, and a line that is not whole
    std::size_t unread = 0;  // where in them the line that is not whole begins
    std::uint64_t line_number = 1;  // of the line at `unread`
    const std::size_t before_count = entries_.size();
    std::string broken;
    for (bool is_over = false; !is_over;) {
        std::size_t got = 0;
        try {
            got = from.read(buffer.data() + kept, buffer.size() - kept);
        } catch (const broken_stream& why) {
            broken = why.what();
        }
        is_over = got == 0;
        const std::string_view all(buffer.data(), kept + got);
        const std::size_t last_end = all.rfind('\n');
        const bool has_whole = last_end != all.npos && last_end >= unread;
        const bool is_cut =
            all.size() == buffer.size() && !has_whole;  // a line without end: nothing of the daemon
        const std::size_t end = is_over || is_cut ? all.size() : has_whole ? last_end + 1 : unread;
        const std::string_view block = all.substr(unread, end - unread);
        line_number = take_block(all, block, {source, line_number});
        // The line before stays, as it may be the head of the next one.
        const std::string_view done = all.substr(0, end);
        const std::string_view before = done.substr(0, done.empty() ? 0 : done.size() - 1);
        std::size_t keep_from = before.rfind('\n') + 1;
        if (end - std::min(end, keep_from) > LONGEST_LINE) keep_from = end;
        kept = all.size() - keep_from;
        unread = end - keep_from;
        std::memmove(buffer.data(), buffer.data() + keep_from, kept);
    }
    lines_seen_ += line_number;
    if (!broken.empty()) throw broken_stream(broken + ", in line " + std::to_string(line_number));
    return entries_.size() - before_count;
}

// The marks of a block of whole lines; `all` begins with what stands before it. Gives the number of the line after it.
std::uint64_t device_log::take_block(std::string_view all, std::string_view block, place at) {
    mark_finder marks(block);
    const char* counted = block.data();
    const char* const block_end = block.data() + block.size();
    for (const char* mark = marks.next(block.data()); mark != nullptr;) {
        const std::string_view head = between(block.data(), mark);
        const char* const line = block.data() + (head.rfind('\n') + 1);  // npos + 1 is 0
        const char* const line_end =
            mark + std::min(between(mark, block_end).find('\n'), between(mark, block_end).size());
        at.line += count_lines(between(counted, line));
        counted = line;
        const std::string_view earlier = between(all.data(), line);
        const std::string_view above = earlier.substr(0, earlier.empty() ? 0 : earlier.size() - 1);
        if (line_end - line < static_cast<std::ptrdiff_t>(LONGEST_LINE))
            take_line(between(line, line_end), above.substr(above.rfind('\n') + 1), at);
        mark = marks.next(line_end);
    }
    return at.line + count_lines(between(counted, block_end));
}

void device_log::take_line(std::string_view line, std::string_view before, place at) {
    if (line.starts_with('[') && line.find("]: [") != line.npos) return take_property(line, at);
    if (line.starts_with(REPORT_HEAD)) {
        report_times_.try_emplace(at.source,
                                  sourced_text{std::string(line.substr(REPORT_HEAD.size(), 19)), at});
        return;
    }
    const auto found = metrics::read_daemon_line(line, before);
    if (!found || is_full()) return;
    log_entry entry;
    entry.time = parse_log_time(found->origin.time);
    entry.priority = found->priority;
    entry.at = at;
    const std::string_view pid = found->origin.pid;
    std::from_chars(pid.data(), pid.data() + pid.size(), entry.pid);
    std::string_view text = found->text;
    while (text.ends_with(' ')) text.remove_suffix(1);  // some forms drop them
    entry.text = id_of(text);
    entries_.push_back(entry);
}

std::uint32_t device_log::id_of(std::string_view text) {
    const auto [known, is_new] =
        text_ids_.try_emplace(std::string(text), static_cast<std::uint32_t>(texts_.size()));
    if (is_new) {
        texts_.push_back(&known->first);
        text_bytes_ += known->first.size();
    }
    return known->second;
}

void device_log::absorb(const device_log& other, std::uint32_t first_source) {
    for (log_entry each : other.entries_) {
        if (is_full()) break;
        each.text = id_of(other.text(each.text));
        each.at.source += first_source;
        entries_.push_back(each);
    }
    for (const auto& [name, value] : other.properties_)
        properties_.try_emplace(name, value.moved_by(first_source));
    for (const auto& [source, time] : other.report_times_)
        report_times_.try_emplace(source + first_source, time.moved_by(first_source));
    lines_seen_ += other.lines_seen_;
}

// "[name]: [value]"; the daemon's own, and the zone.
void device_log::take_property(std::string_view line, place at) {
    while (line.ends_with('\r') || line.ends_with(' ')) line.remove_suffix(1);
    const std::size_t split = line.find("]: [");
    if (!line.ends_with(']')) return;
    const std::string_view name = line.substr(1, split - 1);
    const bool is_wanted = line.starts_with(ZONE_PROPERTY) || name.find(".vorn.") != name.npos;
    if (!is_wanted) return;
    const std::string_view value = line.substr(split + 4, line.size() - split - 5);
    properties_.try_emplace(std::string(name), sourced_text{std::string(value), at});
}

}  // namespace lab
