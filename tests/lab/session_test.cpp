#include "lab/session/session.h"

#include <csignal>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <unistd.h>

#include "platform/properties.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using virtual_device::device;

constexpr char PULLDOWN[] = "vendor.vorn.pulldown_toc";

// A phone that lies on the desk for some cycles a boot, and does one thing in one of them.
class desk_course : public lab::course {
  public:
    explicit desk_course(std::int64_t at_s = -1, std::function<void()> what = {})
        : act(std::move(what)), act_at_s(at_s) {}

    std::function<void()> act;
    std::int64_t act_at_s;  // -1: at the start of the boot
    std::int64_t boots = 1;
    int cycles_per_boot = 3;

    std::int64_t begin_boot(device& on) override {
        ++boot_;
        cycle_ = 0;
        on.elapsed_s = 0;
        on.real_time_s = 1767225600;
        if (act_at_s == -1 && act) act();
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
    void truth(const lab::charge_limits& /*of*/, std::vector<double>& values) const override {
        values.assign(1, 0.5 * cycle_);
    }
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
    // 1000 times the boot and the elapsed seconds of each cycle.
    std::vector<std::int64_t> times() const {
        std::vector<std::int64_t> all;
        for (const auto& each : cycles) all.push_back(each.boot * 1000 + each.elapsed_s);
        return all;
    }
};

// What the session of that course throws; "" when it does not.
std::string error_of(desk_course& course, recorder& heard) {
    lab::device_image image;
    try {
        lab::run_session(course, image, {&heard});
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

// State files, however large, and persistent properties go from boot to boot, the daemon's own variables do not.
TEST(Session, CarriesTheDeviceAndNothingElseToTheNextBoot) {
    desk_course course(0, [] {  // keeps what this boot finds
        char value[PROPERTY_VALUE_MAX];
        property_get("sys.powerctl", value, "unset");
        property_set("persist.seen", value);
    });
    course.boots = 2;
    lab::device_image image;
    std::string large(3000000, ' ');  // some batches of messages
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>('a' + i % 26);
    image.files = {{"/data/vendor/vorn/charge_failures", std::string("\5\0\0\0", 4)},
                   {"/data/vendor/vorn/large", large}};
    image.properties = {{PULLDOWN, "1"}, {"sys.powerctl", "reboot"}, {"persist.mine", "kept"}};
    recorder heard;
    lab::run_session(course, image, {&heard});

    EXPECT_THAT(heard.times(), ElementsAre(1000, 1010, 1020, 2000, 2010, 2020));
    std::vector<std::string> seen;
    int starts = 0;
    for (const lab::event& each : heard.events) {
        if (each.name == "persist.seen") seen.push_back(each.text);
        if (each.text.find("attempting to migrate") != std::string::npos) ++starts;
    }
    EXPECT_THAT(seen, ElementsAre("reboot", "unset"));
    EXPECT_EQ(starts, 2);
    EXPECT_EQ(image.files["/mnt/vendor/nvcfg/vorn/charge_failures"], std::string("\5\0\0\0", 4));
    EXPECT_TRUE(image.files["/data/vendor/vorn/large"] == large);
    EXPECT_EQ(image.properties["persist.mine"], "kept");
    EXPECT_EQ(image.properties[PULLDOWN], "4450");  // set again by the last boot
    EXPECT_FALSE(image.properties.contains("sys.powerctl"));

    const lab::cycle& last = heard.cycles.back();
    EXPECT_EQ(last.real_time_s, 1767225600);
    EXPECT_EQ(last[lab::column::toc_mv], 4450);
    EXPECT_EQ(last.seen.capacity_pct, 50);
    EXPECT_EQ(last.seen.voltage_uv, std::nullopt);
    EXPECT_THAT(last.truth, ElementsAre(1.5));
}

// A signal and a call of exit() end the child in different ways; both tell where, after all that came before.
TEST(Session, TellsWhereTheDaemonCrashed) {
    const std::pair<void (*)(), std::string> ends[] = {
        {[] { ::raise(SIGABRT); }, "killed by SIGABRT (Aborted)"},
        {[] { ::_exit(3); }, "it ended with exit status 3"},
        {[] { ::_exit(0); }, "it ended with exit status 0"}};
    for (const auto& [end, how] : ends) {
        desk_course course(20, [end = end] {
            property_set("last.words", "farewell");
            end();
        });
        recorder heard;
        // The course acts before the cycle at 20 s is reported as begun.
        EXPECT_EQ(error_of(course, heard), "the daemon crashed in boot 1 at elapsed 10 s (desk:102): " + how);
        EXPECT_THAT(heard.times(), ElementsAre(1000, 1010));
        EXPECT_EQ(heard.events.back().text, "farewell");
    }
    desk_course starting(-1, [] {
        virtual_device::the_device().outcome.decide = [](void*, virtual_device::operation, std::string_view,
                                                         std::size_t) {
            ::raise(SIGKILL);
            return virtual_device::PASS;
        };
    });
    recorder heard;
    EXPECT_THAT(error_of(starting, heard),
                AllOf(HasSubstr("in boot 1 during start-up"), HasSubstr("SIGKILL")));
}

// More than the pipe and the batch hold, so that the crash comes with messages in both.
TEST(Session, LosesNothingOfALongRunThatCrashes) {
    desk_course course(10 * 54321, [] { ::raise(SIGABRT); });
    course.cycles_per_boot = 100000;
    recorder heard;
    EXPECT_THAT(error_of(course, heard), HasSubstr("SIGABRT"));
    ASSERT_EQ(heard.cycles.size(), 54321U);
    for (std::size_t i = 0; i < heard.cycles.size(); ++i)
        ASSERT_EQ(heard.cycles[i].elapsed_s, static_cast<std::int64_t>(10 * i));
}

TEST(Session, PassesOnWhatTheCourseAndWhatAListenerThrows) {
    desk_course leaving(10, [] { throw std::runtime_error("desk:7:3: the desk is gone"); });
    recorder heard;
    EXPECT_EQ(error_of(leaving, heard), "desk:7:3: the desk is gone");
    desk_course course;
    course.cycles_per_boot = 1000000000;  // never ends by itself
    heard.on_any_cycle = [] { throw std::logic_error("enough"); };
    EXPECT_EQ(error_of(course, heard), "in boot 1 at elapsed 0 s: enough");
    desk_course faulty(10, [] { throw std::out_of_range("map::at"); });
    recorder nobody;
    EXPECT_EQ(error_of(faulty, nobody), "in boot 1 at elapsed 0 s (desk:101): map::at");
}

TEST(Session, DoesNotSendWhatNobodyWants) {
    class deaf : public recorder {
        bool wants_events() const override { return false; }
        bool wants_cycles() const override { return false; }
    } nobody;
    recorder everything;
    for (const auto& listeners : {std::vector<lab::listener*>{&nobody}, {&nobody, &everything}}) {
        desk_course course;
        lab::device_image image;
        lab::run_session(course, image, listeners);
        EXPECT_EQ(image.properties["persist.vendor.vorn.toc"], "4450");
        EXPECT_EQ(nobody.events.size() + nobody.cycles.size(), 0U);
    }
    EXPECT_THAT(everything.cycles, testing::SizeIs(3));
    EXPECT_THAT(everything.events, testing::Not(testing::IsEmpty()));
}

}  // namespace
