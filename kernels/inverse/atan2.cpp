// Atan2(y, x), and in parts of pi Atan2pi: the angle of the point (x, y). With n and d the smaller and the larger of |y|
// and |x|, t = n / d or, beside the diagonal, (n - d) / (n + d) by a true division (LA and EP in single precision leave
// out the second form) goes through the polynomial of Atan; which was larger and the signs tell the eighths of a turn. HA
// keeps the error of the quotient by a second division. The quotient of NaN, of two zeros and of two infinities is NaN:
// IEEE 754-2019 tells the angles.
#include "kernels/inverse/atan2.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

template <class T, Level level, bool parts_of_pi>
struct OfPoint : inverse::ArcTangent2<T, level, parts_of_pi> {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 2, results = 1;
};
template <class T, Level level>
using Atan2 = OfPoint<T, level, false>;
template <class T, Level level>
using Atan2pi = OfPoint<T, level, true>;

} // namespace
} // namespace orv

ORV_KERNEL(Atan2, orv::Atan2);
ORV_KERNEL(Atan2pi, orv::Atan2pi);
