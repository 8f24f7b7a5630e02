// Logb: the exponent of x, exact. Zero is a pole of the function that reports status 1.
#include "kernels/loop/tables.h"
#include "kernels/simd/scalar.h"

namespace orv {
namespace {

template <class T, Level>
struct Logb {
  using Operand = T;
  using Result = T;
  using V = simd::Vec<T>;
  static constexpr int operands = 1, results = 1;
  static constexpr int mantissa = simd::Format<T>::mantissa_bits, bias = simd::Format<T>::bias;

  V eval(V x) const {
    simd::Bits<T> const field =
        simd::shift_right<mantissa>(simd::bits(x) & simd::Bits<T>(simd::exponent_mask<T>));
    // As the low bits of a power of two that holds them, minus that power and the bias.
    constexpr T power = static_cast<T>(uint64_t{1} << mantissa);
    return simd::from_bits(field | simd::bits(V(power))) - V(power + static_cast<T>(bias));
  }
  unsigned special(V x, V) const { return simd::lane_mask(simd::not_normal(x)); }
  int repair(T x, T& r) const {
    if (scalar::not_finite(x)) {
      r = scalar::quiet(scalar::magnitude(x));
      return ORV_STATUS_OK;
    }
    if (x == T(0)) {
      r = T(-1) / scalar::opaque(T(0));
      return ORV_STATUS_DOMAIN;
    }
    constexpr int shift = mantissa + 2;
    T const scaled = scalar::opaque(x) * scalar::power_of_two<T>(shift);
    r = static_cast<T>(scalar::biased_exponent(scaled) - bias - shift);
    return ORV_STATUS_OK;
  }
};

} // namespace
} // namespace orv

ORV_KERNEL(Logb, orv::Logb);
