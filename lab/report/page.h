// page: the report as one file of HTML that needs nothing beside it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lab/report/report.h"
#include "lab/report/sample_rows.h"
#include "lab/tally/cost.h"
#include "lab/tally/worth.h"

namespace lab {

// What was expected of a run, in words, and what became of it.
struct expectation_outcome {
    std::string what;
    std::string found;  // empty when it holds
    bool holds = true;
};

// What is known of a run only when it is over.
struct run_ending {
    std::optional<comparison> compared = {};  // of a simulation that was run a second time
    std::vector<expectation_outcome> expectations = {};
    // A second run over the same time, drawn beside the first; its decisions are compared with the first one's.
    const report* other = nullptr;
    bool is_from_log = false;  // what stands for cycles is the moments that a device's log has
    std::string caution = {};  // a sentence on what of the run must not be believed too far; empty: nothing
};

// The whole page, of runs that are finished (report::finish); `counted` is of the same run.
std::string page_html(const report& run, const cost& counted, const run_ending& ending);

namespace page_parts {

// What is drawn of a run over time.
std::vector<sample_row> rows_of(const report& run);

// What is drawn of a second run: its means, unless it is the first one over again.
std::vector<sample_row> means_of(std::vector<sample_row> rows);
bool is_drawn(const report& run, const report& other);

// The run but for its samples, as JSON: what each key means stands at its place in page_data.cpp.
std::string run_json(const report& run, const cost& counted, const run_ending& ending,
                     const std::vector<sample_row>& rows);

// The samples: the delta columns (pack.h) that run_json names under "samples", one after the other, each with one
// number for each row.
std::string sample_bytes(const std::vector<sample_row>& rows);
std::vector<std::string> sample_columns(const std::vector<sample_row>& rows);

}  // namespace page_parts

}  // namespace lab
