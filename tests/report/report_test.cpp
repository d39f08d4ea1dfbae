// What the report's page is made from: its time axis, the wording of its log, and what it keeps of a long run.

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <gmock/gmock.h>
#include <limits>
#include <numeric>
#include <random>
#include <set>

#include "lab/report/close_ups.h"
#include "lab/report/far_apart.h"
#include "lab/report/gap_list.h"
#include "lab/report/log_store.h"
#include "lab/report/sample_rows.h"
#include "lab/report/thinned_list.h"
#include "lab/report/thinned_series.h"
#include "lab/report/zone.h"
#include "lab/story/effect_text.h"
#include "lab/tally/charge_sessions.h"
#include "lab/tally/run_clock.h"

namespace {

using lab::event;
using lab::event_kind;
using lab::feature;
using lab::log_store;
using lab::run_clock;
using lab::thinned_list;
using lab::thinned_series;
using testing::ElementsAre;

constexpr std::int64_t START = 1767225600;

TEST(RunClock, RunsThroughBootsAndTheTimeBetween) {
    run_clock clock;
    EXPECT_EQ(clock.at(1, 0, START), 0);
    EXPECT_EQ(clock.at(1, 3600, START + 3600), 3600);
    EXPECT_EQ(clock.at(1, 3600, START + 3600), 3600);
    // Off for a day; the boot clock begins again, and its first moment seen is 40 s after the start.
    EXPECT_EQ(clock.at(2, 40, START + 90000), 90000);
    EXPECT_EQ(clock.at(2, 100, START + 90060), 90060);
    // A boot clock that goes back stands still on the axis, and goes on from there.
    EXPECT_EQ(clock.at(2, 50, START + 90061), 90060);
    EXPECT_EQ(clock.at(2, 60, START + 90070), 90070);
    EXPECT_EQ(clock.start_real_time_s(), START);
    EXPECT_EQ(clock.stretches().size(), 1U);
}

// The clock was lost at the first boot and set after an hour: the axis shows the time that was right for longer.
TEST(RunClock, TrustsTheWallClockThatLasted) {
    run_clock clock;
    clock.at(1, 0, 100);
    clock.at(1, 3600, 3700);
    EXPECT_EQ(clock.at(1, 3610, START), 3610);
    EXPECT_EQ(clock.at(1, 20000, START + 16390), 20000);
    EXPECT_EQ(clock.start_real_time_s(), START - 3610);
    ASSERT_EQ(clock.stretches().size(), 2U);
    EXPECT_EQ(clock.stretches()[0].offset_s, 100);
    EXPECT_EQ(clock.stretches()[1].t, 3610);
    // Lost again at the next boot: no time passes on the axis that nobody measured.
    EXPECT_EQ(clock.at(2, 0, 5), 20000);
    EXPECT_EQ(clock.at(2, 10, 15), 20010);
}

TEST(RunClock, NeverFallsOnGarbage) {
    constexpr auto LOW = std::numeric_limits<std::int64_t>::min(),
                   HIGH = std::numeric_limits<std::int64_t>::max();
    run_clock clock;
    std::int64_t last = 0, boot = 0;
    for (int i = 0; i < 2000; ++i) {
        for (const std::int64_t reading :
             {LOW, HIGH, std::int64_t{0}, START + 1000000 * i, std::int64_t{-1}}) {
            const std::int64_t now = clock.at(boot += i % 3 == 0 ? 1 : 0, reading, reading / 2 + START);
            ASSERT_GE(now, last);
            last = now;
        }
    }
    EXPECT_LE(clock.stretches().size(), run_clock::MAX_JUMPS + 1);
}

TEST(Zone, ListsEachChangeToTheSecond) {
    setenv("TZ", "America/New_York", 1);
    tzset();
    const auto offsets = lab::zone_offsets(START, START + 366 * 86400);
    ASSERT_EQ(offsets.size(), 3U);
    EXPECT_EQ(offsets[0].offset_s, -5 * 3600);
    EXPECT_EQ(offsets[0].name, "EST");
    EXPECT_EQ(offsets[1].from_s, 1772953200) << "2026-03-08 02:00 EST";
    EXPECT_EQ(offsets[1].name, "EDT");
    EXPECT_EQ(offsets[2].from_s, 1793512800) << "2026-11-01 02:00 EDT";
    EXPECT_EQ(offsets[2].offset_s, -5 * 3600);

    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(lab::zone_offsets(START, START + 86400 * 3660).size(), 1U);
    EXPECT_EQ(lab::zone_offsets(START, START).size(), 1U);
}

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
        EXPECT_EQ(lab::effect_text(each.what), each.line);
        EXPECT_EQ(static_cast<int>(lab::feature_of(each.what)), static_cast<int>(each.whose)) << each.line;
    }
}

// Two lines that differ in their numbers alone share a shape. That each comes back letter for letter is for
// page_data_test.mjs.
TEST(LogStore, TakesNumbersOut) {
    const std::pair<const char*, const char*> alike[] = {
        {"v=4350, curr=-12 ---", "v=4000, curr=7 ---"},
        {"VT[3][4] with val 1.50", "VT[8][10] with val -0.25"},
        {"charge_failures, 4 bytes: 020000fe", "charge_failures, 4 bytes: fe000002"},
        {"1 2 3", "30 20 10"},
    };
    std::string numbers;
    for (const auto& [first, second] : alike)
        EXPECT_EQ(lab::without_numbers(first, numbers), lab::without_numbers(second, numbers)) << first;
    for (const char* name : {"gm30_ui_soc", "thermal_zone6/temp", "a feed", ""})
        EXPECT_EQ(lab::without_numbers(name, numbers), name) << "the digits of a name are no number";
}

// Against a plain list of all cycles: each bucket holds exactly the extremes and states of its own cycles, and
// together they hold every cycle once, in order.
TEST(ThinnedSeries, KeepsExtremesAndStatesOfEveryCycle) {
    std::mt19937 random(7);
    for (const int cycles : {1, 2, 15, 16, 17, 32, 33, 1000, 4096, 5001}) {
        thinned_series series(2, 3, 16);
        std::vector<std::array<std::int32_t, 2>> values;
        std::vector<std::uint32_t> states;
        for (int i = 0; i < cycles; ++i) {
            const bool is_missing = random() % 5 == 0;
            values.push_back(
                {static_cast<std::int32_t>(random()),
                 is_missing ? thinned_series::NO_VALUE : static_cast<std::int32_t>(random() % 100)});
            states.push_back(static_cast<std::uint32_t>(random() % 8));
            series.add(10 * i, values.back(), states.back());
        }
        ASSERT_LE(series.size(), 16U);
        ASSERT_EQ(series.cycles(), static_cast<std::uint64_t>(cycles));
        std::size_t at = 0;
        for (std::size_t b = 0; b < series.size(); ++b) {
            const auto& bucket = series.bucket(b);
            ASSERT_EQ(bucket.first_t, static_cast<std::int64_t>(10 * at));
            std::array<std::uint32_t, 3> in_state{};
            std::array<std::vector<std::int32_t>, 2> present;
            for (const std::size_t end = at + bucket.cycles; at < end; ++at) {
                for (std::size_t c = 0; c < 2; ++c) {
                    if (values[at][c] != thinned_series::NO_VALUE) present[c].push_back(values[at][c]);
                }
                for (std::size_t s = 0; s < 3; ++s) in_state[s] += states[at] >> s & 1U;
            }
            ASSERT_EQ(bucket.last_t, static_cast<std::int64_t>(10 * (at - 1)));
            for (std::size_t s = 0; s < 3; ++s) ASSERT_EQ(series.cycles_in_state(s, b), in_state[s]);
            for (std::size_t c = 0; c < 2; ++c) {
                const auto none = thinned_series::NO_VALUE;
                const auto [least, greatest] = std::minmax_element(present[c].begin(), present[c].end());
                ASSERT_EQ(series.value(c, b).least, present[c].empty() ? none : *least);
                ASSERT_EQ(series.value(c, b).greatest, present[c].empty() ? none : *greatest);
                const auto sum = std::accumulate(present[c].begin(), present[c].end(), std::int64_t{0});
                ASSERT_EQ(series.value(c, b).sum, sum);
                ASSERT_EQ(series.value(c, b).count, present[c].size());
            }
        }
        ASSERT_EQ(at, static_cast<std::size_t>(cycles));
    }
}

TEST(ThinnedList, KeepsRareOnesWholeAndFrequentOnesEvenly) {
    thinned_list<int> list(100, 1'000'000);
    for (int i = 0; i < 100'000; ++i) {
        list.add(0, i, 1);
        if (i % 10 == 0) list.add(1, i, 1);
        if (i % 20'000 == 777) list.add(2, i, 1);
    }
    ASSERT_LE(list.entries().size(), 100U);
    EXPECT_EQ(list.seen(), 100'000U + 10'000U + 5U);
    EXPECT_EQ(list.groups()[2].kept, 5U);
    EXPECT_GE(list.groups()[0].kept + list.groups()[1].kept, 40U);

    std::array<std::vector<int>, 3> kept;
    int last = 0;
    for (const auto& each : list.entries()) {
        EXPECT_GE(each.what, last) << "out of order";
        last = each.what;
        kept[each.group].push_back(each.what);
    }
    EXPECT_THAT(kept[2], ElementsAre(777, 20'777, 40'777, 60'777, 80'777));
    for (std::size_t g = 0; g < 3; ++g) EXPECT_EQ(kept[g].size(), list.groups()[g].kept);
    for (std::size_t i = 1; i < kept[0].size(); ++i)
        EXPECT_EQ(kept[0][i] - kept[0][i - 1], kept[0][1] - kept[0][0]);
}

// As many groups as entries: none can be thinned further, and that must come to an end.
TEST(ThinnedList, KeepsTheFirstOfEachGroupWhateverTheRoom) {
    thinned_list<int> list(10, 100);
    for (int i = 0; i < 1000; ++i) list.add(static_cast<std::size_t>(i % 50), i, 10);
    EXPECT_EQ(list.entries().size(), 50U);
    EXPECT_EQ(list.entries().front().what, 0);
}

// A device that logs something new each time: more texts than there are shapes for, more bytes than there is room.
TEST(LogStore, StaysBoundedWhateverIsLogged) {
    log_store log;
    std::mt19937 random(3);
    for (int i = 0; i < 300'000; ++i) {
        std::string noise(5 + random() % 2000, ' ');
        for (std::size_t at = 0; at < 5; ++at) noise[at] = static_cast<char>('g' + random() % 20);
        const std::string text = i % 3 == 0 ? noise : "temperature " + std::to_string(random());
        log.add(i, of(event_kind::log, "vorn", text));
    }
    EXPECT_EQ(log.lines().seen(), 300'000U);
    EXPECT_LE(log.lines().entries().size(), log_store::MAX_LINES);
    EXPECT_LE(log.shapes().size(), log_store::MAX_SHAPES + 40);
    std::size_t bytes = 0;
    for (const auto& each : log.lines().entries()) bytes += each.what.numbers.size();
    for (const auto& each : log.shapes()) bytes += each.text.size();
    EXPECT_LE(bytes, log_store::MAX_NUMBER_BYTES + log_store::MAX_SHAPES * log_store::MAX_LINE_BYTES);
}

// A cycle every 10 s, an hour's silence, a reboot, and more gaps than are kept.
TEST(GapList, TellsSilenceFromTheUsualDistance) {
    lab::gap_list gaps;
    std::int64_t t = 0;
    for (int i = 0; i < 100; ++i) gaps.add(t += 10, 1);
    gaps.add(t += 61, 1);
    gaps.add(t += 60, 1);
    gaps.add(t += 20, 2);
    ASSERT_EQ(gaps.gaps().size(), 2U);
    EXPECT_EQ(gaps.gaps()[0].from_t, 1000);
    EXPECT_EQ(gaps.gaps()[0].to_t, 1061);
    EXPECT_FALSE(gaps.gaps()[0].is_off);
    EXPECT_TRUE(gaps.gaps()[1].is_off);
    EXPECT_EQ(gaps.usual_s(), 10);

    lab::gap_list sparse;
    for (int i = 0; i < 100; ++i) sparse.add(300 * i, 1);
    sparse.add(300 * 99 + 900, 1);
    EXPECT_TRUE(sparse.gaps().empty()) << "three times the usual distance";
    sparse.add(300 * 99 + 900 + 901, 1);
    EXPECT_EQ(sparse.gaps().size(), 1U);

    lab::gap_list many;
    t = 0;
    for (std::size_t i = 0; i < 3 * lab::gap_list::MAX_GAPS; ++i) {
        for (int k = 0; k < 3; ++k) many.add(t += 10, 1);
        many.add(t += i % 3 == 0 ? 1000 + static_cast<std::int64_t>(i) : 100, 1);
    }
    const auto kept = many.gaps();
    EXPECT_LE(kept.size(), 2 * lab::gap_list::MAX_GAPS);
    EXPECT_EQ(kept.size() + static_cast<std::size_t>(many.forgotten()), 3 * lab::gap_list::MAX_GAPS);
    EXPECT_EQ(
        std::count_if(kept.begin(), kept.end(), [](const auto& g) { return g.to_t - g.from_t >= 1000; }),
        static_cast<std::ptrdiff_t>(lab::gap_list::MAX_GAPS));
    EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end(),
                               [](const auto& a, const auto& b) { return a.from_t < b.from_t; }));
}

// What the page draws of random runs with gaps and close-ups, against the cycles themselves: every cycle lies in one
// row, none lies in a gap, close cycles stand alone, and no cycle's value or state is counted twice or lost.
TEST(SampleRows, HoldEveryCycleOnceAndNothingInGaps) {
    std::mt19937 random(11);
    for (int run = 0; run < 60; ++run) {
        thinned_series series(1, 1, 16);
        lab::gap_list gaps;
        lab::close_ups closer;
        std::vector<std::int64_t> moments;
        std::int64_t t = 0, sum = 0, in_state = 0;
        for (std::size_t i = 0, count = 100 + random() % 900; i < count; ++i) {
            t += random() % 40 == 0 ? 500 + random() % 90000 : 10;
            const std::int32_t value = static_cast<std::int32_t>(random() % 1000);
            const std::uint32_t states = random() % 2;
            series.add(t, std::array{value}, states);
            closer.add(t, std::array{value}, states);
            gaps.add(t, 1);
            if (random() % 150 == 0) closer.mark();
            moments.push_back(t);
            sum += value;
            in_state += states;
        }
        closer.finish();
        const auto rows = lab::sample_rows(series, gaps.gaps(), closer);
        std::int64_t last_t = -1;
        std::set<std::int64_t> alone;
        std::size_t at = 0;
        for (const auto& row : rows) {
            ASSERT_GT(row.first_t, last_t);
            ASSERT_LE(row.first_t, row.last_t);
            for (const auto& gap : gaps.gaps())
                ASSERT_FALSE(row.first_t < gap.to_t && row.last_t > gap.from_t) << "drawn in a gap";
            for (; at < moments.size() && moments[at] <= row.last_t; ++at)
                ASSERT_GE(moments[at], row.first_t);
            last_t = row.last_t;
            if (row.first_t == row.last_t) alone.insert(row.first_t);
        }
        ASSERT_EQ(at, moments.size());
        // Parts of one bucket share its figures, so each bucket is counted once.
        std::set<std::int64_t> close;
        if (series.cycles_per_bucket() > 1) {
            for (const auto& each : closer.all())
                for (const auto& cycle : each.what) close.insert(cycle.t);
        }
        for (const std::int64_t each : close) ASSERT_TRUE(alone.contains(each));
        std::int64_t found_sum = 0, found_in_state = 0, found_cycles = 0;
        std::set<std::size_t> counted;
        for (const auto& row : rows) {
            std::size_t bucket = 0;
            while (series.bucket(bucket).last_t < row.first_t) ++bucket;
            if (!close.contains(row.first_t) && !counted.insert(bucket).second) continue;
            found_sum += row.values[0].sum;
            found_in_state += row.in_state[0];
            found_cycles += row.cycles;
        }
        ASSERT_EQ(found_cycles, static_cast<std::int64_t>(moments.size()));
        ASSERT_EQ(found_sum, sum);
        ASSERT_EQ(found_in_state, in_state);
    }
}

TEST(FarApart, TellsTheLongestStretchOnOneSide) {
    lab::far_apart apart;
    const auto hold = [&apart](std::int64_t from_t, std::int64_t to_t, double first, double second) {
        for (std::int64_t t = from_t; t <= to_t; t += 10) apart.add(t, first, second);
    };
    hold(0, 590, 50, 70);  // too short
    EXPECT_FALSE(apart.longest());
    hold(600, 1300, 80, 60);
    hold(1310, 1320, 50, 50);
    hold(1330, 2000, 30, 72);
    hold(9000, 9300, 30, 90);  // after a silence: another time
    apart.add(9310, {}, 90.0);
    ASSERT_TRUE(apart.longest());
    EXPECT_EQ(apart.longest()->from_t, 600);
    EXPECT_EQ(apart.longest()->worst_pct, 20);
    hold(10000, 12000, 30, 72);
    EXPECT_EQ(apart.longest()->worst_pct, -42);
}

lab::cycle plugged(std::int64_t boot, std::int32_t status, std::int32_t ma, std::int32_t decic) {
    lab::cycle now;
    now.boot = boot;
    now.seen = {4'000'000, ma * 1000, decic, 50, status};
    return now;
}

// A charge to full, one that a reboot ends, one with an hour that nobody measured, and one that goes on.
TEST(ChargeSessions, CountsWhatWentInAndSaysWhyItEnded) {
    lab::charge_sessions sessions;
    std::int64_t t = 0;
    const auto live = [&](std::int64_t for_s, std::int64_t boot, std::int32_t status, std::int32_t ma,
                          std::int32_t decic) {
        for (const std::int64_t end = t + for_s; t < end; t += 10)
            sessions.add(t, plugged(boot, status, ma, decic));
    };
    live(600, 1, 2, -300, 250);
    live(3600, 1, 1, 1000, 310);
    live(600, 1, 4, 0, 300);
    live(600, 1, 2, -300, 250);  // unplugged while full
    live(1800, 1, 1, 500, 280);
    t += 400;
    live(100, 2, 2, 0, 250);
    live(600, 2, 3, 0, 250);
    t += 3600;
    live(600, 2, 1, 1000, 290);
    const auto all = sessions.all();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0].from_t, 600);
    EXPECT_EQ(all[0].to_t, 4800);
    EXPECT_EQ(all[0].charge_mas, 3600 * 1000);
    EXPECT_EQ(all[0].peak_decic, 310);
    EXPECT_EQ(all[0].ended, lab::charge_session::end::full);
    EXPECT_EQ(all[1].ended, lab::charge_session::end::off);
    EXPECT_EQ(all[1].charge_mas, 1790 * 500);
    EXPECT_EQ(all[2].ended, lab::charge_session::end::going_on);
    EXPECT_EQ(all[2].unmeasured_s, 3610);
    EXPECT_EQ(sessions.seen(), 2U);
}

}  // namespace
