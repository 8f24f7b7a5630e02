// Robust location and scale of one variable: the median and the median absolute deviation, then the weighted mean and
// the truncated standard deviation that they start (tau scale, Maronna and Zamar 2002, constants 4.5 and 3).
#pragma once
#include "statistics/elementwise.h"
#include "statistics/quantiles.h"

namespace orv::statistics {

using Doubles = simd::Vec<double>;
ORV_INLINE Doubles load_doubles(double const* x) { return simd::load(x); }
ORV_INLINE Doubles load_doubles(float const* x) { return _mm256_cvtps_pd(_mm_loadu_ps(x)); }
ORV_INLINE double sum_of_lanes(Doubles v) {
  double lane[4];
  simd::store(lane, v);
  return (lane[0] + lane[1]) + (lane[2] + lane[3]);
}

// Adds term(x) over all elements, in an order that depends on n alone. `term` takes and gives four at a time; elements
// beyond n are 0 and are masked out of the sum.
template <int sums, class T, class Term>
void add_terms(T const* x, ptrdiff_t n, double* out, Term term) {
  Doubles total[2][sums];
  for (auto& half : total)
    for (auto& t : half) t = Doubles(0.0);
  ptrdiff_t i = 0;
  for (; i + 8 <= n; i += 8)
    for (int half = 0; half < 2; ++half) {
      Doubles terms[sums];
      term(load_doubles(x + i + 4 * half), terms);
      for (int s = 0; s < sums; ++s) total[half][s] = total[half][s] + terms[s];
    }
  for (; i < n; i += 4) {
    T rest[4] = {};
    ptrdiff_t const count = std::min<ptrdiff_t>(4, n - i);
    std::copy_n(x + i, count, rest);
    Doubles terms[sums];
    term(load_doubles(rest), terms);
    for (int s = 0; s < sums; ++s) {
      double lanes[4];
      simd::store(lanes, terms[s]);
      std::fill(lanes + count, lanes + 4, 0.0);
      total[0][s] = total[0][s] + simd::load(lanes);
    }
  }
  for (int s = 0; s < sums; ++s) out[s] = sum_of_lanes(total[0][s] + total[1][s]);
}

// Keys of |x - center|: magnitudes are their own keys.
template <class T>
void deviation_keys(T const* x, ptrdiff_t n, T center, Key<T>* keys) {
  constexpr ptrdiff_t lanes = simd::Vec<T>::lanes;
  ptrdiff_t i = 0;
  for (; i + lanes <= n; i += lanes)
    order::store(keys + i, simd::bits(simd::magnitude(simd::load(x + i) - simd::Vec<T>(center))).v);
  for (; i < n; ++i) keys[i] = std::bit_cast<Key<T>>(x[i] - center) & std::numeric_limits<Key<T>>::max();
}

template <class T>
struct LocationScale {
  T location, scale;
};

// The median and the median absolute deviation. `keys` is room for n.
template <class T>
LocationScale<T> median_and_deviation(T const* x, ptrdiff_t n, Key<T>* keys) {
  __builtin_memcpy(keys, x, static_cast<size_t>(n) * sizeof(T));
  flip_all<T>(keys, n);
  T const center = median_of_keys<T>(keys, n);
  deviation_keys(x, n, center, keys);
  return {center, median_of_keys<T>(keys, n)};
}

template <class T>
LocationScale<T> robust_location_scale(T const* x, ptrdiff_t n, Key<T>* keys) {
  auto const [center, deviation] = median_and_deviation(x, n, keys);
  double const m = static_cast<double>(center), s = static_cast<double>(deviation),
               inverse = s > 0 ? 1 / s : 0;
  Doubles const one(1.0), zero(0.0), limit(9.0), around(m), factor(inverse / 4.5), unit(inverse);
  double sums[2], squares;
  add_terms<2>(x, n, sums,
               [&](Doubles v, Doubles* out) { // deviations from the median, so that large ones keep digits
                 Doubles const d = v - around, u = d * factor, rest = one - u * u;
                 auto const inside = simd::is_at_least(rest, zero);
                 out[0] = simd::keep(inside, rest * rest);
                 out[1] = simd::keep(inside, rest * rest * d);
               });
  double const t = m + sums[1] / sums[0];
  Doubles const location(t);
  add_terms<1>(x, n, &squares, [&](Doubles v, Doubles* out) {
    Doubles const z = (v - location) * unit, square = z * z;
    out[0] = simd::choose(simd::is_above(square, limit), limit, square);
  });
  return {static_cast<T>(t), static_cast<T>(s * root(squares / static_cast<double>(n)))};
}

} // namespace orv::statistics
