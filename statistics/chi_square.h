// The chi-square distribution.
#pragma once

namespace orv::statistics {

double chi_square_below(double freedom, double x);   // P(X <= x)
double chi_square_density(double freedom, double x); // error: freedom times 2e-11
double chi_square_quantile(double freedom, double probability);

} // namespace orv::statistics
