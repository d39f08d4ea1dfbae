// The charger and the whole phone: what a charge engineer would check first on a bench.

#include "lab/phone/phone.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace lab::phone {

namespace {

surroundings on_wall() {
    surroundings around;
    around.charger = charger_kind::wall;
    around.load_w = 0.2;
    return around;
}

phone_parameters with_soc(double soc_pct) {
    phone_parameters of;
    of.cell.soc_pct = soc_pct;
    return of;
}

void run(model& phone, double for_s, const surroundings& around, const orders& given) {
    for (std::int64_t t = 0; static_cast<double>(t) < for_s; t += 10) phone.advance(t, 10, around, given);
}

// Hours until the condition holds; 100 when it never does.
template <typename Condition>
double hours_until(model& phone, const surroundings& around, const orders& given, Condition holds) {
    for (int step = 0; step < 36000; ++step) {
        if (holds(phone.state())) return step * 10 / 3600.0;
        phone.advance(10 * step, 10, around, given);
    }
    return 100;
}

bool is_full(const phone_state& state) {
    return state.charger.is_full;
}

}  // namespace

TEST(Charger, ChargesAtConstantCurrentThenConstantVoltageThenRests) {
    model phone(with_soc(20), 23, {});
    const surroundings around = on_wall();
    const orders given{4450, false};
    run(phone, 600, around, given);
    EXPECT_NEAR(phone.state().flow.current_a, 3.0, 1e-9);

    double highest_v = 0;
    double falling_a = 3.0;
    const double hours = hours_until(phone, around, given, [&](const phone_state& state) {
        highest_v = std::max(highest_v, state.terminal_v);
        if (state.terminal_v > 4.449) falling_a = state.flow.current_a;
        return is_full(state);
    });
    EXPECT_NEAR(hours, 2.6, 0.5);
    EXPECT_LT(highest_v, 4.4505);
    EXPECT_LT(falling_a, 0.375);
    EXPECT_EQ(phone.state().flow.status, charge_status::charging);
    run(phone, 10, around, given);
    EXPECT_EQ(phone.state().flow.status, charge_status::full);
    EXPECT_NEAR(phone.state().flow.current_a, -0.005, 1e-9);

    // The resting cell sinks to 4.40 V on its own; the charger waits for 4.35 V.
    run(phone, 86400, around, given);
    EXPECT_EQ(phone.state().flow.status, charge_status::full);
    surroundings away = around;
    away.charger = charger_kind::none;
    away.load_w = 2;
    run(phone, 3600, away, given);
    EXPECT_EQ(phone.state().flow.status, charge_status::discharging);
    run(phone, 10, around, given);
    EXPECT_EQ(phone.state().flow.status, charge_status::charging);
}

TEST(Charger, DoesWhatTheDaemonAsksFor) {
    const surroundings around = on_wall();
    model stopped(with_soc(50), 23, {});
    run(stopped, 600, around, {4450, true});
    EXPECT_EQ(stopped.state().flow.status, charge_status::not_charging);
    EXPECT_NEAR(stopped.state().flow.current_a, -0.005, 1e-9);

    model lowered(with_soc(50), 23, {});
    hours_until(lowered, around, {4250, false}, is_full);
    EXPECT_LT(lowered.state().terminal_v, 4.2505);

    // A full battery is drawn down to a voltage lowered later, or rests above it.
    surroundings busy = around;
    busy.load_w = 1.5;
    for (const above_top way : {above_top::discharge, above_top::rest}) {
        phone_parameters of = with_soc(98);
        of.charger.above_toc = way;
        model high(of, 23, {});
        run(high, 6 * 3600, busy, {4000, false});
        EXPECT_EQ(high.resting_v() < 4.25, way == above_top::discharge);
        EXPECT_EQ(high.state().flow.status, charge_status::not_charging);
    }

    phone_parameters deaf = with_soc(50);
    deaf.charger.obeys = false;
    model ignoring(deaf, 23, {});
    run(ignoring, 600, around, {4000, true});
    EXPECT_GT(ignoring.state().flow.current_a, 2.9);
}

TEST(Charger, IsHeldBackByItsSourceTheLoadAndTheTemperature) {
    surroundings around = on_wall();
    const auto current_of = [&](const surroundings& where, double ambient_c, double soc_pct) {
        model phone(with_soc(soc_pct), ambient_c, {});
        phone.advance(0, 10, where, {4450, false});
        return phone.state().flow;
    };
    EXPECT_NEAR(current_of(around, 23, 50).current_a, 3.0, 1e-9);
    EXPECT_NEAR(current_of(around, 5, 50).current_a, 1.2, 1e-9);
    EXPECT_EQ(current_of(around, -5, 50).status, charge_status::not_charging);
    EXPECT_EQ(current_of(around, 65, 50).status, charge_status::not_charging);
    EXPECT_EQ(current_of(around, 50, 90).status, charge_status::not_charging);  // above 4.2 V when warm
    EXPECT_NEAR(current_of(around, 23, -1.5).current_a, 0.3, 1e-9);             // deeply empty

    around.charger = charger_kind::usb;
    around.load_w = 1.0;
    const charge_flow left = current_of(around, 23, 50);
    EXPECT_LT(left.current_a, 0.35);
    EXPECT_GT(left.current_a, 0.25);
    around.load_w = 4.0;  // more than the port gives: the battery helps, and the status does not say so
    const charge_flow helping = current_of(around, 23, 50);
    EXPECT_LT(helping.current_a, -0.3);
    EXPECT_EQ(helping.status, charge_status::charging);
}

TEST(Phone, LosesToASoftShortWhatItsGaugeDoesNotSee) {
    model phone(with_soc(60), 23, {});
    surroundings around;
    around.load_w = 0;
    around.short_ohm = 4;
    const double before = phone.state().cell.soc;
    run(phone, 3600, around, {});
    const double lost_mah = (before - phone.state().cell.soc) * 7500;
    EXPECT_NEAR(lost_mah, 4.0 / 4 * 1000, 60);
    EXPECT_NEAR(phone.state().flow.current_a, 0, 1e-6);
    EXPECT_GT(phone.temperature_c(), 33);  // its 4 W stay in the battery
}

TEST(Phone, IsWarmedByItsSharesOfTheLoadAndOfTheChargersLoss) {
    model phone(with_soc(50), 23, {});
    surroundings around = on_wall();
    around.load_w = 2;
    run(phone, 12 * 3600, around, {4450, true});  // the charger carries the load, nothing else
    const double loss_w = 2 / 0.85 - 2;
    EXPECT_NEAR(phone.temperature_c(), 23 + 7 * (2 * 0.35 + loss_w), 0.05);
    around.ambient_c = 30;
    around.heater_w = 1;
    run(phone, 12 * 3600, around, {4450, true});
    EXPECT_NEAR(phone.temperature_c(), 30 + 7 * (2 * 0.35 + loss_w + 1), 0.05);
}

TEST(Phone, IsEmptyUnderLoadAndBootsAfterAChargeWhileOff) {
    model phone(with_soc(2), 23, {});
    surroundings around;
    around.load_w = 3;
    EXPECT_LT(hours_until(phone, around, {}, [&](const phone_state&) { return phone.is_empty(); }), 1);

    model deep(with_soc(-1.2), 23, {});
    EXPECT_FALSE(deep.can_boot());
    around.charger = charger_kind::wall;
    int steps = 0;
    for (; !deep.can_boot() && steps < 10000; ++steps) deep.advance_off(10, around);
    EXPECT_TRUE(deep.can_boot());
    const auto precharge_s = deep.state().precharge_s;
    EXPECT_GT(precharge_s, 60);
    EXPECT_LT(precharge_s, steps * 10);  // the rest was charged above the precharge voltage
    EXPECT_FALSE(deep.has_precharge_fault());
}

TEST(Phone, IsNotOverchargedWhileItIsOff) {
    model phone(with_soc(90), 23, {});
    for (int step = 0; step < 3600; ++step) {
        phone.advance_off(10, on_wall());
        ASSERT_LT(phone.state().terminal_v, 4.4505) << step;
    }
    EXPECT_GT(phone.resting_v(), 4.44);
}

TEST(Gauge, ShowsQuantisedNoisyReadingsAroundTheTruth) {
    model phone(with_soc(60), 23, {});
    surroundings around;
    run(phone, 600, around, {});
    double sum_mv = 0;
    for (int i = 0; i < 400; ++i) {
        const readings read = phone.look(i, around);
        ASSERT_EQ(read.voltage_uv % 1000, 0);
        ASSERT_EQ(read.current_ua % 1000, 0);
        ASSERT_LT(std::abs(read.voltage_uv * 1e-6 - phone.state().terminal_v), 0.005);
        sum_mv += read.voltage_uv * 1e-3;
    }
    EXPECT_NEAR(sum_mv / 400, phone.state().terminal_v * 1000, 0.3);
    const readings read = phone.look(0, around);
    EXPECT_NEAR(read.ui_soc / 100.0, (phone.state().cell.soc * 100 - 3) / 94 * 100, 0.1);
    EXPECT_EQ(read.capacity_pct, (read.ui_soc + 50) / 100);
    EXPECT_EQ(read.status, charge_status::discharging);

    phone_parameters off = with_soc(60);
    off.gauge.voltage_offset_mv = 40;
    off.gauge.current_offset_ma = -70;
    model miscalibrated(off, 23, {});
    run(miscalibrated, 600, around, {});
    const readings wrong = miscalibrated.look(0, around);
    EXPECT_NEAR(wrong.voltage_uv * 1e-3, miscalibrated.state().terminal_v * 1e3 + 40, 5);
    EXPECT_NEAR(wrong.current_ua * 1e-3, miscalibrated.state().flow.current_a * 1e3 - 70, 16);

    phone_parameters lying = with_soc(60);
    lying.gauge.soc_offset_pct = 30;
    model liar(lying, 23, {});
    EXPECT_NEAR(liar.look(0, around).capacity_pct, read.capacity_pct + 30, 1);
}

}  // namespace lab::phone
