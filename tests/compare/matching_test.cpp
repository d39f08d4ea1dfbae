// Which decisions of two runs are one, what counts as a difference, and what pairs show.

#include <cmath>
#include <gmock/gmock.h>
#include <limits>

#include "lab/compare/build_comparison.h"
#include "lab/compare/decision_match.h"
#include "lab/compare/difference_class.h"

namespace lab {
namespace {

using ::testing::ElementsAre;

run_decision taken(double t_s, const std::string& sentence, const std::string& limit = "") {
    run_decision made{t_s, {}};
    made.what.feature = "charge timer";
    made.what.sentence = sentence;
    if (!limit.empty()) made.what.numbers.push_back({"limit", limit});
    return made;
}

std::vector<std::string> told(const std::vector<run_decision>& before,
                              const std::vector<run_decision>& after) {
    constexpr const char* WORDS[] = {"old", "new", "later", "earlier", "other"};
    std::vector<std::string> all;
    for (const auto& each : match_decisions(before, after))
        all.push_back(std::string(WORDS[static_cast<std::size_t>(each.how)]) + " " +
                      std::to_string(static_cast<int>(each.t_s)) + " " +
                      std::to_string(static_cast<int>(each.by_s)) +
                      (each.values.empty() ? "" : " " + each.values));
    return all;
}

TEST(DecisionMatch, TellsNumbersTimesAndDurationsFromWords) {
    EXPECT_EQ(shape_of("began at 2026-04-13 08:00:00, ran for 20 h 0 min, longer than 1 d 2 h"),
              "began at # #, ran for #, longer than #");
    EXPECT_EQ(shape_of("from 4450 to -12.5 mV (boot 2)"), "from # to # mV (boot #)");
    EXPECT_EQ(shape_of("n591 toc_2 a-1 3 s. 5 min, 6 minutes"), "n591 toc_2 a-# #. #, # minutes");
    EXPECT_EQ(shape_of(""), "");
}

TEST(DecisionMatch, PairsInOrderWhereBothHaveEquallyMany) {
    EXPECT_THAT(told({taken(10, "Stopped after 1 h"), taken(500000, "Stopped after 1 h")},
                     {taken(10, "Stopped after 1 h"), taken(700000, "Stopped after 1 h")}),
                ElementsAre("later 500000 200000"));
    EXPECT_THAT(told({taken(10, "Stopped", "20 h")}, {taken(10, "Stopped", "22 h")}),
                ElementsAre("other 10 0 limit 20 h -> 22 h"));
    EXPECT_THAT(told({taken(10, "Stopped after 1 h")}, {taken(10, "Stopped after 2 h")}),
                ElementsAre("other 10 0"));
    EXPECT_THAT(told({taken(10, "Stopped")}, {taken(10, "Allowed")}), ElementsAre("new 10 0", "old 10 0"));
    EXPECT_THAT(told({}, {}), ElementsAre());
}

TEST(DecisionMatch, LeavesOutTheOneThatIsNotThere) {
    const std::vector<run_decision> before{taken(100, "A"), taken(200, "A"), taken(300, "A")};
    EXPECT_THAT(told(before, {taken(100, "A"), taken(310, "A")}), ElementsAre("old 200 0", "later 300 10"));
    EXPECT_THAT(told({taken(0, "A")}, {taken(-5, "A"), taken(90000, "A")}),
                ElementsAre("earlier 0 -5", "new 90000 0"));
    // Too far apart to be one.
    EXPECT_THAT(told({taken(0, "A")}, {taken(90000, "A"), taken(180000, "A")}),
                ElementsAre("old 0 0", "new 90000 0", "new 180000 0"));
    // So many that the quick way is taken: the one in the middle is gone.
    std::vector<run_decision> many, fewer;
    for (int i = 0; i < 2100; ++i) {
        many.push_back(taken(i * 100000.0, "A"));
        if (i != 1000) fewer.push_back(many.back());
    }
    EXPECT_THAT(told(many, fewer), ElementsAre("old 100000000 0"));
}

TEST(DifferenceClass, IsAbsoluteAndRelative) {
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 infinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(class_of(unit::hours, nan, nan), difference_class::none);
    EXPECT_EQ(class_of(unit::hours, infinite, infinite), difference_class::none);
    EXPECT_EQ(class_of(unit::hours, 5, nan), difference_class::big);
    EXPECT_EQ(class_of(unit::hours, 5, 5.01), difference_class::none);
    EXPECT_EQ(class_of(unit::hours, 5, 5.9), difference_class::small);
    EXPECT_EQ(class_of(unit::hours, 5, 7), difference_class::big);
    EXPECT_EQ(class_of(unit::hours, 12000, 12010), difference_class::small);  // a thousandth of it
    EXPECT_EQ(class_of(unit::mv, 4450, 4451), difference_class::small);
    EXPECT_EQ(class_of(unit::count, 3, 4), difference_class::small);
}

TEST(Paired, ShowsWhatTheMedianIsAndOnlyWhatPairsCanShow) {
    const paired_figure six = paired({6, 1, 5, 2, 4, 3});
    EXPECT_EQ(six.median, 3.5);
    EXPECT_TRUE(six.is_shown);  // 2 of 64 ways to be all on one side
    EXPECT_EQ(six.low, 1);
    EXPECT_EQ(six.high, 6);
    EXPECT_FALSE(paired({1, 2, 3, 4, 5}).is_shown);
    EXPECT_FALSE(paired({-1, 2, 3, 4, 5, 6}).is_shown);
    EXPECT_TRUE(paired({-1, 2, 3, 4, 5, 6, 7, 8, 9}).is_shown);  // one of nine may be left out at each end
    EXPECT_EQ(paired({std::numeric_limits<double>::quiet_NaN(), 2}).median, 2);
    EXPECT_EQ(paired({}).pairs, 0U);
}

}  // namespace
}  // namespace lab
