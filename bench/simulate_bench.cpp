// A simulated phone with the daemon on it. Items are cycles; the time is the processor time of both processes
// together, which is what one core would need for them, whatever else the machine does.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "lab/io/output_file.h"
#include "lab/recordings/series.h"
#include "lab/report/recorder.h"
#include "lab/scenario/truth.h"
#include "lab/simulation/simulation.h"

namespace {

constexpr int CYCLES_PER_DAY = 8640;

// Always on, used in bursts by day and charged by night.
lab::scenario phone_in_use(std::int64_t days) {
    return lab::parse_scenario(
        "[[phase]]\nfor = \"" + std::to_string(days) +
            " d\"\nambient_c = 21\nload_mw = 350\nburst_mw = 2500\nburst_pct = 12\n"
            "daily = [\n"
            "    { at = \"06:45\", charger = \"none\" },\n"
            "    { at = \"22:30\", charger = \"wall\", load_mw = 120, burst_pct = 2 },\n"
            "]\n",
        "bench.toml");
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

rusage usage_of(int who) {
    rusage usage{};
    ::getrusage(who, &usage);
    return usage;
}

double processor_time_s() {
    double sum = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        const rusage usage = usage_of(who);
        sum += seconds(usage.ru_utime) + seconds(usage.ru_stime);
    }
    return sum;
}

// Runs it under the benchmark's clock.
template <typename Run>
void measure(benchmark::State& state, std::int64_t days, Run run) {
    const lab::scenario phone = phone_in_use(days);
    for (auto _ : state) {
        const double begin_s = processor_time_s();
        run(phone);
        state.SetIterationTime(processor_time_s() - begin_s);
    }
    state.SetItemsProcessed(state.iterations() * days * CYCLES_PER_DAY);
}

std::vector<std::string> truth_names() {
    return {lab::truth_column_names.begin(), lab::truth_column_names.end()};
}

void run_with_series(const lab::scenario& phone) {
    lab::output_file file("/dev/null");
    lab::series_writer series(file, false, truth_names());
    lab::run_simulation(phone, {}, {&series});
}

void simulate_alone(benchmark::State& state) {
    measure(state, state.range(0), [](const lab::scenario& phone) { lab::run_simulation(phone, {}, {}); });
}
BENCHMARK(simulate_alone)->ArgName("days")->Arg(60)->UseManualTime()->Unit(benchmark::kMillisecond);

void simulate_with_series(benchmark::State& state) {
    measure(state, state.range(0), run_with_series);
}
BENCHMARK(simulate_with_series)->ArgName("days")->Arg(60)->UseManualTime()->Unit(benchmark::kMillisecond);

void simulate_with_report(benchmark::State& state) {
    measure(state, state.range(0), [](const lab::scenario& phone) {
        const lab::device_image start;
        lab::report_recorder recorder(
            "/dev/null", {phone.title, "simulation", true, truth_names(), phone.duration_s()}, start);
        std::vector<lab::listener*> listeners;
        recorder.listen(listeners);
        lab::run_simulation(phone, start, listeners);
        recorder.finish({});
    });
}
BENCHMARK(simulate_with_report)->ArgName("days")->Arg(60)->UseManualTime()->Unit(benchmark::kMillisecond);

// The greatest memory that either process has had by then: ten years must not need more than one. A process's
// maximum never falls, so the order of the runs matters.
void memory_of_simulated_days(benchmark::State& state) {
    measure(state, state.range(0), run_with_series);
    state.counters["this_process_kB"] = static_cast<double>(usage_of(RUSAGE_SELF).ru_maxrss);
    state.counters["daemon_process_kB"] = static_cast<double>(usage_of(RUSAGE_CHILDREN).ru_maxrss);
}
BENCHMARK(memory_of_simulated_days)
    ->ArgName("days")
    ->Arg(365)
    ->Arg(3650)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);

}  // namespace
