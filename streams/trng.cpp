// TRNG: the processor's own source of random numbers, RDRAND. It cannot be positioned or repeated.
#include "streams/processor.h"
#include "streams/stream.h"

#pragma GCC target("rdrnd")

using namespace orv::streams;

namespace {

struct State {
  uint32_t unused, retries;
};

// `count` words at once, all of them good in the same attempt.
template <int count>
bool draw(uint32_t* w, uint32_t retries) {
  for (uint32_t attempt = 0; attempt < retries; ++attempt) {
    int good = 1;
    for (int i = 0; i < count; ++i) {
      unsigned word;
      good &= _rdrand32_step(&word);
      w[i] = word;
    }
    if (good) return true;
  }
  return false;
}

// Elements of one word each: in pairs, an odd last one by itself.
template <class Real, class Put>
int32_t words(State const& s, int32_t n, Real* r, Put const& put) {
  if (!__rnqCPUisRDRAND()) return RnqErrNoRdrand;
  for (int32_t i = 0; i < n; i += 2) {
    uint32_t w[2];
    bool const pair = i + 1 < n;
    if (!(pair ? draw<2>(w, s.retries) : draw<1>(w, s.retries))) return RnqErrRdrandFailed;
    put(r + i, w[0]);
    if (pair) put(r + i + 1, w[1]);
  }
  return RnqOk;
}

} // namespace

ORV_EXPORT int32_t __rnqBRngTRNGInitStream(int32_t method, RngStream* stream, int32_t n, const void* params) {
  if (method == 1) return RnqErrNoLeapfrog;
  if (method == 2) return RnqErrNoSkipAhead;
  if (method == 3) return RnqErrNoSkipAheadEx;
  if (method != 0) return RnqErrBadMethod;
  auto& s = state_of<State>(stream);
  uint32_t const retries = n >= 2 ? load_u32(static_cast<uint32_t const*>(params) + 1) : 0;
  s = {0, retries ? retries : 10};
  return RnqOk;
}

ORV_EXPORT int32_t __rnqdBRngTRNG(RngStream* stream, int32_t n, double* r, double a, double b) {
  if (!__rnqCPUisRDRAND()) return RnqErrNoRdrand;
  double const scale = (b - a) * 0x1p-64;
  for (int32_t i = 0; i < n; ++i) {
    uint32_t w[2];
    if (!draw<2>(w, state_of<State>(stream).retries)) return RnqErrRdrandFailed;
    auto const value = static_cast<int64_t>(static_cast<uint64_t>(w[1]) << 32 | w[0]);
    double v = static_cast<double>(value);
    if (value < 0) v += 0x1p64;
    r[i] = v * scale + a;
  }
  return RnqOk;
}
ORV_EXPORT int32_t __rnqsBRngTRNG(RngStream* stream, int32_t n, float* r, float a, float b) {
  float const scale = (b - a) * 0x1p-32f;
  return words(state_of<State>(stream), n, r, [&](float* out, uint32_t w) {
    *out = __builtin_fmaf(scale, static_cast<float>(static_cast<double>(w)), a);
  });
}
ORV_EXPORT int32_t __rnqiBRngTRNG(RngStream* stream, int32_t n, void* r) {
  return words(state_of<State>(stream), n, static_cast<uint32_t*>(r),
               [](uint32_t* out, uint32_t w) { *out = w; });
}
