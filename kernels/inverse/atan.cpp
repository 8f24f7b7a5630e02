// Atan, and in parts of pi Atanpi. atan a is atan t and eighths of a turn, t = a, (a - 1) / (a + 1) or -1 / a by one true
// division (EP in single precision leaves out the middle form), and a polynomial. HA keeps the error of the
// quotient and adds in two terms. Infinities and NaN pass through.
#include "kernels/inverse/polynomial.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace inverse;

template <class T, Level level, bool parts_of_pi>
struct ArcTangent {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  using A = Angle<T, parts_of_pi>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const a = simd::magnitude(x);
    V r;
    if constexpr (sizeof(T) == 8 || level != Level::EP)
      r = by_eighths(a);
    else
      r = by_quarters(a);
    return r ^ simd::sign_of(x);
  }

 private:
  ORV_INLINE static V by_quarters(V a) {
    V const one(T(1));
    auto const large = simd::is_above(a, one);
    // a / 1, -1 / a
    V const t =
        (simd::drop(large, a) - simd::keep(large, one)) / (simd::drop(large, one) + simd::keep(large, a));
    V const u = t * t;
    return A::sum(simd::keep(large, V(T(2))), simd::fma(t * u, atan_tail<T, level, false>(u), t));
  }
  ORV_INLINE static V by_eighths(V size) {
    constexpr T far = sizeof(T) == 4 ? T(0x1p60) : T(0x1p120); // the quotient is nothing beside pi / 2
    V const one(T(1)), a = simd::min(V(far), size);            // a NaN stays one
    auto const above_half = simd::is_above(a, V(T(0.5))), large = simd::is_at_least(a, V(T(2)));
    // a / 1, (a - 1) / (1 + a), -1 / a
    V const middle = simd::keep(above_half, one), over = simd::keep(above_half, a),
            under = simd::drop(large, one);
    V const n = simd::drop(large, a) - middle, d = under + over;
    V const t = n / d, u = t * t, eighths = middle + simd::keep(large, one);
    if constexpr (level == Level::HA) {
      // What the sum lost counts too; 1 / d is (1 - t) / 2 or -t, or nothing is left.
      V const remainder = simd::fnma(t, over - (d - under), simd::fnma(t, d, n));
      V const error = remainder * ((under - t) * simd::fnma(under, V(T(0.5)), one));
      return A::sum(eighths, t, simd::fma(t * u, atan_tail<T, level, true>(u), simd::fnma(error, u, error)));
    }
    return A::sum(eighths, simd::fma(t * u, atan_tail<T, level, true>(u), t));
  }
};
template <class T, Level level>
using Atan = ArcTangent<T, level, false>;
template <class T, Level level>
using Atanpi = ArcTangent<T, level, true>;

} // namespace
} // namespace orv

ORV_KERNEL(Atan, orv::Atan);
ORV_KERNEL(Atanpi, orv::Atanpi);
