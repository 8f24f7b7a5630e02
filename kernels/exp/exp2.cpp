// Exp2: 2^x, one algorithm for all levels. Method: kernels/exp/reduction.h with K = 4 in single precision (the table is in
// registers: 64 entries in memory took twice as long) and 64 in double; the remainder is exact and no multiplication is
// needed to split the argument. Polynomial in single precision: tools/exp2_float.sollya, 2^-28.2.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sExp2: LA 0.616 at -0.00401392533; HA 0.616 at -0.00401392533; EP 23.84 bits; 1.50 / 1.49 / 1.49
//   dExp2: LA 0.52 at 89.9442339; HA 0.52 at 89.9442339; EP 52.99 bits; 2.49 / 2.49 / 2.49
#include "kernels/exp/reduction.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace exponential;

template <class T, Level>
struct Exp2;

template <Level level>
struct Exp2<float, level> {
  using Operand = float;
  using Result = float;
  static constexpr int operands = 1, results = 1;
  static constexpr float biased_shifter = 3145855.0f; // 1.5 * 2^21, plus the exponent bias
  F eval(F x) const {
    F const sum = x + F(biased_shifter);
    F const r = x - (sum - F(biased_shifter));
    F const p =
        simd::horner(r, 0.69314706325531f, 0.24022647738456726f, 0.05553136393427849f, 0.009622474201023579f);
    return times_quarter_power(sum, [r, p](F lo) { return simd::fma(r, p, lo); });
  }
  unsigned special(F x, F) const { return beyond(x, 126.0f); }
  int repair(float x, float& r) const {
    return exponential::repair(x, r, Limits<float>{128.0f, -150.0f}, true,
                               [](float a, float& out) { return deliver(exp2_scaled(a), out); });
  }
};

template <Level level>
struct Exp2<double, level> {
  using Operand = double;
  using Result = double;
  static constexpr int operands = 1, results = 1;
  static constexpr double shifter = 105553116266496.0; // 1.5 * 2^46
  D eval(D x) const {
    D const sum = x + D(shifter);
    D const r = x - (sum - D(shifter));
    Bits<double> const index = simd::bits(sum) & Bits<double>(63);
    auto const t = simd::lookup_pair(table_d64, index + index);
    D const q = r * simd::horner(r, 0.6931471805599453, 0.24022650695884967, 0.05550410866607508,
                                 0.009618142269653759, 0.0013333417185814622);
    D const p = t.hi + simd::fma(q, t.hi, t.lo);
    return simd::from_bits(simd::bits(p) +
                           (simd::shift_left<46>(simd::bits(sum)) & Bits<double>(0xFFF0000000000000)));
  }
  unsigned special(D x, D) const { return beyond_upper(x, 0x408FEFFF); }
  int repair(double x, double& r) const {
    return exponential::repair(x, r, Limits<double>{1024.0, -1075.0}, true,
                               [](double a, double& out) { return deliver(exp2_scaled(a), out); });
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Exp2, orv::Exp2);
