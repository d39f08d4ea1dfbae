// run_json: results of runs as JSON, and back (docs/formats.md, "Results").
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "lab/compare/identity.h"
#include "lab/compare/run_result.h"

namespace lab {

inline constexpr std::string_view RUN_SCHEMA = "vorn-lab/run/1";

nlohmann::ordered_json json_of(const run_result& result);
nlohmann::ordered_json json_of(const build_identity& build);

// The document: its schema, the build, the runs in order; ends with a line feed.
std::string run_document(const std::vector<nlohmann::ordered_json>& runs);

struct run_report {
    build_identity build;
    std::vector<run_result> runs;
};

// Reads such a document; `name` is what it is called in messages. Keys that are not known are passed over, and what
// is missing stays as it is in a new object. Throws input_error for what is no such document.
run_report read_run_document(std::string_view text, const std::string& name);
run_result run_from_json(const nlohmann::ordered_json& from);

}  // namespace lab
