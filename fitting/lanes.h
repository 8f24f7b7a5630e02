// One notation for a real, and for a 256-bit vector of reals: loops are written once over both, and a tail
// element is computed by the same steps as a vector lane.
#pragma once
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

// Vector types lose their alignment attribute as template arguments; every access here is unaligned-safe.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace orv::fitting {

template <class T>
struct VectorOf;
template <>
struct VectorOf<double> {
  using type = __m256d;
};
template <>
struct VectorOf<float> {
  using type = __m256;
};
template <class T>
using Vector = typename VectorOf<T>::type;
template <class V>
struct LaneInfo {
  using Real = V;
  static constexpr int count = 1;
};
template <>
struct LaneInfo<__m256d> {
  using Real = double;
  static constexpr int count = 4;
};
template <>
struct LaneInfo<__m256> {
  using Real = float;
  static constexpr int count = 8;
};
template <class V>
using Real = typename LaneInfo<V>::Real;

#define ORV_INLINE [[gnu::always_inline]] inline

template <class V>
ORV_INLINE V load(Real<V> const* p) {
  if constexpr (sizeof(V) == sizeof(Real<V>))
    return *p;
  else if constexpr (sizeof(Real<V>) == 8)
    return _mm256_loadu_pd(p);
  else
    return _mm256_loadu_ps(p);
}
ORV_INLINE void store(double* p, double v) { *p = v; }
ORV_INLINE void store(float* p, float v) { *p = v; }
ORV_INLINE void store(double* p, __m256d v) { _mm256_storeu_pd(p, v); }
ORV_INLINE void store(float* p, __m256 v) { _mm256_storeu_ps(p, v); }

// Past the caches, for arrays that are larger than they are; vectors must be aligned, and a fence must
// follow.
ORV_INLINE void stream(double* p, double v) { *p = v; }
ORV_INLINE void stream(float* p, float v) { *p = v; }
ORV_INLINE void stream(double* p, __m256d v) { _mm256_stream_pd(p, v); }
ORV_INLINE void stream(float* p, __m256 v) { _mm256_stream_ps(p, v); }

template <class V>
ORV_INLINE V broadcast(Real<V> v) {
  if constexpr (sizeof(V) == sizeof(Real<V>))
    return v;
  else if constexpr (sizeof(Real<V>) == 8)
    return _mm256_set1_pd(v);
  else
    return _mm256_set1_ps(v);
}

// a b + c in one rounding.
ORV_INLINE double fma(double a, double b, double c) { return __builtin_fma(a, b, c); }
ORV_INLINE float fma(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
ORV_INLINE __m256d fma(__m256d a, __m256d b, __m256d c) { return _mm256_fmadd_pd(a, b, c); }
ORV_INLINE __m256 fma(__m256 a, __m256 b, __m256 c) { return _mm256_fmadd_ps(a, b, c); }

// a < b ? x : y and a <= b ? x : y; a NaN takes y.
template <class T>
ORV_INLINE T if_less(T a, T b, T x, T y) {
  return a < b ? x : y;
}
ORV_INLINE __m256d if_less(__m256d a, __m256d b, __m256d x, __m256d y) {
  return _mm256_blendv_pd(y, x, _mm256_cmp_pd(a, b, _CMP_LT_OQ));
}
ORV_INLINE __m256 if_less(__m256 a, __m256 b, __m256 x, __m256 y) {
  return _mm256_blendv_ps(y, x, _mm256_cmp_ps(a, b, _CMP_LT_OQ));
}
template <class T>
ORV_INLINE T if_not_above(T a, T b, T x, T y) {
  return a <= b ? x : y;
}
ORV_INLINE __m256d if_not_above(__m256d a, __m256d b, __m256d x, __m256d y) {
  return _mm256_blendv_pd(y, x, _mm256_cmp_pd(a, b, _CMP_LE_OQ));
}
ORV_INLINE __m256 if_not_above(__m256 a, __m256 b, __m256 x, __m256 y) {
  return _mm256_blendv_ps(y, x, _mm256_cmp_ps(a, b, _CMP_LE_OQ));
}
ORV_INLINE double absolute(double a) { return __builtin_fabs(a); }
ORV_INLINE float absolute(float a) { return __builtin_fabsf(a); }
ORV_INLINE __m256d absolute(__m256d a) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), a); }
ORV_INLINE __m256 absolute(__m256 a) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), a); }
template <class V>
ORV_INLINE V smaller(V a, V b) {
  return if_less(a, b, a, b);
}
// The magnitude of a with the sign of b.
ORV_INLINE double with_sign(double a, double b) { return __builtin_copysign(a, b); }
ORV_INLINE float with_sign(float a, float b) { return __builtin_copysignf(a, b); }
ORV_INLINE __m256d with_sign(__m256d a, __m256d b) {
  __m256d const sign = _mm256_set1_pd(-0.0);
  return _mm256_or_pd(_mm256_andnot_pd(sign, a), _mm256_and_pd(sign, b));
}
ORV_INLINE __m256 with_sign(__m256 a, __m256 b) {
  __m256 const sign = _mm256_set1_ps(-0.0f);
  return _mm256_or_ps(_mm256_andnot_ps(sign, a), _mm256_and_ps(sign, b));
}

// One bit for each lane with a <= b; a < b; a >= b.
ORV_INLINE int bits_not_above(__m256d a, __m256d b) {
  return _mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_LE_OQ));
}
ORV_INLINE int bits_not_above(__m256 a, __m256 b) {
  return _mm256_movemask_ps(_mm256_cmp_ps(a, b, _CMP_LE_OQ));
}
ORV_INLINE int bits_less(__m256d a, __m256d b) { return _mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_LT_OQ)); }
ORV_INLINE int bits_less(__m256 a, __m256 b) { return _mm256_movemask_ps(_mm256_cmp_ps(a, b, _CMP_LT_OQ)); }

ORV_INLINE double truncated(double v) { return __builtin_trunc(v); }
ORV_INLINE float truncated(float v) { return __builtin_truncf(v); }
ORV_INLINE __m256d truncated(__m256d v) { return _mm256_round_pd(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC); }
ORV_INLINE __m256 truncated(__m256 v) { return _mm256_round_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC); }

// Truncated to 32-bit integers; the lanes must be in range.
ORV_INLINE void store_truncated(int32_t* p, double v) { *p = static_cast<int32_t>(v); }
ORV_INLINE void store_truncated(int32_t* p, float v) { *p = static_cast<int32_t>(v); }
ORV_INLINE void store_truncated(int32_t* p, __m256d v) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvttpd_epi32(v));
}
ORV_INLINE void store_truncated(int32_t* p, __m256 v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_cvttps_epi32(v));
}

// Runs step(V{}, i) over [from, to): by vectors, then by single elements.
template <class T, class Step>
ORV_INLINE void for_lanes(ptrdiff_t from, ptrdiff_t to, Step&& step) {
  constexpr int width = LaneInfo<Vector<T>>::count;
  ptrdiff_t i = from;
  for (; i + width <= to; i += width) step(Vector<T>{}, i);
  for (; i < to; ++i) step(T{}, i);
}

// Writes four (two) rows as columns: element k of the vectors becomes p[4k] to p[4k + 3] (p[2k], p[2k + 1]).
// `Put` is how: store_halves, or stream_halves on rows aligned to 16 bytes.
struct store_halves {
  ORV_INLINE static void put(double* p, __m256d v) { _mm256_storeu_pd(p, v); }
  ORV_INLINE static void put(float* p, __m256 v) { _mm256_storeu_ps(p, v); }
};
struct stream_halves {
  ORV_INLINE static void put(double* p, __m256d v) {
    _mm_stream_pd(p, _mm256_castpd256_pd128(v));
    _mm_stream_pd(p + 2, _mm256_extractf128_pd(v, 1));
  }
  ORV_INLINE static void put(float* p, __m256 v) {
    _mm_stream_ps(p, _mm256_castps256_ps128(v));
    _mm_stream_ps(p + 4, _mm256_extractf128_ps(v, 1));
  }
};
template <class Put = store_halves>
ORV_INLINE void store_columns(double* p, double a, double b, double c, double d) {
  p[0] = a, p[1] = b, p[2] = c, p[3] = d;
}
template <class Put = store_halves>
ORV_INLINE void store_columns(float* p, float a, float b, float c, float d) {
  p[0] = a, p[1] = b, p[2] = c, p[3] = d;
}
template <class Put = store_halves>
ORV_INLINE void store_columns(double* p, __m256d a, __m256d b, __m256d c, __m256d d) {
  __m256d const ab0 = _mm256_unpacklo_pd(a, b), ab1 = _mm256_unpackhi_pd(a, b);
  __m256d const cd0 = _mm256_unpacklo_pd(c, d), cd1 = _mm256_unpackhi_pd(c, d);
  Put::put(p, _mm256_permute2f128_pd(ab0, cd0, 0x20));
  Put::put(p + 4, _mm256_permute2f128_pd(ab1, cd1, 0x20));
  Put::put(p + 8, _mm256_permute2f128_pd(ab0, cd0, 0x31));
  Put::put(p + 12, _mm256_permute2f128_pd(ab1, cd1, 0x31));
}
template <class Put = store_halves>
ORV_INLINE void store_columns(float* p, __m256 a, __m256 b, __m256 c, __m256 d) {
  __m256 const ab0 = _mm256_unpacklo_ps(a, b), ab1 = _mm256_unpackhi_ps(a, b);
  __m256 const cd0 = _mm256_unpacklo_ps(c, d), cd1 = _mm256_unpackhi_ps(c, d);
  __m256 const r0 = _mm256_shuffle_ps(ab0, cd0, 0x44), r1 = _mm256_shuffle_ps(ab0, cd0, 0xEE);
  __m256 const r2 = _mm256_shuffle_ps(ab1, cd1, 0x44), r3 = _mm256_shuffle_ps(ab1, cd1, 0xEE);
  Put::put(p, _mm256_permute2f128_ps(r0, r1, 0x20));
  Put::put(p + 8, _mm256_permute2f128_ps(r2, r3, 0x20));
  Put::put(p + 16, _mm256_permute2f128_ps(r0, r1, 0x31));
  Put::put(p + 24, _mm256_permute2f128_ps(r2, r3, 0x31));
}
ORV_INLINE void store_columns(double* p, double a, double b) { p[0] = a, p[1] = b; }
ORV_INLINE void store_columns(float* p, float a, float b) { p[0] = a, p[1] = b; }
ORV_INLINE void store_columns(double* p, __m256d a, __m256d b) {
  __m256d const low = _mm256_unpacklo_pd(a, b), high = _mm256_unpackhi_pd(a, b);
  _mm256_storeu_pd(p, _mm256_permute2f128_pd(low, high, 0x20));
  _mm256_storeu_pd(p + 4, _mm256_permute2f128_pd(low, high, 0x31));
}
ORV_INLINE void store_columns(float* p, __m256 a, __m256 b) {
  __m256 const low = _mm256_unpacklo_ps(a, b), high = _mm256_unpackhi_ps(a, b);
  _mm256_storeu_ps(p, _mm256_permute2f128_ps(low, high, 0x20));
  _mm256_storeu_ps(p + 8, _mm256_permute2f128_ps(low, high, 0x31));
}

} // namespace orv::fitting
