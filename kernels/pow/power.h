// x to the y by log2 and exp2, the product y log2 x carried in two terms where its error would show.
#pragma once
#include "kernels/exp/reduction.h"
#include "kernels/log/reciprocal.h"
#include "kernels/pow/seeds.h"

namespace orv::power {

namespace tables {
#include "kernels/pow/tables.inc"
}
using tables::table_log_hi, tables::table_log_lo, tables::table_power, tables::table_power2048,
    tables::table_power256, tables::table_power256_hi;
// By these names on single values, by lookup of their arguments on vectors.
using scalar::fma;
using scalar::fms;

template <class R>
struct TwoTerms {
  R hi, lo;
};

// log2 of 2^e / y' (1 + z) with the table's row t: e + t.hi is exact, z log2(e) joins it in two terms, and the
// quadratic term too, so that the error stays below 2^-73 of the sum; R is a vector or a double.
template <class R>
ORV_INLINE TwoTerms<R> log2_in_two(R e, R z, R t_hi, R t_lo) {
  constexpr double c1 = 1.4426950408889634, c1_lo = 2.0363441957695363e-17, c2 = -0.7213475204444817,
                   c2_lo = -1.0181720978847682e-17;
  R const p = z * R(c1), p_lo = fma(z, R(c1_lo), fms(z, R(c1), p));
  R const w = z * z, w_lo = fms(z, z, w);
  R const t2 = w * R(c2), t2_lo = fma(w, R(c2_lo), fma(w_lo, R(c2), fms(w, R(c2), t2)));
  R const tail =
      (w * z) * fma(z,
                    fma(z, fma(z, R(-0.24028965633949217), R(0.28853932378999636)), R(-0.3606737604030723)),
                    R(0.48089834696286016));
  R const base = e + t_hi;
  R const s1 = base + p, e1 = p - (s1 - base);
  R const s2 = s1 + t2, e2 = t2 - (s2 - s1);
  R const low = (e1 + e2) + ((p_lo + t2_lo) + (tail + t_lo));
  R const hi = s2 + low;
  return {hi, low - (hi - s2)};
}

// 2^r - 1 for |r| up to 2^-9.
template <class R>
ORV_INLINE R exp2_minus_one(R r) {
  return r *
         fma(r,
             fma(r, fma(r, fma(r, R(0.0013333417185814622), R(0.009618129107628477)), R(0.05550410866482158)),
                 R(0.24022650695910072)),
             R(0.6931471805599453));
}

// ---- scalar: the general case of the repairs ----

// |x|^y for finite non-zero x and finite y, as a scaled sum; `range` is -1 or 1 far beyond the double range.
struct ScaledPower {
  exponential::Scaled value;
  int range;
};
inline ScaledPower scaled_power(double x, double y) {
  double offset = 0;
  if (x < simd::Format<double>::smallest_normal) {
    x = scalar::opaque(x) * 0x1p60;
    offset = -60;
  }
  uint64_t const pattern = scalar::bits(x);
  double const m = scalar::from_bits<double>((pattern & simd::mantissa_mask<double>) | 0x3F50000000000000);
  int const row = static_cast<int>(1.0 / m + 0.5);
  auto const e = static_cast<double>(static_cast<int>(pattern >> 52) - (row > 724 ? 1023 : 1022)) + offset;
  double const z = scalar::fma(m, static_cast<double>(row), -1.0);
  Pair<double> const t = logarithm::table_log2_pairs[row - 512];
  TwoTerms<double> const log = log2_in_two(e, z, t.hi, t.lo);
  double const w = y * log.hi;
  if (w > 1025 || w < -1080) return {{}, w > 0 ? 1 : -1};
  double const w_lo = scalar::fma(y, log.hi, -w) + y * log.lo;
  constexpr double shifter = 26388279066624.0; // 1.5 * 2^44
  double const sum = scalar::opaque(w + shifter);
  auto const k = static_cast<int>(static_cast<uint32_t>(scalar::bits(sum)));
  double const r = (w - (sum - shifter)) + w_lo;
  double const q = exp2_minus_one(r);
  Pair<double> const p = table_power256[k & 255];
  return {{p.hi, scalar::fma(p.hi, q, p.lo), k >> 8}, 0};
}

// 0: y is no integer, 1: odd, 2: even.
template <class T>
ORV_INLINE int integer_kind(T y) {
  constexpr int bits = simd::Format<T>::mantissa_bits, bias = simd::Format<T>::bias;
  int const e = scalar::biased_exponent(y) - bias;
  if (e < 0) return 0;
  if (e > bits) return 2;
  auto const significand = (scalar::bits(y) & simd::mantissa_mask<T>) | (simd::UnsignedOf<T>{1} << bits);
  int const below = bits - e; // bits behind the binary point
  if (significand & ((simd::UnsignedOf<T>{1} << below) - 1)) return 0;
  return (significand >> below) & 1 ? 1 : 2;
}

// A finite non-zero power with the sign of the result.
template <class T>
ORV_INLINE int deliver_power(T x, T y, bool minus, T& r) {
  ScaledPower const p = scaled_power(static_cast<double>(scalar::magnitude(x)), static_cast<double>(y));
  int status;
  if (p.range > 0) {
    r = scalar::overflowed<T>();
    status = ORV_STATUS_OVERFLOW;
  } else if (p.range < 0) {
    r = scalar::underflowed<T>();
    status = ORV_STATUS_UNDERFLOW;
  } else {
    status = exponential::deliver(p.value, r);
  }
  if (minus) r = -r;
  return status;
}

// The first row that fits decides.
template <class T>
int repair_pow(T x, T y, T& r) {
  int const kind = integer_kind(y);
  bool const odd = kind == 1 && !scalar::not_finite(y);
  if (y == T(0) || x == T(1)) {
    r = 1;
    return ORV_STATUS_OK;
  }
  if (scalar::is_nan(x) || scalar::is_nan(y)) {
    r = scalar::nan_of(x, y);
    return ORV_STATUS_OK;
  }
  if (x == T(0)) {
    if (y > T(0)) {
      r = odd ? scalar::with_sign(T(0), x) : T(0);
      return ORV_STATUS_OK;
    }
    T const infinite = scalar::pole<T>();
    r = odd ? scalar::with_sign(infinite, x) : infinite;
    return ORV_STATUS_DOMAIN;
  }
  if (scalar::is_infinite(y)) {
    T const size = scalar::magnitude(x);
    r = size == T(1) ? T(1) : (size > T(1)) == (y > T(0)) ? scalar::magnitude(y) : T(0);
    return ORV_STATUS_OK;
  }
  if (scalar::is_infinite(x)) {
    T const size = y > T(0) ? scalar::magnitude(x) : T(0);
    r = odd ? scalar::with_sign(size, x) : size;
    return ORV_STATUS_OK;
  }
  if (x < T(0) && kind == 0) {
    r = scalar::invalid<T>();
    return ORV_STATUS_DOMAIN;
  }
  return deliver_power(x, y, x < T(0) && odd, r);
}

// The domain is x at or above 0; 0^0, inf^0 and 1^inf are indeterminate.
template <class T>
int repair_powr(T x, T y, T& r) {
  if (scalar::is_nan(x) || scalar::is_nan(y)) {
    r = scalar::nan_of(x, y);
    return ORV_STATUS_OK;
  }
  if (x < T(0) || (y == T(0) && (x == T(0) || scalar::is_infinite(x))) ||
      (x == T(1) && scalar::is_infinite(y))) {
    r = scalar::invalid<T>();
    return ORV_STATUS_DOMAIN;
  }
  if (x == T(0)) {
    if (y > T(0)) {
      r = 0;
      return ORV_STATUS_OK;
    }
    r = scalar::pole<T>();
    return sizeof(T) == 8 ? ORV_STATUS_SINGULARITY : ORV_STATUS_DOMAIN;
  }
  return repair_pow(x, y, r);
}

// ---- vector ----

ORV_INLINE F lane_table(const float (&t)[8]) { return simd::load(t); }

template <class T, Level level>
struct PowerBody;

// x not positive, normal and finite (and in LA so large that its reciprocal is denormal).
template <class T>
ORV_INLINE unsigned bad_base(Vec<T> x, T largest) {
  Vec<T> const low = simd::compare<_CMP_LT_OQ>(x, Vec<T>(simd::Format<T>::smallest_normal));
  Vec<T> const high = simd::compare<_CMP_NLE_UQ>(x, Vec<T>(largest));
  return simd::lane_mask(low | high);
}
template <class T>
ORV_INLINE unsigned above(Vec<T> w, T limit) {
  return simd::lane_mask(simd::compare<_CMP_NLE_UQ>(simd::magnitude(w), Vec<T>(limit)));
}

// s, LA: log2 with a reciprocal of 3 bits and tables in registers; two terms throughout.
template <>
struct PowerBody<float, Level::LA> {
  ORV_INLINE static F eval(F x, F y, unsigned& lanes) {
    Bits<float> const c_bits =
        (simd::bits(simd::approximate_reciprocal(x)) + Bits<float>(0x00080000)) & Bits<float>(0xFFF00000);
    F const z = simd::fms(x, simd::from_bits(c_bits), F(1.0f));
    Bits<float> const j = simd::shift_right<20>(c_bits);
    F const exponent = _mm256_cvtepi32_ps(simd::shift_right<23>(c_bits).v);
    F const base = simd::pick8(lane_table(table_log_hi), j) - exponent;
    F const head = z * F(1.4426950216293335f);
    F const head_lo = simd::fms(z, F(1.4426950216293335f), head);
    // The quadratic term in two terms as well: its rounding would be multiplied by y.
    constexpr float c2 = -0.7213475108146667f;
    F const square = z * z, square_lo = simd::fms(z, z, square);
    F const quadratic = square * F(c2);
    F const quadratic_lo = simd::fma(square_lo, F(c2), simd::fms(square, F(c2), quadratic));
    F const p = simd::horner(z, 0.48089835047721863f, -0.36067134141921997f, 0.2885349988937378f,
                             -0.24168692529201508f, 0.20751520991325378f);
    F const tail = simd::fma(
        square * z, p, simd::fma(z, F(1.925904236088627e-08f), simd::pick8(lane_table(table_log_lo), j)));
    F const s1 = base + head;
    F const s = s1 + quadratic;
    F const low = (((head - (s1 - base)) + head_lo) + ((quadratic - (s - s1)) + quadratic_lo)) + tail;
    F const log_hi = s + low, log_lo = low - (log_hi - s);
    F const w = y * log_hi, w_lo = simd::fma(y, log_lo, simd::fms(y, log_hi, w));
    lanes = bad_base(x, 6.380294379767596e+37f) | above(w, 125.5f);
    constexpr float shifter = 1572991.0f; // 1.5 * 2^20 + 127
    F const sum = w + F(shifter);
    F const r = (w - (sum - F(shifter))) + w_lo;
    F const q = r * simd::horner(r, 0.6931471824645996f, 0.24026407301425934f, 0.055511921644210815f);
    F const power = simd::from_bits(simd::shift_left<20>(simd::bits(sum)) & Bits<float>(0x7F800000));
    F const m = power * simd::pick8(lane_table(table_power), simd::bits(sum));
    return simd::fma(m, q, m);
  }
};

// s, EP: the logarithm and the exponential of their own LA and EP kernels, in plain float.
template <>
struct PowerBody<float, Level::EP> {
  ORV_INLINE static F eval(F x, F y, unsigned& lanes) {
    auto const [e, f, exponent] = logarithm::split(x);
    F const q = logarithm::with_quadratic_tail(f, -0.5f, 0.33336564898490906f, -0.25004664063453674f,
                                               0.19822503626346588f, -0.16462457180023193f,
                                               0.16964881122112274f, -0.15177205204963684f);
    F const log = simd::fma(e, F(0.693145751953125f), simd::fma(e, F(1.428606765330187e-06f), q));
    F const w = y * log;
    lanes = logarithm::not_positive_normal(x) | above(w, 87.30078125f);
    constexpr float shifter = 12582912.0f;
    F const sum = simd::fma(w, F(1.4426950216293335f), F(shifter));
    F const r = simd::fnma(sum - F(shifter), F(0.6931471824645996f), w);
    F const p = simd::horner(r, 1.0f, 1.0001180171966553f, 0.5037053823471069f, 0.16541928052902222f);
    return simd::from_bits(simd::bits(p) + simd::shift_left<23>(simd::bits(sum)));
  }
};

// s, HA: in double precision, two halves of four lanes.
template <>
struct PowerBody<float, Level::HA> {
  ORV_INLINE static F eval(F x, F y, unsigned& lanes) {
    unsigned low_lanes, high_lanes;
    __m128 const low = half(_mm256_castps256_ps128(x.v), _mm256_castps256_ps128(y.v), low_lanes);
    __m128 const high = half(_mm256_extractf128_ps(x.v, 1), _mm256_extractf128_ps(y.v, 1), high_lanes);
    lanes = low_lanes | high_lanes << 4 |
            simd::lane_mask(simd::compare<_CMP_NLE_UQ>(x, F(simd::Format<float>::largest)) |
                            simd::compare<_CMP_NGT_UQ>(x, F(0.0f)));
    return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
  }

 private:
  ORV_INLINE static __m128 half(__m128 x_s, __m128 y_s, unsigned& lanes) {
    D const x = _mm256_cvtps_pd(x_s), y = _mm256_cvtps_pd(y_s);
    auto const s = logarithm::split(x);
    D const t = logarithm::entry(logarithm::table_ln, s.row);
    D const p = simd::fma(s.z, D(0.33333333333308374), D(-0.49999999999988803));
    D const log = simd::fma(s.e, D(0.6931471805599453), t) + simd::fma(s.z * s.z, p, s.z);
    D const w = y * log;
    // Results that leave the normal range are left to the repair, with their statuses.
    lanes = above(w, 87.33654);
    constexpr double shifter = 6755399441055744.0;
    D const sum = simd::fma(w, D(2954.639443740597), D(shifter));
    D const r = simd::fnma(sum - D(shifter), D(0.0003384507717577858), w);
    D const u = simd::lookup(table_power2048, simd::bits(sum) & Bits<double>(0x7FF));
    D const v = simd::fma(u * r, simd::fma(r, D(0.5), D(1.0)), u);
    D const result =
        simd::from_bits(simd::bits(v) + simd::shift_left<41>(andnot(Bits<double>(0x7FF), simd::bits(sum))));
    return _mm256_cvtpd_ps(result.v);
  }
};

// d: log2 by the reciprocal scheme, 2^w with 256 entries.
template <Level level>
struct PowerBody<double, level> {
  ORV_INLINE static D eval(D x, D y, unsigned& lanes) {
    auto const s = logarithm::split(x);
    D const z = s.z;
    D w, w_lo;
    if constexpr (level == Level::EP) {
      D const t = logarithm::entry(logarithm::table_log2, s.row);
      D const p = simd::horner(z, -0.7213475204444817, 0.48089834696286016, -0.3606737604030723);
      D const log = (s.e + t) + simd::fma(z * z, p, z * D(1.4426950408889634));
      w = y * log;
      w_lo = D(0.0);
    } else {
      auto const t = logarithm::entry(logarithm::table_log2_pairs, s.row);
      TwoTerms<D> log;
      if constexpr (level == Level::HA) {
        log = log2_in_two(s.e, z, t.hi, t.lo);
      } else {
        D const p = z * D(1.4426950408889634);
        D const p_lo = simd::fma(z, D(2.0363441957695363e-17), simd::fms(z, D(1.4426950408889634), p));
        D const tail = simd::fma(z * z,
                                 simd::horner(z, -0.7213475204444817, 0.48089834696286016,
                                              -0.3606737604030723, 0.28853932378999636, -0.24028965633949217),
                                 t.lo);
        D const base = s.e + t.hi, sum = base + p;
        D const low = ((p - (sum - base)) + p_lo) + tail;
        log.hi = sum + low;
        log.lo = low - (log.hi - sum);
      }
      w = y * log.hi;
      w_lo = simd::fma(y, log.lo, simd::fms(y, log.hi, w));
    }
    lanes = bad_base(x, simd::Format<double>::largest) | above(w, 1021.5);
    constexpr double shifter = 26388279067647.0; // 1.5 * 2^44 + 1023
    D const sum = w + D(shifter);
    D r = w - (sum - D(shifter));
    if constexpr (level != Level::EP) r = r + w_lo;
    // The bias stands in the sum's upper part.
    Bits<double> const index = simd::bits(sum) & Bits<double>(0xFF);
    Bits<double> const exponent =
        simd::shift_left<44>(andnot(Bits<double>(0xFF), simd::bits(sum))) - Bits<double>(0x3FF0000000000000);
    D p;
    if constexpr (level == Level::HA) {
      auto const t = simd::lookup_pair(table_power256, index + index);
      p = simd::fma(t.hi, exp2_minus_one(r), t.lo) + t.hi;
    } else {
      D const t = simd::lookup(table_power256_hi, index);
      D q;
      if constexpr (level == Level::LA)
        q = r * simd::horner(r, 0.6931471805599393, 0.2402265069590989, 0.05550411502275782,
                             0.009618130135900836);
      else
        q = r * simd::horner(r, 0.6931471805599393, 0.2402265069590989);
      p = simd::fma(t, q, t);
    }
    return simd::from_bits(simd::bits(p) + exponent);
  }
};

} // namespace orv::power
