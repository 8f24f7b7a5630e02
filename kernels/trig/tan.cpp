// Tan. Method: kernels/trig/tangent.h.
#include "kernels/loop/tables.h"
#include "kernels/trig/tangent.h"

namespace orv {
namespace {

using namespace trig;

template <class T, Level level>
struct Tan {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  using Body = Tangent<T, level>;
  static constexpr int operands = 1, results = 1;
  V eval(V x) const { return Body::eval(x); }
  unsigned special(V x, V) const { return simd::lane_bits(above_limit(x, Body::limit)); }
  unsigned far(V x, V& r, unsigned lanes) const {
    r = simd::choose(above_limit(x, Body::limit), Body::far(x), r);
    return left_to_repair(x, lanes);
  }
  int repair(T x, T& r) const { return repair_not_finite(x, r); }
};

} // namespace
} // namespace orv

ORV_KERNEL(Tan, orv::Tan);
