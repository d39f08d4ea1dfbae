// The yardstick: how near the estimator comes to a known state of charge, resistance and capacity.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
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
    void append(std::string& out) const;  // as SCORE_COLUMNS says; blanks without an estimate
    bool is_empty() const { return count_ == 0; }
    double mean_pct() const { return sum_ / count_; }  // positive: too high
    double mean_magnitude_pct() const { return sum_magnitude_ / count_; }
    double greatest_pct() const { return largest_; }

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

// One way to run the estimator over a recording.
struct recorded_run {
    std::string rows, start;  // "every 10 s"; "defaults": what it begins with
    score estimated, shown;
    cell learnt;
    std::size_t refused = 0;  // rows
    // How far it was off over time: hours and percent.
    std::vector<std::pair<double, double>> errors_pct;
};

struct recording_result {
    std::string name;
    std::size_t rows = 0;
    std::uint64_t spacing_s = 0;  // the usual one
    cell shown;                   // as the recording itself shows it; 0 where it does not
    std::int32_t toc_mv = 0;
    std::vector<recorded_run> runs;
};

// Throws input_error for a trace without a reference, and for one that cannot be read.
recording_result measure_recording(const recording& of);
std::string text_of(const recording_result& of);  // a table
nlohmann::ordered_json json_of(const recording_result& of);

}  // namespace lab::yardstick
