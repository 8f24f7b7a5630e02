// Sin and Cos. Method: kernels/trig/sine.h.
#include "kernels/loop/tables.h"
#include "kernels/trig/sine.h"

namespace orv {
namespace {

template <class T, Level level, bool cosine>
struct SineKernel {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  using Body = trig::Sine<T, level, cosine>;
  static constexpr int operands = 1, results = 1;
  V eval(V x) const { return Body::eval(x); }
  unsigned special(V x, V) const { return simd::lane_bits(trig::above_limit(x, Body::limit)); }
  unsigned far(V x, V& r, unsigned lanes) const {
    r = simd::choose(trig::above_limit(x, Body::limit), Body::far(x), r);
    return trig::left_to_repair(x, lanes);
  }
  int repair(T x, T& r) const { return trig::repair_not_finite(x, r); }
};
template <class T, Level level>
using Sin = SineKernel<T, level, false>;
template <class T, Level level>
using Cos = SineKernel<T, level, true>;

} // namespace
} // namespace orv

ORV_KERNEL(Sin, orv::Sin);
ORV_KERNEL(Cos, orv::Cos);
