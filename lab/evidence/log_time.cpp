#include "lab/evidence/log_time.h"

#include <charconv>
#include <chrono>

namespace lab {

namespace {

constexpr std::int64_t LEAST_EPOCH_S = 946684800;  // 2000; a device is not up for thirty years

int number_at(std::string_view text, std::size_t at, std::size_t count) {
    int value = 0;
    if (at + count <= text.size()) std::from_chars(text.data() + at, text.data() + at + count, value);
    return value;
}

// "08:00:10.123456" in ms.
std::int32_t ms_of_day(std::string_view text) {
    const std::int32_t seconds =
        number_at(text, 0, 2) * 3600 + number_at(text, 3, 2) * 60 + number_at(text, 6, 2);
    std::int32_t ms = 0;
    for (std::size_t i = 9; i < 12; ++i) ms = ms * 10 + number_at(text, i, 1);
    return seconds * 1000 + ms;
}

std::optional<std::int16_t> zone_of(std::string_view text) {
    if (text.size() < 5) return std::nullopt;
    const std::string_view tail = text.substr(text.size() - 5);
    if (tail[0] != '+' && tail[0] != '-') return std::nullopt;
    const int minutes = number_at(tail, 1, 2) * 60 + number_at(tail, 3, 2);
    return static_cast<std::int16_t>(tail[0] == '-' ? -minutes : minutes);
}

}  // namespace

log_time parse_log_time(std::string_view text) {
    log_time time;
    const bool is_date = text.size() > 18 && text[4] == '-' && text[7] == '-';
    const bool is_month_day = text.size() > 13 && text[2] == '-' && text[5] == ' ';
    if (is_date || is_month_day) {
        const std::size_t at = is_date ? 5 : 0;
        time.kind = is_date ? log_time::form::date : log_time::form::month_day;
        if (is_date) time.year = static_cast<std::int16_t>(number_at(text, 0, 4));
        time.month = static_cast<std::uint8_t>(number_at(text, at, 2));
        time.day = static_cast<std::uint8_t>(number_at(text, at + 3, 2));
        time.ms_of_day = ms_of_day(text.substr(at + 6));
        if (text.size() > at + 18) time.zone_min = zone_of(text);
        return time;
    }
    std::int64_t seconds = 0;
    const auto whole = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (whole.ec != std::errc() || whole.ptr == text.data() + text.size() || *whole.ptr != '.') return time;
    const auto point = static_cast<std::size_t>(whole.ptr - text.data());
    std::int64_t ms = 0;
    for (std::size_t i = point + 1; i <= point + 3; ++i) ms = ms * 10 + number_at(text, i, 1);
    time.kind = seconds >= LEAST_EPOCH_S ? log_time::form::epoch : log_time::form::since_boot;
    time.ms = seconds * 1000 + ms;
    return time;
}

std::int64_t day_number(int year, int month, int day) {
    using namespace std::chrono;
    const year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                              std::chrono::day(static_cast<unsigned>(day))};
    return sys_days(date).time_since_epoch().count();
}

}  // namespace lab
