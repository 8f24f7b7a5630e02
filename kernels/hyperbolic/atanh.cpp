// Atanh: ln(1 + t) / 2, t = 2a / (1 - a), one division. Method: kernels/hyperbolic/inverse.h.
#include "kernels/hyperbolic/inverse.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace hyperbolic;

template <class T, Level level>
struct Atanh {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const one(T(1)), a = simd::magnitude(x), n = a + a, d = one - a;
    V t, t_low(T(0));
    if constexpr (level == Level::HA) {
      V const y = one / d, d_low = (one - d) - a;
      t = n * y;
      t_low = simd::fnma(t, d_low, simd::fnma(t, d, n)) * y;
    } else {
      t = n / d;
    }
    return (V(T(0.5)) * ln_one_plus<level>(t, t_low)) | simd::sign_of(x);
  }
  unsigned special(V x, V) const { return simd::lane_bits(simd::not_less(simd::magnitude(x), V(T(1)))); }
  int repair(T x, T& r) const {
    if (scalar::is_nan(x)) {
      r = scalar::opaque(x) + x;
      return ORV_STATUS_OK;
    }
    if (scalar::magnitude(x) == T(1)) {
      r = scalar::opaque(x) / scalar::opaque(T(0));
      return ORV_STATUS_SINGULARITY;
    }
    r = scalar::invalid<T>();
    return ORV_STATUS_DOMAIN;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Atanh, orv::Atanh);
