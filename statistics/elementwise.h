// Element-wise kernels as the estimates call them: by fixed slots of their tables, with denormals kept.
#pragma once
#include "frame/thread_state.h"
#include "orv/elementwise.h"

#include <cstddef>
#include <immintrin.h>

namespace orv::statistics {

inline double root(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_set_sd(x), _mm_set_sd(x))); }
inline float root(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }

// Kernels called in its life keep denormals, whatever the caller's mode says. The word itself goes back:
// setting a mode can't clear a field that was clear before.
class KeepDenormals {
 public:
  KeepDenormals() : mode_(orv_elw_kernel_SetMode(ORV_KEEP_DENORMALS)) {}
  ~KeepDenormals() { ElwGetThreadState().mode = mode_; }
  KeepDenormals(KeepDenormals const&) = delete;
  KeepDenormals& operator=(KeepDenormals const&) = delete;

 private:
  uint32_t mode_;
};

constexpr int slot_la = 0;

inline void inverse_root(ptrdiff_t n, double const* a, double* r) {
  KeepDenormals const mode;
  orv_elw_kernel_dInvSqrt_ttab[slot_la](static_cast<int>(n), a, r);
}
inline void inverse_root(ptrdiff_t n, float const* a, float* r) {
  KeepDenormals const mode;
  orv_elw_kernel_sInvSqrt_ttab[slot_la](static_cast<int>(n), a, r);
}

} // namespace orv::statistics
