// A replay from the first row of a trace to the last: reading it, the daemon in its child process, and what
// is told of it. Items are cycles. The time is wall-clock time, in which both processes have worked.

#include <benchmark/benchmark.h>
#include <string>
#include <vector>

#include "bench/runs.h"
#include "lab/io/output_file.h"
#include "lab/recordings/events.h"
#include "lab/recordings/series.h"
#include "lab/story/event_log.h"

namespace {

constexpr int ROWS = 200000;

void replay_trace(const std::vector<lab::listener*>& listeners) {
    static const std::string csv = bench::trace_in_use(ROWS);
    bench::replay(csv, listeners);
}

void replay_alone(benchmark::State& state) {
    for (auto _ : state) replay_trace({});
    state.SetItemsProcessed(state.iterations() * ROWS);
}
BENCHMARK(replay_alone)->UseRealTime()->Unit(benchmark::kMillisecond);

void replay_with_log(benchmark::State& state) {
    std::ostream nowhere(nullptr);
    for (auto _ : state) {
        lab::event_log log(nowhere);
        replay_trace({&log});
    }
    state.SetItemsProcessed(state.iterations() * ROWS);
}
BENCHMARK(replay_with_log)->UseRealTime()->Unit(benchmark::kMillisecond);

void replay_with_events_and_series(benchmark::State& state) {
    for (auto _ : state) {
        lab::output_file events_file("/dev/null");
        lab::output_file series_file("/dev/null");
        lab::event_writer events(events_file);
        lab::series_writer series(series_file, false);
        replay_trace({&events, &series});
    }
    state.SetItemsProcessed(state.iterations() * ROWS);
}
BENCHMARK(replay_with_events_and_series)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
