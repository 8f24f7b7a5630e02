// Pow and Powr: x to the y. One vector body (kernels/pow/power.h) and two repairs.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sPow: LA 1.79 at 0.942776263, 1447.7865; HA 0.808 at 0.998933434, 63728.1328; EP 12.47 bits; 3.59 / 8.49 / 2.30
//   dPow: LA 1.14 at 0.999211583, 887941.465; HA 0.764 at 1, -3.12485218e+15; EP 31.06 bits; 11.86 / 14.15 / 8.54
//   sPowr: LA 1.6 at 0.94179827, 1401.0542; HA 0.519 at 0.983576417, 4648.85303; EP 12.53 bits; 3.55 / 8.49 / 2.30
//   dPowr: LA 1.04 at 1, 3.44805872e+15; HA 0.763 at 1, -3.11905308e+15; EP 31.17 bits; 11.31 / 12.93 / 8.18
#include "kernels/loop/tables.h"
#include "kernels/pow/power.h"

namespace orv {
namespace {

using namespace power;

template <class T, Level level>
struct PowerKernel {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 2, results = 1;
  Vec<T> eval(Vec<T> x, Vec<T> y, unsigned& lanes) const { return PowerBody<T, level>::eval(x, y, lanes); }
};
template <class T, Level level>
struct Pow : PowerKernel<T, level> {
  int repair(T x, T y, T& r) const { return repair_pow(x, y, r); }
};
template <class T, Level level>
struct Powr : PowerKernel<T, level> {
  int repair(T x, T y, T& r) const { return repair_powr(x, y, r); }
};

} // namespace
} // namespace orv

ORV_KERNEL(Pow, orv::Pow);
ORV_KERNEL(Powr, orv::Powr);
