#include "lab/fleet/statistics.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace lab {

namespace {

constexpr double Z = 1.959963984540054;  // 97.5 % of the normal distribution lies below
constexpr double RULE_OF_THREE = 3;

}  // namespace

double effective_number(std::span<const weighted> of) {
    double sum = 0, squares = 0;
    for (const weighted& each : of) {
        sum += each.weight;
        squares += each.weight * each.weight;
    }
    return squares > 0 ? sum * sum / squares : 0;
}

share share_of(double value, double effective) {
    if (effective <= 0) return {value, {0, 1}, 0};
    if (value <= 0) return {0, {0, std::min(1.0, RULE_OF_THREE / effective)}, effective};
    if (value >= 1) return {1, {std::max(0.0, 1 - RULE_OF_THREE / effective), 1}, effective};
    const double z2 = Z * Z / effective;
    const double centre = (value + z2 / 2) / (1 + z2);
    const double half = Z / (1 + z2) * std::sqrt(value * (1 - value) / effective + z2 / (4 * effective));
    return {value, {std::max(0.0, centre - half), std::min(1.0, centre + half)}, effective};
}

share share_of(std::span<const weighted> of) {
    double sum = 0, with = 0;
    for (const weighted& each : of) {
        sum += each.weight;
        with += each.value != 0 ? each.weight : 0;
    }
    return share_of(sum > 0 ? with / sum : 0, effective_number(of));
}

mean_value mean_of(std::span<const weighted> of) {
    mean_value result;
    result.number = effective_number(of);
    double sum = 0;
    for (const weighted& each : of) {
        sum += each.weight;
        result.value += each.weight * each.value;
    }
    if (sum <= 0) return result;
    result.value /= sum;
    for (const weighted& each : of)
        result.variance += each.weight * (each.value - result.value) * (each.value - result.value);
    result.variance /= sum;
    if (result.number <= 1) return result;
    result.variance *= result.number / (result.number - 1);
    result.half_width = Z * std::sqrt(result.variance / result.number);
    return result;
}

std::optional<double> quantile_of(std::vector<weighted> of, double at) {
    std::erase_if(of, [](const weighted& each) { return !(each.weight > 0); });
    if (of.empty()) return std::nullopt;
    std::ranges::sort(of, {}, &weighted::value);
    double whole = 0;
    for (const weighted& each : of) whole += each.weight;
    // Each value stands in the middle of its weight; between two of them in a straight line.
    double below = 0, last_at = 0;
    for (std::size_t i = 0; i < of.size(); ++i) {
        const double middle = (below + of[i].weight / 2) / whole;
        if (at <= middle) {
            if (i == 0) return of[0].value;
            return of[i - 1].value + (of[i].value - of[i - 1].value) * (at - last_at) / (middle - last_at);
        }
        below += of[i].weight;
        last_at = middle;
    }
    return of.back().value;
}

namespace {

// The middle of the places that a value has in the order of all; equal ones share theirs.
std::vector<double> ranks_of(std::span<const double> values) {
    std::vector<std::size_t> order(values.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [&](std::size_t i) { return values[i]; });
    std::vector<double> ranks(values.size());
    for (std::size_t begin = 0; begin < order.size();) {
        std::size_t end = begin;
        while (end < order.size() && values[order[end]] == values[order[begin]]) ++end;
        for (std::size_t i = begin; i < end; ++i) ranks[order[i]] = static_cast<double>(begin + end - 1) / 2;
        begin = end;
    }
    return ranks;
}

}  // namespace

std::optional<double> rank_correlation(std::span<const double> one, std::span<const double> other,
                                       std::span<const double> weights) {
    const std::vector<double> x = ranks_of(one);
    const std::vector<double> y = ranks_of(other);
    double sum = 0, mean_x = 0, mean_y = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        sum += weights[i];
        mean_x += weights[i] * x[i];
        mean_y += weights[i] * y[i];
    }
    if (sum <= 0) return std::nullopt;
    mean_x /= sum;
    mean_y /= sum;
    double xx = 0, yy = 0, xy = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        xx += weights[i] * (x[i] - mean_x) * (x[i] - mean_x);
        yy += weights[i] * (y[i] - mean_y) * (y[i] - mean_y);
        xy += weights[i] * (x[i] - mean_x) * (y[i] - mean_y);
    }
    if (xx <= 0 || yy <= 0) return std::nullopt;
    return xy / std::sqrt(xx * yy);
}

share_difference paired_difference(double only_first, double only_second, double effective) {
    share_difference result;
    result.value = only_second - only_first;
    if (effective <= 0) return {0, {-1, 1}};
    // Half a phone more in each of the four cells.
    const double first = only_first * effective + 0.5;
    const double second = only_second * effective + 0.5;
    const double number = effective + 2;
    const double centre = (second - first) / number;
    const double half = Z * std::sqrt(first + second - (second - first) * (second - first) / number) / number;
    result.within = {std::max(-1.0, centre - half), std::min(1.0, centre + half)};
    return result;
}

std::vector<curve_point> survival_curve(std::vector<life> lives, std::span<const double> times) {
    // At one time events come before departures: who leaves then has been watched up to it.
    std::ranges::stable_sort(lives, [](const life& a, const life& b) {
        return a.time != b.time ? a.time < b.time : a.end < b.end;
    });
    double weight = 0, squares = 0;
    for (const life& each : lives) {
        weight += each.weight;
        squares += each.weight * each.weight;
    }
    const double effective = squares > 0 ? weight * weight / squares : 0;
    const double scale = weight > 0 ? effective / weight : 0;  // of weights to effective phones
    double at_risk = weight, left = 1, greenwood = 0, number = effective;
    curve_point now{0, share_of(1, effective), static_cast<std::int64_t>(lives.size()), 0, 0, 0};
    std::vector<curve_point> curve;
    std::size_t next = 0;
    const auto take_events = [&](double moment) {
        double came = 0;
        for (; next < lives.size() && lives[next].time == moment && lives[next].end == life_end::event;
             ++next) {
            came += lives[next].weight;
            now.events += 1;
        }
        if (came <= 0 || at_risk <= 0) return;
        left *= std::max(0.0, 1 - came / at_risk);
        const double stay = at_risk - came;
        if (stay > 0) greenwood += came / (at_risk * stay * scale);
        at_risk = stay;
    };
    const auto take_departures = [&](double moment) {
        for (; next < lives.size() && lives[next].time == moment; ++next) {
            if (lives[next].end == life_end::other) {
                now.others += 1;  // stays in the number
                continue;
            }
            now.censored += 1;
            at_risk -= lives[next].weight;
        }
    };
    for (const double time : times) {
        while (next < lives.size() && lives[next].time <= time) {
            const double moment = lives[next].time;
            take_events(moment);
            if (moment == time) break;  // who leaves now has been watched up to now
            take_departures(moment);
        }
        // The plain share of so many phones is as sure as this: without departures that is all of them. When nobody is
        // left to watch, it is as sure as it was.
        const bool is_between = left > 0 && left < 1 && greenwood > 0;
        constexpr double NOBODY = 1e-9;
        if (is_between) {
            number = (1 - left) / (left * greenwood);
        } else if (at_risk > NOBODY) {
            number = std::min(effective, at_risk * scale);
        }
        now.time = time;
        now.left = share_of(std::clamp(left, 0.0, 1.0), number);
        now.at_risk = static_cast<std::int64_t>(lives.size()) - now.events - now.censored - now.others;
        curve.push_back(now);
    }
    return curve;
}

}  // namespace lab
