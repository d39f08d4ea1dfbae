// Writes the report of ten made-up years of an always-on phone: make_ten_years OUTPUT.html
//
// Every cycle, hourly writes, two-day evaluations and daily charges go through the same recorder as a real run's,
// so the page is as large and the recorder as busy as they get. Prints the recorder's peak memory in MB.

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sys/resource.h>

#include "lab/report/recorder.h"
#include "util/metrics.h"

namespace {

constexpr std::int64_t YEARS_S = 3652LL * 86400;
constexpr std::int64_t START_S = 1767225600;
constexpr std::int64_t HOUR_S = 3600, DAY_S = 86400;

class maker {
  public:
    explicit maker(const std::vector<lab::listener*>& listeners) : listeners_(listeners) {}

    void run() {
        log("--- vorn attempting to migrate persistent files \n");
        for (; now_.elapsed_s < YEARS_S; now_.elapsed_s += 10) cycle();
    }

  private:
    void tell(lab::event what) {
        what.elapsed_s = now_.elapsed_s;
        what.real_time_s = START_S + now_.elapsed_s;
        for (auto* each : listeners_) each->on_event(what);
    }
    void log(std::string text) { tell({lab::event_kind::log, 1, 0, 0, 6, 0, 0, "vorn", std::move(text)}); }
    void record(const std::string& id, const std::string& values) {
        tell({lab::event_kind::metric, 1, 0, 0, 5, 8, 0, "vorn",
              "lx6wwu6k:" + id + ":100:" + METRICS_DEVICE_PREFIX + values + ",ver=12;SY:NA"});
    }
    void write(const std::string& name, const void* data, std::size_t size) {
        tell({lab::event_kind::write, 1, 0, 0, 0, 0, static_cast<std::int64_t>(size),
              "/mnt/vendor/nvcfg/vorn/" + name, std::string(static_cast<const char*>(data), size)});
    }

    // The generator of the noise is fixed, so that the page is the same every time.
    std::int32_t noise(std::int32_t width) {
        random_ = random_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<std::int32_t>(random_ >> 33U) % width;
    }

    void hourly() {
        const auto real_time_s = START_S + now_.elapsed_s;
        table_[static_cast<std::size_t>(40 + noise(50))] += 1.0F;
        write("batt_stress", table_.data(), sizeof table_);
        log("vorn stress local table flush 0\n");
        write("last_datetime", &real_time_s, sizeof real_time_s);
        if (now_.elapsed_s % (2 * DAY_S) != 0) return;
        const auto hours = static_cast<int>(now_.elapsed_s / 30000);
        record("n591/2/03330401",
               "stress_hours=" + std::to_string(hours) + ";IN,stress_trip=0;IN,set_prop=0;IN");
    }

    // Half a day of charge to full, half a day of use, with the noise of real sensors.
    void cycle() {
        if (now_.elapsed_s % HOUR_S == 0) hourly();
        const double phase = static_cast<double>(now_.elapsed_s % DAY_S) / DAY_S;
        const double level = phase < 0.5 ? phase * 2 : 2 - phase * 2;
        now_.real_time_s = START_S + now_.elapsed_s;
        now_.seen.voltage_uv = static_cast<std::int32_t>(3500000 + 900000 * level) + 1000 * noise(9);
        now_.seen.current_ua = (phase < 0.5 ? 900000 : -400000 - 1000 * noise(1500)) + 1000 * noise(30);
        now_.seen.temperature_decic = 280 + static_cast<std::int32_t>(60 * level) + noise(4);
        now_.seen.capacity_pct = static_cast<std::int32_t>(100 * level);
        now_.seen.status = phase < 0.45 ? 1 : phase < 0.5 ? 4 : 2;
        const auto set = [this](lab::column which, double value) {
            now_.daemon[static_cast<std::size_t>(which)] = static_cast<std::int32_t>(value);
        };
        set(lab::column::toc_mv, 4450);
        set(lab::column::dyn_soc_state, 2);
        set(lab::column::soc_raw, 100000 * level + noise(300));
        set(lab::column::soc_ui, 100 * level);
        set(lab::column::charge_timer_flag, phase > 0.48 && phase < 0.481 ? 1 : 0);
        now_.truth = {100 * level, 100 - static_cast<double>(now_.elapsed_s) * 6e-8};
        if (now_.elapsed_s % DAY_S == DAY_S / 2) daily();
        for (auto* each : listeners_) each->on_cycle(now_);
    }

    void daily() {
        record("4h8v/2/04330401",
               "charge_timer_s=" + std::to_string(40000 + noise(3000)) +
                   ";IN,threshold_s=90000;IN,discharge_timer_s=60;IN,min_curr_ua=100000;IN,final_soc=100;IN");
        for (int i = 0; i < 20; ++i)
            log("--- vorn SHORT_DETECT Invalid inputs, volt=" + std::to_string(noise(4000)) + ", curr=7\n");
    }

    const std::vector<lab::listener*>& listeners_;
    lab::cycle now_;
    std::array<float, 99> table_{};
    std::uint64_t random_ = 1;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    lab::report_recorder recorder(
        argv[1], {"Ten years", "simulation", true, {"true_soc_pct", "capacity_left_pct"}}, {});
    std::vector<lab::listener*> listeners;
    recorder.listen(listeners);
    maker(listeners).run();
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    std::printf("%ld\n", used.ru_maxrss / 1024);
    recorder.finish();
    recorder.file().commit();
    return 0;
}
