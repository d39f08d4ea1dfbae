// vorn-lab yardstick: how good the estimate is, on simulated and on recorded batteries.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "battery/vendor_table.h"
#include "lab/cli/commands.h"
#include "lab/io/distinct_files.h"
#include "lab/io/error.h"
#include "lab/io/output_file.h"
#include "lab/io/text.h"
#include "lab/report/line_page.h"
#include "lab/report/provenance.h"
#include "lab/yardstick/yardstick.h"

namespace lab {

namespace {

struct yardstick_options {
    std::vector<std::string> traces;
    std::string toc, vendor = "ATL", page;
    bool runs_drives = false, prints_json = false;
};

std::optional<std::int32_t> toc_of(const std::string& text) {
    if (text.empty()) return std::nullopt;
    const auto toc_mv = parse_integer(text);
    if (!toc_mv || *toc_mv < 4000 || *toc_mv > 4450)
        throw input_error("--toc: not a top of charge from 4000 to 4450 mV: " + for_message(text));
    return static_cast<std::int32_t>(*toc_mv);
}

void check_vendor(const std::string& name) {
    std::string known;
    for (const batt_info* const each : batt_info_vendor_table) {
        if (each == nullptr) continue;
        if (name == each->vendor) return;
        known += (known.empty() ? "" : " and ") + std::string(each->vendor);
    }
    throw input_error("--vendor: no cell " + for_message(name) + "; there is " + known);
}

// Few enough to draw; the greatest of each stretch stays.
std::vector<std::pair<double, double>> thinned(const std::vector<std::pair<double, double>>& points) {
    constexpr std::size_t MOST = 1500;
    const std::size_t stretch = points.size() / MOST + 1;
    std::vector<std::pair<double, double>> kept;
    for (std::size_t at = 0; at < points.size(); at += stretch) {
        auto greatest = points[at];
        for (std::size_t i = at; i < std::min(at + stretch, points.size()); ++i) {
            if (std::abs(points[i].second) > std::abs(greatest.second)) greatest = points[i];
        }
        kept.push_back(greatest);
    }
    return kept;
}

line_chart chart_of(const yardstick::recording_result& of) {
    line_chart chart{of.name + ": estimate less reference, %", "hours", {}};
    for (const auto& each : of.runs)
        chart.lines.push_back({each.rows + ", " + each.start, thinned(each.errors_pct)});
    return chart;
}

text_table lines_of(const std::string& text) {
    text_table table;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        table.rows.push_back({text.substr(at, end - at)});
        at = end + 1;
    }
    return table;
}

void check(const yardstick_options& options) {
    if (options.traces.empty() && !options.runs_drives)
        throw input_error("yardstick: neither a TRACE nor --drives");
    if (options.traces.empty() && !options.page.empty())
        throw input_error("--report: there is no TRACE to draw");
    if (options.prints_json && options.runs_drives)
        throw input_error("--json: of traces only, not of --drives");
    if (options.prints_json && options.page == "-")
        throw input_error("--json: standard output is taken already");
    check_vendor(options.vendor);
    for (const std::string& each : options.traces)
        require_distinct_files({{"TRACE", each}}, {{"--report", options.page}});
}

std::string document_of(const std::vector<yardstick::recording_result>& results) {
    auto all = document_head("vorn-lab/yardstick/1");
    all["recordings"] = nlohmann::ordered_json::array();
    for (const auto& each : results) all["recordings"].push_back(yardstick::json_of(each));
    return all.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void measure(const yardstick_options& options) {
    check(options);
    const auto toc_mv = toc_of(options.toc);
    std::optional<output_file> page;
    if (!options.page.empty()) page.emplace(options.page);
    std::string text = options.runs_drives ? yardstick::drives_table() : "";
    std::vector<yardstick::recording_result> results;
    std::vector<line_chart> charts;
    for (const std::string& each : options.traces) {
        results.push_back(yardstick::measure_recording({each, options.vendor, toc_mv}));
        text += (text.empty() ? "" : "\n") + yardstick::text_of(results.back());
        charts.push_back(chart_of(results.back()));
    }
    if (page) {
        page->write(line_page("How good the estimate is", "How far the estimate was off, over time.", charts,
                              lines_of(text)));
        page->finish();
        page->commit();
    }
    if (options.page != "-") std::cout << (options.prints_json ? document_of(results) : text) << std::flush;
}

}  // namespace

void add_yardstick_command(CLI::App& app) {
    const auto options = std::make_shared<yardstick_options>();
    CLI::App& command = *app.add_subcommand("yardstick", "Measure how good the estimate is");
    command.add_option("TRACE", options->traces, "Recordings with soc_true_pct or a gauge's level");
    command.add_flag("--drives", options->runs_drives, "Measure it on simulated batteries, too");
    command.add_option("--toc", options->toc, "Top of charge, if not beside the highest voltage")
        ->type_name("MV");
    command.add_option("--vendor", options->vendor, "Whose curves it takes: ATL if not given")
        ->type_name("NAME");
    command.add_option("--report", options->page, "Write a page with the error over time")->type_name("FILE");
    command.add_flag("--json", options->prints_json, "Print the figures as JSON (docs/formats.md)");
    command.callback([options] { measure(*options); });
}

}  // namespace lab
