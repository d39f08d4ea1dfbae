#include "lab/compare/difference_class.h"

#include <array>
#include <cmath>

#include "lab/io/print.h"
#include "lab/io/time_text.h"

namespace lab {

namespace {

struct threshold {
    std::string_view name;
    std::string_view symbol;
    double none_to;       // at most
    double big_from;      // more than
    double big_from_pct;  // and more than so much of the larger value
    int decimals;
};

// What is none is below what the results are rounded to, or below what a person would call a difference of a cell.
constexpr std::array<threshold, 10> THRESHOLDS{{{"voltage", "mV", 0, 10, 0, 0},
                                                {"hours", "h", 0.01, 1, 1, 2},
                                                {"percent", "%", 0.05, 1, 0, 2},
                                                {"equivalent cycles", "cycles", 0.01, 1, 1, 2},
                                                {"count", "", 0, 10, 1, 0},
                                                {"bytes", "bytes", 0, 1000, 1, 0},
                                                {"moment of a decision", "s", 0, 600, 0, 0},
                                                {"resistance", "mΩ", 0, 5, 0, 1},
                                                {"current", "mA", 0, 50, 0, 0},
                                                {"charge", "As", 0, 270, 0, 0}}};
constexpr std::array<std::string_view, 3> NAMES{"none", "small", "big"};

const threshold& threshold_of(unit of) {
    return THRESHOLDS[static_cast<std::size_t>(of)];
}

}  // namespace

std::string_view name_of(difference_class of) {
    return NAMES[static_cast<std::size_t>(of)];
}

difference_class class_of(unit of, double before, double after) {
    if (std::isnan(before) && std::isnan(after)) return difference_class::none;
    if (before == after) return difference_class::none;  // infinite ones too
    const double by = std::abs(after - before);
    if (!std::isfinite(by)) return difference_class::big;
    const threshold& limit = threshold_of(of);
    if (by <= limit.none_to) return difference_class::none;
    const double larger = std::max(std::abs(before), std::abs(after));
    const bool is_big = by > limit.big_from && by * 100 > limit.big_from_pct * larger;
    return is_big ? difference_class::big : difference_class::small;
}

std::string amount_text(unit of, double value, bool is_signed) {
    if (std::isnan(value)) return "no number";
    const threshold& limit = threshold_of(of);
    if (of == unit::seconds) {
        const char* const sign = value < 0 ? "-" : is_signed ? "+" : "";
        return sign + duration_text(static_cast<std::int64_t>(std::abs(value)));
    }
    std::string text =
        is_signed ? text_of("%+.*f", limit.decimals, value) : text_of("%.*f", limit.decimals, value);
    if (!limit.symbol.empty()) text.append(" ").append(limit.symbol);
    return text;
}

std::string class_table() {
    std::string table = "| what | unit | none | big |\n|---|---|---|---|\n";
    for (const threshold& each : THRESHOLDS) {
        const std::string relative =
            each.big_from_pct > 0 ? text_of(" and more than %g %% of the larger value", each.big_from_pct)
                                  : "";
        const std::string most = each.none_to > 0 ? text_of("up to %g", each.none_to) : "equal";
        print(table, "| %s | %s | %s | more than %g%s |\n", std::string(each.name).c_str(),
              std::string(each.symbol).c_str(), most.c_str(), each.big_from, relative.c_str());
    }
    return table;
}

}  // namespace lab
