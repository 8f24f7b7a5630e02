// Scalar mathematics of the statistics; what needs a kernel calls its HA slot with denormals kept.
#pragma once
#include "statistics/elementwise.h"

namespace orv::statistics {

constexpr int slot_ha = 1;

inline double ln(double x) {
  KeepDenormals const mode;
  double r;
  orv_elw_kernel_dLn_ttab[slot_ha](1, &x, &r);
  return r;
}
inline double exponential(double x) {
  KeepDenormals const mode;
  double r;
  orv_elw_kernel_dExp_ttab[slot_ha](1, &x, &r);
  return r;
}
inline double log_1p(double x) {
  KeepDenormals const mode;
  double r;
  orv_elw_kernel_dLog1p_ttab[slot_ha](1, &x, &r);
  return r;
}

// Natural logarithm for run lengths and the like, within 2 ulp; zero, negative, infinite and NaN arguments give the
// value of a number just below all others.
double quick_ln(double x);

// Logarithm of the Gamma function.
double log_gamma(double x);

} // namespace orv::statistics
