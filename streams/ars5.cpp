// ARS5 (J. Salmon, M. Moraes, R. Dror, D. Shaw, "Parallel Random Numbers: As Easy as 1, 2, 3", SC 2011): five
// AES rounds with keys that step by a constant, on a counter.
#include "streams/ars5.h"

#include "streams/processor.h"

#pragma GCC target("aes")
#include <wmmintrin.h>

using namespace orv::streams;

namespace {

struct Ars5 {
  using State = Ars5State;
  static void make(State const& s, int count, uint32_t* out) {
    Ars5Keys const keys(s);
    uint64_t c[2] = {s.counter[0], s.counter[1]};
    if (count >= 64 && __rnqCPUisVAES()) { // 256 words, where it begins to pay
      int const wide = count / 8 * 8;
      ars5_make_wide(keys, c, wide, out);
      add_to_counter(c, wide, 0);
      out += 4 * wide;
      count -= wide;
    }
    __m128i k[6];
    for (int i = 0; i < 6; ++i) k[i] = _mm_loadu_si128(reinterpret_cast<__m128i const*>(keys.round[i]));
    for (; count > 0; count -= 4, out += 16) {
      __m128i t[4];
      if (c[0] <= ~uint64_t{0} - 4) {
        __m128i const base = _mm_set_epi64x(static_cast<long long>(c[1]), static_cast<long long>(c[0]));
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) t[i] = _mm_xor_si128(_mm_add_epi64(base, _mm_set_epi64x(0, i)), k[0]);
        c[0] += 4;
      } else { // a carry between the halves
        for (auto& v : t) {
          v = _mm_xor_si128(_mm_set_epi64x(static_cast<long long>(c[1]), static_cast<long long>(c[0])), k[0]);
          add_to_counter(c, 1, 0);
        }
      }
#pragma GCC unroll 4
      for (int round = 1; round < 5; ++round)
#pragma GCC unroll 4
        for (auto& v : t) v = _mm_aesenc_si128(v, k[round]);
#pragma GCC unroll 4
      for (int i = 0; i < 4 && i < count; ++i)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * i), _mm_aesenclast_si128(t[i], k[5]));
    }
  }
};

template <class Map>
int32_t draw(RngStream* stream, int32_t n, typename Map::Real* r, Map const& map) {
  if (!__rnqCPUisAES()) return RnqErrNoAes;
  return generate_blocks<Ars5>(state_of<Ars5State>(stream), n, r, map);
}

} // namespace

ORV_EXPORT int32_t __rnqBRngARS5InitStream(int32_t method, RngStream* stream, int32_t n, const void* params) {
  auto& s = state_of<Ars5State>(stream);
  switch (method) {
  case 0:
    std::memset(&s, 0, sizeof s);
    if (n > 0) std::memcpy(&s, params, 4 * (n < 8 ? n : 8)); // key, then counter
    return RnqOk;
  case 1:
    return RnqErrNoLeapfrog;
  case 2:
  case 3:
    if (!__rnqCPUisAES()) return RnqErrNoAes;
    skip_words<Ars5>(s, method == 2 ? 1 : n, static_cast<uint64_t const*>(params), false);
    return RnqOk;
  default:
    return RnqErrBadMethod;
  }
}

ORV_EXPORT int32_t __rnqdBRngARS5(RngStream* stream, int32_t n, double* r, double a, double b) {
  return draw(stream, n, r, signed_map(a, b));
}
ORV_EXPORT int32_t __rnqsBRngARS5(RngStream* stream, int32_t n, float* r, float a, float b) {
  return draw(stream, n, r, signed_map(a, b));
}
ORV_EXPORT int32_t __rnqiBRngARS5(RngStream* stream, int32_t n, void* r) {
  return draw(stream, n, static_cast<uint32_t*>(r), AsWords());
}
