// page: the report as one file of HTML that needs nothing beside it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/report/report.h"
#include "lab/tally/cost.h"
#include "lab/tally/worth.h"

namespace lab {

// The whole page. `of` counted the same run; `compared` is there when a simulation was run a second time.
std::string page_html(const report& about, const cost& of, const std::optional<comparison>& compared);

namespace page_parts {

// The run but for its samples, as JSON: what each key means stands at its place in page_data.cpp.
std::string run_json(const report& about, const cost& of, const std::optional<comparison>& compared);

// The samples: the delta columns (pack.h) that run_json names under "samples", one after the other, each with one
// number for each bucket.
std::string sample_bytes(const thinned_series& series);
std::vector<std::string> sample_columns(const thinned_series& series);

// The page's own source, made at build time from the files in page/ (generated): what comes before the run's data
// and what comes after the samples'.
extern const std::string_view head, between, tail;

}  // namespace page_parts

}  // namespace lab
