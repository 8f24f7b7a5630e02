// Exp10: 10^x, one algorithm for all levels. Method: kernels/exp/reduction.h with K = 4 in single precision (in registers)
// and 128 in double, the remainder in decimal units. Polynomial in single precision: tools/exp2_float.sollya, 2^-28.0.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sExp10: LA 0.525 at -36.442749; HA 0.525 at -36.442749; EP 23.97 bits; 1.49 / 1.49 / 1.49
//   dExp10: LA 0.749 at -307.764802; HA 0.749 at -307.764802; EP 53 bits; 2.69 / 2.69 / 2.69
#include "kernels/exp/reduction.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace exponential;

template <class T, Level>
struct Exp10;

template <Level level>
struct Exp10<float, level> {
  using Operand = float;
  using Result = float;
  static constexpr int operands = 1, results = 1;
  static constexpr float biased_shifter = 12583420.0f; // 1.5 * 2^23, plus 4 times the exponent bias
  F eval(F x) const {
    F const sum = simd::fma(x, F(13.28771209716797f), F(biased_shifter)), k = sum - F(biased_shifter);
    F const r = simd::fnma(k, F(1.1512597666296642e-06f), simd::fnma(k, F(0.07525634765625f), x));
    F const p =
        simd::horner(r, 2.3025846481323242f, 2.6509487628936768f, 2.0357244014739990f, 1.1717568635940552f);
    return times_quarter_power(sum, [r, p](F lo) { return simd::fma(r, p, lo); });
  }
  unsigned special(F x, F) const { return beyond(x, 37.929779052734375f); }
  int repair(float x, float& r) const {
    return exponential::repair(x, r, Limits<float>{38.53184127807617f, -45.15449905395508f}, false,
                               [](float a, float& out) { return deliver(exp10_scaled(a), out); });
  }
};

template <Level level>
struct Exp10<double, level> {
  using Operand = double;
  using Result = double;
  static constexpr int operands = 1, results = 1;
  static constexpr double shifter = 6896136929411072.0; // 1.5 * 2^52 + 2^47
  D eval(D x) const {
    D const sum = simd::fma(x, D(425.20679614558236), D(shifter));
    D const k = sum - D(shifter);
    D const r = simd::fnma(k, D(-1.487744411497209e-14), simd::fnma(k, D(0.0023517968411397305), x));
    Bits<double> const index = simd::bits(sum) & Bits<double>(127);
    auto const t = simd::lookup_pair(table_d128, index + index);
    D const q = r * simd::horner(r, 2.302585092994046, 2.650949055239026, 2.0346785917911965,
                                 1.1712555494866221, 0.5396424512945068);
    D const p = t.hi + simd::fma(q, t.hi, t.lo);
    return simd::from_bits(simd::bits(p) +
                           (simd::shift_left<45>(simd::bits(sum)) & Bits<double>(0xFFF0000000000000)));
  }
  unsigned special(D x, D) const { return beyond_upper(x, 0x40733A70); }
  int repair(double x, double& r) const {
    return exponential::repair(x, r, Limits<double>{308.2547155599167, -323.60724533877976}, false,
                               [](double a, double& out) { return deliver(exp10_scaled(a), out); });
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Exp10, orv::Exp10);
