// Modf: the integral part and the fractional part, both with the sign of x. Exact.
#include "kernels/loop/tables.h"
#include "kernels/simd/scalar.h"

namespace orv {
namespace {

template <class T, Level>
struct Modf {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  static constexpr int operands = 1, results = 2;
  loop::Pair<V> eval(V x) const {
    V const whole = simd::round<_MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC>(x);
    return {whole, (x - whole) | simd::sign_of(x)};
  }
  unsigned special(V x, loop::Pair<V> const&) const { return simd::lane_mask(simd::not_finite(x)); }
  int repair(T x, T& r1, T& r2) const {
    if (scalar::is_nan(x)) {
      r1 = r2 = scalar::opaque(x) + x;
    } else {
      r1 = x;
      r2 = scalar::with_sign(T(0), x);
    }
    return ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Modf, orv::Modf);
