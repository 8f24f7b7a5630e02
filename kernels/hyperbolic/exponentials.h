// What Sinh, Cosh and Tanh share: a = k ln 2 + r, and with e = 2^(k - 1), f = 2^(-k - 1)
//
//   sinh a = (e - f) cosh r + (e + f) sinh r,   cosh a = (e + f) cosh r + (e - f) sinh r
//
// with polynomials over |r| up to ln 2 / 2 and powers of two made by integer arithmetic on the bits of 1/2: no table, no
// cancellation. HA adds the two largest terms with their errors. Polynomials: tools/hyperbolic_polynomials.sollya.
#pragma once
#include "frame/functions.h"
#include "kernels/exp/reduction.h"
#include "orv/mode.h"

namespace orv::hyperbolic {

using simd::D;
using simd::F;
using simd::Vec;

// k next to a / ln 2, and the two powers.
template <class T>
struct Powers {
  Vec<T> k, e, f;
};
template <class T>
ORV_INLINE Powers<T> powers(Vec<T> a) {
  constexpr T shifter = sizeof(T) == 4 ? T(12582912.0) : T(6755399441055744.0);
  constexpr T inverse = sizeof(T) == 4 ? T(1.4426950216293335) : T(1.4426950408889634);
  Vec<T> const sum = simd::fma(a, Vec<T>(inverse), Vec<T>(shifter));
  auto const exponent = simd::shift_left<simd::Format<T>::mantissa_bits>(simd::bits(sum)),
             half = simd::bits(Vec<T>(T(0.5)));
  return {sum - Vec<T>(shifter), simd::from_bits(half + exponent), simd::from_bits(half - exponent)};
}

// sinh r - r and cosh r - 1 over r^2 = u
template <class T, Level level>
ORV_INLINE Vec<T> sinh_tail(Vec<T> u) {
  if constexpr (sizeof(T) == 4)
    return level == Level::LA ? F(simd::horner(u, 0.16666541993618011f, 0.008366675116121769f)) // 2^-26.2
                              : F(0.1674986481666565f);                                         // 2^-15.6
  else if constexpr (level == Level::EP)
    return simd::horner(u, 0.16666666754687745, 0.008333288908276955, 0.00019904993954591107); // 2^-37.5
  else
    return simd::horner(u, 0.16666666666666677, 0.008333333333321447, 0.00019841269886547875,
                        2.7557243814902783e-06,
                        2.5109166784007208e-08); // 2^-61.7
}
template <class T, Level level>
ORV_INLINE Vec<T> cosh_tail(Vec<T> u) {
  if constexpr (sizeof(T) == 4)
    return level == Level::LA ? F(simd::horner(u, 0.5f, 0.0416666667f, 0.00138888889f))
                              : F(simd::horner(u, 0.4999913275241852f, 0.0418996699154377f)); // 2^-23.4
  else if constexpr (level == Level::EP)
    return simd::horner(u, 0.500000007926111, 0.04166626665672537, 0.0013946260106802613); // 2^-34.3
  else
    return simd::horner(u, 0.5, 0.041666666666666685, 0.0013888888888873312, 2.4801587349093876e-05,
                        2.755725195170927e-07, 2.0921718258804924e-09); // 2^-70
}

// head + tail
template <class T>
struct Sum {
  Vec<T> head, tail;
};

// sinh and cosh of a >= 0 at HA, each in two terms.
struct InTwo {
  Sum<double> sinh, cosh;
};
ORV_INLINE InTwo in_two(D a) {
  auto const [k, e, f] = powers(a);
  D const low(1.9082149292705877e-10);
  D const first = simd::fnma(k, D(0.6931471803691238), a); // exact
  D const r = simd::fnma(k, low, first), r_low = simd::fnma(k, low, first - r);
  D const u = r * r, sinh_rest = simd::fma(r * u, sinh_tail<double, Level::HA>(u), r_low);
  D const cosh_rest = u * cosh_tail<double, Level::HA>(u);
  D const s = e - f, c = e + f, s_low = (e - s) - f, c_low = (e - c) + f;
  auto combine = [&](D x, D x_low, D y, D y_low) {               // x cosh r + y sinh r
    D const p = y * r, p_low = simd::fms(y, r, p), head = x + p; // |x| is above |p|, or 0
    D const small = simd::fma(x, cosh_rest, y * sinh_rest) + simd::fma(y_low, r, x_low);
    return Sum<double>{head, small + (p_low + (p - (head - x)))};
  };
  return {combine(s, s_low, c, c_low), combine(c, c_low, s, s_low)};
}

// The same at the other levels, and at all in the range of floats, to one rounding of T and a little.
template <class T>
struct InOne {
  Vec<T> sinh, cosh;
};
template <class T, Level level>
ORV_INLINE InOne<T> in_one(Powers<T> p, Vec<T> r) {
  using V = Vec<T>;
  V const u = r * r, s = p.e - p.f, c = p.e + p.f;
  V const sinh_r = simd::fma(r * u, sinh_tail<T, level>(u), r),
          cosh_r = simd::fma(u, cosh_tail<T, level>(u), V(T(1)));
  return {simd::fma(s, cosh_r, c * sinh_r), simd::fma(c, cosh_r, s * sinh_r)};
}
template <class T, Level level>
ORV_INLINE InOne<T> in_one(Vec<T> a) {
  auto const p = powers(a);
  Vec<T> r;
  if constexpr (sizeof(T) == 4)
    r = simd::fnma(p.k, F(3.194618329871446e-05f), simd::fnma(p.k, F(0.693115234375f), a));
  else
    r = simd::fnma(p.k, D(1.9082149292705877e-10), simd::fnma(p.k, D(0.6931471803691238), a));
  return in_one<T, level>(p, r);
}

// A float's lanes in double, r in one step: for HA in single precision.
template <class Choose>
ORV_INLINE F through_double(F a, Choose choose) {
  auto const p = powers(a);
  auto const [k, e, f] = p;
  auto half = [&](D a, D k, D e, D f) {
    return choose(in_one<double, Level::EP>({k, e, f}, simd::fnma(k, D(0.6931471805599453), a)));
  };
  auto const wa = simd::widen(a), wk = simd::widen(k), we = simd::widen(e), wf = simd::widen(f);
  return simd::narrow({half(wa.low, wk.low, we.low, wf.low), half(wa.high, wk.high, we.high, wf.high)});
}

} // namespace orv::hyperbolic
