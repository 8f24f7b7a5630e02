// Ln: natural logarithm. s: kernels/log/polynomial.h, d: kernels/log/reciprocal.h.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sLn: LA 3.92 at 0.882957339; HA 0.94 at 0.630377769; EP 12.79 bits; 0.89 / 1.21 / 0.65
//   dLn: LA 1.65 at 0.619505219; HA 0.732 at 0.999048893; EP 31.5 bits; 3.13 / 4.24 / 2.71
#include "kernels/log/reciprocal.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace logarithm;

template <class T, Level>
struct Ln;

template <Level level>
struct Ln<float, level> {
  using Operand = float;
  using Result = float;
  static constexpr int operands = 1, results = 1;
  F eval(F x) const {
    auto const [e, f, exponent] = split(x);
    if constexpr (level == Level::HA) {
      F const q = with_quadratic_tail(f, -0.5f, 0.3333321511745453f, -0.24999797344207764f,
                                      0.20010405778884888f, -0.16680487990379333f, 0.140058696269989f,
                                      -0.12184260785579681f, 0.1398443728685379f, -0.12891685962677002f);
      return simd::fma(e, F(0.693145751953125f), simd::fma(e, F(1.428606765330187e-06f), q));
    } else if constexpr (level == Level::LA) {
      F const q =
          with_quadratic_tail(f, -0.5f, 0.33336564898490906f, -0.25004664063453674f, 0.19822503626346588f,
                              -0.16462457180023193f, 0.16964881122112274f, -0.15177205204963684f);
      return simd::fma(e, F(0.6931471824645996f), q);
    } else {
      F const q =
          with_quadratic_tail(f, -0.5f, 0.33289623260498047f, -0.2674025893211365f, 0.2198837250471115f);
      return simd::fma(e, F(0.6931471824645996f), q);
    }
  }
  unsigned special(F x, F) const { return not_positive_normal(x); }
  int repair(float x, float& r) const {
    if (int const status = outside_domain(x, r); status >= 0) return status;
    Log const l = log_parts(x);
    r = static_cast<float>(l.e * 0.6931471805599453 + (l.hi + l.lo));
    return ORV_STATUS_OK;
  }
};

template <Level level>
struct Ln<double, level> {
  using Operand = double;
  using Result = double;
  static constexpr int operands = 1, results = 1;
  D eval(D x) const {
    SplitD const s = split(x);
    D const z = s.z;
    if constexpr (level == Level::HA) {
      auto const t = entry(table_ln_pairs, s.row);
      Sum const sum = add(simd::fma(s.e, D(0.6931471805582987), t.hi), z);
      D const low = simd::fma(z * z, tail_of_ln(z), simd::fma(s.e, D(1.6465949582866463e-12), t.lo));
      return sum.hi + (sum.error + low);
    } else {
      D const t = entry(table_ln, s.row);
      D p;
      if constexpr (level == Level::LA)
        p = tail_of_ln(z);
      else
        p = simd::fma(z, D(0.33333333333308374), D(-0.49999999999988803));
      return simd::fma(s.e, D(0.6931471805599453), t) + simd::fma(z * z, p, z);
    }
  }
  unsigned special(D x, D) const { return outside_normal(x); }
  int repair(double x, double& r) const {
    if (int const status = outside_domain(x, r); status >= 0) return status;
    Log const l = log_parts(x);
    auto const sum = scalar::two_sum(scalar::fma(l.e, 0.6931471805598903, 0.0), l.hi);
    r = sum.hi + (sum.lo + scalar::fma(l.e, 5.497923018708371e-14, l.lo));
    return ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Ln, orv::Ln);
