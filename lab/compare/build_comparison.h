// build_comparison: two builds over many inputs. Verdict, lines, JSON and what is expected all come from this one object.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/compare/causes.h"
#include "lab/compare/compare_input.h"
#include "lab/compare/input_difference.h"

namespace lab {

// A figure over the seeds of one scenario: the new build less the old one, seed by seed.
struct paired_figure {
    std::string input;
    std::string key;
    std::size_t pairs = 0;
    double median = 0;
    // Of the median, 95 % without assuming a distribution; nothing is shown below FEWEST_PAIRS or when it holds 0.
    double low = 0, high = 0;
    bool is_shown = false;
};

enum class comparison_verdict : std::uint8_t { same, differs, no_answer };

struct build_comparison {
    static constexpr std::size_t FEWEST_PAIRS = 6;

    comparison_plan plan;
    bool is_same_code = false;  // nothing had to run
    std::vector<input_difference> inputs;
    std::vector<cause> open, closed;
    std::vector<paired_figure> paired;
    // Of what is expected: what came and is not in the list, what is in the list and did not come.
    bool has_expected = false;
    std::vector<std::string> unexpected, missing;

    std::size_t failed() const;    // inputs that could not be compared
    std::size_t skipped() const;   // inputs that need not be
    std::size_t compared() const;  // the others
    std::size_t changed() const;   // those of them with a difference
    bool has_changed(const input_difference& input) const;
    comparison_verdict verdict() const;
};

// Scenarios and traces of the inputs; a folder stands for all .toml and .csv in it. Throws input_error for what is not
// there.
std::vector<std::string> files_of(const std::vector<std::string>& inputs);

// Runs both builds over all files, `at_once` at a time (0: one for each core); `heard` is told how far it is.
build_comparison compare_builds(const comparison_plan& plan, const std::vector<std::string>& files,
                                std::size_t at_once, const std::function<void(double)>& heard);

// Median and interval of differences.
paired_figure paired(std::vector<double> differences);

}  // namespace lab
