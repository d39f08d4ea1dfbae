#include "lab/simulation/weather.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "lab/phone/repeatable.h"

namespace lab {

namespace {

constexpr double DAY_S = 86400;
constexpr double HOUR_S = 3600;
constexpr double YEAR_DAYS = 365.2425;

}  // namespace

weather::weather(const scenario& plan) : of_(plan.weather), chance_(plan.chance) {
    const auto start = static_cast<std::time_t>(plan.start_utc_s);
    std::tm local{};
    ::localtime_r(&start, &local);
    local_start_s_ = plan.start_utc_s + local.tm_gmtoff;
    const std::int64_t since_midnight_s = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
    year_start_s_ = local_start_s_ - since_midnight_s - std::int64_t{local.tm_yday} * 86400;
}

double weather::ambient_c(std::int64_t now_s, const conditions& now) const {
    if (now.where == whereabouts::pocket) return of_.pocket_c;
    const double air = of_.is_given ? air_c(now_s - now_s % SLOT_S, now.where) : now.ambient_c;
    return now.where == whereabouts::hand ? (air + of_.pocket_c) / 2 : air;
}

double weather::air_c(std::int64_t now_s, whereabouts where) const {
    const std::int64_t local_s = local_start_s_ + now_s;
    const double outdoors = of_.hours_c.empty() ? by_season_c(local_s) : by_file_c(local_s);
    if (where == whereabouts::outdoors) return outdoors;
    return std::clamp(outdoors, of_.indoor_least_c, of_.indoor_most_c);
}

double weather::by_season_c(std::int64_t local_s) const {
    const double days = static_cast<double>(local_s - year_start_s_) / DAY_S;
    const auto day = static_cast<std::int64_t>(std::floor(static_cast<double>(local_s) / DAY_S));
    const double share = static_cast<double>(local_s - day * 86400) / DAY_S;
    // The weather of a day turns into that of the next one.
    const auto deviation = [&](std::int64_t of_day) {
        return phone::draws(chance_, phone::stream::weather, of_day).noise(0) * of_.noise_c;
    };
    return of_.mean_c + of_.year_swing_c * phone::cosine_of_turns((days - of_.warmest_day) / YEAR_DAYS) +
           of_.day_swing_c * phone::cosine_of_turns(share - of_.warmest_hour / 24) +
           deviation(day) * (1 - share) + deviation(day + 1) * share;
}

// The file's first hour is that of a year; it begins again when it is over.
double weather::by_file_c(std::int64_t local_s) const {
    const auto count = static_cast<std::int64_t>(of_.hours_c.size());
    const auto since_s = static_cast<double>(local_s - year_start_s_);
    const double hour = std::floor(since_s / HOUR_S);
    const double share = since_s / HOUR_S - hour;
    const auto index = static_cast<std::int64_t>(hour) % count;
    const double from = of_.hours_c[static_cast<std::size_t>(index)];
    const double to = of_.hours_c[static_cast<std::size_t>((index + 1) % count)];
    return from + (to - from) * share;
}

}  // namespace lab
