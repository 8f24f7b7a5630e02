// Reciprocals and roots over short arrays, as the estimates need them; the one place that says how.
#pragma once
#include <cstddef>
#include <immintrin.h>

namespace orv::statistics {

inline double root(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_set_sd(x), _mm_set_sd(x))); }
inline float root(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }

template <class T>
void inverse_root(ptrdiff_t n, T const* a, T* r) {
  for (ptrdiff_t i = 0; i < n; ++i) r[i] = 1 / root(a[i]);
}

} // namespace orv::statistics
