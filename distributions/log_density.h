// Logarithms of ratios of factorials, for arguments up to 10^9 and offsets of any size, to about 1e-16 of the offset:
// densities around a mode are differences of them, where logarithms of factorials themselves would lose all digits.
#pragma once
#include "distributions/kernels.h"

namespace orv::distributions {

// ln y! less Stirling's (y + 1/2) ln y - y + ln(2 pi) / 2, for real y above 0. Below 16 by the recurrence.
inline double stirling_error(double y) {
  double sum = 0;
  for (; y < 16; y += 1) sum += (y + 0.5) * kernel::log1p(1 / y) - 1;
  double const w = 1 / y, w2 = w * w;
  return sum + w * (1.0 / 12 - w2 * (1.0 / 360 - w2 * (1.0 / 1260 - w2 * (1.0 / 1680 - w2 * (1.0 / 1188)))));
}

// out[i] += weight (ln((a + k)! / a!) - k ln a) with k = sign k[i]; a above 0, a + k not below 0.
inline void add_factorial_steps(int n, double a, double sign, double const* k, double weight, double* out) {
  constexpr int most = 1024;
  double ln_ratio[most];
  double const error = stirling_error(a);
  for (int i = 0; i < n; ++i) ln_ratio[i] = sign * k[i] / a;
  kernel::log1p(n, ln_ratio, ln_ratio, kernel::ha);
  for (int i = 0; i < n; ++i) {
    double const step = sign * k[i], y = a + step;
    double const value = y > 0 ? (y + 0.5) * ln_ratio[i] - step + (stirling_error(y) - error)
                               : a - 0.5 * kernel::ln(a) - 0x1.d67f1c864beb4p-1 - error; // ln(2 pi) / 2
    out[i] += weight * value;
  }
}

inline double ln_factorial(double y) { // y above 0
  return (y + 0.5) * kernel::ln(y) - y + 0x1.d67f1c864beb4p-1 + stirling_error(y);
}

// ln((x + b)! / x!) for x not below 0 and x + b above -1, precise where b is small beside x.
inline double ln_rising(double x, double b) {
  if (x == 0) return b == 0 ? 0 : ln_factorial(b);
  double const rest = x + b > 0 ? (x + b + 0.5) * kernel::log1p(b / x) + b * kernel::ln(x) - b +
                                      stirling_error(x + b) - stirling_error(x)
                                : -ln_factorial(x);
  return rest;
}

} // namespace orv::distributions
