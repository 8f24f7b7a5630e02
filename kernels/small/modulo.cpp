// Fmod and Remainder: exact. Where the exponents are close one division gives the whole quotient; elsewhere, and at
// the ends of the range, the repair divides integers bit by bit.
#include "kernels/loop/tables.h"
#include "kernels/simd/scalar.h"

namespace orv {
namespace {

template <class T>
using V = simd::Vec<T>;
using simd::Bits;

// Lanes left to the repair: |b| outside limits, or a's exponent field too far above b's.
template <class T>
ORV_INLINE unsigned far_apart(V<T> a, V<T> b, uint32_t lowest, uint32_t end) {
  constexpr int bits = simd::Format<T>::mantissa_bits;
  constexpr int gap = sizeof(T) == 4 ? 11 : 25;
  Bits<T> const p = simd::bits(simd::magnitude(a)), q = simd::bits(simd::magnitude(b));
  Bits<T> const distance = simd::shift_right<bits>(p) - simd::shift_right<bits>(q);
  constexpr int up = sizeof(T) == 4 ? 0 : 32;
  Bits<T> const low(static_cast<simd::UnsignedOf<T>>(lowest) << up),
      high((static_cast<simd::UnsignedOf<T>>(end) << up) - 1);
  return simd::lane_mask(simd::greater(low, q) | simd::greater(q, high) |
                         simd::greater(distance, Bits<T>(gap)));
}

// A positive finite number as an integer significand with its leading bit in place, and an exponent field that may
// be below 1.
template <class T>
struct Significand {
  simd::UnsignedOf<T> m;
  int e;
  explicit Significand(T x) {
    constexpr int bits = simd::Format<T>::mantissa_bits;
    constexpr auto lead = simd::UnsignedOf<T>{1} << bits;
    m = scalar::bits(x) & simd::mantissa_mask<T>;
    e = scalar::biased_exponent(x);
    if (e > 0) {
      m |= lead;
    } else {
      e = 1;
      int const shift = std::countl_zero(m) - (static_cast<int>(8 * sizeof(T)) - 1 - bits);
      m <<= shift;
      e -= shift;
    }
  }
};

// |a| mod |b| for |a| above |b|, by long division; `odd` is the last bit of the quotient. Returns bits: a function
// of 32-bit code returns a float on the x87 stack, which raises that unit's denormal flag.
template <class T>
simd::UnsignedOf<T> long_division(T a, T b, bool& odd) {
  constexpr int bits = simd::Format<T>::mantissa_bits;
  constexpr auto lead = simd::UnsignedOf<T>{1} << bits;
  Significand<T> x(scalar::magnitude(a)), y(scalar::magnitude(b));
  auto m = x.m;
  for (int steps = x.e - y.e;; --steps) {
    odd = m >= y.m;
    if (odd) m -= y.m;
    if (steps == 0) break;
    m <<= 1;
  }
  if (m == 0) return 0;
  int e = y.e;
  while (!(m & lead)) {
    m <<= 1;
    --e;
  }
  if (e > 0) return (m & simd::mantissa_mask<T>) | static_cast<simd::UnsignedOf<T>>(e) << bits;
  return m >> (1 - e); // a denormal; the bits shifted out are 0
}

template <class T>
struct Modulo {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 2, results = 1;
};

template <class T, Level>
struct Fmod : Modulo<T> {
  V<T> eval(V<T> a, V<T> b) const {
    V<T> const s = simd::sign_of(a);
    V<T> const q = simd::round<_MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC>(a / b);
    // |a| - |q b|, exact; one too many in q makes it negative.
    V<T> const p = simd::fnma(q, b ^ s, simd::magnitude(a));
    V<T> const mended = p + (simd::magnitude(b) & simd::compare<_CMP_LT_OQ>(p, V<T>(T(0))));
    return simd::magnitude(mended) | s;
  }
  unsigned special(V<T> a, V<T> b, V<T>) const {
    return sizeof(T) == 4 ? far_apart(a, b, 0x0C000000, 0x7E900000) : far_apart(a, b, 0x03300000, 0x7FF00000);
  }
  int repair(T a, T b, T& r) const {
    T const x = scalar::magnitude(a), y = scalar::magnitude(b);
    if (scalar::is_nan(a) || scalar::is_nan(b)) {
      r = scalar::nan_of(a, b);
      return ORV_STATUS_OK;
    }
    if (b == T(0) || scalar::is_infinite(a)) {
      r = scalar::invalid<T>();
      return ORV_STATUS_SINGULARITY;
    }
    if (x < y) { // an infinite b among them
      r = a;
    } else if (x == y) {
      r = scalar::opaque(a) * T(0);
    } else {
      bool odd;
      r = scalar::with_sign(scalar::from_bits<T>(long_division(a, b, odd)), a);
    }
    return ORV_STATUS_OK;
  }
};

template <class T, Level>
struct Remainder : Modulo<T> {
  V<T> eval(V<T> a, V<T> b) const {
    constexpr auto high_bits = sizeof(T) == 4 ? 0xFFFFF000ull : 0xFFFFFFFFF8000000ull;
    V<T> const hi = simd::from_bits(simd::bits(b) & Bits<T>(static_cast<simd::UnsignedOf<T>>(high_bits))),
               lo = b - hi;
    V<T> const q = simd::round<_MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC>(a / b);
    V<T> const p = (a - q * hi) - q * lo; // exact: the products have few bits
    V<T> const size = simd::magnitude(b);
    V<T> const beyond = simd::compare<_CMP_GT_OQ>(simd::magnitude(p), size * V<T>(T(0.5)));
    V<T> const r = p - ((size | simd::sign_of(p)) & beyond);
    V<T> const zero = simd::compare<_CMP_EQ_OQ>(r, V<T>(T(0)));
    return simd::blend(r, simd::sign_of(a), zero);
  }
  unsigned special(V<T> a, V<T> b, V<T>) const {
    return sizeof(T) == 4 ? far_apart(a, b, 0x0C000000, 0x79800000) : far_apart(a, b, 0x03300000, 0x7E500000);
  }
  int repair(T a, T b, T& r) const {
    T const x = scalar::magnitude(a), y = scalar::magnitude(b);
    constexpr T factor = static_cast<T>(1.7);
    if (scalar::is_nan(a) || scalar::is_nan(b)) {
      r = (scalar::is_nan(a) ? scalar::opaque(a) : scalar::opaque(b)) * factor;
      return ORV_STATUS_OK;
    }
    if (b == T(0)) {
      r = scalar::invalid<T>();
      return ORV_STATUS_DOMAIN;
    }
    if (a == T(0)) {
      r = a;
    } else if (scalar::is_infinite(a)) {
      r = scalar::invalid<T>();
    } else if (scalar::is_infinite(b)) {
      r = a;
    } else if (x == y) {
      r = scalar::opaque(a) * T(0);
    } else if (x < y) {
      // 2 |a| is not formed where it would overflow: then |b| is below it.
      bool const can_double = scalar::biased_exponent(x) - simd::Format<T>::bias < simd::Format<T>::bias;
      r = can_double && y >= 2 * x ? a : negative_part(x - y, a);
    } else {
      bool odd;
      T t = scalar::from_bits<T>(long_division(a, b, odd));
      // 2 t against |b| without leaving the range: t against |b| - t, which is exact where it matters.
      T const rest = y - t;
      if (t > rest || (t == rest && odd)) t = t - y;
      r = t == T(0) ? scalar::opaque(a) * T(0) : negative_part(t, a);
    }
    return ORV_STATUS_OK;
  }

 private:
  // v, its sign turned where a is negative.
  ORV_INLINE static T negative_part(T v, T a) { return scalar::negative(a) ? -v : v; }
};

} // namespace
} // namespace orv

ORV_KERNEL(Fmod, orv::Fmod);
ORV_KERNEL(Remainder, orv::Remainder);
