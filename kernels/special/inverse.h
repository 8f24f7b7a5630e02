// Inverses of the error functions: with w the distance to the pole, w = 1 - erf y = erfc y, an eighth of a binade of w has
// a row of its own, a polynomial around its middle: of y / a in a = 1 - w from w = 1/2 on, of y in w below. HA keeps the
// constant term in two parts; in single precision it computes in double. Rows: tools/special_tables.py. What is nearer to
// the pole than the table goes to Newton's method for the logarithm of erfc, in two terms.
//
// A function F has: argument(x), the w of an x and whether the result is negative, and `scaled`: a factor sqrt 2.
#pragma once
#include "kernels/loop/tables.h"
#include "kernels/special/grid.h"

namespace orv::special {

constexpr double sqrt2 = 1.4142135623730951, sqrt2_low = -9.667293313452913e-17;

// |x| of a function as a and w = 1 - a, the smaller one exact, and the sign of the result.
template <class T>
struct Distance {
  Vec<T> a, w, sign;
};

// ---- vector ----

// The row of w.
template <class T>
ORV_INLINE Bits<T> row_of(Vec<T> w) {
  constexpr T least = sizeof(T) == 4 ? T(0x1p-24) : T(0x1p-53), most = T(1) - least;
  constexpr int shift = simd::Format<T>::mantissa_bits - 3;
  // In this order a NaN gives a row too.
  Vec<T> const v = simd::max(simd::min(w, Vec<T>(most)), Vec<T>(least));
  return Bits<T>((uint64_t{simd::Format<T>::bias} << 3) - 1) - simd::shift_right<shift>(simd::bits(v));
}

// The argument of a row's polynomial, and what its value is to be multiplied with.
template <class T>
struct PlaceInRow {
  Vec<T> t, factor;
};
template <class T>
ORV_INLINE PlaceInRow<T> place(Distance<T> x, Vec<T> middle) {
  auto const top = simd::is_at_least(x.w, Vec<T>(T(0.5)));
  Vec<T> const a = simd::keep(top, x.a);
  return {(a + simd::drop(top, x.w)) - middle, a + simd::drop(top, Vec<T>(T(1)))};
}

template <Level level>
ORV_INLINE F inverse_in_float(Distance<float> x) {
  Bits<float> const index = row_of(x.w);
  auto const row = simd::lookup_row8(erf_inv_rows_s[0].v, index);
  auto const [t, factor] = place(x, row.v[0]);
  F p;
  if constexpr (level == Level::LA)
    p = simd::fma(t, simd::fma(t, simd::fma(t, simd::fma(t, row.v[5], row.v[4]), row.v[3]), row.v[2]),
                  row.v[1]);
  else
    p = simd::fma(t, simd::fma(t, row.v[3], row.v[2]), row.v[1]);
  return factor * p;
}

// `degree` of at most 11; the result times sqrt 2 if `scaled`.
template <int degree, bool two_terms, bool scaled>
ORV_INLINE D inverse_in_double(Distance<double> x) {
  Bits<double> const index = row_of(x.w);
  auto const rows = simd::extract(index);
  const double* const table = erf_inv_rows_d[0].v;
  auto const r0 = simd::lookup_part<16, 0>(table, rows); // middle, c0, its low part, c1
  auto const [t, factor] = place(x, r0.a);
  D const c1 = r0.d;
  D p;
  if constexpr (degree <= 5) {
    auto const r1 = simd::lookup_part<16, 1>(table, rows);
    p = simd::fma(t, simd::fma(t, simd::fma(t, simd::fma(t, r1.d, r1.c), r1.b), r1.a), c1);
  } else {
    auto const r1 = simd::lookup_part<16, 1>(table, rows), r2 = simd::lookup_part<16, 2>(table, rows),
               r3 = simd::lookup_part<16, 3>(table, rows);
    D const t2 = t * t, t4 = t2 * t2;
    D const high = simd::fma(t4, simd::fma(t, r3.b, r3.a),
                             simd::fma(t2, simd::fma(t, r2.d, r2.c), simd::fma(t, r2.b, r2.a)));
    p = simd::fma(t, simd::fma(t, simd::fma(t, simd::fma(t, simd::fma(t, high, r1.d), r1.c), r1.b), r1.a),
                  c1);
  }
  if constexpr (!two_terms) {
    D const r = factor * simd::fma(t, p, r0.b);
    return scaled ? r * D(sqrt2) : r;
  }
  D const head = factor * r0.b,
          tail = simd::fma(factor, simd::fma(t, p, r0.c), simd::fms(factor, r0.b, head));
  if constexpr (!scaled) return head + tail;
  D const product = head * D(sqrt2);
  return product +
         simd::fma(tail, D(sqrt2), simd::fma(head, D(sqrt2_low), simd::fms(head, D(sqrt2), product)));
}

// ---- scalar ----

// y with erfc y = w, for 0 < w < 2^-20, in two terms. ln erfc y = -y^2 - ln(y sqrt pi) + ln S(y), S by its continued
// fraction.
inline scalar::Two<double> erfc_inverse(double w) {
  auto const l = logarithm::log_parts(w);
  double const e_high = l.e * 0.6931471805598903; // exact
  auto const sum = scalar::two_sum(e_high, l.hi);
  double const target = -sum.hi, target_low = -(sum.lo + scalar::fma(l.e, 5.497923018708371e-14, l.lo));
  double y = scalar::sqrt(target), step = 0;
  for (int round = 0; round < 7; ++round) {
    double f = y;
    for (int n = 60; n >= 1; --n) f = y + 0.5 * n / f;
    auto const ln = logarithm::log_parts(f * 1.7724538509055159); // y sqrt pi / S, S = y / f
    double const h = y * y, rest = ln.e * 0.6931471805599453 + (ln.hi + ln.lo);
    step = ((h - target) + ((scalar::fma(y, y, -h) - target_low) + rest)) / (2 * f);
    if (round < 6) y -= step;
  }
  return scalar::fast_two_sum(y, -step);
}

// ---- kernels ----

template <class T, Level level, class F>
struct InverseErrorFunction {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;
  static constexpr T least = sizeof(T) == 4 ? T(0x1p-24) : T(0x1p-53);

  V eval(V x) const {
    V r;
    if constexpr (sizeof(T) == 8) {
      auto const from = F::argument(x);
      constexpr int degree = level == Level::EP ? 5 : 11;
      r = inverse_in_double<degree, level == Level::HA, F::scaled>(from) | from.sign;
    } else if constexpr (level == Level::HA) {
      r = simd::narrow(simd::each(simd::widen(x), [](D half) {
        auto const from = F::argument(half);
        return inverse_in_double<5, false, F::scaled>(from) | from.sign;
      }));
    } else {
      auto const from = F::argument(x);
      V const y = inverse_in_float<level>(from);
      r = (F::scaled ? y * V(T(sqrt2)) : y) | from.sign;
    }
    return r;
  }
  unsigned special(V x, V) const { return simd::lane_bits(simd::not_at_most(V(least), F::argument(x).w)); }
  int repair(T x, T& r) const {
    if (scalar::is_nan(x)) {
      r = scalar::opaque(x) + x;
      return ORV_STATUS_OK;
    }
    auto const [w, negative] = F::distance(x);
    if (w == T(0)) { // a denormal too, where denormals are read as zero
      r = (negative ? T(-1) : T(1)) / scalar::opaque(T(0));
      return ORV_STATUS_SINGULARITY;
    }
    if (w < T(0)) {
      r = scalar::invalid<T>();
      return ORV_STATUS_DOMAIN;
    }
    auto const y = erfc_inverse(static_cast<double>(w));
    double v = y.hi + y.lo;
    if (F::scaled) {
      double const p = y.hi * sqrt2;
      v = p + (scalar::fma(y.hi, sqrt2, -p) + (y.hi * sqrt2_low + y.lo * sqrt2));
    }
    r = static_cast<T>(negative ? -v : v);
    return ORV_STATUS_OK;
  }
};

// What a scalar argument is: its w, and the sign of the result.
template <class T>
struct ScalarDistance {
  T w;
  bool negative;
};

} // namespace orv::special
