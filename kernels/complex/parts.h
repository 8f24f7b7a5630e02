// Real and imaginary parts of eight or four complex numbers, a vector each.
#pragma once
#include "kernels/loop/tables.h"

namespace orv::complex {

using loop::ComplexVec;
using simd::Bits;
using simd::D;
using simd::F;
using simd::Vec;

// Lanes with a part that is infinite or NaN.
template <class T>
ORV_INLINE unsigned not_finite(ComplexVec<T> r) {
  return simd::lane_mask(simd::not_finite(r.re) | simd::not_finite(r.im));
}
// Those lanes of r whose bit is set, else those of old.
template <class T>
ORV_INLINE Vec<T> select(unsigned lanes, Vec<T> r, Vec<T> old) {
  alignas(32) simd::SignedOf<T> mask[Vec<T>::lanes];
  for (int i = 0; i < Vec<T>::lanes; ++i) mask[i] = -static_cast<simd::SignedOf<T>>(lanes >> i & 1);
  __m256i const m = _mm256_load_si256(reinterpret_cast<const __m256i*>(mask));
  return simd::choose(simd::Mask<T>{simd::from_bits(Bits<T>(m))}, r, old);
}
template <class T>
ORV_INLINE ComplexVec<T> select(unsigned lanes, ComplexVec<T> r, ComplexVec<T> old) {
  return {select(lanes, r.re, old.re), select(lanes, r.im, old.im)};
}
// A zero as -0, which changes no other number, nor a zero, that it is added to.
template <class T>
ORV_INLINE Vec<T> negative_zero(Vec<T> x) {
  return x | simd::keep(simd::is_equal(x, Vec<T>(T(0))), Vec<T>(T(-0.0)));
}

// A sum of two terms; in double precision the low one is below half a unit of the high one, or nearly.
struct Terms {
  D hi, lo;
};
ORV_INLINE Terms two_sum(D a, D b) {
  D const s = a + b, t = s - a;
  return {s, (a - (s - t)) + (b - t)};
}
ORV_INLINE Terms two_product(D a, D b) {
  D const p = a * b;
  return {p, simd::fms(a, b, p)};
}
// a b + c d with three terms kept, so that a full cancellation leaves all bits.
ORV_INLINE Terms sum_of_products(D a, D b, D c, D d) {
  Terms const p = two_product(a, b), q = two_product(c, d);
  Terms const s = two_sum(p.hi, q.hi), t = two_sum(p.lo, q.lo);
  D const low = s.lo + t.hi, hi = s.hi + negative_zero(low);
  // The heads cancel exactly or leave nothing to be lost.
  return {hi, (low - (hi - s.hi)) + t.lo};
}

} // namespace orv::complex
