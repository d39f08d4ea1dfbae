#include "lab/report/decision_diff.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>

namespace lab {

namespace {

std::string shape_of(const decision& what) {
    std::string numbers;
    return what.feature + '\n' + without_numbers(what.sentence, numbers);
}

}  // namespace

decision_diff compare_decisions(const report& first, const report& second) {
    decision_diff found;
    std::map<std::string, std::vector<const report::told*>> open;  // of the second run, by shape, in order
    for (const auto& each : second.decisions().entries())
        open[shape_of(each.what.what)].push_back(&each.what);
    for (const auto& each : first.decisions().entries()) {
        auto& others = open[shape_of(each.what.what)];
        const auto same = std::find_if(others.begin(), others.end(), [&each](const report::told* other) {
            return std::abs(other->t - each.what.t) <= decision_diff::SAME_WITHIN_S;
        });
        if (same == others.end()) {
            found.differences.push_back({&each.what, false});
        } else {
            others.erase(same);
            ++found.same;
        }
    }
    for (const auto& [shape, others] : open) {
        for (const report::told* each : others) found.differences.push_back({each, true});
    }
    std::stable_sort(found.differences.begin(), found.differences.end(),
                     [](const auto& a, const auto& b) { return a.told->t < b.told->t; });
    return found;
}

}  // namespace lab
