#include "stress/stress_feature.h"

#include "charge_mgr/charge_mgr.h"
#include "stress/stress_table.h"
#include "stress/stress_trip.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/metrics.h"
#include "util/results.h"
#include "util/sensor_value.h"

namespace {

// Time since the stress table was written > this: written with the next sample
constexpr std::uint64_t FLUSH_PERIOD_S = 3600;
// Time since the stress hours were summed > this: summed with the next sample
constexpr std::uint64_t EVALUATION_PERIOD_S = 172800;
constexpr float CLOCK_BEHIND_H = -1.0F;  // how unknown offline hours are handled and reported

struct {
    record_import_fn stress_import_fn;  // reads the table's file
    record_export_fn stress_export_fn;  // writes it
    unseen_hours_fn power_off_time_fn;  // h unseen since its previous call
    bool offline_retry_pending;         // the hours before this start are still unknown
    std::int32_t offline_retry_volt;    // mV at start-up; INVALID_VALUE = none
    std::int32_t offline_retry_temp;    // thousandths of °C at start-up; INVALID_VALUE = none
    std::uint64_t next_flush_time;      // elapsed s; write at a sample > this
    std::uint64_t next_calc_time;       // elapsed s; evaluate at a sample > this
    std::uint64_t last_push_time;       // elapsed s of the previous sample, read or not
} s;

void start_schedule() {
    s.next_flush_time = FLUSH_PERIOD_S;
    s.next_calc_time = EVALUATION_PERIOD_S;
}

bool is_read(std::int32_t voltage_mv, std::int32_t temperature_mc) {
    return voltage_mv != INVALID_VALUE && temperature_mc != INVALID_VALUE;
}

// Whether the file could be opened, at the second attempt if need be.
bool load_table() {
    return stress_table__import(s.stress_import_fn) == RESULT_DONE ||
           stress_table__import(s.stress_import_fn) == RESULT_DONE;
}

// Credits the hours the device was off to the bucket in which it wakes up. Negative hours are not known yet:
// they are asked for again at each table write. Hours that come without a sample to place them are dropped.
void account_offline_hours(float hours, std::int32_t voltage_mv, std::int32_t temperature_mc) {
    if (!is_read(voltage_mv, temperature_mc) || hours == 0.0F) {
        s.offline_retry_pending = false;
        LOG_ERROR_BARE("stress offline nonexistent or invalid VT %d %d\n", voltage_mv, temperature_mc);
    } else if (hours > 0.0F) {
        stress_table__add_hours(hours, voltage_mv, temperature_mc);
        LOG_ERROR_BARE("stress offline logged hours %.2f for VT %d %d\n", static_cast<double>(hours),
                       voltage_mv, temperature_mc);
        s.offline_retry_pending = false;
        (void)stress_table__export(s.stress_export_fn);  // the hourly write tries again
    } else {
        s.offline_retry_pending = true;
        s.offline_retry_volt = voltage_mv;
        s.offline_retry_temp = temperature_mc;
        LOG_ERROR_BARE("stress error calculating offline time, retry on flush\n");
    }
}

void retry_offline_hours(float hours) {
    if (!s.offline_retry_pending || hours == INVALID_HOURS || !(hours >= 0.0F)) return;
    s.offline_retry_pending = false;
    LOG_ERROR_BARE("stress offline retry logged hours %.2f for VT %d %d\n", static_cast<double>(hours),
                   s.offline_retry_volt, s.offline_retry_temp);
    stress_table__add_hours(hours, s.offline_retry_volt, s.offline_retry_temp);
    EMIT_RECORD(stress_offline_hours, static_cast<double>(hours), 0, 0, s.offline_retry_volt,
                s.offline_retry_temp);
}

void flush_table(std::uint64_t now_s) {
    // Asked at every write, retry or not: the call is what keeps the saved wall clock within an hour of now.
    retry_offline_hours(s.power_off_time_fn());
    const std::int32_t status = stress_table__export(s.stress_export_fn);
    EMIT_RECORD(stress_table_written, status);
    LOG_ERROR_BARE("stress local table flush %d\n", status);
    s.next_flush_time = arith::add(now_s, FLUSH_PERIOD_S);
}

void evaluate_trip(std::uint64_t now_s) {
    const std::uint32_t stress_hours = calculate_stress_hours();
    const std::int32_t result = set_sys_stress_trip(stress_hours, false);
    s.next_calc_time = arith::add(now_s, EVALUATION_PERIOD_S);
    EMIT_RECORD(stress_evaluated, static_cast<std::int32_t>(stress_hours), current_stress_trip(), result);
    LOG_ERROR_BARE("stress calc hours %d %d\n", static_cast<std::int32_t>(stress_hours), result);
}

}  // namespace

std::int32_t stress_feature_init(record_import_fn import_fn, record_export_fn export_fn,
                                 voltage_set_fn property_set_fn, unseen_hours_fn power_off_time,
                                 std::int32_t voltage_mv, std::int32_t temperature_mc,
                                 std::uint32_t mock_offset_h) {
    s = {};
    s.offline_retry_volt = INVALID_VALUE;
    s.offline_retry_temp = INVALID_VALUE;
    start_schedule();
    stress_table__init(mock_offset_h);
    if (mock_offset_h != 0) LOG_ERROR_BARE("stress feature mock offset set to %u \n", mock_offset_h);
    s.stress_import_fn = import_fn;
    s.stress_export_fn = export_fn;
    s.power_off_time_fn = power_off_time;
    (void)charge_mgr__register_perm_client_prop(STRESS_TRIP_CLIENT, property_set_fn);
    const bool table_valid = load_table();

    float hours = s.power_off_time_fn();
    if (hours == INVALID_HOURS) hours = CLOCK_BEHIND_H;
    account_offline_hours(hours, voltage_mv, temperature_mc);

    const bool has_stress = table_valid || hours > 0.0F || mock_offset_h != 0;
    const std::uint32_t stress_hours = has_stress ? calculate_stress_hours() : 0;
    const std::int32_t result = set_sys_stress_trip(stress_hours, true);
    EMIT_RECORD(stress_offline_hours, static_cast<double>(hours), 1, s.offline_retry_pending ? 1 : 0,
                voltage_mv, temperature_mc);
    EMIT_RECORD(stress_start, table_valid ? 1 : 0, static_cast<std::int32_t>(stress_hours),
                current_stress_trip(), result);
    return result;
}

std::int32_t stress_feature_main(std::uint64_t now_s, std::int32_t voltage_mv, std::int32_t temperature_mc) {
    if (s.last_push_time > now_s) {
        start_schedule();
    }
    s.last_push_time = now_s;
    if (!is_read(voltage_mv, temperature_mc)) return RESULT_REFUSED;

    log_volt_temp_bucket(now_s, voltage_mv, temperature_mc);
    if (now_s > s.next_flush_time) flush_table(now_s);
    if (now_s > s.next_calc_time) evaluate_trip(now_s);
    return RESULT_DONE;
}

std::int32_t push_vorn_data(std::uint64_t now_s, std::int32_t voltage_mv, std::int32_t temperature_mc,
                            std::int32_t /*unused_1*/, std::int32_t /*unused_2*/, std::int32_t /*unused_3*/,
                            std::int32_t /*unused_4*/) {
    return stress_feature_main(now_s, voltage_mv, temperature_mc);
}
