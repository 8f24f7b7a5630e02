// Hypot: sqrt(a^2 + b^2) from the hardware's approximate reciprocal root of the sum of squares; HA carries the sum
// in two terms. Sums of squares far from 1 are scaled in the repair.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sHypot: LA 1.15 at 0.179262966, 23.0886955; HA 0.5 at 0.999999464, 0.000244140494; EP 11.92 bits; 0.82 / 1.28 / 0.36
//   dHypot: LA 1.4 at 1.03965889, -90.5182507; HA 0.693 at 1.32338885e-308, 1.76038506e-308; EP 34.43 bits; 2.11 / 4.13 / 1.80
#include "kernels/loop/tables.h"
#include "kernels/pow/hypot.h"

namespace orv {
namespace {

template <class T, Level level>
struct Hypot : power::HypotBody<T, level> {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 2, results = 1;
};

} // namespace
} // namespace orv

ORV_KERNEL(Hypot, orv::Hypot);
