// The yardstick: how near the estimator comes to a known state of charge, resistance and capacity.
#pragma once

#include <cstdint>
#include <string>

namespace yardstick {

// The cell's two quantities that the estimator learns.
struct cell {
    double resistance_mohm = 0;
    double capacity_as = 0;
};
constexpr cell DEFAULTS = {90, 27000};  // what the estimator starts from without a file

// What the daemon hands to the estimator in a cycle.
struct sample {
    std::uint64_t elapsed_s;
    std::int32_t voltage_uv;
    std::int32_t current_ua;
    std::int32_t temperature_decic;
    std::int32_t status;
};

// The estimator alone, as the daemon runs it. There is one per process: start() begins anew.
namespace estimator {
void start(const char* vendor, std::int32_t toc_mv, const cell& known);
bool update(const sample& seen);  // whether it could use the sample
double soc_pct();                 // between the charge limits
double shown_pct();               // landed and smoothed: what the display follows
cell learnt();
}  // namespace estimator

// Errors of an estimate against a truth, in percent of charge.
class score {
  public:
    void add(double estimate_pct, double truth_pct);
    void print() const;  // mean (positive: too high), mean magnitude, largest: as SCORE_COLUMNS says

  private:
    double sum_ = 0;
    double sum_magnitude_ = 0;
    double largest_ = 0;
    double count_ = 0;
};
constexpr char SCORE_COLUMNS[] = " mean   |e|   max ";

// Each prints a table.
void run_recordings(const std::string& directory);  // of recorded batteries that carry a reference
void run_drives();                                  // of simulated batteries, where everything is known

}  // namespace yardstick
