// Finds the metrics records in a log of any length, in constant memory.
//
// The log comes in blocks that may end anywhere. Lines without the records' group are passed over unread, so
// the speed is that of looking for that one word.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lab/records/logcat_line.h"
#include "lab/records/record_parser.h"

namespace lab {

// A record and where it was found. Valid during the call that hands it over.
struct found_record {
    std::uint64_t line = 0;  // from 1
    log_origin origin;
    bool is_event = false;       // from the lab's events; then the next two are known
    std::int64_t boot = 0;       // as the events have it
    std::int64_t elapsed_s = 0;  // since that boot's start of the daemon
    std::string_view text;       // the record, as found
    parsed_record record;
};

class log_scanner {
  public:
    using handler = std::function<void(const found_record&)>;

    static constexpr std::size_t LONGEST_RECORD = 2048;  // bytes; the daemon cuts at 1023
    static constexpr std::size_t LEAST_BUFFER_SIZE = 4 * LONGEST_RECORD;

    // `buffer_size` (bytes, at least LEAST_BUFFER_SIZE) is all the memory it takes.
    explicit log_scanner(handler handle, std::size_t buffer_size = 1 << 18);

    // Where the next bytes of the log go; never empty. Then says how many were put there.
    std::span<char> space();
    void filled(std::size_t count);

    // The log is at its end: what is left is a line. The next log starts again at line 1.
    void finish();

  private:
    std::string_view unread() const { return {buffer_.data() + begin_, end_ - begin_}; }
    std::string_view previous_line(const char* line) const;
    void read_whole_lines();
    void read_piece_of_line();
    void scan(std::string_view region, std::string_view visible);
    const char* read_mention(std::string_view line, const char* match);
    bool read_event(std::string_view line);
    void hand_over(found_record& found, bool may_have_tail);
    void drop_read(std::size_t count);

    handler handle_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;  // of what is unread; before it stands the line before, when there is room
    std::size_t end_ = 0;
    std::uint64_t line_ = 1;  // number of the line at begin_
};

}  // namespace lab
