// What the exponential functions share: tables of 2^(j/K), the split of an argument, and the scalar
// exponential of the repairs.
//
//   x = k * (ln 2 / K) + r,  k = m * K + j,  e^x = 2^m * 2^(j/K) * e^r
//
// k comes from adding and subtracting a shifter: the low bits of the sum are k as an integer. P. T. P. Tang,
// "Table-driven implementation of the exponential function in IEEE floating-point arithmetic", ACM TOMS 15 (1989).
#pragma once
#include "kernels/simd/lookup.h"
#include "kernels/simd/scalar.h"

namespace orv::exponential {

using simd::Bits;
using simd::D;
using simd::F;
using simd::Format;
using simd::Pair;
using simd::Vec;

#include "kernels/exp/tables.inc"

// Limits of an exponential function: a result is infinite above `overflow` and zero below `zero`.
template <class T>
struct Limits {
  T overflow, zero;
};
template <class T>
inline constexpr Limits<T> exp_limits = {
    static_cast<T>(sizeof(T) == 4 ? 88.72283172607422 : 709.782712893384),
    static_cast<T>(sizeof(T) == 4 ? -103.97207641601562 : -745.1332191019411)};

// ---- scalar ----

// (hi + lo) * 2^m, with hi in [1, 2).
struct Scaled {
  double hi, lo;
  int m;
};

ORV_INLINE Scaled from_table64(int k, double q) {
  Pair<double> const t = table_d64[k & 63];
  return {t.hi, scalar::fma(t.hi, q, t.lo), k >> 6};
}

// e^x, |x| up to 1000.
inline Scaled exp_scaled(double x) {
  constexpr double shifter = 6755399441055744.0;
  double const sum = scalar::opaque(scalar::fma(x, 92.33248261689366, shifter));
  auto const k = static_cast<int>(static_cast<uint32_t>(scalar::bits(sum)));
  double const n = sum - shifter;
  double const r = scalar::fma(-n, 2.572804622327669e-14, scalar::fma(-n, 0.010830424696223417, x));
  double const q = scalar::fma(r * r, scalar::horner(r, 0.5, 1.0 / 6, 1.0 / 24, 1.0 / 120, 1.0 / 720), r);
  return from_table64(k, q);
}

// 2^x, |x| up to 2000.
inline Scaled exp2_scaled(double x) {
  constexpr double shifter = 105553116266496.0;
  double const sum = scalar::opaque(x + shifter);
  auto const k = static_cast<int>(static_cast<uint32_t>(scalar::bits(sum)));
  double const r = x - (sum - shifter);
  return from_table64(k, r * scalar::horner(r, 0.6931471805599453, 0.24022650695884967, 0.05550410866607508,
                                            0.009618142269653759, 0.0013333417185814622));
}

// 10^x, |x| up to 500.
inline Scaled exp10_scaled(double x) {
  constexpr double shifter = 6755399441055744.0;
  double const sum = scalar::opaque(scalar::fma(x, 425.20679614558236, shifter));
  auto const k = static_cast<int>(static_cast<uint32_t>(scalar::bits(sum)));
  double const n = sum - shifter;
  double const r = scalar::fma(-n, -1.487744411497209e-14, scalar::fma(-n, 0.0023517968411397305, x));
  double const q = r * scalar::horner(r, 2.302585092994046, 2.650949055239026, 2.0346785917911965,
                                      1.1712555494866221, 0.5396424512945068);
  Pair<double> const t = table_d128[k & 127];
  return {t.hi, scalar::fma(t.hi, q, t.lo), k >> 7};
}

// Scales with one rounding at most behind that of v, in two steps where 2^m alone is out of range.
template <class T>
ORV_INLINE T scale(T v, int m) {
  constexpr int edge = Format<T>::bias - 3;
  if (m > edge) return v * scalar::power_of_two<T>(m - 1) * T(2);
  if (m < -edge) return v * scalar::power_of_two<T>(m + 60) * scalar::power_of_two<T>(-60);
  return v * scalar::power_of_two<T>(m);
}

// The status that goes with a result: it follows the result, not the argument.
template <class T>
ORV_INLINE int status_of(T r) {
  if (scalar::is_infinite(r)) return ORV_STATUS_OVERFLOW;
  return r < Format<T>::smallest_normal ? ORV_STATUS_UNDERFLOW : ORV_STATUS_OK;
}

ORV_INLINE int deliver(Scaled const& s, double& r) {
  r = scale(s.hi + s.lo, s.m);
  return status_of(r);
}
// A double holds the whole range of float results: one rounding, by the conversion.
ORV_INLINE int deliver(Scaled const& s, float& r) {
  r = static_cast<float>(scalar::opaque(scale(s.hi + s.lo, s.m)));
  return status_of(r);
}

// The repair of an exponential function: what is beyond the limits, else `compute`.
template <class T, class Compute>
ORV_INLINE int repair(T x, T& r, Limits<T> const& limits, bool at_limits, Compute compute) {
  if (scalar::not_finite(x)) {
    r = x == -__builtin_inf() ? T(0) : scalar::opaque(x) * x;
    return ORV_STATUS_OK;
  }
  if (x > limits.overflow || (at_limits && x == limits.overflow)) {
    r = scalar::overflowed<T>();
    return ORV_STATUS_OVERFLOW;
  }
  if (x < limits.zero || (at_limits && x == limits.zero)) {
    r = scalar::underflowed<T>();
    return ORV_STATUS_UNDERFLOW;
  }
  return compute(x, r);
}

// ---- vector ----

// 2^m 2^(j/4) (1 + s), where the low bits of a sum are j + 4 (m + 127): four table entries in registers, low parts
// relative to the high ones. `s` is what comes behind the 1, but for the low part.
template <class Rest>
ORV_INLINE F times_quarter_power(F sum, Rest rest) {
  F const hi = simd::repeat4(table_s4[0].hi, table_s4[1].hi, table_s4[2].hi, table_s4[3].hi);
  F const lo = simd::repeat4(table_s4[0].lo, table_s4[1].lo, table_s4[2].lo, table_s4[3].lo);
  Bits<float> const index = simd::bits(sum);
  F const power = simd::from_bits(simd::shift_left<21>(index) & Bits<float>(0x7F800000));
  F const m = power * simd::pick4(hi, index);
  return simd::fma(rest(simd::pick4(lo, index)), m, m);
}

// |x| above a limit, or NaN: by the bit patterns as signed integers; in `d` by the upper words, which makes
// `limit` a multiple of 2^-20 of its leading bit.
ORV_INLINE unsigned beyond(F x, float limit) {
  return simd::lane_mask(simd::greater(simd::bits(simd::magnitude(x)), Bits<float>(scalar::bits(limit))));
}
ORV_INLINE unsigned beyond_upper(D x, int32_t upper) {
  return simd::lane_mask(simd::greater_upper(simd::bits(simd::magnitude(x)), upper));
}
// The same by a compare of floating-point values that is true on unordered.
template <class T>
ORV_INLINE unsigned beyond_or_nan(Vec<T> x, T limit) {
  return simd::lane_mask(simd::compare<_CMP_NLE_UQ>(simd::magnitude(x), Vec<T>(limit)));
}

} // namespace orv::exponential
