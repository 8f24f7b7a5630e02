// CopySign, Fmax, Fmin, MaxMag, MinMag, Fdim, NextAfter: exact; one kernel for all levels.
#include "kernels/loop/tables.h"
#include "kernels/simd/scalar.h"

namespace orv {
namespace {

template <class T>
using V = simd::Vec<T>;
using simd::Bits;

template <class T>
struct TwoOperands {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 2, results = 1;
};

// Lanes where either exponent field is all ones.
template <class T>
ORV_INLINE unsigned either_not_finite(V<T> a, V<T> b) {
  return simd::lane_mask(simd::not_finite(a) | simd::not_finite(b));
}

template <class T, Level>
struct CopySign : TwoOperands<T> {
  static constexpr int unroll = 4;
  V<T> eval(V<T> a, V<T> b) const { return simd::magnitude(a) | simd::sign_of(b); }
};

// A NaN loses against a number; of two NaNs the second stays. An infinity leaves the vector's result.
template <class T>
struct Extremum : TwoOperands<T> {
  unsigned special(V<T> a, V<T> b, V<T>) const { return either_not_finite(a, b); }
  int repair(T a, T b, T& r) const {
    if (scalar::is_nan(b)) r = scalar::quiet(a);
    if (scalar::is_nan(a)) r = scalar::quiet(b);
    return ORV_STATUS_OK;
  }
};
template <class T, Level>
struct Fmax : Extremum<T> {
  V<T> eval(V<T> a, V<T> b) const { return simd::max(a, b); } // b where they are equal
};
template <class T, Level>
struct Fmin : Extremum<T> {
  V<T> eval(V<T> a, V<T> b) const { return simd::min(a, b); }
};
// a's or b's, by magnitude; of x and -x the larger for MaxMag and the smaller for MinMag, a where they are equal.
template <class T, Level>
struct MaxMag : Extremum<T> {
  V<T> eval(V<T> a, V<T> b) const {
    V<T> const x = simd::magnitude(a), y = simd::magnitude(b);
    V<T> const equal = simd::blend(a, b, simd::compare<_CMP_GT_OQ>(b, a));
    return simd::blend(simd::blend(equal, a, simd::compare<_CMP_GT_OQ>(x, y)), b,
                       simd::compare<_CMP_GT_OQ>(y, x));
  }
};
template <class T, Level>
struct MinMag : Extremum<T> {
  V<T> eval(V<T> a, V<T> b) const {
    V<T> const x = simd::magnitude(a), y = simd::magnitude(b);
    V<T> const equal = simd::blend(a, b, simd::compare<_CMP_LT_OQ>(b, a));
    return simd::blend(simd::blend(equal, a, simd::compare<_CMP_LT_OQ>(x, y)), b,
                       simd::compare<_CMP_LT_OQ>(y, x));
  }
};

// a - b where a is greater, else +0; a NaN wins.
template <class T, Level>
struct Fdim : TwoOperands<T> {
  V<T> eval(V<T> a, V<T> b) const { return (a - b) & simd::compare<_CMP_GT_OQ>(a, b); }
  unsigned special(V<T> a, V<T> b, V<T>) const { return either_not_finite(a, b); }
  int repair(T a, T b, T& r) const {
    if (scalar::is_nan(a)) r = scalar::quiet(a);
    if (scalar::is_nan(b)) r = scalar::quiet(b);
    return ORV_STATUS_OK;
  }
};

// By one step of the bit pattern; what touches zero, denormals, infinities or NaN is repaired.
template <class T, Level>
struct NextAfter : TwoOperands<T> {
  V<T> eval(V<T> a, V<T> b) const {
    Bits<T> const p = simd::bits(a), q = simd::bits(b), one(1);
    // -1 for differing signs or p above q, 0 for equal patterns, else 1.
    Bits<T> const signs_differ = simd::greater(Bits<T>(0), p ^ q);
    Bits<T> const down = signs_differ | simd::greater(p, q);
    Bits<T> const step = andnot(simd::equal(p, q), down | one);
    return simd::from_bits(p + step);
  }
  unsigned special(V<T> a, V<T> b, V<T> r) const {
    return simd::lane_mask(simd::not_normal(a) | simd::not_normal(b) | simd::not_normal(r));
  }
  int repair(T a, T b, T& r) const {
    using Pattern = simd::UnsignedOf<T>;
    if (scalar::is_nan(a) || scalar::is_nan(b)) {
      r = scalar::nan_of(a, b);
      return ORV_STATUS_OK;
    }
    if (a == b) {
      r = b;
      return ORV_STATUS_OK;
    }
    if (a == T(0)) {
      r = scalar::from_bits<T>((scalar::bits(b) & simd::sign_mask<T>) | 1);
      scalar::opaque(scalar::underflowed<T>());
      return ORV_STATUS_UNDERFLOW;
    }
    Pattern const p = scalar::bits(a), q = scalar::bits(b), size = ~simd::sign_mask<T>;
    bool const down = ((p ^ q) & simd::sign_mask<T>) || (p & size) > (q & size);
    Pattern const stepped = down ? p - 1 : p + 1;
    r = scalar::from_bits<T>(stepped);
    if ((stepped & simd::exponent_mask<T>) == 0) {
      scalar::opaque(scalar::underflowed<T>());
      return ORV_STATUS_UNDERFLOW;
    }
    if ((stepped & simd::exponent_mask<T>) == simd::exponent_mask<T>) {
      scalar::opaque(scalar::overflowed<T>());
      return ORV_STATUS_OVERFLOW;
    }
    return ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(CopySign, orv::CopySign);
ORV_KERNEL(Fmax, orv::Fmax);
ORV_KERNEL(Fmin, orv::Fmin);
ORV_KERNEL(MaxMag, orv::MaxMag);
ORV_KERNEL(MinMag, orv::MinMag);
ORV_KERNEL(Fdim, orv::Fdim);
ORV_KERNEL(NextAfter, orv::NextAfter);
