// Sums of powers over a contiguous column: the one loop that all moments are made of.
//
// All sums are kept in double, in a number of independent vectors that doesn't depend on the target, so that
// the additions' latency is hidden and the bits are the same everywhere.
#pragma once
#include <cstddef>
#include <cstdint>
#include <immintrin.h>
#include <type_traits>

namespace orv::statistics {

inline __m256d load4(double const* p) { return _mm256_loadu_pd(p); }
inline __m256d load4(float const* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }

inline double total(__m256d v) {
  __m128d const pair = _mm_add_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
  return _mm_cvtsd_f64(_mm_add_sd(pair, _mm_unpackhi_pd(pair, pair)));
}

template <int Powers, bool Weighted, bool Centered>
[[gnu::always_inline]] inline void add_powers(__m256d* sum, __m256d d, __m256d weight, __m256d center) {
  if constexpr (Centered) d = _mm256_sub_pd(d, center);
  __m256d const t = Weighted ? _mm256_mul_pd(weight, d) : d;
  sum[0] = _mm256_add_pd(sum[0], t);
  if constexpr (Powers >= 2) sum[1] = _mm256_fmadd_pd(t, d, sum[1]);
  if constexpr (Powers >= 3) {
    __m256d const square = _mm256_mul_pd(d, d);
    sum[2] = _mm256_fmadd_pd(t, square, sum[2]);
    if constexpr (Powers >= 4) {
      __m256d const u = Weighted ? _mm256_mul_pd(t, d) : square;
      sum[3] = _mm256_fmadd_pd(u, square, sum[3]);
    }
  }
}

// sums[k - 1] = sum of w (x - center)^k, k from 1 to Powers; w is 1 unless Weighted.
template <int Powers, bool Weighted, bool Centered, class X, class W>
void power_sums(X const* x, W const* w, ptrdiff_t n, double center, double* sums) {
  constexpr int streams = Powers == 1 ? 8 : Powers == 2 ? 4 : 2;
  __m256d s[streams][Powers];
  for (auto& stream : s)
    for (auto& sum : stream) sum = _mm256_setzero_pd();
  __m256d const c = _mm256_set1_pd(center);
  ptrdiff_t i = 0;
  for (; i + 4 * streams <= n; i += 4 * streams)
#pragma GCC unroll 8
    for (int u = 0; u < streams; ++u)
      add_powers<Powers, Weighted, Centered>(s[u], load4(x + i + 4 * u), Weighted ? load4(w + i + 4 * u) : c,
                                             c);
  for (; i + 4 <= n; i += 4)
    add_powers<Powers, Weighted, Centered>(s[0], load4(x + i), Weighted ? load4(w + i) : c, c);
  if (i < n) { // the rest is filled up with what adds nothing
    double rest[4], rest_weights[4] = {};
    for (int k = 0; k < 4; ++k) {
      rest[k] = i + k < n ? static_cast<double>(x[i + k]) : (Centered ? center : 0.0);
      if (Weighted && i + k < n) rest_weights[k] = static_cast<double>(w[i + k]);
    }
    add_powers<Powers, Weighted, Centered>(s[0], load4(rest), load4(rest_weights), c);
  }
  for (int width = streams / 2; width > 0; width /= 2)
    for (int u = 0; u < width; ++u)
      for (int k = 0; k < Powers; ++k) s[u][k] = _mm256_add_pd(s[u][k], s[u + width][k]);
  for (int k = 0; k < Powers; ++k) sums[k] = total(s[0][k]);
}

// The same for `width` columns side by side in rows that are `row` apart: sums[(k - 1) * width + c]. Narrow
// groups keep their sums in registers. Wide ones go over a few rows at a time, so that memory is read in long
// runs.
constexpr int narrow = 8, wide = 32;
template <int width, int Powers, bool Weighted, bool Centered, class X, class W>
void group_power_sums(X const* x, ptrdiff_t row, W const* w, ptrdiff_t n, double const* centers,
                      double* sums) {
  constexpr int vectors = width / 4, bundle = width == narrow ? 1 : 4;
  __m256d s[vectors][Powers], c[vectors];
  for (int v = 0; v < vectors; ++v) {
    for (auto& sum : s[v]) sum = _mm256_setzero_pd();
    c[v] = Centered ? _mm256_loadu_pd(centers + 4 * v) : _mm256_setzero_pd();
  }
  auto const rows = [&](auto count) __attribute__((always_inline)) {
    __m256d weights[count()];
    for (int r = 0; r < count(); ++r)
      weights[r] = Weighted ? _mm256_set1_pd(static_cast<double>(w[r])) : c[0];
    for (int v = 0; v < vectors; ++v)
      for (int r = 0; r < count(); ++r)
        add_powers<Powers, Weighted, Centered>(s[v], load4(x + r * row + 4 * v), weights[r], c[v]);
    x += count() * row;
    if constexpr (Weighted) w += count();
  };
  ptrdiff_t i = 0;
  for (; i + bundle <= n; i += bundle) rows(std::integral_constant<int, bundle>());
  for (; i < n; ++i) rows(std::integral_constant<int, 1>());
  for (int v = 0; v < vectors; ++v)
    for (int k = 0; k < Powers; ++k) _mm256_storeu_pd(sums + k * width + 4 * v, s[v][k]);
}

inline __m256d load4(double const* p, __m256i mask) { return _mm256_maskload_pd(p, mask); }
inline __m256d load4(float const* p, __m256i mask) {
  __m128i const half = _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(_mm256_castsi256_si128(mask)),
                                                       _mm_castsi128_ps(_mm256_extracti128_si256(mask, 1)),
                                                       _MM_SHUFFLE(2, 0, 2, 0)));
  return _mm256_cvtps_pd(_mm_maskload_ps(p, half));
}

// Columns of a block whose rows are contiguous, `ld` apart in `out`, which has room for a multiple of 4 of
// them.
template <class T>
void transpose_panel(T const* from, ptrdiff_t row, ptrdiff_t rows, ptrdiff_t columns, double* out,
                     ptrdiff_t ld) {
  auto const four = [&](T const* p, double* to, auto load) __attribute__((always_inline)) {
    ptrdiff_t i = 0;
    for (; i + 4 <= rows; i += 4, p += 4 * row, to += 4) {
      __m256d const a = load(p), b = load(p + row), c = load(p + 2 * row), d = load(p + 3 * row);
      __m256d const ab0 = _mm256_unpacklo_pd(a, b), ab1 = _mm256_unpackhi_pd(a, b);
      __m256d const cd0 = _mm256_unpacklo_pd(c, d), cd1 = _mm256_unpackhi_pd(c, d);
      _mm256_store_pd(to, _mm256_permute2f128_pd(ab0, cd0, 0x20));
      _mm256_store_pd(to + ld, _mm256_permute2f128_pd(ab1, cd1, 0x20));
      _mm256_store_pd(to + 2 * ld, _mm256_permute2f128_pd(ab0, cd0, 0x31));
      _mm256_store_pd(to + 3 * ld, _mm256_permute2f128_pd(ab1, cd1, 0x31));
    }
    for (; i < rows; ++i, p += row, ++to) {
      double lanes[4];
      _mm256_storeu_pd(lanes, load(p));
      for (int k = 0; k < 4; ++k) to[k * ld] = lanes[k];
    }
  };
  ptrdiff_t j = 0;
  for (; j + 4 <= columns; j += 4) four(from + j, out + j * ld, [](T const* p) { return load4(p); });
  if (j == columns) return;
  int64_t const left = columns - j;
  __m256i const mask = _mm256_setr_epi64x(-1, left > 1 ? -1 : 0, left > 2 ? -1 : 0, 0);
  four(from + j, out + j * ld, [mask](T const* p) { return load4(p, mask); });
}

} // namespace orv::statistics
