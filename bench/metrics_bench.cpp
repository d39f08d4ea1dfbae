// How fast metrics records are found and checked in a log.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <string>

#include "lab/records/log_scanner.h"
#include "lab/records/record_writer.h"

namespace {

using lab::output_format;

constexpr std::size_t LOG_SIZE = 64 << 20;  // bytes

// A log in threadtime form with a record in every `period`-th line; the others are 60 to 240 bytes long.
std::string log_with_records(std::uint32_t period) {
    const std::string record =
        "lx6wwu6k:n591/2/03330401:100:_deviceId=;SY,_softwareVersion=;SY,_platform=;SY,_model=;SY,"
        "_deviceType=;SY,_countryOfResidence=;SY,stress_hours=12001;IN,stress_trip=2;IN,set_prop=0;IN,"
        "ver=12;SY:NA\n";
    std::string log;
    log.reserve(LOG_SIZE + 1024);
    for (std::uint32_t line = 0; log.size() < LOG_SIZE; ++line) {
        log += "01-02 03:04:05.678  1234  1234 ";
        if (line % period == 0) {
            log += "W vorn    : " + record;
        } else {
            log += "I sensors : " + std::string(20 + line * 7919U % 180, 'x') + "\n";
        }
    }
    return log;
}

void find_records(benchmark::State& state, output_format format) {
    const std::string log = log_with_records(static_cast<std::uint32_t>(state.range(0)));
    std::size_t written = 0;
    for ([[maybe_unused]] const auto _ : state) {
        lab::record_writer writer(format, [&](std::string_view text) { written += text.size(); });
        lab::log_scanner scanner([&](const lab::found_record& found) { writer.write(found); });
        for (std::size_t at = 0; at < log.size();) {
            const auto space = scanner.space();
            const std::size_t count = std::min(space.size(), log.size() - at);
            std::copy_n(log.data() + at, count, space.data());
            scanner.filled(count);
            at += count;
        }
        scanner.finish();
        writer.finish();
    }
    benchmark::DoNotOptimize(written);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(log.size()));
}
BENCHMARK_CAPTURE(find_records, json, output_format::json)->ArgName("lines_per_record")->Arg(100)->Arg(1);
BENCHMARK_CAPTURE(find_records, csv, output_format::csv)->ArgName("lines_per_record")->Arg(100)->Arg(1);

}  // namespace
