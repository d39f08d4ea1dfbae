// A smooth curve through given points that rises where they rise: the piecewise cubic of F. N. Fritsch and
// J. Butland, "A method for constructing local monotone piecewise cubic interpolants", SIAM Journal on
// Scientific and Statistical Computing 5(2), 1984.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace lab::phone {

class shape_preserving {
  public:
    // x strictly rising, y rising, at least 3 points of each.
    shape_preserving(std::vector<double> x, std::vector<double> y)
        : x_(std::move(x)), y_(std::move(y)), slope_(x_.size()) {
        const std::size_t last = x_.size() - 1;
        for (std::size_t i = 1; i < last; ++i) {
            const double before = secant(i - 1);
            const double after = secant(i);
            const double left = x_[i] - x_[i - 1];
            const double right = x_[i + 1] - x_[i];
            const bool turns = before * after <= 0;
            slope_[i] =
                turns ? 0 : 3 * (left + right) / ((2 * right + left) / before + (right + 2 * left) / after);
        }
        slope_[0] = secant(0);
        slope_[last] = secant(last - 1);
    }

    // At x between the first and the last point.
    double at(double x) const {
        std::size_t i = 0;
        while (i + 2 < x_.size() && x >= x_[i + 1]) ++i;
        const double h = x_[i + 1] - x_[i];
        const double t = (x - x_[i]) / h;
        const double u = 1 - t;
        return u * u * ((1 + 2 * t) * y_[i] + t * h * slope_[i]) +
               t * t * ((1 + 2 * u) * y_[i + 1] - u * h * slope_[i + 1]);
    }

  private:
    double secant(std::size_t i) const { return (y_[i + 1] - y_[i]) / (x_[i + 1] - x_[i]); }

    std::vector<double> x_, y_, slope_;
};

}  // namespace lab::phone
