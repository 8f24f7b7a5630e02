// Asin, Acos, and in parts of pi Asinpi, Acospi. Up to 1/2 asin a is a polynomial; beyond, asin a = pi/2 - 2 asin w with
// w = sqrt((1 - a) / 2), the argument of the root exact. HA keeps the error of the root and adds in two terms.
#include "kernels/inverse/polynomial.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace inverse;

template <class T, Level level, bool cosine, bool parts_of_pi>
struct ArcSine {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  using A = Angle<T, parts_of_pi>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const a = simd::magnitude(x), half(T(0.5));
    auto const large = simd::is_at_least(a, half);
    V const h = simd::keep(large, simd::fnma(a, half, half)), root = simd::sqrt(h),
            small = simd::drop(large, a);
    V const u = simd::fma(small, a, h), w = root + small;
    // The angle is so many eighths of a turn and factor asin w.
    V eighths, factor;
    if constexpr (cosine) {
      eighths = V(T(2)) - (simd::keep(large, V(T(2))) ^ simd::sign_of(x)); // 2, else 0 or 4
      factor = (simd::keep(large, V(T(3))) - V(T(1))) ^ simd::sign_of(x);  // -1, else 2
    } else {
      eighths = simd::keep(large, V(T(2)));
      factor = V(T(1)) - simd::keep(large, V(T(3))); // 1, else -2
    }
    V const head = factor * w;
    V r;
    if constexpr (level == Level::HA) {
      // The division is of 0 where there is no root, and where a is 1.
      V const error = simd::fnma(root, root, h) / simd::max(root + root, V(T(0x1p-60)));
      r = A::sum(eighths, head, factor * simd::fma(w, u * asin_tail<T, level>(u), error));
    } else {
      r = A::sum(eighths, simd::fma(head, u * asin_tail<T, level>(u), head));
    }
    return cosine ? r : r ^ simd::sign_of(x);
  }
  unsigned special(V x, V) const { return simd::lane_bits(simd::not_at_most(simd::magnitude(x), V(T(1)))); }
  int repair(T x, T& r) const {
    if (scalar::is_nan(x)) {
      r = scalar::opaque(x) + x;
      return ORV_STATUS_OK;
    }
    r = scalar::invalid<T>();
    return ORV_STATUS_DOMAIN;
  }
};
template <class T, Level level>
using Asin = ArcSine<T, level, false, false>;
template <class T, Level level>
using Acos = ArcSine<T, level, true, false>;
template <class T, Level level>
using Asinpi = ArcSine<T, level, false, true>;
template <class T, Level level>
using Acospi = ArcSine<T, level, true, true>;

} // namespace
} // namespace orv

ORV_KERNEL(Asin, orv::Asin);
ORV_KERNEL(Acos, orv::Acos);
ORV_KERNEL(Asinpi, orv::Asinpi);
ORV_KERNEL(Acospi, orv::Acospi);
