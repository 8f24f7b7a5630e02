// The chi-square distribution by the regularized incomplete gamma functions: a series below the mean, a continued
// fraction (Lentz) above. The quantile is found by Newton steps on the logarithm of the smaller tail, which is nearly
// straight (against ln x in the lower tail, against x in the upper one), kept inside a bracket.
#include "statistics/chi_square.h"

#include "frame/export.h"
#include "statistics/scalars.h"

#include <algorithm>
#include <limits>

namespace orv::statistics {
namespace {

constexpr double small_term = 9.999999999999999e-16;
constexpr double infinity = std::numeric_limits<double>::infinity();

// ln of y^a e^-y / Gamma(a).
double log_factor(double a, double y) { return a * ln(y) - y - log_gamma(a); }

// The share below y, as a factor times a series; the logarithm of the factor is t.
double series(double a, double y) {
  double sum = 1, term = 1;
  for (double k = 1; term > small_term * sum && k < 1e7; ++k) {
    term *= y / (a + k);
    sum += term;
  }
  return sum / a;
}
// The share above y.
double fraction(double a, double y) {
  constexpr double tiny = 1e-300;
  double b = y + 1 - a, c = 1 / tiny, d = 1 / b, h = d;
  for (double k = 1; k < 1e7; ++k) {
    double const term = k * (a - k);
    b += 2;
    d = term * d + b;
    if (__builtin_fabs(d) < tiny) d = tiny;
    c = b + term / c;
    if (__builtin_fabs(c) < tiny) c = tiny;
    d = 1 / d;
    double const change = d * c;
    h *= change;
    if (__builtin_fabs(change - 1) <= small_term) break;
  }
  return h;
}
bool upper_is_small(double a, double y) { return y > 1 && y > a; }

// Logarithm of the share below (or above) y.
double log_below(double a, double y) { return log_factor(a, y) + ln(series(a, y)); }
double log_above(double a, double y) { return log_factor(a, y) + ln(fraction(a, y)); }
double below(double a, double y) {
  if (upper_is_small(a, y)) return 1 - exponential(log_factor(a, y)) * fraction(a, y);
  double const t = log_factor(a, y);
  return t < -709.7827129 ? 0 : series(a, y) * exponential(t);
}
double above(double a, double y) {
  return upper_is_small(a, y) ? exponential(log_factor(a, y)) * fraction(a, y) : 1 - below(a, y);
}

// A normal deviate that is exceeded with probability q, to 3 digits (Abramowitz and Stegun 26.2.23).
double rough_normal(double q) {
  double const tail = std::min(q, 1 - q), t = root(-2 * ln(tail));
  double const z =
      t - (2.515517 + t * (0.802853 + t * 0.010328)) / (1 + t * (1.432788 + t * (0.189269 + t * 0.001308)));
  return q <= 0.5 ? z : -z;
}

} // namespace

double chi_square_below(double freedom, double x) {
  double const a = freedom / 2, y = x / 2;
  if (!(y > 0) || !(a > 0)) return 0;
  if (y == infinity) return a == infinity ? 0 : 1;
  if (a == infinity) return 0;
  return std::clamp(below(a, y), 0.0, 1.0);
}

double chi_square_density(double freedom, double x) {
  if (!(x > 0) || x == infinity) return 0;
  double const a = freedom / 2, l = ln(x);
  return exponential(a * (l - 0.6931471805999999) - (x / 2 + log_gamma(a) + l));
}

double chi_square_quantile(double freedom, double probability) {
  double const a = freedom / 2;
  if (!(probability > 0) || !(a > 0)) return 0;
  if (!(probability < 1) || a == infinity) return infinity;
  bool const lower = probability <= 0.5;
  double const target = lower ? probability : 1 - probability, log_target = ln(target);
  // Wilson and Hilferty; far below, the first term of the series.
  double const d = 1 / (9 * a), cube = 1 - d + rough_normal(1 - probability) * root(d);
  double y = a * cube * cube * cube;
  double const first_term = exponential((log_target + log_gamma(a + 1)) / a);
  if (lower && (!(cube > 0) || first_term < 0.1 * (a + 1))) y = first_term;
  if (!(y > 0)) return 0; // below the smallest number
  double low = 0, high = infinity;
  for (int step = 0; step < 400; ++step) {
    bool const tail_is_computed = lower != upper_is_small(a, y);
    double const share = tail_is_computed ? (lower ? log_below(a, y) : log_above(a, y))
                                          : ln(std::max(lower ? below(a, y) : above(a, y), 1e-300));
    double const error = lower ? share - log_target : log_target - share; // above 0: y is too large
    (error > 0 ? high : low) = y;
    if (error == 0) break;
    double const slope = exponential(log_factor(a, y) - share); // of ln(tail) against ln y
    double next = lower ? y * exponential(-error / slope) : y - error * y / slope;
    if (!(next > low && next < high)) next = high < infinity ? low + (high - low) / 2 : 2 * y;
    double const change = __builtin_fabs(next - y);
    y = next;
    if (change <= small_term * y || !(y > 0)) break;
  }
  return 2 * y;
}

} // namespace orv::statistics

ORV_EXPORT double __rnqdChi2CDF(double freedom, double x) {
  return orv::statistics::chi_square_below(freedom, x);
}
ORV_EXPORT double __rnqdChi2PDF(double freedom, double x) {
  return orv::statistics::chi_square_density(freedom, x);
}
ORV_EXPORT double __rnqdChi2ICDF(double freedom, double probability) {
  return orv::statistics::chi_square_quantile(freedom, probability);
}
