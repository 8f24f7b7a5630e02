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
  ORV_INLINE static Value load_part(const E* p, int m, E fill) {
    return simd::load_part(p, simd::first_lanes<E>(m), Value(fill));
  }
  ORV_INLINE static Value broadcast(E x) { return Value(x); }
  ORV_INLINE static void store(E* p, Value v) { simd::store(p, v); }
  ORV_INLINE static void store_part(E* p, int m, Value v) { simd::store_part(p, simd::first_lanes<E>(m), v); }
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
  ORV_INLINE static Value load_part(const Complex<T>* p, int m, T fill) {
    int const low = m < half ? m : half;
    return arrange(simd::load_part(&p[0].re, simd::first_lanes<T>(2 * low), Vec<T>(fill)),
                   simd::load_part(m > half ? &p[half].re : &p[0].re, simd::first_lanes<T>(2 * (m - low)),
                                   Vec<T>(fill)));
  }
  ORV_INLINE static Value broadcast(Complex<T> x) { return {Vec<T>(x.re), Vec<T>(x.im)}; }
  ORV_INLINE static void store(Complex<T>* p, Value v) {
    simd::store(&p[0].re, low_half(v));
    simd::store(&p[half].re, high_half(v));
  }
  ORV_INLINE static void store_part(Complex<T>* p, int m, Value v) {
    int const low = m < half ? m : half;
    simd::store_part(&p[0].re, simd::first_lanes<T>(2 * low), low_half(v));
    if (m > half) simd::store_part(&p[half].re, simd::first_lanes<T>(2 * (m - low)), high_half(v));
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
template <class E>
struct RealOf {
  using type = E;
};
template <class T>
struct RealOf<Complex<T>> {
  using type = T;
};

template <class E>
struct ContiguousIn {
  using Element = E;
  const E* p;
  using Real = typename RealOf<E>::type;
  ORV_INLINE auto load(int i) const { return Lanes<E>::load(p + i); }
  ORV_INLINE auto load_part(int i, int m, Real fill) const { return Lanes<E>::load_part(p + i, m, fill); }
  Strided<const E> whole() const { return {p, 1}; }
};

template <class E>
struct ContiguousOut {
  using Element = E;
  E* p;
  ORV_INLINE void store(int i, typename Lanes<E>::Value v) const { Lanes<E>::store(p + i, v); }
  ORV_INLINE void store_part(int i, int m, typename Lanes<E>::Value v) const {
    Lanes<E>::store_part(p + i, m, v);
  }
  E& at(int i) const { return p[i]; }
  Strided<E> whole() const { return {p, 1}; }
};

// One value for all elements; it lives in the entry's frame while the call runs.
template <class E>
struct ScalarIn {
  using Element = E;
  const E* p;
  using Real = typename RealOf<E>::type;
  ORV_INLINE auto load(int) const { return Lanes<E>::broadcast(*p); }
  ORV_INLINE auto load_part(int, int, Real) const { return Lanes<E>::broadcast(*p); }
  Strided<const E> whole() const { return {p, 0}; }
};

template <class E>
struct StridedIn {
  using Element = E;
  const E* p;
  std::ptrdiff_t stride;
  using Real = typename RealOf<E>::type;
  ORV_INLINE auto load(int i) const {
    if (stride == 1) return Lanes<E>::load(p + i);
    if (stride == 0) return Lanes<E>::broadcast(*p);
    alignas(32) E lane[Lanes<E>::count];
    const E* q = p + i * stride;
    for (int k = 0; k < Lanes<E>::count; ++k, q += stride) copy(lane[k], *q);
    return Lanes<E>::load(lane);
  }
  ORV_INLINE auto load_part(int i, int m, Real fill) const {
    alignas(32) E lane[Lanes<E>::count];
    for (int k = 0; k < Lanes<E>::count; ++k) {
      if (k < m)
        copy(lane[k], p[(i + k) * stride]);
      else
        lane[k] = filled(fill);
    }
    return Lanes<E>::load(lane);
  }
  Strided<const E> whole() const { return {p, stride}; }

 private:
  // By integer moves: a signalling NaN stays one, on every target.
  ORV_INLINE static void copy(E& to, const E& from) { __builtin_memcpy(&to, &from, sizeof(E)); }
  ORV_INLINE static E filled(Real fill) {
    if constexpr (std::is_same_v<E, Real>)
      return fill;
    else
      return {fill, fill};
  }
};

template <class E>
struct StridedOut {
  using Element = E;
  E* p;
  std::ptrdiff_t stride;
  ORV_INLINE void store(int i, typename Lanes<E>::Value v) const {
    if (stride == 1)
      Lanes<E>::store(p + i, v);
    else
      store_part(i, Lanes<E>::count, v);
  }
  ORV_INLINE void store_part(int i, int m, typename Lanes<E>::Value v) const {
    alignas(32) E lane[Lanes<E>::count];
    Lanes<E>::store(lane, v);
    for (int k = 0; k < m; ++k) __builtin_memcpy(&p[(i + k) * stride], &lane[k], sizeof(E));
  }
  E& at(int i) const { return p[i * stride]; }
  Strided<E> whole() const { return {p, stride}; }
};

} // namespace orv::loop
