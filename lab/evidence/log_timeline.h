// The daemon's lines of all logs in one order, each once, each at its moment.
//
// Logs overlap (rotations, the main log of a report), have no year, and begin in 1970 until the clock is set. What
// places them, in this order: the line itself; the head of the report; the time that the daemon saved last. A line of
// an unset clock is placed by the boot that it belongs to, once that boot's clock was set; otherwise its day stays
// unknown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/evidence/dossier.h"
#include "lab/io/time_text.h"

namespace lab {

struct timed_line {
    const log_entry* entry = nullptr;
    std::int64_t boot = 0;       // from 1: starts of the daemon, as far as the log shows them
    std::int64_t elapsed_s = 0;  // since the first line of that boot
    std::int64_t utc_s = 0;      // below FIRST_SET_S: the day is not known
    std::uint32_t step = 0;      // lines of one cycle, or of a start-up with it, have the same
};

constexpr std::int64_t FIRST_SET_S = 1609459200;  // 2021: the daemon takes an earlier clock as not set

struct log_timeline {
    std::vector<timed_line> lines;
    std::string clock_words;     // which clock the times are of, and why
    bool has_year = true;        // without one the year is LEAP_YEAR in all times
    std::uint64_t repeated = 0;  // lines that were in several sources
};

constexpr int YEAR_UNKNOWN =
    2024;  // stands for a year that nothing tells; a leap year, so that every date is one

// Makes the device's zone this process's own, as long as it lives: the user's `zone`, else the one of the properties,
// else UTC, so that times stay as the log has them. Throws input_error for a zone of the user that is not known.
class device_zone {
  public:
    device_zone(const dossier& evidence, const std::string& zone);

    const std::string& words() const { return words_; }  // "Europe/Berlin (persist.sys.timezone)"

  private:
    std::optional<local_zone> zone_;
    std::string words_;
};

log_timeline make_timeline(const dossier& evidence);

}  // namespace lab
