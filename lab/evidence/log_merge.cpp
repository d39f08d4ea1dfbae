#include "lab/evidence/log_merge.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>

#include "lab/io/text.h"

namespace lab {

namespace {

using indices = std::vector<std::uint32_t>;

// What is the same of a line in every source.
struct line_key {
    log_time time;
    std::uint32_t text;
    std::int32_t pid;
    friend bool operator==(const line_key&, const line_key&) = default;
};
struct line_key_hash {
    std::size_t operator()(const line_key& key) const {
        std::uint64_t hash = key.text;
        for (const std::int64_t part :
             {std::int64_t{key.time.month}, std::int64_t{key.time.day}, std::int64_t{key.time.year},
              std::int64_t{key.time.ms_of_day}, key.time.ms, std::int64_t{key.pid}})
            hash = (hash ^ static_cast<std::uint64_t>(part)) * 0x9E3779B97F4A7C15U;
        return hash ^ (hash >> 32);
    }
};

class merger {
  public:
    merger(const dossier& evidence, const std::vector<std::int64_t>& utc_ms)
        : entries_(evidence.log.entries()), utc_ms_(utc_ms) {}

    // `is_sequel`: b was written after a, so what they do not share needs no clock.
    indices together(const indices& a, const indices& b, bool is_sequel) const {
        std::unordered_map<line_key, indices, line_key_hash> places;  // in a, last first
        for (std::size_t i = a.size(); i-- > 0;) places[key(a[i])].push_back(static_cast<std::uint32_t>(i));
        indices result;
        std::size_t from_a = 0, from_b = 0;  // not yet in the result
        for (std::size_t i = 0; i < b.size(); ++i) {
            // A line without a time is like another one, and says nothing of where it was.
            if (entries_[b[i]].time.kind == log_time::form::none) continue;
            const auto found = places.find(key(b[i]));
            if (found == places.end()) continue;
            while (!found->second.empty() && found->second.back() < from_a) found->second.pop_back();
            if (found->second.empty()) continue;
            const std::size_t at = found->second.back();
            fill(a, from_a, at, b, from_b, i, is_sequel, result);
            result.push_back(a[at]);
            from_a = at + 1;
            from_b = i + 1;
        }
        fill(a, from_a, a.size(), b, from_b, b.size(), is_sequel, result);
        return result;
    }

  private:
    line_key key(std::uint32_t i) const { return {entries_[i].time, entries_[i].text, entries_[i].pid}; }

    // What stands between two lines that both have.
    void fill(const indices& a, std::size_t a_begin, std::size_t a_end, const indices& b, std::size_t b_begin,
              std::size_t b_end, bool is_sequel, indices& result) const {
        while (!is_sequel && a_begin < a_end && b_begin < b_end)
            result.push_back(utc_ms_[b[b_begin]] < utc_ms_[a[a_begin]] ? b[b_begin++] : a[a_begin++]);
        while (a_begin < a_end) result.push_back(a[a_begin++]);
        while (b_begin < b_end) result.push_back(b[b_begin++]);
    }

    const std::vector<log_entry>& entries_;
    const std::vector<std::int64_t>& utc_ms_;
};

// "logcat.002" is the second file before "logcat"; 0 for a name that counts nothing.
std::pair<std::string, std::int64_t> rotation_of(const std::string& name) {
    const std::size_t point = name.rfind('.');
    const auto number = point == name.npos ? std::nullopt : parse_integer(name.substr(point + 1));
    return number ? std::pair(name.substr(0, point), *number) : std::pair(name, std::int64_t{-1});
}

// The lines of each source; rotations of one log, from the oldest to the newest, are one.
std::vector<indices> joined_rotations(const dossier& evidence, const merger& merge) {
    std::map<std::uint32_t, indices> by_source;
    const auto& entries = evidence.log.entries();
    for (std::uint32_t i = 0; i < entries.size(); ++i) by_source[entries[i].at.source].push_back(i);
    std::map<std::string, std::map<std::int64_t, indices, std::greater<>>> logs;
    std::vector<indices> result;
    for (auto& [number, lines] : by_source) {
        const auto [stem, rotation] = rotation_of(evidence.sources[number].name);
        auto& slot = logs[stem][rotation];
        if (slot.empty())
            slot = std::move(lines);
        else
            result.push_back(std::move(lines));  // another input's log of the same name
    }
    for (const auto& [stem, parts] : logs) {
        indices joined;
        for (const auto& [rotation, lines] : parts) joined = merge.together(joined, lines, true);
        result.push_back(std::move(joined));
    }
    return result;
}

}  // namespace

std::vector<std::uint32_t> merge_logs(const dossier& evidence, const std::vector<std::int64_t>& utc_ms) {
    const merger merge(evidence, utc_ms);
    std::vector<indices> sources = joined_rotations(evidence, merge);
    // By what they hold and not by where they stood, so that every packing gives the same order.
    std::ranges::stable_sort(sources, [&](const indices& a, const indices& b) {
        const std::int64_t a_ms = utc_ms[a.front()];
        const std::int64_t b_ms = utc_ms[b.front()];
        return a_ms != b_ms ? a_ms < b_ms : a.size() > b.size();
    });
    indices merged;
    for (const indices& each : sources) merged = merge.together(merged, each, false);
    return merged;
}

}  // namespace lab
