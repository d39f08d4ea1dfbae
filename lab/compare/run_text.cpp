#include "lab/compare/run_text.h"

#include "lab/io/print.h"
#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr int NAME_WIDTH = 22;

std::string time_text(double seconds) {
    return duration_text(static_cast<std::int64_t>(seconds));
}

void print_errors(std::string& out, const char* name, const std::optional<error_figures>& of,
                  const std::string& reference) {
    if (!of) return;
    print(
        out,
        "  %-*s off by %.1f %% on average (mean %+.1f), %.1f %% for 95 of 100, %.1f %% at most, at %s (%s)\n",
        NAME_WIDTH, name, of->mean_magnitude_pct, of->mean_pct, of->p95_pct, of->greatest_pct,
        time_text(of->greatest_at_s).c_str(), reference.c_str());
}

std::string words_for_reference(const std::string& reference) {
    if (reference == "phone") return "against the simulated phone";
    return reference == "trace" ? "against the trace's soc_true_pct" : "against the gauge's level";
}

}  // namespace

std::string run_text(const run_result& of) {
    std::string out;
    const span_figures& end = of.whole;
    print(out, "  %-*s %d mV published, %.3f stress hours, %.2f h above 4.3 V\n", NAME_WIDTH, "voltage",
          end.toc_mv, end.stress_h, end.high_h);
    for (const stress_step& each : of.steps) {
        print(out, "  %-*s step %d, %d mV, after %s, at %.1f stress hours\n", NAME_WIDTH, "stress trip",
              each.step, each.toc_mv, time_text(each.t_s).c_str(), each.stress_h);
    }
    for (const charge_stop& each : of.stops) {
        print(out, "  %-*s by %s after %s, for %s%s\n", NAME_WIDTH, "charge stopped", each.why.c_str(),
              time_text(each.begin_s).c_str(), time_text(each.lasted_s).c_str(),
              each.is_open ? ", still at the end" : "");
    }
    if (end.capacity_left_pct && end.resistance_pct) {
        print(out, "  %-*s %.2f %% of the capacity, %.2f %% of the resistance, %.2f equivalent cycles\n",
              NAME_WIDTH, "cell", *end.capacity_left_pct, *end.resistance_pct, end.equivalent_cycles);
    }
    const std::string reference = words_for_reference(of.reference);
    print_errors(out, "estimate", end.estimated, reference);
    print_errors(out, "level shown", end.shown, reference);
    print(out, "  %-*s %lld cycles in %lld %s, %lld log lines and records of %lld bytes\n", NAME_WIDTH,
          "cost", static_cast<long long>(end.cost.cycles), static_cast<long long>(of.boot_count),
          of.boot_count == 1 ? "boot" : "boots",
          static_cast<long long>(end.cost.log_lines) + static_cast<long long>(end.cost.records),
          static_cast<long long>(end.cost.log_bytes));
    return out;
}

}  // namespace lab
