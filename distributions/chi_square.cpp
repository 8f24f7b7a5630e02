// Chi-square numbers: squares of Gaussian ones, a logarithm of a product of uniform ones, or Gamma.
#include "distributions/draw.h"
#include "distributions/frame.h"
#include "distributions/gamma.h"
#include "distributions/gaussian.h"
#include "distributions/kernels.h"

namespace orv::distributions {
namespace {

// Result i is made of its own `each` numbers, which fill(m, x) gives: r = combine over x[i each] to x[(i + 1) each - 1].
template <class T, class Fill, class Combine>
int32_t of_groups(int n, T* r, int each, Fill fill, Combine combine) {
  T x[piece];
  for (int done = 0; done < n;) {
    int const m = std::min(piece / each, n - done);
    if (int32_t const status = fill(m * each, x); status < 0) return status;
    combine(m, x, r + done);
    done += m;
  }
  return RnqOk;
}

template <class T>
int32_t chi_square(RngStream* stream, int n, T* r, int v) {
  if (n <= 0) return RnqOk;
  if (v < 1) return RnqErrBadArgument;
  Source const source(stream);
  if (v == 1 || v == 3) {
    Frame const frame(replace_singular<T, Replace::gaussian>);
    return of_groups(
        n, r, v, [&](int m, T* x) { return gaussian(RnqGaussianInverse, source, m, x, T(0), T(1)); },
        [=](int m, T const* x, T* out) {
          for (int i = 0; i < m; ++i) {
            T sum = 0;
            for (int j = 0; j < v; ++j) sum += x[i * v + j] * x[i * v + j];
            out[i] = sum;
          }
        });
  }
  Frame const frame(replace_singular<T, Replace::ln>);
  if (v > 16 || v % 2) return gamma(source, n, r, static_cast<T>(v / 2.0), T(0), T(2));
  int const each = v / 2;
  return of_groups(
      n, r, each, [&](int m, T* x) { return source.uniform(m, x); },
      [=](int m, T const* x, T* out) {
        for (int i = 0; i < m; ++i) {
          T product = 1;
          for (int j = 0; j < each; ++j) product *= x[i * each + j];
          out[i] = product;
        }
        kernel::ln(m, out, out);
        map(m, out, [](simd::Vec<T> l) { return simd::Vec<T>(T(-2)) * l; });
      });
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngChiSquare(int32_t, RngStream* stream, int32_t n, double* r, int32_t v) {
  return chi_square(stream, n, r, v);
}
ORV_EXPORT int32_t _rnqsRngChiSquare(int32_t, RngStream* stream, int32_t n, float* r, int32_t v) {
  return chi_square(stream, n, r, v);
}
