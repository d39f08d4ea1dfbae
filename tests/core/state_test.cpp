// State files, properties, and the charge-disable decision's retries.

#include <cstdlib>
#include <gtest/gtest.h>

#include "core/persistent_files.h"
#include "core/sys_properties.h"
#include "tests/support/effects.h"
#include "util/sensor_value.h"

namespace {

using namespace std::string_literals;
const std::string NVCFG = "/mnt/vendor/nvcfg/vorn/";
const std::string DATA = "/data/vendor/vorn/";

virtual_device::file& file(const std::string& path) {
    return virtual_device::the_device().at(path);
}

TEST(PersistentFiles, TellsMissingFromUnreadable) {
    test::effects effects;
    EXPECT_EQ(vorn_charge_fail_counter_import(), INVALID_VALUE);
    EXPECT_EQ(effects.take(),
              std::vector{"log 6 --- vorn file open error errno file " + NVCFG + "charge_failures ---"});
    file(NVCFG + "charge_failures").put("");
    EXPECT_EQ(vorn_charge_fail_counter_import(), INVALID_VALUE);
    file(NVCFG + "charge_failures").put("\x05\0\0\0tail"s);
    EXPECT_EQ(vorn_charge_fail_counter_import(), 5);
    file(NVCFG + "charge_failures").put("\x01\x02");  // over a preset of ff ff ff 7f
    EXPECT_EQ(vorn_charge_fail_counter_import(), 0x7FFF0201);

    char table[4] = {'k', 'e', 'p', 't'};
    EXPECT_EQ(vorn_stress_import(table, 4), 1);
    file(NVCFG + "batt_stress").put("new!");
    file(NVCFG + "batt_stress").read_fails = true;
    effects.take();
    EXPECT_EQ(vorn_stress_import(table, 4), 0);
    EXPECT_EQ(std::string(table, 4), "kept");
    EXPECT_EQ(effects.take(),
              std::vector{"log 6 --- vorn file read error errno file " + NVCFG + "batt_stress ---"});

    EXPECT_FALSE(vorn_uboot_flag_import());
    file(DATA + "batt_precharge_ubootflag").put("\0x"s);
    EXPECT_FALSE(vorn_uboot_flag_import());
    file(DATA + "batt_precharge_ubootflag").put("\x80");
    EXPECT_TRUE(vorn_uboot_flag_import());
}

TEST(PersistentFiles, WritesOverTheStartOfAFile) {
    test::effects effects;
    auto& counter = file(NVCFG + "batt_precharge_counter");
    counter.put("12345678");
    EXPECT_EQ(vorn_precharge_counter_export(-2), 0);
    EXPECT_EQ(counter.bytes,
              "\xfe\xff\xff\xff"
              "5678");
    counter.write_fails = true;
    EXPECT_EQ(vorn_precharge_counter_export(1), 1);
    counter.open_fails = true;
    EXPECT_EQ(vorn_precharge_counter_export(1), 1);
    EXPECT_EQ(
        effects.take(),
        (std::vector{"write " + counter.path + " feffffff", "write " + counter.path + " 01000000 failed",
                     "log 6 --- vorn file write error errno file " + counter.path + " ---",
                     "log 6 --- vorn file open error errno file " + counter.path + " ---"}));
    EXPECT_EQ(virtual_device::the_device().open_count(), 0);
}

TEST(PersistentFiles, MigratesWholeRecordsOnce) {
    test::effects effects;
    file(DATA + "toc_clients").put("\x02\x07");       // longer than its record
    file(DATA + "charge_failures").put("\x01\0\0"s);  // shorter
    file(DATA + "last_battvolt").put("old!");
    file(DATA + "last_battvolt").read_fails = true;
    file(DATA + "batt_precharge_timer").put("olds");
    file(NVCFG + "batt_precharge_timer").put("new");  // already there, whatever it holds
    migrate_persistent_files();
    EXPECT_EQ(file(NVCFG + "toc_clients").bytes, "\x02");
    EXPECT_FALSE(file(NVCFG + "charge_failures").exists);
    EXPECT_FALSE(file(NVCFG + "last_battvolt").exists);
    EXPECT_EQ(file(NVCFG + "batt_precharge_timer").bytes, "new");
    EXPECT_EQ(file(DATA + "toc_clients").bytes, "\x02\x07");
    const auto lines = effects.take("log 6 --- vorn failed to read file, while migrating ");
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_TRUE(lines[2].ends_with(DATA + "charge_failures ---"));

    migrate_persistent_files();
    EXPECT_TRUE(effects.take("write").empty());
}

TEST(SysProperties, ReadsNumbersWithTheirMarkers) {
    test::effects effects;
    auto& properties = virtual_device::the_device().properties;
    EXPECT_EQ(vorn_toc_property_get(), 0);
    for (const char* text : {"4400",
                             "volts",
                             "",
                             "+7",
                             "+-7",
                             "-+7",
                             "--7",
                             "- 8",
                             "+ 8",
                             "+",
                             "-",
                             "-0",
                             " \t\n\v\f\r-8x",
                             "\xa0"
                             "9",
                             "0x10",
                             "1/2",
                             "1:2",
                             "\x0e"
                             "3",
                             "-4294967295",
                             "4294967296",
                             "9223372036854775807",
                             "-9223372036854775808",
                             "9223372036854775808",
                             "99999999999999999999x"}) {
        properties[TOC_PROPERTY] = text;
        EXPECT_EQ(vorn_toc_property_get(), static_cast<std::int32_t>(std::strtoll(text, nullptr, 10)))
            << text;
    }
    EXPECT_TRUE(effects.take().empty());
    properties[TOC_PROPERTY] = "-99999999999999999999";  // limited to -2^63, whose low 32 bits are 0
    EXPECT_EQ(vorn_toc_property_get(), -98);
    EXPECT_EQ(effects.take(), std::vector{"log 6 --- vorn strtol error errno 34---"s});

    for (const auto& [value, flag] :
         {std::pair{"1", true}, {"10", true}, {"0", false}, {"true", false}, {" 1", false}}) {
        properties[PRECHARGE_PROPERTY] = value;
        EXPECT_EQ(vorn_precharge_property_get(), flag) << value;
    }
}

TEST(SysProperties, ReportsAFailedWrite) {
    test::effects effects;
    auto& device = virtual_device::the_device();
    EXPECT_EQ(vorn_pulldown_property_set(4250), 0);
    EXPECT_EQ(vorn_precharge_property_set(false), 0);
    device.fail_property_set(PULLDOWN_PROPERTY, true);
    device.fail_property_set(PRECHARGE_PROPERTY, true);
    EXPECT_EQ(vorn_pulldown_property_set(4450), 1);
    EXPECT_EQ(vorn_precharge_property_set(true), 1);
    EXPECT_EQ(effects.take(),
              (std::vector{
                  "set vendor.vorn.pulldown_toc=4250"s, "set "s + PRECHARGE_PROPERTY + "=0",
                  "set vendor.vorn.pulldown_toc=4450 failed"s, "set "s + PRECHARGE_PROPERTY + "=1 failed",
                  "log 6 --- vorn error setting property bool "s + PRECHARGE_PROPERTY + ", result=-1 ---"}));
    EXPECT_EQ(device.properties["vendor.vorn.pulldown_toc"], "4250");
}

}  // namespace
