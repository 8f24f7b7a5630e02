// ErfcInv: y with erfc y = x. Method: kernels/special/inverse.h; above 1 by symmetry. Poles at 0 and 2.
#include "kernels/special/inverse.h"

namespace orv {
namespace {

using namespace special;

struct OfErfc {
  static constexpr bool scaled = false;
  template <class T>
  ORV_INLINE static Distance<T> argument(Vec<T> x) {
    Vec<T> const one(T(1)), w = simd::min(Vec<T>(T(2)) - x, x); // exact; a NaN stays one
    return {one - w, w, simd::keep(simd::is_above(x, one), Vec<T>(T(-0.0)))};
  }
  template <class T>
  static ScalarDistance<T> distance(T x) {
    return {x > T(1) ? T(2) - x : x, x > T(1)};
  }
};
template <class T, Level level>
using ErfcInv = InverseErrorFunction<T, level, OfErfc>;

} // namespace
} // namespace orv

ORV_KERNEL(ErfcInv, orv::ErfcInv);
