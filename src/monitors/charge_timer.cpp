// The deadline of a charge period, and what moves it:
//
//     start     + 1 h                    deadline                  + 20 h
//       |---------|--------------------------|------------------------|
//       |<- time to 95 % + base, and 20 % -->|
//                 earliest                                          latest
//
//     current  ______
//                    \____        each new low of the period sets the deadline anew, from that moment on;
//                         \___    a current that rises again leaves it where it is
//
// Without a current to estimate from, the period may last the 20 h.
#include "monitors/charge_timer.h"

#include <limits>

#include "util/arith.h"
#include "util/metrics.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace {

// Charge current >= this: the time to charge is estimated from it
constexpr std::int64_t MIN_ESTIMATE_CURRENT_UA = 1000;
// Start to deadline > this: the deadline is this after the start
constexpr std::uint64_t MAX_CHARGE_TIME_S = 72000;
// Start to deadline < this: the deadline is this after the start
constexpr std::uint64_t MIN_CHARGE_TIME_S = 3600;
// Time not charging (once expired: without a charger) >= this: the charge period ends, the flag drops
constexpr std::uint64_t PERIOD_ENDS_AWAY_S = 60;
constexpr std::int64_t NO_CURRENT_UA = std::numeric_limits<std::int64_t>::max();
static_assert(MIN_CHARGE_TIME_S < MAX_CHARGE_TIME_S);
constexpr std::int64_t UA_PER_MA = 1000;
constexpr float MINUTES_PER_HOUR = 60.0F;
constexpr float SECONDS_PER_MINUTE = 60.0F;
constexpr float PERCENT = 100.0F;

enum state : std::uint32_t { IDLE = 0, DISCHARGING = 1, CHARGING = 2, EXPIRED = 3 };

struct {
    std::uint32_t margin_pct;    // added to the estimate, percent of it
    std::uint32_t target_soc;    // %, the estimate reaches up to here
    std::uint32_t capacity_mah;  // of the battery
    std::uint32_t base_time_s;   // fixed part of every estimate
    value_export_fn fail_counter_export;
    value_import_fn fail_counter_import;

    state ct_state;
    bool disable_flag;                // charging must stop
    std::uint64_t charge_start_s;     // when the charge period started
    std::uint64_t discharge_start_s;  // when the state last became discharging
    std::uint64_t threshold_time_s;   // the deadline; 0 = not yet computed
    std::int64_t min_curr_ua;         // smallest current a deadline was computed for; NO_CURRENT_UA = none
} s;

// Seconds to charge from soc_pct to the target: mAh / mA are hours, times the share that is missing, and the
// base time. Rounded to single precision after every operation, so an hour is 60 times 60 and not 3600. The
// missing percentage is a difference of single-precision numbers too, so no state of charge overflows it.
float estimate_charge_time_s(std::int64_t current_ua, std::int32_t soc_pct) {
    const std::int64_t current_ma = current_ua / UA_PER_MA;
    const float missing_pct = static_cast<float>(s.target_soc) - static_cast<float>(soc_pct);
    const float full_charge_h = static_cast<float>(s.capacity_mah) / static_cast<float>(current_ma);
    return full_charge_h * MINUTES_PER_HOUR * SECONDS_PER_MINUTE * missing_pct / PERCENT +
           static_cast<float>(s.base_time_s);
}

// The deadline for a charge that needs needed_s from now_s on, before the limits of the charge period.
std::uint64_t deadline_after(float needed_s, std::uint64_t now_s) {
    const float margin_s = needed_s * static_cast<float>(s.margin_pct) / PERCENT;
    return arith::to_integer<std::uint64_t>(needed_s + margin_s + static_cast<float>(now_s));
}

std::uint64_t limit_to_charge_period(std::uint64_t deadline_s) {
    const std::uint64_t latest_s = arith::add(s.charge_start_s, MAX_CHARGE_TIME_S);
    const std::uint64_t earliest_s = arith::add(s.charge_start_s, MIN_CHARGE_TIME_S);
    if (deadline_s > latest_s) return latest_s;
    return deadline_s < earliest_s ? earliest_s : deadline_s;
}

// A deadline that stands is moved by a new low of the current only, and by nothing once the target is reached.
void refresh_deadline(std::uint64_t now_s, std::int64_t current_ua, std::int32_t soc_pct) {
    if (current_ua < MIN_ESTIMATE_CURRENT_UA) return;
    const bool target_reached = soc_pct >= static_cast<std::int32_t>(s.target_soc);
    const bool is_new_low = current_ua < s.min_curr_ua;
    if (s.threshold_time_s != 0 && (target_reached || !is_new_low)) return;

    float needed_s = static_cast<float>(s.base_time_s);
    if (!target_reached) {
        needed_s = estimate_charge_time_s(current_ua, soc_pct);
        s.min_curr_ua = current_ua;
    }
    s.threshold_time_s = limit_to_charge_period(deadline_after(needed_s, now_s));
}

void start_charge_period(std::uint64_t now_s, std::int64_t current_ua, std::int32_t soc_pct) {
    s.charge_start_s = now_s;
    s.threshold_time_s = 0;
    s.ct_state = CHARGING;
    refresh_deadline(now_s, current_ua, soc_pct);
}

void end_charge_period(std::uint64_t now_s, std::uint64_t away_s, std::int32_t soc_pct) {
    const std::uint64_t allowed_s =
        s.threshold_time_s == 0 ? 0 : arith::sub(s.threshold_time_s, s.charge_start_s);
    EMIT_RECORD(charge_period_ended, arith::sub(now_s, s.charge_start_s), allowed_s, away_s, s.min_curr_ua,
                soc_pct);
    s.ct_state = IDLE;
    s.disable_flag = false;
    s.min_curr_ua = NO_CURRENT_UA;
}

void start_discharge_timer(std::uint64_t now_s) {
    s.ct_state = DISCHARGING;
    s.discharge_start_s = now_s;
}

// A count that is negative or unknown starts again.
constexpr std::int32_t next_fail_count(std::int32_t stored) {
    return stored >= 0 && stored != INVALID_VALUE ? stored + 1 : 1;
}

// The flag and the state stand whether or not the count could be stored.
std::uint32_t expire(std::uint64_t now_s, std::uint64_t deadline_s, std::int32_t soc_pct) {
    s.disable_flag = true;
    s.ct_state = EXPIRED;
    const std::int32_t fail_count = next_fail_count(s.fail_counter_import());
    LOG_ERROR("setting charge fail counter to %d ---\n", fail_count);
    const std::int32_t result = s.fail_counter_export(fail_count);
    EMIT_RECORD(charge_timer_expired, arith::sub(now_s, s.charge_start_s),
                arith::sub(deadline_s, s.charge_start_s), s.min_curr_ua, soc_pct);
    return static_cast<std::uint32_t>(result);
}

std::uint32_t while_charging(std::uint64_t now_s, std::int32_t status, std::int64_t current_ua,
                             std::int32_t soc_pct) {
    if (status != STATUS_CHARGING) {
        start_discharge_timer(now_s);
        return 0;
    }
    refresh_deadline(now_s, current_ua, soc_pct);
    const std::uint64_t deadline_s =
        s.threshold_time_s != 0 ? s.threshold_time_s : arith::add(s.charge_start_s, MAX_CHARGE_TIME_S);
    return deadline_s < now_s ? expire(now_s, deadline_s, soc_pct) : 0;
}

void while_discharging(std::uint64_t now_s, std::int32_t status, std::int64_t current_ua,
                       std::int32_t soc_pct) {
    const std::uint64_t away_s = arith::sub(now_s, s.discharge_start_s);
    if (away_s >= PERIOD_ENDS_AWAY_S) {
        end_charge_period(now_s, away_s, soc_pct);
        if (status == STATUS_CHARGING) start_charge_period(now_s, current_ua, soc_pct);
    } else if (s.disable_flag) {
        // Replugged too soon: the expiry stands, whether or not the charger side already charges again.
        if (is_charger_present(status)) s.ct_state = EXPIRED;
    } else if (status == STATUS_CHARGING) {
        s.ct_state = CHARGING;
        refresh_deadline(now_s, current_ua, soc_pct);
    }
}

}  // namespace

void charge_timer_init(std::uint32_t margin_pct, std::uint32_t target_soc, std::uint32_t capacity_mah,
                       std::uint32_t base_time_s, value_export_fn fail_counter_export,
                       value_import_fn fail_counter_import) {
    s = {};
    s.margin_pct = margin_pct;
    s.target_soc = target_soc;
    s.capacity_mah = capacity_mah;
    s.base_time_s = base_time_s;
    s.fail_counter_export = fail_counter_export;
    s.fail_counter_import = fail_counter_import;
    s.min_curr_ua = NO_CURRENT_UA;
}

std::uint32_t charge_timer_main(std::uint64_t now_s, std::int32_t status, std::int64_t current_ua,
                                std::int32_t soc_pct) {
    switch (s.ct_state) {
        case IDLE:
            if (status == STATUS_CHARGING) start_charge_period(now_s, current_ua, soc_pct);
            return 0;
        case CHARGING:
            return while_charging(now_s, status, current_ua, soc_pct);
        case DISCHARGING:
            while_discharging(now_s, status, current_ua, soc_pct);
            return 0;
        case EXPIRED:
            if (!is_charger_present(status)) start_discharge_timer(now_s);
            return 0;
    }
    return 0;
}

bool get_chargetimer_disable_flag() {
    return s.disable_flag;
}
