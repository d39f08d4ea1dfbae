#include "lab/compare/comparison_text.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "lab/compare/input_difference_json.h"
#include "lab/compare/quantities.h"
#include "lab/io/print.h"
#include "lab/io/text.h"
#include "lab/io/time_text.h"

namespace lab {

namespace {

constexpr std::size_t MOST_CAUSES = 10;
constexpr std::size_t MOST_NAMED = 2;  // inputs
constexpr int FEATURE_WIDTH = 17;

constexpr const char* LAB_DIFFERS =
    ": the phone may differ by the lab alone; --daemon runs OLD's daemon in NEW's lab, "
    "--only-traces leaves the phone out";

std::string head(const build_comparison& of) {
    const comparison_plan& plan = of.plan;
    const auto codes = [](bool is_same, const std::string& was, const std::string& is) {
        return is_same ? "same" : was + " -> " + is;
    };
    std::string text;
    print(text, "daemon %s, lab %s%s\n",
          codes(plan.has_same_daemon(), plan.before.identity.daemon, plan.after.identity.daemon).c_str(),
          codes(plan.has_same_lab(), plan.before.identity.lab, plan.after.identity.lab).c_str(),
          !plan.before.lab.empty()                                     ? " (OLD's daemon in NEW's lab)"
          : plan.has_same_lab() || of.is_same_code || plan.only_traces ? ""
                                                                       : LAB_DIFFERS);
    return text;
}

std::string verdict_line(const build_comparison& of) {
    if (of.is_same_code) return "same daemon code: nothing to compare (--always runs it all the same)\n";
    const std::size_t failed = of.failed(), compared = of.compared();
    std::string text;
    if (of.inputs.empty()) return "no answer: there was nothing to compare\n";
    const char* const exact = of.plan.seeds == 0 ? "exact: no noise in play" : "over seeds";
    if (of.changed() > 0) {
        print(text, "differs: %zu of %zu (%s)\n", of.changed(), compared, exact);
    } else if (compared > 0) {
        print(text, "same: %zu compared, nothing differs (%s)\n", compared, exact);
    } else if (failed == 0) {
        text += "no answer: all are skipped\n";
    }
    if (failed > 0) print(text, "no answer for %zu of %zu, which did not run:\n", failed, of.inputs.size());
    for (const input_difference& each : of.inputs) {
        if (!each.error.empty()) print(text, "  %s: %s\n", each.input.c_str(), each.error.c_str());
    }
    if (of.skipped() > 0) print(text, "skipped: %zu of %zu, named below\n", of.skipped(), of.inputs.size());
    return text;
}

std::string inputs_text(const cause& of, std::size_t count) {
    if (of.inputs.size() == count && count > MOST_NAMED) return text_of("all %zu", count);
    if (of.inputs.size() > MOST_NAMED) return text_of("%zu of %zu", of.inputs.size(), count);
    std::string names;
    for (const std::string& each : of.inputs)
        names += (names.empty() ? "" : ", ") + std::filesystem::path(each).stem().string();
    return names;
}

bool is_figure(const cause& of) {
    return of.key.find(": figure: ") != std::string::npos;
}

// One line: several figures of one thing on the same inputs are told together.
struct cause_line {
    std::string feature, what;
    const cause* first;
};

std::vector<cause_line> lines_of(const std::vector<cause>& all) {
    std::vector<cause_line> lines;
    for (const cause& each : all) {
        const bool has_class = is_figure(each) || each.key.find(": state: ") != std::string::npos;
        const std::string what = each.what + (has_class ? " (" + std::string(name_of(each.how)) + ")" : "");
        const auto together = std::find_if(lines.begin(), lines.end(), [&](const cause_line& line) {
            return is_figure(each) && is_figure(*line.first) && line.feature == each.feature;
        });
        if (together == lines.end()) {
            lines.push_back({each.feature, what, &each});
        } else {
            together->what += "; " + what;
        }
    }
    return lines;
}

void print_causes(std::string& text, const char* heading, const std::vector<cause>& all, std::size_t inputs,
                  bool shows_all) {
    print(text, "\n%s\n", heading);
    const std::vector<cause_line> lines = lines_of(all);
    const std::size_t shown = shows_all ? lines.size() : std::min(lines.size(), MOST_CAUSES);
    for (std::size_t i = 0; i < shown; ++i)
        print(text, "  %-*s %s: %s\n", FEATURE_WIDTH, lines[i].feature.c_str(), lines[i].what.c_str(),
              inputs_text(*lines[i].first, inputs).c_str());
    if (all.empty()) print(text, "  nothing\n");
    if (shown == lines.size()) return;
    std::map<std::string, std::size_t> rest;
    for (std::size_t i = shown; i < lines.size(); ++i) rest[lines[i].feature] += 1;
    std::string names;
    for (const auto& [feature, count] : rest)
        names += (names.empty() ? "" : ", ") + text_of("%zu of %s", count, feature.c_str());
    print(text, "  and %zu more: %s (--all)\n", lines.size() - shown, names.c_str());
}

void print_first(std::string& text, const build_comparison& of) {
    const auto found = std::find_if(of.inputs.begin(), of.inputs.end(),
                                    [](const input_difference& each) { return each.open.first.has_value(); });
    if (found == of.inputs.end()) return;
    const first_divergence& first = *found->open.first;
    print(text, "\nThe first effect that differs: %s, boot %lld, %s after its start\n", found->input.c_str(),
          static_cast<long long>(first.boot), elapsed_text(first.elapsed_s).c_str());
    for (const std::string& each : first.lines) print(text, "  %s\n", each.c_str());
    const auto& columns = found->open.columns;
    const auto earliest = std::min_element(columns.begin(), columns.end(), [](const auto& a, const auto& b) {
        return std::pair(a.boot, a.elapsed_s) < std::pair(b.boot, b.elapsed_s);
    });
    if (earliest == columns.end()) return;
    print(text, "  the daemon's state differs from boot %lld, %s on, %s first\n",
          static_cast<long long>(earliest->boot), elapsed_text(earliest->elapsed_s).c_str(),
          earliest->column.c_str());
}

void print_paired(std::string& text, const build_comparison& of) {
    if (of.plan.seeds == 0) return;
    print(text,
          "\nNew less old over %zu seeds: median, and where it lies with 95 %%; ~ where nothing is shown\n",
          of.plan.seeds);
    if (of.plan.seeds < build_comparison::FEWEST_PAIRS)
        print(text, "  fewer than %zu seeds show nothing\n", build_comparison::FEWEST_PAIRS);
    for (const paired_figure& each : of.paired) {
        const auto known = quantities();
        const auto meaning = std::find_if(known.begin(), known.end(),
                                          [&](const quantity& one) { return one.key == each.key; });
        const std::string range = each.is_shown ? amount_text(meaning->in, each.low, true) + " to " +
                                                      amount_text(meaning->in, each.high, true)
                                                : "~";
        print(text, "  %-32s %12s  %s: %s\n", std::string(meaning->name).c_str(),
              amount_text(meaning->in, each.median, true).c_str(), range.c_str(), each.input.c_str());
    }
    if (of.paired.empty()) print(text, "  nothing differs in any pair\n");
}

void print_expected(std::string& text, const build_comparison& of) {
    if (!of.has_expected) return;
    if (of.unexpected.empty() && of.missing.empty()) print(text, "\nAll of it is expected.\n");
    for (const std::string& each : of.unexpected) print(text, "\nnot expected: %s", each.c_str());
    for (const std::string& each : of.missing) print(text, "\nexpected, but not there: %s", each.c_str());
    if (!(of.unexpected.empty() && of.missing.empty())) text += '\n';
}

// Folder by folder, as many names a line as go into it.
void print_skipped(std::string& text, const build_comparison& of) {
    constexpr std::size_t WIDTH = 100;
    std::string folder, line, why;
    for (const input_difference& each : of.inputs) {
        if (each.skipped.empty()) continue;
        if (each.skipped != why) text += "\nSkipped, as " + (why = each.skipped);
        const std::filesystem::path path(each.input);
        const std::string where = path.has_parent_path() ? path.parent_path().string() : ".";
        const std::string name = " " + for_message(path.filename().string()) +
                                 (each.seed == 0 ? "" : " (seed " + std::to_string(each.seed) + ")");
        const bool is_elsewhere = where != folder;
        if (is_elsewhere || line.size() + name.size() > WIDTH) {
            text += line + "\n";
            line = "   ";
        }
        if (is_elsewhere) text += "  " + for_message(folder = where) + ":\n";
        line += name;
    }
    if (!line.empty()) text += line + "\n";
}

nlohmann::ordered_json json_of(const std::vector<cause>& of) {
    auto list = nlohmann::ordered_json::array();
    for (const cause& each : of)
        list.push_back({{"key", each.key},
                        {"feature", each.feature},
                        {"what", each.what},
                        {"class", name_of(each.how)},
                        {"count", each.count},
                        {"inputs", each.inputs}});
    return list;
}

nlohmann::ordered_json json_of(const other_build& of, const std::vector<std::string>& settings) {
    return {{"program", of.program},
            {"version", of.identity.version},
            {"daemon", of.identity.daemon},
            {"lab", of.identity.lab},
            {"settings", settings}};
}

}  // namespace

std::string comparison_text(const build_comparison& of, bool shows_all) {
    std::string text = head(of) + verdict_line(of);
    if (of.is_same_code) return text;
    const std::size_t compared = of.compared();
    if (of.changed() > 0) {
        if (!of.plan.has_same_daemon() || !of.open.empty())
            print_causes(text, "What the code decides differently on the same inputs (open loop)", of.open,
                         compared, shows_all);
        if (!of.plan.only_traces)
            print_causes(text, "What becomes of the phone (closed loop; one thing leads to another)",
                         of.closed, compared, shows_all);
        print_paired(text, of);
        print_first(text, of);
    } else if (std::any_of(of.inputs.begin(), of.inputs.end(),
                           [](const auto& each) { return !each.open.is_same || !each.closed.is_same; })) {
        text += "Some bytes differ, below every class of difference: --exact tells.\n";
    }
    print_expected(text, of);
    print_skipped(text, of);
    return text;
}

std::string comparison_document(const build_comparison& of) {
    constexpr const char* VERDICTS[] = {"same", "differs", "no answer"};
    nlohmann::ordered_json all;
    all["schema"] = DIFF_SCHEMA;
    all["verdict"] = VERDICTS[static_cast<std::size_t>(of.verdict())];
    all["old"] = json_of(of.plan.before, of.plan.before_settings);
    all["new"] = json_of(of.plan.after, of.plan.after_settings);
    all["same_daemon"] = of.plan.has_same_daemon();
    all["same_lab"] = of.plan.has_same_lab();
    all["compared"] = of.compared();
    all["changed"] = of.changed();
    all["failed"] = of.failed();
    all["skipped"] = of.skipped();
    all["open"] = json_of(of.open);
    all["closed"] = json_of(of.closed);
    all["paired"] = nlohmann::ordered_json::array();
    for (const paired_figure& each : of.paired)
        all["paired"].push_back({{"input", each.input},
                                 {"key", each.key},
                                 {"pairs", each.pairs},
                                 {"median", each.median},
                                 {"low", each.low},
                                 {"high", each.high},
                                 {"is_shown", each.is_shown}});
    all["unexpected"] = of.unexpected;
    all["missing"] = of.missing;
    all["inputs"] = nlohmann::ordered_json::array();
    for (const input_difference& each : of.inputs) all["inputs"].push_back(json_of(each));
    return all.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace lab
