// The loop of the complex functions that are computed one by one on the x87 unit: 64-bit precision and rounding to
// nearest whatever the caller's control word is; MXCSR is not touched and does not matter, since no SSE arithmetic
// takes part.
//
// A function F gives `static Extended of(Extended z)` for any z, NaN and infinities included, and says whether an
// infinite part that comes of finite parts, none of them 0, is reported.
#pragma once
#include "kernels/complex/extended.h"
#include "kernels/loop/tables.h"

namespace orv::complex {

class X87Precision {
 public:
  X87Precision() {
    __asm__ volatile("fnstcw %0" : "=m"(word_)::"memory");
    changed_ = (word_ & 0xF3F) != 0x33F;
    if (changed_) [[unlikely]] {
      uint16_t const word = static_cast<uint16_t>((word_ & ~0xF3F) | 0x33F);
      __asm__ volatile("fnclex\n\tfldcw %0" ::"m"(word) : "memory");
    }
  }
  ~X87Precision() {
    if (changed_) [[unlikely]] {
      __asm__ volatile("fldcw %0" ::"m"(word_) : "memory");
    }
  }
  X87Precision(X87Precision const&) = delete;
  X87Precision& operator=(X87Precision const&) = delete;

 private:
  uint16_t word_;
  bool changed_;
};

// By their bits: no compare of the SSE unit, whose flags belong to the caller.
template <class T>
bool finite_and_not_zero(T x) {
  auto const size = scalar::bits(x) & ~simd::sign_mask<T>;
  return size != 0 && size < simd::exponent_mask<T>;
}
template <class T>
bool is_infinite(T x) {
  return (scalar::bits(x) & ~simd::sign_mask<T>) == simd::exponent_mask<T>;
}

// To the working precision, by the x87 unit. A denormal float raises the underflow flag.
template <class T>
T narrow(long double x) {
  T r;
  if constexpr (sizeof(T) == 4)
    __asm__("fstps\t%0" : "=m"(r) : "t"(x) : "st");
  else
    __asm__("fstpl\t%0" : "=m"(r) : "t"(x) : "st");
  if constexpr (sizeof(T) == 4) {
    auto const size = scalar::bits(r) & ~simd::sign_mask<T>;
    if (size != 0 && size < 0x00800000) [[unlikely]] {
      float volatile smallest = simd::Format<float>::smallest_normal;
      (void)(smallest * smallest);
    }
  }
  return r;
}

template <class F, class T>
[[gnu::noinline]] void compute(Complex<T> const& a, Complex<T>& r) {
  Extended const v = F::of({static_cast<long double>(a.re), static_cast<long double>(a.im)});
  T const re = narrow<T>(v.re), im = narrow<T>(v.im);
  r = {re, im};
}
template <class F, class T>
[[gnu::noinline]] void compute(Complex<T> const& a, Complex<T> const& b, Complex<T>& r) {
  Extended const v = F::of({static_cast<long double>(a.re), static_cast<long double>(a.im)},
                           {static_cast<long double>(b.re), static_cast<long double>(b.im)});
  T const re = narrow<T>(v.re), im = narrow<T>(v.im);
  r = {re, im};
}

// Element i of a, and of b where there is one, with strides; b may stand still.
template <class F, class T, bool two>
void each(int n, Strided<const Complex<T>> a, Strided<const Complex<T>> b, Strided<Complex<T>> r,
          const char* name) {
  X87Precision const precision;
  for (int i = 0; i < n; ++i) {
    Complex<T> x, y{}, v;
    __builtin_memcpy(&x, &a.base[i * a.stride], sizeof x); // a result may take its place
    if constexpr (two) {
      __builtin_memcpy(&y, &b.base[i * b.stride], sizeof y);
      compute<F, T>(x, y, v);
    } else {
      compute<F, T>(x, v);
    }
    __builtin_memcpy(&r.base[i * r.stride], &v, sizeof v);
    if constexpr (F::reports)
      if ((is_infinite(v.re) || is_infinite(v.im)) && finite_and_not_zero(x.re) && finite_and_not_zero(x.im))
        report_error<Complex<T>, Complex<T>>(ORV_STATUS_OVERFLOW, i, a, two ? b : a, r, r, name);
  }
}

template <class T, class F>
struct OneByOne {
  using Operand = Complex<T>;
  using Result = Complex<T>;
  static constexpr int operands = 1, results = 1;
  template <Name name>
  struct Entries {
    using C = Complex<T>;
    static void contiguous(int n, const C* a, C* r) {
      each<F, T, false>(n, {a, 1}, {a, 1}, {r, 1}, report_name<name>.text);
    }
    template <auto& pair, int k>
    static void strided(int n, const C* a, int inca, C* r, int incr) {
      if (inca == 1 && incr == 1) return slot_of(pair, k)(n, a, r);
      each<F, T, false>(n, {a, inca}, {a, inca}, {r, incr}, report_name<name>.text);
    }
  };
};

} // namespace orv::complex
