// Gaussian numbers: by Box and Muller (Ann. Math. Stat. 29, 1958), one or two results of each pair of uniform numbers,
// or by the inverse of the distribution function.
#include "distributions/gaussian.h"

#include "distributions/chunk.h"
#include "distributions/frame.h"
#include "distributions/kernels.h"

namespace orv::distributions {
namespace {

template <class T>
inline constexpr uint32_t due_chunk = sizeof(T) == 8 ? gaussian_double : gaussian_single;
template <class T>
inline constexpr T two_pi = static_cast<T>(0x1.921FB54442D18p2);

template <class T>
void scale(int n, T* r, T a, T sigma) {
  map(n, r, [=](simd::Vec<T> x) { return simd::Vec<T>(a) + simd::Vec<T>(sigma) * x; });
}

// u becomes sqrt(-2 ln u), v the angle 2 pi v.
template <class T>
void polar(int m, T* u, T* v) {
  map(m, v, [](simd::Vec<T> x) { return x * simd::Vec<T>(two_pi<T>); });
  kernel::ln(m, u, u);
  map(m, u, [](simd::Vec<T> x) { return x * simd::Vec<T>(T(-2)); });
  kernel::sqrt(m, u, u);
}

template <class T>
int32_t box_muller(Source const& source, int n, T* r, T a, T sigma) {
  T pairs[2 * piece], u[piece], v[piece];
  for (int done = 0; done < n;) {
    int const m = std::min(piece, n - done);
    if (int32_t const status = source.uniform(2 * m, pairs); status < 0) return status;
    split(m, pairs, u, v);
    polar(m, u, v);
    kernel::sin(m, v, v);
    map(m, u, v, r + done, [](auto s, auto sine) { return s * sine; });
    scale(m, r + done, a, sigma);
    done += m;
  }
  return RnqOk;
}

// Both results of m pairs, sine first.
template <class T>
void both(int m, T* u, T* v, T* r) {
  T sine[piece / 2], cosine[piece / 2];
  polar(m, u, v);
  kernel::sin_cos(m, v, sine, cosine);
  map(m, u, sine, sine, [](auto s, auto x) { return s * x; });
  map(m, u, cosine, cosine, [](auto s, auto x) { return s * x; });
  join(m, sine, cosine, r);
}

// The pair whose second result is due stays in the chunk until the results of the call stand.
template <class T>
int32_t box_muller2(Source const& source, int n, T* r, T a, T sigma) {
  Due<T>* const due = due_of<T>(source.stream(), due_chunk<T>);
  if (!due) return RnqErrNoMemory;
  T pairs[piece], u[piece / 2], v[piece / 2], two[2];
  int done = 0;
  if (due->waits()) {
    u[0] = due->u, v[0] = due->other;
    both(1, u, v, two);
    r[0] = two[1];
    scale(1, r, a, sigma);
    done = 1;
  }
  while (n - done > 1) {
    int const m = std::min(piece / 2, (n - done) / 2);
    if (int32_t const status = source.uniform(2 * m, pairs); status < 0) return status;
    split(m, pairs, u, v);
    both(m, u, v, r + done);
    scale(2 * m, r + done, a, sigma);
    done += 2 * m;
  }
  if (done == n) {
    due->clear();
    return RnqOk;
  }
  if (int32_t const status = source.uniform(2, pairs); status < 0) return status;
  u[0] = pairs[0], v[0] = pairs[1];
  both(1, u, v, two);
  r[done] = two[0];
  scale(1, r + done, a, sigma);
  *due = {pairs[0], pairs[1]};
  return RnqOk;
}

template <class T>
int32_t inverse(Source const& source, int n, T* r, T a, T sigma) {
  T const scaled = static_cast<T>(1.4142135623730951) * sigma;
  return closed_form(source, n, r, T(-1), T(1), [=](int m, T* x) {
    kernel::erf_inv(m, x, x);
    scale(m, x, a, scaled);
  });
}

template <class T>
int32_t dispatch(int32_t method, Source const& source, int n, T* r, T a, T sigma) {
  switch (method) {
  case RnqGaussianBoxMuller:
    return box_muller(source, n, r, a, sigma);
  case RnqGaussianBoxMuller2:
    return box_muller2(source, n, r, a, sigma);
  case RnqGaussianInverse:
    return inverse(source, n, r, a, sigma);
  default:
    return RnqErrBadMethod;
  }
}

template <class T>
int32_t entry(int32_t method, RngStream* stream, int n, T* r, T a, T sigma) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<T, Replace::gaussian>);
  sigma = launder(sigma);
  return dispatch(method, Source(stream), n, r, a, sigma);
}

} // namespace

int32_t gaussian(int32_t method, Source const& source, int n, double* r, double a, double sigma) {
  return dispatch(method, source, n, r, a, sigma);
}
int32_t gaussian(int32_t method, Source const& source, int n, float* r, float a, float sigma) {
  return dispatch(method, source, n, r, a, sigma);
}

} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngGaussian(int32_t method, RngStream* stream, int32_t n, double* r, double a,
                                    double sigma) {
  return entry(method, stream, n, r, a, sigma);
}
ORV_EXPORT int32_t _rnqsRngGaussian(int32_t method, RngStream* stream, int32_t n, float* r, float a,
                                    float sigma) {
  return entry(method, stream, n, r, a, sigma);
}
