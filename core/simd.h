// 256-bit vectors of either real type for the linear algebra, and the two loops that most of it is made of.
#pragma once
#include <cstddef>
#include <immintrin.h>

namespace orv::linalg {

template <class T>
struct Wide;
template <>
struct Wide<double> {
  using V = __m256d;
  static constexpr int lanes = 4;
  static V zero() { return _mm256_setzero_pd(); }
  static V all(double x) { return _mm256_set1_pd(x); }
  static V load(double const* p) { return _mm256_loadu_pd(p); }
  static void store(double* p, V x) { _mm256_storeu_pd(p, x); }
  static V fma(V a, V b, V c) { return _mm256_fmadd_pd(a, b, c); }
};
template <>
struct Wide<float> {
  using V = __m256;
  static constexpr int lanes = 8;
  static V zero() { return _mm256_setzero_ps(); }
  static V all(float x) { return _mm256_set1_ps(x); }
  static V load(float const* p) { return _mm256_loadu_ps(p); }
  static void store(float* p, V x) { _mm256_storeu_ps(p, x); }
  static V fma(V a, V b, V c) { return _mm256_fmadd_ps(a, b, c); }
};

inline double fused(double a, double b, double c) { return __builtin_fma(a, b, c); }
inline float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }

// y += alpha x
template <class T>
void axpy(ptrdiff_t n, T alpha, T const* x, T* y) {
  using W = Wide<T>;
  auto const a = W::all(alpha);
  ptrdiff_t i = 0;
  for (; i + W::lanes <= n; i += W::lanes) W::store(y + i, W::fma(a, W::load(x + i), W::load(y + i)));
  for (; i < n; ++i) y[i] = fused(alpha, x[i], y[i]);
}

// In two vectors of partial sums, whatever the target's registers, so that the bits are the same.
template <class T>
T dot(ptrdiff_t n, T const* x, T const* y) {
  using W = Wide<T>;
  constexpr int step = 2 * W::lanes;
  auto s0 = W::zero(), s1 = W::zero();
  ptrdiff_t i = 0;
  for (; i + step <= n; i += step) {
    s0 = W::fma(W::load(x + i), W::load(y + i), s0);
    s1 = W::fma(W::load(x + i + W::lanes), W::load(y + i + W::lanes), s1);
  }
  T sums[W::lanes];
  W::store(sums, s0 + s1);
  for (int width = W::lanes / 2; width > 0; width /= 2)
    for (int k = 0; k < width; ++k) sums[k] += sums[k + width];
  for (; i < n; ++i) sums[0] = fused(x[i], y[i], sums[0]);
  return sums[0];
}

} // namespace orv::linalg
