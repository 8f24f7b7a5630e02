// Tangent of all levels: |x| is reduced by k pi / 2; tan r is a rational function of the rest, n / d, and the result n / d or, for an odd
// k, -d / n: one division. HA in single precision does this in double; in double precision it takes the table of
// kernels/trig/turn.h. Arguments above a limit are reduced in kernels/trig/large.h. Rational functions that are not of
// LA: tools/rational_fit.py tan 1 2 (2^-26.1), tan 2 2 (2^-35.4).
#pragma once
#include "kernels/trig/sine.h"

namespace orv::trig {

// n and d of a rest, and whether they change places.
template <class V>
struct Quotient {
  V n, d;
};
template <class T>
ORV_INLINE Vec<T> divide(Quotient<Vec<T>> q, simd::Mask<T> odd) {
  return simd::choose(odd, q.d ^ Vec<T>(T(-0.0)), q.n) / simd::choose(odd, q.n, q.d);
}

// The tangent of a rest for single precision at HA.
ORV_INLINE Quotient<D> tangent_of_rest(D t) {
  D const t2 = t * t;
  return {t * simd::horner(t2, 0.9999999862666066, -0.09579809823108334),
          simd::horner(t2, 1.0, -0.42913208940107765, 0.00971556400289121)};
}

template <class T, Level level>
struct Tangent;

template <Level level>
struct Tangent<float, level> {
  static constexpr float limit = level == Level::HA ? 10000.0f : 8256.0f;

  ORV_INLINE static F eval(F x) {
    F const a = simd::magnitude(x);
    F const sum = simd::fma(a, F(0.6366197466850281f), F(shifter_s)), k = sum - F(shifter_s);
    F r;
    if constexpr (level == Level::HA) {
      // The parity as the sign of the rest's own lanes: a float's lowest bit widens to a double's sign.
      F const sign = parity(simd::bits(sum));
      r = simd::narrow(
          simd::each(simd::widen(a), simd::widen(k), simd::widen(sign | F(1.0f)), [](D a, D k, D sign) {
            D const t = subtract_multiple(a, k, 1.5707963267923333, 2.563344151594519e-12);
            return divide(tangent_of_rest(t), simd::Mask<double>{sign});
          }));
    } else {
      F const t =
          subtract_multiple(a, k, 1.5707963705062866f, -4.371138828673793e-08f, -1.7151245100058819e-15f);
      F const t2 = t * t;
      F const n = t * simd::horner(t2, 0.9999997615814209f, -0.09580174088478088f);
      F const d = simd::horner(t2, 0.9999997615814209f, -0.42913565039634705f, 0.009716848842799664f);
      r = divide({n, d}, simd::is_odd(simd::bits(sum)));
    }
    return r ^ simd::sign_of(x);
  }

  [[gnu::noinline]] static F far(F x) {
    auto const f = fractions_of_turn(x);
    return simd::narrow_even_odd(of_fraction(f.even), of_fraction(f.odd)) ^ simd::sign_of(x);
  }

 private:
  // In quarters of a turn.
  ORV_INLINE static D of_fraction(Bits<double> turns) {
    using B = Bits<double>;
    simd::Mask<double> const odd{simd::from_bits(simd::shift_left<1>(turns + B(uint64_t{1} << 61)))};
    auto const rest = parts_of(simd::shift_left<2>(turns));
    return divide(tangent_of_rest((rest.high + rest.low) * D(0x1.921fb54442d18p-64)), odd);
  }
};

template <Level level>
struct Tangent<double, level> {
  static constexpr double limit = level == Level::HA ? 65536.00349206588 : 128000.0;

  ORV_INLINE static D eval(D x) {
    D const a = simd::magnitude(x);
    if constexpr (level == Level::HA) return of_turn(Sine<double, Level::HA, false>::steps_of_pi(a), x);
    D const sum = simd::fma(a, D(0.6366197723675814), D(shifter_d)), k = sum - D(shifter_d);
    D t = subtract_multiple(a, k, 1.5707963267948966, 6.123233995736765e-17);
    if constexpr (level == Level::LA) t = simd::fnma(k, D(1.082856673921914e-32), t);
    D const t2 = t * t;
    D n, d;
    if constexpr (level == Level::LA) {
      n = simd::horner(t2, 1.0, -0.12828347003747023, 0.002805918199721425, -7.483634564165939e-06);
      d = simd::horner(t2, 1.0, -0.46161680337080113, 0.02334485265658722, -0.00020844803827304198);
    } else {
      n = simd::horner(t2, 1.0000000000212699, -0.11135979410669151, 0.0010750414698180444);
      d = simd::horner(t2, 1.0, -0.44469312582367636, 0.015972730528535754);
    }
    return divide({t * n, d}, simd::is_odd(simd::bits(sum))) ^ simd::sign_of(x);
  }
  [[gnu::noinline]] static D far(D x) { return of_turn(reduce_large(x), x); }

 private:
  ORV_INLINE static D of_turn(Turn const& t, D x) {
    return tangent(steps_of(t), t.r, t.r_low) ^ simd::sign_of(x);
  }
};

} // namespace orv::trig
