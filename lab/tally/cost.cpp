#include "lab/tally/cost.h"

#include <algorithm>

#include "lab/io/print.h"
#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr double DAY_S = 86400.0;
constexpr double YEAR_S = 365.25 * DAY_S;

}  // namespace

void cost::on_event(const event& what) {
    switch (what.kind) {
        case event_kind::log:
            log_lines += 1;
            break;
        case event_kind::metric:
            records += 1;
            break;
        case event_kind::property_set:
            property_writes += 1;
            break;
        case event_kind::write: {
            auto& file = files[what.name];
            file.writes += 1;
            if (what.result < 0) file.failed += 1;
            file.bytes += std::max<std::int64_t>(what.result, 0);
            break;
        }
    }
}

void cost::on_cycle(const cycle& after) {
    if (cycles == 0) first_real_time_s_ = after.real_time_s;
    if (cycles == 0 || after.boot != boot_) {
        boots += 1;
        finished_boots_s_ += boot_elapsed_s_;
        boot_ = after.boot;
    }
    cycles += 1;
    boot_elapsed_s_ = after.elapsed_s;
    last_real_time_s_ = after.real_time_s;
}

std::int64_t cost::span_s() const {
    if (known_span_s > 0) return known_span_s;
    const std::int64_t running_s = finished_boots_s_ + boot_elapsed_s_;
    if (std::min(first_real_time_s_, last_real_time_s_) < CLOCK_SET_SINCE_S) return running_s;
    return std::max(last_real_time_s_ - first_real_time_s_, running_s);
}

double cost::per_day(std::int64_t count) const {
    const auto span = static_cast<double>(span_s());
    return span > 0 ? static_cast<double>(count) * DAY_S / span : 0.0;
}

double cost::per_year(std::int64_t count) const {
    return per_day(count) * (YEAR_S / DAY_S);
}

std::string cost_text(const cost& counted) {
    std::string text;
    print(text, "%lld cycles in %lld %s over %s\n", static_cast<long long>(counted.cycles),
          static_cast<long long>(counted.boots), counted.boots == 1 ? "boot" : "boots",
          duration_text(counted.span_s()).c_str());
    print(text, "%.1f log lines, %.1f records and %.1f property writes a day\n",
          counted.per_day(counted.log_lines), counted.per_day(counted.records),
          counted.per_day(counted.property_writes));
    print(text, "%-48s %12s %14s %8s\n", "state file", "writes/year", "bytes/year", "failed");
    const auto append_file = [&](const char* name, const file_cost& file) {
        print(text, "%-48s %12.1f %14.0f %8lld\n", name, counted.per_year(file.writes),
              counted.per_year(file.bytes), static_cast<long long>(file.failed));
    };
    file_cost total;
    for (const auto& [path, file] : counted.files) {
        append_file(path.c_str(), file);
        total.writes += file.writes;
        total.bytes += file.bytes;
        total.failed += file.failed;
    }
    append_file("all of them", total);
    return text;
}

}  // namespace lab
