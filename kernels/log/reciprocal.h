// The reciprocal scheme in double precision: the hardware's approximate reciprocal of the mantissa, rounded to
// a few bits, is at once the index of a table of logarithms and an exact factor:
//
//   x = 2^e m,  y = round(1 / m'),  z = m' y - 1 exactly,  ln x = e ln 2 + ln(1024 / y) + ln(1 + z)
//
// The approximation differs between makers of processors, and with it the last bits of results.
// P. T. P. Tang, "Table-driven implementation of the logarithm function", ACM TOMS 16 (1990).
#pragma once
#include "kernels/log/polynomial.h"
#include "kernels/simd/lookup.h"

namespace orv::logarithm {

using simd::Pair;
using simd::VecPair;

// One row of the repairs' table: c about 1/m, and -ln c in two parts.
struct RepairRow {
  double c, hi, lo;
};

#include "kernels/log/tables.inc"

struct SplitD {
  D e, y, z;
  __m128i row; // y as integers
};

ORV_INLINE SplitD split(D x) {
  constexpr int64_t exponent_of_mantissa = 0x3F50000000000000; // m' in [2^-10, 2^-9)
  D const m = simd::from_bits((simd::bits(x) & Bits<double>(simd::mantissa_mask<double>)) |
                              Bits<double>(exponent_of_mantissa));
  __m128i const row = _mm_cvtps_epi32(_mm_rcp_ps(_mm256_cvtpd_ps(m.v)));
  D const y = _mm256_cvtepi32_pd(row);
  // The biased exponent as a double, and 1 more where the lower half of the table is used.
  constexpr int64_t two_to_52 = 0x4330000000000000;
  D const biased = simd::from_bits(simd::shift_right<52>(simd::bits(x)) | Bits<double>(two_to_52));
  D const upper = simd::compare<_CMP_GT_OQ>(y, D(724.0));
  D const e = biased - simd::blend(D(4503599627370496.0 + 1022), D(4503599627370496.0 + 1023), upper);
  return {e, y, simd::fms(m, y, D(1.0)), row};
}

// Four 32-bit integers as offsets, less a constant that folds into the addresses.
ORV_INLINE simd::Offsets4 offsets(__m128i y, std::size_t first) {
#ifdef __x86_64__
  auto const low = static_cast<uint64_t>(_mm_cvtsi128_si64(y)),
             high = static_cast<uint64_t>(_mm_extract_epi64(y, 1));
  return {
      {(low & 0xFFFFFFFF) - first, (low >> 32) - first, (high & 0xFFFFFFFF) - first, (high >> 32) - first}};
#else
  return {{static_cast<std::size_t>(_mm_cvtsi128_si32(y)) - first,
           static_cast<std::size_t>(_mm_extract_epi32(y, 1)) - first,
           static_cast<std::size_t>(_mm_extract_epi32(y, 2)) - first,
           static_cast<std::size_t>(_mm_extract_epi32(y, 3)) - first}};
#endif
}
// Special lanes give rows too: an approximate reciprocal of the mantissa always lies in the table.
ORV_INLINE D entry(const double* table, __m128i y) { return simd::lookup(table, offsets(y, 512)); }
ORV_INLINE VecPair<double> entry(const Pair<double>* table, __m128i y) {
  return simd::lookup_pair(table, offsets(_mm_add_epi32(y, y), 1024));
}

// ln(1 + z) without its linear term, over z^2: even and odd terms in two chains.
ORV_INLINE D tail_of_ln(D z) {
  D const w = z * z;
  D const even = simd::fma(w, D(-0.2500003054940248), D(-0.49999999999988803));
  D const odd = simd::fma(w, D(0.2000003665949424), D(0.33333333333308374));
  return simd::fma(odd, z, even);
}

// The sum of an exact head h (its bits end above those of z) and z, |h| not below |z| in exponent or 0.
struct Sum {
  D hi, error;
};
ORV_INLINE Sum add(D h, D z) {
  D const s = h + z;
  return {s, z - (s - h)};
}

// ---- scalar, for repairs ----

// ln x = e ln 2 + hi + lo for any positive number, denormals too; x is scaled into the normal range first.
struct Log {
  double e, hi, lo;
};
inline Log log_parts(double x) {
  double offset = 0;
  if (x < simd::Format<double>::smallest_normal) {
    x = scalar::opaque(x) * 0x1p60;
    offset = -60;
  }
  uint64_t const pattern = scalar::bits(x);
  double const m = scalar::from_bits<double>((pattern & simd::mantissa_mask<double>) | 0x3FF0000000000000);
  auto const e = static_cast<double>(static_cast<int>(pattern >> 52) - 1023);
  RepairRow const& row = table_repair[(pattern >> 45) & 127];
  double const r = scalar::fma(row.c, m, -1.0); // exact but for the last bits of a small value
  double const p = scalar::horner(r, -0.5, 0.33333333333334386, -0.25000000000003386, 0.19999999911565072,
                                  -0.1666666651884978, 0.1428756883852146, -0.1250214602960357);
  auto const sum = scalar::two_sum(row.hi, r);
  return {e + offset, sum.hi, sum.lo + scalar::fma(r * r, p, row.lo)};
}

// What all logarithms answer outside the positive numbers; -1 where x is one.
template <class T>
ORV_INLINE int outside_domain(T x, T& r) {
  if (scalar::is_nan(x)) {
    r = scalar::opaque(x) * x;
    return ORV_STATUS_OK;
  }
  if (x == T(0)) { // a denormal too, where denormals are read as zero
    r = T(-1) / scalar::opaque(T(0));
    return ORV_STATUS_SINGULARITY;
  }
  if (x < T(0)) {
    r = scalar::invalid<T>();
    return ORV_STATUS_DOMAIN;
  }
  if (scalar::is_infinite(x)) {
    r = scalar::opaque(x) * x;
    return ORV_STATUS_OK;
  }
  return -1;
}

} // namespace orv::logarithm
