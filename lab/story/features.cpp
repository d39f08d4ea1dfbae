#include "lab/story/features.h"

#include <array>
#include <cctype>

#include "lab/records/record_text.h"

namespace lab {

namespace {

struct feature_words {
    std::string_view key, name;
};

constexpr std::array<feature_words, FEATURE_COUNT> FEATURE_WORDS = {{
    {"core", "core"},
    {"charge_mgr", "top of charge"},
    {"stress", "battery stress"},
    {"dyn_soc", "estimator"},
    {"precharge", "precharge"},
    {"charge_timer", "charge timer"},
    {"thermal", "secondary thermal"},
    {"pulldown", "n-day pulldown"},
    {"short_detect", "short detection"},
    {"topoff", "top-off"},
}};

struct clue {
    std::string_view word;
    feature which;
};

// The first word found in a log text, path or property decides.
constexpr clue clues[] = {
    {"SHORT_DETECT", feature::short_detect},
    {"TOPOFF", feature::topoff},
    {"CHG_MGR", feature::charge_mgr},
    {"DYN_SOC", feature::dyn_soc},
    {"Dyn SoC", feature::dyn_soc},
    {"dyn_soc", feature::dyn_soc},
    {"battery params", feature::dyn_soc},
    {"cell vendor", feature::dyn_soc},
    {"precharge", feature::precharge},
    {"stress", feature::stress},
    {"toc", feature::charge_mgr},
    {"charge fail", feature::charge_timer},
    {"charge_fail", feature::charge_timer},
    {"charge timer", feature::charge_timer},
};

constexpr clue record_clues[] = {
    {"stress", feature::stress},     {"precharge", feature::precharge}, {"charge", feature::charge_timer},
    {"pulldown", feature::pulldown}, {"short", feature::short_detect},  {"topoff", feature::topoff},
    {"soc", feature::dyn_soc},       {"thermal", feature::thermal},
};

feature by_clue(std::string_view text) {
    for (const clue& each : clues) {
        if (text.find(each.word) != std::string_view::npos) return each.which;
    }
    return feature::core;
}

feature of_record(std::string_view text) {
    const std::string_view name = record_name(text);
    for (const clue& each : record_clues) {
        if (name.starts_with(each.word)) return each.which;
    }
    return feature::core;
}

const feature_words& words_of(feature which) {
    return FEATURE_WORDS[static_cast<std::size_t>(which)];
}

}  // namespace

std::string_view key_of(feature which) {
    return words_of(which).key;
}

std::string_view name_of(feature which) {
    return words_of(which).name;
}

std::string title_of(feature which) {
    std::string title(words_of(which).name);
    title.front() = static_cast<char>(std::toupper(title.front()));
    return title;
}

feature feature_of(const event& what) {
    switch (what.kind) {
        case event_kind::log:
            return by_clue(what.text);
        case event_kind::metric:
            return of_record(what.text);
        case event_kind::property_set:
            if (what.name.find("pulldown") != std::string::npos) return feature::pulldown;
            return by_clue(what.name);
        case event_kind::write:
            return by_clue(what.name.substr(what.name.rfind('/') + 1));
    }
    return feature::core;
}

}  // namespace lab
