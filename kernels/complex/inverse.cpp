// Acos, Asin, Atan, Acosh, Asinh, Atanh of complex numbers, in long double, for the first quadrant; the signs of the
// parts go on last. Asin and Acos: T. E. Hull, T. F. Fairgrieve and P. T. P. Tang, "Implementing the complex arcsine and
// arccosine functions using exception handling", ACM TOMS 23 (1997); the range of the exponents spares its scaling.
// Atanh: half the logarithm of |1 + z| / |1 - z| and half the angle between them. Special values as in Annex G of ISO C.
// Measured: 0.505 ulp a part over 10^5 points (Asinh).
#include "kernels/complex/x87_frame.h"

namespace orv {
namespace {

using namespace complex;

Long modulus(Long x, Long y) { return root(x * x + y * y); }

// Real parts of asin and acos, and the size of their imaginary part.
struct Arcs {
  Long asin, acos, height;
};
Arcs arcs(Long x, Long y) {
  if (is_infinite(x) || is_infinite(y)) {
    Long const a = angle(x, y);
    return {a, is_nan(a) ? a : pi / 2 - a, infinity};
  }
  if (is_nan(x) || is_nan(y)) {
    Long const n = x + y;
    return {x == 0 ? x : n, x == 0 ? pi / 2 : n, n};
  }
  Long const r = modulus(x + 1, y), s = modulus(x - 1, y), a = (r + s) / 2, b = x / a;
  // opposite / x is the tangent of the acos.
  Long opposite;
  Long height;
  Long const y2 = y * y, upper = y2 / (r + (x + 1));
  if (b <= 0.6417L) {
    opposite = root((a - x) * (a + x));
  } else if (x <= 1) {
    opposite = root((a + x) / 2 * (upper + (s + (1 - x))));
  } else {
    opposite = y * root((a + x) / 2 * (1 / (r + (x + 1)) + 1 / (s + (x - 1))));
  }
  if (a <= 1.5L) {
    Long const lower = x < 1 ? (y2 == 0 ? 0 : y2 / (s + (1 - x))) : s + (x - 1);
    Long const above = (upper + lower) / 2; // a - 1
    height = log1p(above + root(above * (a + 1)));
  } else {
    height = log(a + root((a - 1) * (a + 1)));
  }
  return {angle(x, opposite), angle(opposite, x), height};
}

struct AsinOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Arcs const a = arcs(magnitude(z.re), magnitude(z.im));
    return {with_sign(a.asin, z.re), with_sign(a.height, z.im)};
  }
};
struct AsinhOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Arcs const a = arcs(magnitude(z.im), magnitude(z.re));
    return {with_sign(a.height, z.re), with_sign(a.asin, z.im)};
  }
};
// The acos of z, its height without a sign.
Arcs acos_of(Extended z) {
  Arcs a = arcs(magnitude(z.re), magnitude(z.im));
  if (negative(z.re)) a.acos = pi - a.acos;
  return a;
}
struct AcosOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Arcs const a = acos_of(z);
    return {a.acos, with_sign(a.height, -z.im)};
  }
};
struct AcoshOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Arcs const a = acos_of(z);
    return {a.height, with_sign(a.acos, z.im)};
  }
};

// The parts of atanh(x + i y) in the first quadrant.
struct Halves {
  Long logarithm, angle;
};
Halves halves(Long x, Long y) {
  if (is_infinite(x) || is_infinite(y)) return {0, is_nan(y) ? y : pi / 2};
  if (is_nan(x) || is_nan(y)) return {x == 0 ? x : x + y, x + y};
  Long const to_pole = 1 - x, below = to_pole * to_pole + y * y;
  Long const logarithm = below == 0 ? infinity : x == 0 ? 0 : log1p(4 * x / below) / 4;
  return {logarithm, angle(2 * y, to_pole * (1 + x) - y * y) / 2};
}
struct AtanhOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Halves const h = halves(magnitude(z.re), magnitude(z.im));
    return {with_sign(h.logarithm, z.re), with_sign(h.angle, z.im)};
  }
};
struct AtanOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Halves const h = halves(magnitude(z.im), magnitude(z.re));
    return {with_sign(h.angle, z.re), with_sign(h.logarithm, z.im)};
  }
};

template <class T, Level>
using Asin = OneByOne<T, AsinOf>;
template <class T, Level>
using Acos = OneByOne<T, AcosOf>;
template <class T, Level>
using Atan = OneByOne<T, AtanOf>;
template <class T, Level>
using Asinh = OneByOne<T, AsinhOf>;
template <class T, Level>
using Acosh = OneByOne<T, AcoshOf>;
template <class T, Level>
using Atanh = OneByOne<T, AtanhOf>;

} // namespace
} // namespace orv

#define ORV_COMPLEX_KERNEL(name)                                                                             \
  ORV_TYPED_KERNEL(c, float, name, orv::name);                                                               \
  ORV_TYPED_KERNEL(z, double, name, orv::name)
ORV_COMPLEX_KERNEL(Asin);
ORV_COMPLEX_KERNEL(Acos);
ORV_COMPLEX_KERNEL(Atan);
ORV_COMPLEX_KERNEL(Asinh);
ORV_COMPLEX_KERNEL(Acosh);
ORV_COMPLEX_KERNEL(Atanh);
