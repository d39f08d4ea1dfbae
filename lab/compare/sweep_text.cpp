// A sweep as a table, CSV, JSON and a page.

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "lab/compare/run_json.h"
#include "lab/compare/sweep.h"
#include "lab/io/print.h"
#include "lab/io/text.h"
#include "lab/report/line_page.h"

namespace lab {

namespace {

// Of all quantities, those of a table that a person reads.
struct shown_quantity {
    const char* key;
    const char* head;
};
constexpr std::array<shown_quantity, 7> SHOWN{{{"end.toc_mv", "published"},
                                               {"end.stress_h", "stress"},
                                               {"end.high_h", "above 4.3 V"},
                                               {"end.stopped_h", "stopped"},
                                               {"end.capacity_left_pct", "capacity left"},
                                               {"end.estimated.mean_magnitude_pct", "estimate off"},
                                               {"end.estimated.p95_pct", "off for 95 %"}}};
constexpr std::array<const char*, 4> STATUS_WORDS{"", "unexpected", "crashed", "failed"};

bool has_run(const sweep_row& of) {
    return of.run.status == run_status::good || of.run.status == run_status::unexpected;
}

std::string cell(const quantity& of, const run_result& run, const run_result* reference) {
    const auto value = of.of(run);
    if (!value) return "-";
    if (reference == nullptr) return amount_text(of.in, *value);
    const auto from = of.of(*reference);
    return from ? amount_text(of.in, *value - *from, true) : "-";
}

text_table table_of(const sweep_result& of, const std::map<std::size_t, std::size_t>& referred) {
    text_table table{of.keys, {}};
    for (const shown_quantity& each : SHOWN) table.head.emplace_back(each.head);
    table.head.emplace_back("");
    for (std::size_t i = 0; i < of.rows.size(); ++i) {
        const sweep_row& row = of.rows[i];
        std::vector<std::string>& cells = table.rows.emplace_back(row.values);
        const auto reference = referred.find(i);
        const run_result* const from =
            reference == referred.end() ? nullptr : &of.rows[reference->second].run;
        for (const shown_quantity& each : SHOWN)
            cells.push_back(has_run(row) ? cell(*find_quantity(each.key), row.run, from) : "");
        cells.push_back(STATUS_WORDS[static_cast<std::size_t>(row.run.status)] +
                        (row.run.error.empty() ? "" : ": " + on_one_line(row.run.error)));
    }
    return table;
}

// Columns of the table by the letters a person sees, not by bytes.
std::size_t width_of(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

void append_line(std::string& out, const std::vector<std::string>& cells,
                 const std::vector<std::size_t>& widths) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (i + 1 == cells.size()) {
            out += (cells[i].empty() ? "" : "  ") + cells[i] + "\n";
        } else {
            out += (i == 0 ? "" : "  ") + std::string(widths[i] - width_of(cells[i]), ' ') + cells[i];
        }
    }
}

std::string plain_number(std::optional<double> value) {
    if (!value || !std::isfinite(*value)) return "";
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, *value).ptr};
}

// The first key of which all values are numbers lies across; the others tell the lines apart.
std::optional<std::size_t> across_of(const sweep_result& of) {
    for (std::size_t key = 0; key < of.keys.size(); ++key) {
        const bool is_number = std::all_of(of.rows.begin(), of.rows.end(), [key](const sweep_row& each) {
            const std::string& text = each.values[key];
            double value = 0;
            const auto [end, wrong] = std::from_chars(text.data(), text.data() + text.size(), value);
            return wrong == std::errc() && end == text.data() + text.size();
        });
        if (is_number) return key;
    }
    return std::nullopt;
}

line_chart chart_of(const sweep_result& of, const quantity& what, std::size_t across) {
    line_chart chart{std::string(what.name), of.keys[across], {}};
    const std::string unit_text = amount_text(what.in, 0);
    if (const auto space = unit_text.find(' '); space != unit_text.npos)
        chart.title += "," + unit_text.substr(space);
    std::vector<std::string> names;
    for (const sweep_row& row : of.rows) {
        if (!has_run(row)) continue;
        std::string name;
        for (std::size_t key = 0; key < of.keys.size(); ++key) {
            if (key != across) name += (name.empty() ? "" : ", ") + of.keys[key] + " = " + row.values[key];
        }
        auto found = std::find_if(chart.lines.begin(), chart.lines.end(),
                                  [&](const line& each) { return each.name == name; });
        if (found == chart.lines.end()) found = chart.lines.insert(found, {name, {}});
        found->points.emplace_back(std::stod(row.values[across]), what.of(row.run).value_or(NAN));
    }
    for (line& each : chart.lines)
        std::stable_sort(each.points.begin(), each.points.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
    return chart;
}

}  // namespace

std::string sweep_text(const sweep_result& of, const std::string& reference) {
    std::map<std::size_t, std::size_t> referred;
    if (!reference.empty()) referred = references(of, reference);
    const text_table table = table_of(of, referred);
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < table.head.size(); ++i) {
        widths.push_back(width_of(table.head[i]));
        for (const auto& row : table.rows) widths.back() = std::max(widths.back(), width_of(row[i]));
    }
    std::string out;
    append_line(out, table.head, widths);
    for (const auto& row : table.rows) append_line(out, row, widths);
    return out;
}

std::string sweep_csv(const sweep_result& of) {
    std::string out;
    const auto append = [&out](std::string_view text, bool is_first) {
        if (!is_first) out += ',';
        append_csv_cell(out, text);
    };
    for (std::size_t i = 0; i < of.keys.size(); ++i) append(of.keys[i], i == 0);
    append("status", false);
    for (const quantity& each : quantities()) append(each.key, false);
    out += '\n';
    for (const sweep_row& row : of.rows) {
        for (std::size_t i = 0; i < row.values.size(); ++i) append(row.values[i], i == 0);
        append(row.run.status == run_status::good ? "good"
                                                  : STATUS_WORDS[static_cast<std::size_t>(row.run.status)],
               false);
        for (const quantity& each : quantities())
            append(has_run(row) ? plain_number(each.of(row.run)) : "", false);
        out += '\n';
    }
    return out;
}

std::string sweep_document(const sweep_result& of) {
    nlohmann::ordered_json all{{"schema", SWEEP_SCHEMA}, {"build", json_of(this_build())}, {"keys", of.keys}};
    all["rows"] = nlohmann::ordered_json::array();
    for (const sweep_row& row : of.rows)
        all["rows"].push_back({{"values", row.values}, {"run", json_of(row.run)}});
    return all.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string sweep_page(const sweep_result& of, const std::string& scenario) {
    std::vector<line_chart> charts;
    if (const auto across = across_of(of)) {
        for (const shown_quantity& each : SHOWN)
            charts.push_back(chart_of(of, *find_quantity(each.key), *across));
    }
    return line_page(of.rows.front().run.about.title.empty() ? scenario : of.rows.front().run.about.title,
                     text_of("%zu runs of %s, each with other values.", of.rows.size(), scenario.c_str()),
                     charts, table_of(of, {}));
}

}  // namespace lab
