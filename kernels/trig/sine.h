// Sine and cosine of all levels: |x| is reduced by multiples of pi, k pi and (k - 1/2) pi, to a rest of at most pi / 2
// (plus a rounding), with pi in two or three parts; the sine of the rest is a polynomial and the parity of k the sign.
// W. Cody and W. Waite, "Software Manual for the Elementary Functions" (1980). HA in single precision does this in
// double; in double precision it takes the table of turn.h. Arguments above a limit are reduced in large.h.
//
// Sine<T, level, cosine>: eval(x) up to `limit`, far(x) above it, for finite x.
#pragma once
#include "frame/functions.h"
#include "kernels/simd/scalar.h"
#include "kernels/trig/large.h"
#include "orv/mode.h"

namespace orv::trig {

constexpr float inverse_pi_s = 0.31830987334251404f;
constexpr double inverse_pi_d = 0.3183098861837907;
constexpr float half_pi_s = 1.5707963705062866f;
constexpr double half_pi_d = 1.5707963267948966;

// The sign of a result from the lowest bit of a sum with a shifter.
template <class T>
ORV_INLINE Vec<T> parity(Bits<T> sum) {
  return simd::from_bits(simd::shift_left<8 * sizeof(T) - 1>(sum));
}
// The sign of the argument on an odd function.
template <bool cosine, class T>
ORV_INLINE Vec<T> with_sign_of(Vec<T> x, Vec<T> r) {
  return cosine ? r : r ^ simd::sign_of(x);
}

// The multiple of pi next to |x| (half-way between them for the cosine), with the sum that has its parity.
template <class T>
struct Multiple {
  Vec<T> k;
  Bits<T> sum;
  simd::Mask<T> negligible; // x beside pi / 2
};
template <bool cosine, class T>
ORV_INLINE Multiple<T> multiple_of_pi(Vec<T> a) {
  Vec<T> const inverse(sizeof(T) == 4 ? T(inverse_pi_s) : T(inverse_pi_d));
  Vec<T> const shifter(sizeof(T) == 4 ? T(shifter_s) : T(shifter_d));
  if constexpr (cosine) {
    Vec<T> const half_pi(sizeof(T) == 4 ? T(half_pi_s) : T(half_pi_d)), t = a + half_pi;
    Vec<T> const sum = simd::fma(t, inverse, shifter);
    return {(sum - shifter) - Vec<T>(T(0.5)), simd::bits(sum), simd::is_equal(t, half_pi)};
  } else {
    Vec<T> const sum = simd::fma(a, inverse, shifter);
    return {sum - shifter, simd::bits(sum), {}};
  }
}

// a - k (p1 + p2 + ...), each step fused
template <class V, class... C>
ORV_INLINE V subtract_multiple(V a, V k, C... part) {
  ((a = simd::fnma(k, V(part), a)), ...);
  return a;
}

// sin r over [-pi/2, pi/2] in double, to single precision and more.
ORV_INLINE D sine_of_rest(D r) {
  D const r2 = r * r;
  D const p = simd::horner(r2, -0.1666665955042783, 0.00833306624608569, -0.00019809602902257352,
                           2.605780638722852e-06);
  return simd::fma(r * r2, p, r);
}

template <class T, Level level, bool cosine>
struct Sine;

template <Level level, bool cosine>
struct Sine<float, level, cosine> {
  static constexpr float limit = 10000.0f;

  // `joint`: the coefficients of SinCos at LA
  template <bool joint = false>
  ORV_INLINE static F eval(F x) {
    F const a = simd::magnitude(x);
    auto const [k, sum, negligible] = multiple_of_pi<cosine>(a);
    F r;
    if constexpr (level == Level::HA) {
      r = simd::narrow(simd::each(simd::widen(a), simd::widen(k), [](D a, D k) {
        return sine_of_rest(subtract_multiple(a, k, 3.1415926535846666, 5.126688303189038e-12));
      }));
    } else if constexpr (level == Level::LA) {
      F const t =
          subtract_multiple(a, k, 3.1415927410125732f, -8.742277657347586e-08f, -3.4302490200117637e-15f);
      F const t2 = t * t;
      F p;
      if constexpr (joint)
        p = simd::horner(t2, -0.16666661202907562f, 0.008333064615726471f, -0.0001980915985768661f,
                         2.604164592412417e-06f);
      else if constexpr (cosine)
        p = simd::horner(t2, -0.16666659712791443f, 0.008333060890436172f, -0.0001980915985768661f,
                         2.604164592412417e-06f);
      else
        p = simd::horner(t2, -0.16666659712791443f, 0.008333062753081322f, -0.00019809602235909551f,
                         2.605780537123792e-06f);
      r = simd::fma(t * t2, p, t);
    } else {
      F const t = subtract_multiple(a, k, 3.1415927410125732f, -8.742277657347586e-08f);
      r = t * simd::horner(t * t, 0.9998853206634521f, cosine ? -0.1659211963415146f : -0.16592095792293549f,
                           0.007576601579785347f);
    }
    r = r ^ parity(sum);
    if constexpr (cosine) r = simd::choose(negligible, F(1.0f), r);
    return with_sign_of<cosine>(x, r);
  }

  [[gnu::noinline]] static F far(F x) {
    auto const f = fractions_of_turn(x);
    return with_sign_of<cosine>(x, simd::narrow_even_odd(of_fraction(f.even), of_fraction(f.odd)));
  }

 private:
  // Half-turns fall off above the 64 bits; the rest is a signed number.
  ORV_INLINE static D of_fraction(Bits<double> turns) {
    using B = Bits<double>;
    if constexpr (cosine) turns = turns + B(uint64_t{1} << 62); // a quarter
    B const sign = (turns + B(uint64_t{1} << 62)) & B(uint64_t{1} << 63);
    auto const rest = parts_of(simd::shift_left<1>(turns));
    return sine_of_rest((rest.high + rest.low) * D(0x1.921fb54442d18p-63)) ^ simd::from_bits(sign);
  }
};

template <Level level, bool cosine>
struct Sine<double, level, cosine> {
  static constexpr double limit = level == Level::HA ? 65536.00349206588 : 16777216.0;

  ORV_INLINE static D eval(D x) {
    D const a = simd::magnitude(x);
    if constexpr (level == Level::HA) return with_sign_of<cosine>(x, of_turn(steps_of_pi(a)));
    auto const [k, sum, negligible] = multiple_of_pi<cosine>(a);
    D r;
    if constexpr (level == Level::LA) {
      r = polynomial(
          subtract_multiple(a, k, 3.141592653589793, 1.224646799147353e-16, 2.165713347843828e-32));
    } else {
      D t = subtract_multiple(a, k, 3.141592653589793, 1.224646799147353e-16);
      // With two parts the double next to a zero of the cosine, 14461176.67027838, has 24 good bits.
      if constexpr (cosine) t = simd::fnma(k, D(2.165713347843828e-32), t);
      D const t2 = t * t;
      D const p = simd::horner(t2, -0.16666658839437162, 0.008333046645248707, -0.0001980808536178708,
                               2.602272538419318e-06);
      r = simd::fma(t * t2, p, t);
    }
    r = r ^ parity(sum);
    if constexpr (cosine) r = simd::choose(negligible, D(1.0), r);
    return with_sign_of<cosine>(x, r);
  }
  [[gnu::noinline]] static D far(D x) { return with_sign_of<cosine>(x, of_turn(reduce_large(x))); }

  // sin r over [-pi/2, pi/2]
  ORV_INLINE static D polynomial(D r) {
    D const r2 = r * r;
    D const p = simd::horner(r2, -0.16666666666666186, 0.008333333333285542, -0.00019841269825056256,
                             2.7557316600552628e-06, -2.505188027386288e-08, 1.6048095404959637e-10,
                             -7.373344533110665e-13);
    return simd::fma(r * r2, p, r);
  }
  ORV_INLINE static D of_turn(Turn const& t) {
    SineCosine const row = steps_of(t);
    return cosine ? trig::cosine(row, t.r, t.r_low) : sine(row, t.r, t.r_low);
  }
  ORV_INLINE static Turn steps_of_pi(D a) {
    D const sum = simd::fma(a, D(81.48733086305042), D(shifter_d)), k = sum - D(shifter_d);
    D const p2(4.747734770549973e-13);
    D const t = simd::fnma(k, D(0.012271846302610356), a); // exact
    D const r = simd::fnma(k, p2, t);
    return {simd::bits(sum), r, simd::fnma(k, D(1.5798955068718364e-23), simd::fnma(k, p2, t - r))};
  }
};

// What all members of the family share: lanes above the limit have a path of their own, infinities are outside the
// domain.
template <class T>
ORV_INLINE simd::Mask<T> above_limit(Vec<T> x, T limit) {
  return simd::not_at_most(simd::magnitude(x), Vec<T>(limit));
}
template <class T>
ORV_INLINE unsigned left_to_repair(Vec<T> x, unsigned lanes) {
  return simd::lane_mask(simd::not_finite(x)) & lanes;
}
template <class T>
int repair_not_finite(T x, T& r) {
  if (scalar::is_nan(x)) {
    r = scalar::opaque(x) * x;
    return ORV_STATUS_OK;
  }
  r = scalar::opaque(x) * T(0);
  return ORV_STATUS_DOMAIN;
}

} // namespace orv::trig
