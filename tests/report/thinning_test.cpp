// What a page keeps of a long run: every peak, every rare line, and never more than it may hold.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

#include "lab/report/log_store.h"
#include "lab/report/thinned_list.h"
#include "lab/report/thinned_series.h"

namespace {

using lab::log_store;
using lab::thinned_list;
using lab::thinned_series;
using testing::ElementsAre;

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

lab::event line(std::string text) {
    lab::event what;
    what.text = std::move(text);
    return what;
}

// A device that logs something new each time: more texts than there are shapes for, more bytes than there is room.
TEST(LogStore, StaysBoundedWhateverIsLogged) {
    log_store log;
    std::mt19937 random(3);
    for (int i = 0; i < 300'000; ++i) {
        std::string noise(5 + random() % 2000, ' ');
        for (std::size_t at = 0; at < 5; ++at) noise[at] = static_cast<char>('g' + random() % 20);
        log.add(i, line(i % 3 == 0 ? noise : "temperature " + std::to_string(random())));
    }
    EXPECT_EQ(log.lines().seen(), 300'000U);
    EXPECT_LE(log.lines().entries().size(), log_store::MAX_LINES);
    EXPECT_LE(log.shapes().size(), log_store::MAX_SHAPES + 40);
    std::size_t bytes = 0;
    for (const auto& each : log.lines().entries()) bytes += each.what.numbers.size();
    for (const auto& each : log.shapes()) bytes += each.text.size();
    EXPECT_LE(bytes, log_store::MAX_NUMBER_BYTES + log_store::MAX_SHAPES * log_store::MAX_LINE_BYTES);
}

}  // namespace
