// Asinh: ln(1 + t), t = a + a^2 / (1 + sqrt(1 + a^2)). Method: kernels/hyperbolic/inverse.h.
#include "kernels/hyperbolic/inverse.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace hyperbolic;

template <class T, Level level>
struct Asinh {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const one(T(1)), a = simd::magnitude(x), c = simd::min(V(T(0x1p30)), a);
    V const square = c * c;
    V t, t_low(T(0));
    if constexpr (level == Level::HA) {
      V const square_low = simd::fms(c, c, square), larger = simd::max(one, square),
              smaller = simd::min(one, square);
      V const v = square + one, v_low = (smaller - (v - larger)) + square_low;
      V const root = simd::sqrt(v), d = one + root, y = one / d;
      // 1 / (2 root) from y = 1 / (1 + root), near enough for an error
      V const scale = (y * V(T(0.5))) * simd::fma(y, simd::fma(y, V(T(2)), one), one);
      V const root_low = (simd::fnma(root, root, v) + v_low) * scale, d_low = (one - (d - root)) + root_low;
      V const q = square * y, remainder = simd::fnma(q, d, square) + simd::fnma(q, d_low, square_low);
      t = c + q;
      t_low = simd::fma(remainder, y, q - (t - c));
    } else {
      t = c + square / (one + simd::sqrt(square + one));
    }
    t = simd::fma(V(T(2)), a - c, t);
    return ln_one_plus<level>(t, t_low) | simd::sign_of(x);
  }
  unsigned special(V x, V) const {
    return simd::lane_bits(simd::not_at_most(simd::magnitude(x), V(too_large<T>)));
  }
  int repair(T x, T& r) const {
    r = scalar::not_finite(x) ? scalar::opaque(x) + x
                              : scalar::with_sign(ln_of_double(scalar::magnitude(x)), x);
    return ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Asinh, orv::Asinh);
