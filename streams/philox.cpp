// PHILOX4X32X10 (J. Salmon, M. Moraes, R. Dror, D. Shaw, "Parallel Random Numbers: As Easy as 1, 2, 3", SC
// 2011).
//
// A block is a function of key and counter. Four blocks run in the 64-bit lanes of four vectors, one for each
// word of the block; what stands above a word doesn't matter, as products read the low halves only. Two such
// groups are interleaved against the latency of a round.
#include "streams/counter.h"

using namespace orv::streams;

namespace {

struct State {
  uint32_t key[2];
  alignas(8) uint64_t counter[2];
  uint32_t remaining, block[4];
  uint32_t reserved;
};
static_assert(sizeof(State) == 48 && offsetof(State, counter) == 8 && offsetof(State, block) == 28);

constexpr uint32_t multiplier0 = 0xD2511F53, multiplier1 = 0xCD9E8D57, step0 = 0x9E3779B9, step1 = 0xBB67AE85;

struct Group { // four blocks
  __m256i c0, c1, c2, c3;

  Group(uint64_t const* counter, int first) {
    __m256i const sign = _mm256_set1_epi64x(INT64_MIN);
    __m256i const base = _mm256_set1_epi64x(static_cast<long long>(counter[0]));
    __m256i const low = _mm256_add_epi64(base, _mm256_setr_epi64x(first, first + 1, first + 2, first + 3));
    __m256i const wrapped = _mm256_cmpgt_epi64(_mm256_xor_si256(base, sign), _mm256_xor_si256(low, sign));
    __m256i const high = _mm256_sub_epi64(_mm256_set1_epi64x(static_cast<long long>(counter[1])), wrapped);
    c0 = low;
    c1 = _mm256_srli_epi64(low, 32);
    c2 = high;
    c3 = _mm256_srli_epi64(high, 32);
  }
  void round(__m256i k0, __m256i k1) {
    __m256i const p = _mm256_mul_epu32(c0, _mm256_set1_epi64x(multiplier0));
    __m256i const q = _mm256_mul_epu32(c2, _mm256_set1_epi64x(multiplier1));
    c0 = _mm256_xor_si256(_mm256_srli_epi64(q, 32), _mm256_xor_si256(c1, k0));
    c2 = _mm256_xor_si256(_mm256_srli_epi64(p, 32), _mm256_xor_si256(c3, k1));
    c1 = q;
    c3 = p;
  }
  void store(uint32_t* out) const {
    __m256i const front = _mm256_blend_epi32(c0, _mm256_slli_epi64(c1, 32), 0xAA);
    __m256i const back = _mm256_blend_epi32(c2, _mm256_slli_epi64(c3, 32), 0xAA);
    __m256i const even = _mm256_unpacklo_epi64(front, back), odd = _mm256_unpackhi_epi64(front, back);
    store8(out, _mm256_permute2x128_si256(even, odd, 0x20));
    store8(out + 8, _mm256_permute2x128_si256(even, odd, 0x31));
  }
};

struct Philox {
  using State = ::State;
  // Ten rounds over groups side by side: two fit into sixteen registers, one into eight.
  template <class... Groups>
  static void rounds(uint32_t const* key, Groups&... groups) {
    __m256i k0 = _mm256_set1_epi64x(key[0]), k1 = _mm256_set1_epi64x(key[1]);
#pragma GCC unroll 10
    for (int i = 0; i < 10; ++i) {
      (groups.round(k0, k1), ...);
      k0 = _mm256_add_epi32(k0, _mm256_set1_epi64x(step0));
      k1 = _mm256_add_epi32(k1, _mm256_set1_epi64x(step1));
    }
  }
  static void make_eight(uint32_t const* key, uint64_t const* counter, uint32_t* out) {
    Group a(counter, 0), b(counter, 4);
    if constexpr (sizeof(void*) == 8) {
      rounds(key, a, b);
    } else {
      rounds(key, a);
      rounds(key, b);
    }
    a.store(out);
    b.store(out + 16);
  }
  static void make(State const& s, int count, uint32_t* out) {
    uint64_t counter[2] = {s.counter[0], s.counter[1]};
    for (; count >= 8; count -= 8, out += 32) {
      make_eight(s.key, counter, out);
      add_to_counter(counter, 8, 0);
    }
    if (count == 0) return;
    uint32_t rest[32];
    make_eight(s.key, counter, rest);
    std::memcpy(out, rest, 16 * count);
  }
};

} // namespace

ORV_EXPORT int32_t __rnqBRngPHILOX4X32X10InitStream(int32_t method, RngStream* stream, int32_t n,
                                                    const void* params) {
  auto& s = state_of<State>(stream);
  switch (method) {
  case 0: {
    std::memset(&s, 0, sizeof s);
    if (n > 0) std::memcpy(&s, params, 4 * (n < 6 ? n : 6)); // key, then counter
    return RnqOk;
  }
  case 1:
    return RnqErrNoLeapfrog;
  case 2: {
    uint64_t const count = load_u64(params);
    skip_words<Philox>(s, 1, &count, true);
    return RnqOk;
  }
  case 3:
    skip_words<Philox>(s, n, static_cast<uint64_t const*>(params), false);
    return RnqOk;
  default:
    return RnqErrBadMethod;
  }
}

ORV_EXPORT int32_t __rnqdBRngPHILOX4X32X10(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate_blocks<Philox>(state_of<State>(stream), n, r, signed_map(a, b));
}
ORV_EXPORT int32_t __rnqsBRngPHILOX4X32X10(RngStream* stream, int32_t n, float* r, float a, float b) {
  return generate_blocks<Philox>(state_of<State>(stream), n, r, signed_map(a, b));
}
ORV_EXPORT int32_t __rnqiBRngPHILOX4X32X10(RngStream* stream, int32_t n, void* r) {
  return generate_blocks<Philox>(state_of<State>(stream), n, static_cast<uint32_t*>(r), AsWords());
}
