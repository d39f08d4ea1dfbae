// A replay from the first row of a trace to the last: reading it, the daemon in its child process, and what
// is told of it. Items are cycles. The time is wall-clock time, in which both processes have worked.

#include <benchmark/benchmark.h>
#include <string>

#include "lab/recordings/events.h"
#include "lab/recordings/series.h"
#include "lab/recordings/trace_course.h"
#include "lab/session/session.h"
#include "lab/story/event_log.h"

namespace {

constexpr int ROWS = 200000;

// A phone used by day and charged by night, every sensor column there.
std::string generated_trace() {
    std::string csv =
        "elapsed_s,realtime_s,voltage_now,temp,charge_counter,cycle_count,capacity,gm30_ui_soc,"
        "thermal_zone6_temp,vbus,current_now,status,cell_vendor_name\n";
    double soc = 0.5;
    bool is_charging = false;
    for (int i = 0; i < ROWS; ++i) {
        soc += is_charging ? 0.00035 : -0.00012;
        if (soc > 0.97 || soc < 0.12) is_charging = !is_charging;
        const int wander = i * 7919 % 1009;
        const int percent = static_cast<int>(soc * 100);
        const auto number = [&csv](long long value) { csv += std::to_string(value) + ","; };
        number(i * 10);
        number(1767225600LL + i * 10);
        number(3500000 + static_cast<int>(soc * 850000) + wander);
        number(250 + wander / 50);
        number(static_cast<int>(soc * 7500000));
        number(12);
        number(percent);
        number(percent);
        number(26000 + wander);
        number(is_charging ? 5000000 : 0);
        number(is_charging ? 2400000 + wander * 100 : -800000 - wander * 100);
        csv += is_charging ? "Charging,ATL\n" : "Discharging,ATL\n";
    }
    return csv;
}

void replay_trace(const std::vector<lab::listener*>& listeners) {
    static const std::string csv = generated_trace();
    lab::trace_course course(
        lab::trace_reader(lab::input_file::from_text(csv, "generated"), {}, [](const std::string&) {}));
    lab::device_image image;
    lab::run_session(course, image, listeners);
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
