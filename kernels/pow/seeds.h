// First approximations of reciprocals and roots in double precision, from the hardware's float approximations:
// the mantissa (with one exponent bit for roots) as a float, the exponent put back by integer arithmetic.
#pragma once
#include "kernels/simd/lookup.h"
#include "kernels/simd/scalar.h"

namespace orv::power {

using simd::Bits;
using simd::D;
using simd::F;
using simd::Pair;
using simd::Vec;

// About 1 / x for a normal x whose reciprocal is normal.
ORV_INLINE D reciprocal_seed(D x) {
  Bits<double> const m =
      (simd::bits(x) & Bits<double>(simd::mantissa_mask<double>)) | Bits<double>(0x3FF0000000000000);
  D const y = _mm256_cvtps_pd(_mm_rcp_ps(_mm256_cvtpd_ps(simd::from_bits(m).v)));
  // The sign bit comes along with the exponent: 2^-e by subtraction, then the sign by exclusive or.
  Bits<double> const sign = simd::bits(x) & Bits<double>(simd::sign_mask<double>);
  Bits<double> const field = simd::bits(x) & Bits<double>(simd::exponent_mask<double>);
  return simd::from_bits((simd::bits(y) + Bits<double>(0x3FF0000000000000) - field) | sign);
}

// About 1 / sqrt(x) for a positive normal x.
ORV_INLINE D rsqrt_seed(D x) {
  // [0.5, 2), and half of what is left of the exponent.
  Bits<double> const v =
      (simd::bits(x) & Bits<double>(0x001FFFFFFFFFFFFF)) | Bits<double>(0x3FE0000000000000);
  D const y = _mm256_cvtps_pd(_mm_rsqrt_ps(_mm256_cvtpd_ps(simd::from_bits(v).v)));
  Bits<double> const half = simd::shift_right<1>(simd::bits(x) & Bits<double>(0x7FE0000000000000));
  return simd::from_bits(simd::bits(y) + Bits<double>(0x1FF0000000000000) - half);
}

// The lanes that are not positive and normal, by one integer compare: as a mask of whole lanes, since their
// approximations are made NaN and so raise no flag further on.
ORV_INLINE F not_positive_normal(F x) {
  return simd::from_bits(simd::outside(simd::bits(x), 0x00800000, 0x7F7FFFFF));
}
// In `d` by the upper words; whole lanes are made of the compare's upper halves.
ORV_INLINE D outside_upper(D x, uint32_t first, uint32_t last) {
  return _mm256_castsi256_pd(_mm256_shuffle_epi32(simd::outside(simd::bits(x), first, last).v, 0xF5));
}

} // namespace orv::power
