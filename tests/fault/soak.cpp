// vorn_soak [DAYS [SEED]]: a year of a phone's life in virtual time, with random faults, restarts and power cuts. The
// seed, a new one unless it is given, draws how often each of them comes, some of them never.
//
// The lab's phone charges most nights, obeys what the daemon publishes and sleeps now and then. Once in a while a
// single operation fails, or for some minutes a third of them do; the daemon is killed, the power goes after a
// write, the wall clock jumps. All along the promises of watch.h hold; the cycle after a fault is whole; memory
// does not grow. It ends with a start and an hour without faults, after which every state file is whole.

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <random>
#include <string>

#include "core/daemon.h"
#include "lab/phone/phone.h"
#include "lab/simulation/daemon_orders.h"
#include "lab/simulation/sensor_nodes.h"
#include "restart.h"
#include "road.h"
#include "util/record_index.h"
#include "watch.h"

namespace {

using virtual_device::the_device;
using kind = virtual_device::operation;

constexpr std::int64_t DAY_S = 86400;
constexpr std::int64_t START_S = 1772366400;  // 2026-03-01T12:00:00Z
constexpr std::int64_t CYCLE_S = 10;

class dice {
  public:
    explicit dice(std::uint64_t seed) : key_{seed, 0} {}

    bool once_in(double n) { return next().uniform(0) * n < 1; }
    std::int64_t between(std::int64_t low, std::int64_t high) {
        return low + static_cast<std::int64_t>(next().word(0) % static_cast<std::uint64_t>(high - low + 1));
    }
    // A tenth of that often to ten times as often, or one time in five never.
    double around(double once_in) {
        return next().word(0) % 5 == 0 ? HUGE_VAL : once_in * std::pow(10, 2 * next().uniform(0) - 1);
    }

  private:
    lab::phone::draws next() { return {key_, lab::phone::stream::habit, count_++}; }

    lab::phone::chance_key key_;
    std::int64_t count_ = 0;
};

// The lab's phone in the hands of somebody with a stand for it.
class phone_in_use {
  public:
    phone_in_use(dice& luck, std::uint64_t seed) : luck_(luck), model_({}, 23, {seed, 0}) {
        around_.load_w = 0.6;
        around_.burst_w = 4;
        around_.burst_pct = 15;
    }

    // Off for so long, then charged until it can start; the seconds that took.
    std::int64_t stay_off(std::int64_t least_s) {
        std::int64_t off_s = 0;
        for (; off_s < least_s || !model_.can_boot(); off_s += STEP_S) {
            if (off_s >= least_s) around_.charger = lab::phone::charger_kind::wall;
            model_.advance_off(STEP_S, around_);
        }
        nodes_.find(the_device());
        orders_.forget();
        return off_s;
    }

    // The seconds before `now_s`, and what the nodes say then.
    void live(std::int64_t now_s, std::int64_t passed_s) {
        plug(now_s);
        if (luck_.once_in(20000)) heated_until_s_ = now_s + 1800;
        around_.heater_w = now_s < heated_until_s_ ? 8 : 0;
        orders_.read(the_device());
        for (std::int64_t left_s = passed_s; left_s > 0; left_s -= STEP_S)
            model_.advance(now_s - left_s, static_cast<double>(std::min(left_s, STEP_S)), around_,
                           orders_.given());
        nodes_.show(model_.look(now_s, around_), "ATL", {});
    }

    bool is_plugged() const { return around_.charger != lab::phone::charger_kind::none; }
    bool goes_off() const { return model_.is_empty() || orders_.asks_for_reboot(); }

  private:
    // Nights on the charger, half an hour now and then, and each month a week on a stand.
    void plug(std::int64_t now_s) {
        using lab::phone::charger_kind;
        const std::int64_t hour = now_s % DAY_S / 3600;
        const bool is_on_stand = now_s / DAY_S % 30 < 8;
        if (now_s < plugged_until_s_) return;
        const bool is_low = model_.shown_pct() < 10;
        const bool plugs = is_on_stand || hour >= 23 || hour < 6 || is_low || luck_.once_in(1000);
        around_.charger = plugs ? charger_kind::wall : charger_kind::none;
        plugged_until_s_ = now_s + (plugs ? 1800 : 60);
    }

    static constexpr std::int64_t STEP_S = 60;

    dice& luck_;
    lab::phone::model model_;
    lab::phone::surroundings around_;
    lab::daemon_orders orders_;
    lab::sensor_nodes nodes_;
    std::int64_t plugged_until_s_ = 0;
    std::int64_t heated_until_s_ = 0;
};

class year {
  public:
    explicit year(std::uint64_t seed) : seed_(seed), luck_(seed), phone_(luck_, seed) {
        the_device().outcome = {this, decide};
        seen_.on_write_context = this;
        seen_.on_write = after_write;
        for (const auto& [path, bytes] : fault::files_of_earlier_layout()) the_device().at(path).put(bytes);
    }

    bool live(std::int64_t days) {
        const std::int64_t end_s = START_S + days * DAY_S;
        while (now_s_ < end_s && seen_.broken().empty()) run_boot(end_s);
        if (seen_.broken().empty()) spend_calm_hour();
        report(days);
        return seen_.broken().empty() && is_memory_flat();
    }

  private:
    static std::ptrdiff_t decide(void* self, kind what, std::string_view /*target*/, std::size_t /*size*/) {
        auto& me = *static_cast<year*>(self);
        ++me.operations_;
        const bool may_fail = what != kind::property_get && !me.is_calm_;
        const bool fails = may_fail && me.luck_.once_in(me.bad_cycles_ > 0 ? 3 : me.single_fault_);
        me.faults_ += fails ? 1 : 0;
        me.is_cycle_whole_ = me.is_cycle_whole_ && !fails;
        return fails ? virtual_device::FAIL : virtual_device::PASS;
    }

    static void after_write(void* self) {
        auto& me = *static_cast<year*>(self);
        if (me.is_calm_ || !me.luck_.once_in(me.cut_)) return;
        ++me.cuts_;
        std::longjmp(me.power_cut_, 1);
    }

    void run_boot(std::int64_t end_s) {
        auto& device = the_device();
        ++boots_;
        clock_error_s_ = !is_calm_ && luck_.once_in(clock_error_) ? -luck_.between(0, 30 * DAY_S) : 0;
        device.forget_volatile_properties();
        boot_start_s_ = now_s_ += phone_.stay_off(luck_.between(30, luck_.once_in(4) ? 5 * DAY_S : 600));
        if (setjmp(power_cut_) != 0) {
            fault::lose_power();
            return;
        }
        bad_cycles_ = !is_calm_ && luck_.once_in(bad_start_) ? 1 : 0;
        sense(0);
        daemon_start();
        seen_.after_cycle();
        for (bool is_running = true; is_running && now_s_ < end_s && seen_.broken().empty();) {
            cycle();
            is_running = !luck_.once_in(100000) && !phone_.goes_off();
        }
    }

    // Longer than whatever is written once an hour takes to be written.
    void spend_calm_hour() {
        constexpr std::int64_t CALM_S = 2 * 3600;
        is_calm_ = true;
        for (const std::int64_t end_s = now_s_ + 5 * DAY_S + CALM_S;
             now_s_ < end_s && seen_.broken().empty();)
            run_boot(end_s);
        const std::pair<const char*, std::size_t> files[] = {
            {"batt_stress", 396}, {"last_datetime", 8}, {"last_battvolt", 4}, {"dyn_soc_params", 20}};
        for (const auto& [name, size] : files) {
            const auto* file = the_device().find(std::string(virtual_device::NVCFG_DIR) + name);
            if (file == nullptr || file->bytes.size() != size)
                seen_.note(std::string("after the calm: ") + name);
        }
    }

    void cycle() {
        if (bad_cycles_ > 0) {
            --bad_cycles_;
        } else if (!is_calm_ && luck_.once_in(spell_)) {
            bad_cycles_ = luck_.between(1, 60);
        }
        const bool sleeps = !phone_.is_plugged() && luck_.once_in(20);
        const std::int64_t passed_s = sleeps ? luck_.between(CYCLE_S, 3000) : CYCLE_S;
        now_s_ += passed_s;
        if (clock_error_s_ != 0 && luck_.once_in(500)) clock_error_s_ = 0;  // the network tells the time
        sense(passed_s);
        is_cycle_whole_ = true;
        daemon_cycle();
        ++cycles_;
        if (is_cycle_whole_) {
            seen_.after_faultless_cycle();
        } else {
            seen_.after_cycle();
        }
        if (cycles_ == WARM_CYCLES) heap_then_ = heap();
    }

    void sense(std::int64_t passed_s) {
        the_device().elapsed_s = now_s_ - boot_start_s_;
        the_device().real_time_s = now_s_ + clock_error_s_;
        phone_.live(now_s_, passed_s);
    }

    static std::size_t heap() { return mallinfo2().uordblks; }
    bool is_memory_flat() const { return cycles_ < WARM_CYCLES || heap() < heap_then_ + 65536; }

    void report(std::int64_t days) const {
        for (const std::string& each : seen_.broken()) {
            fprintf(stderr, "seed %lu, day %ld: %s\n", seed_, (now_s_ - START_S) / DAY_S, each.c_str());
        }
        printf(
            "soak: %ld days, %ld cycles, %ld operations, %ld failed; %d boots, %d power cuts, %ld writes, "
            "%zu kinds of "
            "record; heap %zu kB after %ld cycles, %zu kB in the end; %zu promises broken\n",
            days, cycles_, operations_, faults_, boots_, cuts_, seen_.writes(), seen_.records().size(),
            heap_then_ / 1024, WARM_CYCLES, heap() / 1024, seen_.broken().size());
    }

    static constexpr long WARM_CYCLES = 100000;

    std::uint64_t seed_;
    dice luck_;
    // Once in so many operations, writes, boots and cycles.
    double single_fault_ = luck_.around(1e6), cut_ = luck_.around(300), clock_error_ = luck_.around(10),
           bad_start_ = luck_.around(5), spell_ = luck_.around(5000);
    bool is_calm_ = false;
    phone_in_use phone_;
    fault::watch seen_;
    std::jmp_buf power_cut_ = {};
    std::int64_t now_s_ = START_S;
    std::int64_t boot_start_s_ = START_S;
    std::int64_t clock_error_s_ = 0;
    std::int64_t bad_cycles_ = 0;  // left of an evil spell
    bool is_cycle_whole_ = true;
    long cycles_ = 0;
    long operations_ = 0;
    long faults_ = 0;
    int boots_ = 0;
    int cuts_ = 0;
    std::size_t heap_then_ = 0;
};

}  // namespace

int main(int count, char** arguments) {
    setenv("TZ", "America/New_York", 1);
    const std::int64_t days = count > 1 ? atol(arguments[1]) : 365;
    const std::uint64_t seed = count > 2 ? strtoul(arguments[2], nullptr, 10) : std::random_device{}();
    if (days < 1) {
        fprintf(stderr, "usage: vorn_soak [DAYS [SEED]]\n");
        return 2;
    }
    printf("seed %lu\n", seed);
    fflush(stdout);
    return year(seed).live(days) ? 0 : 1;
}
