// Scalar products and quotients of complex numbers for the lanes that a vector leaves: exponents are set aside, so that
// nothing overflows or underflows on the way, and infinities and NaN are as in Annex G of ISO C.
#pragma once
#include "frame/report.h"
#include "kernels/simd/scalar.h"
#include "orv/mode.h"

namespace orv::complex {

template <class T>
ORV_INLINE bool finite(Complex<T> x) {
  return !scalar::not_finite(x.re) && !scalar::not_finite(x.im);
}
template <class T>
ORV_INLINE bool infinite(Complex<T> x) {
  return scalar::is_infinite(x.re) || scalar::is_infinite(x.im);
}
template <class T>
ORV_INLINE bool nan(Complex<T> x) {
  return scalar::is_nan(x.re) || scalar::is_nan(x.im);
}
// What an operation with a NaN part gives: the first one, quiet.
template <class T>
ORV_INLINE T nan_of(Complex<T> a, Complex<T> b) {
  if (nan(a)) return scalar::nan_of(a.re, a.im);
  return scalar::nan_of(b.re, b.im);
}
// Status 3 where finite operands give an infinite part.
template <class T>
ORV_INLINE int overflow_status(bool finite_operands, Complex<T> r) {
  return finite_operands && infinite(r) ? ORV_STATUS_OVERFLOW : ORV_STATUS_OK;
}

// (hi + lo) 2^e, hi of ordinary size or 0.
struct Wide {
  double hi, lo;
  int e;
};
struct Fraction {
  double m; // in [1, 2) with the sign, or a zero
  int e;
};
inline Fraction fraction(double x) {
  int offset = 0;
  if (scalar::biased_exponent(x) == 0) {
    x = scalar::opaque(x) * 0x1p60;
    offset = -60;
    if (x == 0) return {x, -5000};
  }
  int const e = scalar::biased_exponent(x) - 1023;
  return {scalar::from_bits<double>((scalar::bits(x) & ~simd::exponent_mask<double>) | 0x3FF0000000000000),
          e + offset};
}
inline Wide product(double a, double b) {
  Fraction const x = fraction(a), y = fraction(b);
  auto const p = scalar::two_product(x.m, y.m);
  return {p.hi, p.lo, p.hi == 0 ? -10000 : x.e + y.e};
}
// Beside a number that is 2^300 times as large only the sign counts, and that only where the larger one is 0.
inline Wide add(Wide x, Wide y) {
  if (x.e < y.e) {
    Wide const t = x;
    x = y;
    y = t;
  }
  if (y.hi != 0 || x.hi == 0) {
    double const down = scalar::power_of_two<double>(x.e - y.e > 300 ? -300 : y.e - x.e);
    y.hi *= down;
    y.lo *= down;
  }
  auto const s = scalar::two_sum(x.hi, y.hi), t = scalar::two_sum(x.lo, y.lo);
  auto const u = scalar::two_sum(s.hi, s.lo + t.hi);
  double const rest = u.lo + t.lo;
  double const hi = u.hi + rest;
  if (hi == 0) return {s.hi, s.hi, -10000}; // of two zeros the sign; a difference of equals is +0
  return {hi, rest - (hi - u.hi), x.e};
}
// One rounding, below the normal range too.
inline double deliver(double x, int e) {
  Fraction const f = fraction(x);
  if (f.m == 0) return f.m;
  e += f.e;
  if (e > 1100) e = 1100;
  if (e < -1200) e = -1200;
  if (e > 1023) return scalar::opaque(f.m) * 0x1p1023 * scalar::power_of_two<double>(e - 1023);
  if (e >= -1022) return f.m * scalar::power_of_two<double>(e);
  return scalar::opaque(f.m) * 0x1p-1000 * scalar::power_of_two<double>(e + 1000);
}

inline Complex<double> finite_product(Complex<double> a, Complex<double> b) {
  Wide const re = add(product(a.re, b.re), product(-a.im, b.im));
  Wide const im = add(product(a.re, b.im), product(a.im, b.re));
  return {deliver(re.hi + re.lo, re.e), deliver(im.hi + im.lo, im.e)};
}
inline Complex<float> finite_product(Complex<float> a, Complex<float> b) {
  double const ar = a.re, ai = a.im, br = b.re, bi = b.im;
  return {static_cast<float>(scalar::opaque(scalar::fma(ar, br, -(ai * bi)))),
          static_cast<float>(scalar::opaque(scalar::fma(ar, bi, ai * br)))};
}

// n / d, one correction of the quotient.
inline double quotient(Wide n, Wide d) {
  if (n.hi == 0) return n.hi;
  double const q = n.hi / d.hi;
  double const rest = scalar::fma(-q, d.hi, n.hi) + scalar::fma(-q, d.lo, n.lo);
  return deliver(q + rest / d.hi, n.e - d.e);
}
inline Complex<double> finite_quotient(Complex<double> a, Complex<double> b) {
  Wide const d = add(product(b.re, b.re), product(b.im, b.im));
  return {quotient(add(product(a.re, b.re), product(a.im, b.im)), d),
          quotient(add(product(a.im, b.re), product(-a.re, b.im)), d)};
}
inline Complex<float> finite_quotient(Complex<float> a, Complex<float> b) {
  double const ar = a.re, ai = a.im, br = b.re, bi = b.im;
  double const d = scalar::fma(br, br, bi * bi);
  return {static_cast<float>(scalar::opaque(scalar::fma(ar, br, ai * bi) / d)),
          static_cast<float>(scalar::opaque(scalar::fma(ai, br, -(ar * bi)) / d))};
}

// ±1 for an infinity, ±0 for the rest.
template <class T>
ORV_INLINE T boxed(T x) {
  return scalar::with_sign(scalar::is_infinite(x) ? T(1) : T(0), x);
}
// A zero with the sign of a NaN, else x.
template <class T>
ORV_INLINE T nan_as_zero(T x) {
  return scalar::is_nan(x) ? scalar::with_sign(T(0), x) : x;
}

// NaN parts of a result: the first of the operands', else the one of an invalid operation; which of two an instruction
// takes would depend on the compiler.
template <class T>
Complex<T> with_one_nan(Complex<T> r, Complex<T> a, Complex<T> b) {
  T const n = nan(a) || nan(b) ? nan_of(a, b) : scalar::invalid<T>();
  return {scalar::is_nan(r.re) ? n : r.re, scalar::is_nan(r.im) ? n : r.im};
}

template <class T>
Complex<T> product(Complex<T> a, Complex<T> b) {
  if (finite(a) && finite(b)) return finite_product(a, b);
  auto form = [](Complex<T> x, Complex<T> y) {
    return Complex<T>{x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re};
  };
  Complex<T> r = form(a, b);
  if (scalar::is_nan(r.re) && scalar::is_nan(r.im) && (infinite(a) || infinite(b))) {
    auto box = [](Complex<T> x) {
      if (infinite(x)) x = {boxed(x.re), boxed(x.im)};
      return Complex<T>{nan_as_zero(x.re), nan_as_zero(x.im)};
    };
    T const infinity = static_cast<T>(__builtin_inf());
    r = form(box(a), box(b));
    r = {infinity * r.re, infinity * r.im};
  }
  return with_one_nan(r, a, b);
}

template <class T>
Complex<T> quotient(Complex<T> a, Complex<T> b) {
  auto form = [](Complex<T> x, Complex<T> y) { // halves, so that no sum overflows
    T const half = T(0.5);
    return Complex<T>{half * x.re * y.re + half * x.im * y.im, half * x.im * y.re - half * x.re * y.im};
  };
  T const infinity = static_cast<T>(__builtin_inf());
  Complex<T> r;
  if (b.re == T(0) && b.im == T(0)) {
    T const pole = nan(a) && scalar::is_nan(a.re) && scalar::is_nan(a.im)
                       ? a.re
                       : T(1) / scalar::opaque(scalar::with_sign(T(0), b.re));
    r = {pole * a.re, pole * a.im};
  } else if (finite(a) && finite(b)) {
    return finite_quotient(a, b);
  } else if (infinite(a) && finite(b)) {
    Complex<T> const s = form({boxed(a.re), boxed(a.im)}, b);
    r = {infinity * s.re, infinity * s.im};
  } else if (infinite(b) && finite(a)) {
    Complex<T> const s = form(a, {boxed(b.re), boxed(b.im)});
    r = {T(0) * s.re, T(0) * s.im};
  } else {
    r.re = r.im = scalar::from_bits<T>(simd::exponent_mask<T> | 1); // which one is told below
  }
  return with_one_nan(r, a, b);
}

} // namespace orv::complex
