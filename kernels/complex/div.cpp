// Div of complex numbers: a times the conjugate of b, over |b|^2. In single precision at LA and HA in double; in double
// precision numerators and |b|^2 in two terms and one correction of the quotient; EP in the working precision with an
// approximate reciprocal, its error counted by the modulus. What is far from 1 is scaled in the repair.
// Measured, largest error of a part at LA and HA: c 0.50 ulp, z 0.50 (0.75 next to the smallest normal number).
#include "kernels/complex/parts.h"
#include "kernels/complex/recovery.h"
#include "kernels/pow/seeds.h"

namespace orv {
namespace {

using namespace complex;

ORV_INLINE D division(Terms n, D inverse, Terms d) {
  D const q = n.hi * inverse;
  D const rest = simd::fnma(q, d.hi, n.hi) + simd::fnma(q, d.lo, n.lo);
  return simd::fma(negative_zero(rest), inverse, q);
}

template <class T, Level level>
struct Div {
  using Operand = Complex<T>;
  using Result = Complex<T>;
  using V = ComplexVec<T>;
  static constexpr int operands = 2, results = 1;
  static constexpr bool quick = level == Level::EP;

  V eval(V a, V b, unsigned& lanes) const {
    if constexpr (quick) {
      Vec<T> const re = simd::fma(a.re, b.re, a.im * b.im), im = simd::fnma(a.re, b.im, a.im * b.re);
      Vec<T> const d = simd::fma(b.re, b.re, b.im * b.im);
      // Squares or products that overflow, or lose bits below the normal range.
      auto const size = simd::max(simd::magnitude(re), simd::magnitude(im));
      if constexpr (sizeof(T) == 4) {
        lanes = simd::lane_mask(simd::outside(simd::bits(d), 0x20000000, 0x5F000000) |
                                simd::outside(simd::bits(size), 0x20000000, 0x5F000000) | simd::not_finite(re));
        F const y = simd::approximate_reciprocal(d);
        return {re * y, im * y};
      } else {
        lanes = simd::lane_mask(simd::outside(simd::bits(d), 0x20000000, 0x5F000000) |
                                simd::outside(simd::bits(size), 0x20000000, 0x5F000000) | simd::not_finite(re));
        D const seed = power::reciprocal_seed(d), e = simd::fnma(d, seed, D(1.0));
        D const y = simd::fma(seed * e, simd::fma(e, D(1.0), D(1.0)), seed);
        return {re * y, im * y};
      }
    } else {
      V const r = quotient_of(a, b, lanes);
      return r;
    }
  }
  int repair(Complex<T> a, Complex<T> b, Complex<T>& r) const {
    r = quotient(a, b);
    return quick ? ORV_STATUS_OK : overflow_status(finite(a) && finite(b), r);
  }

 private:
  static V quotient_of(ComplexVec<float> a, ComplexVec<float> b, unsigned& lanes) {
    auto const ar = simd::widen(a.re), ai = simd::widen(a.im), br = simd::widen(b.re), bi = simd::widen(b.im);
    struct Half {
      D re, im;
    };
    auto half = [](D ar, D ai, D br, D bi) {
      D const inverse = D(1.0) / simd::fma(br, br, bi * bi);
      return Half{simd::fma(ar, br, ai * bi) * inverse, simd::fms(ai, br, ar * bi) * inverse};
    };
    Half const low = half(ar.low, ai.low, br.low, bi.low), high = half(ar.high, ai.high, br.high, bi.high);
    ComplexVec<float> const r{simd::narrow({low.re, high.re}), simd::narrow({low.im, high.im})};
    lanes = not_finite(r);
    return r;
  }
  static V quotient_of(ComplexVec<double> a, ComplexVec<double> b, unsigned& lanes) {
    Terms const d = sum_of_products(b.re, b.re, b.im, b.im);
    Terms const re = sum_of_products(a.re, b.re, a.im, b.im),
                im = sum_of_products(a.im, b.re, a.re ^ D(-0.0), b.im);
    D const inverse = D(1.0) / d.hi;
    V const r{division(re, inverse, d), division(im, inverse, d)};
    // Small numerators and quotients may have lost bits; a zero numerator is the zero of
    // the quotient only if its products are zeros, which the repair tells.
    auto small = [](D x, uint32_t first, uint32_t last) {
      return simd::outside(simd::bits(simd::magnitude(x)), first, last);
    };
    lanes = simd::lane_mask(small(d.hi, 0x03F00000, 0x7BF00000) | small(re.hi, 0x08800000, 0x7FEFFFFF) |
                            small(im.hi, 0x08800000, 0x7FEFFFFF) | small(r.re, 0x08800000, 0x7FEFFFFF) |
                            small(r.im, 0x08800000, 0x7FEFFFFF));
    return r;
  }
};

} // namespace
} // namespace orv

ORV_TYPED_KERNEL(c, float, Div, orv::Div);
ORV_TYPED_KERNEL(z, double, Div, orv::Div);
