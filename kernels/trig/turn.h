// Sine, cosine and tangent from a table of 512 steps of a turn: T_j = 2 pi j / 512, |r| up to pi / 512,
//
//   sin(T_j + r) = S + C r + S (cos r - 1) + C (sin r - r),   tan(T_j + r) = (S + C tan r) / (C - S tan r)
//
// with S, C and r in two terms. The errors of C r and of its sum with S are kept, so that what is left is the rounding
// of the last sum. S. Gal and B. Bachelis, "An accurate elementary mathematical library for the IEEE floating point
// standard", ACM TOMS 17 (1991), for the form; the table here is not of accurate points, its rest is a low part.
#pragma once
#include "kernels/simd/lookup.h"

namespace orv::trig {

using simd::Bits;
using simd::D;
using simd::F;
using simd::Row4;
using simd::Vec;

#include "kernels/trig/tables.inc"

constexpr double shifter_d = 6755399441055744.0; // 1.5 * 2^52: the low bits of a sum are an integer
constexpr float shifter_s = 12582912.0f;         // 1.5 * 2^23

// An angle as a step of the table and a rest. Bits of `step` above the lowest nine don't count.
struct Turn {
  Bits<double> step;
  D r, r_low;
};

struct SineCosine {
  D s, s_low, c, c_low;
};
ORV_INLINE SineCosine steps_of(Turn const& t) {
  auto const row = simd::lookup_row(turn_rows, t.step & Bits<double>(511));
  return {row.a, row.b, row.c, row.d};
}

// S + C r and so on; the cosine is the same with C, S and -r.
ORV_INLINE D rotate(D s, D s_low, D c, D c_low, D r, D r_low) {
  D const r2 = r * r;
  D const sine = (r2 * r) * simd::horner(r2, -0.1666666666665455, 0.008333322932609515);
  D const cosine = r2 * simd::horner(r2, -0.5, 0.041666666666651524, -0.0013888875887985619);
  D const p = c * r, p_low = simd::fma(c_low, r, simd::fms(c, r, p));
  D const sum = s + p; // |S| is above |C r|, or 0
  D const rest = p - (sum - s);
  D const small = simd::fma(s, cosine, c * sine);
  return sum + (((simd::fma(c, r_low, s_low) + p_low) + small) + rest);
}
ORV_INLINE D sine(SineCosine const& t, D r, D r_low) { return rotate(t.s, t.s_low, t.c, t.c_low, r, r_low); }
ORV_INLINE D cosine(SineCosine const& t, D r, D r_low) {
  D const minus(-0.0);
  return rotate(t.c, t.c_low, t.s, t.s_low, r ^ minus, r_low ^ minus);
}

// One division: the quotient of the high terms is corrected by its remainder and the low terms.
ORV_INLINE D tangent(SineCosine const& a, D r, D r_low) {
  D const r2 = r * r;
  // tan r - r
  D const more =
      simd::fma(r2 * r, simd::horner(r2, 0.3333333333333333, 0.13333333333332076, 0.05396860452173062),
                simd::fma(r_low, r2, r_low));
  D const t = r + more, t_low = more - (t - r);
  D const p = a.c * t, q = a.s * t;
  D const n = a.s + p, d = a.c - q;
  D const n_low =
      (p - (n - a.s)) + (simd::fma(a.c, t_low, simd::fma(a.c_low, t, simd::fms(a.c, t, p))) + a.s_low);
  D const d_low =
      ((a.c - d) - q) - (simd::fma(a.s, t_low, simd::fma(a.s_low, t, simd::fms(a.s, t, q))) - a.c_low);
  D const y = D(1.0) / d, quotient = n * y;
  D const remainder = simd::fnma(quotient, d, n) + simd::fnma(quotient, d_low, n_low);
  return simd::fma(remainder, y, quotient);
}

} // namespace orv::trig
