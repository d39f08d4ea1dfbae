#include "lab/compare/sweep.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "lab/compare/digest.h"
#include "lab/compare/identity.h"
#include "lab/compare/kept_runs.h"
#include "lab/compare/process_pool.h"
#include "lab/compare/run_json.h"
#include "lab/compare/run_one.h"
#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/text.h"

namespace lab {

namespace {

constexpr std::size_t NO_LIMIT = SIZE_MAX;

std::optional<double> number_of(std::string_view text) {
    double value = 0;
    const auto [end, wrong] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool is_number = wrong == std::errc() && end == text.data() + text.size() && std::isfinite(value);
    return is_number ? std::optional(value) : std::nullopt;
}

std::string text_of_number(double value) {
    char text[32];
    const double rounded =
        std::round(value * 1e9) / 1e9;  // what adding steps leaves behind is no value of a person's
    return {text, std::to_chars(text, text + sizeof text, rounded).ptr};
}

// "15..45:5"; nothing when it is no range.
std::optional<std::vector<std::string>> range_of(std::string_view text, std::string_view whole) {
    const std::size_t dots = text.find("..");
    if (dots == text.npos) return std::nullopt;
    const std::size_t colon = text.find(':', dots);
    const auto from = number_of(text.substr(0, dots));
    const auto to = number_of(text.substr(dots + 2, colon == text.npos ? NO_LIMIT : colon - dots - 2));
    const auto step = colon == text.npos ? std::optional(1.0) : number_of(text.substr(colon + 1));
    if (!from || !to || !step || *step <= 0 || *to < *from)
        throw input_error("--vary: not FROM..TO:STEP, upward: " + for_message(whole));
    const double count = std::floor((*to - *from) / *step + 1e-9);
    if (count >= static_cast<double>(sweep_plan::MOST_RUNS))
        throw input_error("--vary: too many values: " + for_message(whole));
    std::vector<std::string> values;
    for (int i = 0; i <= static_cast<int>(count); ++i) values.push_back(text_of_number(*from + i * *step));
    return values;
}

// A row's result depends on these; it names its file, so that counts too.
digest digest_of(const sweep_plan& plan, const std::string& text, const scenario& read,
                 const std::vector<std::string>& settings) {
    digest all = run_digest(this_build());
    all.add(plan.scenario);
    add_scenario(all, text, read, settings);
    return all;
}

std::string run_job(const scenario& plan, const std::vector<std::string>& settings, const kept_runs& kept,
                    const digest& name) {
    const run_result result = run_scenario(plan, image_at_start(plan), settings).result;
    kept.keep(name, result);
    return json_of(result).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

varied_key parse_varied(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == text.npos || equals == 0 || equals + 1 == text.size())
        throw input_error("--vary: not KEY=V1,V2 or KEY=FROM..TO:STEP: " + for_message(text));
    varied_key varied{text.substr(0, equals), {}};
    const std::string_view list = std::string_view(text).substr(equals + 1);
    if (auto range = range_of(list, text)) {
        varied.values = std::move(*range);
        return varied;
    }
    for (std::size_t at = 0; at <= list.size();) {
        const std::size_t comma = std::min(list.find(',', at), list.size());
        varied.values.emplace_back(list.substr(at, comma - at));
        const auto first = std::find(varied.values.begin(), varied.values.end(), varied.values.back());
        if (varied.values.back().empty() || first != varied.values.end() - 1)
            throw input_error("--vary: a value is empty or there twice: " + for_message(text));
        at = comma + 1;
    }
    return varied;
}

std::vector<std::vector<std::string>> sweep_plan::grid() const {
    std::size_t count = is_zipped ? varied.front().values.size() : 1;
    for (const varied_key& each : varied) {
        if (is_zipped && each.values.size() != count)
            throw input_error("--zip: " + for_message(varied.front().key) + " has " + std::to_string(count) +
                              " values, " + for_message(each.key) + " " + std::to_string(each.values.size()));
        if (!is_zipped) count *= each.values.size();
        if (count > MOST_RUNS) throw input_error("--vary: more than " + std::to_string(MOST_RUNS) + " runs");
    }
    std::vector<std::vector<std::string>> all(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t rest = i;
        for (auto each = varied.rbegin(); each != varied.rend(); ++each) {
            const std::size_t size = each->values.size();
            all[i].insert(all[i].begin(), each->values[is_zipped ? i : rest % size]);
            rest /= size;
        }
    }
    return all;
}

std::size_t sweep_result::failed() const {
    return static_cast<std::size_t>(std::count_if(rows.begin(), rows.end(), [](const sweep_row& each) {
        return each.run.status == run_status::crashed || each.run.status == run_status::failed;
    }));
}

sweep_result run_sweep(const sweep_plan& plan, const std::function<void(double)>& heard) {
    sweep_result all;
    for (const varied_key& each : plan.varied) all.keys.push_back(each.key);
    const std::string text = read_file(plan.scenario);
    std::vector<scenario> plans;
    std::vector<std::vector<std::string>> settings;
    for (auto& values : plan.grid()) {
        std::vector<std::string>& each = settings.emplace_back(plan.settings);
        for (std::size_t i = 0; i < values.size(); ++i) each.push_back(all.keys[i] + "=" + values[i]);
        plans.push_back(parse_scenario(text, plan.scenario, each));
        all.rows.push_back({std::move(values), {}});
    }
    std::vector<std::size_t> open;  // rows that are not known yet
    const kept_runs results(plan.keep);
    const auto name_of = [&](std::size_t row) { return digest_of(plan, text, plans[row], settings[row]); };
    for (std::size_t row = 0; row < all.rows.size(); ++row) {
        auto known = results.find(name_of(row));
        if (known) {
            all.rows[row].run = std::move(*known);
            all.known += 1;
        } else {
            open.push_back(row);
        }
    }
    std::size_t done = 0;
    run_jobs(
        open.size(), plan.at_once,
        [&](std::size_t i) { return run_job(plans[open[i]], settings[open[i]], results, name_of(open[i])); },
        [&](std::size_t i, const job_end& end) {
            run_result& into = all.rows[open[i]].run;
            if (end.is_good) {
                into = run_from_json(nlohmann::ordered_json::parse(end.output));
            } else {
                into.about.input = plan.scenario;
                into.about.settings = settings[open[i]];
                into.status = run_status::failed;
                into.error = end.error;
            }
            heard(static_cast<double>(++done) / static_cast<double>(open.size()));
        });
    return all;
}

std::map<std::size_t, std::size_t> references(const sweep_result& of, const std::string& value) {
    std::optional<std::size_t> key;
    for (const sweep_row& row : of.rows) {
        for (std::size_t i = 0; i < row.values.size(); ++i) {
            if (row.values[i] != value) continue;
            if (key && *key != i)
                throw input_error("--reference: both " + for_message(of.keys[*key]) + " and " +
                                  for_message(of.keys[i]) + " take " + for_message(value));
            key = i;
        }
    }
    if (!key) throw input_error("--reference: no --vary has the value " + for_message(value));
    std::map<std::size_t, std::size_t> found;
    for (std::size_t row = 0; row < of.rows.size(); ++row) {
        std::vector<std::string> values = of.rows[row].values;
        if (values[*key] == value) continue;
        values[*key] = value;
        const auto other = std::find_if(of.rows.begin(), of.rows.end(),
                                        [&](const sweep_row& each) { return each.values == values; });
        if (other != of.rows.end()) found[row] = static_cast<std::size_t>(other - of.rows.begin());
    }
    return found;
}

}  // namespace lab
