// Distributions that follow from the logarithm of a uniform number: exponential, Gumbel, Laplace, Rayleigh, Weibull.
#include "distributions/exponential.h"

#include "distributions/frame.h"
#include "distributions/kernels.h"

namespace orv::distributions {
namespace {

using simd::Vec;

template <class T>
int32_t exponential_of(Source const& source, int n, T* r, T a, T beta) {
  return closed_form(source, n, r, T(0), T(1), [=](int m, T* x) {
    kernel::ln(m, x, x);
    map(m, x, [=](Vec<T> l) { return simd::max(Vec<T>(a), Vec<T>(a) - Vec<T>(beta) * l); });
  });
}

template <class T>
int32_t exponential_entry(RngStream* stream, int n, T* r, T a, T beta) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<T, Replace::ln>);
  return exponential_of(Source(stream), n, r, a, beta);
}

template <class T>
int32_t gumbel(RngStream* stream, int n, T* r, T a, T beta) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<T, Replace::ln>);
  return closed_form(Source(stream), n, r, T(0), T(1), [=](int m, T* x) {
    kernel::ln(m, x, x);
    map(m, x, [](Vec<T> l) { return simd::max(Vec<T>(T(0)), Vec<T>(T(0)) - l); });
    kernel::ln(m, x, x);
    map(m, x, [=](Vec<T> l) { return Vec<T>(a) + Vec<T>(beta) * l; });
  });
}

template <class T>
int32_t laplace(RngStream* stream, int n, T* r, T a, T beta) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<T, Replace::ln>);
  Source const source(stream);
  T pairs[2 * piece], size[piece], side[piece];
  for (int done = 0; done < n;) {
    int const m = std::min(piece, n - done);
    if (int32_t const status = source.uniform(2 * m, pairs); status < 0) return status;
    split(m, pairs, size, side);
    kernel::ln(m, size, size);
    map(m, size, side, r + done, [=](Vec<T> l, Vec<T> v) {
      Vec<T> const step = Vec<T>(beta) * l;
      return simd::choose(simd::not_at_most(v, Vec<T>(T(0.5))), Vec<T>(a) + step, Vec<T>(a) - step);
    });
    done += m;
  }
  return RnqOk;
}

// a + beta root(-ln u), where root(m, x) works in place.
template <class T, class Root>
int32_t root_of_exponential(RngStream* stream, int n, T* r, T a, T beta, Root root) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<T, Replace::poles>);
  return closed_form(Source(stream), n, r, T(0), T(1), [=](int m, T* x) {
    kernel::ln(m, x, x);
    map(m, x, [](Vec<T> l) { return negate(l); });
    root(m, x);
    map(m, x, [=](Vec<T> s) { return simd::max(Vec<T>(a), Vec<T>(a) + Vec<T>(beta) * s); });
  });
}
template <class T>
int32_t rayleigh(RngStream* stream, int n, T* r, T a, T beta) {
  return root_of_exponential(stream, n, r, a, beta, [](int m, T* x) { kernel::sqrt(m, x, x); });
}
template <class T>
int32_t weibull(RngStream* stream, int n, T* r, T alpha, T a, T beta) {
  if (n <= 0) return RnqOk;
  if (!(alpha > 0)) return RnqErrBadArgument;
  return root_of_exponential(stream, n, r, a, beta, [=](int m, T* x) { kernel::powx(m, x, 1 / launder(alpha), x); });
}

} // namespace

int32_t exponential(Source const& source, int n, double* r, double a, double beta) {
  return exponential_of(source, n, r, a, beta);
}
int32_t exponential(Source const& source, int n, float* r, float a, float beta) {
  return exponential_of(source, n, r, a, beta);
}

} // namespace orv::distributions

using namespace orv::distributions;

#define ORV_TWO_PARAMETERS(x, T, Name, function)                                                             \
  ORV_EXPORT int32_t _rnq##x##Rng##Name(int32_t, RngStream* stream, int32_t n, T* r, T a, T beta) {          \
    return function(stream, n, r, a, beta);                                                                  \
  }
#define ORV_TWINS(Name, function)                                                                            \
  ORV_TWO_PARAMETERS(d, double, Name, function)                                                              \
  ORV_TWO_PARAMETERS(s, float, Name, function)
ORV_TWINS(Exponential, exponential_entry)
ORV_TWINS(Gumbel, gumbel)
ORV_TWINS(Laplace, laplace)
ORV_TWINS(Rayleigh, rayleigh)

ORV_EXPORT int32_t _rnqdRngWeibull(int32_t, RngStream* stream, int32_t n, double* r, double alpha, double a,
                                   double beta) {
  return weibull(stream, n, r, alpha, a, beta);
}
ORV_EXPORT int32_t _rnqsRngWeibull(int32_t, RngStream* stream, int32_t n, float* r, float alpha, float a,
                                   float beta) {
  return weibull(stream, n, r, alpha, a, beta);
}
