// 256-bit vectors of one element type, with named operations and the element type as the only parameter,
// so that single and double precision kernels are one template.
//
// Vec<T>   lanes of float or double
// Bits<T>  integer lanes of the same width; compares give all ones or zero in a lane
// Mask<T>  a condition for each lane
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <immintrin.h>
#include <type_traits>

#define ORV_INLINE [[gnu::always_inline]] inline

namespace orv::simd {

// The integer of a type's width.
template <class T>
using SignedOf = std::conditional_t<sizeof(T) == 4, int32_t, int64_t>;
template <class T>
using UnsignedOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

template <class T>
struct Format; // of IEEE 754
template <>
struct Format<float> {
  static constexpr int mantissa_bits = 23, bias = 127;
  static constexpr float smallest_normal = 0x1p-126f, largest = 0x1.fffffep127f;
};
template <>
struct Format<double> {
  static constexpr int mantissa_bits = 52, bias = 1023;
  static constexpr double smallest_normal = 0x1p-1022, largest = 0x1.fffffffffffffp1023;
};
template <class T>
constexpr UnsignedOf<T> sign_mask = UnsignedOf<T>{1} << (8 * sizeof(T) - 1);
template <class T>
constexpr UnsignedOf<T> mantissa_mask = (UnsignedOf<T>{1} << Format<T>::mantissa_bits) - 1;
template <class T>
constexpr UnsignedOf<T> exponent_mask = ~(sign_mask<T> | mantissa_mask<T>);

// ---- integer lanes ----
template <class T>
struct Bits {
  __m256i v;
  using Lane = SignedOf<T>;
  static constexpr int lanes = 32 / static_cast<int>(sizeof(T));
  Bits() = default;
  ORV_INLINE Bits(__m256i x) : v(x) {}
  template <class I>
  requires std::is_integral_v<I> ORV_INLINE Bits(I x) {
    if constexpr (sizeof(T) == 4)
      v = _mm256_set1_epi32(static_cast<int32_t>(x));
    else
      v = _mm256_set1_epi64x(static_cast<int64_t>(x));
  }
};

template <class T>
ORV_INLINE Bits<T> operator+(Bits<T> a, Bits<T> b) {
  if constexpr (sizeof(T) == 4)
    return _mm256_add_epi32(a.v, b.v);
  else
    return _mm256_add_epi64(a.v, b.v);
}
template <class T>
ORV_INLINE Bits<T> operator-(Bits<T> a, Bits<T> b) {
  if constexpr (sizeof(T) == 4)
    return _mm256_sub_epi32(a.v, b.v);
  else
    return _mm256_sub_epi64(a.v, b.v);
}
template <class T>
ORV_INLINE Bits<T> operator&(Bits<T> a, Bits<T> b) {
  return _mm256_and_si256(a.v, b.v);
}
template <class T>
ORV_INLINE Bits<T> operator|(Bits<T> a, Bits<T> b) {
  return _mm256_or_si256(a.v, b.v);
}
template <class T>
ORV_INLINE Bits<T> operator^(Bits<T> a, Bits<T> b) {
  return _mm256_xor_si256(a.v, b.v);
}
// b without the bits of a
template <class T>
ORV_INLINE Bits<T> andnot(Bits<T> a, Bits<T> b) {
  return _mm256_andnot_si256(a.v, b.v);
}
template <int n, class T>
ORV_INLINE Bits<T> shift_left(Bits<T> a) {
  if constexpr (sizeof(T) == 4)
    return _mm256_slli_epi32(a.v, n);
  else
    return _mm256_slli_epi64(a.v, n);
}
template <int n, class T>
ORV_INLINE Bits<T> shift_right(Bits<T> a) { // logical
  if constexpr (sizeof(T) == 4)
    return _mm256_srli_epi32(a.v, n);
  else
    return _mm256_srli_epi64(a.v, n);
}
// By a count for each lane; 0 from the lane's width on.
template <class T>
ORV_INLINE Bits<T> shift_left(Bits<T> a, Bits<T> n) {
  if constexpr (sizeof(T) == 4)
    return _mm256_sllv_epi32(a.v, n.v);
  else
    return _mm256_sllv_epi64(a.v, n.v);
}
template <class T>
ORV_INLINE Bits<T> shift_right(Bits<T> a, Bits<T> n) { // logical
  if constexpr (sizeof(T) == 4)
    return _mm256_srlv_epi32(a.v, n.v);
  else
    return _mm256_srlv_epi64(a.v, n.v);
}
// Of the lower 32 bits of each lane, unsigned, to 64.
ORV_INLINE Bits<double> multiply_low(Bits<double> a, Bits<double> b) { return _mm256_mul_epu32(a.v, b.v); }
// Two 32-bit lanes as one lane of 64: the even one below.
ORV_INLINE Bits<double> pairs(Bits<float> a) { return a.v; }
// The sign bit in all bits of the lane.
ORV_INLINE Bits<float> spread_sign(Bits<float> a) { return _mm256_srai_epi32(a.v, 31); }
ORV_INLINE Bits<double> spread_sign(Bits<double> a) {
  return _mm256_srai_epi32(_mm256_shuffle_epi32(a.v, 0xF5), 31);
}
ORV_INLINE Bits<float> shift_right_signed(Bits<float> a, int n) { return _mm256_srai_epi32(a.v, n); }
// Signed compare of 32-bit lanes. As an instruction, since the compiler turns the intrinsic function into a minimum
// and a test for equality where the constant next to b is easier for it to make.
ORV_INLINE __m256i greater32(__m256i a, __m256i b) {
  __m256i r;
  __asm__("vpcmpgtd\t%2, %1, %0" : "=x"(r) : "x"(a), "xm"(b));
  return r;
}
template <class T>
ORV_INLINE Bits<T> greater(Bits<T> a, Bits<T> b) { // signed
  if constexpr (sizeof(T) == 4)
    return greater32(a.v, b.v);
  else
    return _mm256_cmpgt_epi64(a.v, b.v);
}
// Signed compare of the upper 32 bits of 64-bit lanes: cheaper than a compare of the whole. The result is
// valid in the sign bit of each lane only.
ORV_INLINE Bits<double> greater_upper(Bits<double> a, int32_t upper) {
  return greater32(a.v, _mm256_set1_epi32(upper));
}
// Lanes whose bits, read as unsigned numbers, are not in first to last; in `d` by the upper 32 bits, and valid in
// the sign bit of each lane only.
template <class T>
ORV_INLINE Bits<T> outside(Bits<T> a, uint32_t first, uint32_t last) {
  constexpr uint32_t turn = 0x80000000; // to signed numbers
  return greater32(_mm256_sub_epi32(a.v, _mm256_set1_epi32(static_cast<int32_t>(first + turn))),
                   _mm256_set1_epi32(static_cast<int32_t>(last - first + turn)));
}
template <class T>
ORV_INLINE Bits<T> equal(Bits<T> a, Bits<T> b) {
  if constexpr (sizeof(T) == 4)
    return _mm256_cmpeq_epi32(a.v, b.v);
  else
    return _mm256_cmpeq_epi64(a.v, b.v);
}

// ---- floating-point lanes ----
template <class T>
struct Vec;
template <>
struct Vec<float> {
  __m256 v;
  using Lane = float;
  static constexpr int lanes = 8;
  Vec() = default;
  ORV_INLINE Vec(__m256 x) : v(x) {}
  ORV_INLINE Vec(float x) : v(_mm256_set1_ps(x)) {}
};
template <>
struct Vec<double> {
  __m256d v;
  using Lane = double;
  static constexpr int lanes = 4;
  Vec() = default;
  ORV_INLINE Vec(__m256d x) : v(x) {}
  ORV_INLINE Vec(double x) : v(_mm256_set1_pd(x)) {}
};
using F = Vec<float>;
using D = Vec<double>;

ORV_INLINE F operator+(F a, F b) { return _mm256_add_ps(a.v, b.v); }
ORV_INLINE D operator+(D a, D b) { return _mm256_add_pd(a.v, b.v); }
ORV_INLINE F operator-(F a, F b) { return _mm256_sub_ps(a.v, b.v); }
ORV_INLINE D operator-(D a, D b) { return _mm256_sub_pd(a.v, b.v); }
ORV_INLINE F operator*(F a, F b) { return _mm256_mul_ps(a.v, b.v); }
ORV_INLINE D operator*(D a, D b) { return _mm256_mul_pd(a.v, b.v); }
ORV_INLINE F operator/(F a, F b) { return _mm256_div_ps(a.v, b.v); }
ORV_INLINE D operator/(D a, D b) { return _mm256_div_pd(a.v, b.v); }
// Sum and product with the operands in this order in the instruction: of two NaN it takes the first. The compiler
// may swap those of + and *, each copy of a loop body its own way.
ORV_INLINE F ordered_add(F a, F b) {
  F r;
  __asm__("vaddps\t%2, %1, %0" : "=x"(r.v) : "x"(a.v), "xm"(b.v));
  return r;
}
ORV_INLINE D ordered_add(D a, D b) {
  D r;
  __asm__("vaddpd\t%2, %1, %0" : "=x"(r.v) : "x"(a.v), "xm"(b.v));
  return r;
}
ORV_INLINE F ordered_multiply(F a, F b) {
  F r;
  __asm__("vmulps\t%2, %1, %0" : "=x"(r.v) : "x"(a.v), "xm"(b.v));
  return r;
}
ORV_INLINE D ordered_multiply(D a, D b) {
  D r;
  __asm__("vmulpd\t%2, %1, %0" : "=x"(r.v) : "x"(a.v), "xm"(b.v));
  return r;
}
// a * b + c, a * b - c, c - a * b, each rounded once
ORV_INLINE F fma(F a, F b, F c) { return _mm256_fmadd_ps(a.v, b.v, c.v); }
ORV_INLINE D fma(D a, D b, D c) { return _mm256_fmadd_pd(a.v, b.v, c.v); }
ORV_INLINE F fms(F a, F b, F c) { return _mm256_fmsub_ps(a.v, b.v, c.v); }
ORV_INLINE D fms(D a, D b, D c) { return _mm256_fmsub_pd(a.v, b.v, c.v); }
ORV_INLINE F fnma(F a, F b, F c) { return _mm256_fnmadd_ps(a.v, b.v, c.v); }
ORV_INLINE D fnma(D a, D b, D c) { return _mm256_fnmadd_pd(a.v, b.v, c.v); }
ORV_INLINE F sqrt(F a) { return _mm256_sqrt_ps(a.v); }
ORV_INLINE D sqrt(D a) { return _mm256_sqrt_pd(a.v); }
// The hardware's rule: b where the operands are equal or one is NaN.
ORV_INLINE F max(F a, F b) { return _mm256_max_ps(a.v, b.v); }
ORV_INLINE D max(D a, D b) { return _mm256_max_pd(a.v, b.v); }
ORV_INLINE F min(F a, F b) { return _mm256_min_ps(a.v, b.v); }
ORV_INLINE D min(D a, D b) { return _mm256_min_pd(a.v, b.v); }
// About 12 bits; the bits differ between makers of processors.
ORV_INLINE F approximate_reciprocal(F a) { return _mm256_rcp_ps(a.v); }
ORV_INLINE F approximate_rsqrt(F a) { return _mm256_rsqrt_ps(a.v); }

// Zero that the compiler knows nothing about: x + 0 is computed.
template <class T>
ORV_INLINE Vec<T> launder_zero() {
  Vec<T> zero(T(0));
  __asm__("" : "+x"(zero.v));
  return zero;
}

template <int mode>
ORV_INLINE F round(F a) {
  return _mm256_round_ps(a.v, mode);
}
template <int mode>
ORV_INLINE D round(D a) {
  return _mm256_round_pd(a.v, mode);
}

ORV_INLINE Bits<float> bits(F a) { return _mm256_castps_si256(a.v); }
ORV_INLINE Bits<double> bits(D a) { return _mm256_castpd_si256(a.v); }
ORV_INLINE F from_bits(Bits<float> a) { return _mm256_castsi256_ps(a.v); }
ORV_INLINE D from_bits(Bits<double> a) { return _mm256_castsi256_pd(a.v); }

template <class T>
ORV_INLINE Vec<T> magnitude(Vec<T> a) {
  return from_bits(bits(a) & Bits<T>(~sign_mask<T>));
}
template <class T>
ORV_INLINE Vec<T> sign_of(Vec<T> a) {
  return from_bits(bits(a) & Bits<T>(sign_mask<T>));
}
template <class T>
ORV_INLINE Vec<T> operator|(Vec<T> a, Vec<T> b) {
  return from_bits(bits(a) | bits(b));
}
template <class T>
ORV_INLINE Vec<T> operator^(Vec<T> a, Vec<T> b) {
  return from_bits(bits(a) ^ bits(b));
}
template <class T>
ORV_INLINE Vec<T> operator&(Vec<T> a, Vec<T> b) {
  return from_bits(bits(a) & bits(b));
}

// Compares: all ones where true. predicate is one of _CMP_...
template <int predicate>
ORV_INLINE F compare(F a, F b) {
  return _mm256_cmp_ps(a.v, b.v, predicate);
}
template <int predicate>
ORV_INLINE D compare(D a, D b) {
  return _mm256_cmp_pd(a.v, b.v, predicate);
}

template <class T>
struct Mask {
  Vec<T> v;
  ORV_INLINE friend Mask operator&(Mask a, Mask b) { return {a.v & b.v}; }
  ORV_INLINE friend Mask operator|(Mask a, Mask b) { return {a.v | b.v}; }
};
// False where an operand is NaN; `not_at_most` and `not_less` are true there.
template <class T>
ORV_INLINE Mask<T> is_equal(Vec<T> a, Vec<T> b) {
  return {compare<_CMP_EQ_OQ>(a, b)};
}
template <class T>
ORV_INLINE Mask<T> is_less(Vec<T> a, Vec<T> b) {
  return {compare<_CMP_LT_OQ>(a, b)};
}
template <class T>
ORV_INLINE Mask<T> is_at_least(Vec<T> a, Vec<T> b) {
  return {compare<_CMP_GE_OQ>(a, b)};
}
template <class T>
ORV_INLINE Mask<T> is_above(Vec<T> a, Vec<T> b) {
  return {compare<_CMP_GT_OQ>(a, b)};
}
template <class T>
ORV_INLINE Mask<T> not_at_most(Vec<T> a, Vec<T> b) {
  return {compare<_CMP_NLE_UQ>(a, b)};
}
template <class T>
ORV_INLINE Mask<T> not_less(Vec<T> a, Vec<T> b) {
  return {compare<_CMP_NLT_UQ>(a, b)};
}
template <class T>
ORV_INLINE Mask<T> is_unordered(Vec<T> a, Vec<T> b) {
  return {compare<_CMP_UNORD_Q>(a, b)};
}
// By the lowest bit of an integer.
template <class T>
ORV_INLINE Mask<T> is_odd(Bits<T> a) {
  return {from_bits(shift_left<8 * sizeof(T) - 1>(a))}; // valid in the sign bits, which choose() looks at
}
ORV_INLINE F choose(Mask<float> m, F yes, F no) { return _mm256_blendv_ps(no.v, yes.v, m.v.v); }
ORV_INLINE D choose(Mask<double> m, D yes, D no) { return _mm256_blendv_pd(no.v, yes.v, m.v.v); }
// a, or +0 where the condition is false; not for a mask of is_odd
template <class T>
ORV_INLINE Vec<T> keep(Mask<T> m, Vec<T> a) {
  return m.v & a;
}
// a, or +0 where it is true. Both cost one step where a choice costs up to three.
template <class T>
ORV_INLINE Vec<T> drop(Mask<T> m, Vec<T> a) {
  return from_bits(andnot(bits(m.v), bits(a)));
}
// One bit for each lane.
ORV_INLINE unsigned lane_bits(Mask<float> m) { return static_cast<unsigned>(_mm256_movemask_ps(m.v.v)); }
ORV_INLINE unsigned lane_bits(Mask<double> m) { return static_cast<unsigned>(_mm256_movemask_pd(m.v.v)); }

// b where the mask's sign bit is set, else a
ORV_INLINE F blend(F a, F b, F mask) { return _mm256_blendv_ps(a.v, b.v, mask.v); }
ORV_INLINE D blend(D a, D b, D mask) { return _mm256_blendv_pd(a.v, b.v, mask.v); }
// One bit for each lane, from the sign bits.
ORV_INLINE unsigned lane_mask(F a) { return static_cast<unsigned>(_mm256_movemask_ps(a.v)); }
ORV_INLINE unsigned lane_mask(D a) { return static_cast<unsigned>(_mm256_movemask_pd(a.v)); }
template <class T>
ORV_INLINE unsigned lane_mask(Bits<T> a) {
  return lane_mask(from_bits(a));
}

// Lanes whose exponent field is all ones: infinities and NaN; and those where it is all ones or all zero.
template <class T>
ORV_INLINE Bits<T> not_finite(Vec<T> a) {
  Bits<T> const top(exponent_mask<T>);
  return equal(bits(a) & top, top);
}
template <class T>
ORV_INLINE Bits<T> not_normal(Vec<T> a) {
  // One more in such a field leaves its upper bits 0.
  Bits<T> const one(UnsignedOf<T>{1} << Format<T>::mantissa_bits), top(exponent_mask<T>);
  return equal(((bits(a) & top) + one) & andnot(one, top), Bits<T>(0));
}

// ---- float lanes as double ----
struct Wide { // the lower and the upper half of the lanes
  D low, high;
};
ORV_INLINE Wide widen(F a) {
  return {_mm256_cvtps_pd(_mm256_castps256_ps128(a.v)), _mm256_cvtps_pd(_mm256_extractf128_ps(a.v, 1))};
}
ORV_INLINE F narrow(Wide a) { return _mm256_set_m128(_mm256_cvtpd_ps(a.high.v), _mm256_cvtpd_ps(a.low.v)); }
// The even and the odd lanes, each as one vector of doubles, together again.
ORV_INLINE F narrow_even_odd(D even, D odd) {
  __m128 const e = _mm256_cvtpd_ps(even.v), o = _mm256_cvtpd_ps(odd.v);
  return _mm256_set_m128(_mm_unpackhi_ps(e, o), _mm_unpacklo_ps(e, o));
}
// f on both halves
template <class Function>
ORV_INLINE Wide each(Wide a, Function f) {
  return {f(a.low), f(a.high)};
}
template <class Function>
ORV_INLINE Wide each(Wide a, Wide b, Function f) {
  return {f(a.low, b.low), f(a.high, b.high)};
}
template <class Function>
ORV_INLINE Wide each(Wide a, Wide b, Wide c, Function f) {
  return {f(a.low, b.low, c.low), f(a.high, b.high, c.high)};
}

// ---- memory ----
ORV_INLINE F load(const float* p) { return _mm256_loadu_ps(p); }
ORV_INLINE D load(const double* p) { return _mm256_loadu_pd(p); }
ORV_INLINE void store(float* p, F a) { _mm256_storeu_ps(p, a.v); }
ORV_INLINE void store(double* p, D a) { _mm256_storeu_pd(p, a.v); }

// Row m has its first m lanes set.
alignas(32) inline constexpr int32_t first_lanes_window[16] = {-1, -1, -1, -1, -1, -1, -1, -1,
                                                               0,  0,  0,  0,  0,  0,  0,  0};
template <class T>
ORV_INLINE Bits<T> first_lanes(int m) {
  const int32_t* row = first_lanes_window + 8 - m * static_cast<int>(sizeof(T) / 4);
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row));
}
ORV_INLINE F load_part(const float* p, Bits<float> which, F fill) {
  return _mm256_blendv_ps(fill.v, _mm256_maskload_ps(p, which.v), _mm256_castsi256_ps(which.v));
}
ORV_INLINE D load_part(const double* p, Bits<double> which, D fill) {
  return _mm256_blendv_pd(fill.v, _mm256_maskload_pd(p, which.v), _mm256_castsi256_pd(which.v));
}
// Four constants, again and again.
ORV_INLINE F repeat4(float a, float b, float c, float d) { return _mm256_setr_ps(a, b, c, d, a, b, c, d); }
// The real and imaginary part of one complex number in every pair of lanes.
ORV_INLINE F broadcast_pair(const float* p) {
  return _mm256_castpd_ps(_mm256_broadcast_sd(reinterpret_cast<const double*>(p)));
}
ORV_INLINE D broadcast_pair(const double* p) {
  return _mm256_broadcast_pd(reinterpret_cast<const __m128d*>(p));
}
// The first m lanes, in pieces by the bits of m: a load that follows soon can take its value from them, which it
// cannot from a masked store.
ORV_INLINE void store_first(float* p, int m, F a) {
  if (m == F::lanes) return store(p, a);
  __m128 x = _mm256_castps256_ps128(a.v);
  if (m & 4) {
    _mm_storeu_ps(p, x);
    x = _mm256_extractf128_ps(a.v, 1);
    p += 4;
  }
  if (m & 2) {
    _mm_storel_pi(reinterpret_cast<__m64*>(p), x);
    x = _mm_movehl_ps(x, x);
    p += 2;
  }
  if (m & 1) _mm_store_ss(p, x);
}
ORV_INLINE void store_first(double* p, int m, D a) {
  if (m == D::lanes) return store(p, a);
  __m128d x = _mm256_castpd256_pd128(a.v);
  if (m & 2) {
    _mm_storeu_pd(p, x);
    x = _mm256_extractf128_pd(a.v, 1);
    p += 2;
  }
  if (m & 1) _mm_store_sd(p, x);
}

// The even and the odd lanes of two vectors that lie one behind the other.
template <class T>
struct VecTwo {
  Vec<T> first, second;
};
ORV_INLINE VecTwo<float> deinterleave(F a, F b) {
  __m256 const even = _mm256_shuffle_ps(a.v, b.v, 0x88), odd = _mm256_shuffle_ps(a.v, b.v, 0xDD);
  return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(even), 0xD8)),
          _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(odd), 0xD8))};
}
ORV_INLINE VecTwo<double> deinterleave(D a, D b) {
  return {_mm256_permute4x64_pd(_mm256_unpacklo_pd(a.v, b.v), 0xD8),
          _mm256_permute4x64_pd(_mm256_unpackhi_pd(a.v, b.v), 0xD8)};
}

// ---- polynomials ----
// Horner's scheme, coefficients from the low degree up, each step fused.
template <class V, class C>
ORV_INLINE V horner(V, C last) {
  return V(last);
}
template <class V, class C, class... More>
ORV_INLINE V horner(V x, C first, More... rest) {
  return fma(x, horner(x, rest...), V(first));
}

// The same in two chains, of the even and of the odd terms in powers of x^2: half as long a way to the result.
template <class V, std::size_t n>
ORV_INLINE V even_odd(V x, typename V::Lane const (&c)[n]) {
  V const square = x * x;
  constexpr int last = static_cast<int>(n) - 1, top_even = last - last % 2, top_odd = last - (last + 1) % 2;
  V even(c[top_even]), odd(c[top_odd]);
#pragma GCC unroll 16
  for (int i = top_even - 2; i >= 0; i -= 2) even = fma(even, square, V(c[i]));
#pragma GCC unroll 16
  for (int i = top_odd - 2; i >= 1; i -= 2) odd = fma(odd, square, V(c[i]));
  return fma(odd, x, even);
}

} // namespace orv::simd
