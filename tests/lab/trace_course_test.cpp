#include "lab/trace_course.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/os.h"
#include "platform/properties.h"

namespace {

using testing::ElementsAre;
using virtual_device::device;

constexpr char TEMP[] = "/sys/class/power_supply/battery/temp";
constexpr char MOCK[] = "/data/vendor/vorn/mock_n_day_threshold_sec";

// Driven by hand in this process, without a daemon.
class TraceCourse : public testing::Test {
  protected:
    std::unique_ptr<lab::trace_course> course_of(const std::string& csv) {
        return std::make_unique<lab::trace_course>(
            lab::trace_reader(lab::input_file::from_text(csv, "t.csv"), {}, [](const std::string&) {}));
    }
    // What the daemon would read; "missing" and "error" when it could not.
    std::string text_of(const std::string& path) {
        const int descriptor = os::open_to_read(path.c_str());
        if (descriptor < 0) return "missing";
        char text[64];
        const auto size = os::read(descriptor, text, sizeof text);
        os::close(descriptor);
        return size < 0 ? "error" : std::string(text, static_cast<std::size_t>(size));
    }
    device& on = virtual_device::the_device();
};

TEST_F(TraceCourse, KeepsTheWallClockWhereTheTraceDoesNotSay) {
    const auto course = course_of(
        "elapsed_s,boot,realtime_s\n"
        "60,1,\n"             // first of all: the default, not 60 s more
        "90,1,\n"             // 30 s later
        "100,1,2000000000\n"  // said
        "95,1,\n"             // back by 5 s
        "40,2,\n"             // new boot: the row's elapsed on top
        "50,2,\n"
        "7,3,5\n");
    std::vector<std::int64_t> clocks, elapsed, boots;
    do {
        boots.push_back(course->begin_boot(on));
        clocks.push_back(on.real_time_s);
        elapsed.push_back(on.elapsed_s);
        while (course->next_cycle(on)) {
            clocks.push_back(on.real_time_s);
            elapsed.push_back(on.elapsed_s);
        }
    } while (course->has_more_boots());
    EXPECT_THAT(boots, ElementsAre(1, 2, 3));
    EXPECT_THAT(elapsed, ElementsAre(0, 60, 90, 100, 95, 0, 40, 50, 0, 7));
    EXPECT_THAT(clocks, ElementsAre(1767225600, 1767225600, 1767225630, 2000000000, 1999999995,  //
                                    2000000035, 2000000035, 2000000045,                          //
                                    5, 5));
}

TEST_F(TraceCourse, SetsNodesAndMockFilesFromTheirCells) {
    const auto course = course_of(
        "elapsed_s,temp,mock_n_day_threshold_sec\n"
        "0,250,<missing>\n"
        "10,,60\n"
        "20,<empty>,\n"
        "30,<error>,<error>\n"
        "40,<missing>,<empty>\n");
    on.at(MOCK).put("before");
    course->begin_boot(on);
    EXPECT_EQ(text_of(TEMP), "250\n");
    EXPECT_EQ(text_of("/sys/class/power_supply/battery/status"), "missing");  // no column
    EXPECT_EQ(text_of(MOCK), "missing");
    // Whatever start-up made of the mock file stays for the first cycle.
    on.at(MOCK).put("made by the start-up");
    ASSERT_TRUE(course->next_cycle(on));
    EXPECT_EQ(text_of(MOCK), "made by the start-up");
    ASSERT_TRUE(course->next_cycle(on));
    EXPECT_EQ(text_of(TEMP), "missing");
    EXPECT_EQ(text_of(MOCK), "60\n");
    ASSERT_TRUE(course->next_cycle(on));
    EXPECT_EQ(text_of(TEMP), "");
    EXPECT_EQ(text_of(MOCK), "60\n");
    ASSERT_TRUE(course->next_cycle(on));
    EXPECT_EQ(text_of(TEMP), "error");
    EXPECT_EQ(text_of(MOCK), "error");
    ASSERT_TRUE(course->next_cycle(on));
    EXPECT_EQ(text_of(TEMP), "<missing>\n");  // a word for mock files only
    EXPECT_EQ(text_of(MOCK), "");
    EXPECT_FALSE(course->next_cycle(on));
}

TEST_F(TraceCourse, LetsCallsFailWhileTheirRowIsInEffect) {
    const auto course = course_of(
        "elapsed_s,temp,faults\n"
        "0,250,open:/data/vendor/vorn/a;property_set:persist.b\n"
        "10,250,read:/sys/class/power_supply/battery/temp\n"
        "20,250,write:/data/vendor/vorn/a\n"
        "30,250,\n");
    const auto write_to_a = [] {
        const int descriptor = os::open_to_write("/data/vendor/vorn/a");
        if (descriptor < 0) return -2;
        const auto result = static_cast<int>(os::write(descriptor, "xyz", 3));
        os::close(descriptor);
        return result;
    };
    std::vector<std::string> temps;
    std::vector<int> writes, sets;
    course->begin_boot(on);
    EXPECT_EQ(write_to_a(), -2);  // at start-up too
    while (course->next_cycle(on)) {
        temps.push_back(text_of(TEMP));
        writes.push_back(write_to_a());
        sets.push_back(property_set("persist.b", "1"));
    }
    EXPECT_THAT(temps, ElementsAre("250\n", "error", "250\n", "250\n"));
    EXPECT_THAT(writes, ElementsAre(-2, 3, -1, 3));
    EXPECT_THAT(sets, ElementsAre(-1, 0, 0, 0));
}

// Another process goes on where this one stopped: at the boot's first row, which has been read ahead.
TEST_F(TraceCourse, GoesOnFromASavedState) {
    const std::string csv =
        "elapsed_s,boot,status\n0,1,\"Not\ncharging\"\n10,1,Full\n0,2,Charging\n10,2,Full\n";
    const auto first = course_of(csv);
    first->begin_boot(on);
    while (first->next_cycle(on)) {
    }
    ASSERT_TRUE(first->has_more_boots());
    const std::string state = first->save();

    const auto second = course_of(csv);
    second->load(state);
    EXPECT_EQ(second->begin_boot(on), 2);
    EXPECT_EQ(second->source_line(), 5);
    EXPECT_EQ(on.real_time_s, lab::DEFAULT_WALL_CLOCK_S + 10);
    EXPECT_EQ(text_of("/sys/class/power_supply/battery/status"), "Charging\n");
    EXPECT_TRUE(second->next_cycle(on));
    EXPECT_TRUE(second->next_cycle(on));
    EXPECT_FALSE(second->next_cycle(on));
    EXPECT_FALSE(second->has_more_boots());
    second->load(second->save());
    EXPECT_FALSE(second->has_more_boots());
    EXPECT_FALSE(second->is_empty());
    EXPECT_TRUE(course_of("elapsed_s\n")->is_empty());
}

}  // namespace
