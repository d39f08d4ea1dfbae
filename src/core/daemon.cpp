#include "core/daemon.h"

#include <cstdint>

#include "battery/batt_info.h"
#include "charge_mgr/charge_mgr.h"
#include "core/charge_disable.h"
#include "core/last_voltage.h"
#include "core/persistent_files.h"
#include "core/reboot.h"
#include "core/sensor_inputs.h"
#include "core/sys_properties.h"
#include "core/wall_clock.h"
#include "dyn_soc/dyn_soc.h"
#include "monitors/charge_timer.h"
#include "monitors/n_day_pulldown.h"
#include "monitors/secondary_thermal.h"
#include "monitors/short_detect.h"
#include "monitors/topoff_ctrl.h"
#include "platform/os.h"
#include "precharge/precharge.h"
#include "stress/stress_feature.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/results.h"
#include "util/sensor_value.h"

namespace {

constexpr unsigned CYCLE_PERIOD_S = 10;
constexpr char PLATFORM_NAME[] = "VELDRANE";

// Fall from the voltage at full >= this: the full state of the top-off controller ends
constexpr std::uint32_t TOPOFF_RESET_MARGIN_MV = 200;

// Charge timer.
constexpr std::uint32_t CHARGE_TIMER_MARGIN_PCT = 20;
// Capacity >= this: a charge is given the base time alone
constexpr std::uint32_t CHARGE_TIMER_TARGET_SOC_PCT = 95;
constexpr std::uint32_t CHARGE_TIMER_CAPACITY_MAH = 7500;
constexpr std::uint32_t CHARGE_TIMER_BASE_TIME_S = 7200;

// Short detector: what a soft short is told from, and the currents a charge runs between.
// Depth below the top of charge, as a share of 4450 mV, < this (90 mV): the short detector is armed
constexpr std::uint32_t SHORT_CUTOFF_PPM10 = 2030;
// Fall of the current, as a share of the mean of the two below, >= this (51 mA): the sample does not count
constexpr std::uint32_t SHORT_CURRENT_DIP_PPM10 = 3000;
constexpr std::uint32_t SHORT_RESISTANCE_MOHM = 90;
constexpr std::uint32_t SHORT_HIGH_CURRENT_MA = 3000;
constexpr std::uint32_t SHORT_LOW_CURRENT_MA = 450;

// Voltage > this: on its charger, the device counts as held near full
constexpr std::int32_t PULLDOWN_VOLTAGE_MV = 4000;

// A device that is off loses this much, in microvolts per hour.
constexpr float UVP_DISCHARGE_RATE_UV_PER_H = 8.4F;

constexpr std::int32_t MICRO_PER_MILLI = 1000;
constexpr std::int32_t MILLI_PER_DECI = 100;
constexpr std::int32_t DECI_PER_UNIT = 10;

bool has_battery_reading(const sensor_sample& sample) {
    return sample.voltage_uv != INVALID_VALUE && sample.temperature_decic != INVALID_VALUE;
}

// Everything that looks at the battery itself, in an order the features rely on.
void update_battery_features(std::uint64_t elapsed_s, const sensor_sample& sample) {
    const std::int32_t volt_mv = sample.voltage_uv / MICRO_PER_MILLI;
    const std::int32_t curr_ma = sample.current_ua / MICRO_PER_MILLI;
    const std::int32_t temp_mc = arith::mul(sample.temperature_decic, MILLI_PER_DECI);
    const std::int32_t temp_c = sample.temperature_decic / DECI_PER_UNIT;

    // What each of them did shows in its own records; the cycle goes on in any case.
    topoff_ctrl__update(elapsed_s, static_cast<std::uint32_t>(sample.status),
                        static_cast<std::uint32_t>(volt_mv), static_cast<std::uint32_t>(sample.capacity_pct));
    (void)short_detect__update(elapsed_s, static_cast<std::uint32_t>(sample.status),
                               static_cast<std::uint32_t>(volt_mv), curr_ma);
    (void)n_day_pulldown_main(elapsed_s, sample.status, volt_mv,
                              static_cast<std::uint32_t>(sample.mock_n_day_threshold_s));
    save_last_voltage(elapsed_s, sample.voltage_uv, sample.capacity_pct);
    (void)push_vorn_data(elapsed_s, volt_mv, temp_mc, INVALID_VALUE, INVALID_VALUE, INVALID_VALUE,
                         INVALID_VALUE);
    (void)dyn_soc__update(elapsed_s, sample.voltage_uv, sample.current_ua, sample.temperature_decic,
                          sample.thermal_zone, sample.status, sample.ui_soc);
    (void)secondary_thermal_detect_main(elapsed_s, sample.status, temp_c, curr_ma, volt_mv);
}

// The charge timer first, so that the decision published in this cycle knows of its flag.
void update_charge_disable(std::uint64_t elapsed_s, const sensor_sample& sample) {
    (void)charge_timer_main(elapsed_s, sample.status, sample.current_ua, sample.capacity_pct);
    update_chargedisable_sysprop();
}

std::int32_t millivolts_or_invalid(std::int32_t voltage_uv) {
    return voltage_uv == INVALID_VALUE ? INVALID_VALUE : voltage_uv / MICRO_PER_MILLI;
}

std::int32_t millidegrees_or_invalid(std::int32_t temperature_decic) {
    return temperature_decic == INVALID_VALUE ? INVALID_VALUE : arith::mul(temperature_decic, MILLI_PER_DECI);
}

void start_stress(std::int32_t voltage_uv, std::int32_t temperature_decic) {
    const std::int32_t result =
        stress_feature_init(vorn_stress_import, vorn_stress_export, vorn_stress_property_set,
                            vorn_calc_power_off_time, millivolts_or_invalid(voltage_uv),
                            millidegrees_or_invalid(temperature_decic), read_mock_stress_offset());
    if (result != RESULT_DONE) LOG_ERROR("stress init error %d\n", result);
}

void start_monitors() {
    topoff_ctrl__init(TOPOFF_RESET_MARGIN_MV);
    charge_timer_init(CHARGE_TIMER_MARGIN_PCT, CHARGE_TIMER_TARGET_SOC_PCT, CHARGE_TIMER_CAPACITY_MAH,
                      CHARGE_TIMER_BASE_TIME_S, vorn_charge_fail_counter_export,
                      vorn_charge_fail_counter_import);
    short_detect__init(SHORT_CUTOFF_PPM10, SHORT_CURRENT_DIP_PPM10, SHORT_RESISTANCE_MOHM,
                       SHORT_HIGH_CURRENT_MA, SHORT_LOW_CURRENT_MA);
    (void)n_day_pulldown_init(PULLDOWN_VOLTAGE_MV, vorn_pulldown_property_set);
}

std::int32_t start_precharge(std::int32_t last_voltage_uv) {
    return precharge_feature_init({.property_get = vorn_precharge_property_get,
                                   .property_set = vorn_precharge_property_set,
                                   .counter_import = vorn_precharge_counter_import,
                                   .counter_export = vorn_precharge_counter_export,
                                   .timer_import = vorn_precharge_timer_import,
                                   .timer_export = vorn_precharge_timer_export,
                                   .uboot_flag_import = vorn_uboot_flag_import,
                                   .uboot_timer_import = vorn_uboot_timer_import,
                                   .power_off_time = vorn_calc_power_off_time},
                                  UVP_DISCHARGE_RATE_UV_PER_H, last_voltage_uv);
}

void start_estimator() {
    const std::int32_t result = dyn_soc__init(vorn_dyn_soc_params_import, vorn_dyn_soc_params_export);
    if (result != RESULT_DONE) LOG_ERROR("Dyn SoC init error %d\n", result);
}

}  // namespace

void daemon_start() {
    LOG_INFO("attempting to migrate persistent files \n");
    migrate_persistent_files();

    last_voltage_init();
    char cell_vendor[NODE_TEXT_SIZE];
    read_cell_vendor(cell_vendor);
    reboot_init();  // before any feature publishes a voltage
    wall_clock_init();
    charge_disable_init();
    sensor_inputs_init();
    const std::int32_t voltage_uv = read_voltage_uv();
    const std::int32_t temperature_decic = read_temperature_decic();

    batt_info__init(cell_vendor);
    charge_mgr__init(vorn_toc_clients_import, vorn_toc_clients_export, vorn_toc_property_get,
                     vorn_toc_property_set);
    start_stress(voltage_uv, temperature_decic);
    const std::int32_t last_voltage_uv = read_last_voltage_uv();
    start_monitors();
    const std::int32_t precharge_result = start_precharge(last_voltage_uv);
    secondary_thermal_detect_init();
    if (precharge_result != RESULT_DONE) LOG_ERROR("precharge init error %d\n", precharge_result);
    start_estimator();

    update_chargedisable_sysprop();
    LOG_INFO("vorn running on platform %s\n", PLATFORM_NAME);
}

void daemon_cycle() {
    const std::uint64_t elapsed_s = elapsed_since_start_s();
    const sensor_sample sample = read_sensors();

    if (has_battery_reading(sample)) {
        update_battery_features(elapsed_s, sample);
    } else {
        LOG_ERROR("error getting sensor data, do not push ---\n");
    }
    if (sample.capacity_pct != INVALID_VALUE) {
        update_charge_disable(elapsed_s, sample);
    } else {
        LOG_ERROR("error getting sensor data, do not update charge timer ---\n");
    }
    handle_reboot(elapsed_s);
    os::sleep_s(CYCLE_PERIOD_S);
}
