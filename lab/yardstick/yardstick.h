// The yardstick: how near the estimator comes to a known state of charge, resistance and capacity.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lab::yardstick {

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
    void append(
        std::string& out) const;  // mean (positive: too high), mean magnitude, largest: as SCORE_COLUMNS says

  private:
    double sum_ = 0;
    double sum_magnitude_ = 0;
    double largest_ = 0;
    double count_ = 0;
};
constexpr char SCORE_COLUMNS[] = " mean   |e|   max ";

// Of simulated batteries, where everything is known: a table.
std::string drives_table();

struct recording {
    std::string path;                    // of a trace with a reference: soc_true_pct, or else a gauge's level
    std::string vendor;                  // whose curves the estimator takes
    std::optional<std::int32_t> toc_mv;  // if not the step next to the highest voltage
};

// One way to run the estimator over a recording, and how far it was off over time: hours and percent.
struct recorded_errors {
    std::string name;
    std::vector<std::pair<double, double>> estimate_pct;
};

// Of a recorded battery: a table, and the errors to draw. Throws input_error for a trace without a reference, and for one
// that cannot be read.
std::string recording_table(const recording& of, std::vector<recorded_errors>& errors);

}  // namespace lab::yardstick
