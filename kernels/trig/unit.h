// Sine, cosine and tangent of arguments in half-turns or degrees: the reduction is exact, k half-turns (quarters for
// the tangent) away from |x|, and the rest times pi or pi/180 goes into the polynomials of kernels/trig/sine.h and
// tangent.h. At HA in double precision the steps of kernels/trig/turn.h are exact too, and the factor has two parts.
// Arguments beyond a limit lose whole turns exactly first.
//
// Exact are sine and cosine at quarters of a turn, the tangent at eighths. A zero of the sine has the sign of x, turned
// by odd half-turns; zeros of the cosine are +0; the tangent is an odd function with zeros and poles as IEEE 754-2019
// has them for tanPi.
#pragma once
#include "kernels/trig/tangent.h"

namespace orv::trig {

// ---- units ----

// |x| modulo 2, exact.
struct HalfTurns {
  static constexpr double half = 1, factor = 3.141592653589793, factor_low = 1.2246467991473532e-16;
  template <class T>
  static constexpr T sine_limit = sizeof(T) == 4 ? T(4194304.0) : T(2251799813685248.0);
  template <class T>
  static constexpr T tangent_limit = sizeof(T) == 4 ? T(2097152.0) : T(1125899906842624.0);
  static constexpr double step_limit = 4398046511104.0; // 2^42: steps counted by a shifter
  template <class T>
  ORV_INLINE static Vec<T> without_turns(Vec<T> a) {
    return simd::fnma(simd::round<_MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC>(a * Vec<T>(T(0.5))),
                      Vec<T>(T(2)), a);
  }
};

// |x| modulo 360, exact. Up to 2^56 the quotient is next to its integer; beyond, x is m 2^e with e above 3, and
// 8 (m 2^(e - 3) mod 45) is left, where 2^12 is 1.
struct Degrees {
  static constexpr double half = 180, factor = 0.017453292519943295, factor_low = 2.9486522708701687e-19;
  template <class T>
  static constexpr T sine_limit = sizeof(T) == 4 ? T(16777306.0) : T(67108864.0);
  template <class T>
  static constexpr T tangent_limit = sine_limit<T>;
  static constexpr double step_limit = sine_limit<double>;

  static D without_turns(D a) {
    D const below = modulo(a, 360.0, 1.0 / 360);
    D const large = simd::max(a, D(0x1p56));
    Bits<double> const field = simd::shift_right<52>(simd::bits(large)) - Bits<double>(1078);
    Bits<double> const twelves = simd::shift_right<19>(simd::multiply_low(field, Bits<double>(43691)));
    Bits<double> const rest = field - simd::multiply_low(twelves, Bits<double>(12));
    D const m = simd::from_bits((simd::bits(large) & Bits<double>(simd::mantissa_mask<double>)) |
                                Bits<double>(0x4330000000000000));
    D const product = modulo(m, 45.0, 1.0 / 45) * simd::lookup(powers, rest);
    return simd::choose(simd::is_less(a, D(0x1p56)), below, modulo(product, 45.0, 1.0 / 45) * D(8.0));
  }
  static F without_turns(F a) {
    return simd::narrow(simd::each(simd::widen(a), [](D v) { return without_turns(v); }));
  }

 private:
  alignas(32) static constexpr double powers[12] = {1, 2, 4, 8, 16, 32, 19, 38, 31, 17, 34, 23}; // 2^i mod 45
  ORV_INLINE static D modulo(D a, double n, double inverse) {
    D const t = simd::fnma(simd::round<_MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC>(a * D(inverse)), D(n), a);
    D const up = t + simd::keep(simd::is_less(t, D(0.0)), D(n));
    return up - simd::keep(simd::is_at_least(up, D(n)), D(n));
  }
};

// The nearest multiple of a part of the half-turn, by the shifter, and what is left of |x|.
template <class T>
struct UnitMultiple {
  Bits<T> sum;
  Vec<T> k, rest;
};
// `offset`: a half for the cosine, whose multiples lie between those of the sine.
template <class T>
ORV_INLINE UnitMultiple<T> multiple_of(Vec<T> a, double part, double offset = 0) {
  Vec<T> const shifter(sizeof(T) == 4 ? T(shifter_s) : T(shifter_d));
  Vec<T> const t = offset == 0 ? a : a + Vec<T>(T(part * offset));
  Vec<T> const sum = part == 1 ? t + shifter : simd::fma(t, Vec<T>(T(1 / part)), shifter);
  Vec<T> k = sum - shifter;
  if (offset != 0) k = k - Vec<T>(T(offset));
  return {simd::bits(sum), k, part == 1 ? a - k : simd::fnma(k, Vec<T>(T(part)), a)};
}

// Steps of 1/512 turn and the rest in radians.
template <class Unit>
ORV_INLINE Turn steps_in_unit(D a) {
  auto const [sum, k, rest] = multiple_of<double>(a, Unit::half / 256);
  D const factor(Unit::factor), r = rest * factor;
  return {sum, r, simd::fma(rest, D(Unit::factor_low), simd::fms(rest, factor, r))};
}

// ---- sine and cosine ----

template <class T, Level level, bool cosine, class Unit>
struct UnitSine {
  using V = Vec<T>;
  static constexpr bool table = sizeof(T) == 8 && level == Level::HA;
  static constexpr T limit = table ? T(Unit::step_limit) : Unit::template sine_limit<T>;

  ORV_INLINE static V eval(V x) {
    V const a = simd::magnitude(x);
    if constexpr (table) {
      Turn const t = steps_in_unit<Unit>(a);
      V const r = Sine<T, level, cosine>::of_turn(t);
      if constexpr (cosine) return r + V(T(0)); // no -0
      V const half_turns = simd::from_bits(simd::shift_left<55>(t.step)) & V(T(-0.0));
      return (r ^ simd::keep(simd::is_equal(r, V(T(0))), half_turns)) ^ simd::sign_of(x);
    } else {
      auto const [sum, k, rest] = multiple_of<T>(a, Unit::half, cosine ? 0.5 : 0);
      V r = polynomial(a, k, rest);
      if constexpr (level != Level::HA && (cosine || level == Level::LA)) {
        V const top = V(T(1)) | simd::sign_of(rest);
        r = simd::choose(simd::is_equal(simd::magnitude(rest), V(T(Unit::half / 2))), top, r);
      }
      r = r ^ parity(sum);
      return cosine ? r + V(T(0)) : r ^ simd::sign_of(x);
    }
  }
  [[gnu::noinline]] static V far(V x) {
    return eval(Unit::without_turns(simd::magnitude(x)) | simd::sign_of(x));
  }

 private:
  ORV_INLINE static V polynomial(V a, V k, V rest) {
    if constexpr (sizeof(T) == 4 &&
                  level == Level::HA) { // the rest anew: beside a half it is not always a float
      return simd::narrow(simd::each(simd::widen(a), simd::widen(k), [](D a, D k) {
        return sine_of_rest(simd::fnma(k, D(Unit::half), a) * D(Unit::factor));
      }));
    } else if constexpr (sizeof(T) == 4) {
      F const t = rest * F(static_cast<float>(Unit::factor)), t2 = t * t;
      if constexpr (level == Level::EP)
        return t * simd::horner(t2, 0.9998853206634521f, -0.16592095792293549f, 0.007576601579785347f);
      F const p = simd::horner(t2, -0.16666659712791443f, 0.008333063684403896f, -0.0001980914530577138f,
                               2.6041659566544695e-06f);
      return simd::fma(t * t2, p, t);
    } else if constexpr (level == Level::LA && Unit::half == 180) {
      D const t2 = rest * rest;
      D const p = simd::horner(t2, -8.86096155701298e-07, 1.3496016231632278e-11, -9.78838486158418e-17,
                               4.1412674151785006e-22, -1.146820104881528e-27, 2.2393530017516324e-33,
                               -3.246532112681558e-39, 3.520145721942178e-45);
      return simd::fma(rest * t2, p, rest * D(Unit::factor));
    } else {
      D const t = rest * D(Unit::factor), t2 = t * t;
      if constexpr (level == Level::LA) return Sine<T, level, false>::polynomial(t);
      D const p = simd::horner(t2, -0.16666658839437162, 0.008333046645248707, -0.0001980808536178708,
                               2.602272538419318e-06);
      return simd::fma(t * t2, p, t);
    }
  }
};

// ---- tangent ----

template <class T, Level level, class Unit>
struct UnitTangent {
  using V = Vec<T>;
  static constexpr bool table = sizeof(T) == 8 && level == Level::HA;
  static constexpr T limit = table ? T(Unit::step_limit) : Unit::template tangent_limit<T>;

  // `lanes`: poles of the form with a table
  ORV_INLINE static V eval(V x, unsigned& lanes) {
    V const a = simd::magnitude(x);
    if constexpr (table) {
      Turn const t = steps_in_unit<Unit>(a);
      SineCosine const row = steps_of(t);
      auto const pole = simd::is_equal(row.c, D(0.0)) & simd::is_equal(t.r, D(0.0));
      lanes = simd::lane_bits(pole);
      return tangent(row, t.r ^ simd::keep(pole, D(1.0)), t.r_low) ^ simd::sign_of(x);
    } else {
      lanes = 0;
      auto const [sum, k, left] = multiple_of<T>(a, Unit::half / 2);
      // 0 with the sign that gives zeros and poles theirs.
      V const sign = simd::from_bits(simd::shift_left<8 * sizeof(T) - 1>(sum) ^
                                     simd::shift_left<8 * sizeof(T) - 2>(sum)) &
                     V(T(-0.0));
      V const rest = left | simd::keep(simd::is_equal(left, V(T(0))), sign);
      V r = quotient(rest, sum);
      if constexpr (level != Level::EP) {
        V const one = V(T(1)) | simd::sign_of(rest);
        r = simd::choose(simd::is_equal(simd::magnitude(rest), V(T(Unit::half / 4))), one ^ parity(sum), r);
      }
      return r ^ simd::sign_of(x);
    }
  }
  [[gnu::noinline]] static V far(V x, unsigned& lanes) {
    return eval(Unit::without_turns(simd::magnitude(x)) | simd::sign_of(x), lanes);
  }

 private:
  // The coefficients of tangent.h, times powers of the factor.
  ORV_INLINE static V quotient(V t, Bits<T> sum) {
    constexpr bool pi = Unit::half == 1;
    V const t2 = t * t;
    auto const odd = simd::is_odd(sum);
    if constexpr (sizeof(T) == 4 && level == Level::HA) {
      F const sign = parity(sum);
      return simd::narrow(simd::each(simd::widen(t), simd::widen(sign | F(1.0f)), [](D t, D sign) {
        return divide(tangent_of_rest(t * D(Unit::factor)), simd::Mask<double>{sign});
      }));
    } else if constexpr (sizeof(T) == 4) {
      if constexpr (pi)
        return divide<T>({t * simd::horner(t2, 3.141591787338257f, -2.9704551696777344f),
                          simd::horner(t2, 0.9999997615814209f, -4.23539924621582f, 0.9465094208717346f)},
                         odd);
      else
        return divide<T>(
            {t * simd::horner(t2, 0.017453288659453392f, -5.093373260933731e-07f),
             simd::horner(t2, 0.9999997615814209f, -0.0001307221973547712f, 9.01643648631989e-10f)},
            odd);
    } else if constexpr (level == Level::LA) {
      if constexpr (pi)
        return divide<T>({t * simd::horner(t2, 3.141592653589793, -3.977592765490754, 0.8586662030120349,
                                           -0.02260277079330671),
                          simd::horner(t2, 1.0, -4.55597523416526, 2.274000877600878, -0.20039969141767403)},
                         odd);
      else
        return divide<T>(
            {t * simd::horner(t2, 0.017453292519943295, -6.820289378413501e-07, 4.544246108168824e-12,
                              -3.691935841999158e-18),
             simd::horner(t2, 1.0, -0.00014061651957300185, 2.1662102552972855e-09, -5.891990227327505e-15)},
            odd);
    } else {
      if constexpr (pi)
        return divide<T>({t * simd::horner(t2, 3.1415926536566148, -3.4528525871332985, 0.32898385172482364),
                          simd::horner(t2, 1.0, -4.3889452317635405, 1.5558891621157291)},
                         odd);
      else
        return divide<T>(
            {t * simd::horner(t2, 0.017453292520314526, -5.920529127457644e-07, 1.741053255161093e-12),
             simd::horner(t2, 1.0, -0.00013546127258529445, 1.482137976409588e-09)},
            odd);
    }
  }
};

// ---- kernels ----

template <class T, Level level, bool cosine, class Unit>
struct UnitSineKernel {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  using Body = UnitSine<T, level, cosine, Unit>;
  static constexpr int operands = 1, results = 1;
  V eval(V x) const { return Body::eval(x); }
  unsigned special(V x, V) const { return simd::lane_bits(above_limit(x, Body::limit)); }
  unsigned far(V x, V& r, unsigned lanes) const {
    r = simd::choose(above_limit(x, Body::limit), Body::far(x), r);
    return left_to_repair(x, lanes);
  }
  int repair(T x, T& r) const { return repair_not_finite(x, r); }
};

template <class T, Level level, class Unit>
struct UnitTangentKernel {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  using Body = UnitTangent<T, level, Unit>;
  static constexpr int operands = 1, results = 1;
  V eval(V x, unsigned& lanes) const {
    V const r = Body::eval(x, lanes);
    lanes |= simd::lane_bits(above_limit(x, Body::limit));
    return r;
  }
  unsigned far(V x, V& r, unsigned lanes) const {
    auto const above = above_limit(x, Body::limit);
    unsigned poles;
    r = simd::choose(above, Body::far(x, poles), r);
    return lanes & (poles | ~simd::lane_bits(above) | simd::lane_mask(simd::not_finite(x)));
  }
  // Not finite, or a pole.
  int repair(T x, T& r) const {
    if (scalar::not_finite(x)) return repair_not_finite(x, r);
    // A quarter-turn above an even number of half-turns, or above an odd one.
    alignas(32) T lane[V::lanes];
    simd::store(lane, Unit::without_turns(V(scalar::magnitude(x))));
    bool const odd = lane[0] > T(Unit::half);
    T const pole = T(1) / scalar::opaque(scalar::with_sign(T(0), x));
    r = odd ? -pole : pole;
    return ORV_STATUS_OK;
  }
};

} // namespace orv::trig
