// Results as 32-bit integers, saturated.
#pragma once
#include "distributions/draw.h"

namespace orv::distributions {

inline constexpr double largest_result = 2147483647;
inline constexpr float largest_float_result = 2147483520; // the float below 2^31

inline int32_t to_int(double x) {
  return _mm_cvttsd_si32(_mm_set_sd(x > largest_result ? largest_result : x));
}

} // namespace orv::distributions
