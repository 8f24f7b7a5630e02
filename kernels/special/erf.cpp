// Erf. Method: kernels/special/grid.h, steps of 1/128; HA in single precision computes in double, in double precision
// adds in two terms. EP in single precision is (a polynomial)^2 in a^2 times a up to 2.59, from where on it is 1. No
// status: infinities and NaN pass through.
#include "kernels/loop/tables.h"
#include "kernels/special/grid.h"

namespace orv {
namespace {

using namespace special;

template <class T, Level level>
struct Erf {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;
  static constexpr T last = sizeof(T) == 4 ? T(3.9296875) : T(6);

  V eval(V x) const {
    V const a = simd::magnitude(x);
    V r;
    if constexpr (sizeof(T) == 8) {
      r = in_double<level>(a);
    } else if constexpr (level == Level::HA) {
      r = simd::narrow(simd::each(simd::widen(a), [](D half) { return in_double<Level::LA>(half); }));
    } else if constexpr (level == Level::LA) {
      auto const [a0, d, index] = grid_point<float, 128>(a, last);
      auto const row = simd::lookup_pair(erf_rows_s, index & Bits<float>(511));
      V const p = row.lo * d;
      r = row.hi + simd::fma(p, moments<0, 2, 0>((a0 + a0) * d, d * (d ^ V(-0.0f))), p);
    } else {
      V const u = a * a;
      V const q = simd::horner(u, 1.0621689558029175f, -0.17621441185474396f, 0.0369567833840847f,
                               -0.00535742798820138f, 0.0004578158841468394f, -1.7058555386029184e-05f);
      r = simd::choose(simd::is_at_least(a, V(2.59f)), V(1.0f), a * (q * q));
    }
    return r | simd::sign_of(x);
  }

 private:
  template <Level precision>
  ORV_INLINE static D in_double(D a) {
    auto const [a0, d, index] = grid_point<double, 128>(a, 6.0);
    Rows const row = rows_at(erf_rows_d, index & Bits<double>(1023));
    D const q = (a0 + a0) * d, s = d * (d ^ D(-0.0));
    D tail;
    if constexpr (precision == Level::EP)
      tail = moments<0, 3, 1>(q, s);
    else if constexpr (sizeof(T) == 4)
      tail = moments<0, 4, 1>(q, s);
    else
      tail = moments<0, 6, 3, 1, 0>(q, s);
    if constexpr (precision == Level::HA) {
      auto const sum = in_two(row, d, tail);
      return sum.head + sum.tail;
    }
    D const p = row.slope * d;
    return row.value + simd::fma(p, tail, p);
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Erf, orv::Erf);
