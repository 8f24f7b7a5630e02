// What Asinh, Acosh and Atanh share: each is ln(1 + t), or half of it, for a t that HA carries in two terms
// (kernels/log/one_plus.h). Above 2^30 t is twice the argument; arguments whose double has no logarithm in
// the vector go to the repair.
#pragma once
#include "kernels/log/one_plus.h"
#include "orv/mode.h"

namespace orv::hyperbolic {

using simd::D;
using simd::F;
using simd::Vec;

template <class T>
inline constexpr T too_large = sizeof(T) == 4 ? T(0x1p126) : T(0x1p1010);

template <Level level, class T>
ORV_INLINE Vec<T> ln_one_plus(Vec<T> t, Vec<T> t_low) {
  auto x = logarithm::one_plus(t);
  if constexpr (level == Level::HA) x.c = x.c + t_low;
  return logarithm::ln_of_sum<level>(x);
}

// ln 2a of a large a.
template <class T>
inline T ln_of_double(T a) {
  logarithm::Log const l = logarithm::log_parts(static_cast<double>(a));
  double const e = l.e + 1;
  auto const sum = scalar::two_sum(e * 0.6931471805598903, l.hi);
  return static_cast<T>(sum.hi + (sum.lo + scalar::fma(e, 5.497923018708371e-14, l.lo)));
}

} // namespace orv::hyperbolic
