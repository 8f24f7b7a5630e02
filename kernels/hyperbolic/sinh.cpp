// Sinh and Cosh. Method: kernels/hyperbolic/exponentials.h. Near overflow the repair takes e^a / 2.
#include "kernels/hyperbolic/exponentials.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace hyperbolic;

template <class T, Level level, bool cosine>
struct SinhCosh {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;
  static constexpr T limit = sizeof(T) == 4 ? T(87.33653259277344) : T(707.7032713517041);
  static constexpr T largest =
      sizeof(T) == 4 ? T(89.41598510742188) : T(710.4758600739439); // with a finite result

  V eval(V x) const {
    V const a = simd::magnitude(x);
    V r;
    if constexpr (level != Level::HA) {
      auto const both = in_one<T, level>(a);
      r = cosine ? both.cosh : both.sinh;
    } else if constexpr (sizeof(T) == 4) {
      r = through_double(a, [](auto const& both) { return cosine ? both.cosh : both.sinh; });
    } else {
      auto const both = in_two(a);
      auto const sum = cosine ? both.cosh : both.sinh;
      r = sum.head + sum.tail;
    }
    return cosine ? r : r ^ simd::sign_of(x);
  }
  unsigned special(V x, V) const {
    V const a = simd::magnitude(x);
    if constexpr (cosine) return simd::lane_bits(simd::not_less(a, V(limit)));
    return simd::lane_bits(simd::not_at_most(a, V(limit)));
  }
  int repair(T x, T& r) const {
    T const sign = cosine ? T(1) : scalar::with_sign(T(1), x);
    if (scalar::not_finite(x)) {
      r = scalar::is_nan(x) ? scalar::opaque(x) * x : sign * scalar::magnitude(x);
      return ORV_STATUS_OK;
    }
    T const a = scalar::magnitude(x);
    int status = ORV_STATUS_OVERFLOW;
    if (a > largest) {
      r = scalar::overflowed<T>();
    } else {
      auto power = exponential::exp_scaled(a);
      --power.m;
      status = exponential::deliver(power, r);
    }
    r = sign * scalar::opaque(r);
    return status;
  }
};
template <class T, Level level>
using Sinh = SinhCosh<T, level, false>;
template <class T, Level level>
using Cosh = SinhCosh<T, level, true>;

} // namespace
} // namespace orv

ORV_KERNEL(Sinh, orv::Sinh);
ORV_KERNEL(Cosh, orv::Cosh);
