// Cauchy numbers: the tangent of a uniform angle.
#include "distributions/draw.h"
#include "distributions/frame.h"
#include "distributions/kernels.h"

namespace orv::distributions {
namespace {

template <class T>
int32_t cauchy(RngStream* stream, int n, T* r, T a, T beta) {
  if (n <= 0) return RnqOk;
  Frame const frame(nullptr);
  T const quarter = static_cast<T>(0x1.921FB54442D18p0);
  return closed_form(Source(stream), n, r, -quarter, quarter, [=](int m, T* x) {
    kernel::tan(m, x, x);
    map(m, x, [=](simd::Vec<T> t) { return simd::Vec<T>(a) + simd::Vec<T>(beta) * t; });
  });
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngCauchy(int32_t, RngStream* stream, int32_t n, double* r, double a, double beta) {
  return cauchy(stream, n, r, a, beta);
}
ORV_EXPORT int32_t _rnqsRngCauchy(int32_t, RngStream* stream, int32_t n, float* r, float a, float beta) {
  return cauchy(stream, n, r, a, beta);
}
