// Constants of the translated biweight S-estimator: where its weights begin to fall (M) and over which width they fall
// to 0 (c), for a breakdown point and an asymptotic rejection probability (Rocke 1996).
#pragma once
#include "statistics/chi_square.h"
#include "statistics/scalars.h"

namespace orv::statistics {

struct RobustConstants {
  double m, c;
};

namespace robust {

// Moments of a distance d, d^2 chi-square with p degrees of freedom, cut at a radius.
class Moments {
 public:
  explicit Moments(double p) : p_(p) {}
  double share(double r) const { return chi_square_below(p_, r * r); }
  double truncated(int k, double r) const { // E[d^k; d < |r|]
    double const half = 0.5 * k;
    return exponential(half * 0.69314718055994530942 + log_gamma((p_ + k) / 2) - log_gamma(p_ / 2)) *
           chi_square_below(p_ + k, r * r);
  }
  double freedom() const { return p_; }

 private:
  double p_;
};

// E[rho] less the breakdown point's share of its top. rho grows as d^2 / 2 below M; above, its derivative is d times
// the weight (1 - ((d - M) / c)^2)^2, a polynomial of degree 5.
inline double excess(Moments const& t, double breakdown, double m, double c) {
  double const end = m + c, top = m * m / 2 + c * (c / 6 + 8 * m / 15), a = c * c - m * m;
  double const power[] = {0, 0, a * a / 2, 4 * a * m / 3, (4 * m * m - 2 * a) / 4, -4 * m / 5, 1.0 / 6};
  double const c4 = c * c * c * c;
  double at_m = 0, between = 0, x = m;
  for (int k = 2; k <= 6; ++k) {
    x *= m;
    at_m += power[k] * x;
    between += power[k] * (t.truncated(k, end) - t.truncated(k, m));
  }
  between = between / c4 + (m * m / 2 - at_m / c4) * (t.share(end) - t.share(m));
  return t.truncated(2, m) / 2 + between + top * (1 - t.share(end)) - breakdown * top;
}

} // namespace robust

inline RobustConstants robust_constants(double p, double breakdown, double rejection) {
  constexpr double enough = 0.0001, step = 0.0001;
  constexpr int most_steps = 100;
  robust::Moments const t(p);
  double r = 2 * p;
  for (int i = 0; i < most_steps; ++i) {
    double const beyond = 1 - t.share(r) - breakdown, f = t.truncated(2, r) + r * r * beyond;
    if (__builtin_fabs(f) <= enough) break;
    double const slope = 2 * r * beyond, next = slope == 0 ? r / 2 : r - f / slope;
    r = next < 0 ? r / 2 : next;
  }
  double const m0 = root(chi_square_quantile(p, 1 - rejection));
  if (rejection >= 1 - t.share(r)) return {m0, 0};
  double m = root(p);
  for (int i = 0; i < most_steps; ++i) {
    double const f = robust::excess(t, breakdown, m, m0 - m);
    if (__builtin_fabs(f) <= enough) return {m, m0 - m};
    double const ahead = robust::excess(t, breakdown, m + step, m0 - (m + step));
    m -= f * step / (ahead - f);
  }
  if (__builtin_fabs(robust::excess(t, breakdown, m, m0 - m)) <= enough) return {m, m0 - m};
  return {m0, 0};
}

} // namespace orv::statistics
