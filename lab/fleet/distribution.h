// distribution: how one key of a scenario varies from phone to phone, in a population's file (docs/fleet.md).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/scenario/toml_section.h"

namespace lab {

enum class draw_kind : std::uint8_t { constant, choice, normal, lognormal, uniform, beta };
inline constexpr std::array<std::string_view, 6> draw_kind_names{"constant",  "choice",  "normal",
                                                                 "lognormal", "uniform", "beta"};

struct distribution {
    draw_kind kind = draw_kind::constant;
    std::vector<std::string> values;  // of a constant or a choice, as TOML
    std::vector<double> weights;      // of a choice, for each value
    // normal: mean and standard deviation; lognormal: the median's logarithm and sigma; uniform: from, to;
    // beta: its two exponents, on `from` to `to`.
    double first = 0, second = 1;
    double from = 0, to = 1;
    std::optional<double> least, most;  // what lies beyond is drawn again: the distribution between them
    double step = 0;                    // values are multiples of it; 0: six digits
    std::string source;

    bool is_number() const { return kind != draw_kind::constant && kind != draw_kind::choice; }
    // The value below which a share of the population is, as TOML; `probability` between 0 and 1, both excluded.
    std::string text_at(double probability) const;
    double number_at(double probability) const;  // of numbers only
    // The share of the population below a value, of numbers only.
    double share_below(double value) const;
};

// Reads a table that has a `draw`. Throws input_error with place, also for what can never be drawn.
distribution read_distribution(toml_section& from);

// The text that a value written in TOML is; nothing when it is another kind of value.
std::optional<std::string> text_in_toml(const std::string& value);
// A node as it stands in TOML, on one line unless it is a long list.
std::string toml_text(const toml::node& node);

}  // namespace lab
