// Sqrt of complex numbers: m = sqrt((|a| + |z|) / 2) and w = |b| / (2 m); the larger one, m, is the real part where a is not
// negative, else the imaginary part, which has the sign of b. HA in single precision takes double, in double precision
// the remainders of the three roots and the quotient. Squares far from 1 are left to long double, and the special values
// of Annex G of ISO C, without a report.
#include "kernels/complex/parts.h"
#include "kernels/complex/x87_frame.h"
#include "kernels/pow/hypot.h"

namespace orv {
namespace {

using namespace complex;

template <class T>
struct Halves {
  Vec<T> m, w;
};

template <class T>
ORV_INLINE Halves<T> roots(Vec<T> x, Vec<T> y) {
  Vec<T> const half(T(0.5)), modulus = simd::sqrt(simd::fma(x, x, y * y)), m = simd::sqrt(half * (x + modulus));
  return {m, y * half / m};
}
ORV_INLINE Halves<double> corrected_roots(D x, D y) {
  D const half(0.5);
  auto const q = power::squares_in_two(x, y);
  D const modulus = simd::sqrt(q.q), y1 = half * power::reciprocal_seed(modulus);
  D const modulus_low = (simd::fnma(modulus, modulus, q.q) + q.low) * y1;
  D const sum = modulus + x, sum_low = ((modulus - sum) + x) + modulus_low; // x is at most the modulus, nearly
  D const t = half * sum, m = simd::sqrt(t), inverse = half / m;
  D const m_low = simd::fma(half, sum_low, simd::fnma(m, m, t)) * inverse;
  D const w = y * inverse, twice = m + m;
  D const rest = simd::fnma(w + w, m_low, simd::fnma(w, twice, y));
  return {m + m_low, simd::fma(rest, inverse, w)};
}

template <class T, Level level>
struct Sqrt {
  using Operand = Complex<T>;
  using Result = Complex<T>;
  using V = ComplexVec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V z, unsigned& lanes) const {
    Vec<T> const x = simd::magnitude(z.re), y = simd::magnitude(z.im), size = simd::max(x, y);
    Halves<T> h;
    if constexpr (level != Level::HA) {
      h = roots(x, y);
    } else if constexpr (sizeof(T) == 4) {
      auto const wx = simd::widen(x), wy = simd::widen(y);
      auto const low = roots(wx.low, wy.low), high = roots(wx.high, wy.high);
      h = {simd::narrow({low.m, high.m}), simd::narrow({low.w, high.w})};
    } else {
      h = corrected_roots(x, y);
    }
    lanes = outside(size, simd::min(y, x));
    auto const left = simd::Mask<T>{z.re};
    return {simd::choose(left, h.w, h.m), simd::choose(left, h.m, h.w) ^ simd::sign_of(z.im)};
  }
  int repair(Complex<T> z, Complex<T>& r) const {
    X87Precision const precision;
    __asm__ volatile("" : "+m"(z));
    Long const x = z.re, y = z.im;
    if (complex::is_infinite(y)) {
      r = {narrow<T>(infinity), z.im};
    } else if (is_nan(x) || is_nan(y) || complex::is_infinite(x)) {
      Long const n = is_nan(y) ? y : is_nan(x) ? x : 0.0L;
      Long const re = x == infinity ? x : x == -infinity ? magnitude(n) : n;
      Long const im = x == infinity ? (is_nan(y) ? n : with_sign(0, y)) : x == -infinity ? with_sign(infinity, y) : n;
      r = {narrow<T>(is_nan(n) && x == -infinity ? n : re), narrow<T>(im)};
    } else {
      Long const a = magnitude(x), b = magnitude(y), m = root((a + root(a * a + b * b)) / 2);
      Long const w = m == 0 ? 0 : b / (2 * m);
      r = {narrow<T>(negative(x) ? w : m), narrow<T>(with_sign(negative(x) ? m : w, y))};
    }
    return ORV_STATUS_OK;
  }

 private:
  // By the larger part; the smaller one, where it is not 0, is big enough for a normal quotient.
  ORV_INLINE static unsigned outside(Vec<T> big, Vec<T> small) {
    constexpr T tiny = sizeof(T) == 4 ? T(0x1p-60) : T(0x1p-480), huge = sizeof(T) == 4 ? T(0x1p60) : T(0x1p480);
    auto const usual = simd::is_at_least(big, Vec<T>(tiny)) & simd::is_less(big, Vec<T>(huge));
    constexpr T least = sizeof(T) == 4 ? T(0x1p-90) : T(0x1p-700);
    auto const lost = simd::is_less(small, Vec<T>(least)) & simd::is_above(small, Vec<T>(T(0)));
    return (simd::lane_bits(usual) ^ ((1u << Vec<T>::lanes) - 1)) | simd::lane_bits(lost) |
           simd::lane_bits(simd::is_unordered(big, small));
  }
};

} // namespace
} // namespace orv

ORV_TYPED_KERNEL(c, float, Sqrt, orv::Sqrt);
ORV_TYPED_KERNEL(z, double, Sqrt, orv::Sqrt);
