// Error functions from a grid: a = a0 + d with a0 the nearest multiple of a step, and the integral from a0 to a as
//
//   integral of exp(-a0' u - u^2 c) over [0, d] = d (1 + sum of s^k M_k(q)),   M_k(q) = sum of (-q)^n / (n! (n + 2k + 1)) / k!
//
// times the slope at a0, with q = a0' d and s = -c d^2: erf and erfc have a0' = 2 a0 and c = 1, the normal distribution
// a0 and 1/2. The rows hold value and slope at a0, each with a low part: tools/special_tables.py.
#pragma once
#include "frame/functions.h"
#include "kernels/exp/reduction.h"
#include "kernels/log/reciprocal.h"
#include "orv/mode.h"

namespace orv::special {

using simd::Bits;
using simd::D;
using simd::F;
using simd::Pair;
using simd::Row4;
using simd::Vec;

struct alignas(32) RowOf8 {
  float v[8];
};
struct alignas(32) RowOf16 {
  double v[16];
};

#include "kernels/special/tables.inc"

constexpr double factorial(int n) { return n < 2 ? 1 : n * factorial(n - 1); }

// The coefficients of M_k up to degree n.
template <class T, int k, int n>
struct Moment {
  T c[n + 1];
  constexpr Moment() {
    for (int i = 0; i <= n; ++i)
      c[i] = static_cast<T>((i % 2 ? -1.0 : 1.0) / (factorial(i) * factorial(k) * (i + 2 * k + 1)));
  }
};
// M_k, without its constant term if k is 0.
template <int k, int n, class V>
ORV_INLINE V moment(V q) {
  static constexpr Moment<typename V::Lane, k, n> m;
  V r(m.c[n]);
#pragma GCC unroll 16
  for (int i = n - 1; i >= (k == 0 ? 1 : 0); --i) r = simd::fma(r, q, V(m.c[i]));
  return k == 0 ? r * q : r;
}

// The sum over k, with degrees n0, n1 and so on.
template <int k, int n, int... more, class V>
ORV_INLINE V moments(V q, V s) {
  if constexpr (sizeof...(more) == 0)
    return moment<k, n>(q);
  else
    return simd::fma(s, moments<k + 1, more...>(q, s), moment<k, n>(q));
}

// ---- the grid ----

// The nearest multiple a0 of 1 / steps, d = size - a0, and the number of its row.
template <class T>
struct GridPoint {
  Vec<T> a0, d;
  Bits<T> index;
};
template <class T, int steps>
ORV_INLINE GridPoint<T> grid_point(Vec<T> size, T last) {
  // The sum's last bit is a step.
  constexpr T shifter = T(sizeof(T) == 4 ? 0x1p23 : 0x1.8p52) / steps;
  Vec<T> const shift(shifter), sum = simd::min(size, Vec<T>(last)) + shift,
                               a0 = sum - shift;                                    // a NaN counts as last
  return {a0, simd::min(Vec<T>(last), size) - a0, simd::bits(sum) & Bits<T>(8191)}; // and stays one in d
}

// value + slope d (1 + tail), in one term and in two
struct Rows {
  D value, value_low, slope, slope_low;
};
ORV_INLINE Rows rows_at(const Row4* table, Bits<double> index) {
  auto const row = simd::lookup_row(table, index);
  return {row.a, row.b, row.c, row.d};
}
template <class V>
struct InTwo {
  V head, tail;
};
ORV_INLINE InTwo<D> in_two(Rows const& row, D d, D tail) {
  D const p = row.slope * d, p_low = simd::fma(row.slope_low, d, simd::fms(row.slope, d, p));
  D const head = row.value + p; // |value| is above |p|, or 0
  return {head, (p - (head - row.value)) + (simd::fma(p, tail, p_low) + row.value_low)};
}

// ---- scalar, for repairs ----

// exp(-(h + l)) c / a (1 + more) with c in two parts: what is left beyond the grid, for large a.
inline exponential::Scaled gaussian_tail(double h, double l, double c, double c_low, double a, double more) {
  auto const scaled = exponential::exp_scaled(-h);
  auto const power = scalar::fast_two_sum(scaled.hi, scaled.lo);
  double const q = c / a, q_low = (scalar::fma(-q, a, c) + c_low) / a + q * more;
  double const p = power.hi * q;
  double const low = scalar::fma(power.hi, q, -p) + (power.hi * q_low + (power.lo - power.hi * l) * q);
  return {p, low, scaled.m};
}
// The asymptotic sum: 1 - y + 3 y^2 - 15 y^3 and so on, without the 1, for y up to 1/160.
inline double asymptotic(double y) {
  double sum = 0, term = 1;
  for (int n = 1; n < 14; ++n) {
    term *= -(2 * n - 1) * y;
    sum += term;
  }
  return sum;
}

// The repair of a function that underflows: 0 from `zero` on, else its tail in double. Status by the result.
template <class T, class Tail>
int underflowing(T a, T zero, T& r, Tail tail) {
  if (scalar::is_infinite(a)) {
    r = T(0);
    return ORV_STATUS_OK;
  }
  if (a > zero) {
    r = scalar::underflowed<T>();
    return ORV_STATUS_UNDERFLOW;
  }
  return exponential::deliver(tail(static_cast<double>(a)), r);
}

} // namespace orv::special
