// Bernoulli and geometric numbers: a comparison, and a logarithm, of one single precision uniform number.
#include "distributions/frame.h"
#include "distributions/integers.h"
#include "distributions/kernels.h"

namespace orv::distributions {
namespace {

using simd::F;

template <class Function>
void to_integers(int m, float const* u, int32_t* r, Function f) {
  int i = 0;
  for (; i + 8 <= m; i += 8) _mm256_storeu_si256(reinterpret_cast<__m256i*>(r + i), f(simd::load(u + i)));
  if (i < m) {
    alignas(32) float rest[8] = {};
    alignas(32) int32_t last[8];
    std::copy(u + i, u + m, rest);
    _mm256_store_si256(reinterpret_cast<__m256i*>(last), f(simd::load(rest)));
    std::copy(last, last + (m - i), r + i);
  }
}

int32_t bernoulli(RngStream* stream, int n, int32_t* r, double p) {
  if (n <= 0) return RnqOk;
  if (!(p >= 0 && p <= 1)) return RnqErrBadArgument;
  Frame const frame(nullptr);
  auto const limit = static_cast<float>(launder(p));
  return drawn_apart<float>(Source(stream), n, r, 0.0f, 1.0f, [=](int m, float* u, int32_t* out) {
    to_integers(m, u, out,
                [=](F x) { return (simd::bits(simd::is_less(x, F(limit)).v) & simd::Bits<float>(1)).v; });
  });
}

int32_t geometric(RngStream* stream, int n, int32_t* r, double p) {
  if (n <= 0) return RnqOk;
  if (!(p > 0 && p <= 1)) return RnqErrBadArgument;
  Frame const frame(replace_singular<float, Replace::ln>);
  auto const c = static_cast<float>(1 / kernel::log1p(-launder(p)));
  return drawn_apart<float>(Source(stream), n, r, 0.0f, 1.0f, [=](int m, float* u, int32_t* out) {
    kernel::ln(m, u, u);
    to_integers(m, u, out, [=](F l) {
      F const whole = simd::round<_MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC>(F(c) * l);
      return _mm256_cvttps_epi32(simd::min(F(largest_float_result), whole).v);
    });
  });
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngBernoulli(int32_t, RngStream* stream, int32_t n, int32_t* r, double p) {
  return bernoulli(stream, n, r, p);
}
ORV_EXPORT int32_t _rnqiRngGeometric(int32_t, RngStream* stream, int32_t n, int32_t* r, double p) {
  return geometric(stream, n, r, p);
}
