// probability: the distributions of the fleet's draws and of its intervals, as functions of one number.
#pragma once

namespace lab {

// Of the standard normal distribution. The quantile, of a probability within 0 and 1, is that of M. J. Wichura,
// "Algorithm AS 241", Applied Statistics 37 (1988) 477-484, to 1e-15.
double normal_cdf(double z);
double normal_quantile(double probability);

// Of the beta distribution on 0 to 1; a, b > 0. The quantile is a bisection of the other.
double beta_cdf(double x, double a, double b);
double beta_quantile(double probability, double a, double b);

}  // namespace lab
