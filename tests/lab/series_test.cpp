#include "lab/recordings/series.h"

#include <cstdio>
#include <gmock/gmock.h>
#include <unistd.h>

#include "lab/io/error.h"
#include "lab/io/input_file.h"

namespace {

using testing::ElementsAre;

constexpr char HEADER[] =
    "boot,elapsed_s,toc_mv,perm_step,temp_step,charge_timer_flag,thermal_flag,precharge_flag,dyn_soc_state,"
    "dcr,"
    "qmax,ocv,ocv_avg,soc_v,soc_c,soc_raw,soc_scal,soc_act,soc_smooth,soc_ui,landing_state,smoothing_active,"
    "i_avg_ma,i_targ_ma,soc_off";

lab::cycle some_cycle() {
    lab::cycle made;
    made.boot = -1;
    made.elapsed_s = INT64_MAX;
    made.real_time_s = 1767225600;
    for (std::size_t i = 0; i < lab::COLUMN_COUNT; ++i) made.daemon[i] = INT32_MIN + static_cast<int>(i);
    made.seen = {4000000, -300000, std::nullopt, 50, 2};
    made.stress_h = 0.125;
    made.truth = {0.1, -1e300, 12345678.0};
    return made;
}

std::string written(bool with_samples, const std::vector<std::string>& truth_names,
                    const std::vector<lab::cycle>& rows) {
    const std::string path = testing::TempDir() + "series_test." + std::to_string(::getpid());
    lab::output_file file(path);
    lab::series_writer writer(file, with_samples, truth_names);
    for (const lab::cycle& row : rows) writer.on_cycle(row);
    file.commit();
    const std::string text = lab::read_file(path);
    std::remove(path.c_str());
    return text;
}

TEST(Series, HasExactlyTheColumnsOfTheFormat) {
    lab::cycle row;
    row.elapsed_s = 10;
    row.daemon[0] = 4450;
    row.daemon[22] = -7;
    std::string expected = std::string(HEADER) + ",stress_h\n1,10,4450";
    for (int i = 1; i < 22; ++i) expected += ",0";
    row.stress_h = 12.3456;
    EXPECT_EQ(written(false, {}, {row}), expected + ",-7,12.346\n");
}

TEST(Series, WritesThePhonesNumbersAsDecimalsAndEachRowAfresh) {
    std::vector<lab::cycle> rows(3);
    rows[0].truth = {100000, -0.05, 4174.484, 99.9996};
    rows[1].elapsed_s = rows[2].elapsed_s = 10;
    rows[1].truth = {100000, 0.5, 4174.48, -3};
    rows[2].daemon[22] = -1;
    rows[2].truth = {-0.001, 0.5, 1e300, 0};
    std::string zeros;
    for (int i = 0; i < 22; ++i) zeros += ",0";
    const std::string text = written(false, {"a", "b", "c", "d"}, rows);
    EXPECT_EQ(text.substr(text.find('\n')), "\n1,0" + zeros + ",0,0,100000,-0.05,4174.484,100" + "\n1,10" +
                                                zeros + ",0,0,100000,0.5,4174.48,-3" + "\n1,10" + zeros +
                                                ",-1,0,-0.001,0.5,1e+300,0\n");
}

TEST(Series, ComesBackFromTheFileWithSamplesAndTruth) {
    const lab::cycle row = some_cycle();
    const std::string text = written(true, {"soc_true", "ocv_true", "r_true"}, {row});
    EXPECT_EQ(
        text.substr(0, text.find('\n')),
        std::string(HEADER) +
            ",stress_h,realtime_s,voltage_now,current_now,temp,capacity,status,soc_true,ocv_true,r_true");
    lab::series_reader reader(lab::input_file::from_text(text, "s.csv"));
    EXPECT_TRUE(reader.has_samples());
    EXPECT_THAT(reader.truth_names(), ElementsAre("soc_true", "ocv_true", "r_true"));
    lab::cycle back;
    ASSERT_TRUE(reader.next(back));
    EXPECT_EQ(back.boot, row.boot);
    EXPECT_EQ(back.elapsed_s, row.elapsed_s);
    EXPECT_EQ(back.real_time_s, row.real_time_s);
    EXPECT_EQ(back.daemon, row.daemon);
    EXPECT_EQ(back.seen.voltage_uv, 4000000);
    EXPECT_EQ(back.seen.temperature_decic, std::nullopt);
    EXPECT_EQ(back.seen.status, 2);
    EXPECT_EQ(back.stress_h, 0.125);
    EXPECT_EQ(back.truth, row.truth);
    EXPECT_FALSE(reader.next(back));
}

TEST(Series, IsReadByColumnName) {
    std::string header = HEADER;
    std::string row = "1,10";
    for (int i = 0; i < 23; ++i) row += "," + std::to_string(i);
    lab::series_reader reader(lab::input_file::from_text("soc," + header + "\n0.5," + row + "\n", "s.csv"));
    lab::cycle back;
    ASSERT_TRUE(reader.next(back));
    EXPECT_FALSE(reader.has_samples());
    EXPECT_EQ(back[lab::column::soc_off], 22);
    EXPECT_THAT(back.truth, ElementsAre(0.5));

    const auto error_of = [](const std::string& text) -> std::string {
        try {
            lab::series_reader bad(lab::input_file::from_text(text, "s.csv"));
            lab::cycle ignored;
            while (bad.next(ignored)) {
            }
        } catch (const lab::input_error& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(error_of(""), "s.csv:1:1: no header row");
    EXPECT_EQ(error_of("boot,elapsed_s\n"), "s.csv:1:1: no column toc_mv in the header row");
    EXPECT_EQ(error_of(header + "\n1,10\n"), "s.csv:2:5: the row has 2 fields, the header 25");
    std::string bad_row = row;
    bad_row.replace(2, 2, "x");
    EXPECT_EQ(error_of(header + "\n" + row + "\n" + bad_row),
              "s.csv:3:3: elapsed_s is not a whole number: x");
}

}  // namespace
