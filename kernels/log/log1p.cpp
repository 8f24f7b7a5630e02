// Log1p: ln(1 + x) without losing the low bits of x: the rounding error of the sum 1 + x is scaled and joins the
// remainder. For a tiny x the sum is 1 and the remainder is x itself.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sLog1p: LA 1.97 at 0.333617061; HA 0.9 at 0.335359067; EP 12.79 bits; 1.84 / 2.52 / 1.31
//   dLog1p: LA 1.65 at -0.380615117; HA 0.712 at 0.000481261046; EP 31.5 bits; 4.73 / 6.22 / 4.36
#include "kernels/log/reciprocal.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace logarithm;

// 1 + x as an exact sum of two.
template <class T>
struct OnePlus {
  Vec<T> s, c;
};
template <class T>
ORV_INLINE OnePlus<T> one_plus(Vec<T> x) {
  Vec<T> const one(T(1)), a = simd::max(one, x), b = simd::min(one, x), s = a + b;
  return {s, b + (a - s)};
}

// What is left for a repair: outside the domain, or so large that 1 + x is x.
template <class T>
int repair_log1p(T x, T& r) {
  if (scalar::is_nan(x) || x >= T(1)) {
    if (int const status = outside_domain(x, r); status >= 0) return status;
    Log const l = log_parts(static_cast<double>(x));
    auto const sum = scalar::two_sum(l.e * 0.6931471805598903, l.hi);
    r = static_cast<T>(sum.hi + (sum.lo + scalar::fma(l.e, 5.497923018708371e-14, l.lo)));
    return ORV_STATUS_OK;
  }
  if (x == T(-1)) {
    r = T(-1) / scalar::opaque(T(0));
    return ORV_STATUS_SINGULARITY;
  }
  r = scalar::invalid<T>();
  return ORV_STATUS_DOMAIN;
}

template <class T, Level>
struct Log1p;

template <Level level>
struct Log1p<float, level> {
  using Operand = float;
  using Result = float;
  static constexpr int operands = 1, results = 1;
  F eval(F x) const {
    auto const [s, c] = one_plus(x);
    auto const [e, head, exponent] = split(s);
    F const scaled = c * simd::from_bits(Bits<float>(0x3F800000) - simd::shift_left<23>(exponent));
    F const f = head + scaled;
    F r;
    if constexpr (level == Level::HA) {
      F const left = (head - f) + scaled;       // |head| is above |scaled| or 0
      F const rest = simd::fnma(f, left, left); // times about 1 / (1 + f)
      F const p = simd::horner(f, -0.5f, 0.333333373f, -0.249998823f, 0.199994281f, -0.166766852f,
                               0.143097892f, -0.12236467f, 0.106909797f, -0.126670167f, 0.122589536f);
      // e ln2_hi + f in two terms: the product is exact; neither is always the larger.
      F const h = e * F(0.693145751953125f);
      F const sum = h + f;
      F const t = sum - h;
      F const error = (h - (sum - t)) + (f - t);
      r = sum + simd::fma(f * f, p, error + simd::fma(e, F(1.428606765330187e-06f), rest));
    } else {
      F q;
      if constexpr (level == Level::LA)
        q = with_quadratic_tail(f, -0.5f, 0.3333326578140259f, -0.2500423789024353f, 0.20007920265197754f,
                                -0.1647232621908188f, 0.14042308926582336f, -0.15122179687023163f,
                                0.13820238411426544f);
      else
        q = with_quadratic_tail(f, -0.5f, 0.33289623260498047f, -0.2674025893211365f, 0.2198837250471115f);
      r = simd::fma(e, F(0.6931471824645996f), q);
    }
    return r | simd::sign_of(x);
  }
  unsigned special(F x, F) const {
    F const s = x + F(1.0f);
    return simd::lane_mask(simd::outside(simd::bits(s), 0x00800000, 0x7EFFFFFF));
  }
  int repair(float x, float& r) const { return repair_log1p(x, r); }
};

template <Level level>
struct Log1p<double, level> {
  using Operand = double;
  using Result = double;
  static constexpr int operands = 1, results = 1;
  D eval(D x) const {
    auto const [s, c] = one_plus(x);
    SplitD const parts = split(s);
    Bits<double> const field = simd::bits(s) & Bits<double>(simd::exponent_mask<double>);
    // The scale and y together are near 1: a denormal x keeps its bits.
    D const scaled = c * (simd::from_bits(Bits<double>(0x7F40000000000000) - field) * parts.y);
    D const z = parts.z + scaled;
    D r;
    if constexpr (level == Level::HA) {
      D const rest = (parts.z - z) + scaled;
      auto const t = entry(table_ln_pairs, parts.row);
      Sum const sum = add(simd::fma(parts.e, D(0.6931471805582987), t.hi), z);
      D const low = simd::fma(z * z, tail_of_ln(z), simd::fma(parts.e, D(1.6465949582866463e-12), t.lo));
      r = sum.hi + (sum.error + (rest + low));
    } else {
      D const t = entry(table_ln, parts.row);
      D p;
      if constexpr (level == Level::LA)
        p = tail_of_ln(z);
      else
        p = simd::fma(z, D(0.33333333333308374), D(-0.49999999999988803));
      r = simd::fma(parts.e, D(0.6931471805599453), t) + simd::fma(z * z, p, z);
    }
    return r | simd::sign_of(x);
  }
  unsigned special(D x, D) const {
    D const s = x + D(1.0);
    D const below = simd::compare<_CMP_LT_OQ>(x, D(-0.9999999999999999));
    D const large = simd::compare<_CMP_NLE_UQ>(s, D(8.77779851006591e+304));
    return simd::lane_mask(below | large);
  }
  int repair(double x, double& r) const { return repair_log1p(x, r); }
};

} // namespace
} // namespace orv

ORV_KERNEL(Log1p, orv::Log1p);
