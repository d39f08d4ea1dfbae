#include "lab/fleet/distribution.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>
#include <sstream>

#include "lab/fleet/probability.h"

namespace lab {

namespace {

constexpr double INFINITE = std::numeric_limits<double>::max();
constexpr double SMALLEST = 1e-9;     // of a standard deviation and the like
constexpr double LEAST_SHARE = 1e-6;  // that a distribution must have between its limits
constexpr int DIGITS = 6;
constexpr std::size_t MOST_VALUES = 1000;  // each is tried before the first phone runs

std::string number_text(double value) {
    char text[64];
    // Six digits: what the last bits of a logarithm are on some processor cannot be seen.
    const bool is_whole = value == std::round(value) && std::abs(value) < 1e6;
    const auto end = is_whole
                         ? std::to_chars(text, text + sizeof text, static_cast<std::int64_t>(value))
                         : std::to_chars(text, text + sizeof text, value, std::chars_format::general, DIGITS);
    return {text, end.ptr};
}

double must(toml_section& from, std::string_view key, double least = -INFINITE) {
    const auto value = from.number(key, least, INFINITE);
    if (!value) from.fail("needs " + std::string(key));
    return *value;
}

// Before a misspelt key is missed.
void refuse_unknown(toml_section& from, draw_kind kind) {
    using names = std::vector<std::string_view>;
    static const std::array<names, draw_kind_names.size()> OWN{names{"value"}, {"of", "weights"},
                                                               {"mean", "sd"}, {"median", "mean", "sigma_ln"},
                                                               {"from", "to"}, {"a", "b", "from", "to"}};
    for (const std::string_view key : OWN[static_cast<std::size_t>(kind)]) (void)from.take(key);
    for (const char* const key : {"draw", "source"}) (void)from.take(key);
    const bool is_number = kind != draw_kind::constant && kind != draw_kind::choice;
    for (const char* const key : {"least", "most", "step"})
        if (is_number) (void)from.take(key);
    from.finish();
}

void read_choice(toml_section& from, distribution& into) {
    const toml::node* const list = from.take("of");
    if (list == nullptr || !list->is_array() || list->as_array()->empty())
        from.fail("needs of, a list of values");
    if (list->as_array()->size() > MOST_VALUES)
        from.fail(*list, "more than " + std::to_string(MOST_VALUES) + " values, the most to choose from");
    for (const toml::node& each : *list->as_array()) into.values.push_back(toml_text(each));
    into.weights.assign(into.values.size(), 1);
    const toml::node* const weights = from.take("weights");
    if (weights == nullptr) return;
    const toml::array* const numbers = weights->as_array();
    if (numbers == nullptr || numbers->size() != into.values.size())
        from.fail(*weights, "weights must be as many numbers as there are values");
    for (std::size_t i = 0; i < numbers->size(); ++i) {
        const auto weight = numbers->get(i)->value<double>();
        if (!weight || !(*weight >= 0)) from.fail(*numbers->get(i), "a weight must be a number, 0 or more");
        into.weights[i] = *weight;
    }
    if (std::accumulate(into.weights.begin(), into.weights.end(), 0.0) <= 0)
        from.fail(*weights, "one of the weights must be more than 0");
}

void read_lognormal(toml_section& from, distribution& into) {
    into.second = must(from, "sigma_ln", SMALLEST);
    const auto median = from.number("median", SMALLEST, INFINITE);
    const auto mean = from.number("mean", SMALLEST, INFINITE);
    if (median.has_value() == mean.has_value()) from.fail("needs either median or mean");
    into.first = median ? std::log(*median) : std::log(*mean) - into.second * into.second / 2;
}

void read_range(toml_section& from, distribution& into) {
    if (into.from >= into.to) from.fail("from must be below to");
}

void read_limits(toml_section& from, distribution& into) {
    into.least = from.number("least", -INFINITE, INFINITE);
    into.most = from.number("most", -INFINITE, INFINITE);
    if (into.least && into.most && *into.least > *into.most) from.fail("least is above most");
    const double share =
        (into.most ? into.share_below(*into.most) : 1) - (into.least ? into.share_below(*into.least) : 0);
    if (share < LEAST_SHARE) from.fail("draws nothing between its limits");
    into.step = from.number("step", 0, INFINITE).value_or(0);
}

}  // namespace

std::string toml_text(const toml::node& node) {
    std::ostringstream text;
    text.precision(17);
    node.visit([&](const auto& value) { text << value; });
    return text.str();
}

std::optional<std::string> text_in_toml(const std::string& value) {
    const toml::table read = toml::parse("value = " + value);
    return read["value"].value<std::string>();
}

double distribution::share_below(double value) const {
    switch (kind) {
        case draw_kind::normal:
            return normal_cdf((value - first) / second);
        case draw_kind::lognormal:
            return value <= 0 ? 0 : normal_cdf((std::log(value) - first) / second);
        case draw_kind::uniform:
            return std::clamp((value - from) / (to - from), 0.0, 1.0);
        case draw_kind::beta:
            return beta_cdf((value - from) / (to - from), first, second);
        case draw_kind::constant:
        case draw_kind::choice:
            break;
    }
    return 0;
}

double distribution::number_at(double probability) const {
    const double below = least ? share_below(*least) : 0;
    const double above = most ? share_below(*most) : 1;
    const double share = below + probability * (above - below);
    double value = 0;
    switch (kind) {
        case draw_kind::normal:
            value = first + second * normal_quantile(share);
            break;
        case draw_kind::lognormal:
            value = std::exp(first + second * normal_quantile(share));
            break;
        case draw_kind::uniform:
            value = from + (to - from) * share;
            break;
        case draw_kind::beta:
            value = from + (to - from) * beta_quantile(share, first, second);
            break;
        case draw_kind::constant:
        case draw_kind::choice:
            break;
    }
    if (step > 0) value = std::round(value / step) * step;
    // A step may lead out of them again.
    return std::clamp(value, least.value_or(-INFINITE), most.value_or(INFINITE));
}

std::string distribution::text_at(double probability) const {
    if (is_number()) return number_text(number_at(probability));
    if (kind == draw_kind::constant) return values.front();
    const double whole = std::accumulate(weights.begin(), weights.end(), 0.0);
    double below = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        below += weights[i] / whole;
        if (probability < below) return values[i];
    }
    return values.back();
}

distribution read_distribution(toml_section& from) {
    distribution read;
    read.kind = static_cast<draw_kind>(from.choice("draw", draw_kind_names).value_or(0));
    refuse_unknown(from, read.kind);
    read.source = from.text("source").value_or("");
    switch (read.kind) {
        case draw_kind::constant: {
            const toml::node* const value = from.take("value");
            if (value == nullptr) from.fail("needs value");
            read.values.push_back(toml_text(*value));
            break;
        }
        case draw_kind::choice:
            read_choice(from, read);
            break;
        case draw_kind::normal:
            read.first = must(from, "mean");
            read.second = must(from, "sd", SMALLEST);
            break;
        case draw_kind::lognormal:
            read_lognormal(from, read);
            break;
        case draw_kind::uniform:
            read.from = must(from, "from");
            read.to = must(from, "to");
            read_range(from, read);
            break;
        case draw_kind::beta:
            read.first = must(from, "a", SMALLEST);
            read.second = must(from, "b", SMALLEST);
            read.from = from.number("from", -INFINITE, INFINITE).value_or(0);
            read.to = from.number("to", -INFINITE, INFINITE).value_or(1);
            read_range(from, read);
            break;
    }
    if (read.is_number()) read_limits(from, read);
    return read;
}

}  // namespace lab
