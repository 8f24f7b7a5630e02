// Uniform reals and integers.
#include "distributions/draw.h"
#include "distributions/frame.h"

namespace orv::distributions {
namespace {

template <class T>
int32_t reals(int32_t method, RngStream* stream, int n, T* r, T a, T b) {
  if (n <= 0) return RnqOk;
  Frame const frame(nullptr);
  int32_t const status = Source(stream).uniform(n, r, a, b);
  if (status < 0 || !(method & RnqAccurate)) return status;
  map(n, r, [=](simd::Vec<T> x) { return simd::min(simd::Vec<T>(b), simd::max(simd::Vec<T>(a), x)); });
  return RnqOk;
}

// Truncated towards minus infinity. A real that rounding has put on b belongs to the last integer.
void whole(int n, double const* u, int32_t* r, double b) {
  using simd::D;
  auto const four = [=](double const* x) {
    D const real = simd::load(x);
    D const capped = simd::choose(simd::is_equal(real, D(b)), D(b - 1),
                                  simd::round<_MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC>(real));
    return _mm256_cvttpd_epi32(capped.v);
  };
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_si128(reinterpret_cast<__m128i*>(r + i), four(u + i));
  if (i < n) {
    double rest[4] = {};
    int32_t last[4];
    std::copy(u + i, u + n, rest);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(last), four(rest));
    std::copy(last, last + (n - i), r + i);
  }
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngUniform(int32_t method, RngStream* stream, int32_t n, double* r, double a,
                                   double b) {
  return reals(method, stream, n, r, a, b);
}
ORV_EXPORT int32_t _rnqsRngUniform(int32_t method, RngStream* stream, int32_t n, float* r, float a, float b) {
  return reals(method, stream, n, r, a, b);
}
ORV_EXPORT int32_t _rnqiRngUniform(int32_t, RngStream* stream, int32_t n, int32_t* r, int32_t a, int32_t b) {
  if (n <= 0) return RnqOk;
  Frame const frame(nullptr);
  return drawn_apart<double>(Source(stream), n, r, double(a), double(b),
                             [=](int m, double const* u, int32_t* out) { whole(m, u, out, b); });
}
