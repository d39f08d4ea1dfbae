// A simulated phone with the daemon on it. Items are cycles; the time is the processor time of both processes
// together, which is what one core would need for them, whatever else the machine does.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "bench/runs.h"

namespace {

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
    const lab::scenario phone = bench::phone_in_use(days);
    for (auto _ : state) {
        const double begin_s = processor_time_s();
        run(phone);
        state.SetIterationTime(processor_time_s() - begin_s);
    }
    state.SetItemsProcessed(state.iterations() * days * bench::CYCLES_PER_DAY);
}

void simulate_alone(benchmark::State& state) {
    measure(state, state.range(0), bench::run_alone);
}
BENCHMARK(simulate_alone)->ArgName("days")->Arg(60)->UseManualTime()->Unit(benchmark::kMillisecond);

void simulate_with_series(benchmark::State& state) {
    measure(state, state.range(0), bench::run_with_series);
}
BENCHMARK(simulate_with_series)->ArgName("days")->Arg(60)->UseManualTime()->Unit(benchmark::kMillisecond);

void simulate_with_report(benchmark::State& state) {
    measure(state, state.range(0), [](const lab::scenario& phone) { bench::run_with_report(phone, true); });
}
BENCHMARK(simulate_with_report)->ArgName("days")->Arg(60)->UseManualTime()->Unit(benchmark::kMillisecond);

// The greatest memory that either process has had by then: ten years must not need more than one. A process's
// maximum never falls, so the order of the runs matters.
void memory_of_simulated_days(benchmark::State& state) {
    measure(state, state.range(0), bench::run_with_series);
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
