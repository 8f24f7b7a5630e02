// Gaussian vectors: standard ones, a triangular product through the core library, the mean.
#include "distributions/draw.h"
#include "distributions/frame.h"
#include "distributions/gaussian.h"
#include "frame/linalg.h"

namespace orv::distributions {
namespace {

template <class T>
void shape(int vectors, T* r, int dimen, int mstorage, T const* a, T const* t) {
  T const one = 1;
  using L = core::Linalg<T>;
  switch (mstorage) {
  case RnqMatrixFull:
    if (dimen <= 10)
      L::xtrmm_4elw("L", "U", "T", "N", &dimen, &vectors, &one, t, &dimen, r, &dimen);
    else
      L::trmm_4elw("L", "U", "T", "N", &dimen, &vectors, &one, t, &dimen, r, &dimen);
    break;
  case RnqMatrixPacked:
    L::ptrmm_4elw("L", "L", "N", "N", &dimen, &vectors, &one, t, r, &dimen);
    break;
  case RnqMatrixDiagonal:
    for (int i = 0; i < vectors; ++i)
      for (int j = 0; j < dimen; ++j) r[ptrdiff_t{i} * dimen + j] = r[ptrdiff_t{i} * dimen + j] * t[j] + a[j];
    return;
  default:
    return;
  }
  for (int i = 0; i < vectors; ++i)
    for (int j = 0; j < dimen; ++j) r[ptrdiff_t{i} * dimen + j] += a[j];
}

template <class T>
int32_t vectors(int32_t method, RngStream* stream, int n, T* r, int dimen, int mstorage, T const* a,
                T const* t) {
  if (n <= 0) return RnqOk;
  if (dimen < 1) return RnqErrBadArgument;
  Frame const frame(replace_singular<T, Replace::gaussian>);
  Source const source(stream);
  if (dimen == 1) return gaussian(method, source, n, r, a[0], t[0]);
  // Pieces of whole vectors; all at once where the stream is faster so, and the count allows it.
  int const most = INT32_MAX / dimen;
  int const part = source.is_quasi() ? most : std::max(1, piece / dimen);
  for (int done = 0; done < n;) {
    int const m = std::min(part, n - done);
    T* const x = r + ptrdiff_t{done} * dimen;
    if (int32_t const status = gaussian(method, source, m * dimen, x, T(0), T(1)); status < 0) return status;
    shape(m, x, dimen, mstorage, a, t);
    done += m;
  }
  return RnqOk;
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngGaussianMV(int32_t method, RngStream* stream, int32_t n, double* r, int32_t dimen,
                                      int32_t mstorage, const double* a, const double* t) {
  return vectors(method, stream, n, r, dimen, mstorage, a, t);
}
ORV_EXPORT int32_t _rnqsRngGaussianMV(int32_t method, RngStream* stream, int32_t n, float* r, int32_t dimen,
                                      int32_t mstorage, const float* a, const float* t) {
  return vectors(method, stream, n, r, dimen, mstorage, a, t);
}
