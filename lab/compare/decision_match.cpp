#include "lab/compare/decision_match.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <map>
#include <utility>

namespace lab {

namespace {

using decisions = std::vector<const run_decision*>;
using pairs = std::vector<std::pair<const run_decision*, const run_decision*>>;

constexpr std::array<std::string_view, 4> DURATION_UNITS{"d", "h", "min", "s"};
constexpr std::size_t MOST_STEPS = 4'000'000;  // of the exact way to match; beyond, a simpler one does

bool is_digit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

bool is_word(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Where the number that begins at `at` ends: digits joined by the signs of numbers, dates and times.
std::size_t end_of_number(std::string_view text, std::size_t at) {
    while (at < text.size()) {
        const bool joins = text[at] == '.' || text[at] == ':' || text[at] == '-';
        const bool goes_on = is_digit(text[at]) || (joins && at + 1 < text.size() && is_digit(text[at + 1]));
        if (!goes_on) break;
        ++at;
    }
    return at;
}

// Where " min" after a number ends; `at` where there is no unit of time.
std::size_t end_of_unit(std::string_view text, std::size_t at) {
    for (const std::string_view each : DURATION_UNITS) {
        const std::size_t end = at + 1 + each.size();
        const bool is_there =
            text.size() >= end && text[at] == ' ' && text.substr(at + 1, each.size()) == each;
        if (is_there && (end == text.size() || !is_word(text[end]))) return end;
    }
    return at;
}

// Appends `added` to the numbers that differ.
void note_value(std::string& values, const std::string& name, const std::string& before,
                const std::string& after) {
    if (before == after) return;
    if (!values.empty()) values += ", ";
    values += name + " " + (before.empty() ? "none" : before) + " -> " + (after.empty() ? "none" : after);
}

std::string values_that_differ(const decision& before, const decision& after) {
    std::map<std::string, std::string> others;
    for (const number& each : after.numbers) others[each.name] = each.value;
    std::string values;
    for (const number& each : before.numbers) {
        const auto other = others.extract(each.name);
        note_value(values, each.name, each.value, other.empty() ? "" : other.mapped());
    }
    for (const auto& [name, value] : others) note_value(values, name, "", value);
    return values;
}

decision_difference_of only_one(const run_decision& of, decision_change how) {
    decision_difference_of told{
        how, of.what.weight, of.what.feature, shape_of(of.what.sentence), "", "", "", of.t_s, 0};
    (how == decision_change::only_old ? told.before : told.after) = of.what.sentence;
    return told;
}

void add_pair(const run_decision& before, const run_decision& after,
              std::vector<decision_difference_of>& found) {
    decision_difference_of told{decision_change::other_value,
                                before.what.weight,
                                before.what.feature,
                                shape_of(before.what.sentence),
                                before.what.sentence,
                                after.what.sentence,
                                values_that_differ(before.what, after.what),
                                before.t_s,
                                after.t_s - before.t_s};
    if (told.by_s != 0) told.how = told.by_s > 0 ? decision_change::later : decision_change::earlier;
    const bool is_same = told.by_s == 0 && told.values.empty() && told.before == told.after;
    if (!is_same) found.push_back(std::move(told));
}

// Each with the next one that is near enough.
pairs matched_quickly(const decisions& before, const decisions& after) {
    pairs all;
    std::size_t i = 0, j = 0;
    while (i < before.size() && j < after.size()) {
        const double by_s = after[j]->t_s - before[i]->t_s;
        if (std::abs(by_s) <= MATCH_WITHIN_S) {
            all.emplace_back(before[i++], after[j++]);
        } else {
            (by_s > 0 ? all.emplace_back(before[i++], nullptr) : all.emplace_back(nullptr, after[j++]));
        }
    }
    while (i < before.size()) all.emplace_back(before[i++], nullptr);
    while (j < after.size()) all.emplace_back(nullptr, after[j++]);
    return all;
}

// The alignment of two sequences whose pairs lie least far apart, where leaving out a pair of decisions costs as much
// as the longest time between two that are one (Needleman and Wunsch, J. Mol. Biol. 48, 1970).
pairs matched_best(const decisions& before, const decisions& after) {
    const std::size_t width = after.size() + 1;
    constexpr double LEFT_OUT = MATCH_WITHIN_S / 2;
    std::vector<double> cost((before.size() + 1) * width);
    const auto step_cost = [&](std::size_t i, std::size_t j) {
        return cost[(i - 1) * width + j - 1] + std::abs(after[j - 1]->t_s - before[i - 1]->t_s);
    };
    for (std::size_t i = 0; i <= before.size(); ++i) {
        for (std::size_t j = 0; j <= after.size(); ++j) {
            double& best = cost[i * width + j];
            best = LEFT_OUT * static_cast<double>(i + j);
            if (i > 0) best = std::min(best, cost[(i - 1) * width + j] + LEFT_OUT);
            if (j > 0) best = std::min(best, cost[i * width + j - 1] + LEFT_OUT);
            if (i > 0 && j > 0) best = std::min(best, step_cost(i, j));
        }
    }
    pairs all;
    for (std::size_t i = before.size(), j = after.size(); i > 0 || j > 0;) {
        const double best = cost[i * width + j];
        if (i > 0 && j > 0 && best == step_cost(i, j)) {
            all.emplace_back(before[--i], after[--j]);
        } else if (i > 0 && best == cost[(i - 1) * width + j] + LEFT_OUT) {
            all.emplace_back(before[--i], nullptr);
        } else {
            all.emplace_back(nullptr, after[--j]);
        }
    }
    return all;
}

pairs matched(const decisions& before, const decisions& after) {
    if (before.size() == after.size()) {
        pairs all;
        for (std::size_t i = 0; i < before.size(); ++i) all.emplace_back(before[i], after[i]);
        return all;
    }
    return before.size() * after.size() > MOST_STEPS ? matched_quickly(before, after)
                                                     : matched_best(before, after);
}

}  // namespace

std::string shape_of(std::string_view text) {
    std::string shape;
    bool follows_duration = false;
    for (std::size_t at = 0; at < text.size();) {
        const bool begins_word = at == 0 || !is_word(text[at - 1]);
        const bool has_sign = text[at] == '-' && at + 1 < text.size() && is_digit(text[at + 1]);
        if (!begins_word || !(is_digit(text[at]) || has_sign)) {
            follows_duration = follows_duration && text[at] == ' ';
            shape += text[at++];
            continue;
        }
        const std::size_t end = end_of_number(text, at + (has_sign ? 1 : 0));
        const std::size_t after_unit = end_of_unit(text, end);
        const bool is_duration = after_unit != end;
        if (is_duration && follows_duration) {
            shape.pop_back();  // "2 h 30 min" is one duration
        } else {
            shape += '#';
        }
        follows_duration = is_duration;
        at = after_unit;
    }
    return shape;
}

std::vector<decision_difference_of> match_decisions(const std::vector<run_decision>& before,
                                                    const std::vector<run_decision>& after) {
    std::map<std::string, std::pair<decisions, decisions>> kinds;
    const auto kind_of = [](const run_decision& of) {
        return of.what.feature + '\n' + shape_of(of.what.sentence);
    };
    for (const run_decision& each : before) kinds[kind_of(each)].first.push_back(&each);
    for (const run_decision& each : after) kinds[kind_of(each)].second.push_back(&each);
    std::vector<decision_difference_of> found;
    for (const auto& [kind, both] : kinds) {
        for (const auto& [old_one, new_one] : matched(both.first, both.second)) {
            if (old_one == nullptr) {
                found.push_back(only_one(*new_one, decision_change::only_new));
            } else if (new_one == nullptr) {
                found.push_back(only_one(*old_one, decision_change::only_old));
            } else {
                add_pair(*old_one, *new_one, found);
            }
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.t_s < b.t_s; });
    return found;
}

}  // namespace lab
