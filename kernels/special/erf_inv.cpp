// ErfInv: y with erf y = x. Method: kernels/special/inverse.h. Poles at 1 and -1.
#include "kernels/special/inverse.h"

namespace orv {
namespace {

using namespace special;

struct OfErf {
  static constexpr bool scaled = false;
  template <class T>
  ORV_INLINE static Distance<T> argument(Vec<T> x) {
    Vec<T> const a = simd::magnitude(x);
    return {a, Vec<T>(T(1)) - a, simd::sign_of(x)};
  }
  template <class T>
  static ScalarDistance<T> distance(T x) {
    return {T(1) - scalar::magnitude(x), scalar::negative(x)};
  }
};
template <class T, Level level>
using ErfInv = InverseErrorFunction<T, level, OfErf>;

} // namespace
} // namespace orv

ORV_KERNEL(ErfInv, orv::ErfInv);
