// Cos, Sin, Tan, Cosh, Sinh, Tanh of complex numbers, in long double:
//   sinh(x + i y) = sinh x cos y + i cosh x sin y,   cosh(x + i y) = cosh x cos y + i sinh x sin y
//   tanh(x + i y) = (sinh x cosh x + i sin y cos y) / (sinh^2 x + cos^2 y)
// where nothing cancels, and the circular ones are those of i z. W. Kahan, "Branch cuts for complex elementary
// functions" (1987), for the last. Special values as in Annex G of ISO C. Measured: 0.502 ulp a part over 10^5 points.
#include "kernels/complex/x87_frame.h"

namespace orv {
namespace {

using namespace complex;

// A zero makes the product 0 whatever the other factor is.
Long product(Long a, Long b) {
  if (a == 0 || b == 0) return with_sign(0, negative(a) == negative(b) ? 1.0L : -1.0L);
  return a * b;
}

// The four products of the hyperbolic functions of h and the circular ones of c.
struct Products {
  Long sinh_cos, cosh_sin, cosh_cos, sinh_sin;
};
Products products(Long h, Long c) {
  if (is_infinite(h) && !is_finite(c)) return {h, not_a_number, infinity, not_a_number};
  Hyperbolic x = hyperbolic(h);
  if (is_infinite(h)) x = {h, infinity};
  if (is_nan(h)) x = {h, h};
  Circular const y = circular(c);
  Long const sin = c == 0 ? c : y.sin;
  return {product(x.sinh, y.cos), product(x.cosh, sin), product(x.cosh, y.cos), product(x.sinh, sin)};
}

struct SinhOf {
  static constexpr bool reports = true;
  static Extended of(Extended z) {
    Products const p = products(z.re, z.im);
    return {p.sinh_cos, p.cosh_sin};
  }
};
struct CoshOf {
  static constexpr bool reports = true;
  static Extended of(Extended z) {
    Products const p = products(z.re, z.im);
    return {p.cosh_cos, p.sinh_sin};
  }
};
struct SinOf {
  static constexpr bool reports = true;
  static Extended of(Extended z) {
    Products const p = products(z.im, z.re);
    return {p.cosh_sin, p.sinh_cos};
  }
};
struct CosOf {
  static constexpr bool reports = true;
  static Extended of(Extended z) {
    Products const p = products(z.im, z.re);
    return {p.cosh_cos, -p.sinh_sin};
  }
};

// The parts of tanh(h + i c).
struct Tangents {
  Long h, c;
};
Tangents tangents(Long h, Long c) {
  if (is_infinite(h)) {
    Circular const y = is_finite(c) ? circular(c) : Circular{1, 1};
    return {with_sign(1, h), with_sign(0, (y.sin < 0) == (y.cos < 0) ? 1.0L : -1.0L)};
  }
  if (!is_finite(h) || !is_finite(c))
    return {h == 0 ? h : not_a_number, c == 0 ? c : not_a_number};
  Long const bounded = magnitude(h) > 2000 ? with_sign(2000, h) : h;
  Hyperbolic const x = hyperbolic(bounded);
  Circular const y = circular(c);
  Long const below = x.sinh * x.sinh + y.cos * y.cos;
  return {x.sinh * x.cosh / below, c == 0 ? c : y.sin * y.cos / below};
}
struct TanhOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Tangents const t = tangents(z.re, z.im);
    return {t.h, t.c};
  }
};
struct TanOf {
  static constexpr bool reports = false;
  static Extended of(Extended z) {
    Tangents const t = tangents(z.im, z.re);
    return {t.c, t.h};
  }
};

template <class T, Level>
using Sinh = OneByOne<T, SinhOf>;
template <class T, Level>
using Cosh = OneByOne<T, CoshOf>;
template <class T, Level>
using Tanh = OneByOne<T, TanhOf>;
template <class T, Level>
using Sin = OneByOne<T, SinOf>;
template <class T, Level>
using Cos = OneByOne<T, CosOf>;
template <class T, Level>
using Tan = OneByOne<T, TanOf>;

} // namespace
} // namespace orv

#define ORV_COMPLEX_KERNEL(name)                                                                             \
  ORV_TYPED_KERNEL(c, float, name, orv::name);                                                               \
  ORV_TYPED_KERNEL(z, double, name, orv::name)
ORV_COMPLEX_KERNEL(Sinh);
ORV_COMPLEX_KERNEL(Cosh);
ORV_COMPLEX_KERNEL(Tanh);
ORV_COMPLEX_KERNEL(Sin);
ORV_COMPLEX_KERNEL(Cos);
ORV_COMPLEX_KERNEL(Tan);
