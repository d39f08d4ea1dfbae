#include <cmath>

#include "lab/compare/decision_match.h"
#include "lab/compare/input_difference.h"
#include "lab/compare/quantities.h"

namespace lab {

loop_difference compare_runs(const run_result& before, const run_result& after, bool is_exact) {
    loop_difference found;
    found.has_run = true;
    found.is_same =
        before.events_digest == after.events_digest && before.cycles_digest == after.cycles_digest;
    found.decisions = match_decisions(before.decisions, after.decisions);
    for (const quantity& each : quantities()) {
        const double was = each.of(before).value_or(NAN);
        const double is = each.of(after).value_or(NAN);
        const bool differs = was != is && !(std::isnan(was) && std::isnan(is));
        if (is_exact ? differs : class_of(each.in, was, is) != difference_class::none)
            found.quantities.push_back({std::string(each.key), was, is});
    }
    return found;
}

}  // namespace lab
