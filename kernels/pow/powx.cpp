// Powx: x to one scalar power. The exponent is looked at once a call: small integers are chains of multiplications,
// roots and reciprocals are called through the table slots of their functions, all others take the body of Pow.
#include "kernels/loop/tables.h"
#include "kernels/pow/power.h"

namespace orv {
namespace {

using namespace power;
using simd::Format;

template <class T, Level level>
struct PowxGeneral {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 2, results = 1;
  Vec<T> eval(Vec<T> x, Vec<T> y, unsigned& lanes) const { return PowerBody<T, level>::eval(x, y, lanes); }
  int repair(T x, T y, T& r) const { return repair_pow(x, y, r); }
};

// x^n by a chain of multiplications, without any test: overflow is silent. The errors of n - 1 products add up;
// from n = 6 on the chain keeps them in a second term where four ulp are promised.
template <class T, int n, bool careful = false>
struct IntegerPower {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1, unroll = careful ? 2 : 4;

  V eval(V x) const {
    if constexpr (n == 2) return x * x;
    if constexpr (n == 3) return (x * x) * x;
    V const x2 = x * x;
    if constexpr (n == 5) return (x2 * x2) * x;
    V const x4 = x2 * x2;
    if constexpr (n == 4) return x4;
    if constexpr (careful) {
      Terms const one{x, V(T(0))}, two = product(one, one), four = product(two, two);
      Terms const p = n == 6   ? product(four, two)
                      : n == 7 ? product(product(four, two), one)
                      : n == 8 ? product(four, four)
                               : product(product(four, four), one);
      // An overflow makes the second term NaN: then the plain product stands. The sum of -0 and +0 is +0: an odd
      // power of -0 takes its sign from the product.
      V const sum = (p.hi + p.lo) | simd::sign_of(p.hi);
      return simd::blend(sum, p.hi, simd::compare<_CMP_UNORD_Q>(sum, sum));
    }
    if constexpr (n == 6) return x4 * x2;
    if constexpr (n == 7) return x4 * (x2 * x);
    if constexpr (n == 8) return x4 * x4;
    return (x4 * x4) * x;
  }

 private:
  struct Terms {
    V hi, lo;
  };
  ORV_INLINE static Terms product(Terms a, Terms b) {
    V const p = a.hi * b.hi;
    return {p, simd::fma(a.hi, b.lo, simd::fma(a.lo, b.hi, simd::fms(a.hi, b.hi, p)))};
  }
};

// x^-n as a power of the reciprocal: the reciprocal of the positive power would be 0 for every denormal result, and
// lose bits next to the largest number. Where four ulp are promised the rounding error of 1 / x is taken out again.
template <class T, int n, bool corrected>
struct NegativePower {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    V const y = V(T(1)) / x;
    V t = y;
    if constexpr (corrected) {
      // Without 0 * Inf, which would raise a flag: then y is 0, infinite or NaN, and t is y whatever its factor.
      V const size = simd::magnitude(y);
      V const usual = simd::compare<_CMP_LE_OQ>(size, V(Format<T>::largest)) &
                      simd::compare<_CMP_GE_OQ>(size, V(Format<T>::smallest_normal));
      t = simd::fma(y, V(T(n)) * simd::fnma(x & usual, y & usual, V(T(1))), y);
    }
    if constexpr (n == 2) return y * t;
    if constexpr (n == 3) return (y * y) * t;
    return (y * y) * (y * t);
  }
  unsigned special(V, V r) const {
    return simd::lane_mask(simd::compare<_CMP_EQ_OQ>(simd::magnitude(r), V(static_cast<T>(__builtin_inf()))));
  }
  // Poles, and what is so near one that its positive power is 0.
  int repair(T x, T& r) const {
    T power = scalar::opaque(x) * x;
    for (int i = 2; i < n; ++i) power *= x;
    r = T(1) / scalar::opaque(power);
    return power == T(0) ? ORV_STATUS_SINGULARITY : ORV_STATUS_OK;
  }
};

// Tables of the functions that special exponents call: contiguous and strided, by type.
extern "C" {
#define ORV_CALLED(x, T, name)                                                                               \
  extern const TablePair<void(int, const T*, T*)> orv_elw_kernel_##x##name##_ttab;                           \
  extern const TablePair<void(int, const T*, int, T*, int)> orv_elw_kernel_##x##name##I_ttab;
#define ORV_CALLED_BOTH(name) ORV_CALLED(s, float, name) ORV_CALLED(d, double, name)
ORV_CALLED_BOTH(Inv)
ORV_CALLED_BOTH(Sqrt)
ORV_CALLED_BOTH(InvSqrt)
ORV_CALLED_BOTH(Cbrt)
ORV_CALLED_BOTH(InvCbrt)
ORV_CALLED_BOTH(Pow3o2)
ORV_CALLED_BOTH(Pow2o3)
}

// The arrays of a call, with the ways to go over them.
template <class T>
struct PowxArrays {
  int n;
  const T* a;
  int inca;
  T* r;
  int incr;
  bool strided;

  template <class Pair, class PairI>
  void call(Pair const& pair, PairI const& pair_i, Level level) const {
    if (strided)
      slot_of(pair_i, static_cast<int>(level))(n, a, inca, r, incr);
    else
      slot_of(pair, static_cast<int>(level))(n, a, r);
  }
  template <class K>
  void loop(K const& k, const char* name) const {
    if (strided) {
      ControlState const control;
      loop::StridedIn<T> const in{a, inca};
      loop::StridedOut<T> const out{r, incr};
      loop::run(control, k, n, in, in, out, out, name);
    } else {
      loop::ContiguousIn<T> const in{a};
      loop::ContiguousOut<T> const out{r};
      loop::call(k, n, in, in, out, out, name);
    }
  }
  void each(const T* source) const { // copies, or fills where source is one value
    for (std::ptrdiff_t i = 0; i < n; ++i)
      __builtin_memcpy(r + i * incr, source ? source : a + i * inca, sizeof(T));
  }
};

#define ORV_SLOT_CALL(name)                                                                                  \
  if constexpr (sizeof(T) == 4)                                                                              \
    x.call(orv_elw_kernel_s##name##_ttab, orv_elw_kernel_s##name##I_ttab, level);                            \
  else                                                                                                       \
    x.call(orv_elw_kernel_d##name##_ttab, orv_elw_kernel_d##name##I_ttab, level)

template <class T, Level level, int n>
bool integer_power(PowxArrays<T> const& x, T b, const char* name) {
  if (scalar::bits(b) == scalar::bits(T(n))) {
    x.loop(IntegerPower < T, n, level == Level::LA && (n > 5) > (), name);
    return true;
  }
  if constexpr (n < 9) return integer_power<T, level, n + 1>(x, b, name);
  return false;
}

template <class T, Level level, int n>
bool negative_power(PowxArrays<T> const& x, T b, const char* name) {
  if (scalar::bits(b) == scalar::bits(T(-n))) {
    x.loop(NegativePower<T, n, level == Level::LA>(), name);
    return true;
  }
  if constexpr (n < 4) return negative_power<T, level, n + 1>(x, b, name);
  return false;
}

// The values next to 1/3 and 2/3.
template <class T>
constexpr simd::UnsignedOf<T> third = 0x3EAAAAAB;
template <>
constexpr uint64_t third<double> = 0x3FD5555555555555;
template <class T>
constexpr simd::UnsignedOf<T> two_thirds = 0x3F2AAAAB;
template <>
constexpr uint64_t two_thirds<double> = 0x3FE5555555555555;

// True if the exponent was one of the special ones. They are told by their bits alone: this runs before the frame,
// under the caller's control state.
template <class T, Level level>
bool special_exponent(PowxArrays<T> const& x, T b, const char* name) {
  constexpr bool low = level != Level::HA, ep = level == Level::EP;
  auto is = [b](T value) { return scalar::bits(b) == scalar::bits(value); };
  if (is(T(0.0)) || is(T(-0.0))) {
    T const one = 1;
    x.each(&one);
    return true;
  }
  if (is(T(1.0))) return x.each(nullptr), true;
  if (is(T(2.0))) return x.loop(IntegerPower<T, 2>(), name), true;
  if (is(T(-1.0))) {
    ORV_SLOT_CALL(Inv);
    return true;
  }
  if (is(T(0.5))) {
    ORV_SLOT_CALL(Sqrt);
    return true;
  }
  if (is(T(-0.5))) {
    ORV_SLOT_CALL(InvSqrt);
    return true;
  }
  if (is(T(1.5))) {
    ORV_SLOT_CALL(Pow3o2);
    return true;
  }
  if constexpr (low) {
    if (integer_power<T, level, 3>(x, b, name)) return true;
    if (negative_power<T, level, 2>(x, b, name)) return true;
  }
  if constexpr (ep) {
    if (scalar::bits(b) == third<T>) {
      ORV_SLOT_CALL(Cbrt);
      return true;
    }
    if (scalar::bits(b) == (third<T> | simd::sign_mask<T>)) {
      ORV_SLOT_CALL(InvCbrt);
      return true;
    }
    if (scalar::bits(b) == two_thirds<T>) {
      ORV_SLOT_CALL(Pow2o3);
      return true;
    }
  }
  return false;
}

template <class T, Level level>
struct Powx {
  template <Name name>
  struct Entries {
    static void contiguous(int n, const T* a, T b, T* r) {
      PowxArrays<T> const x{n, a, 1, r, 1, false};
      if (special_exponent<T, level>(x, b, report_name<name>.text)) return;
      T const exponent = b;
      loop::ContiguousOut<T> const out{r};
      loop::call(PowxGeneral<T, level>(), n, loop::ContiguousIn<T>{a}, loop::ScalarIn<T>{&exponent}, out, out,
                 report_name<name>.text);
    }
    template <auto& pair, int k>
    static void strided(int n, const T* a, int inca, T b, T* r, int incr) {
      if (inca == 1 && incr == 1) return slot_of(pair, k)(n, a, b, r);
      PowxArrays<T> const x{n, a, inca, r, incr, true};
      if (special_exponent<T, level>(x, b, report_name<name>.text)) return;
      ControlState const control;
      T const exponent = b;
      loop::StridedOut<T> const out{r, incr};
      loop::run(control, PowxGeneral<T, level>(), n, loop::StridedIn<T>{a, inca},
                loop::ScalarIn<T>{&exponent}, out, out, report_name<name>.text);
    }
  };
};

} // namespace
} // namespace orv

ORV_KERNEL(Powx, orv::Powx);
