// What happens when an element has a numerical error: status, callback, errno, message, exception.
#pragma once
#include "orv/mode.h"

#include <cstddef>
#include <cstdint>

namespace orv {

template <class T>
struct Complex {
  T re, im;
};

// An array as a kernel got it: element i lies at base + i * stride, counted in elements.
template <class E>
struct Strided {
  E* base;
  std::ptrdiff_t stride;
};

// Reports one element. Its result stands in r1 (and r2) already and may be changed by the callback.
// One-operand functions pass a1 twice, one-result functions r1 twice. `A` is the element of the operands,
// `R` that of the results; the width of A is the unit of the reported index.
template <class A, class R>
void report_error(int status, int index, Strided<const A> a1, Strided<const A> a2, Strided<R> r1,
                  Strided<R> r2, const char* name);

extern template void report_error(int, int, Strided<const float>, Strided<const float>, Strided<float>,
                                  Strided<float>, const char*);
extern template void report_error(int, int, Strided<const double>, Strided<const double>, Strided<double>,
                                  Strided<double>, const char*);
extern template void report_error(int, int, Strided<const Complex<float>>, Strided<const Complex<float>>,
                                  Strided<Complex<float>>, Strided<Complex<float>>, const char*);
extern template void report_error(int, int, Strided<const Complex<double>>, Strided<const Complex<double>>,
                                  Strided<Complex<double>>, Strided<Complex<double>>, const char*);
extern template void report_error(int, int, Strided<const Complex<float>>, Strided<const Complex<float>>,
                                  Strided<float>, Strided<float>, const char*);
extern template void report_error(int, int, Strided<const Complex<double>>, Strided<const Complex<double>>,
                                  Strided<double>, Strided<double>, const char*);
extern template void report_error(int, int, Strided<const float>, Strided<const float>,
                                  Strided<Complex<float>>, Strided<Complex<float>>, const char*);
extern template void report_error(int, int, Strided<const double>, Strided<const double>,
                                  Strided<Complex<double>>, Strided<Complex<double>>, const char*);

// The forms by type: contiguous, and with a stride for each array (an `I` behind the name).
#define ORV_REPORT_FORM(suffix, E)                                                                           \
  inline void ElwReportError##suffix(int status, int index, const E* a1, const E* a2, E* r1, E* r2,          \
                                     const char* name) {                                                     \
    report_error<E, E>(status, index, {a1, 1}, {a2, 1}, {r1, 1}, {r2, 1}, name);                             \
  }                                                                                                          \
  inline void ElwReportError##suffix##I(int status, int index, const E* a1, int inc1, const E* a2, int inc2, \
                                        E* r1, int incr1, E* r2, int incr2, const char* name) {              \
    report_error<E, E>(status, index, {a1, inc1}, {a2, inc2}, {r1, incr1}, {r2, incr2}, name);               \
  }
ORV_REPORT_FORM(S, float)
ORV_REPORT_FORM(D, double)
ORV_REPORT_FORM(C, Complex<float>)
ORV_REPORT_FORM(Z, Complex<double>)
#undef ORV_REPORT_FORM

} // namespace orv
