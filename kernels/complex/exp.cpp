// Exp of complex numbers: e^x (cos y + i sin y). In single precision at all levels in double, with 128 entries for e^x
// and the polynomial of the sine (kernels/trig/sine.h); in double precision the methods of dExp at HA and dSin at LA, and at
// HA both factors in two terms. Where e^x leaves the normal range, and for large y, lanes are answered in long double: a
// part may be finite though e^x overflows, which is reported all the same. Special values as in Annex G of ISO C.
#include "kernels/complex/parts.h"
#include "kernels/complex/recovery.h"
#include "kernels/complex/x87_frame.h"
#include "kernels/trig/sine.h"

namespace orv {
namespace {

using namespace complex;

constexpr double shifter = 6755399441055744.0; // 1.5 * 2^52

// e^x and the functions of y in double, to single precision and some bits.
struct Half {
  D re, im;
};
ORV_INLINE Half through_double(D x, D y) {
  D const sum = simd::fma(x, D(184.6649652337873), D(shifter));
  D const r = simd::fnma(sum - D(shifter), D(0.0054152123481245725), x);
  D const t = simd::lookup(exponential::table_d128_hi, simd::bits(sum) & Bits<double>(0x7F));
  D const p = t * simd::horner(r, 1.0, 1.0, 0.49999908361121337);
  D const e = simd::from_bits(simd::bits(p) +
                              simd::shift_left<45>(simd::andnot(Bits<double>(0x7F), simd::bits(sum))));
  D const a = simd::magnitude(y), inverse(trig::inverse_pi_d);
  D const sums = simd::fma(a, inverse, D(shifter)), sumc = simd::fma(a + D(trig::half_pi_d), inverse, D(shifter));
  auto rest = [&](D k) { return trig::subtract_multiple(a, k, 3.1415926535846666, 5.126688303189038e-12); };
  D const s = trig::sine_of_rest(rest(sums - D(shifter))) ^ trig::parity(simd::bits(sums)),
          c = trig::sine_of_rest(rest((sumc - D(shifter)) - D(0.5))) ^ trig::parity(simd::bits(sumc));
  return {e * c, e * (s ^ simd::sign_of(y))};
}

// e^x as (hi + lo) power, |x| up to 708.39.
struct Exponential {
  D hi, lo, power;
};
ORV_INLINE Exponential exponential_of(D x) {
  D const sum = simd::fma(x, D(92.33248261689366), D(shifter)), k = sum - D(shifter);
  D const r = simd::fnma(k, D(2.572804622327669e-14), simd::fnma(k, D(0.010830424696223417), x));
  D const r_low = simd::fnma(k, D(2.572804622327669e-14), simd::fnma(k, D(0.010830424696223417), x) - r);
  Bits<double> const place = simd::bits(k + D(422212465065984.0));
  auto const t = simd::lookup_pair(exponential::table_d64, simd::shift_right<3>(place & Bits<double>(0x3FF)));
  D const q = simd::fma(r * r,
                        simd::horner(r, 0.4999999999994775, 0.1666666666667797, 0.04166672368662385,
                                     0.00833333416441411),
                        r_low) +
              r;
  D const more = simd::fma(t.hi, q, t.lo), hi = t.hi + more;
  D const one(1.0);
  return {hi, more - (hi - t.hi),
          simd::from_bits(simd::bits(one) + simd::shift_left<42>(simd::andnot(Bits<double>(0x3FF), place)))};
}

// As trig::rotate, in two terms.
ORV_INLINE Terms rotate(D s, D s_low, D c, D c_low, D r, D r_low) {
  D const r2 = r * r;
  D const sine = (r2 * r) * simd::horner(r2, -0.1666666666665455, 0.008333322932609515);
  D const cosine = r2 * simd::horner(r2, -0.5, 0.041666666666651524, -0.0013888875887985619);
  D const p = c * r, p_low = simd::fma(c_low, r, simd::fms(c, r, p)), sum = s + p, rest = p - (sum - s);
  D const small = simd::fma(s, cosine, c * sine);
  D const low = ((simd::fma(c, r_low, s_low) + p_low) + small) + rest, hi = sum + low;
  return {hi, low - (hi - sum)};
}
ORV_INLINE D product(Exponential const& e, Terms t) {
  D const p = e.hi * t.hi, low = simd::fma(e.hi, t.lo, simd::fma(e.lo, t.hi, simd::fms(e.hi, t.hi, p)));
  return (p + negative_zero(low)) * e.power;
}

template <class T, Level level>
struct Exp {
  using Operand = Complex<T>;
  using Result = Complex<T>;
  using V = ComplexVec<T>;
  static constexpr int operands = 1, results = 1;
  static constexpr bool high = level == Level::HA;
  using S = trig::Sine<double, level, false>;
  using C = trig::Sine<double, level, true>;
  static constexpr T limit_x = sizeof(T) == 4 ? T(87.33654022216797f) : T(708.3959960937499);
  static constexpr T limit_y = sizeof(T) == 4 ? T(10000) : T(S::limit);

  V eval(V z) const {
    if constexpr (sizeof(T) == 4) {
      auto const x = simd::widen(z.re), y = simd::widen(z.im);
      Half const low = through_double(x.low, y.low), upper = through_double(x.high, y.high);
      return {simd::narrow({low.re, upper.re}), simd::narrow({low.im, upper.im})};
    } else if constexpr (high) {
      Exponential const e = exponential_of(z.re);
      trig::Turn const t = S::steps_of_pi(simd::magnitude(z.im));
      trig::SineCosine const row = trig::steps_of(t);
      D const minus(-0.0);
      Terms const sine = rotate(row.s, row.s_low, row.c, row.c_low, t.r, t.r_low),
                  cosine = rotate(row.c, row.c_low, row.s, row.s_low, t.r ^ minus, t.r_low ^ minus);
      return {product(e, cosine), product(e, sine) ^ simd::sign_of(z.im)};
    } else {
      Exponential const e = exponential_of(z.re);
      D const hi = e.hi * e.power, lo = e.lo * e.power;
      auto part = [&](D v) { return simd::fma(hi, v, negative_zero(lo * v)); };
      return {part(C::eval(z.im)), part(S::eval(z.im))};
    }
  }
  unsigned special(V z, V) const {
    // A tiny y loses the low part of its product.
    Vec<T> const x = simd::magnitude(z.re), y = simd::magnitude(z.im);
    auto marked = simd::not_at_most(x, Vec<T>(limit_x)) | simd::not_at_most(y, Vec<T>(limit_y));
    if constexpr (sizeof(T) == 8)
      marked = marked | (simd::is_less(y, D(0x1p-900)) & simd::is_above(y, D(0.0)));
    return simd::lane_bits(marked);
  }
  int repair(Complex<T> z, Complex<T>& r) const {
    X87Precision const precision;
    __asm__ volatile("" : "+m"(z));
    Extended const v = of({z.re, z.im});
    r = {narrow<T>(v.re), narrow<T>(v.im)};
    constexpr T overflow = exponential::exp_limits<T>.overflow;
    if (!finite(z) || !(z.re > overflow)) return ORV_STATUS_OK;
    (void)scalar::opaque(scalar::overflowed<T>());
    return ORV_STATUS_OVERFLOW;
  }

 private:
  static Extended of(Extended z) {
    Long const x = z.re, y = z.im;
    if (!is_finite(y)) {
      if (x == infinity) return {x, not_a_number};
      if (x == -infinity) return {0, with_sign(0, y)};
      Long const n = is_nan(x) ? x : is_nan(y) ? y : not_a_number;
      return {n, n};
    }
    if (is_nan(x)) return {x, y == 0 ? y : x};
    Circular const t = circular(y);
    if (complex::is_infinite(x)) {
      if (x < 0) return {with_sign(0, t.cos), with_sign(0, y == 0 ? y : t.sin)};
      return {with_sign(infinity, t.cos), y == 0 ? y : with_sign(infinity, t.sin)};
    }
    Long const e = complex::exp(x > 4000 ? 4000 : x < -4000 ? -4000 : x);
    return {e * t.cos, y == 0 ? y : e * t.sin};
  }
};

} // namespace
} // namespace orv

ORV_TYPED_KERNEL(c, float, Exp, orv::Exp);
ORV_TYPED_KERNEL(z, double, Exp, orv::Exp);
