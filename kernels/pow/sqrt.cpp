// Sqrt, InvSqrt, Pow3o2: from the hardware's approximate reciprocal root. In single precision one step for LA and
// two for HA; in double precision a binomial series of the residual, and for HA one correction more.
// Approximations differ between makers of processors.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sSqrt: LA 2.16 at 4.40063405e-38; HA 0.75 at 1.17606888e-38; EP 11.92 bits; 0.59 / 0.84 / 0.38
//   dSqrt: LA 0.772 at 5.31789179e-08; HA 0.635 at 2.25183935e-308; EP 34.92 bits; 2.55 / 3.25 / 2.24
//   sInvSqrt: LA 2.39 at 1.24121511e-38; HA 0.509 at 4.48986426e-38; EP 22.22 bits; 0.45 / 0.62 / 0.44
//   dInvSqrt: LA 1 at 64.0803674; HA 0.5 at 17.0742121; EP 34.92 bits; 2.56 / 3.46 / 2.25
//   sPow3o2: LA 2.65 at 1.26469527e-25; HA 0.999 at 1.11131113e-25; EP 11.92 bits; 0.44 / 0.80 / 0.29
//   dPow3o2: LA 1.64 at 0.0964522426; HA 0.978 at 1.10757139e-205; EP 34.92 bits; 2.54 / 3.50 / 2.24
#include "kernels/loop/tables.h"
#include "kernels/pow/seeds.h"

namespace orv {
namespace {

using namespace power;

template <class T>
struct Root {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 1, results = 1;
};

// ---- the refined root, with a low part where it is asked for ----

template <class T>
struct RootOf {
  Vec<T> root, low; // low: what is missing at HA, else 0
};
template <Level level>
ORV_INLINE RootOf<float> root(F x, F y) {
  F const s = x * y;
  if constexpr (level == Level::EP) return {s, F(0.0f)};
  F const h = F(0.5f) * y;
  if constexpr (level == Level::LA) return {simd::fma(h, simd::fnma(s, s, x), s), F(0.0f)};
  F const e = simd::fnma(h, s, F(0.5f));
  F const s1 = simd::fma(s, e, s), h1 = simd::fma(h, e, h);
  return {s1, h1 * simd::fnma(s1, s1, x)};
}
template <Level level>
ORV_INLINE RootOf<double> root(D x, D y) {
  D const s = x * y, e = simd::fnma(s, y, D(1.0));
  if constexpr (level == Level::EP)
    return {s * simd::horner(e, 0.9999999999999803, 0.5000001256825531, 0.37500018328707924), D(0.0)};
  D const p =
      simd::horner(e, 0.49999999999997785, 0.37500000000001366, 0.31250016501874495, 0.27343754675366555);
  D const s1 = simd::fma(s * e, p, s);
  if constexpr (level == Level::LA) return {s1, D(0.0)};
  return {s1, (D(0.5) * y) * simd::fnma(s1, s1, x)};
}

ORV_INLINE F seed(F x) { return simd::approximate_rsqrt(x); }
ORV_INLINE D seed(D x) { return rsqrt_seed(x); }

// ---- Sqrt ----

template <class T>
int repair_sqrt(T x, T& r) {
  if (!scalar::is_nan(x) && x < T(0)) {
    r = scalar::invalid<T>();
    return ORV_STATUS_DOMAIN;
  }
  r = scalar::sqrt(x);
  return ORV_STATUS_OK;
}

template <class T>
ORV_INLINE Vec<T> sqrt_mask(Vec<T> x) {
  if constexpr (sizeof(T) == 4)
    return power::not_positive_normal(x);
  else
    return outside_upper(x, 0x00100000, 0x7FCFFFFF);
}

template <class T, Level level>
struct Sqrt : Root<T> {
  Vec<T> eval(Vec<T> x, unsigned& lanes) const {
    Vec<T> const mask = sqrt_mask(x);
    lanes = simd::lane_mask(mask);
    auto const s = root<level>(x, seed(x) | mask);
    return level == Level::HA ? s.root + s.low : s.root;
  }
  int repair(T x, T& r) const { return repair_sqrt(x, r); }
};

// ---- InvSqrt ----

template <class T, Level level>
struct InvSqrt : Root<T> {
  Vec<T> eval(Vec<T> x, unsigned& lanes) const {
    Vec<T> mask;
    if constexpr (sizeof(T) == 4)
      mask = power::not_positive_normal(x);
    else
      mask = outside_upper(x, 0x00300000, 0x7FCFFFFF);
    lanes = simd::lane_mask(mask);
    Vec<T> const y = seed(x) | mask;
    if constexpr (sizeof(T) == 4) {
      if constexpr (level != Level::HA) return (y * F(-0.5f)) * simd::fma(x * y, y, F(-3.0f));
      // The square of the shortened seed is exact.
      F const cut = simd::from_bits(simd::bits(y) & Bits<float>(0xFFFF8000));
      F const e = simd::fms(x, cut * cut, F(1.0f));
      return simd::fma(cut * e, simd::horner(e, -0.5f, 0.375f, -0.3125f), cut);
    } else {
      D const s = x * y, e = simd::fnma(s, y, D(1.0));
      if constexpr (level == Level::EP)
        return y * simd::horner(e, 0.9999999999999803, 0.5000001256825531, 0.37500018328707924);
      D const p =
          simd::horner(e, 0.49999999999997785, 0.37500000000001366, 0.31250016501874495, 0.27343754675366555);
      D const r = simd::fma(y * e, p, y);
      if constexpr (level == Level::LA) return r;
      // 1 - x r^2 with the square's rounding error.
      D const w = x * r, w_low = simd::fms(x, r, w);
      D const rest = simd::fnma(w_low, r, simd::fnma(w, r, D(1.0)));
      return simd::fma(D(0.5) * r, rest, r);
    }
  }
  int repair(T x, T& r) const {
    if (x == T(0)) {
      r = T(1) / scalar::opaque(x * T(1));
      return ORV_STATUS_SINGULARITY;
    }
    if (int const status = repair_sqrt(x, r); status != ORV_STATUS_OK) return status;
    if (scalar::not_finite(x)) {
      r = scalar::opaque(T(1)) / r;
      return ORV_STATUS_OK;
    }
    // Very small, or very large in d: the root is normal; one step on its reciprocal.
    if constexpr (sizeof(T) == 4) {
      r = static_cast<float>(1.0 / scalar::sqrt(static_cast<double>(x)));
    } else {
      bool const small = x < 1;
      double const scaled = scalar::opaque(x) * (small ? 0x1p120 : 0x1p-120);
      double const s = scalar::sqrt(scaled), y = 1.0 / s;
      double const w = scaled * y,
                   rest = scalar::fma(-scalar::fma(scaled, y, -w), y, scalar::fma(-w, y, 1.0));
      r = scalar::fma(0.5 * y, rest, y) * (small ? 0x1p60 : 0x1p-60);
    }
    return ORV_STATUS_OK;
  }
};

// ---- Pow3o2 = x sqrt(x) ----

template <class T, Level level>
struct Pow3o2 : Root<T> {
  Vec<T> eval(Vec<T> x, unsigned& lanes) const {
    Vec<T> mask;
    if constexpr (sizeof(T) == 4) { // results stay in the normal range
      mask = simd::from_bits(simd::outside(simd::bits(x), 0x16000000, 0x69800000));
    } else {
      mask = outside_upper(x, 0x15600000, 0x69F00000);
    }
    lanes = simd::lane_mask(mask);
    auto const s = root<level>(x, seed(x) | mask);
    if constexpr (level != Level::HA) return x * s.root;
    Vec<T> const p = x * s.root;
    return p + simd::fma(x, s.low, simd::fms(x, s.root, p));
  }
  int repair(T x, T& r) const {
    if (x == T(0) || scalar::not_finite(x) || x < T(0)) {
      if (!scalar::is_nan(x) && x < T(0)) {
        r = scalar::invalid<T>();
        return ORV_STATUS_DOMAIN;
      }
      r = scalar::opaque(x) * scalar::sqrt(x);
      return ORV_STATUS_OK;
    }
    if constexpr (sizeof(T) == 4) {
      double const wide = x;
      r = static_cast<float>(scalar::opaque(wide * scalar::sqrt(wide)));
    } else {
      bool const small = x < 1;
      double const scaled = scalar::opaque(x) * (small ? 0x1p720 : 0x1p-720);
      double const s = scalar::sqrt(scaled), low = scalar::fma(-s, s, scaled) * (0.5 / s);
      auto const p = scalar::two_product(scaled, s);
      double const back = small ? 0x1p-540 : 0x1p540; // twice: only the second product rounds
      r = scalar::opaque((p.hi + (p.lo + scaled * low)) * back) * back;
    }
    if (scalar::is_infinite(r)) return ORV_STATUS_OVERFLOW;
    return r < simd::Format<T>::smallest_normal ? ORV_STATUS_UNDERFLOW : ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Sqrt, orv::Sqrt);
ORV_KERNEL(InvSqrt, orv::InvSqrt);
ORV_KERNEL(Pow3o2, orv::Pow3o2);
