// Erfc and CdfNorm: a function of the grid that falls to 0 for positive arguments, and its complement for negative ones.
//
// A function F has: steps, the rows of both types, whole (the sum of both sides), slope_factor and curvature as in
// grid.h, the degrees of its levels, `limit` of the vector and `zero` by type, and tail(a) as a scaled double.
#pragma once
#include "kernels/loop/tables.h"
#include "kernels/special/grid.h"

namespace orv::special {

template <class T, Level level, class F>
struct FallingTail {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;
  static constexpr T limit = F::template limit<T, level>;

  V eval(V x) const {
    V const y = F::mirrored ? x ^ V(T(-0.0)) : x; // falls with y
    if constexpr (sizeof(T) == 8) {
      return in_double<level>(y);
    } else if constexpr (level == Level::HA) {
      return simd::narrow(simd::each(simd::widen(y), [](D half) { return in_double<Level::LA>(half); }));
    } else {
      auto const [a0, d, index] = grid_point<float, F::steps>(simd::magnitude(y), limit);
      auto const row = simd::lookup_pair(F::rows_s, index & Bits<float>(1023));
      V const p = row.lo * d, q = a0 * d * V(F::slope_factor), s = d * d * V(-F::curvature);
      V tail;
      if constexpr (level == Level::LA)
        tail = moments<0, 4, 1>(q, s);
      else
        tail = moments<0, 2, 0>(q, s);
      return on_its_side(y, row.hi - simd::fma(p, tail, p));
    }
  }
  unsigned special(V x, V) const {
    return F::mirrored ? simd::lane_bits(simd::is_less(x, V(-limit)))
                       : simd::lane_bits(simd::is_above(x, V(limit)));
  }
  int repair(T x, T& r) const {
    return underflowing(scalar::magnitude(x), F::template zero<T>, r, [](double a) { return F::tail(a); });
  }

 private:
  // 0 + r where y is positive, the whole less r where it is negative.
  template <class U>
  ORV_INLINE static Vec<U> on_its_side(Vec<U> y, Vec<U> r) {
    Vec<U> const whole = simd::from_bits(simd::spread_sign(simd::bits(y))) & Vec<U>(U(F::whole));
    return whole + (r ^ simd::sign_of(y));
  }
  template <Level precision>
  ORV_INLINE static D in_double(D y) {
    auto const [a0, d, index] =
        grid_point<double, F::steps>(simd::magnitude(y), F::template limit<double, Level::LA>);
    Rows row = rows_at(F::rows_d, index & Bits<double>(4095));
    D const q = a0 * d * D(F::slope_factor), s = d * d * D(-F::curvature);
    D const tail = F::template tail_of<sizeof(T) == 4, precision>(q, s);
    if constexpr (precision == Level::HA) {
      D const minus(-0.0);
      row.slope = row.slope ^ minus;
      row.slope_low = row.slope_low ^ minus;
      auto const sum = in_two(row, d, tail);
      D const whole = simd::from_bits(simd::spread_sign(simd::bits(y))) & D(F::whole),
              sign = simd::sign_of(y);
      D const signed_head = sum.head ^ sign, head = whole + signed_head; // |whole| is above, or 0
      return head + ((signed_head - (head - whole)) + (sum.tail ^ sign));
    }
    D const p = row.slope * d;
    return on_its_side(y, row.value - simd::fma(p, tail, p));
  }
};

} // namespace orv::special
