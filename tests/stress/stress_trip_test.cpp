#include "stress/stress_trip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/stress/stress_fixture.h"

namespace {

using test::around;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(StressTrip, LevelsAreStrictAndUnsigned) {
    EXPECT_EQ(stress_trip_step(0), 0);
    EXPECT_EQ(stress_trip_step(12000), 0);
    EXPECT_EQ(stress_trip_step(12001), 2);
    EXPECT_EQ(stress_trip_step(16450), 2);
    EXPECT_EQ(stress_trip_step(16451), 9);
    EXPECT_EQ(stress_trip_step(0xFFFFFFFFU), 9);
}

TEST(StressTrip, OnlyRisesAndIsRequestedAgainAfterARefusal) {
    test::start_charge_mgr();
    test::effects effects;

    // Not registered: refused by the manager, every time.
    EXPECT_EQ(set_sys_stress_trip(12001, false), 1);
    EXPECT_EQ(current_stress_trip(), 0);
    charge_mgr__register_perm_client_prop(STRESS_TRIP_CLIENT, test::publish_stress_mv);
    around.publish_result = 1;
    EXPECT_EQ(set_sys_stress_trip(12001, false), 1);
    around.publish_result = 0;
    EXPECT_EQ(set_sys_stress_trip(12001, false), 0);
    EXPECT_EQ(current_stress_trip(), 2);
    EXPECT_EQ(around.stored_step, 2);
    effects.take();

    // In force already: nothing to do, unless forced, and then the manager has nothing to do.
    EXPECT_EQ(set_sys_stress_trip(16450, false), 0);
    EXPECT_THAT(effects.take(), ElementsAre("log 6 vorn stress trip is 2 and was 2"));
    EXPECT_EQ(set_sys_stress_trip(16450, true), 0);
    EXPECT_THAT(effects.take(),
                ElementsAre("log 6 vorn stress trip is 2 and was 2", "log 6 vorn setting stress trip to 2"));

    EXPECT_EQ(set_sys_stress_trip(16451, false), 0);
    EXPECT_THAT(effects.take(), Contains("log 6 vorn setting stress trip to 9"));
    EXPECT_EQ(set_sys_stress_trip(16450, true), 2);
    EXPECT_THAT(effects.take(),
                ElementsAre("log 6 vorn stress trip is 2 and was 9", "record stress_trip_refused ver=12;SY"));
    EXPECT_EQ(current_stress_trip(), 9);
    EXPECT_THAT(around.published_mv, ElementsAre(4450, 4350, 4350, 4000));
}

}  // namespace
