// The cell against closed forms of its circuit, and its numbers against independent ones.

#include "lab/phone/cell.h"

#include <cmath>
#include <gtest/gtest.h>

#include "battery/vendor_table.h"
#include "lab/phone/ageing.h"
#include "lab/phone/repeatable.h"
#include "lab/phone/thermal.h"

namespace lab::phone {

namespace {

constexpr double ROOM_C = 25;

cell_parameters plain() {
    cell_parameters of;
    of.soc_pct = 80;
    of.leakage_ua = 0;
    return of;
}

double terminal_after(const cell& of, cell_state& state, double current_a, double for_s, double step_s) {
    double terminal_v = 0;
    for (double t = 0; t < for_s; t += step_s) {
        of.advance(state, of.at(state, {}, ROOM_C, step_s), current_a, ROOM_C);
        terminal_v = of.at(state, {}, ROOM_C, step_s).terminal_v(state, current_a);
    }
    return terminal_v;
}

}  // namespace

TEST(Cell, DischargesAtAConstantCurrentAsItsCircuitSays) {
    const cell_parameters of = plain();
    const cell model(of);
    for (const double step_s : {1.0, 10.0, 60.0}) {
        cell_state state = model.start();
        const double terminal_v = terminal_after(model, state, -2, 1800, step_s);
        const double soc = 0.8 - 2.0 * 1800 / (7.5 * 3600);
        EXPECT_NEAR(state.soc, soc, 1e-12);
        const double drop_v =
            2 * (0.060 + 0.025 * (1 - std::exp(-1800.0 / 30)) + 0.020 * (1 - std::exp(-1800.0 / 1200)));
        EXPECT_NEAR(terminal_v, model.ocv_v(soc, ROOM_C) - drop_v, 1e-5) << "step " << step_s;
    }
}

TEST(Cell, RelaxesWithTheTimeConstantsOfItsPairs) {
    const cell model(plain());
    cell_state state = model.start();
    terminal_after(model, state, 3, 900, 10);
    const cell_state loaded = state;
    const double terminal_v = terminal_after(model, state, 0, 120, 10);
    EXPECT_NEAR(terminal_v,
                model.ocv_v(state.soc, ROOM_C) + loaded.transfer_v * std::exp(-120.0 / 30) +
                    loaded.diffusion_v * std::exp(-120.0 / 1200),
                1e-9);
    EXPECT_GT(loaded.transfer_v, 0.07);
}

TEST(Cell, HeatsWithItsResistancesAndItsEntropyAndDischargesItself) {
    cell_parameters of = plain();
    const cell model(of);
    cell_state state = model.start();
    double heat_w = 0;
    for (int t = 0; t < 3 * 3600; t += 10) {
        heat_w = model.advance(state, model.at(state, {}, ROOM_C, 10), -1, ROOM_C);
    }
    // Both pairs carry the whole current by now.
    EXPECT_NEAR(heat_w, 0.060 + 0.025 + 0.020 + 298.15 * 0.0001, 1e-4);

    of.leakage_ua = 150;
    const cell leaking(of);
    state = leaking.start();
    for (int hour = 0; hour < 1000; ++hour) {
        leaking.advance(state, leaking.at(state, {}, ROOM_C, 3600), 0, ROOM_C);
    }
    EXPECT_NEAR(state.soc, 0.8 - 0.15 * 1000 / 7500, 1e-9);
}

TEST(Cell, FindsTheCurrentForAVoltageAndForAPower) {
    const cell model(plain());
    cell_state state = model.start();
    terminal_after(model, state, 1.5, 300, 10);
    const circuit now = model.at(state, {}, ROOM_C, 10);

    const double current_a = now.current_for_voltage(state, 4.3);
    cell_state after = state;
    model.advance(after, now, current_a, ROOM_C);
    EXPECT_NEAR(model.at(after, {}, ROOM_C, 10).terminal_v(after, current_a), 4.3, 1e-4);

    const double out_a = now.current_for_delivery(state, 5);
    EXPECT_NEAR(-out_a * now.terminal_v(state, out_a), 5, 1e-9);
    const double in_a = now.current_for_intake(state, 5);
    EXPECT_NEAR(in_a * now.terminal_v(state, in_a), 5, 1e-9);
    // More than it can give: the current of its greatest power, half the voltage lost inside.
    EXPECT_NEAR(now.terminal_v(state, now.current_for_delivery(state, 1e4)), now.terminal_v(state, 0) / 2,
                1e-9);
}

TEST(Cell, ResistsMoreInTheColdAndNearEmpty) {
    const cell model(plain());
    const cell_state state = model.start();
    const circuit warm = model.at(state, {}, ROOM_C, 10);
    const circuit cold = model.at(state, {}, 0, 10);
    EXPECT_NEAR(cold.transfer_ohm / warm.transfer_ohm, std::exp(55000 / 8.314 * (1 / 273.15 - 1 / 298.15)),
                1e-3);
    EXPECT_NEAR(cold.series_ohm / warm.series_ohm, std::exp(15000 / 8.314 * (1 / 273.15 - 1 / 298.15)), 1e-3);
    const circuit empty = model.at({0, 0, 0}, {}, ROOM_C, 10);
    EXPECT_NEAR(empty.series_ohm, 0.060 * (1 + 0.1562 / 0.07446), 1e-6);
    const circuit old = model.at(state, {0.8, 1.5}, ROOM_C, 10);
    EXPECT_NEAR(old.series_ohm / warm.series_ohm, 1.5, 1e-12);
    EXPECT_NEAR(old.capacity_as / warm.capacity_as, 0.8, 1e-12);
}

TEST(Cell, HasRisingCurvesOfItsOwnAndThoseOfTheDaemonExactly) {
    const cell own(plain());
    for (double soc = -0.05; soc < 1.05; soc += 0.001) {
        ASSERT_LT(own.ocv_v(soc, ROOM_C), own.ocv_v(soc + 0.001, ROOM_C)) << soc;
    }
    cell_parameters of = plain();
    of.curve = cell_curve::ATL;
    const cell vendor(of);
    for (int i = 0; i < BATT_CURVE_POINTS; ++i) {
        const double soc = 1 - 0.0101 * i;
        EXPECT_NEAR(vendor.ocv_v(soc, 25), batt_ATL.ocv_curves[1][i] * 1e-4, 1e-9);
        EXPECT_NEAR(vendor.ocv_v(soc, 17.5), (batt_ATL.ocv_curves[1][i] + batt_ATL.ocv_curves[2][i]) * 0.5e-4,
                    1e-9);
        EXPECT_LT(std::abs(own.ocv_v(soc, 25) - vendor.ocv_v(soc, 25)), i < 93 ? 0.030 : 0.150) << i;
    }
}

TEST(Thermal, ApproachesItsFinalTemperatureExponentially) {
    const thermal_parameters of;
    double temperature_c = 20;
    for (int i = 0; i < 90; ++i) temperature_c = next_temperature_c(of, temperature_c, 20, 2, 10);
    EXPECT_NEAR(temperature_c, 20 + 2 * 7 * (1 - std::exp(-900.0 / (7 * 150))), 1e-9);
}

TEST(Ageing, FollowsItsEquationsForConstantConditions) {
    ageing_state stored;
    for (int day = 0; day < 365; ++day) age(stored, 1, 4.2, 35);
    const double a = (7.543 * 4.2 - 23.75) * 1e6 * std::exp(-6976 / 308.15);
    const double c = (5.270 * 4.2 - 16.32) * 1e5 * std::exp(-5986 / 308.15);
    EXPECT_NEAR(stored.health.capacity, 1 - a * std::pow(365, 0.75), 1e-9);
    EXPECT_NEAR(stored.health.resistance, 1 + c * std::pow(365, 0.75), 1e-9);
    EXPECT_NEAR(stored.health.capacity, 0.90, 0.02);
    ageing_state low;
    age(low, 500, 3.0, 25);  // below where the equation holds
    EXPECT_EQ(low.health.capacity, 1);

    // 200 cycles between 20 % and 80 % of a 5000 mAh cell.
    ageing_state used;
    const double step_s = 60;
    const double current_a = 2;
    const double steps = 0.6 * 5 * 3600 / current_a / step_s;
    for (int half = 0; half <= 400; ++half) {
        const double sign = half % 2 == 0 ? -1 : 1;
        for (int i = 0; i < static_cast<int>(steps); ++i) {
            const double moved = 0.6 * i / (steps - 1);
            age_by_use(used, sign * current_a, step_s, sign < 0 ? 0.8 - moved : 0.2 + moved, 3.85, 5000);
        }
    }
    age(used, 0, 3.85, 25);
    const double q_ah = 400 * 0.6 * 2.15;
    const double b = 7.348e-3 * 0.183 * 0.183 + 7.600e-4 + 4.081e-3 * 0.6;
    EXPECT_NEAR(1 - used.health.capacity, b * std::sqrt(q_ah), 1e-6);
}

TEST(Repeatable, FunctionsAgreeWithTheLibrary) {
    for (double x = -50; x < 50; x += 0.037) {
        ASSERT_NEAR(exp_of(x) / std::exp(x), 1, 2e-15) << x;
    }
    for (const double x : {0.0, 1e-9, 0.3, 1.0, 7.0, 5e6}) {
        EXPECT_NEAR(power_3_4(x), std::pow(x, 0.75), 1e-12 * std::pow(x, 0.75) + 1e-300);
        EXPECT_NEAR(power_4_3(x), std::pow(x, 4.0 / 3), 1e-12 * std::pow(x, 4.0 / 3) + 1e-300);
    }
}

}  // namespace lab::phone
