// The daemon's lines in a device's logs, and what a bug report says beside them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "lab/evidence/byte_stream.h"
#include "lab/evidence/log_time.h"

namespace lab {

// Where a fact stands: in which source, on which line (from 1; 0: the whole of it).
struct place {
    std::uint32_t source = 0;
    std::uint64_t line = 0;
};

struct log_entry {
    log_time time;
    std::uint32_t text = 0;  // device_log::text()
    std::int32_t pid = 0;    // 0: the form has none
    char priority = ' ';
    place at;
};

// A value and where it stands.
struct sourced_text {
    std::string text;
    place at;

    // The same, where `first` sources come before those that it was read among.
    sourced_text moved_by(std::uint32_t first) const { return {text, {at.source + first, at.line}}; }
};

class device_log {
  public:
    static constexpr std::size_t MAX_ENTRIES = 400'000;       // some twenty years of an ordinary device
    static constexpr std::size_t MAX_TEXT_BYTES = 8'000'000;  // of texts that differ

    // Reads a text to its end, adding what it holds of the daemon. Gives how many of its lines those were. Throws
    // broken_stream, with all that came before taken.
    std::uint64_t read(byte_stream& from, std::uint32_t source);

    // Takes over what another log holds, whose sources are numbered from `first_source` on here.
    void absorb(const device_log& other, std::uint32_t first_source);

    std::uint64_t lines_seen() const { return lines_seen_; }  // of all texts, everybody's
    // What comes after that is not kept.
    bool is_full() const { return entries_.size() >= MAX_ENTRIES || text_bytes_ >= MAX_TEXT_BYTES; }

    // In the order of the sources and of their lines.
    const std::vector<log_entry>& entries() const { return entries_; }
    const std::string& text(std::uint32_t id) const { return *texts_[id]; }

    // The daemon's properties and the device's zone, as getprop prints them.
    const std::map<std::string, sourced_text>& properties() const { return properties_; }
    // When the report was made, local time, as its head says: "2026-03-28 08:10:22".
    const std::map<std::uint32_t, sourced_text>& report_times() const { return report_times_; }

  private:
    std::uint64_t take_block(std::string_view all, std::string_view block, place at);
    void take_line(std::string_view line, std::string_view before, place at);
    std::uint32_t id_of(std::string_view text);
    void take_property(std::string_view line, place at);

    std::vector<log_entry> entries_;
    std::unordered_map<std::string, std::uint32_t> text_ids_;
    std::vector<const std::string*> texts_;
    std::map<std::string, sourced_text> properties_;
    std::map<std::uint32_t, sourced_text> report_times_;  // by source
    std::uint64_t lines_seen_ = 0;
    std::size_t text_bytes_ = 0;
};

}  // namespace lab
