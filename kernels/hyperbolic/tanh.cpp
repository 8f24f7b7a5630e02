// Tanh: the quotient of kernels/hyperbolic/exponentials.h, at HA in double precision of two terms each and corrected by
// its remainder. In single precision HA and EP take a rational function in a^2 up to 9.02, from where on the result is 1
// (tools/rational_fit.py tanh 6 3: 2^-27.2, in double; tanh 3 2: 2^-13.0). Infinities and NaN pass through.
#include "kernels/hyperbolic/exponentials.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace hyperbolic;

template <class T, Level level>
struct Tanh {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const a = simd::magnitude(x);
    V r;
    if constexpr (sizeof(T) == 4 && level != Level::LA) {
      F const end(9.02f), c = simd::min(end, a); // a NaN stays one
      if constexpr (level == Level::HA)
        r = simd::narrow(simd::each(simd::widen(c), [](D v) { return rational<double>(v); }));
      else
        r = rational<float>(c);
      r = simd::choose(simd::is_at_least(a, end), F(1.0f), r);
    } else {
      V const c = simd::min(V(T(20)), a); // where sinh and cosh are the same
      if constexpr (level == Level::HA) {
        auto const both = in_two(c);
        auto const n = normal(both.sinh), d = normal(both.cosh);
        D const y = D(1.0) / d.head, q = n.head * y;
        r = simd::fma(simd::fnma(q, d.head, n.head) + simd::fnma(q, d.tail, n.tail), y, q);
      } else {
        auto const both = in_one<T, level>(c);
        r = both.sinh / both.cosh;
      }
    }
    return r ^ simd::sign_of(x);
  }

 private:
  // The tail made as small as it can be.
  ORV_INLINE static Sum<double> normal(Sum<double> x) {
    D const head = x.head + x.tail;
    return {head, x.tail - (head - x.head)};
  }
  template <class U>
  ORV_INLINE static Vec<U> rational(Vec<U> a) {
    Vec<U> const u = a * a;
    if constexpr (level == Level::EP)
      return a *
             simd::horner(u, 0.99988154860267762, 0.10312275178347158, 0.0007686580596484451,
                          -1.2936615687228074e-6) /
             simd::horner(u, 1.0, 0.4358454434702563, 0.013273626209633668);
    else
      return a *
             simd::horner(u, 0.99999999351215228, 0.13084389045913271, 0.0031043790932995208,
                          1.1158724777798737e-5, -2.0243146941360941e-8, 5.2866099203221387e-11,
                          -8.5111220397996186e-14) /
             simd::horner(u, 1.0, 0.46417716237341732, 0.024496863501332627, 0.00025467605266928208);
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Tanh, orv::Tanh);
