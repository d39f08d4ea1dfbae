#include "tests/lab/metrics/sample_records.h"

#include <climits>
#include <cstdint>
#include <limits>
#include <utility>

#include "platform/virtual/device.h"
#include "util/metrics.h"

namespace test {

namespace {

std::string last_record;

void keep_record(void*, int, int, const char*, const char* text) {
    last_record = text;
}

// Emits the record as a feature would, and notes its text.
#define EMIT_AND_KEEP(name, expected, ...)        \
    EMIT_RECORD(name __VA_OPT__(, ) __VA_ARGS__); \
    kept.push_back({#name, last_record, std::vector<std::string> expected});

using strings = std::vector<std::string>;

// The greatest and least number of each width.
constexpr std::int32_t I_MAX = INT32_MAX, I_MIN = INT32_MIN;
constexpr std::uint32_t U_MAX = UINT32_MAX;
constexpr unsigned long UL_MAX = UINT64_MAX;
constexpr long L_MAX = INT64_MAX, L_MIN = INT64_MIN;
const std::string I_MAX_TEXT = "2147483647", I_MIN_TEXT = "-2147483648", U_MAX_TEXT = "4294967295",
                  UL_MAX_TEXT = "18446744073709551615", L_MAX_TEXT = "9223372036854775807",
                  L_MIN_TEXT = "-9223372036854775808";

}  // namespace

std::vector<sample_record> sample_records() {
    std::vector<sample_record> kept;
    const auto told = virtual_device::the_device().told;
    virtual_device::the_device().told.metric = keep_record;
    constexpr double infinite = std::numeric_limits<double>::infinity();

    EMIT_AND_KEEP(stress_trip_refused, {})
    EMIT_AND_KEEP(stress_entry_rejected, ({"8", "10", "inf"}), 8, 10, infinite)
    EMIT_AND_KEEP(stress_offline_hours, ({"-1.000000", "1", "0", I_MAX_TEXT, "-15500"}), -1.0, 1, 0, I_MAX,
                  -15500)
    EMIT_AND_KEEP(stress_start, ({"1", "12001", "2", "0"}), 1, 12001, 2, 0)
    EMIT_AND_KEEP(stress_table_written, ({"1"}), 1)
    EMIT_AND_KEEP(stress_evaluated, ({I_MIN_TEXT, "9", "2"}), I_MIN, 9, 2)
    EMIT_AND_KEEP(precharge_trackers_updated, ({I_MAX_TEXT, "0"}), I_MAX, 0)
    EMIT_AND_KEEP(precharge_flag_raised, ({"1"}), 1)
    EMIT_AND_KEEP(precharge_event, ({"0", "120", "2147483", "-1", "8.4"}), 0, 120, 2147483, -1, 8.4)
    EMIT_AND_KEEP(charge_period_ended, ({UL_MAX_TEXT, "0", "60", L_MAX_TEXT, "-98"}), UL_MAX, 0UL, 60UL,
                  L_MAX, -98)
    EMIT_AND_KEEP(charge_timer_expired, ({"15931", UL_MAX_TEXT, L_MIN_TEXT, "95"}), 15931UL, UL_MAX, L_MIN,
                  95)
    EMIT_AND_KEEP(pulldown_daily, ({"86400", "0"}), 86400UL, 0)
    EMIT_AND_KEEP(pulldown_watch_ended, ({"604801", "3600", "2", "4001"}), 604801UL, 3600UL, 2, 4001)
    EMIT_AND_KEEP(pulldown_applied, ({"604801", "1", "4401"}), 604801UL, 1, 4401)
    EMIT_AND_KEEP(short_fault_detected, ({"4355", "4380", U_MAX_TEXT, "30", "-1"}), 4355, 4380, U_MAX, 30UL,
                  -1)
    EMIT_AND_KEEP(short_active_ended, ({"-5", "25"}), -5, 25U)
    EMIT_AND_KEEP(short_fault_cleared, ({"4100", "4380", "0"}), 4100, 4380, 0)
    EMIT_AND_KEEP(topoff_set, ({"4445"}), 4445)
    EMIT_AND_KEEP(topoff_cleared, ({"4245", "4245", "70"}), 4245, 4245, 70UL)
    EMIT_AND_KEEP(soc_landed, ({"95341", "98185", "950", "4447", "676", "677", "0"}), 95341, 98185, 950, 4447,
                  676, 677, 0)
    EMIT_AND_KEEP(soc_parameters,
                  ({"1", "2", "3", "4", "5", "6", "7", "-1", "99", "1", UL_MAX_TEXT, "900", "27000", "A=B:C",
                    "89", "0"}),
                  1, 2, 3, 4, 5, 6, 7, -1, 99, 1, UL_MAX, 900, 27000, "A=B:C", 89, 0)
    EMIT_AND_KEEP(thermal_released, ({"301", "33", "4200"}), 301UL, 33, 4200)
    EMIT_AND_KEEP(thermal_event,
                  ({"480", "150", "37", "30", "31", "32", "33", "34", "35", "4200", L_MIN_TEXT}), 480UL, 150,
                  37, 30, 31, 32, 33, 34, 35, 4200, L_MIN)
    EMIT_AND_KEEP(thermal_charge_ended, ({I_MAX_TEXT, "3000"}), I_MAX, 3000)

    virtual_device::the_device().told = told;
    return kept;
}

}  // namespace test
