// How a kernel's loop reads and writes arrays: contiguous, strided, or one scalar for all elements; real
// elements in one vector, complex elements as a vector of real and a vector of imaginary parts.
#pragma once
#include "frame/report.h"
#include "kernels/simd/vector.h"

namespace orv::loop {

using simd::Bits;
using simd::Vec;

// ---- the vector that holds `lanes` elements ----
template <class E>
struct Lanes {
  using Value = Vec<E>;
  static constexpr int count = Value::lanes;
  ORV_INLINE static Value load(const E* p) { return simd::load(p); }
  ORV_INLINE static Value load_first(const E* p, int m) {
    return simd::load_part(p, simd::first_lanes<E>(m), Value(*p));
  }
  ORV_INLINE static Value broadcast(E x) { return Value(x); }
  ORV_INLINE static void store(E* p, Value v) { simd::store(p, v); }
  ORV_INLINE static void store_first(E* p, int m, Value v) { simd::store_first(p, m, v); }
};

template <class T>
struct ComplexVec {
  Vec<T> re, im;
};
ORV_INLINE ComplexVec<float> separate(Vec<float> a, Vec<float> b) {
  // Lanes come out as 0 1 4 5 2 3 6 7: in order for separate and join together.
  return {_mm256_shuffle_ps(a.v, b.v, 0x88), _mm256_shuffle_ps(a.v, b.v, 0xDD)};
}
ORV_INLINE ComplexVec<double> separate(Vec<double> a, Vec<double> b) {
  return {_mm256_unpacklo_pd(a.v, b.v), _mm256_unpackhi_pd(a.v, b.v)};
}
ORV_INLINE Vec<float> in_order(Vec<float> a) {
  return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(a.v), 0xD8));
}
ORV_INLINE Vec<double> in_order(Vec<double> a) { return _mm256_permute4x64_pd(a.v, 0xD8); }

template <class T>
struct Lanes<Complex<T>> {
  using Value = ComplexVec<T>;
  static constexpr int count = Vec<T>::lanes;
  static constexpr int half = count / 2;
  ORV_INLINE static Value load(const Complex<T>* p) {
    return arrange(simd::load(&p[0].re), simd::load(&p[half].re));
  }
  ORV_INLINE static Value load_first(const Complex<T>* p, int m) {
    int const low = m < half ? m : half;
    Vec<T> const fill = simd::broadcast_pair(&p->re);
    return arrange(
        simd::load_part(&p[0].re, simd::first_lanes<T>(2 * low), fill),
        simd::load_part(m > half ? &p[half].re : &p[0].re, simd::first_lanes<T>(2 * (m - low)), fill));
  }
  ORV_INLINE static Value broadcast(Complex<T> x) { return {Vec<T>(x.re), Vec<T>(x.im)}; }
  ORV_INLINE static void store(Complex<T>* p, Value v) {
    simd::store(&p[0].re, low_half(v));
    simd::store(&p[half].re, high_half(v));
  }
  ORV_INLINE static void store_first(Complex<T>* p, int m, Value v) {
    int const low = m < half ? m : half;
    simd::store_first(&p[0].re, 2 * low, low_half(v));
    if (m > half) simd::store_first(&p[half].re, 2 * (m - low), high_half(v));
  }

 private:
  ORV_INLINE static Value arrange(Vec<T> a, Vec<T> b) {
    Value const v = separate(a, b);
    return {in_order(v.re), in_order(v.im)};
  }
  ORV_INLINE static Vec<T> low_half(Value v) { return unpack(v, false); }
  ORV_INLINE static Vec<T> high_half(Value v) { return unpack(v, true); }
  ORV_INLINE static Vec<T> unpack(Value v, bool high) {
    Vec<T> const re = in_order(v.re), im = in_order(v.im);
    if constexpr (sizeof(T) == 4)
      return high ? Vec<T>(_mm256_unpackhi_ps(re.v, im.v)) : Vec<T>(_mm256_unpacklo_ps(re.v, im.v));
    else
      return high ? Vec<T>(_mm256_unpackhi_pd(re.v, im.v)) : Vec<T>(_mm256_unpacklo_pd(re.v, im.v));
  }
};

// ---- operands and results ----
//
// load(i)            the vector from element i on
// load_first(i, m)   its first m elements; the lanes that are left repeat element i, so that they raise no flag and
//                    start no special case of their own
// store(i, v), store_first(i, m, v)
// A `dense` array is read and written by whole vectors at any place.

template <class E>
struct ContiguousIn {
  using Element = E;
  static constexpr bool dense = true;
  const E* p;
  ORV_INLINE auto load(int i) const { return Lanes<E>::load(p + i); }
  ORV_INLINE auto load_first(int i, int m) const { return Lanes<E>::load_first(p + i, m); }
  Strided<const E> whole() const { return {p, 1}; }
};

template <class E>
struct ContiguousOut {
  using Element = E;
  static constexpr bool dense = true;
  E* p;
  ORV_INLINE void store(int i, typename Lanes<E>::Value v) const { Lanes<E>::store(p + i, v); }
  ORV_INLINE void store_first(int i, int m, typename Lanes<E>::Value v) const {
    Lanes<E>::store_first(p + i, m, v);
  }
  E& at(int i) const { return p[i]; }
  Strided<E> whole() const { return {p, 1}; }
};

// One value for all elements; it lives in the entry's frame while the call runs.
template <class E>
struct ScalarIn {
  using Element = E;
  static constexpr bool dense = true;
  const E* p;
  ORV_INLINE auto load(int) const { return Lanes<E>::broadcast(*p); }
  ORV_INLINE auto load_first(int, int) const { return Lanes<E>::broadcast(*p); }
  Strided<const E> whole() const { return {p, 0}; }
};

template <class E>
struct StridedIn {
  using Element = E;
  static constexpr bool dense = false;
  const E* p;
  std::ptrdiff_t stride;
  ORV_INLINE auto load(int i) const {
    if (stride == 1) return Lanes<E>::load(p + i);
    if (stride == 0) return Lanes<E>::broadcast(*p);
    alignas(32) E lane[Lanes<E>::count];
    const E* q = p + i * stride;
    for (int k = 0; k < Lanes<E>::count; ++k, q += stride) copy(lane[k], *q);
    return Lanes<E>::load(lane);
  }
  ORV_INLINE auto load_first(int i, int m) const {
    alignas(32) E lane[Lanes<E>::count];
    for (int k = 0; k < Lanes<E>::count; ++k) copy(lane[k], p[(k < m ? i + k : i) * stride]);
    return Lanes<E>::load(lane);
  }
  Strided<const E> whole() const { return {p, stride}; }

 private:
  // By integer moves: a signalling NaN stays one, on every target.
  ORV_INLINE static void copy(E& to, const E& from) { __builtin_memcpy(&to, &from, sizeof(E)); }
};

template <class E>
struct StridedOut {
  using Element = E;
  static constexpr bool dense = false;
  E* p;
  std::ptrdiff_t stride;
  ORV_INLINE void store(int i, typename Lanes<E>::Value v) const {
    if (stride == 1)
      Lanes<E>::store(p + i, v);
    else
      store_first(i, Lanes<E>::count, v);
  }
  ORV_INLINE void store_first(int i, int m, typename Lanes<E>::Value v) const {
    alignas(32) E lane[Lanes<E>::count];
    Lanes<E>::store(lane, v);
    for (int k = 0; k < m; ++k) __builtin_memcpy(&p[(i + k) * stride], &lane[k], sizeof(E));
  }
  E& at(int i) const { return p[i * stride]; }
  Strided<E> whole() const { return {p, stride}; }
};

} // namespace orv::loop
