// The polynomial scheme: x = 2^e m with m in [2/3, 4/3), and one polynomial in m - 1 covers it. No table.
#pragma once
#include "kernels/simd/scalar.h"

namespace orv::logarithm {

using simd::Bits;
using simd::D;
using simd::F;
using simd::Vec;

struct SplitF {
  F e, f; // x = 2^e (1 + f)
  Bits<float> exponent;
};

ORV_INLINE SplitF split(F x) {
  constexpr uint32_t two_thirds = 0x3F2AAAAB;
  Bits<float> const t = simd::bits(x) - Bits<float>(two_thirds);
  Bits<float> const e = simd::shift_right_signed(t, 23);
  Bits<float> const m = (t & Bits<float>(0x7FFFFF)) + Bits<float>(two_thirds);
  return {F(_mm256_cvtepi32_ps(e.v)), simd::from_bits(m) - F(1.0f), e};
}

// Not a positive normal number: one integer compare for zero, denormals, negatives, infinities and NaN.
ORV_INLINE unsigned not_positive_normal(F x) {
  return simd::lane_mask(simd::outside(simd::bits(x), 0x00800000, 0x7F7FFFFF));
}
template <class T>
ORV_INLINE unsigned outside_normal(Vec<T> x) {
  Vec<T> const low = simd::compare<_CMP_LT_OQ>(x, Vec<T>(simd::Format<T>::smallest_normal));
  Vec<T> const high = simd::compare<_CMP_NLE_UQ>(x, Vec<T>(simd::Format<T>::largest));
  return simd::lane_mask(low | high);
}

// f + f^2 p(f) of the natural logarithm, by level.
template <class... C>
ORV_INLINE F with_quadratic_tail(F f, C... p) {
  return simd::fma(f * f, simd::horner(f, p...), f);
}

// A polynomial without constant term, in two halves by powers of f^2: a shorter chain of dependent steps.
template <class V, std::size_t N>
ORV_INLINE V halves(V f, double const (&c)[N]) {
  using T = typename V::Lane;
  V const g = f * f;
  constexpr int last = static_cast<int>(N) - 1;
  constexpr int top_even = last - last % 2, top_odd = last - (last + 1) % 2;
  V even(static_cast<T>(c[top_even])), odd(static_cast<T>(c[top_odd]));
#pragma GCC unroll 8
  for (int i = top_even - 2; i >= 0; i -= 2) even = simd::fma(even, g, V(static_cast<T>(c[i])));
#pragma GCC unroll 8
  for (int i = top_odd - 2; i >= 1; i -= 2) odd = simd::fma(odd, g, V(static_cast<T>(c[i])));
  return f * simd::fma(odd, f, even);
}

} // namespace orv::logarithm
