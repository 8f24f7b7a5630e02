// Pow and Powr: x to the y. One vector body (kernels/pow/power.h) and two repairs.
#include "kernels/loop/tables.h"
#include "kernels/pow/power.h"

namespace orv {
namespace {

using namespace power;

template <class T, Level level> struct PowerKernel {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 2, results = 1, unroll = 1;
  Vec<T> eval(Vec<T> x, Vec<T> y, unsigned& lanes) const { return PowerBody<T, level>::eval(x, y, lanes); }
};
template <class T, Level level> struct Pow : PowerKernel<T, level> {
  int repair(T x, T y, T& r) const { return repair_pow(x, y, r); }
};
template <class T, Level level> struct Powr : PowerKernel<T, level> {
  int repair(T x, T y, T& r) const { return repair_powr(x, y, r); }
};

} // namespace
} // namespace orv

ORV_KERNEL(Pow, orv::Pow);
ORV_KERNEL(Powr, orv::Powr);
