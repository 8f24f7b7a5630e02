// Floor, Ceil, Trunc, Rint, NearbyInt, Round, Frac: exact.
#include "kernels/loop/tables.h"
#include "kernels/simd/scalar.h"

namespace orv {
namespace {

template <class T>
using V = simd::Vec<T>;

// One rounding instruction. Directed modes and Rint raise inexact, NearbyInt does not.
template <class T, int mode, int vectors>
struct RoundingInstruction {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 1, results = 1, unroll = vectors;
  V<T> eval(V<T> x) const { return simd::round<mode>(x); }
};
template <class T, Level>
struct Floor : RoundingInstruction<T, _MM_FROUND_TO_NEG_INF, 4> {};
template <class T, Level>
struct Ceil : RoundingInstruction<T, _MM_FROUND_TO_POS_INF, 4> {};
template <class T, Level>
struct Trunc : RoundingInstruction<T, _MM_FROUND_TO_ZERO, 4> {};
template <class T, Level>
struct Rint : RoundingInstruction<T, _MM_FROUND_CUR_DIRECTION, 4> {};
template <class T, Level>
struct NearbyInt : RoundingInstruction<T, _MM_FROUND_CUR_DIRECTION | _MM_FROUND_NO_EXC, 4> {};

// Halves away from zero: nearest-even of |x|, corrected where it went down from a half.
template <class T, Level>
struct Round {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 1, results = 1;
  V<T> eval(V<T> x) const {
    V<T> const a = simd::magnitude(x), y = simd::round<_MM_FROUND_TO_NEAREST_INT>(a);
    V<T> const half = simd::compare<_CMP_EQ_OQ>(a - y, V<T>(T(0.5)));
    return (y + (half & V<T>(T(1)))) | simd::sign_of(x);
  }
};

// x - trunc(x) with the sign of x.
template <class T, Level>
struct Frac {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 1, results = 1;
  V<T> eval(V<T> x) const {
    return simd::magnitude(x - simd::round<_MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC>(x)) | simd::sign_of(x);
  }
  unsigned special(V<T> x, V<T>) const { return simd::lane_mask(simd::not_finite(x)); }
  int repair(T x, T& r) const {
    r = scalar::is_infinite(x) ? scalar::with_sign(T(0), x) : scalar::opaque(x) + x;
    return 0;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Floor, orv::Floor);
ORV_KERNEL(Ceil, orv::Ceil);
ORV_KERNEL(Trunc, orv::Trunc);
ORV_KERNEL(Rint, orv::Rint);
ORV_KERNEL(NearbyInt, orv::NearbyInt);
ORV_KERNEL(Round, orv::Round);
ORV_KERNEL(Frac, orv::Frac);
