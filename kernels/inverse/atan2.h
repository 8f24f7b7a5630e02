// The angle of a point for Atan2, Atan2pi and the argument of complex numbers: kernels/inverse/atan2.cpp tells how.
#pragma once
#include "kernels/inverse/polynomial.h"
#include "kernels/simd/scalar.h"

namespace orv::inverse {

template <class T, Level level, bool parts_of_pi>
struct ArcTangent2 {
  using V = Vec<T>;
  using A = Angle<T, parts_of_pi>;
  static constexpr bool by_eighths = sizeof(T) == 8 || level == Level::HA;
  // Below it the remainder of a division loses bits; above, a sum may overflow.
  static constexpr T small = sizeof(T) == 4 ? T(0x1p-96) : T(0x1p-960);
  static constexpr T huge = simd::Format<T>::largest / 2;
  static constexpr T up = sizeof(T) == 4 ? T(0x1p100) : T(0x1p1000);

  ORV_INLINE static V eval(V y, V x, unsigned& lanes) {
    V const ay = simd::magnitude(y), ax = simd::magnitude(x);
    V const n = simd::min(ay, ax), d = simd::max(ax, ay); // in this order a NaN of either comes through
    auto const steep = simd::is_above(ay, ax);
    V const sign_x = simd::sign_of(x), sign = simd::keep(steep, V(T(-0.0))) ^ sign_x;
    V const eighths = V(T(2)) - (simd::drop(steep, V(T(2))) ^ sign_x); // 2, else 0 or 4
    V r;
    if constexpr (by_eighths) {
      auto const middle = simd::is_above(n + n, d);
      V const other = simd::keep(middle, n), top = n - simd::keep(middle, d), bottom = d + other;
      V const t = top / bottom, u = t * t, more = eighths + (simd::keep(middle, V(T(1))) ^ sign);
      auto marked = simd::is_unordered(t, t) | simd::is_above(d, V(huge));
      if constexpr (level == Level::HA) {
        V const tiny = parts_of_pi ? simd::min(n, t) : n; // the product with 1 / pi loses bits as well
        marked = marked | (simd::is_less(tiny, V(small)) & simd::is_above(n, V(T(0))));
        V const bottom_low = other - (bottom - d);
        V const error = simd::fnma(t, bottom_low, simd::fnma(t, bottom, top)) / bottom;
        V const tail = simd::fma(t * u, atan_tail<T, level, by_eighths>(u), simd::fnma(error, u, error));
        r = A::sum(more, t ^ sign, tail ^ sign);
      } else {
        r = A::sum(more, simd::fma(t * u, atan_tail<T, level, by_eighths>(u), t) ^ sign);
      }
      lanes = simd::lane_bits(marked);
    } else {
      V const t = n / d, u = t * t;
      lanes = simd::lane_bits(simd::is_unordered(t, t));
      r = A::sum(eighths, simd::fma(t * u, atan_tail<T, level, by_eighths>(u), t) ^ sign);
      if constexpr (parts_of_pi && level == Level::LA)
        r = simd::choose(simd::is_equal(ay, ax), simd::choose(simd::Mask<T>{x}, V(T(0.75)), V(T(0.25))), r);
    }
    return r ^ simd::sign_of(y);
  }
  static int repair(T y, T x, T& r) {
    if (scalar::is_nan(y) || scalar::is_nan(x)) {
      r = scalar::nan_of(y, x);
    } else if (scalar::is_infinite(y) || scalar::is_infinite(x) || (y == T(0) && x == T(0))) {
      // As the limit of points on the axes and diagonals.
      bool const to_y = scalar::is_infinite(y), to_x = scalar::is_infinite(x);
      T angle = scalar::negative(x) ? A::half_turn : T(0);
      if (to_y) angle = 2 * A::eighth;
      if (to_y && to_x) angle = scalar::negative(x) ? 3 * A::eighth : A::eighth;
      r = scalar::with_sign(angle, y);
    } else {
      r = scaled(y, x);
    }
    return ORV_STATUS_OK;
  }

 private:
  // Both by a power of two, to where all steps are exact.
  static T scaled(T y, T x) {
    T const ay = scalar::magnitude(y), ax = scalar::magnitude(x), n = ay < ax ? ay : ax,
            d = ay < ax ? ax : ay;
    bool const steep = ay > ax;
    if (!steep && !scalar::negative(x) && n < T(0x1p-30) * d) return quotient(y, x);
    if (n >= small || n == T(0)) return in_vector(y, x, T(0.0625));
    if (d <= T(1)) return in_vector(y, x, up);
    // The smaller is nothing beside the other: an axis is left.
    return scalar::with_sign(steep ? 2 * A::eighth : A::half_turn, y);
  }
  // An angle that is its tangent.
  static T quotient(T y, T x) {
    if (!parts_of_pi) return scalar::opaque(y) / x;
    T const factor = scalar::magnitude(y) < T(0x1p20) ? up : T(1);
    T const m = scalar::opaque(y) * factor, q = m / x, error = scalar::fma(-q, x, m) / x;
    return scalar::with_sign(scalar::opaque(A::in_parts_of_pi(q, error)) * (T(1) / factor), y);
  }
  static T in_vector(T y, T x, T factor) {
    alignas(32) T lane[V::lanes];
    unsigned ignored;
    simd::store(lane, eval(V(scalar::opaque(y) * factor), V(scalar::opaque(x) * factor), ignored));
    return lane[0];
  }
};

} // namespace orv::inverse
