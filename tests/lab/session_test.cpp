#include "lab/session.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdexcept>
#include <unistd.h>

#include "lab/error.h"
#include "platform/os.h"
#include "platform/properties.h"
#include "tests/support/replay.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using virtual_device::device;

constexpr char TOC[] = "persist.vendor.vorn.toc";
constexpr char PULLDOWN[] = "vendor.vorn.pulldown_toc";

// A phone that lies on the desk for some cycles a boot, and does one thing in one of them.
class desk_course : public lab::course {
  public:
    std::function<void()> act = [] {};
    std::int64_t act_at_s = -1;
    std::int64_t boots = 1;
    int cycles_per_boot = 3;

    std::int64_t begin_boot(device& on) override {
        ++boot_;
        cycle_ = 0;
        on.elapsed_s = 0;
        on.real_time_s = 1767225600;
        return boot_;
    }
    bool next_cycle(device& on) override {
        if (cycle_ == cycles_per_boot) return false;
        on.elapsed_s = 10 * cycle_++;
        on.at("/sys/class/power_supply/battery/capacity").put("50\n");
        if (on.elapsed_s == act_at_s) act();
        return true;
    }
    bool has_more_boots() override { return boot_ < boots; }
    std::vector<std::string> truth_names() const override { return {"soc"}; }
    void truth(std::vector<double>& values) const override { values.assign(1, 0.5 * cycle_); }
    std::string save() const override { return std::to_string(boot_); }
    void load(const std::string& state) override { boot_ = std::stoll(state); }
    std::string source_name() const override { return "desk"; }
    std::int64_t source_line() const override { return 100 + cycle_; }

  private:
    std::int64_t boot_ = 0;
    int cycle_ = 0;
};

class recorder : public lab::listener {
  public:
    std::vector<lab::event> events;
    std::vector<lab::cycle> cycles;
    std::function<void()> on_any_cycle = [] {};

    void on_event(const lab::event& what) override { events.push_back(what); }
    void on_cycle(const lab::cycle& after) override {
        cycles.push_back(after);
        on_any_cycle();
    }
    std::vector<std::int64_t> boots_and_times() const {
        std::vector<std::int64_t> all;
        for (const auto& each : cycles) all.push_back(each.boot * 1000 + each.elapsed_s);
        return all;
    }
};

std::string message_of_crash(desk_course& course, recorder& heard) {
    lab::device_image image;
    try {
        lab::run_session(course, image, {&heard});
    } catch (const lab::daemon_crashed& crash) {
        return crash.what();
    }
    return "no crash";
}

// State files and persistent properties go from boot to boot, the daemon's own variables do not.
TEST(Session, CarriesTheDeviceAndNothingElseToTheNextBoot) {
    desk_course course;
    course.boots = 2;
    lab::device_image image;
    image.files["/data/vendor/vorn/charge_failures"] = std::string("\5\0\0\0", 4);
    image.properties = {{PULLDOWN, "1"}, {"sys.powerctl", "reboot"}, {"persist.mine", "kept"}};
    recorder heard;
    // What the first boot finds and what the second does.
    std::vector<std::string> powerctl;
    course.act_at_s = 0;
    course.act = [] {
        char value[PROPERTY_VALUE_MAX];
        property_get("sys.powerctl", value, "unset");
        property_set("persist.seen", value);
    };
    lab::run_session(course, image, {&heard});

    EXPECT_THAT(heard.boots_and_times(), ElementsAre(1000, 1010, 1020, 2000, 2010, 2020));
    std::vector<std::string> seen;
    int starts = 0;
    for (const lab::event& each : heard.events) {
        if (each.name == "persist.seen") seen.push_back(each.text);
        if (each.text.find("attempting to migrate") != std::string::npos) ++starts;
    }
    EXPECT_THAT(seen, ElementsAre("reboot", "unset"));
    EXPECT_EQ(starts, 2);
    EXPECT_EQ(image.files["/mnt/vendor/nvcfg/vorn/charge_failures"], std::string("\5\0\0\0", 4));
    EXPECT_EQ(image.properties["persist.mine"], "kept");
    EXPECT_EQ(image.properties[PULLDOWN], "4450");  // set again by the last boot
    EXPECT_FALSE(image.properties.contains("sys.powerctl"));
}

TEST(Session, ReportsTimeSampleAndTruthWithEachCycle) {
    desk_course course;
    lab::device_image image;
    recorder heard;
    lab::run_session(course, image, {&heard});
    ASSERT_EQ(heard.cycles.size(), 3U);
    const lab::cycle& last = heard.cycles.back();
    EXPECT_EQ(last.real_time_s, 1767225600);
    EXPECT_EQ(last[lab::column::toc_mv], 4450);
    EXPECT_EQ(last.seen.capacity_pct, 50);
    EXPECT_EQ(last.seen.voltage_uv, std::nullopt);
    EXPECT_THAT(last.truth, ElementsAre(1.5));
}

// A signal and a call of exit() end the child in different ways; both tell where.
TEST(Session, TellsWhereTheDaemonCrashedAfterAllThatCameBefore) {
    for (const auto& [act, how] : std::initializer_list<std::pair<std::function<void()>, std::string>>{
             {[] { ::raise(SIGABRT); }, "killed by SIGABRT (Aborted)"},
             {[] { ::_exit(3); }, "it ended with exit status 3"},
             {[] { ::_exit(0); }, "it ended with exit status 0"}}) {
        desk_course course;
        course.act_at_s = 20;
        course.act = [do_it = act] {
            property_set("last.words", "farewell");
            do_it();
        };
        recorder heard;
        // The course acts before the cycle at 20 s is reported as begun.
        EXPECT_EQ(message_of_crash(course, heard),
                  "the daemon crashed in boot 1 at elapsed 10 s (desk:102): " + how);
        EXPECT_THAT(heard.boots_and_times(), ElementsAre(1000, 1010));
        ASSERT_FALSE(heard.events.empty());
        EXPECT_EQ(heard.events.back().text, "farewell");
    }
}

// More than the pipe and the batch hold, so that the crash comes with messages in both.
TEST(Session, LosesNothingOfALongRunThatCrashes) {
    desk_course course;
    course.cycles_per_boot = 100000;
    course.act_at_s = 10 * 54321;
    course.act = [] { ::raise(SIGABRT); };
    recorder heard;
    EXPECT_THAT(message_of_crash(course, heard), HasSubstr("SIGABRT"));
    ASSERT_EQ(heard.cycles.size(), 54321U);
    for (std::size_t i = 0; i < heard.cycles.size(); ++i)
        ASSERT_EQ(heard.cycles[i].elapsed_s, static_cast<std::int64_t>(10 * i));
}

TEST(Session, TellsOfACrashDuringStartUp) {
    desk_course course;
    lab::device_image image;
    class crashing : public desk_course {
        std::int64_t begin_boot(device& on) override {
            const std::int64_t boot = desk_course::begin_boot(on);
            on.outcome.decide = [](void*, virtual_device::operation, std::string_view, std::size_t) {
                ::raise(SIGKILL);
                return virtual_device::PASS;
            };
            return boot;
        }
    } course_that_crashes;
    recorder heard;
    EXPECT_THAT(message_of_crash(course_that_crashes, heard),
                AllOf(HasSubstr("in boot 1 during start-up"), HasSubstr("SIGKILL")));
}

TEST(Session, PassesOnWhatTheCourseAndWhatAListenerThrows) {
    lab::device_image image;
    {
        desk_course course;
        course.act_at_s = 10;
        course.act = [] { throw std::runtime_error("desk:7:3: the desk is gone"); };
        recorder heard;
        try {
            lab::run_session(course, image, {&heard});
            FAIL() << "nothing was thrown";
        } catch (const lab::input_error& error) {
            EXPECT_STREQ(error.what(), "desk:7:3: the desk is gone");
        }
    }
    desk_course course;
    course.cycles_per_boot = 1000000000;  // never ends by itself
    recorder heard;
    heard.on_any_cycle = [] { throw std::logic_error("enough"); };
    EXPECT_THROW(lab::run_session(course, image, {&heard}), std::logic_error);
}

TEST(Session, DoesNotSendWhatNobodyWants) {
    class deaf : public lab::listener {
      public:
        int heard = 0;
        void on_event(const lab::event&) override { ++heard; }
        void on_cycle(const lab::cycle&) override { ++heard; }
        bool wants_events() const override { return false; }
        bool wants_cycles() const override { return false; }
    } nobody;
    desk_course course;
    lab::device_image image;
    lab::run_session(course, image, {&nobody});
    EXPECT_EQ(nobody.heard, 0);
    EXPECT_EQ(image.properties[TOC], "4450");
    recorder everything;
    lab::run_session(course, image, {&nobody, &everything});
    EXPECT_EQ(nobody.heard, 0);
    EXPECT_THAT(everything.cycles, testing::SizeIs(3));
    EXPECT_THAT(everything.events, testing::Not(IsEmpty()));
}

// A message larger than a batch goes its own way.
TEST(Session, HandsOnLargeFiles) {
    desk_course course;
    course.boots = 2;
    lab::device_image image;
    const std::string large(300000, 'x');
    image.files["/data/vendor/vorn/large"] = large;
    recorder heard;
    lab::run_session(course, image, {&heard});
    EXPECT_EQ(image.files["/data/vendor/vorn/large"], large);
}

}  // namespace
