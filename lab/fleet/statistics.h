// statistics: shares, quantiles and curves of many phones, each with how sure it is. A phone counts with its weight:
// where rare kinds are drawn more often, the figures are those of the phones out there.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace lab {

struct weighted {
    double value = 0;
    double weight = 1;
};

// So many phones of one weight would tell as much (L. Kish, 1965): the square of the sum over the sum of the squares.
double effective_number(std::span<const weighted> of);

struct interval {
    double low = 0;
    double high = 0;
};

struct share {
    double value = 0;   // 0 to 1
    interval within;    // 95 %
    double number = 0;  // effective
};

// A share of so many phones, with the interval of E. B. Wilson (1927). Of none or all of n the other end is 3 / n, the
// exact 95 % bound. Without a phone it is anything.
share share_of(double value, double effective);
// The share with a value other than 0.
share share_of(std::span<const weighted> of);

struct mean_value {
    double value = 0;
    double half_width = 0;  // of the 95 % interval, by the normal distribution
    double variance = 0;    // of one phone
    double number = 0;      // effective
};
mean_value mean_of(std::span<const weighted> of);

// Below it lies the share `at` of all weight; 0 <= at <= 1. Nothing without a value.
std::optional<double> quantile_of(std::vector<weighted> of, double at);

// Spearman's rank correlation, ties at their middle rank, each pair with its weight; nothing where one of them
// does not vary.
std::optional<double> rank_correlation(std::span<const double> one, std::span<const double> other,
                                       std::span<const double> weights);

// The difference of two shares of the same phones: `only_first` and `only_second` are the shares in which just one of
// the two is so. With the interval of A. Agresti and Y. Min (2005).
struct share_difference {
    double value = 0;  // the second less the first
    interval within;
};
share_difference paired_difference(double only_first, double only_second, double effective);

// How long a phone was watched, and how that ended.
enum class life_end : std::uint8_t {
    event,     // what was waited for came
    censored,  // it left before
    other,     // it crashed: it will not come any more, and says so about the build, so it is no censoring
};
struct life {
    double time = 0;
    life_end end = life_end::censored;
    double weight = 1;
};

// The share to which the event has not come, from each time on: by Kaplan and Meier where phones leave; where all
// are watched equally long it is the plain share. Phones of another end stay in the number as ones that it never comes to.
struct curve_point {
    double time = 0;
    share left;
    std::int64_t at_risk = 0;                           // phones, just before
    std::int64_t events = 0, censored = 0, others = 0;  // up to and with it
};
std::vector<curve_point> survival_curve(std::vector<life> lives, std::span<const double> times);

}  // namespace lab
