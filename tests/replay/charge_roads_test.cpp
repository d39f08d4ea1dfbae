// The roads of charge control through the whole daemon: from what the sensors say to the property that the
// charger side obeys, and back.

#include <gmock/gmock.h>

#include "core/sys_properties.h"
#include "tests/support/replay.h"

namespace {

using lab::column;
using test::replay;
using test::replay_result;
using test::trace_rows;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char NVCFG[] = "/mnt/vendor/nvcfg/vorn/";
constexpr char UBOOT_TIMER[] = "/data/vendor/vorn/batt_precharge_uboottimer";
constexpr char UBOOT_FLAG[] = "/data/vendor/vorn/batt_precharge_ubootflag";

std::string number_file(char value) {
    return {value, '\0', '\0', '\0'};
}

// What becomes of a device that holds those files and properties.
replay_result replay_with(lab::device_image start, const trace_rows& rows) {
    return replay(rows, {std::move(start), "UTC", {}});
}

trace_rows charging_phone() {
    return trace_rows().row({{"status", "Charging"}, {"current_now", "2000000"}});
}

// A week on the charger above 4000 mV, a sample every 10 minutes, and with the next row more than that.
trace_rows week_on_the_charger() {
    return trace_rows()
        .row({{"status", "Charging"}, {"voltage_now", "4100000"}, {"current_now", "100000"}})
        .rows(7 * 144, 600, {{"status", "Full"}, {"current_now", "0"}});
}

TEST(ChargeRoads, TimerStopsAChargeThatTakesTooLong) {
    trace_rows rows = charging_phone().rows(1594, 10);  // 2 A from 50 % may take 15930 s
    rows.rows(7, 10, {{"status", "Discharging"}, {"current_now", "-300000"}});
    const std::string counter = std::string(NVCFG) + "charge_failures";
    const replay_result result = replay_with({{{counter, number_file(6)}}, {}}, rows);
    EXPECT_THAT(result.story({"disable_charging", "charge_failures", "fail counter", "charge_timer_expired",
                              "charge_period_ended"}),
                ElementsAre("0 disable_charging.enabled=0",
                            "15940 --- vorn setting charge fail counter to 7 ---", "15940 charge_failures",
                            "15940 charge_timer_expired charge_timer_s=15940 threshold_s=15930 "
                            "min_curr_ua=2000000 final_soc=50",
                            "15940 disable_charging.enabled=charge_timer",
                            "16010 charge_period_ended charge_timer_s=16010 threshold_s=15930 "
                            "discharge_timer_s=60 min_curr_ua=2000000 final_soc=50",
                            "16010 disable_charging.enabled=0"));
    EXPECT_EQ(number_file(7), result.image.files.at(counter));
    EXPECT_EQ(0, result.at(15930)[column::charge_timer_flag]);
    EXPECT_EQ(1, result.at(15940)[column::charge_timer_flag]);
}

// The timer goes by the capacity alone: it waits for a cycle in which that can be read, and expires though the
// voltage cannot.
TEST(ChargeRoads, TimerNeedsTheCapacityOnly) {
    trace_rows rows = charging_phone().rows(1593, 10);
    rows.row({{"capacity", ""}}).row({{"capacity", "50"}, {"voltage_now", ""}});
    EXPECT_THAT(replay(rows).story({"charge_timer_expired", "disable_charging"}),
                ElementsAre("0 disable_charging.enabled=0",
                            HasSubstr("15950 charge_timer_expired charge_timer_s=15950 "),
                            "15950 disable_charging.enabled=charge_timer"));
}

TEST(ChargeRoads, FastWarmingStopsTheChargeUntilTheBatteryIsCool) {
    trace_rows rows = charging_phone();
    rows.rows(35, 10, {{"temp", "309"}});  // 30 whole degrees; the first block begins at 300 s
    rows.rows(6, 10, {{"temp", "370"}});
    rows.rows(40, 10, {{"temp", "339"}, {"status", "Not charging"}, {"current_now", "0"}});
    EXPECT_THAT(replay(rows).story({"thermal_", "disable_charging"}),
                ElementsAre("0 disable_charging.enabled=0",
                            "410 thermal_event charge_timer_s=410 tsum_prev_c=180 temp_rise_c=42 t0=37 t1=37 "
                            "t2=37 t3=37 t4=37 t5=37 batt_volt_mv=4000 batt_curr_a=2000",
                            "410 disable_charging.enabled=secondary_thermal",
                            "720 thermal_released disable_timer_s=310 batt_temp_c=33 batt_volt_mv=4000",
                            "720 disable_charging.enabled=0"));
}

TEST(ChargeRoads, APrechargeFaultOutlivesItsReport) {
    const std::string fault =
        " precharge_event fault_trip=1 precharge_timer_s=90 last_batt_volt_mv=2147483 "
        "discharge_volt_mv=2147483 discharge_rate_uv=8.4";
    const trace_rows rows = trace_rows().row().row().next_boot();
    const replay_result faulty =
        replay_with({{{UBOOT_TIMER, number_file(90)}, {UBOOT_FLAG, "\1"}}, {}}, rows);
    EXPECT_THAT(faulty.story({"precharge_event", "precharge_flag", "precharge_trackers", "disable_charging"}),
                ElementsAre("0 precharge_trackers_updated counter=1 timer_s=90",
                            "0 precharge_disable_charging.enabled=1", "0 precharge_flag_raised flag=1",
                            "0" + fault, "0 disable_charging.enabled=precharge_timer",
                            // A restart finds the same report and counts it again; the flag stands already.
                            "2:0 precharge_trackers_updated counter=2 timer_s=180", "2:0" + fault,
                            "2:0 disable_charging.enabled=precharge_timer"));
    lab::device_image without_report = faulty.image;
    without_report.files.erase(UBOOT_TIMER);
    without_report.files.erase(UBOOT_FLAG);
    EXPECT_THAT(replay_with(without_report, rows)
                    .story({"precharge_event", "precharge_flag", "precharge_trackers", "disable_charging"}),
                ElementsAre("0 disable_charging.enabled=precharge_timer",
                            "2:0 disable_charging.enabled=precharge_timer"));
}

TEST(ChargeRoads, TheFirstOfThreeReasonsIsPublished) {
    trace_rows rows = charging_phone().rows(35, 10);
    rows.rows(6, 10, {{"temp", "370"}}).rows(1594 - 41, 10);  // still 37 °C: the thermal flag stays
    rows.rows(8, 10, {{"status", "No reading"}});             // neither charging nor known to discharge
    rows.rows(3, 10, {{"status", "Discharging"}});
    EXPECT_THAT(replay_with({{}, {{PRECHARGE_PROPERTY, "1"}}}, rows).story({" disable_charging"}),
                ElementsAre("0 disable_charging.enabled=precharge_timer",
                            "410 disable_charging.enabled=secondary_thermal",
                            "15940 disable_charging.enabled=charge_timer",
                            "16010 disable_charging.enabled=secondary_thermal",
                            "16030 disable_charging.enabled=precharge_timer"));
}

TEST(ChargeRoads, PulldownAfterAWeekUntilTheChargerIsAwayForAnHour) {
    trace_rows rows = week_on_the_charger();
    rows.row({{"status", "Not charging"}});  // 604810 s
    rows.row({{"status", "Discharging"}}).rows(6, 600);
    const replay_result result = replay(rows);
    EXPECT_THAT(result.story({"pulldown_applied", "pulldown_watch_ended", " toc=", "pulldown_toc"}),
                ElementsAre("0 toc=4450", "0 toc=4450", "0 pulldown_toc=4450", "0 toc=4450",
                            "604810 pulldown_toc=4250", "604810 toc=4250",
                            "604810 pulldown_applied pulldown_timer_s=604810 chg_sts=3 batt_volt_mv=4100",
                            "608420 pulldown_watch_ended pulldown_timer_s=608420 discharge_timer_s=3600 "
                            "chg_sts=2 batt_volt_mv=4100",
                            "608420 pulldown_toc=4450", "608420 toc=4450"));
    EXPECT_EQ(4250, result.at(604810)[column::toc_mv]);
    EXPECT_EQ(4, result.at(605420)[column::temp_step]);
    EXPECT_THAT(result.story({"pulldown_daily"}), testing::SizeIs(7));
}

TEST(ChargeRoads, ASoftShortAndAFullBatteryAreReportedAndStopNothing) {
    trace_rows rows = charging_phone();
    for (const char* voltage_uv : {"4370000", "4380000", "4372000", "4365000", "4355999"})
        rows.row({{"voltage_now", voltage_uv}});
    rows.row({{"status", "Full"}, {"capacity", "100"}, {"voltage_now", "4400000"}});
    rows.rows(7, 10, {{"status", "Discharging"}, {"voltage_now", "4199999"}});
    EXPECT_THAT(
        replay(rows).story({" short_", " topoff_", " disable_charging"}),
        ElementsAre(
            "0 disable_charging.enabled=0",
            "50 short_fault_detected v_mv=4355 v_max_mv=4380 v_dip_th_mv=25 sec_since_max=30 curr_ma=2000",
            "60 topoff_set v_mv=4400", "70 topoff_cleared v_mv=4199 v_reset_mv=4200 dur_s=10",
            "120 short_active_ended v_accum_min=0 v_dip_th=25",
            "120 short_fault_cleared v_mv=4199 v_max_mv=4400 curr_ma=2000"));
}

// A fault in one cycle, and none in the two after it.
trace_rows with_fault(trace_rows rows, const std::string& call, const std::string& target) {
    return rows.row({{"faults", call + ":" + target}}).rows(2, 10, {{"faults", ""}});
}

TEST(ChargeRoads, APropertyThatCannotBeSetOnceIsSetLater) {
    // The decision is tried again in the next cycle.
    trace_rows expiring = charging_phone().rows(1593, 10);
    EXPECT_THAT(
        replay(with_fault(expiring, "property_set", DISABLE_PROPERTY))
            .story({"15940 disable", "15950 disable", "15960 disable", "sysprop", "error setting"}),
        ElementsAre("0 --- vorn charge disable sysprop set with status 0 ---",
                    "15940 disable_charging.enabled=charge_timer failed",
                    "15940 --- vorn error setting property str "
                    "\"persist.vendor.vorn.disable_charging.enabled\" to \"charge_timer\", result=-1 ---",
                    "15940 --- vorn charge disable sysprop set with status 1 ---",
                    "15950 disable_charging.enabled=charge_timer",
                    "15950 --- vorn charge disable sysprop set with status 0 ---"));
    // So is the request of the pulldown.
    EXPECT_THAT(
        replay(with_fault(week_on_the_charger(), "property_set", PULLDOWN_PROPERTY))
            .story({"604810 toc", "604820 toc", "pulldown_toc=4250", "pulldown_applied"}),
        ElementsAre("604810 pulldown_toc=4250 failed", HasSubstr("604810 pulldown_applied"),
                    "604820 pulldown_toc=4250", "604820 toc=4250", HasSubstr("604820 pulldown_applied")));
    // A top of charge waits for the next accepted request: here the withdrawal.
    const replay_result waiting = replay(
        with_fault(week_on_the_charger(), "property_set", TOC_PROPERTY).row({{"voltage_now", "4000000"}}));
    EXPECT_THAT(waiting.story({"604810 toc", "604820 toc", "604830 toc", "604840 toc"}),
                ElementsAre("604810 toc=4250 failed", "604840 toc=4450"));
    EXPECT_EQ(4450, waiting.at(604820)[column::toc_mv]);
    EXPECT_EQ(4, waiting.at(604820)[column::temp_step]);
    // The precharge flag waits for the next start.
    EXPECT_THAT(replay_with({{{UBOOT_FLAG, "\1"}}, {}},
                            with_fault({}, "property_set", PRECHARGE_PROPERTY).next_boot())
                    .story({" disable_charging"}),
                ElementsAre("0 disable_charging.enabled=0", "2:0 disable_charging.enabled=precharge_timer"));
}

TEST(ChargeRoads, AFileThatCannotBeWrittenOnceIsWrittenLater) {
    const auto path = [](const char* name) { return std::string(NVCFG) + name; };
    // The failure of the first boot is not counted, but the charge stops; the next boot's is.
    trace_rows expiring = with_fault(charging_phone().rows(1593, 10), "write", path("charge_failures"));
    const replay_result twice = replay(expiring.next_boot().rows(1594, 10));
    EXPECT_THAT(twice.story({"enabled=charge_timer"}), testing::SizeIs(2));
    EXPECT_EQ(number_file(1), twice.image.files.at(path("charge_failures")));
    // Neither of the precharge totals is lost to the other.
    for (const char* name : {"batt_precharge_timer", "batt_precharge_counter"}) {
        const replay_result result = replay_with({{{UBOOT_TIMER, number_file(60)}}, {}},
                                                 with_fault({}, "write", path(name)).next_boot());
        EXPECT_THAT(result.story({"precharge init error", "precharge_trackers_updated"}),
                    ElementsAre("0 --- vorn precharge init error 1", HasSubstr("2:0 precharge_trackers")));
        EXPECT_EQ(number_file(1), result.image.files.at(path("batt_precharge_counter")));
    }
    // A damaged step is put right by the next start.
    const replay_result repaired = replay_with({{{path("toc_clients"), "\x0b"}}, {}},
                                               with_fault({}, "write", path("toc_clients")).next_boot());
    EXPECT_THAT(repaired.story({"persistent clients", "persistent toc"}),
                ElementsAre("0 --- vorn CHG_MGR error: failed to export persistent clients: status=1 ---",
                            "2:0 --- vorn CHG_MGR: exported persistent toc clients ---"));
    EXPECT_EQ(std::string(1, '\0'), repaired.image.files.at(path("toc_clients")));
}

}  // namespace
