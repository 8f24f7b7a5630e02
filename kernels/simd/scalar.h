// Scalar helpers of the repairs: bits, fused steps, and results that raise their flag. A repair never calls
// the system's mathematics library: its result must not change with the platform.
#pragma once
#include "kernels/simd/vector.h"
#include "orv/mode.h"

namespace orv::scalar {

using simd::Format;
using simd::SignedOf;
using simd::UnsignedOf;

template <class T>
ORV_INLINE UnsignedOf<T> bits(T x) {
  return std::bit_cast<UnsignedOf<T>>(x);
}
template <class T>
ORV_INLINE T from_bits(UnsignedOf<T> x) {
  return std::bit_cast<T>(x);
}
template <class T>
ORV_INLINE T magnitude(T x) {
  return from_bits<T>(bits(x) & ~simd::sign_mask<T>);
}
template <class T>
ORV_INLINE bool negative(T x) {
  return (bits(x) & simd::sign_mask<T>) != 0;
}
// The sign of `s` on the magnitude of x.
template <class T>
ORV_INLINE T with_sign(T x, T s) {
  return from_bits<T>((bits(x) & ~simd::sign_mask<T>) | (bits(s) & simd::sign_mask<T>));
}
template <class T>
ORV_INLINE int biased_exponent(T x) {
  return static_cast<int>((bits(x) & simd::exponent_mask<T>) >> Format<T>::mantissa_bits);
}
template <class T>
constexpr int top_exponent = 2 * Format<T>::bias + 1; // of infinities and NaN
template <class T>
ORV_INLINE bool not_finite(T x) {
  return biased_exponent(x) == top_exponent<T>;
}
template <class T>
ORV_INLINE bool is_nan(T x) {
  return (bits(x) & ~simd::sign_mask<T>) > simd::exponent_mask<T>;
}
template <class T>
ORV_INLINE bool is_infinite(T x) {
  return (bits(x) & ~simd::sign_mask<T>) == simd::exponent_mask<T>;
}

ORV_INLINE double fma(double a, double b, double c) { return __builtin_fma(a, b, c); }
ORV_INLINE float fma(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
ORV_INLINE double fms(double a, double b, double c) { return __builtin_fma(a, b, -c); }
ORV_INLINE double sqrt(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_set_sd(x), _mm_set_sd(x))); }
ORV_INLINE float sqrt(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }

// A value that the compiler knows nothing about: what is computed from it happens at run time.
template <class T>
ORV_INLINE T opaque(T x) {
  __asm__ volatile("" : "+x"(x));
  return x;
}
// Results made by an operation that raises their flag.
template <class T>
ORV_INLINE T overflowed() {
  T const x = opaque(Format<T>::largest);
  return x * x;
}
template <class T>
ORV_INLINE T underflowed() {
  T const x = opaque(Format<T>::smallest_normal);
  return x * x;
}
template <class T>
ORV_INLINE T pole() {
  return opaque(T(1)) / opaque(T(0));
}
template <class T>
ORV_INLINE T invalid() {
  return opaque(T(0)) / opaque(T(0));
}
// x as it is, a signalling NaN made quiet.
template <class T>
ORV_INLINE T quiet(T x) {
  return opaque(x) * T(1);
}

// What an operation on a and b gives where one is NaN: a's if it is one, else b's, quiet. Of two NaN a compiler may
// put either first into an instruction, and the instruction takes the first.
template <class T>
ORV_INLINE T nan_of(T a, T b) {
  return quiet(is_nan(a) ? a : b);
}

// 2^n for an n in the normal range.
template <class T>
ORV_INLINE T power_of_two(int n) {
  return from_bits<T>(static_cast<UnsignedOf<T>>(n + Format<T>::bias) << Format<T>::mantissa_bits);
}

// Horner's scheme, coefficients from the low degree up, each step fused.
template <class T, class C>
ORV_INLINE T horner(T, C last) {
  return static_cast<T>(last);
}
template <class T, class C, class... More>
ORV_INLINE T horner(T x, C first, More... rest) {
  return fma(x, horner(x, rest...), static_cast<T>(first));
}

// Unevaluated sums of two values, for repairs that need more than the working precision.
template <class T>
struct Two {
  T hi, lo;
};
template <class T>
ORV_INLINE Two<T> two_sum(T a, T b) {
  T const s = a + b, t = s - a;
  return {s, (a - (s - t)) + (b - t)};
}
template <class T>
ORV_INLINE Two<T> fast_two_sum(T a, T b) { // |a| >= |b|
  T const s = a + b;
  return {s, b - (s - a)};
}
template <class T>
ORV_INLINE Two<T> two_product(T a, T b) {
  T const p = a * b;
  return {p, fma(a, b, -p)};
}

} // namespace orv::scalar
