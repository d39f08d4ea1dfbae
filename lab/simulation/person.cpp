#include "lab/simulation/person.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "lab/phone/repeatable.h"

namespace lab {

namespace {

using phone::charger_kind;
using phone::draws;
using phone::stream;

constexpr std::int64_t SLOT_S = 600;
constexpr double SLOTS_PER_H = 6;
constexpr double LONGEST_SESSION = 4.5;  // times the median
// What is drawn for a day or an hour lies apart from what is drawn for a slot.
constexpr std::int64_t DAYS_FROM = std::int64_t{1} << 40;
constexpr std::int64_t HOURS_FROM = std::int64_t{1} << 41;

// Lengths of sessions on the charger by chance, as parts of the median: quartiles of 5, 40 and 65 minutes
// (markm39/mcm-battery-2026), straight lines between them.
double session_length(double chance) {
    constexpr std::array<std::pair<double, double>, 5> QUANTILES{
        {{0, 0.025}, {0.25, 0.125}, {0.5, 1}, {0.75, 1.625}, {1, LONGEST_SESSION}}};
    std::size_t i = 0;
    while (i + 2 < QUANTILES.size() && chance > QUANTILES[i + 1].first) ++i;
    const auto [low, from] = QUANTILES[i];
    const auto [high, to] = QUANTILES[i + 1];
    return from + (to - from) * (chance - low) / (high - low);
}

double hours_between(double from, double until) {
    return until >= from ? until - from : until + 24 - from;
}

}  // namespace

person::person(const scenario& plan)
    : of_(plan.user),
      chance_(plan.chance),
      start_utc_s_(plan.start_utc_s),
      waking_h_(std::max(hours_between(plan.user.sleep_until_h, plan.user.sleep_from_h), 1.0)) {}

person::moment person::moment_at(std::int64_t now_s) const {
    const auto time = static_cast<std::time_t>(start_utc_s_ + now_s);
    std::tm local{};
    ::localtime_r(&time, &local);
    const double hour = local.tm_hour + local.tm_min / 60.0;
    std::int64_t day = (start_utc_s_ + now_s + local.tm_gmtoff) / 86400;
    if (is_asleep(hour) && hour < of_.sleep_until_h) day -= 1;
    return {now_s / SLOT_S, day, hour, local.tm_wday >= 1 && local.tm_wday <= 5};
}

bool person::is_asleep(double hour) const {
    return of_.sleep_from_h > of_.sleep_until_h ? hour >= of_.sleep_from_h || hour < of_.sleep_until_h
                                                : hour >= of_.sleep_from_h && hour < of_.sleep_until_h;
}

charger_kind person::kind_by(double chance) const {
    if (chance * 100 < of_.usb_pct) return charger_kind::usb;
    return chance * 100 < of_.usb_pct + of_.wireless_pct ? charger_kind::wireless : charger_kind::wall;
}

bool person::wants_charger(const moment& at, double chance, double shown_pct) const {
    const double when_low = shown_pct < of_.plug_below_pct ? of_.plug_chance_pct / 100 : 0;
    const double on_a_whim = of_.topups_per_day / waking_h_;
    return !is_asleep(at.hour) && chance * SLOTS_PER_H < when_low + on_a_whim;
}

// Of the waking hours, on that day: lognormal, and not more than nearly all of them.
double person::screen_share(const moment& at) const {
    const double spread = of_.screen_spread;
    const double noise = draws(chance_, stream::habit, DAYS_FROM + at.day).noise(1);
    const double hours = of_.screen_h * phone::exp_of(spread * noise - spread * spread / 2);
    return std::min(hours / waking_h_, 0.95);
}

// In the hand to be looked at, else where the hour has it; on a charger or at night it lies where it is.
whereabouts person::where(const moment& at, const doings& now, bool asleep, double chance) const {
    if (asleep || now.charger != charger_kind::none) return whereabouts::indoors;
    const double hours = chance * waking_h_;
    if (now.is_looking) return hours < of_.outdoor_h ? whereabouts::outdoors : whereabouts::hand;
    const double carried_h = of_.outdoor_h + of_.pocket_h / (1 - screen_share(at));
    return hours < carried_h ? whereabouts::pocket : whereabouts::indoors;
}

doings person::decide(std::int64_t now_s, doings now, double shown_pct) const {
    const moment at = moment_at(now_s);
    const draws of_day(chance_, stream::habit, DAYS_FROM + at.day);
    const draws of_slot(chance_, stream::habit, at.slot);
    const bool asleep = is_asleep(at.hour);
    const bool is_night_charge = asleep && of_day.uniform(0) * 100 < of_.night_pct;
    const bool is_at_work = at.is_weekday && at.hour >= of_.work_from_h && at.hour < of_.work_until_h;
    const bool is_work_charge = is_at_work && of_day.uniform(2) * 100 < of_.work_charger_pct;

    if (now_s >= now.session_end_s) now.session = charger_kind::none;
    const bool may_begin = at.slot > now.decided_slot && now.session == charger_kind::none;
    if (may_begin && wants_charger(at, of_slot.uniform(0), shown_pct)) {
        now.session = kind_by(of_slot.uniform(2));
        const double minutes = of_.session_min * session_length(of_slot.uniform(1));
        now.session_end_s = now_s + std::max<std::int64_t>(static_cast<std::int64_t>(minutes * 60), 60);
    }
    now.decided_slot = at.slot;
    now.charger = now.session;
    if (is_night_charge || is_work_charge) now.charger = kind_by(of_day.uniform(3));
    now.is_looking = !asleep && of_slot.uniform(3) < screen_share(at);

    now.where = where(at, now, asleep, draws(chance_, stream::habit, HOURS_FROM + now_s / 3600).uniform(0));
    return now;
}

std::int64_t person::next_s(std::int64_t now_s, const doings& now) const {
    const std::int64_t slot_end_s = (now_s / SLOT_S + 1) * SLOT_S;
    const bool ends_before = now.session != charger_kind::none && now.session_end_s > now_s;
    return ends_before ? std::min(slot_end_s, now.session_end_s) : slot_end_s;
}

void person::apply(const doings& now, conditions& to) const {
    to.charger = now.charger;
    to.where = now.where;
    to.screen = now.is_looking ? screen_state::on
                : of_.suspends ? screen_state::suspended
                               : screen_state::off;
    to.load_mw = now.is_looking ? of_.screen_mw : of_.idle_mw;
    to.burst_mw = of_.burst_mw;
    to.burst_pct = now.is_looking ? of_.burst_pct : 0;
}

}  // namespace lab
