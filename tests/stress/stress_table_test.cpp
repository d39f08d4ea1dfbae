#include "stress/stress_table.h"

#include <cmath>
#include <limits>
#include <utility>

#include "tests/stress/stress_fixture.h"

namespace {

using test::bucket_of;
using test::stress_image;
using test::table_now;
using test::with;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t GREATEST_TIME = std::numeric_limits<std::uint64_t>::max();
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

void set_table(const stress_image& image) {
    test::put_table(image);
    (void)stress_table__import(vorn_stress_import);
}

std::uint32_t hours_of(const stress_image& image) {
    set_table(image);
    return calculate_stress_hours();
}

TEST(StressTable, SamplesInShortSuccessionCountWholeForTheNewOne) {
    test::effects effects;
    log_volt_temp_bucket(3600, 3850, 24000);  // the first sample brings its own time, not interpolated
    EXPECT_EQ(table_now(), with({}, 5, 4, 1.0F));
    log_volt_temp_bucket(3600, 4300, 24000);  // no time, nothing to credit
    log_volt_temp_bucket(4500, 4300, 31000);  // 900 s is not interpolated
    EXPECT_EQ(table_now(), with(with({}, 5, 4, 1.0F), 7, 6, 0.25F));
    EXPECT_THAT(effects.take(), IsEmpty());
}

TEST(StressTable, LongGapIsSpreadAlongALine) {
    test::effects effects;
    log_volt_temp_bucket(1, 4000, 20000);
    set_table({});
    log_volt_temp_bucket(3601, 4400, 40000);
    EXPECT_THAT(effects.take(),
                ElementsAre("log 6 vorn stress interp elaps 3600 periods 8.00 slopes 50 2500"));
    stress_image expected{};
    // 4050/22500, 4100/25000, 4150/27500, 4200/30000, 4250/32500, 4300/35000, 4350/37500, 4400/40000
    for (const auto& [row, column] :
         {std::pair{6, 4}, {6, 4}, {6, 5}, {6, 5}, {7, 6}, {7, 6}, {7, 7}, {7, 7}}) {
        expected[bucket_of(row, column)] += 0.125F;
    }
    EXPECT_EQ(table_now(), expected);
}

// 901 s downhill: the steps are cut toward zero (-199.77 and -4994.4), and the second that is left over goes
// to the new sample.
TEST(StressTable, ShortestInterpolatedGapLeavesOneSecond) {
    test::effects effects;
    log_volt_temp_bucket(10, 4400, 30000);
    set_table({});
    log_volt_temp_bucket(911, 4000, 20000);
    EXPECT_THAT(effects.take(),
                ElementsAre("log 6 vorn stress interp elaps 901 periods 2.00 slopes -199 -4994"));
    stress_image expected{};
    expected[bucket_of(7, 5)] = 0.125F;  // 4201 mV, 25.006 °C
    expected[bucket_of(6, 4)] = 0.125F;  // 4002 mV, 20.012 °C
    expected[bucket_of(5, 3)] = 1.0F / 3600.0F;
    EXPECT_EQ(table_now(), expected);
}

// In single precision 44999999 s are 100000 periods, one more than there are whole ones: the last of them and
// the 449 s of the remainder are both credited.
TEST(StressTable, PeriodsAreCountedInSinglePrecision) {
    test::effects effects;
    log_volt_temp_bucket(1, 3900, 22000);
    set_table({});
    log_volt_temp_bucket(45000000, 3900, 22000);
    EXPECT_THAT(effects.take(),
                ElementsAre("log 6 vorn stress interp elaps 44999999 periods 100000.00 slopes 0 0"));
    EXPECT_EQ(table_now(), with({}, 5, 4, 12500.0F + 449.0F / 3600.0F));
}

TEST(StressTable, AClockThatWentBackCountsFromItsStart) {
    test::effects effects;
    log_volt_temp_bucket(5000, 3900, 22000);
    set_table({});
    log_volt_temp_bucket(1800, 4100, 32000);  // more than two periods, and still not interpolated
    EXPECT_EQ(table_now(), with({}, 6, 6, 0.5F));
    log_volt_temp_bucket(0, 4100, 32000);
    log_volt_temp_bucket(3600, 4100, 42000);  // time 0 stands for no previous sample
    EXPECT_EQ(table_now(), with(with({}, 6, 6, 0.5F), 6, 8, 1.0F));
    EXPECT_THAT(effects.take(), IsEmpty());
}

// 10^16 periods, added one by one until the bucket is too large to hold another: at 2^21 h a period is half
// of the last bit, and the tie goes to the even side.
TEST(StressTable, AnAbsurdGapEndsAndFillsItsBucket) {
    for (const float full : {2097152.0F, INFINITE}) {
        log_volt_temp_bucket(1, 3900, 22000);
        set_table(full == INFINITE ? with({}, 5, 4, INFINITE) : stress_image{});
        log_volt_temp_bucket(GREATEST_TIME, 3900, 22000);
        EXPECT_EQ(table_now(), with({}, 5, 4, full));
    }
    set_table(with({}, 5, 4, NOT_A_NUMBER));
    log_volt_temp_bucket(1, 3900, 22000);
    log_volt_temp_bucket(GREATEST_TIME, 3900, 22000);
    EXPECT_TRUE(std::isnan(table_now()[bucket_of(5, 4)]));
}

// The difference is 96 modulo 2^32, so the line leaves the range at the top and comes back at the bottom.
TEST(StressTable, ALineWrapsAtTheEndsOfTheRange) {
    log_volt_temp_bucket(10, 3900, 2147483600);
    set_table({});
    log_volt_temp_bucket(10 + 901, 3900, -2147483600);
    EXPECT_EQ(table_now(), with(with({}, 5, 10, 0.125F), 5, 0, 0.125F + 1.0F / 3600.0F));
}

TEST(StressTable, AShortFileFillsTheFirstEntries) {
    stress_image image;
    image.fill(1.0F);
    test::put_table(image);
    test::stress_file().bytes.resize(6);  // one entry and half of the next
    (void)stress_table__import(vorn_stress_import);
    const stress_image table = table_now();
    EXPECT_EQ(table[0], 1.0F);
    EXPECT_LT(table[1], 1e-40F);  // the low half of 1.0 is all zero bits
    EXPECT_EQ(table[2], 0.0F);
}

// Sums worked out with the factors of stress_bands_test.cpp and single-precision rounding after every
// addition, in Python. Summed in double precision this table gives 80364.99998, column by column 80364.992.
TEST(StressTable, HoursAreSummedInSinglePrecisionRowByRow) {
    stress_image image{};
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = 3.25F + 7.5F * static_cast<float>(i);
    EXPECT_EQ(hours_of(image), 80365U);
    EXPECT_EQ(hours_of(with({}, 8, 4, 1.0F)), 0U);  // 0.6978
    EXPECT_EQ(hours_of(with({}, 8, 4, 2.0F)), 1U);
    stress_image full{};
    full.fill(43800.0F);
    EXPECT_EQ(hours_of(full), 5061775U);
    // The mock offset is added, and wraps.
    stress_table__init(20000);
    EXPECT_EQ(hours_of({}), 20000U);
    stress_table__init(0xFFFFFFFFU);
    EXPECT_EQ(hours_of(with({}, 8, 4, 3.0F)), 1U);  // 2 - 1
}

TEST(StressTable, EntriesThatCannotBeTrueAreReportedAndCleared) {
    test::effects effects;
    stress_image image = with({}, 8, 10, 43800.0F);
    const float above = std::nextafter(43800.0F, INFINITE);
    image = with(with(with(with(image, 0, 1, above), 3, 0, -0.5F), 3, 10, INFINITE), 8, 0, -INFINITE);
    EXPECT_EQ(hours_of(image), 1591475U);  // 43800 * 36.335065, the one that is left
    EXPECT_THAT(effects.take(),
                ElementsAre("record stress_entry_rejected v=0 t=1 val=43800.003906",
                            "log 6 vorn stress sanity check failed for VT[0][1] with val 43800.00",
                            "record stress_entry_rejected v=3 t=0 val=-0.500000",
                            "log 6 vorn stress sanity check failed for VT[3][0] with val -0.50",
                            "record stress_entry_rejected v=3 t=10 val=inf",
                            "log 6 vorn stress sanity check failed for VT[3][10] with val inf",
                            "record stress_entry_rejected v=8 t=0 val=-inf",
                            "log 6 vorn stress sanity check failed for VT[8][0] with val -inf"));
    EXPECT_EQ(table_now(), with({}, 8, 10, 43800.0F));
}

// NaN is neither above nor below: it stays, unreported, and the sum it spoils converts to 0 as on Arm.
TEST(StressTable, NotANumberSpoilsTheSumQuietly) {
    test::effects effects;
    stress_table__init(5);
    EXPECT_EQ(hours_of(with(with({}, 8, 10, 1000.0F), 0, 0, NOT_A_NUMBER)), 5U);
    EXPECT_THAT(effects.take(), IsEmpty());
    EXPECT_TRUE(std::isnan(table_now()[0]));
}

}  // namespace
