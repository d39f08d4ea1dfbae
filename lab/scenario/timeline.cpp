#include "lab/scenario/timeline.h"

#include <algorithm>
#include <ctime>

namespace lab {

namespace {

constexpr int DAYS_LOOKED_AT = 8;  // an entry comes at least once a week

std::tm local_of(std::int64_t utc_s) {
    const auto time = static_cast<std::time_t>(utc_s);
    std::tm local{};
    ::localtime_r(&time, &local);
    return local;
}

// The time of day on the date that lies `days` after `date`; a time that the clock skips is moved on.
std::int64_t utc_of(const std::tm& date, int days, std::int32_t time_of_day_s) {
    std::tm local{};
    local.tm_year = date.tm_year;
    local.tm_mon = date.tm_mon;
    local.tm_mday = date.tm_mday + days;
    local.tm_hour = time_of_day_s / 3600;
    local.tm_min = time_of_day_s / 60 % 60;
    local.tm_sec = time_of_day_s % 60;
    local.tm_isdst = -1;
    return static_cast<std::int64_t>(std::mktime(&local));
}

bool is_on(const daily_entry& entry, int weekday) {
    return (entry.days >> ((weekday % 7 + 7) % 7) & 1) != 0;
}

}  // namespace

const phase& timeline::phase_at(std::int64_t at_s) const {
    const auto found = std::ranges::upper_bound(scenario_.phases, at_s, {}, &phase::end_s);
    return found == scenario_.phases.end() ? scenario_.phases.back() : *found;
}

// The latest entry whose time has come: today's, or one of the days before, even before the phase began.
conditions timeline::conditions_at(std::int64_t at_s) const {
    const phase& now = phase_at(at_s);
    if (now.daily.empty()) return now.base;
    const std::int64_t utc_s = scenario_.start_utc_s + at_s;
    const std::tm today = local_of(utc_s);
    for (int back = 0; back < DAYS_LOOKED_AT; ++back) {
        for (auto entry = now.daily.rbegin(); entry != now.daily.rend(); ++entry) {
            if (!is_on(*entry, today.tm_wday - back)) continue;
            if (utc_of(today, -back, entry->at_s) <= utc_s) return entry->set;
        }
    }
    return now.base;
}

std::int64_t timeline::next_daily(const phase& in, std::int64_t at_s) const {
    const std::int64_t utc_s = scenario_.start_utc_s + at_s;
    const std::tm today = local_of(utc_s);
    for (int ahead = 0; ahead < DAYS_LOOKED_AT; ++ahead) {
        for (const daily_entry& entry : in.daily) {
            if (!is_on(entry, today.tm_wday + ahead)) continue;
            const std::int64_t then_s = utc_of(today, ahead, entry.at_s);
            if (then_s > utc_s) return then_s - scenario_.start_utc_s;
        }
    }
    return NEVER_S;
}

bool timeline::is_going_on(const scenario_event& event, std::int64_t at_s) {
    if (at_s < event.at_s) return false;
    if (event.for_s == 0) return event.every_s == 0;
    const std::int64_t since_s = at_s - event.at_s;
    return (event.every_s > 0 ? since_s % event.every_s : since_s) < event.for_s;
}

bool timeline::happens_at(const scenario_event& event, std::int64_t at_s) {
    if (at_s < event.at_s) return false;
    const std::int64_t since_s = at_s - event.at_s;
    return event.every_s > 0 ? since_s % event.every_s == 0 : since_s == 0;
}

std::int64_t timeline::next_change(std::int64_t at_s) const {
    const phase& now = phase_at(at_s);
    std::int64_t next_s = now.end_s;
    if (!now.daily.empty()) next_s = std::min(next_s, next_daily(now, at_s));
    for (const scenario_event& event : scenario_.events) {
        if (event.at_s > at_s) {
            next_s = std::min(next_s, event.at_s);
            continue;
        }
        const std::int64_t since_s = at_s - event.at_s;
        if (event.every_s > 0) {
            const std::int64_t into_s = since_s % event.every_s;
            const std::int64_t left_s = into_s < event.for_s ? event.for_s - into_s : event.every_s - into_s;
            next_s = std::min(next_s, at_s + left_s);
        } else if (since_s < event.for_s) {
            next_s = std::min(next_s, event.at_s + event.for_s);
        }
    }
    return next_s;
}

}  // namespace lab
