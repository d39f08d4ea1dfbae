// fleet_compare: what differs between two fleets of the same phones, phone by phone.
#pragma once

#include <string>
#include <vector>

#include "lab/fleet/results.h"
#include "lab/fleet/statistics.h"

namespace lab {

// A figure in both fleets and its difference, the second less the first.
struct figure_difference {
    std::string name;
    double first = 0, second = 0;  // weighted means
    double difference = 0;
    interval within;  // 95 %, of the difference
    // Of the difference of one phone in both, and of two phones that have nothing to do with each other.
    double paired_variance = 0, unpaired_variance = 0;

    // So many times as many phones would be needed without pairing; 0 where the paired difference does not vary.
    double worth_of_pairing() const { return paired_variance > 0 ? unpaired_variance / paired_variance : 0; }
};

struct fleet_comparison {
    std::uint64_t phones = 0;  // that both have and that ended well in both
    double effective = 0;
    std::uint64_t left_out = 0;       // that one of them lacks, or that did not end well in one
    std::uint64_t unequal = 0;        // whose events differ at all
    std::vector<std::string> varied;  // drawn keys that differ between the two
    figure_difference lowered;        // share, 0 to 1
    std::vector<figure_difference> figures;
};

// Throws input_error when no phone is in both, or when the two are not of the same seed and groups.
fleet_comparison compare_fleets(results& first, results& second);

std::string comparison_text(const fleet_comparison& of, const std::string& first, const std::string& second);
std::string comparison_json(const fleet_comparison& of);

}  // namespace lab
