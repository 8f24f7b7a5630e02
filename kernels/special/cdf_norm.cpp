// CdfNorm: the distribution function of the standard normal distribution, erfc(-x / sqrt 2) / 2; status 4 where the
// result is below the normal range. Method: kernels/special/grid.h and tail.h, steps of 1/64 in x; beyond the grid
// exp(-x^2 / 2) and the asymptotic series.
#include "kernels/special/tail.h"

namespace orv {
namespace {

using namespace special;

struct CdfNormGrid {
  static constexpr bool mirrored = true;
  static constexpr int steps = 64;
  static constexpr float slope_factor = 1, curvature = 0.5f, whole = 1;
  static constexpr auto& rows_s = cdf_norm_rows_s;
  static constexpr auto& rows_d = cdf_norm_rows_d;
  template <class T, Level level>
  static constexpr T limit = sizeof(T) == 4 ? T(12.9499527) : T(level == Level::HA ? 36.375 : 37.5);
  template <class T>
  static constexpr T zero = sizeof(T) == 4 ? T(14.1701855) : T(38.48540832782138);
  template <bool single, Level level>
  ORV_INLINE static D tail_of(D q, D s) {
    if constexpr (single) return moments<0, 6, 2, 0>(q, s);
    if constexpr (level == Level::LA) return moments<0, 11, 8, 5, 1>(q, s);
    if constexpr (level == Level::HA) return moments<0, 13, 10, 6, 3>(q, s);
    return moments<0, 6, 3, 1>(q, s);
  }
  static exponential::Scaled tail(double a) {
    double const h = a * a;
    return gaussian_tail(0.5 * h, 0.5 * scalar::fma(a, a, -h), 0.3989422804014327, -2.49232720227773e-17, a,
                         asymptotic(1 / h));
  }
};

template <class T, Level level>
using CdfNorm = FallingTail<T, level, CdfNormGrid>;

} // namespace
} // namespace orv

ORV_KERNEL(CdfNorm, orv::CdfNorm);
