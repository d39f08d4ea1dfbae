// What a check of a device's wiring found, for a person and for programs.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/wiring/check_table.h"

namespace lab {

enum class wiring_verdict : std::uint8_t {
    ok,
    wrong,
    doubtful,    // may be right, and may not
    cannot_say,  // the evidence never showed what would tell
    not_there,   // the evidence has nothing of it
};

std::string_view verdict_words(wiring_verdict of);

struct finding {
    const check_entry* check = nullptr;
    wiring_verdict result = wiring_verdict::not_there;
    std::string what;         // for a person: "reads 4123 (4.123 V in mV)"
    std::string raw;          // a value as the node has it; empty when there is none
    std::uint64_t count = 0;  // samples or files that it rests on
    std::string effect;       // what the daemon does, where that is more special than what the table says
};

// Whether one says wrong or doubtful: something for somebody to look at.
bool is_trouble(const finding& of);
// How many say wrong, and how many doubtful.
std::pair<std::int64_t, std::int64_t> troubles_in(const std::vector<finding>& all);

std::string findings_text(const std::vector<finding>& all);
// On one line: "wrong: sign.current; doubtful: spacing", or that nothing is.
std::string findings_summary(const std::vector<finding>& all);
nlohmann::ordered_json findings_json(const std::vector<finding>& all);

}  // namespace lab
