#include "distributions/negative_binomial_tail.h"

#include "distributions/log_density.h"

namespace orv::distributions {
namespace {

// The continued fraction of the incomplete beta function I_x(a, b), for x below (a + 1) / (a + b + 2); by Lentz's
// method, at most some 50 steps.
double beta_fraction(double x, double a, double b) {
  constexpr double tiny = 1e-300;
  double const ab = a + b;
  auto const away = [](double v) { return v > -tiny && v < tiny ? tiny : v; };
  double c = 1, d = 1 / away(1 - ab * x / (a + 1)), h = d;
  for (int m = 1; m <= 200; ++m) {
    double const m2 = 2.0 * m;
    double const even = m * (b - m) * x / ((a - 1 + m2) * (a + m2));
    d = 1 / away(1 + even * d);
    c = away(1 + even / c);
    h *= d * c;
    double const odd = -(a + m) * (ab + m) * x / ((a + m2) * (a + 1 + m2));
    d = 1 / away(1 + odd * d);
    c = away(1 + odd / c);
    double const factor = d * c;
    h *= factor;
    if (factor > 1 - 4e-16 && factor < 1 + 4e-16) break;
  }
  return h;
}

struct Tail {
  double a, p, q, ln_start; // ln_start + ln_rising(k, a - 1) + k ln q is the density's logarithm
  double ln_q;
  Tail(double a, double p) : a(a), p(p), q(1 - p), ln_q(kernel::log1p(-p)) {
    ln_start = a * kernel::ln(p) - (ln_factorial(a) - kernel::ln(a));
  }
  double density(double k) const { return kernel::exp(ln_start + ln_rising(k, a - 1) + k * ln_q); }
  // P(K > k), and that less t, either from the side where it is small.
  double above(double k, double f, double u, double t, double& excess) const {
    if (q * (k + a + 3) < k + 2) {
      double const tail = f * q * (a + k) / (k + 1) * beta_fraction(q, k + 1, a);
      excess = tail - t;
      return tail;
    }
    double const body = f * q * (a + k) / a * beta_fraction(p, a, k + 1);
    excess = u - body;
    return 1 - body;
  }
};

} // namespace

double negative_binomial_tail(double a, double p, int from, double u) {
  Tail const tail(a, p);
  double const t = 1 - u > 0x1p-53 ? 1 - u : 0x1p-53; // u of 1: where terms no longer change a sum of 1
  double low = from, high = 1e300, k = low + 1;
  if (double const mean = a * tail.q / p; mean > k) k = kernel::floor(mean);
  double f = 0, above = 1;
  for (int turn = 0; turn < 200; ++turn) {
    f = tail.density(k);
    double excess;
    above = tail.above(k, f, u, t, excess);
    (excess >= 0 ? low : high) = k;
    double const hazard = -kernel::log1p(-f / (above + f)), step = kernel::log1p(excess / t) / hazard;
    if (step > -1 && step < 1) break;
    double next = k + kernel::floor(step);
    if (!(next > low && next < high)) {
      if (high - low <= 2) break;
      next = high == 1e300 ? 2 * low + 1 : kernel::floor(low + (high - low) / 2);
    }
    k = next;
  }
  while (above >= t && f > 0) {
    k += 1;
    f *= tail.q * (a + k - 1) / k;
    above -= f;
  }
  while (k - 1 > from && above + f < t) {
    above += f;
    f *= k / (tail.q * (a + k - 1));
    k -= 1;
  }
  return k;
}

} // namespace orv::distributions
