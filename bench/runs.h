// The runs that are measured: a simulated phone, or a recording of one, with nobody, a series or a report listening.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/scenario/scenario.h"
#include "lab/session/listener.h"

namespace bench {

constexpr std::int64_t CYCLES_PER_DAY = 8640;

// Always on, used in bursts by day and charged by night.
lab::scenario phone_in_use(std::int64_t days);

void run_alone(const lab::scenario& phone);
void run_with_series(const lab::scenario& phone);
// Gathers the report's data, and packs them into a page if wanted: that is done once, however long the run.
void run_with_report(const lab::scenario& phone, bool writes_page);

// A phone used by day and charged by night as a trace with every sensor column.
std::string trace_in_use(std::int64_t cycles);

void replay(const std::string& trace, const std::vector<lab::listener*>& listeners);

}  // namespace bench
