// Abs of complex numbers: the modulus, as Hypot of the parts (kernels/pow/hypot.h). Finite parts whose modulus overflows
// are reported.
#include "kernels/complex/parts.h"
#include "kernels/complex/recovery.h"
#include "kernels/pow/hypot.h"

namespace orv {
namespace {

template <class T, Level level>
struct Abs {
  using Operand = Complex<T>;
  using Result = T;
  static constexpr int operands = 1, results = 1;
  using Body = power::HypotBody<T, level>;
  simd::Vec<T> eval(loop::ComplexVec<T> a, unsigned& lanes) const { return Body::eval(a.re, a.im, lanes); }
  int repair(Complex<T> a, T& r) const {
    Body::repair(a.re, a.im, r);
    return scalar::is_infinite(r) && complex::finite(a) ? ORV_STATUS_OVERFLOW : ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_TYPED_KERNEL(c, float, Abs, orv::Abs);
ORV_TYPED_KERNEL(z, double, Abs, orv::Abs);
