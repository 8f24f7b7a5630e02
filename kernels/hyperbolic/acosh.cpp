// Acosh: ln(1 + t), t = (x - 1) + sqrt(x^2 - 1). Method: kernels/hyperbolic/inverse.h.
#include "kernels/hyperbolic/inverse.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace hyperbolic;

template <class T, Level level>
struct Acosh {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const one(T(1)), c = simd::min(V(T(0x1p30)), x), minus_one = c - one;
    V t, t_low(T(0));
    if constexpr (level == Level::HA) {
      V const square = c * c, v = square - one, v_low = ((square - v) - one) + simd::fms(c, c, square);
      V const root = simd::sqrt(v);
      // The division is of 0 where x is 1.
      V const root_low = (simd::fnma(root, root, v) + v_low) / simd::max(root + root, V(T(0x1p-60)));
      t = root + minus_one;
      t_low = (minus_one - (t - root)) + (root_low + ((c - minus_one) - one));
    } else {
      t = minus_one + simd::sqrt(simd::fms(c, c, one));
    }
    t = simd::fma(V(T(2)), x - c, t);
    return ln_one_plus<level>(t, t_low);
  }
  unsigned special(V x, V) const {
    return simd::lane_bits(simd::is_less(x, V(T(1))) | simd::not_at_most(x, V(too_large<T>)));
  }
  int repair(T x, T& r) const {
    if (x < T(1)) {
      r = scalar::invalid<T>();
      return ORV_STATUS_DOMAIN;
    }
    r = scalar::not_finite(x) ? scalar::opaque(x) + x : ln_of_double(x);
    return ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Acosh, orv::Acosh);
