// Element-wise kernels as generators call them: double precision at EP, single precision at LA; `ha` is slot 1, for
// constants and for results whose distribution shows the bits.
#pragma once
#include "orv/elementwise.h"

#include <immintrin.h>
#include <type_traits>

namespace orv::distributions::kernel {

template <class T>
inline constexpr int usual = std::is_same_v<T, double> ? 2 : 0;
inline constexpr int ha = 1;

#define ORV_UNARY(name, Function)                                                                            \
  inline void name(int n, double const* a, double* r, int slot = usual<double>) {                            \
    orv_elw_kernel_d##Function##_ttab[slot](n, a, r);                                                        \
  }                                                                                                          \
  inline void name(int n, float const* a, float* r, int slot = usual<float>) {                               \
    orv_elw_kernel_s##Function##_ttab[slot](n, a, r);                                                        \
  }
ORV_UNARY(ln, Ln)
ORV_UNARY(log1p, Log1p)
ORV_UNARY(exp, Exp)
ORV_UNARY(expm1, Expm1)
ORV_UNARY(sqrt, Sqrt)
ORV_UNARY(sin, Sin)
ORV_UNARY(tan, Tan)
ORV_UNARY(erf_inv, ErfInv)
ORV_UNARY(erf, Erf)
#undef ORV_UNARY

inline void sin_cos(int n, double const* a, double* s, double* c) {
  orv_elw_kernel_dSinCos_ttab[usual<double>](n, a, s, c);
}
inline void sin_cos(int n, float const* a, float* s, float* c) {
  orv_elw_kernel_sSinCos_ttab[usual<float>](n, a, s, c);
}
inline void powx(int n, double const* a, double b, double* r) {
  orv_elw_kernel_dPowx_ttab[usual<double>](n, a, b, r);
}
inline void powx(int n, float const* a, float b, float* r) {
  orv_elw_kernel_sPowx_ttab[usual<float>](n, a, b, r);
}

// Of one number, for constants.
inline double ln(double x) { return ln(1, &x, &x, ha), x; }
inline double log1p(double x) { return log1p(1, &x, &x, ha), x; }
inline double exp(double x) { return exp(1, &x, &x, ha), x; }
inline double expm1(double x) { return expm1(1, &x, &x, ha), x; }
inline double powx(double x, double y) { return orv_elw_kernel_dPowx_ttab[ha](1, &x, y, &x), x; }
inline double sqrt(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_set_sd(x), _mm_set_sd(x))); }
inline double floor(double x) { return _mm_cvtsd_f64(_mm_floor_sd(_mm_set_sd(x), _mm_set_sd(x))); }
inline double ceil(double x) { return _mm_cvtsd_f64(_mm_ceil_sd(_mm_set_sd(x), _mm_set_sd(x))); }

} // namespace orv::distributions::kernel
