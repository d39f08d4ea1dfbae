#include "lab/compare/kept_runs.h"

#include <bit>
#include <cstdint>
#include <filesystem>
#include <utility>

#include "lab/compare/run_json.h"
#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/output_file.h"
#include "lab/io/text.h"

namespace lab {

digest run_digest(const build_identity& build) {
    digest all;
    all.add(build.daemon);
    all.add(build.lab);
    return all;
}

void add_scenario(digest& to, const std::string& text, const scenario& read,
                  const std::vector<std::string>& settings) {
    to.add(text);
    // The only thing that a scenario reads elsewhere.
    for (const double each : read.weather.hours_c) to.add(std::bit_cast<std::uint64_t>(each));
    for (const std::string& each : settings) to.add(each);
}

kept_runs::kept_runs(std::string folder) : folder_(std::move(folder)) {
    if (!is_on()) return;
    std::error_code wrong;
    std::filesystem::create_directories(folder_, wrong);
    if (!std::filesystem::is_directory(folder_))
        throw input_error("--keep: " + for_message(folder_) + ": " +
                          (wrong ? wrong.message() : std::string("is no folder")));
}

std::optional<run_result> kept_runs::find(const digest& of) const {
    if (!is_on() || !std::filesystem::exists(file_of(of))) return std::nullopt;
    run_report report = read_run_document(read_file(file_of(of)), file_of(of));
    if (report.runs.size() != 1) throw input_error(file_of(of) + ": is no kept result");
    return std::move(report.runs.front());
}

void kept_runs::keep(const digest& of, const run_result& result) const {
    if (!is_on()) return;
    output_file into(file_of(of));
    into.write(run_document({json_of(result)}));
    into.finish();
    into.commit();
}

}  // namespace lab
