// Ln of complex numbers: half the logarithm of the square of the modulus, and the angle (kernels/inverse/atan2.h). In
// single precision the square is formed in double, next to 1 as (M - 1) (M + 1) + m^2, which is rounded once; in double
// precision it has two terms, so that its logarithm keeps its bits down to | |z|^2 - 1 | = 2^-45. Closer, and far from 1,
// lanes are answered in long double. Zero gives -Inf without a report.
#include "kernels/complex/log_modulus.h"
#include "kernels/complex/parts.h"
#include "kernels/complex/x87_frame.h"
#include "kernels/inverse/atan2.h"
#include "kernels/log/one_plus.h"
#include "kernels/pow/hypot.h"

namespace orv {
namespace {

using namespace complex;

template <class T, Level level>
struct Ln {
  using Operand = Complex<T>;
  using Result = Complex<T>;
  using V = ComplexVec<T>;
  static constexpr int operands = 1, results = 1;
  using Angle = inverse::ArcTangent2<T, level, false>;

  V eval(V z, unsigned& lanes) const {
    Vec<T> const x = simd::magnitude(z.re), y = simd::magnitude(z.im);
    V r;
    if constexpr (sizeof(T) == 4) {
      Vec<T> const big = simd::max(x, y), small = simd::min(y, x);
      r.re = simd::narrow(simd::each(simd::widen(big), simd::widen(small), &half_logarithm));
    } else {
      auto const sum = power::squares_in_two(x, y);
      D const half(0.5);
      r.re = half * logarithm::ln_of_sum<level>({sum.q, sum.low});
    }
    r.im = Angle::eval(z.im, z.re, lanes);
    lanes |= special(x, y);
    return r;
  }
  int repair(Complex<T> z, Complex<T>& r) const {
    X87Precision const precision;
    __asm__ volatile("" : "+m"(z));
    Extended const w{z.re, z.im};
    r = {narrow<T>(log_modulus(w)), narrow<T>(angle(w.im, w.re))};
    return ORV_STATUS_OK;
  }

 private:
  ORV_INLINE static D half_logarithm(D big, D small) {
    D const near = simd::fma(big - D(1.0), big + D(1.0), small * small);
    auto const beside_one = logarithm::one_plus(near);
    auto const is_near = simd::is_at_least(big, D(0.5)) & simd::is_less(big, D(2.0));
    D const square = simd::fma(big, big, small * small);
    return D(0.5) * logarithm::ln_of_sum<Level::EP>(
                        {simd::choose(is_near, beside_one.s, square), simd::keep(is_near, beside_one.c)});
  }
  ORV_INLINE static unsigned special(Vec<T> x, Vec<T> y) {
    if constexpr (sizeof(T) == 4) { // zero, or not finite: by the larger part, in this order a NaN comes through
      Vec<T> const size = simd::ordered_add(x, y);
      return simd::lane_bits(simd::is_equal(size, Vec<T>(T(0)))) |
             simd::lane_mask(simd::not_finite(x) | simd::not_finite(y));
    } else {
      auto const sum = power::squares_in_two(x, y);
      D const distance = simd::magnitude((sum.q - D(1.0)) + sum.low);
      return simd::lane_mask(simd::outside(simd::bits(sum.q), 0x08000000, 0x77F00000)) |
             simd::lane_bits(simd::is_less(distance, D(0x1p-45)));
    }
  }
};

} // namespace
} // namespace orv

ORV_TYPED_KERNEL(c, float, Ln, orv::Ln);
ORV_TYPED_KERNEL(z, double, Ln, orv::Ln);
