// R250, a generalised feedback shift register (S. Kirkpatrick, E. Stoll, J. Comp. Phys. 40, 1981):
// x(k) = x(k - 250) xor x(k - 147).
//
// Long runs are made in a buffer that begins with the lags, a piece at a time so that it stays in the
// first-level cache, and mapped from there.
#include "streams/stream.h"

using namespace orv::streams;

namespace {

constexpr int lags = 250, near_lag = 147, piece = 1024;

struct State {
  uint32_t x[lags];
  uint32_t q, p;
};
static_assert(sizeof(State) == 1008 && offsetof(State, q) == 1000);

// Real output rounds the product and the sum.
template <class Out>
struct Scale {
  using Real = Out;
  __m256d s, a;
  Scale(double a_, double b_) : s(_mm256_set1_pd((b_ - a_) * 0x1p-32)), a(_mm256_set1_pd(a_)) {}
  __m256d one(__m128i w) const { return _mm256_add_pd(_mm256_mul_pd(unsigned_to_double(w), s), a); }
  void operator()(double* r, __m256i w) const {
    _mm256_storeu_pd(r, one(low_half(w)));
    _mm256_storeu_pd(r + 4, one(high_half(w)));
  }
  void operator()(float* r, __m256i w) const {
    _mm_storeu_ps(r, _mm256_cvtpd_ps(one(low_half(w))));
    _mm_storeu_ps(r + 4, _mm256_cvtpd_ps(one(high_half(w))));
  }
};

template <class Map>
int32_t generate(RngStream* stream, int32_t n, typename Map::Real* r, Map const& map) {
  auto& s = state_of<State>(stream);
  uint32_t buffer[lags + piece];
  if (s.q >= lags || s.p >= lags) s.q = 0, s.p = lags - near_lag; // never so, but an image can hold anything
  if (n < lags) {
    uint32_t q = s.q, p = s.p;
    for (int i = 0; i < n; ++i) {
      buffer[i] = s.x[q] ^= s.x[p];
      q = q + 1 == lags ? 0 : q + 1;
      p = p + 1 == lags ? 0 : p + 1;
    }
    s.q = q;
    s.p = p;
    emit(r, n, map, buffer);
    return RnqOk;
  }
  // The lags, oldest first. What stands at p takes part as it is there, whatever its distance to q.
  uint32_t const q = s.q, p = s.p;
  std::memcpy(buffer, s.x + q, 4 * (lags - q));
  std::memcpy(buffer + lags - q, s.x, 4 * q);
  if ((p + lags - q) % lags != lags - near_lag) { // a foreign state: one round by the book puts it right
    for (uint32_t i = 0; i < lags; ++i) s.x[(q + i) % lags] ^= s.x[(p + i) % lags];
    std::memcpy(buffer, s.x + q, 4 * (lags - q));
    std::memcpy(buffer + lags - q, s.x, 4 * q);
    emit(r, lags, map, buffer);
    r += lags;
    n -= lags;
  }
  while (n > 0) {
    int const part = n < piece ? n : piece;
    for (int i = 0; i < part; i += 8) // up to seven words too many, within the buffer
      store8(buffer + lags + i, _mm256_xor_si256(load8(buffer + i), load8(buffer + lags - near_lag + i)));
    emit(r, part, map, buffer + lags);
    std::memmove(buffer, buffer + part, 4 * lags);
    r += part;
    n -= part;
  }
  std::memcpy(s.x, buffer, sizeof s.x);
  s.q = 0;
  s.p = lags - near_lag;
  return RnqOk;
}

void seed(State& s, int32_t n, uint32_t const* words) {
  s.q = 0;
  s.p = lags - near_lag;
  if (n >= lags) {
    std::memcpy(s.x, words, sizeof s.x);
    return;
  }
  uint32_t x = n < 1 ? 1 : load_u32(words);
  if (!x) x = 1;
  for (auto& word : s.x) word = x *= 69069;
  for (int j = 0; j < 32; ++j) { // 32 words that are linearly independent
    s.x[3 + 7 * j] &= 0xFFFFFFFF >> j;
    s.x[3 + 7 * j] |= 0x80000000 >> j;
  }
}

} // namespace

ORV_EXPORT int32_t __rnqBRngR250InitStream(int32_t method, RngStream* stream, int32_t n, const void* params) {
  switch (method) {
  case 0:
    seed(state_of<State>(stream), n, static_cast<uint32_t const*>(params));
    return RnqOk;
  case 1:
    return RnqErrNoLeapfrog;
  case 2:
    return RnqErrNoSkipAhead;
  case 3:
    return RnqErrNoSkipAheadEx;
  default:
    return RnqErrBadMethod;
  }
}

ORV_EXPORT int32_t __rnqdBRngR250(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate(stream, n, r, Scale<double>(a, b));
}
ORV_EXPORT int32_t __rnqsBRngR250(RngStream* stream, int32_t n, float* r, float a, float b) {
  return generate(stream, n, r, Scale<float>(a, b));
}
ORV_EXPORT int32_t __rnqiBRngR250(RngStream* stream, int32_t n, void* r) {
  return generate(stream, n, static_cast<uint32_t*>(r), AsWords());
}
