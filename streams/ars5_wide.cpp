#include "streams/ars5.h"

#pragma GCC target("vaes")

namespace orv::streams {

void ars5_make_wide(Ars5Keys const& keys, uint64_t const* counter, int count, uint32_t* out) {
  __m256i k[6];
  for (int i = 0; i < 6; ++i)
    k[i] = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<__m128i const*>(keys.round[i])));
  uint64_t c[2] = {counter[0], counter[1]};
  for (; count > 0; count -= 8, out += 32) {
    __m256i t[4];
    if (c[0] <= ~uint64_t{0} - 8) {
      __m256i const base = _mm256_setr_epi64x(static_cast<long long>(c[0]), static_cast<long long>(c[1]),
                                              static_cast<long long>(c[0] + 1), static_cast<long long>(c[1]));
#pragma GCC unroll 4
      for (int i = 0; i < 4; ++i) t[i] = _mm256_add_epi64(base, _mm256_setr_epi64x(2 * i, 0, 2 * i, 0));
    } else { // a carry between the halves
      for (auto& v : t) {
        uint64_t pair[4] = {c[0], c[1], c[0], c[1]};
        add_to_counter(pair + 2, 1, 0);
        v = load8(pair);
        add_to_counter(c, 2, 0);
      }
      add_to_counter(c, ~uint64_t{7}, ~uint64_t{0}); // back by 8
    }
#pragma GCC unroll 4
    for (auto& v : t) v = _mm256_xor_si256(v, k[0]);
#pragma GCC unroll 4
    for (int round = 1; round < 5; ++round)
#pragma GCC unroll 4
      for (auto& v : t) v = _mm256_aesenc_epi128(v, k[round]);
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) store8(out + 8 * i, _mm256_aesenclast_epi128(t[i], k[5]));
    add_to_counter(c, 8, 0);
  }
}

} // namespace orv::streams
