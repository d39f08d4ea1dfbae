// sweep: one scenario with many values.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lab/compare/quantities.h"
#include "lab/compare/run_result.h"

namespace lab {

inline constexpr std::string_view SWEEP_SCHEMA = "vorn-lab/sweep/1";

// A key and the values that it takes, as texts for --set.
struct varied_key {
    std::string key;
    std::vector<std::string> values;
};

// Of "KEY=V1,V2,..." or "KEY=FROM..TO:STEP", both ends included. Throws input_error for another form.
varied_key parse_varied(const std::string& text);

struct sweep_plan {
    static constexpr std::size_t MOST_RUNS = 100'000;

    std::string scenario;
    std::vector<std::string> settings;  // of every run
    std::vector<varied_key> varied;
    bool is_zipped = false;  // side by side in place of each with each
    std::string keep;        // folder of results; empty: none is kept
    std::size_t at_once = 0;

    // The values of every run, one for each key; the first key's change last. Throws input_error when keys that go side
    // by side have not equally many, and when there are too many runs.
    std::vector<std::vector<std::string>> grid() const;
};

struct sweep_row {
    std::vector<std::string> values;
    run_result run;
};

struct sweep_result {
    std::vector<std::string> keys;
    std::vector<sweep_row> rows;
    std::size_t known = 0;  // rows from earlier

    std::size_t failed() const;  // rows that did not run to their end
};

// All rows, on all cores. A result that is kept under the identity of this build, the scenario's text and its settings
// is taken from there, and each new one is kept as soon as it is there. Throws input_error for a scenario that is wrong
// with any of the values, before the first run.
sweep_result run_sweep(const sweep_plan& plan, const std::function<void(double)>& heard);

// Differences to the rows in which one key has this value, other values alike. Throws input_error when no key, or more than one,
// has it. Keyed by row and quantity; rows of the reference itself have none.
std::map<std::size_t, std::size_t> references(const sweep_result& of, const std::string& value);

std::string sweep_text(const sweep_result& of, const std::string& reference);
std::string sweep_csv(const sweep_result& of);
std::string sweep_document(const sweep_result& of);
std::string sweep_page(const sweep_result& of, const std::string& scenario);

}  // namespace lab
