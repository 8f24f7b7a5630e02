// Hypot: sqrt(a^2 + b^2) from the hardware's approximate reciprocal root of the sum of squares; HA carries the sum
// in two terms. Sums of squares far from 1 are scaled in the repair.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sHypot: LA 1.15 at 0.179262966, 23.0886955; HA 0.5 at 0.999999464, 0.000244140494; EP 11.92 bits; 0.82 / 1.28 / 0.36
//   dHypot: LA 1.4 at 1.03965889, -90.5182507; HA 0.693 at 1.32338885e-308, 1.76038506e-308; EP 34.43 bits; 2.11 / 4.13 / 1.80
#include "kernels/loop/tables.h"
#include "kernels/pow/seeds.h"

#include <utility>

namespace orv {
namespace {

using namespace power;

// a^2 + b^2 = q + low.
template <class T>
struct Sum {
  Vec<T> q, low;
};
template <class T>
ORV_INLINE Sum<T> squares_in_two(Vec<T> a, Vec<T> b) {
  // In this order of operands a NaN of either comes through one of the two.
  Vec<T> const x = simd::magnitude(a), y = simd::magnitude(b), m = simd::max(x, y), n = simd::min(y, x);
  Vec<T> const p = m * m, p_low = simd::fms(m, m, p), t = n * n, t_low = simd::fms(n, n, t);
  Vec<T> const q = p + t;
  return {q, ((p - q) + t) + (p_low + t_low)};
}

template <class T, Level level>
struct Hypot {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 2, results = 1;

  V eval(V a, V b, unsigned& lanes) const {
    Sum<T> sum;
    if constexpr (level == Level::HA)
      sum = squares_in_two(a, b);
    else
      sum = {simd::fma(a, a, b * b), V(T(0))};
    V const q = sum.q;
    if constexpr (sizeof(T) == 4) {
      Bits<float> const p = simd::bits(q);
      lanes = simd::lane_mask(simd::outside(p, 0x1E300000, 0x60A00000));
      F const y = simd::approximate_rsqrt(q);
      F const s = y * q;
      if constexpr (level == Level::EP) return s;
      F const h = F(0.5f) * y, e = simd::fnma(h, s, F(0.5f));
      F const s1 = simd::fma(s, e, s), h1 = simd::fma(h, e, h);
      return simd::fnma(h1, simd::fms(s1, s1, q) - sum.low, s1);
    } else {
      Bits<double> const p = simd::bits(q);
      lanes = simd::lane_mask(simd::outside(p, 0x3BC00000, 0x44100000));
      D const y = _mm256_cvtps_pd(_mm_rsqrt_ps(_mm256_cvtpd_ps(q.v)));
      D const s = y * q, e = simd::fms(s, y, D(1.0));
      D const c = level == Level::EP ? D(simd::horner(e, -0.5, 0.375))
                                     : D(simd::horner(e, -0.5, 0.375, -0.3125, 0.2734375));
      D const s1 = simd::fma(s * e, c, s);
      if constexpr (level != Level::HA) return s1;
      return simd::fnma(D(0.5) * y, simd::fms(s1, s1, q) - sum.low, s1);
    }
  }
  int repair(T a, T b, T& r) const {
    if (scalar::is_infinite(a) || scalar::is_infinite(b)) {
      T const infinite = scalar::is_infinite(a) ? a : b;
      r = scalar::opaque(infinite) * infinite;
      return ORV_STATUS_OK;
    }
    if (scalar::is_nan(a) || scalar::is_nan(b)) {
      r = scalar::nan_of(a, b);
      return ORV_STATUS_OK;
    }
    if constexpr (sizeof(T) == 4) {
      double const x = a, y = b; // squares are exact
      r = static_cast<float>(scalar::opaque(scalar::sqrt(scalar::fma(x, x, y * y))));
    } else {
      double m = scalar::magnitude(a), n = scalar::magnitude(b);
      if (m < n) std::swap(m, n);
      double scale = 1;
      if (m > 0x1p500)
        scale = 0x1p-600;
      else if (m < 0x1p-400)
        scale = 0x1p600;
      m *= scale;
      n *= scale;
      auto const p = scalar::two_product(m, m), t = scalar::two_product(n, n);
      auto const q = scalar::fast_two_sum(p.hi, t.hi);
      double s = scalar::sqrt(q.hi);
      if (s > 0) s += (scalar::fma(-s, s, q.hi) + (q.lo + (p.lo + t.lo))) * (0.5 / s);
      r = scalar::opaque(s) * (1 / scale);
    }
    return ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Hypot, orv::Hypot);
