// Abs, Sqr, Add, Sub, Mul: one IEEE 754 operation. Overflow is silent but for the sticky flag.
#include "kernels/loop/tables.h"

namespace orv {
namespace {

template <class T>
using V = simd::Vec<T>;

template <class T, int count>
struct Arithmetic {
  using Operand = T;
  using Result = T;
  static constexpr int operands = count, results = 1, unroll = count == 1 ? 4 : 2;
};

// The addition quiets a signalling NaN and, when denormals are flushed, turns one into 0.
template <class T, Level>
struct Abs : Arithmetic<T, 1> {
  V<T> eval(V<T> x) const { return simd::magnitude(x) + simd::launder_zero<T>(); }
};
template <class T, Level>
struct Sqr : Arithmetic<T, 1> {
  V<T> eval(V<T> x) const { return x * x; }
};
template <class T, Level>
struct Add : Arithmetic<T, 2> {
  V<T> eval(V<T> a, V<T> b) const { return simd::ordered_add(a, b); }
};
template <class T, Level>
struct Sub : Arithmetic<T, 2> {
  V<T> eval(V<T> a, V<T> b) const { return a - b; }
};
template <class T, Level>
struct Mul : Arithmetic<T, 2> {
  V<T> eval(V<T> a, V<T> b) const { return simd::ordered_multiply(a, b); }
};

} // namespace
} // namespace orv

ORV_KERNEL(Abs, orv::Abs);
ORV_KERNEL(Sqr, orv::Sqr);
ORV_KERNEL(Add, orv::Add);
ORV_KERNEL(Sub, orv::Sub);
ORV_KERNEL(Mul, orv::Mul);
