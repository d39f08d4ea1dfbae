// When a line of a log was written, as far as the line says so.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace lab {

struct log_time {
    enum class form : std::uint8_t {
        none,        // the form of the log has no time
        month_day,   // local date without a year, as logcat writes it
        date,        // local date with its year
        epoch,       // seconds since 1970 UTC
        since_boot,  // seconds since the kernel's start
    };
    form kind = form::none;
    std::uint8_t month = 1;
    std::uint8_t day = 1;
    std::int16_t year = 0;                 // of `date`
    std::optional<std::int16_t> zone_min;  // east of UTC, where the log says it
    std::int32_t ms_of_day = 0;            // of the two dates
    std::int64_t ms = 0;                   // of the other two

    friend bool operator==(const log_time&, const log_time&) = default;
};

// Of the time as logcat_line finds it: "03-28 08:00:10.123", "2026-03-28 08:00:10.123456 +0100", "1774677610.123".
log_time parse_log_time(std::string_view text);

// The day's number since 1970 in the Gregorian calendar.
std::int64_t day_number(int year, int month, int day);

}  // namespace lab
