// Exp: e^x. Method: kernels/exp/reduction.h; the levels differ in table size, reduction and degree.
// Measured: the largest error in ulp (LA, HA) and the fewest good bits (EP), each with its argument, over so many
// arguments (2^32: all); cycles an element at n = 1024, LA / HA / EP.
//   sExp (2^32): LA 3.43 at 0x1.6181e8p+6; HA 0.749 at -0x1.73cfbap+0; EP 12.71 bits at 0x1.53a462p+6;
//      0.74 / 0.86 / 0.56
//   dExp (2e+07): LA 3.04 at 0x1.601194814106ep+6; HA 0.75 at -0x1.6252012cc6f08p+9;
//      EP 28.17 bits at 0x1.620da87fac766p+9; 2.29 / 3.06 / 2.14
#include "kernels/exp/reduction.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace exponential;

constexpr double shifter_d = 6755399441055744.0; // 1.5 * 2^52
constexpr float shifter_s = 12582912.0f;         // 1.5 * 2^23

template <class T>
struct ExpBase {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 1, results = 1;
};

// Overflow and underflow in the vector, where errors are not recorded; returns the lanes that are left.
template <class T>
unsigned settle_range(Vec<T> x, Vec<T>& r, unsigned lanes) {
  Vec<T> const above = simd::compare<_CMP_GT_OQ>(x, Vec<T>(exp_limits<T>.overflow));
  Vec<T> const below = simd::compare<_CMP_LT_OQ>(x, Vec<T>(exp_limits<T>.zero));
  r = simd::blend(r, Vec<T>(static_cast<T>(__builtin_inf())), above);
  r = simd::blend(r, Vec<T>(T(0)), below);
  return lanes & ~(simd::lane_mask(above) | simd::lane_mask(below));
}

// ---- single precision ----

constexpr float limit_s = 87.33654022216797f; // beyond it the result leaves the normal range

// LA and EP: no table, the exponent added to a polynomial.
template <Level level>
struct ExpFloat : ExpBase<float> {
  F eval(F x) const {
    F const sum = simd::fma(x, F(1.4426950216293335f), F(shifter_s));
    F const k = sum - F(shifter_s);
    F p;
    if constexpr (level == Level::LA) {
      F const r = simd::fnma(k, F(1.428606765330187e-06f), simd::fnma(k, F(0.693145751953125f), x));
      p = simd::horner(r, 1.0f, 0.9999998807907104f, 0.4999939203262329f, 0.16667431592941284f,
                       0.041873522102832794f, 0.008291719481348991f);
    } else {
      F const r = simd::fnma(k, F(0.6931471824645996f), x);
      p = simd::horner(r, 1.0f, 1.0001180171966553f, 0.5037053823471069f, 0.16541928052902222f);
    }
    return simd::from_bits(simd::bits(p) + simd::shift_left<23>(simd::bits(sum)));
  }
  unsigned special(F x, F) const { return beyond(x, limit_s); }
  int repair(float x, float& r) const {
    return exponential::repair(x, r, exp_limits<float>, false, [](float a, float& out) {
      float const sum = scalar::opaque(scalar::fma(a, 1.4426950216293335f, shifter_s)), k = sum - shifter_s;
      float const t = scalar::fma(-k, 1.428606765330187e-06f, scalar::fma(-k, 0.693145751953125f, a));
      float const p = scalar::horner(t, 1.0f, 1.0000001192092896f, 0.49998870491981506f, 0.166663259267807f,
                                     0.041917525231838226f, 0.008381112478673458f);
      out = scale(p, static_cast<int>(k));
      return status_of(out);
    });
  }
};

// HA: four table entries in registers, low part relative to the high one.
struct ExpFloatHA : ExpBase<float> {
  static constexpr float biased_shifter = 12583420.0f; // plus 4 times the exponent bias
  F eval(F x) const {
    F const sum = simd::fma(x, F(5.770780086517334f), F(biased_shifter));
    F const k = sum - F(biased_shifter);
    F const r = simd::fnma(k, F(7.986545824678615e-06f), simd::fnma(k, F(0.17327880859375f), x));
    return times_quarter_power(sum, [r](F lo) {
      return r + simd::fma(r * r,
                           simd::horner(r, 0.4999999701976776f, 0.16672924160957336f, 0.04168231040239334f),
                           lo);
    });
  }
  unsigned special(F x, F) const { return beyond_or_nan(x, limit_s); }
  unsigned settle(F x, F& r, unsigned lanes) const { return settle_range(x, r, lanes); }
  int repair(float x, float& r) const {
    return exponential::repair(x, r, exp_limits<float>, false,
                               [](float a, float& out) { return deliver(exp_scaled(a), out); });
  }
};

// ---- double precision ----

struct ExpDoubleBase : ExpBase<double> {
  unsigned settle(D x, D& r, unsigned lanes) const { return settle_range(x, r, lanes); }
  int repair(double x, double& r) const {
    return exponential::repair(x, r, exp_limits<double>, false,
                               [](double a, double& out) { return deliver(exp_scaled(a), out); });
  }
};

// LA: 1024 entries in place of polynomial terms.
struct ExpDoubleLA : ExpDoubleBase {
  D eval(D x) const {
    D const sum = simd::fma(x, D(1477.3197218702985), D(shifter_d));
    D const k = sum - D(shifter_d);
    D const r = simd::fnma(k, D(4.137227896298129e-13), simd::fnma(k, D(0.0006769015431018488), x));
    D const t = simd::lookup(table_d1024, simd::bits(sum) & Bits<double>(0x3FF));
    D const p = t * simd::horner(r, 1.0, 1.0, 0.5000000035796539, 0.16666666666666669);
    return simd::from_bits(simd::bits(p) +
                           simd::shift_left<42>(andnot(Bits<double>(0x3FF), simd::bits(sum))));
  }
  unsigned special(D x, D) const { return beyond_upper(x, 0x4086232A); }
};

// HA: 64 entries with a low part.
struct ExpDoubleHA : ExpDoubleBase {
  D eval(D x) const {
    D const sum = simd::fma(x, D(92.33248261689366), D(shifter_d));
    D const k = sum - D(shifter_d);
    D const r = simd::fnma(k, D(2.572804622327669e-14), simd::fnma(k, D(0.010830424696223417), x));
    // In this sum the low 10 bits are the byte offset of the entry, the rest is the exponent.
    Bits<double> const place = simd::bits(k + D(422212465065984.0));
    auto const t = simd::lookup_pair(table_d64, simd::shift_right<3>(place & Bits<double>(0x3FF)));
    D const q = simd::fma(
        r * r,
        simd::horner(r, 0.4999999999994775, 0.1666666666667797, 0.04166672368662385, 0.00833333416441411), r);
    D const p = simd::fma(t.hi, q, t.lo) + t.hi;
    return simd::from_bits(simd::bits(p) + simd::shift_left<42>(andnot(Bits<double>(0x3FF), place)));
  }
  unsigned special(D x, D) const { return beyond_or_nan(x, 708.3959960937499); }
};

// EP: 128 entries, one-step reduction.
struct ExpDoubleEP : ExpDoubleBase {
  D eval(D x) const {
    D const sum = simd::fma(x, D(184.6649652337873), D(shifter_d));
    D const r = simd::fnma(sum - D(shifter_d), D(0.0054152123481245725), x);
    D const t = simd::lookup(table_d128_hi, simd::bits(sum) & Bits<double>(0x7F));
    D const p = t * simd::horner(r, 1.0, 1.0, 0.49999908361121337);
    return simd::from_bits(simd::bits(p) + simd::shift_left<45>(andnot(Bits<double>(0x7F), simd::bits(sum))));
  }
  unsigned special(D x, D) const { return beyond_upper(x, 0x4086232A); }
};

template <class T, Level level>
struct Exp;
template <>
struct Exp<float, Level::LA> : ExpFloat<Level::LA> {};
template <>
struct Exp<float, Level::HA> : ExpFloatHA {};
template <>
struct Exp<float, Level::EP> : ExpFloat<Level::EP> {};
template <>
struct Exp<double, Level::LA> : ExpDoubleLA {};
template <>
struct Exp<double, Level::HA> : ExpDoubleHA {};
template <>
struct Exp<double, Level::EP> : ExpDoubleEP {};

} // namespace
} // namespace orv

ORV_KERNEL(Exp, orv::Exp);
