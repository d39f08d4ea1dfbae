// compare_input: runs two builds on one input and says what differs.
//
//     scenario   OLD simulates it, NEW simulates it                     closed loop: what becomes of the phone
//                OLD's trace of it, replayed by OLD and by NEW          open loop: what the code decides differently
//     trace      replayed by OLD and by NEW                             open loop
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/compare/build_runner.h"
#include "lab/compare/input_difference.h"

namespace lab {

struct comparison_plan {
    other_build before, after;
    std::vector<std::string> before_settings, after_settings;  // KEY=VALUE
    bool only_traces = false;                                  // no closed loop
    bool is_exact = false;
    std::size_t seeds = 0;      // 0: each scenario's own
    std::string keep;           // folder of results; empty: none is kept
    bool changed_only = false;  // inputs that both builds ran before, with the same outcome, are skipped

    bool has_same_daemon() const { return before.identity.daemon == after.identity.daemon; }
    bool has_same_lab() const { return before.identity.lab == after.identity.lab; }
    bool has_same_settings() const { return before_settings == after_settings; }
};

bool is_scenario(const std::string& input);  // by its name: .toml

// `folder` is for its files; `seed` 0: the scenario's own. What keeps the two from being compared is in the result.
input_difference compare_input(const comparison_plan& plan, const std::string& input, std::uint64_t seed,
                               const std::string& folder);

}  // namespace lab
