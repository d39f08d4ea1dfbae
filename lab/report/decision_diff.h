// decision_diff: which decisions only one of two runs over the same time took.
#pragma once

#include <cstdint>
#include <vector>

#include "lab/report/report.h"

namespace lab {

struct decision_difference {
    const report::told* told = nullptr;  // of one of the two runs, which must outlive this
    bool is_of_second = false;
};

struct decision_diff {
    static constexpr std::int64_t SAME_WITHIN_S = 3600;

    std::vector<decision_difference> differences;  // in order of time
    std::size_t same = 0;                          // pairs that both took
};

// Two decisions are the same when the same feature says the same but for its numbers, within SAME_WITHIN_S of each
// other; each is one of at most one pair.
decision_diff compare_decisions(const report& first, const report& second);

}  // namespace lab
