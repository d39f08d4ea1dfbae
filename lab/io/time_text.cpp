#include "lab/io/time_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "lab/io/error.h"

namespace lab {

namespace {

constexpr char ZONE_DIRECTORY[] = "/usr/share/zoneinfo/";
constexpr char ZONE_VARIABLE[] = "TZ";
constexpr std::int64_t MINUTE_S = 60;
constexpr std::int64_t HOUR_S = 3600;
constexpr std::int64_t DAY_S = 86400;

struct unit {
    std::string_view name;
    std::int64_t seconds;
};
constexpr std::array<unit, 20> UNITS{{
    {"s", 1},
    {"sec", 1},
    {"second", 1},
    {"seconds", 1},
    {"min", 60},
    {"minute", 60},
    {"minutes", 60},
    {"h", 3600},
    {"hour", 3600},
    {"hours", 3600},
    {"d", DAY_S},
    {"day", DAY_S},
    {"days", DAY_S},
    {"w", 7 * DAY_S},
    {"week", 7 * DAY_S},
    {"weeks", 7 * DAY_S},
    {"y", 365 * DAY_S},
    {"year", 365 * DAY_S},
    {"years", 365 * DAY_S},
    {"m", 60},
}};

void skip_blanks(std::string_view& rest) {
    while (rest.starts_with(' ')) rest.remove_prefix(1);
}

// The C library takes an unknown zone for UTC without a word, so a zone is looked up beforehand.
void require_zone(const std::string& zone) {
    const bool is_safe = !zone.empty() && zone.front() != '/' && zone.find("..") == std::string::npos;
    std::error_code ignored;
    const bool is_name = is_safe && std::filesystem::is_regular_file(ZONE_DIRECTORY + zone, ignored);
    // A rule of POSIX, such as CET-1CEST,M3.5.0,M10.5.0/3: letters, then an offset.
    const auto letters = zone.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    const bool is_rule =
        letters != std::string::npos && letters >= 3 && zone.find_first_of("+-0123456789") == letters;
    if (is_name || is_rule || zone == "UTC") return;
    throw input_error("no time zone \"" + zone + "\" on this machine; did you mean a name such as " +
                      "\"Europe/Berlin\", or a rule such as \"CET-1CEST,M3.5.0,M10.5.0/3\"?");
}

std::string two_digits(std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

std::string two_units(std::int64_t large, const char* large_unit, std::int64_t small,
                      const char* small_unit) {
    return std::to_string(large) + large_unit + std::to_string(small) + small_unit;
}

}  // namespace

local_zone::local_zone(const std::string& zone) {
    require_zone(zone);
    const char* const before = std::getenv(ZONE_VARIABLE);
    had_zone_ = before != nullptr;
    if (had_zone_) zone_before_ = before;
    ::setenv(ZONE_VARIABLE, zone.c_str(), 1);
    ::tzset();
}

local_zone::~local_zone() {
    if (had_zone_) {
        ::setenv(ZONE_VARIABLE, zone_before_.c_str(), 1);
    } else {
        ::unsetenv(ZONE_VARIABLE);
    }
    ::tzset();
}

std::string local_time_text(std::int64_t utc_s) {
    const auto time = static_cast<std::time_t>(utc_s);
    std::tm local{};
    char text[32];
    if (::localtime_r(&time, &local) == nullptr) return "-";
    if (std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local) == 0) return "-";
    return text;
}

std::string duration_text(std::int64_t seconds) {
    if (seconds < 0) return "-" + duration_text(-seconds);
    if (seconds < MINUTE_S) return std::to_string(seconds) + " s";
    if (seconds < HOUR_S) return two_units(seconds / MINUTE_S, " min ", seconds % MINUTE_S, " s");
    if (seconds < DAY_S) return two_units(seconds / HOUR_S, " h ", seconds % HOUR_S / MINUTE_S, " min");
    return two_units(seconds / DAY_S, " d ", seconds % DAY_S / HOUR_S, " h");
}

std::string elapsed_text(std::int64_t seconds) {
    if (seconds % DAY_S < 0) return std::to_string(seconds) + " s";
    const std::string days = seconds >= DAY_S ? std::to_string(seconds / DAY_S) + " d " : "";
    return days + std::to_string(seconds % DAY_S / HOUR_S) + ":" + two_digits(seconds % HOUR_S / MINUTE_S) +
           ":" + two_digits(seconds % MINUTE_S);
}

std::optional<std::int64_t> parse_duration(std::string_view text) {
    std::int64_t total = 0;
    bool has_part = false;
    skip_blanks(text);
    const bool is_negative = text.starts_with('-');
    if (is_negative) text.remove_prefix(1);
    while (!text.empty()) {
        double amount = 0;
        const auto parsed = std::from_chars(text.data(), text.data() + text.size(), amount);
        if (parsed.ec != std::errc() || !(amount >= 0 && amount < 1e9)) return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()));
        skip_blanks(text);
        const std::string_view word =
            text.substr(0, std::min(text.find_first_of(" 0123456789"), text.size()));
        const auto found =
            std::find_if(UNITS.begin(), UNITS.end(), [&](const unit& u) { return u.name == word; });
        if (found == UNITS.end()) return std::nullopt;
        total += std::llround(amount * static_cast<double>(found->seconds));
        has_part = true;
        text.remove_prefix(word.size());
        skip_blanks(text);
    }
    if (!has_part) return std::nullopt;
    return is_negative ? -total : total;
}

}  // namespace lab
