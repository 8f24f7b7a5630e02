// Erfc, without cancellation: status 4 where the result is below the normal range. Method: kernels/special/grid.h and
// tail.h, steps of 1/64; beyond the grid exp(-a^2) and the asymptotic series.
#include "kernels/special/tail.h"

namespace orv {
namespace {

using namespace special;

struct ErfcGrid {
  static constexpr bool mirrored = false;
  static constexpr int steps = 64;
  static constexpr float slope_factor = 2, curvature = 1, whole = 2;
  static constexpr auto& rows_s = erfc_rows_s;
  static constexpr auto& rows_d = erfc_rows_d;
  // Where low parts of rows are whole at HA; the last normal result, and in `d` a row before that.
  template <class T, Level level>
  static constexpr T limit = sizeof(T) == 4 ? T(9.19454945) : T(level == Level::HA ? 25.734375 : 26.5390625);
  template <class T>
  static constexpr T zero = sizeof(T) == 4 ? T(10.0541949) : T(27.226017111108366);
  template <bool single, Level level>
  ORV_INLINE static D tail_of(D q, D s) {
    if constexpr (single) return moments<0, 6, 2, 0>(q, s);
    if constexpr (level == Level::LA) return moments<0, 12, 10, 6, 2>(q, s);
    if constexpr (level == Level::HA) return moments<0, 14, 11, 8, 4, 1>(q, s);
    return moments<0, 7, 3, 1>(q, s);
  }
  static exponential::Scaled tail(double a) {
    double const h = a * a;
    return gaussian_tail(h, scalar::fma(a, a, -h), 0.5641895835477563, 7.66772980658294e-18, a,
                         asymptotic(0.5 / h));
  }
};

template <class T, Level level>
using Erfc = FallingTail<T, level, ErfcGrid>;

} // namespace
} // namespace orv

ORV_KERNEL(Erfc, orv::Erfc);
