// The person and the weather around the simulated phone: what they do on average, and when they react.

#include "lab/simulation/person.h"

#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

#include "lab/io/error.h"
#include "lab/simulation/weather.h"

namespace lab {

namespace {

constexpr std::int64_t DAYS = 400;

scenario with(const std::string& sections) {
    return parse_scenario("start = 2026-01-01T00:00:00\n" + sections + "\n[[phase]]\nfor = \"400 d\"\n",
                          "x.toml");
}

// What a person does in 400 days at a level that does not change.
struct life {
    double nights = 0, sessions = 0, screen_h = 0, pocket_h = 0, day_charge_h = 0;
    double longest_screen_h = 0;
};

life live(const scenario& of, double shown_pct) {
    const person who(of);
    life lived;
    doings now;
    double screen_today_h = 0;
    for (std::int64_t at_s = 0; at_s < DAYS * 86400;) {
        const bool was_in_session = now.session != phone::charger_kind::none;
        now = who.decide(at_s, now, shown_pct);
        const std::int64_t next_s = who.next_s(at_s, now);
        const double hours = static_cast<double>(next_s - at_s) / 3600;
        if (now.session != phone::charger_kind::none && !was_in_session) lived.sessions += 1;
        const bool is_on_charger = now.charger != phone::charger_kind::none;
        if (at_s % 86400 == 2 * 3600 && is_on_charger) lived.nights += 1;
        if (is_on_charger && at_s % 86400 >= 9 * 3600 && at_s % 86400 < 17 * 3600)
            lived.day_charge_h += hours;
        if (at_s % 86400 == 0) screen_today_h = 0;
        if (now.is_looking) lived.screen_h += hours, screen_today_h += hours;
        lived.longest_screen_h = std::max(lived.longest_screen_h, screen_today_h);
        if (now.where == whereabouts::pocket) lived.pocket_h += hours;
        at_s = next_s;
    }
    return lived;
}

}  // namespace

TEST(Person, LivesByTheFiguresOfTheHabit) {
    const life average = live(with("[user]"), 70);
    EXPECT_NEAR(average.nights / DAYS, 0.57, 0.08);
    EXPECT_NEAR(average.sessions / DAYS, 0.7, 0.1);
    EXPECT_NEAR(average.screen_h / DAYS, 3.25, 0.2);
    EXPECT_GT(average.longest_screen_h, 6) << "days differ";
    EXPECT_NEAR(average.pocket_h / DAYS, 7, 1.5);
    const life low = live(with("[user]"), 10);
    EXPECT_GT(low.sessions / DAYS, 2 * average.sessions / DAYS) << "a low phone is plugged in";
    const life night = live(with("[user]\nhabit = \"night charger\"\nnight_pct = 100"), 70);
    EXPECT_EQ(night.nights, DAYS);
    const life desk = live(with("[user]\nhabit = \"desk\""), 70);
    EXPECT_NEAR(desk.day_charge_h / DAYS, 8 * 0.9 * 5 / 7, 0.6);
    const life drawer = live(with("[user]\nhabit = \"drawer\""), 5);
    EXPECT_EQ(drawer.sessions + drawer.nights + drawer.screen_h, 0);
}

TEST(Weather, TurnsWithTheYearAndTheDay) {
    const scenario of = with("[weather]\nnoise_c = 2\npocket_c = 31");
    const weather air(of);
    conditions where;
    where.where = whereabouts::outdoors;
    double sum = 0, july = 0, january = 0, noon = 0, night = 0;
    for (std::int64_t hour = 0; hour < 365 * 24; ++hour) {
        const double c = air.ambient_c(hour * 3600, where);
        sum += c / (365 * 24);
        if (hour / 24 >= 181 && hour / 24 < 212) july += c / (31 * 24);
        if (hour / 24 < 31) january += c / (31 * 24);
        if (hour % 24 == 15) noon += c / 365;
        if (hour % 24 == 3) night += c / 365;
    }
    EXPECT_NEAR(sum, 10, 0.5);
    EXPECT_NEAR(july - january, 17.5, 2.5);
    EXPECT_NEAR(noon - night, 8, 0.5);
    where.where = whereabouts::indoors;
    EXPECT_EQ(air.ambient_c(0, where), of.weather.indoor_least_c);
    where.where = whereabouts::pocket;
    EXPECT_EQ(air.ambient_c(0, where), 31);
    where.where = whereabouts::hand;
    EXPECT_EQ(air.ambient_c(0, where), (of.weather.indoor_least_c + 31) / 2);
}

TEST(Weather, ReadsTheHoursOfAYear) {
    const std::string path = testing::TempDir() + "hours.csv";
    std::ofstream(path) << "hour,ambient_c\n0,-4\n1,8\n2,20\n";
    const scenario of = with("[weather]\nfile = \"" + path + "\"");
    const weather air(of);
    conditions outdoors;
    outdoors.where = whereabouts::outdoors;
    EXPECT_EQ(air.ambient_c(0, outdoors), -4);
    EXPECT_EQ(air.ambient_c(3600 + 1800, outdoors), 14);
    EXPECT_EQ(air.ambient_c(4 * 3600, outdoors), 8) << "and again from its first hour on";
    std::ofstream(path) << "ambient_c\n5\nwarm\n";
    try {
        with("[weather]\nfile = \"" + path + "\"");
        FAIL();
    } catch (const input_error& wrong) {
        EXPECT_EQ(std::string(wrong.what()), path + ":3:1: not a temperature of the air in °C");
    }
}

}  // namespace lab
