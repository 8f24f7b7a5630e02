// CdfNormInv: the quantile of the standard normal distribution, -sqrt 2 erfc^-1(2 p). Method: kernels/special/inverse.h;
// above 1/2 by symmetry. Poles at 0 and 1.
#include "kernels/special/inverse.h"

namespace orv {
namespace {

using namespace special;

struct OfCdfNorm {
  static constexpr bool scaled = true;
  template <class T>
  ORV_INLINE static Distance<T> argument(Vec<T> p) {
    Vec<T> const one(T(1)), v = p + p, w = simd::min(Vec<T>(T(2)) - v, v); // exact; a NaN stays one
    return {one - w, w, simd::keep(simd::is_less(p, Vec<T>(T(0.5))), Vec<T>(T(-0.0)))};
  }
  template <class T>
  static ScalarDistance<T> distance(T p) {
    return {p > T(0.5) ? T(2) - (p + p) : p + p, p < T(0.5)};
  }
};
template <class T, Level level>
using CdfNormInv = InverseErrorFunction<T, level, OfCdfNorm>;

} // namespace
} // namespace orv

ORV_KERNEL(CdfNormInv, orv::CdfNormInv);
