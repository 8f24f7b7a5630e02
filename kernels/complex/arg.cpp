// Arg of complex numbers: the angle, as Atan2 of the imaginary and the real part (kernels/inverse/atan2.h).
#include "kernels/complex/parts.h"
#include "kernels/inverse/atan2.h"

namespace orv {
namespace {

template <class T, Level level>
struct Arg {
  using Operand = Complex<T>;
  using Result = T;
  static constexpr int operands = 1, results = 1;
  using Body = inverse::ArcTangent2<T, level, false>;
  simd::Vec<T> eval(loop::ComplexVec<T> a, unsigned& lanes) const { return Body::eval(a.im, a.re, lanes); }
  int repair(Complex<T> a, T& r) const { return Body::repair(a.im, a.re, r); }
};

} // namespace
} // namespace orv

ORV_TYPED_KERNEL(c, float, Arg, orv::Arg);
ORV_TYPED_KERNEL(z, double, Arg, orv::Arg);
