// sqrt(a^2 + b^2) for Hypot and for the modulus of complex numbers: kernels/pow/hypot.cpp tells how.
#pragma once
#include "frame/functions.h"
#include "kernels/pow/seeds.h"
#include "orv/mode.h"

#include <utility>

namespace orv::power {

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
struct HypotBody {
  using V = Vec<T>;

  ORV_INLINE static V eval(V a, V b, unsigned& lanes) {
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
  static int repair(T a, T b, T& r) {
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

} // namespace orv::power
