#include "lab/compare/quantities.h"

#include <algorithm>
#include <array>

namespace lab {

namespace {

using value = std::optional<double>;

template <auto MEMBER>
value figure(const run_result& of) {
    return of.whole.*MEMBER;
}

template <auto MEMBER>
value cost_figure(const run_result& of) {
    return static_cast<double>(of.whole.cost.*MEMBER);
}

template <auto ERRORS, auto MEMBER>
value error_figure(const run_result& of) {
    const auto& errors = of.whole.*ERRORS;
    return errors ? value((*errors).*MEMBER) : std::nullopt;
}

using span = span_figures;
using errors = error_figures;

constexpr std::array QUANTITIES{
    quantity{"expectations.failures", "expectations", "expectations that fail", unit::count,
             [](const run_result& of) { return value(static_cast<double>(of.failures.size())); }},
    quantity{"end.toc_mv", "top of charge", "published top of charge", unit::mv, figure<&span::toc_mv>},
    quantity{"end.stress_h", "battery stress", "stress hours", unit::hours, figure<&span::stress_h>},
    quantity{"end.stopped_h", "charging", "hours with charging stopped", unit::hours,
             figure<&span::stopped_h>},
    quantity{"end.high_h", "the cell", "hours above 4.3 V", unit::hours, figure<&span::high_h>},
    quantity{"end.capacity_left_pct", "the cell", "capacity left", unit::percent,
             figure<&span::capacity_left_pct>},
    quantity{"end.resistance_pct", "the cell", "resistance", unit::percent, figure<&span::resistance_pct>},
    quantity{"end.equivalent_cycles", "the cell", "equivalent cycles", unit::cycles,
             figure<&span::equivalent_cycles>},
    quantity{"end.estimated.mean_magnitude_pct", "estimator", "estimate off on average", unit::percent,
             error_figure<&span::estimated, &errors::mean_magnitude_pct>},
    quantity{"end.estimated.p95_pct", "estimator", "estimate off for 95 of 100", unit::percent,
             error_figure<&span::estimated, &errors::p95_pct>},
    quantity{"end.estimated.greatest_pct", "estimator", "estimate off at most", unit::percent,
             error_figure<&span::estimated, &errors::greatest_pct>},
    quantity{"end.shown.mean_magnitude_pct", "estimator", "level shown off on average", unit::percent,
             error_figure<&span::shown, &errors::mean_magnitude_pct>},
    quantity{"end.shown.p95_pct", "estimator", "level shown off for 95 of 100", unit::percent,
             error_figure<&span::shown, &errors::p95_pct>},
    quantity{"end.shown.greatest_pct", "estimator", "level shown off at most", unit::percent,
             error_figure<&span::shown, &errors::greatest_pct>},
    quantity{"boot_count", "the phone", "boots", unit::count,
             [](const run_result& of) { return value(static_cast<double>(of.boot_count)); }},
    quantity{"end.cost.cycles", COST, "cycles", unit::count, cost_figure<&run_cost::cycles>},
    quantity{"end.cost.log_lines", COST, "log lines", unit::count, cost_figure<&run_cost::log_lines>},
    quantity{"end.cost.records", COST, "records", unit::count, cost_figure<&run_cost::records>},
    quantity{"end.cost.log_bytes", COST, "bytes of log", unit::bytes, cost_figure<&run_cost::log_bytes>},
    quantity{"end.cost.property_writes", COST, "property writes", unit::count,
             cost_figure<&run_cost::property_writes>},
    quantity{"end.cost.file_writes", COST, "file writes", unit::count, cost_figure<&run_cost::file_writes>},
    quantity{"end.cost.failed_writes", COST, "failed file writes", unit::count,
             cost_figure<&run_cost::failed_writes>},
    quantity{"end.cost.file_bytes", COST, "bytes written to files", unit::bytes,
             cost_figure<&run_cost::file_bytes>},
};

constexpr double TENTH = 0.1;
constexpr double MILLI = 0.001;

constexpr std::array<column_meaning, COLUMN_COUNT + 1> COLUMNS{
    {{feature::charge_mgr, unit::mv, 1},       {feature::stress, unit::count, 1},
     {feature::pulldown, unit::count, 1},      {feature::charge_timer, unit::count, 1},
     {feature::thermal, unit::count, 1},       {feature::precharge, unit::count, 1},
     {feature::dyn_soc, unit::count, 1},       {feature::dyn_soc, unit::mohm, TENTH},
     {feature::dyn_soc, unit::as, 1},          {feature::dyn_soc, unit::mv, TENTH},
     {feature::dyn_soc, unit::mv, TENTH},      {feature::dyn_soc, unit::percent, MILLI},
     {feature::dyn_soc, unit::percent, MILLI}, {feature::dyn_soc, unit::percent, MILLI},
     {feature::dyn_soc, unit::percent, MILLI}, {feature::dyn_soc, unit::percent, MILLI},
     {feature::dyn_soc, unit::percent, MILLI}, {feature::dyn_soc, unit::percent, MILLI},
     {feature::dyn_soc, unit::count, 1},       {feature::dyn_soc, unit::count, 1},
     {feature::dyn_soc, unit::ma, 1},          {feature::dyn_soc, unit::ma, 1},
     {feature::dyn_soc, unit::percent, MILLI}, {feature::stress, unit::hours, 1}}};

}  // namespace

std::span<const quantity> quantities() {
    return QUANTITIES;
}

const quantity* find_quantity(std::string_view key) {
    const auto found = std::find_if(QUANTITIES.begin(), QUANTITIES.end(),
                                    [key](const quantity& each) { return each.key == key; });
    return found == QUANTITIES.end() ? nullptr : &*found;
}

std::span<const column_meaning> column_meanings() {
    return COLUMNS;
}

std::string_view column_name(std::size_t place) {
    return place < COLUMN_COUNT ? column_names[place] : STRESS_COLUMN;
}

}  // namespace lab
