// Times and durations as text, and the zone in which this process tells local time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lab {

// A device's wall clock that shows an earlier time than 2021-01-01 has never been set.
constexpr std::int64_t CLOCK_SET_SINCE_S = 1609459200;

// Makes a zone this process's local time, for the daemon too, until it ends; then the one before it is back.
class local_zone {
  public:
    // A name of the machine's time zone database or a rule of POSIX. Throws input_error for a zone not known.
    explicit local_zone(const std::string& zone);
    local_zone(const local_zone&) = delete;
    local_zone& operator=(const local_zone&) = delete;
    ~local_zone();

  private:
    bool had_zone_;
    std::string zone_before_;
};

// Local date and time: "2026-03-02 07:00:10"; "-" when `utc_s` (seconds since 1970) has no local time.
std::string local_time_text(std::int64_t utc_s);

// Two units at most, the rest cut off: "7 d 0 h", "3 h 20 min", "45 s".
std::string duration_text(std::int64_t seconds);

// "3 d 4 h", "90 s", "2 weeks", "3 years" (of 365 days); nothing when it is no duration.
std::optional<std::int64_t> parse_duration(std::string_view text);

// To the second, as a stamp: "1 d 0:33:30", "0:00:10"; "-5 s" before the start.
std::string elapsed_text(std::int64_t seconds);

}  // namespace lab
