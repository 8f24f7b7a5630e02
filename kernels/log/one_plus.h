// ln(1 + x) without losing the low bits of x, for Log1p and the inverse hyperbolic functions: 1 + x is an exact sum
// s + c; s = 2^e m is split, c is scaled like it and joins the remainder. A tiny x is the remainder itself.
#pragma once
#include "frame/functions.h"
#include "kernels/log/reciprocal.h"

namespace orv::logarithm {

template <class T>
struct OnePlus {
  Vec<T> s, c;
};
template <class T>
ORV_INLINE OnePlus<T> one_plus(Vec<T> x) {
  Vec<T> const one(T(1)), a = simd::max(one, x), b = simd::min(one, x), s = a + b;
  return {s, b + (a - s)};
}

// ln(s + c) for a positive normal s and a c that is at most a rounding of it, or all of a tiny x.
template <Level level>
ORV_INLINE F ln_of_sum(OnePlus<float> x) {
  auto const [e, head, exponent] = split(x.s);
  F const scaled = x.c * simd::from_bits(Bits<float>(0x3F800000) - simd::shift_left<23>(exponent));
  F const f = head + scaled;
  if constexpr (level == Level::HA) {
    F const left = (head - f) + scaled;       // |head| is above |scaled| or 0
    F const rest = simd::fnma(f, left, left); // times about 1 / (1 + f)
    F const p = simd::horner(f, -0.5f, 0.333333373f, -0.249998823f, 0.199994281f, -0.166766852f, 0.143097892f,
                             -0.12236467f, 0.106909797f, -0.126670167f, 0.122589536f);
    // e ln2_hi + f in two terms: the product is exact; neither is always the larger.
    F const h = e * F(0.693145751953125f);
    F const sum = h + f;
    F const t = sum - h;
    F const error = (h - (sum - t)) + (f - t);
    return sum + simd::fma(f * f, p, error + simd::fma(e, F(1.428606765330187e-06f), rest));
  } else {
    F q;
    if constexpr (level == Level::LA)
      q = with_quadratic_tail(f, -0.5f, 0.3333326578140259f, -0.2500423789024353f, 0.20007920265197754f,
                              -0.1647232621908188f, 0.14042308926582336f, -0.15122179687023163f,
                              0.13820238411426544f);
    else
      q = with_quadratic_tail(f, -0.5f, 0.33289623260498047f, -0.2674025893211365f, 0.2198837250471115f);
    return simd::fma(e, F(0.6931471824645996f), q);
  }
}

template <Level level>
ORV_INLINE D ln_of_sum(OnePlus<double> x) {
  SplitD const parts = split(x.s);
  Bits<double> const field = simd::bits(x.s) & Bits<double>(simd::exponent_mask<double>);
  // The scale and y together are near 1: a denormal x keeps its bits.
  D const scaled = x.c * (simd::from_bits(Bits<double>(0x7F40000000000000) - field) * parts.y);
  D const z = parts.z + scaled;
  if constexpr (level == Level::HA) {
    D const rest = (parts.z - z) + scaled;
    auto const t = entry(table_ln_pairs, parts.row);
    Sum const sum = add(simd::fma(parts.e, D(0.6931471805582987), t.hi), z);
    D const low = simd::fma(z * z, tail_of_ln(z), simd::fma(parts.e, D(1.6465949582866463e-12), t.lo));
    return sum.hi + (sum.error + (rest + low));
  } else {
    D const t = entry(table_ln, parts.row);
    D p;
    if constexpr (level == Level::LA)
      p = tail_of_ln(z);
    else
      p = simd::fma(z, D(0.33333333333308374), D(-0.49999999999988803));
    return simd::fma(parts.e, D(0.6931471805599453), t) + simd::fma(z * z, p, z);
  }
}

} // namespace orv::logarithm
