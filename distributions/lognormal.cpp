// Lognormal numbers: the exponential function of Gaussian ones, by the paired method or by inversion.
#include "distributions/frame.h"
#include "distributions/gaussian.h"
#include "distributions/kernels.h"

namespace orv::distributions {
namespace {

template <class T>
int32_t lognormal(int32_t method, RngStream* stream, int n, T* r, T a, T sigma, T b, T beta) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<T, Replace::gaussian>);
  Source const source(stream);
  int32_t const inner = method == 0 ? RnqGaussianBoxMuller2 : RnqGaussianInverse;
  int const part = source.is_quasi() ? n : piece;
  for (int done = 0; done < n;) {
    int const m = std::min(part, n - done);
    T* const x = r + done;
    if (int32_t const status = gaussian(inner, source, m, x, a, sigma); status < 0) return status;
    kernel::exp(m, x, x);
    map(m, x, [=](simd::Vec<T> e) { return simd::Vec<T>(b) + simd::Vec<T>(beta) * e; });
    done += m;
  }
  return RnqOk;
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngLognormal(int32_t method, RngStream* stream, int32_t n, double* r, double a,
                                     double sigma, double b, double beta) {
  return lognormal(method, stream, n, r, a, sigma, b, beta);
}
ORV_EXPORT int32_t _rnqsRngLognormal(int32_t method, RngStream* stream, int32_t n, float* r, float a,
                                     float sigma, float b, float beta) {
  return lognormal(method, stream, n, r, a, sigma, b, beta);
}
