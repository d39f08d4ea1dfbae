#include "lab/compare/build_comparison.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "lab/compare/input_difference_json.h"
#include "lab/compare/process_pool.h"
#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/io/work_folder.h"

namespace lab {

namespace {

constexpr double OUTSIDE = 0.05;  // of the interval, both sides together

struct piece {
    std::string file;
    std::uint64_t seed = 0;
};

std::vector<piece> pieces_of(const comparison_plan& plan, const std::vector<std::string>& files) {
    std::vector<piece> pieces;
    for (const std::string& each : files) {
        if (plan.seeds == 0 || !is_scenario(each)) {
            pieces.push_back({each, 0});
            continue;
        }
        for (std::size_t seed = 1; seed <= plan.seeds; ++seed) pieces.push_back({each, seed});
    }
    return pieces;
}

std::vector<paired_figure> paired_figures(const std::vector<input_difference>& inputs) {
    std::map<std::pair<std::string, std::string>, std::vector<double>> differences;
    for (const input_difference& input : inputs) {
        for (const quantity_difference& each : input.figures)
            differences[{input.input, each.key}].push_back(each.after - each.before);
    }
    std::vector<paired_figure> all;
    for (auto& [name, each] : differences) {
        if (std::all_of(each.begin(), each.end(), [](double by) { return by == 0; })) continue;
        paired_figure figure = paired(std::move(each));
        figure.input = name.first;
        figure.key = name.second;
        all.push_back(std::move(figure));
    }
    return all;
}

}  // namespace

paired_figure paired(std::vector<double> differences) {
    paired_figure figure;
    std::erase_if(differences, [](double by) { return std::isnan(by); });
    std::sort(differences.begin(), differences.end());
    const std::size_t count = figure.pairs = differences.size();
    if (count == 0) return figure;
    figure.median = (differences[(count - 1) / 2] + differences[count / 2]) / 2;
    // As many as may be left out at each end, so that it still holds the median in 95 of 100 cases: each difference is
    // above it as likely as below, so how many are below is binomial.
    double chance = std::pow(0.5, static_cast<double>(count)), sum = chance;
    std::size_t outside = 0;
    while (2 * sum <= OUTSIDE) {
        outside += 1;
        chance *= static_cast<double>(count - outside + 1) / static_cast<double>(outside);
        sum += chance;
    }
    if (outside == 0) return figure;
    figure.low = differences[outside - 1];
    figure.high = differences[count - outside];
    figure.is_shown = figure.low > 0 || figure.high < 0;
    return figure;
}

std::size_t build_comparison::failed() const {
    return static_cast<std::size_t>(
        std::count_if(inputs.begin(), inputs.end(), [](const auto& each) { return !each.error.empty(); }));
}

std::size_t build_comparison::skipped() const {
    return static_cast<std::size_t>(
        std::count_if(inputs.begin(), inputs.end(), [](const auto& each) { return !each.skipped.empty(); }));
}

std::size_t build_comparison::compared() const {
    return inputs.size() - failed() - skipped();
}

bool build_comparison::has_changed(const input_difference& input) const {
    const auto has_any = [this](const loop_difference& loop) {
        return !(loop.decisions.empty() && loop.quantities.empty() && loop.effects.empty()) ||
               (plan.is_exact && !loop.is_same);
    };
    const auto is_in = [&input](const cause& each) {
        return std::find(each.inputs.begin(), each.inputs.end(), input.input) != each.inputs.end();
    };
    return has_any(input.open) || has_any(input.closed) || std::any_of(open.begin(), open.end(), is_in);
}

std::size_t build_comparison::changed() const {
    return static_cast<std::size_t>(
        std::count_if(inputs.begin(), inputs.end(), [this](const auto& each) { return has_changed(each); }));
}

comparison_verdict build_comparison::verdict() const {
    if (failed() > 0 || (compared() == 0 && !is_same_code)) return comparison_verdict::no_answer;
    const bool differs = has_expected ? !(unexpected.empty() && missing.empty()) : changed() > 0;
    return differs ? comparison_verdict::differs : comparison_verdict::same;
}

std::vector<std::string> files_of(const std::vector<std::string>& inputs) {
    std::vector<std::string> files;
    for (const std::string& input : inputs) {
        std::error_code wrong;
        if (!std::filesystem::is_directory(input, wrong)) {
            if (!std::filesystem::exists(input, wrong))
                throw input_error(for_message(input) + ": No such file or directory");
            files.push_back(input);
            continue;
        }
        std::vector<std::string> found;
        for (const auto& each : std::filesystem::directory_iterator(input)) {
            const bool is_one = each.path().extension() == ".toml" || each.path().extension() == ".csv";
            if (is_one && each.is_regular_file()) found.push_back(each.path().string());
        }
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

build_comparison compare_builds(const comparison_plan& plan, const std::vector<std::string>& files,
                                std::size_t at_once, const std::function<void(double)>& heard) {
    const std::vector<piece> pieces = pieces_of(plan, files);
    build_comparison all;
    all.plan = plan;
    all.inputs.resize(pieces.size());
    const work_folder folder;
    std::size_t done = 0;
    run_jobs(
        pieces.size(), at_once,
        [&](std::size_t i) {
            const auto found =
                compare_input(plan, pieces[i].file, pieces[i].seed, folder.path() + "/" + std::to_string(i));
            return json_of(found).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        },
        [&](std::size_t i, const job_end& end) {
            if (end.is_good) {
                all.inputs[i] = input_difference_from(nlohmann::ordered_json::parse(end.output));
            } else {
                all.inputs[i].input = pieces[i].file;
                all.inputs[i].error = end.error;
            }
            heard(static_cast<double>(++done) / static_cast<double>(pieces.size()));
        });
    all.open = causes_of(all.inputs, true, plan.is_exact);
    all.closed = causes_of(all.inputs, false, plan.is_exact);
    all.paired = paired_figures(all.inputs);
    return all;
}

}  // namespace lab
