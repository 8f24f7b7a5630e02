// Inv and Div. HA divides; LA refines the hardware's approximate reciprocal once; EP takes it as it is. In double
// precision Div and LA of Inv divide too. Approximations differ between makers of processors.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sInv: LA 1.86 at 1.23604614e-38; HA 0.5 at 2.31605587e-38; EP 11.63 bits; 0.33 / 0.38 / 0.26
//   dInv: LA 0.5 at 1; HA 0.5 at 1; EP 34.91 bits; 1.15 / 1.14 / 1.76
//   sDiv: LA 2.66 at -0.493344903, -0.493394643; HA 0.5 at 1.17543311e-38, -6; EP 11.64 bits; 0.41 / 0.39 / 0.33
//   dDiv: LA 0.5 at 1, -4; HA 0.5 at 1, -4; EP 53 bits; 1.14 / 1.15 / 1.15
#include "kernels/loop/tables.h"
#include "kernels/pow/seeds.h"

namespace orv {
namespace {

using namespace power;

// The IEEE 754 quotient; a divisor of zero is a pole, whatever the dividend.
template <class T>
int divide(T a, T b, T& r) {
  r = scalar::opaque(a) / b;
  return b == T(0) ? ORV_STATUS_SINGULARITY : ORV_STATUS_OK;
}

// Below the normal range, or so large that the reciprocal (or a step to it) would leave it.
ORV_INLINE unsigned no_reciprocal(F x, int32_t limit) {
  Bits<float> const t = (simd::bits(x) - Bits<float>(0x00800000)) & Bits<float>(0x7FFFFFFF);
  return simd::lane_mask(simd::greater(t, Bits<float>(limit)));
}
template <class T>
ORV_INLINE unsigned zero_or_denormal(Vec<T> x) {
  Bits<T> const field = simd::bits(x) & Bits<T>(simd::exponent_mask<T>);
  return simd::lane_mask(simd::equal(field, Bits<T>(0)));
}

template <class T, int count>
struct Quotient {
  using Operand = T;
  using Result = T;
  static constexpr int operands = count, results = 1;
};

template <class T, Level>
struct Inv;
template <Level level>
struct Inv<float, level> : Quotient<float, 1> {
  F eval(F x) const {
    if constexpr (level == Level::HA) return F(1.0f) / x;
    F const y = simd::approximate_reciprocal(x);
    if constexpr (level == Level::EP) return y;
    return simd::fma(y, simd::fnma(x, y, F(1.0f)), y);
  }
  unsigned special(F x, F) const {
    if constexpr (level == Level::HA)
      return simd::lane_mask(simd::compare<_CMP_EQ_OQ>(x, F(0.0f)));
    else
      return no_reciprocal(x, 0x7DFFE800);
  }
  int repair(float x, float& r) const { return divide(1.0f, x, r); }
};
template <Level level>
struct Inv<double, level> : Quotient<double, 1> {
  D eval(D x) const {
    if constexpr (level != Level::EP) return D(1.0) / x;
    D const y = reciprocal_seed(x);
    D const e = simd::fnma(x, y, D(1.0));
    return simd::fma(y, simd::fma(e, e, e), y);
  }
  unsigned special(D x, D) const {
    if constexpr (level == Level::EP) {
      Bits<double> const t =
          (simd::bits(x) - Bits<double>(0x0010000000000000)) & Bits<double>(0x7FFFFFFFFFFFFFFF);
      return simd::lane_mask(simd::greater_upper(t, 0x7FBFFFFF));
    } else {
      return zero_or_denormal(x);
    }
  }
  int repair(double x, double& r) const { return divide(1.0, x, r); }
};

template <class T, Level>
struct Div;
template <Level level>
struct Div<float, level> : Quotient<float, 2> {
  F eval(F a, F b) const {
    if constexpr (level == Level::HA) return a / b;
    F const y = simd::approximate_reciprocal(b);
    if constexpr (level == Level::EP) return a * y;
    return a * simd::fma(y, simd::fnma(b, y, F(1.0f)), y);
  }
  unsigned special(F, F b, F) const {
    if constexpr (level == Level::HA)
      return simd::lane_mask(simd::compare<_CMP_EQ_OQ>(b, F(0.0f)));
    else
      return no_reciprocal(b, 0x7DFFFFFF);
  }
  int repair(float a, float b, float& r) const { return divide(a, b, r); }
};
template <Level level>
struct Div<double, level> : Quotient<double, 2> {
  D eval(D a, D b) const { return a / b; }
  unsigned special(D, D b, D) const { return zero_or_denormal(b); }
  int repair(double a, double b, double& r) const { return divide(a, b, r); }
};

} // namespace
} // namespace orv

ORV_KERNEL(Inv, orv::Inv);
ORV_KERNEL(Div, orv::Div);
