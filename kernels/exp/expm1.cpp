// Expm1: e^x - 1 without cancellation. Method: kernels/exp/reduction.h; with A = 2^m T_hi the result is
// (A - 1) + A (e^r - 1), so that no exponent is added at the end. HA keeps A - 1 and A r in two terms.
// Measured: the largest error in ulp (LA, HA) and the fewest good bits (EP), each with its argument, over so many
// arguments (2^32: all); cycles an element at n = 1024, LA / HA / EP.
//   sExpm1 (2^32): LA 1.68 at 0x1.be6522p-6; HA 0.645 at 0x1.0a4afap-6; EP 15.33 bits at 0x1.62e47ap-7;
//      2.23 / 3.36 / 1.77
//   dExpm1 (2e+07): LA 2.96 at 0x1.81519e275c12p-9; HA 0.609 at 0x1.f99025d6d068bp-11;
//      EP 30.17 bits at 0x1.62e4328171bedp-9; 4.07 / 6.45 / 3.21
#include "kernels/exp/reduction.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace exponential;

// The constants of a level. K: table entries; the reduction is in two steps where L2 is not 0.
template <class T, Level level>
struct Expm1Constants;
template <Level level>
struct Expm1Constants<float, level> {
  static constexpr int K = level == Level::EP ? 32 : 64;
  static constexpr float scale = level == Level::EP ? 46.16624069213867f : 92.33248138427734f;
  static constexpr float L1 = level == Level::EP ? 0.021660849452018738f : 0.010833740234375f;
  static constexpr float L2 = level == Level::EP ? 0.0f : -3.3155381515825866e-06f;
  static constexpr float limit = 86.64339447021484f;
  static constexpr uint32_t high_part = 0xFFFFF000;
  static constexpr float shifter = 12582912.0f;
  static F c(F r) {
    if constexpr (level == Level::EP)
      return F(0.5000008940696716f);
    else
      return simd::fma(r, F(0.16666696965694427f), F(0.5000008940696716f));
  }
};
template <Level level>
struct Expm1Constants<double, level> {
  static constexpr int K = 128;
  static constexpr double scale = 184.6649652337873;
  static constexpr double L1 = level == Level::EP ? 0.0054152123481245725 : 0.005415212347998022;
  static constexpr double L2 = level == Level::EP ? 0.0 : 1.2655086083325438e-13;
  static constexpr double limit = 707.7032713517041;
  static constexpr uint64_t high_part = 0xFFFFFFFFF8000000;
  static constexpr double shifter = 6755399441055744.0;
  static D c(D r) {
    if constexpr (level == Level::EP)
      return simd::horner(r, 0.4999999999999767, 0.166666666666658);
    else
      return simd::horner(r, 0.4999999999999767, 0.166666666666658, 0.04166667939432669,
                          0.008333335878830547);
  }
};

// Entry k mod K, as it is for the float table without low parts.
inline simd::VecPair<float> entry(Bits<float> index, std::integral_constant<int, 64>) {
  return simd::lookup_pair(table_s64, index);
}
inline simd::VecPair<float> entry(Bits<float> index, std::integral_constant<int, 32>) {
  return {simd::pick32(table_s32, index), F(0.0f)};
}
inline simd::VecPair<double> entry(Bits<double> index, std::integral_constant<int, 128>) {
  return simd::lookup_pair(table_d128, index + index);
}

template <class T, Level level>
struct Expm1 : Expm1Constants<T, level> {
  using Operand = T;
  using Result = T;
  using C = Expm1Constants<T, level>;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const k = simd::round<_MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC>(x * V(C::scale));
    Bits<T> const n = simd::bits(k + V(C::shifter));
    auto const t = entry(n & Bits<T>(C::K - 1), std::integral_constant<int, C::K>());
    constexpr int shift = Format<T>::mantissa_bits - std::countr_zero(static_cast<unsigned>(C::K));
    Bits<T> const exponent = simd::shift_left<shift>(andnot(Bits<T>(C::K - 1), n));
    V const a = simd::from_bits(simd::bits(t.hi) + exponent); // 2^m T_hi
    V const power = simd::from_bits(simd::bits(V(T(1))) + exponent);
    V const u = simd::fnma(k, V(C::L1), x);
    V result;
    if constexpr (level == Level::EP) {
      V const q = simd::fma(u * u, C::c(u), u);
      result = simd::fma(a, q, a - V(T(1)));
    } else if constexpr (level == Level::LA) {
      V const r = simd::fnma(k, V(C::L2), u);
      V const q = simd::fma(r * r, C::c(r), r);
      V const b = simd::fma(power, t.lo, a - V(T(1)));
      result = simd::fma(b + V(T(1)), q, b);
    } else {
      V const r = simd::fnma(k, V(C::L2), u);
      V const cut = simd::from_bits(simd::bits(u) & Bits<T>(C::high_part));
      V const high = simd::blend(cut, u, simd::compare<_CMP_EQ_OQ>(u, x)); // a small x passes undisturbed
      V const low = simd::fnma(k, V(C::L2), u - high);
      V const q = simd::fma(r * r, C::c(r), low);
      // A - 1 in two terms, the larger one first.
      V const d = a - V(T(1));
      V const error_a = (a - d) - V(T(1)), error_1 = a - (d + V(T(1)));
      V const large = simd::compare<_CMP_GE_OQ>(a, V(T(1)));
      // In double T_lo e^r, as 2^m T_lo r alone is up to half an ulp of a small result.
      V const low_part = sizeof(T) == 8 ? simd::fma(t.lo, r, t.lo) : t.lo;
      V const error = simd::fma(power, low_part, simd::blend(error_1, error_a, large));
      // A r in two terms onto it: |A - 1| is above |A r| but where it is 0.
      V const sum = simd::fma(a, high, d);
      V const rest = simd::fma(a, high, d - sum);
      result = sum + simd::fma(a, q, error + rest);
    }
    return result | simd::sign_of(x);
  }
  unsigned special(V x, V) const { return beyond_or_nan(x, C::limit); }
  int repair(T x, T& r) const {
    if (!scalar::is_nan(x) && x < 0) {
      r = T(-1);
      return ORV_STATUS_OK;
    }
    return exponential::repair(x, r, exp_limits<T>, false,
                               [](T a, T& out) { return deliver(exp_scaled(a), out); });
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Expm1, orv::Expm1);
