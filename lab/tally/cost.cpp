#include "lab/tally/cost.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr double DAY_S = 86400.0;
constexpr double YEAR_S = 365.25 * DAY_S;
constexpr std::int64_t CLOCK_SET_AFTER_S = 1609459200;  // 2021: an earlier wall clock was never set
constexpr std::size_t LINE_SIZE = 200;

[[gnu::format(printf, 2, 3)]] void append_line(std::string& text, const char* format, ...) {
    char line[LINE_SIZE];
    va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    text.append(line).append("\n");
}

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
    if (std::min(first_real_time_s_, last_real_time_s_) < CLOCK_SET_AFTER_S) return running_s;
    return std::max(last_real_time_s_ - first_real_time_s_, running_s);
}

double cost::per_day(std::int64_t count) const {
    const auto span = static_cast<double>(span_s());
    return span > 0 ? static_cast<double>(count) * DAY_S / span : 0.0;
}

double cost::per_year(std::int64_t count) const {
    return per_day(count) * (YEAR_S / DAY_S);
}

std::string cost_text(const cost& of) {
    std::string text;
    append_line(text, "%lld cycles in %lld %s over %s", static_cast<long long>(of.cycles),
                static_cast<long long>(of.boots), of.boots == 1 ? "boot" : "boots",
                duration_text(of.span_s()).c_str());
    append_line(text, "%.1f log lines, %.1f records and %.1f property writes a day", of.per_day(of.log_lines),
                of.per_day(of.records), of.per_day(of.property_writes));
    append_line(text, "%-48s %12s %14s %8s", "state file", "writes/year", "bytes/year", "failed");
    const auto append_file = [&](const char* name, const file_cost& file) {
        append_line(text, "%-48s %12.1f %14.0f %8lld", name, of.per_year(file.writes),
                    of.per_year(file.bytes), static_cast<long long>(file.failed));
    };
    file_cost total;
    for (const auto& [path, file] : of.files) {
        append_file(path.c_str(), file);
        total.writes += file.writes;
        total.bytes += file.bytes;
        total.failed += file.failed;
    }
    append_file("all of them", total);
    return text;
}

}  // namespace lab
