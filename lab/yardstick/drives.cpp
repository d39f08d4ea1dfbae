// Simulated batteries: the lab's phone is used, charged and used again, and everything about its cell is known.

#include <algorithm>
#include <cmath>

#include "lab/io/print.h"
#include "lab/phone/level.h"
#include "lab/phone/phone.h"
#include "lab/yardstick/yardstick.h"

namespace lab::yardstick {

namespace {

using lab::phone::cell_curve;

constexpr double HOUR_S = 3600;
constexpr double DAY_S = 86400;
constexpr double TOC_MV = 4450;
constexpr double BOC_MV = 3400;
constexpr std::uint64_t SEED = 5;

// Use: idle with bursts, until 10 % are left; then on the wall charger until an hour after full.
constexpr double IDLE_W = 0.9;
constexpr double BURST_W = 4.5;
constexpr double BURST_PCT = 25;
constexpr double PLUG_IN_BELOW = 0.10;
constexpr double UNPLUG_AFTER_FULL_S = 3600;

struct drive {
    const char* name;
    double days = 10;
    cell known = {90, 27000};  // what the estimator starts from; nearly the truth
    cell_curve curve = cell_curve::ATL;
    double slow_mohm = 40;  // of the resistance that builds up over minutes
    double ambient_c = 23;
    double cycle_s = 10;
    double current_offset_ma = 0;  // of the gauge
    double voltage_offset_mv = 0;
};

constexpr drive DRIVES[] = {
    {.name = "ideal: curves known, no slow resistance", .slow_mohm = 0.01},
    {.name = "curves known"},
    {.name = "curves of another cell", .curve = cell_curve::own},
    {.name = "at 0 degrees", .ambient_c = 0},
    {.name = "at 40 degrees", .ambient_c = 40},
    {.name = "cycles of 20 s", .cycle_s = 20},
    {.name = "current read 30 mA too high", .current_offset_ma = 30},
    {.name = "voltage read 20 mV too high", .voltage_offset_mv = 20},
    {.name = "resistance a third too low at start", .known = {60, 27000}},
    {.name = "resistance double at start", .known = {180, 27000}},
    {.name = "capacity half at start", .days = 365, .known = {90, 13500}},
    {.name = "capacity a fifth too high at start", .days = 365, .known = {90, 32000}},
};

// How a learnt quantity finds the truth: when it first comes within a tenth, and how far off it is from then on.
class convergence {
  public:
    void add(double estimate, double truth, double at_s) {
        const double off = std::abs(estimate - truth) / truth;
        if (found_at_s_ < 0 && off > 0.1) return;
        if (found_at_s_ < 0) found_at_s_ = at_s;
        sum_off_ += off;
        count_ += 1;
    }
    void append(std::string& out, double unit_s) const {
        if (count_ == 0) {
            print(out, " %7s %6s", "never", "");
        } else {
            print(out, " %7.2f %5.1f%%", found_at_s_ / unit_s, 100 * sum_off_ / count_);
        }
    }

  private:
    double found_at_s_ = -1;
    double sum_off_ = 0;
    double count_ = 0;
};

lab::phone::phone_parameters phone_of(const drive& of) {
    lab::phone::phone_parameters phone;
    phone.cell.curve = of.curve;
    phone.cell.diffusion_mohm = of.slow_mohm;
    return phone;
}

class phone_in_use {
  public:
    explicit phone_in_use(const drive& of)
        : drive_(of), cell_(phone_of(of).cell), phone_(phone_of(of), of.ambient_c, {SEED, 0}) {
        around_.ambient_c = of.ambient_c;
        around_.load_w = IDLE_W;
        around_.burst_w = BURST_W;
        around_.burst_pct = BURST_PCT;
    }

    sample next(double at_s) {
        plug(at_s);
        const auto second = static_cast<std::int64_t>(at_s);
        lab::phone::orders orders;
        orders.toc_mv = TOC_MV;
        phone_.advance(second, drive_.cycle_s, around_, orders);
        const lab::phone::readings read = phone_.look(second, around_);
        return {static_cast<std::uint64_t>(at_s),
                read.voltage_uv + static_cast<std::int32_t>(drive_.voltage_offset_mv * 1000),
                read.current_ua + static_cast<std::int32_t>(drive_.current_offset_ma * 1000),
                read.temperature_decic, static_cast<std::int32_t>(read.status)};
    }

    double soc() const { return phone_.state().cell.soc; }

    // What the estimator aims at: 0 % at the bottom, 100 % at the top of charge voltage, at rest.
    double soc_pct_between_limits() {
        return level_.pct(cell_, soc(), phone_.temperature_c(), BOC_MV, TOC_MV);
    }

    // Resistance as a change of current shows it one cycle later.
    cell truth() const {
        const auto& state = phone_.state();
        const auto circuit = cell_.at(state.cell, state.ageing.health, state.heat.battery_c, drive_.cycle_s);
        const double ohm = circuit.series_ohm + circuit.transfer_ohm * (1 - circuit.transfer_decay) +
                           circuit.diffusion_ohm * (1 - circuit.diffusion_decay);
        return {1000 * ohm, phone_.capacity_mah() * 3.6};
    }

  private:
    void plug(double at_s) {
        if (soc() < PLUG_IN_BELOW) around_.charger = lab::phone::charger_kind::wall;
        if (phone_.state().flow.status != lab::phone::charge_status::full) not_full_at_s_ = at_s;
        if (at_s - not_full_at_s_ >= UNPLUG_AFTER_FULL_S) around_.charger = lab::phone::charger_kind::none;
    }

    drive drive_;
    lab::phone::cell cell_;
    lab::phone::model phone_;
    lab::phone::surroundings around_;
    double not_full_at_s_ = 0;
    lab::phone::level_gauge level_;
};

void append_run(std::string& out, const drive& of) {
    phone_in_use phone(of);
    score estimated;
    score shown;
    convergence resistance;
    convergence capacity;
    const double end_s = of.days * DAY_S;
    estimator::start("ATL", static_cast<std::int32_t>(TOC_MV), of.known);
    for (double at_s = 0; at_s < end_s; at_s += of.cycle_s) {
        if (!estimator::update(phone.next(at_s))) continue;
        const double truth_pct = phone.soc_pct_between_limits();
        estimated.add(estimator::soc_pct(), truth_pct);
        shown.add(estimator::shown_pct(), truth_pct);
        const cell learnt = estimator::learnt();
        const cell truth = phone.truth();
        // Near empty and full the resistance is another one, for a while.
        if (phone.soc() > 0.2 && phone.soc() < 0.8)
            resistance.add(learnt.resistance_mohm, truth.resistance_mohm, at_s);
        capacity.add(learnt.capacity_as, truth.capacity_as, at_s);
    }
    print(out, "%-38s %4.0f", of.name, of.days);
    estimated.append(out);
    shown.append(out);
    resistance.append(out, HOUR_S);
    capacity.append(out, DAY_S);
    out += '\n';
}

}  // namespace

std::string drives_table() {
    std::string out;
    print(out, "%-38s %4s %18s %18s %14s %14s\n", "", "", "estimate, %", "shown, %", "resistance",
          "capacity");
    print(out, "%-38s %4s %s %s %7s %6s %7s %6s\n", "simulated drive", "days", SCORE_COLUMNS, SCORE_COLUMNS,
          "found h", "off", "found d", "off");
    for (const drive& each : DRIVES) append_run(out, each);
    return out;
}

}  // namespace lab::yardstick
