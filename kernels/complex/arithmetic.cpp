// Add, Sub, Mul, MulByConj, Conj of complex numbers, by parts. Products: in single precision at LA and HA one product
// and one fused step in double; in double precision both products in two terms, summed in two. EP takes one product and
// one fused step and sends lanes that cancel to the path of LA. Measured, largest error of a part: c 0.50 ulp, z 0.50
// ulp (0.75 next to the smallest normal number) at LA and HA.
#include "kernels/complex/parts.h"
#include "kernels/complex/recovery.h"

#include <tuple>

namespace orv {
namespace {

using namespace complex;

template <class T, int count>
struct Arithmetic {
  using Operand = Complex<T>;
  using Result = Complex<T>;
  using V = ComplexVec<T>;
  static constexpr int operands = count, results = 1;
};

// By parts as real numbers: nothing is separated, and nothing is reported.
template <class T, class Operation>
struct OfReals {
  using Operand = T;
  using Result = T;
  static constexpr int operands = Operation::operands, results = 1, unroll = 4;
  Vec<T> eval(Vec<T> a, Vec<T> b) const requires(operands == 2) { return Operation::each(a, b); }
  Vec<T> eval(Vec<T> a) const requires(operands == 1) { return Operation::each(a); }
};
template <class T, class Operation, class... A>
ORV_INLINE void call_on_parts(int n, Complex<T>* r, const A*... a) {
  constexpr int longest = 1 << 29; // elements whose parts an int counts
  for (int at = 0; at < n; at += longest) {
    int const piece = n - at < longest ? n - at : longest;
    loop::ContiguousOut<T> const out{&r[at].re};
    auto const first = std::get<0>(std::tuple(a...)), last = std::get<sizeof...(A) - 1>(std::tuple(a...));
    loop::call(OfReals<T, Operation>(), 2 * piece, loop::ContiguousIn<T>{&first[at].re},
               loop::ContiguousIn<T>{&last[at].re}, out, out, "");
    if (piece < longest) break;
  }
}

template <class T>
struct Plus {
  static constexpr int operands = 2;
  ORV_INLINE static Vec<T> each(Vec<T> a, Vec<T> b) { return simd::ordered_add(a, b); }
  static T each(T a, T b) { return scalar::opaque(a) + b; }
};
template <class T>
struct Minus {
  static constexpr int operands = 2;
  ORV_INLINE static Vec<T> each(Vec<T> a, Vec<T> b) { return a - b; }
  static T each(T a, T b) { return scalar::opaque(a) - b; }
};

template <class T, Level level, class Operation>
struct ByParts : Arithmetic<T, 2> {
  using V = ComplexVec<T>;
  V eval(V a, V b) const { return {Operation::each(a.re, b.re), Operation::each(a.im, b.im)}; }
  unsigned special(V, V, V r) const { return not_finite(r); }
  int repair(Complex<T> a, Complex<T> b, Complex<T>& r) const {
    auto each = [](T x, T y) {
      return scalar::is_nan(x) || scalar::is_nan(y) ? scalar::nan_of(x, y) : Operation::each(x, y);
    };
    r = {each(a.re, b.re), each(a.im, b.im)};
    return overflow_status(finite(a) && finite(b), r);
  }
};
template <class T, class Operation>
struct ByParts<T, Level::EP, Operation> : Arithmetic<T, 2> {
  using V = ComplexVec<T>;
  V eval(V a, V b) const { return {Operation::each(a.re, b.re), Operation::each(a.im, b.im)}; }
  template <Name name>
  struct Entries : loop::Entry<ByParts, Form::binary, name> {
    using C = Complex<T>;
    static void contiguous(int n, const C* a, const C* b, C* r) { call_on_parts<T, Operation>(n, r, a, b); }
  };
};
template <class T, Level level>
using Add = ByParts<T, level, Plus<T>>;
template <class T, Level level>
using Sub = ByParts<T, level, Minus<T>>;

template <class T>
struct FlipSecond {
  static constexpr int operands = 1;
  ORV_INLINE static Vec<T> each(Vec<T> a) {
    constexpr Complex<T> flip{T(0), T(-0.0)};
    return a ^ simd::broadcast_pair(&flip.re);
  }
};
template <class T, Level>
struct Conj : Arithmetic<T, 1> {
  using V = ComplexVec<T>;
  V eval(V a) const { return {a.re, a.im ^ Vec<T>(T(-0.0))}; }
  template <Name name>
  struct Entries : loop::Entry<Conj, Form::unary, name> {
    using C = Complex<T>;
    static void contiguous(int n, const C* a, C* r) { call_on_parts<T, FlipSecond<T>>(n, r, a); }
  };
};

// b, or its conjugate.
template <bool conjugate, class T>
ORV_INLINE ComplexVec<T> factor(ComplexVec<T> b) {
  if constexpr (conjugate) b.im = b.im ^ Vec<T>(T(-0.0));
  return b;
}
template <bool conjugate, class T>
ORV_INLINE Complex<T> factor(Complex<T> b) {
  if constexpr (conjugate) b.im = -b.im;
  return b;
}

// Single precision: all products are exact in double.
ORV_INLINE ComplexVec<float> exact_product(ComplexVec<float> a, ComplexVec<float> b) {
  auto const ar = simd::widen(a.re), ai = simd::widen(a.im), br = simd::widen(b.re), bi = simd::widen(b.im);
  auto re = [](D ar, D ai, D br, D bi) { return simd::fms(ar, br, ai * bi); };
  auto im = [](D ar, D ai, D br, D bi) { return simd::fma(ar, bi, ai * br); };
  return {simd::narrow({re(ar.low, ai.low, br.low, bi.low), re(ar.high, ai.high, br.high, bi.high)}),
          simd::narrow({im(ar.low, ai.low, br.low, bi.low), im(ar.high, ai.high, br.high, bi.high)})};
}
ORV_INLINE ComplexVec<double> exact_product(ComplexVec<double> a, ComplexVec<double> b) {
  auto sum = [](Terms t) { return t.hi + negative_zero(t.lo); };
  return {sum(sum_of_products(a.re, b.re, a.im ^ D(-0.0), b.im)),
          sum(sum_of_products(a.re, b.im, a.im, b.re))};
}

// Lanes that the exact product in double precision may have lost bits of: products below 2^-968 have no exact low
// part. A zero that comes of zeros is right.
constexpr double smallest_product = 0x1p-968;
ORV_INLINE simd::Mask<double> inexact(D a, D b, D c, D d) {
  D const zero(0.0);
  auto const size = simd::max(simd::magnitude(a * b), simd::magnitude(c * d));
  auto both = [&](D x, D y) { return simd::keep(simd::is_equal(x, zero) | simd::is_equal(y, zero), D(-0.0)); };
  auto const zeros = both(a, b) & both(c, d); // by the sign bit
  return {simd::keep(simd::is_less(size, D(smallest_product)),
                     simd::from_bits(simd::andnot(simd::bits(zeros), simd::bits(D(-0.0)))))};
}

template <class T, Level level, bool conjugate>
struct Product : Arithmetic<T, 2> {
  using V = ComplexVec<T>;
  static constexpr bool quick = level == Level::EP;
  // Below it a part in double precision has lost bits, by cancellation or by small factors.
  static constexpr int32_t first_upper = 0x08800000; // 2^-887

  V eval(V a, V b, unsigned& lanes) const {
    b = factor<conjugate>(b);
    if constexpr (quick) {
      // The error of p counts beside the difference: 14 or 29 good bits are left.
      Vec<T> const limit(sizeof(T) == 4 ? T(0.0009765625) : T(0x1p-24)), p1 = a.im * b.im, p2 = a.re * b.im;
      V const r{simd::fms(a.re, b.re, p1), simd::fma(a.im, b.re, p2)};
      lanes = simd::lane_bits(simd::not_less(limit * simd::magnitude(p1), simd::magnitude(r.re)) |
                              simd::not_less(limit * simd::magnitude(p2), simd::magnitude(r.im)));
      return r;
    } else {
      V const r = exact_product(a, b);
      if constexpr (sizeof(T) == 4)
        lanes = not_finite(r);
      else
        lanes = outside(r);
      return r;
    }
  }
  // Marked lanes by the exact product; those that remain are not finite or too small.
  unsigned far(V a, V b, V& r, unsigned lanes) const {
    b = factor<conjugate>(b);
    if constexpr (quick) r = select(lanes, exact_product(a, b), r);
    unsigned left = lanes & not_finite(r);
    if constexpr (sizeof(T) == 8)
      left |= lanes & simd::lane_bits(inexact(a.re, b.re, a.im, b.im) | inexact(a.re, b.im, a.im, b.re));
    return left;
  }
  int repair(Complex<T> a, Complex<T> b, Complex<T>& r) const {
    r = product(a, factor<conjugate>(b));
    return overflow_status(finite(a) && finite(b), r);
  }

 private:
  static unsigned outside(ComplexVec<double> r) {
    auto part = [](D x) { return simd::outside(simd::bits(simd::magnitude(x)), first_upper, 0x7FEFFFFF); };
    return simd::lane_mask(part(r.re) | part(r.im));
  }
};
template <class T, Level level>
using Mul = Product<T, level, false>;
template <class T, Level level>
using MulByConj = Product<T, level, true>;

} // namespace
} // namespace orv

#define ORV_COMPLEX_KERNEL(name)                                                                             \
  ORV_TYPED_KERNEL(c, float, name, orv::name);                                                               \
  ORV_TYPED_KERNEL(z, double, name, orv::name)
ORV_COMPLEX_KERNEL(Add);
ORV_COMPLEX_KERNEL(Sub);
ORV_COMPLEX_KERNEL(Mul);
ORV_COMPLEX_KERNEL(MulByConj);
ORV_COMPLEX_KERNEL(Conj);
