// Error functions and their inverses, gamma functions, exponential integral.
#include "accuracy/real.h"

#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/expint.hpp>
#include <limits>

namespace orv::accuracy {
namespace {

namespace policies = boost::math::policies;
using Quiet =
    policies::policy<policies::domain_error<policies::ignore_error>,
                     policies::pole_error<policies::ignore_error>,
                     policies::overflow_error<policies::ignore_error>,
                     policies::evaluation_error<policies::ignore_error>, policies::promote_double<false>>;

template <class R>
R infinity() {
  return R(1) / R(0);
}
template <class R>
R not_a_number() {
  return R(0) / R(0);
}

// The number of the open interval (0, 1/2] or so whose complementary error function is w, by Newton's method from
// the quick value; the derivative of erfc is -2/sqrt(pi) e^(-x^2). The step doubles the digits.
Big refine_erfc_inv(Big const& w, double start) {
  Big x(start);
  for (int i = 0; i < 4; ++i) {
    Big const slope = Big(2) / sqrt(big_pi()) * exp(-(x * x));
    x = x + (erfc(x) - w) / slope;
  }
  return x;
}
// Where the quick value comes from a double: below its range the leading term of the inverse does as a start.
double erfc_inv_start(Big const& w) {
  double const d = w.rounded();
  if (d > 1e-300) return boost::math::erfc_inv(d, Quiet());
  double const log_w = log(w).rounded();
  double x = std::sqrt(-log_w);
  for (int i = 0; i < 20; ++i) x = std::sqrt(-log_w - std::log(x * 1.7724538509055160273));
  return x;
}

template <class R>
R erf_inverse(R const& x) {
  if (!(fabs(x) <= R(1))) return not_a_number<R>();
  if (fabs(x) == R(1)) return copysign(infinity<R>(), x);
  if (x == R(0)) return x;
  if constexpr (std::is_same_v<R, Big>) {
    double const start = boost::math::erf_inv(x.rounded(), Quiet());
    Big y(start);
    for (int i = 0; i < 4; ++i) y = y - (erf(y) - x) / (Big(2) / sqrt(big_pi()) * exp(-(y * y)));
    return y;
  } else {
    return boost::math::erf_inv(x, Quiet());
  }
}
template <class R>
R erfc_inverse(R const& w) {
  if (!(R(0) <= w && w <= R(2))) return not_a_number<R>();
  if (w == R(0)) return infinity<R>();
  if (w == R(2)) return -infinity<R>();
  if (w == R(1)) return R(0);
  if constexpr (std::is_same_v<R, Big>)
    return w > Big(1) ? -refine_erfc_inv(Big(2) - w, erfc_inv_start(Big(2) - w))
                      : refine_erfc_inv(w, erfc_inv_start(w));
  else
    return boost::math::erfc_inv(w, Quiet());
}
template <class R>
R normal_inverse(R const& p) {
  if (p == R(0.5)) return R(0);
  if constexpr (std::is_same_v<R, Big>)
    return p > Big(0.5) ? sqrt(Big(2)) * erfc_inverse(Big(2) - (p + p)) : -sqrt(Big(2)) * erfc_inverse(p + p);
  else
    return p > R(0.5) ? R(sqrt(R(2)) * erfc_inverse(R(2 - 2 * p))) : R(-sqrt(R(2)) * erfc_inverse(R(2 * p)));
}

// erfc(-x / sqrt 2) / 2; the rounding error of the argument grows with its square, so the quick one adds its effect.
template <class R>
R normal(R const& x) {
  if constexpr (std::is_same_v<R, Big>) {
    return erfc(-x / sqrt(Big(2))) / Big(2);
  } else {
    R const root = std::sqrt(R(0.5)), root_low = (R(0.5) - root * root) / (2 * root);
    R const t = -x * root;
    if (!(t > -10 && t < 200)) return std::erfc(t) / 2;
    R const low = std::fma(-x, root, -t) - x * root_low;
    return (std::erfc(t) - low * std::exp(-t * t) * R(1.1283791670955125739L)) / 2;
  }
}

template <class R>
R exponential_integral(R const& x) {
  if (x != x || x < R(0)) return not_a_number<R>();
  if (x == R(0)) return infinity<R>();
  if constexpr (std::is_same_v<R, Big>) {
    Big r, minus = -x;
    mpfr_eint(r.get(), minus.get(), MPFR_RNDN);
    return -r;
  } else {
    if (x > R(12000)) return 0;
    return boost::math::expint(1, x, Quiet());
  }
}

inline double log_gamma(double x) {
  int sign;
  return ::lgamma_r(x, &sign);
}
inline long double log_gamma(long double x) {
  int sign;
  return ::lgammal_r(x, &sign);
}

constexpr Reference with_error(Reference r, double error) {
  r.quick_error = error;
  return r;
}
// Near its zeros the C library's function loses digits.
constexpr Reference gamma_logarithm() {
  Reference r = with_error(ORV_ONE("LGamma", log_gamma(x)), 64);
  r.quick_wide = [](const long double* x, long double* result) {
    *result = log_gamma(*x);
    return !(std::fabs(*result) < 0.0625L) || *result == 0;
  };
  r.zero_sign = false;
  return r;
}

constexpr Reference table[] = {
    ORV_ONE("Erf", erf(x)),
    ORV_ONE("Erfc", erfc(x)),
    with_error(ORV_ONE("CdfNorm", normal(x)), 64),
    with_error(ORV_ONE("ErfInv", erf_inverse(x)), 16),
    with_error(ORV_ONE("ErfcInv", erfc_inverse(x)), 16),
    with_error(ORV_ONE("CdfNormInv", normal_inverse(x)), 16),
    gamma_logarithm(),
    with_error(ORV_ONE("TGamma", tgamma(x)), 64),
    with_error(ORV_ONE("ExpInt1", exponential_integral(x)), 16),
};

} // namespace

std::span<Reference const> special_references() { return table; }

} // namespace orv::accuracy
