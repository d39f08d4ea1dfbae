// How the page words an event, and how it saves room on the words.

#include "lab/report/log_line.h"

#include <gtest/gtest.h>

#include "lab/report/log_store.h"

namespace {

using lab::event;
using lab::event_kind;
using lab::feature;
using lab::log_store;

event of(event_kind kind, std::string name, std::string text, std::int64_t result = 0) {
    return {kind, 1, 0, 0, 6, 8, result, std::move(name), std::move(text)};
}

TEST(LogLine, WordsEachKindOfEvent) {
    struct row {
        event what;
        feature whose;
        const char* line;
    };
    const std::string table(396, '\0');
    const row rows[] = {
        {of(event_kind::log, "vorn", "--- vorn CHG_MGR New ToC setting: v=4350 ---\n"), feature::charge_mgr,
         "--- vorn CHG_MGR New ToC setting: v=4350 ---"},
        {of(event_kind::log, "vorn", "--- vorn SHORT_DETECT Init params: v_dip_thresh=25\n"),
         feature::short_detect, "--- vorn SHORT_DETECT Init params: v_dip_thresh=25"},
        {of(event_kind::log, "vorn",
            "--- vorn file open error errno file /mnt/vendor/nvcfg/vorn/toc_clients ---\n"),
         feature::charge_mgr, "--- vorn file open error errno file /mnt/vendor/nvcfg/vorn/toc_clients ---"},
        {of(event_kind::log, "vorn", "--- vorn Performing reboot!\n"), feature::core,
         "--- vorn Performing reboot!"},
        {of(event_kind::metric, "vorn",
            "lx6wwu6k:n591/2/"
            "03330401:100:_deviceId=;SY,_softwareVersion=;SY,_platform=;SY,_model=;SY,_deviceType=;SY,"
            "_countryOfResidence=;SY,stress_hours=14035;IN,stress_trip=2;IN,set_prop=0;IN,ver=12;SY:NA"),
         feature::stress, "stress_evaluated stress_hours=14035 stress_trip=2 set_prop=0"},
        {of(event_kind::metric, "vorn", "lx6wwu6k:unheard/of:100:a=1;IN:NA"), feature::core,
         "lx6wwu6k:unheard/of:100:a=1;IN:NA"},
        {of(event_kind::property_set, "vendor.vorn.pulldown_toc", "4250"), feature::pulldown,
         "vendor.vorn.pulldown_toc = 4250"},
        {of(event_kind::property_set, "persist.vendor.vorn.toc", "4250", -1), feature::charge_mgr,
         "persist.vendor.vorn.toc = 4250 (failed)"},
        {of(event_kind::write, "/mnt/vendor/nvcfg/vorn/batt_stress", table, 396), feature::stress,
         "/mnt/vendor/nvcfg/vorn/batt_stress, 396 bytes"},
        {of(event_kind::write, "/mnt/vendor/nvcfg/vorn/charge_failures", {"\x02\0\0\xfe", 4}, -1),
         feature::charge_timer, "/mnt/vendor/nvcfg/vorn/charge_failures, 4 bytes: 020000fe (failed)"},
    };
    for (const row& each : rows) {
        EXPECT_EQ(lab::line_of(each.what), each.line);
        EXPECT_EQ(static_cast<int>(lab::feature_of(each.what)), static_cast<int>(each.whose)) << each.line;
    }
}

std::string rebuilt(const std::string& shape, const std::string& numbers) {
    std::string line;
    std::size_t from = 0;
    for (const char each : shape) {
        if (each != log_store::NUMBER) {
            line += each;
            continue;
        }
        const std::size_t end = std::min(numbers.find(log_store::SEPARATOR, from), numbers.size());
        line += numbers.substr(from, end - from);
        from = end + 1;
    }
    return line;
}

// Two lines that differ in their numbers alone share a shape, and each comes back letter for letter.
TEST(LogStore, TakesNumbersOutAndPutsThemBack) {
    const std::pair<const char*, const char*> alike[] = {
        {"v=4350, curr=-12 ---", "v=4000, curr=7 ---"},
        {"VT[3][4] with val 1.50", "VT[8][10] with val -0.25"},
        {"charge_failures, 4 bytes: 020000fe", "charge_failures, 4 bytes: fe000002"},
        {"1 2 3", "30 20 10"},
    };
    for (const auto& [first, second] : alike) {
        std::string of_first, of_second;
        const std::string shape = lab::without_numbers(first, of_first);
        EXPECT_EQ(shape, lab::without_numbers(second, of_second)) << first;
        EXPECT_EQ(rebuilt(shape, of_first), first);
        EXPECT_EQ(rebuilt(shape, of_second), second);
    }
    for (const char* name : {"gm30_ui_soc", "thermal_zone6/temp", "a feed", ""}) {
        std::string numbers;
        EXPECT_EQ(lab::without_numbers(name, numbers), name) << "the digits of a name are no number";
    }
}

}  // namespace
