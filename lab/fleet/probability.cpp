#include "lab/fleet/probability.h"

#include <cmath>
#include <cstddef>

namespace lab {

namespace {

constexpr std::size_t TERMS = 8;

double polynomial(const double (&coefficients)[TERMS], double x) {
    double sum = 0;
    for (std::size_t i = TERMS; i > 0; --i) sum = sum * x + coefficients[i - 1];
    return sum;
}

// The continued fraction of the incomplete beta function by Lentz's method, as in "Numerical Recipes" 6.4: it
// converges fast for x below (a + 1) / (a + b + 2).
double beta_fraction(double x, double a, double b) {
    constexpr double TINY = 1e-300;
    constexpr double NEAR = 1e-15;
    constexpr int MOST_STEPS = 10000;
    const auto away_from_0 = [](double value) { return std::abs(value) < TINY ? TINY : value; };
    double c = 1;
    double d = 1 / away_from_0(1 - (a + b) * x / (a + 1));
    double result = d;
    for (int m = 1; m <= MOST_STEPS; ++m) {
        const double even = m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m));
        d = 1 / away_from_0(1 + even * d);
        c = away_from_0(1 + even / c);
        result *= d * c;
        const double odd = -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1));
        d = 1 / away_from_0(1 + odd * d);
        c = away_from_0(1 + odd / c);
        result *= d * c;
        if (std::abs(d * c - 1) < NEAR) break;
    }
    return result;
}

}  // namespace

double normal_cdf(double z) {
    return std::erfc(-z / std::sqrt(2.0)) / 2;
}

double normal_quantile(double probability) {
    static constexpr double A[TERMS] = {
        3.3871328727963666080e0, 1.3314166789178437745e2, 1.9715909503065514427e3, 1.3731693765509461125e4,
        4.5921953931549871457e4, 6.7265770927008700853e4, 3.3430575583588128105e4, 2.5090809287301226727e3};
    static constexpr double B[TERMS] = {1.0,
                                        4.2313330701600911252e1,
                                        6.8718700749205790830e2,
                                        5.3941960214247511077e3,
                                        2.1213794301586595867e4,
                                        3.9307895800092710610e4,
                                        2.8729085735721942674e4,
                                        5.2264952788528545610e3};
    static constexpr double C[TERMS] = {1.42343711074968357734e0,  4.63033784615654529590e0,
                                        5.76949722146069140550e0,  3.64784832476320460504e0,
                                        1.27045825245236838258e0,  2.41780725177450611770e-1,
                                        2.27238449892691845833e-2, 7.74545014278341407640e-4};
    static constexpr double D[TERMS] = {1.0,
                                        2.05319162663775882187e0,
                                        1.67638483018380384940e0,
                                        6.89767334985100004550e-1,
                                        1.48103976427480074590e-1,
                                        1.51986665636164571966e-2,
                                        5.47593808499534494600e-4,
                                        1.05075007164441684324e-9};
    static constexpr double E[TERMS] = {6.65790464350110377720e0,  5.46378491116411436990e0,
                                        1.78482653991729133580e0,  2.96560571828504891230e-1,
                                        2.65321895265761230930e-2, 1.24266094738807843860e-3,
                                        2.71155556874348757815e-5, 2.01033439929228813265e-7};
    static constexpr double F[TERMS] = {1.0,
                                        5.99832206555887937690e-1,
                                        1.36929880922735805310e-1,
                                        1.48753612908506148525e-2,
                                        7.86869131145613259100e-4,
                                        1.84631831751005468180e-5,
                                        1.42151175831644588870e-7,
                                        2.04426310338993978564e-15};
    constexpr double CENTRE = 0.425;  // of the probability's distance from a half
    constexpr double TAIL = 5;        // of sqrt(-ln p)
    const double q = probability - 0.5;
    if (std::abs(q) <= CENTRE) {
        const double r = CENTRE * CENTRE - q * q;
        return q * polynomial(A, r) / polynomial(B, r);
    }
    const double root = std::sqrt(-std::log(q < 0 ? probability : 1 - probability));
    const double r = root <= TAIL ? root - 1.6 : root - TAIL;
    const double size =
        root <= TAIL ? polynomial(C, r) / polynomial(D, r) : polynomial(E, r) / polynomial(F, r);
    return q < 0 ? -size : size;
}

double beta_cdf(double x, double a, double b) {
    if (x <= 0) return 0;
    if (x >= 1) return 1;
    const double front =
        std::exp(std::lgamma(a + b) - std::lgamma(a) - std::lgamma(b) + a * std::log(x) + b * std::log1p(-x));
    if (x < (a + 1) / (a + b + 2)) return front * beta_fraction(x, a, b) / a;
    return 1 - front * beta_fraction(1 - x, b, a) / b;
}

double beta_quantile(double probability, double a, double b) {
    double low = 0, high = 1;
    constexpr int HALVINGS = 100;  // beyond a double's digits: near 0 it counts how small x is
    for (int i = 0; i < HALVINGS; ++i) {
        const double middle = (low + high) / 2;
        (beta_cdf(middle, a, b) < probability ? low : high) = middle;
    }
    return (low + high) / 2;
}

}  // namespace lab
