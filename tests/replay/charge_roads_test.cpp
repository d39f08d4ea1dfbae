// The roads of charge control through the whole daemon: from what the sensors say to the property that the
// charger side obeys, and back.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "core/sys_properties.h"
#include "lab/record_text.h"
#include "tests/support/replay.h"

namespace {

using lab::column;
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

std::string line_of(const lab::event& event) {
    const std::string line = std::to_string(event.elapsed_s) + " ";
    if (event.kind == lab::event_kind::metric)
        return line + std::string(lab::record_name(event.text)) + " " +
               std::string(lab::record_payload(event.text));
    if (event.kind == lab::event_kind::write) return line + event.name.substr(event.name.rfind('/') + 1);
    if (event.kind == lab::event_kind::property_set)
        return line + event.name.substr(event.name.rfind("vorn.") + 5) + "=" + event.text +
               (event.result == 0 ? "" : " failed");
    return line + event.text.substr(0, event.text.size() - 1);
}

// "elapsed what" of every event that has one of the parts in it.
std::vector<std::string> story(const replay_result& result, const std::vector<std::string>& parts) {
    std::vector<std::string> lines;
    for (const lab::event& event : result.events) {
        const std::string line = line_of(event);
        if (std::any_of(parts.begin(), parts.end(),
                        [&](const std::string& part) { return line.find(part) != line.npos; }))
            lines.push_back(line);
    }
    return lines;
}

// What becomes of a device that holds those files.
replay_result replay_with(const std::map<std::string, std::string>& files, const trace_rows& rows) {
    test::replay_options options;
    options.start.files = files;
    return test::replay(rows.csv(), options);
}

// The cycle at that time.
const lab::cycle& at(const replay_result& result, std::int64_t elapsed_s) {
    return *std::find_if(result.cycles.begin(), result.cycles.end(),
                         [=](const lab::cycle& cycle) { return cycle.elapsed_s == elapsed_s; });
}

trace_rows charging_phone() {
    trace_rows rows = trace_rows::healthy();
    rows.row({{"status", "Charging"}, {"current_now", "2000000"}});
    return rows;
}

TEST(ChargeRoads, TimerStopsAChargeThatTakesTooLong) {
    trace_rows rows = charging_phone();
    rows.rows(1594, 10);  // 2 A from 50 % may take 15930 s
    rows.rows(7, 10, {{"status", "Discharging"}, {"current_now", "-300000"}});
    const replay_result result =
        replay_with({{std::string(NVCFG) + "charge_failures", number_file(6)}}, rows);
    EXPECT_THAT(
        story(result, {"disable_charging", "charge_failures", "fail counter", "charge_timer_expired",
                       "charge_period_ended"}),
        ElementsAre(
            "0 disable_charging.enabled=0", "15940 --- vorn setting charge fail counter to 7 ---",
            "15940 charge_failures",
            "15940 charge_timer_expired charge_timer_s=15940;IN,threshold_s=15930;IN,min_curr_ua=2000000;IN,"
            "final_soc=50;IN,ver=10;SY",
            "15940 disable_charging.enabled=charge_timer",
            "16010 charge_period_ended charge_timer_s=16010;IN,threshold_s=15930;IN,discharge_timer_s=60;IN,"
            "min_curr_ua=2000000;IN,final_soc=50;IN,ver=10;SY",
            "16010 disable_charging.enabled=0"));
    EXPECT_EQ(number_file(7), result.image.files.at(std::string(NVCFG) + "charge_failures"));
    EXPECT_EQ(0, at(result, 15930)[column::charge_timer_flag]);
    EXPECT_EQ(1, at(result, 15940)[column::charge_timer_flag]);
}

// The timer goes by the capacity alone: it waits for a cycle in which that can be read, and expires though the
// voltage cannot.
TEST(ChargeRoads, TimerNeedsTheCapacityOnly) {
    trace_rows rows = charging_phone();
    rows.rows(1593, 10);
    rows.row({{"capacity", ""}});
    rows.row({{"capacity", "50"}, {"voltage_now", ""}});
    EXPECT_THAT(story(test::replay(rows.csv()), {"charge_timer_expired", "disable_charging"}),
                ElementsAre("0 disable_charging.enabled=0",
                            HasSubstr("15950 charge_timer_expired charge_timer_s=15950;"),
                            "15950 disable_charging.enabled=charge_timer"));
}

TEST(ChargeRoads, FastWarmingStopsTheChargeUntilTheBatteryIsCool) {
    trace_rows rows = charging_phone();
    rows.rows(35, 10, {{"temp", "309"}});  // 30 whole degrees; the first block begins at 300 s
    rows.rows(6, 10, {{"temp", "370"}});
    rows.rows(40, 10, {{"temp", "339"}, {"status", "Not charging"}, {"current_now", "0"}});
    EXPECT_THAT(
        story(test::replay(rows.csv()),
              {"thermal_event", "thermal_released", "thermal_charge_ended", "disable_charging"}),
        ElementsAre(
            "0 disable_charging.enabled=0",
            "410 thermal_event "
            "charge_timer_s=410;IN,tsum_prev_c=180;IN,temp_rise_c=42;IN,t0=37;IN,t1=37;IN,t2=37;IN,"
            "t3=37;IN,t4=37;IN,t5=37;IN,batt_volt_mv=4000;IN,batt_curr_a=2000;IN,ver=11;SY",
            "410 disable_charging.enabled=secondary_thermal",
            "720 thermal_released disable_timer_s=310;IN,batt_temp_c=33;IN,batt_volt_mv=4000;IN,ver=11;SY",
            "720 disable_charging.enabled=0"));
}

TEST(ChargeRoads, APrechargeFaultOutlivesItsReport) {
    const std::string fault_record =
        "0 precharge_event "
        "fault_trip=1;IN,precharge_timer_s=90;IN,last_batt_volt_mv=2147483;IN,discharge_volt_mv=2147483;IN,"
        "discharge_rate_uv=8.4;FL,ver=10;SY";
    trace_rows rows = trace_rows::healthy();
    rows.row().next_boot();
    const std::vector<std::string> watched = {"precharge_event", "precharge_flag_raised",
                                              "precharge_trackers_updated", "disable_charging",
                                              "precharge init"};
    const replay_result faulty = replay_with({{UBOOT_TIMER, number_file(90)}, {UBOOT_FLAG, "\1"}}, rows);
    EXPECT_THAT(
        story(faulty, watched),
        ElementsAre("0 precharge_trackers_updated counter=1;IN,timer_s=90;IN,ver=10;SY",
                    "0 precharge_disable_charging.enabled=1", "0 precharge_flag_raised flag=1;IN,ver=10;SY",
                    fault_record, "0 disable_charging.enabled=precharge_timer",
                    // A restart finds the same report and counts it again; the flag stands already.
                    "0 precharge_trackers_updated counter=2;IN,timer_s=180;IN,ver=10;SY", fault_record,
                    "0 disable_charging.enabled=precharge_timer"));

    test::replay_options options;
    options.start = faulty.image;
    options.start.files.erase(UBOOT_TIMER);
    options.start.files.erase(UBOOT_FLAG);
    const replay_result later = test::replay(rows.csv(), options);
    EXPECT_THAT(later.values_of(DISABLE_PROPERTY), ElementsAre("precharge_timer", "precharge_timer"));
    EXPECT_THAT(story(later, {"precharge_event", "precharge_flag_raised", "precharge_trackers_updated"}),
                IsEmpty());
}

TEST(ChargeRoads, TheFirstOfThreeReasonsIsPublished) {
    trace_rows rows = charging_phone();
    rows.rows(35, 10);
    rows.rows(6, 10, {{"temp", "370"}});
    rows.rows(1594 - 41, 10);                      // still 37 °C: the thermal flag stays
    rows.rows(8, 10, {{"status", "No reading"}});  // neither charging nor known to discharge
    rows.rows(3, 10, {{"status", "Discharging"}});
    test::replay_options options;
    options.start.properties = {{PRECHARGE_PROPERTY, "1"}};
    const replay_result result = test::replay(rows.csv(), options);
    EXPECT_THAT(story(result, {" disable_charging"}),
                ElementsAre("0 disable_charging.enabled=precharge_timer",
                            "410 disable_charging.enabled=secondary_thermal",
                            "15940 disable_charging.enabled=charge_timer",
                            "16010 disable_charging.enabled=secondary_thermal",
                            "16030 disable_charging.enabled=precharge_timer"));
}

// A week on the charger above 4000 mV, a sample every 10 minutes, then an hour without it.
trace_rows week_on_the_charger() {
    trace_rows rows = trace_rows::healthy();
    rows.row({{"status", "Charging"}, {"voltage_now", "4100000"}, {"current_now", "100000"}});
    rows.rows(7 * 144, 600, {{"status", "Full"}, {"current_now", "0"}});
    return rows;
}

TEST(ChargeRoads, PulldownAfterAWeekUntilTheChargerIsAwayForAnHour) {
    trace_rows rows = week_on_the_charger();
    rows.row({{"status", "Not charging"}});  // 604810 s
    rows.row({{"status", "Discharging"}});
    rows.rows(6, 600);
    const replay_result result = test::replay(rows.csv());
    EXPECT_THAT(
        story(result, {"pulldown_applied", "pulldown_watch_ended", " toc=", "pulldown_toc"}),
        ElementsAre(
            "0 toc=4450", "0 toc=4450", "0 pulldown_toc=4450", "0 toc=4450", "604810 pulldown_toc=4250",
            "604810 toc=4250",
            "604810 pulldown_applied pulldown_timer_s=604810;IN,chg_sts=3;IN,batt_volt_mv=4100;IN,ver=10;SY",
            "608420 pulldown_watch_ended pulldown_timer_s=608420;IN,discharge_timer_s=3600;IN,chg_sts=2;IN,"
            "batt_volt_mv=4100;IN,ver=10;SY",
            "608420 pulldown_toc=4450", "608420 toc=4450"));
    EXPECT_EQ(4250, at(result, 604810)[column::toc_mv]);
    EXPECT_EQ(4, at(result, 605420)[column::temp_step]);
    EXPECT_THAT(story(result, {"pulldown_daily"}), testing::SizeIs(7));
}

TEST(ChargeRoads, ASoftShortAndAFullBatteryAreReportedAndStopNothing) {
    trace_rows rows = charging_phone();
    for (const char* voltage_uv : {"4370000", "4380000", "4372000", "4365000", "4355999"})
        rows.row({{"voltage_now", voltage_uv}});
    rows.row({{"status", "Full"}, {"capacity", "100"}, {"voltage_now", "4400000"}});
    rows.rows(7, 10, {{"status", "Discharging"}, {"voltage_now", "4199999"}});
    const replay_result result = test::replay(rows.csv());
    EXPECT_THAT(
        story(result, {"short_fault_detected", "short_active_ended", "short_fault_cleared", "topoff_set",
                       "topoff_cleared"}),
        ElementsAre("50 short_fault_detected "
                    "v_mv=4355;IN,v_max_mv=4380;IN,v_dip_th_mv=25;IN,sec_since_max=30;IN,curr_ma=2000;"
                    "IN,ver=10;SY",
                    "60 topoff_set v_mv=4400;IN,ver=10;SY",
                    "70 topoff_cleared v_mv=4199;IN,v_reset_mv=4200;IN,dur_s=10;IN,ver=10;SY",
                    "120 short_active_ended v_accum_min=0;IN,v_dip_th=25;IN,ver=10;SY",
                    "120 short_fault_cleared v_mv=4199;IN,v_max_mv=4400;IN,curr_ma=2000;IN,ver=10;SY"));
    EXPECT_THAT(result.values_of(DISABLE_PROPERTY), ElementsAre("0"));
}

TEST(ChargeRoads, APropertyThatCannotBeSetOnceIsSetLater) {
    {  // The decision is tried again in the next cycle.
        trace_rows rows = charging_phone();
        rows.rows(1593, 10);
        rows.row({{"faults", std::string("property_set:") + DISABLE_PROPERTY}});
        rows.rows(2, 10, {{"faults", ""}});
        EXPECT_THAT(
            story(test::replay(rows.csv()), {"disable_charging", "sysprop"}),
            ElementsAre(
                "0 disable_charging.enabled=0", "0 --- vorn charge disable sysprop set with status 0 ---",
                "15940 disable_charging.enabled=charge_timer failed",
                "15940 --- vorn error setting property str \"persist.vendor.vorn.disable_charging.enabled\" "
                "to \"charge_timer\", result=-1 ---",
                "15940 --- vorn charge disable sysprop set with status 1 ---",
                "15950 disable_charging.enabled=charge_timer",
                "15950 --- vorn charge disable sysprop set with status 0 ---"));
    }
    {  // So is the request of the pulldown.
        trace_rows rows = week_on_the_charger();
        rows.row({{"faults", std::string("property_set:") + PULLDOWN_PROPERTY}});
        rows.row({{"faults", ""}});
        EXPECT_THAT(
            story(test::replay(rows.csv()),
                  {"604810 toc", "604820 toc", "pulldown_toc=4250", "pulldown_applied"}),
            ElementsAre("604810 pulldown_toc=4250 failed", HasSubstr("604810 pulldown_applied"),
                        "604820 pulldown_toc=4250", "604820 toc=4250", HasSubstr("604820 pulldown_applied")));
    }
    {  // A top of charge waits for the next accepted request: here the withdrawal.
        trace_rows rows = week_on_the_charger();
        rows.row({{"faults", std::string("property_set:") + TOC_PROPERTY}});
        rows.row({{"faults", ""}});
        rows.row({{"voltage_now", "4000000"}});
        const replay_result result = test::replay(rows.csv());
        EXPECT_THAT(story(result, {"604810 toc", "604820 toc", "604830 toc"}),
                    ElementsAre("604810 toc=4250 failed", "604830 toc=4450"));
        EXPECT_EQ(4450, at(result, 604820)[column::toc_mv]);
        EXPECT_EQ(4, at(result, 604820)[column::temp_step]);
    }
    {  // The precharge flag waits for the next start.
        trace_rows rows = trace_rows::healthy();
        rows.row({{"faults", std::string("property_set:") + PRECHARGE_PROPERTY}});
        rows.next_boot({{"faults", ""}});
        const replay_result result = replay_with({{UBOOT_FLAG, "\1"}}, rows);
        EXPECT_THAT(result.values_of(DISABLE_PROPERTY), ElementsAre("0", "precharge_timer"));
    }
}

TEST(ChargeRoads, AFileThatCannotBeWrittenOnceIsWrittenLater) {
    const auto fault = [](const char* name) { return std::string("write:") + NVCFG + name; };
    {  // The failure of the first boot is not counted, but the charge stops; the next boot's is.
        trace_rows rows = charging_phone();
        rows.rows(1593, 10);
        rows.row({{"faults", fault("charge_failures")}});
        rows.next_boot({{"faults", ""}});
        rows.rows(1594, 10);
        const replay_result result = test::replay(rows.csv());
        EXPECT_THAT(result.values_of(DISABLE_PROPERTY),
                    ElementsAre("0", "charge_timer", "0", "charge_timer"));
        EXPECT_EQ(number_file(1), result.image.files.at(std::string(NVCFG) + "charge_failures"));
    }
    {  // Neither total is lost to the other.
        for (const char* name : {"batt_precharge_timer", "batt_precharge_counter"}) {
            trace_rows rows = trace_rows::healthy();
            rows.row({{"faults", fault(name)}});
            rows.next_boot({{"faults", ""}});
            const replay_result result = replay_with({{UBOOT_TIMER, number_file(60)}}, rows);
            EXPECT_THAT(result.logs("precharge init error"),
                        ElementsAre("--- vorn precharge init error 1\n"));
            EXPECT_THAT(result.records("precharge_trackers_updated"), testing::SizeIs(1));
            EXPECT_EQ(number_file(1), result.image.files.at(std::string(NVCFG) + "batt_precharge_counter"));
        }
    }
    {  // A damaged step is put right by the next start.
        trace_rows rows = trace_rows::healthy();
        rows.row({{"faults", fault("toc_clients")}});
        rows.next_boot({{"faults", ""}});
        const replay_result result = replay_with({{std::string(NVCFG) + "toc_clients", "\x0b"}}, rows);
        EXPECT_THAT(story(result, {"persistent clients", "persistent toc"}),
                    ElementsAre("0 --- vorn CHG_MGR error: failed to export persistent clients: status=1 ---",
                                "0 --- vorn CHG_MGR: exported persistent toc clients ---"));
        EXPECT_EQ(std::string(1, '\0'), result.image.files.at(std::string(NVCFG) + "toc_clients"));
    }
}

}  // namespace
