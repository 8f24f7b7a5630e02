// MCG31M1 and MCG59, multiplicative congruential generators with moduli 2^31 - 1 and 2^59.
//
// Reals come from four lanes of consecutive outputs that step by powers of the multiplier, 16 elements a
// round. Measured on an AMD EPYC (Zen 4): see bench/streams.cpp.
#include "streams/mcg.h"

using namespace orv;
using namespace orv::streams;

namespace {

// ---- vector arithmetic; x of MCG59 runs shifted up by five bits, so that 2^64 does the reduction ----

struct Vector31 {
  static __m256i enter(__m256i x) { return x; }
  static __m256i leave(__m256i x) { return x; }
  // Two folds end on the residue, as none is 0.
  static __m256i multiply(__m256i x, __m256i a) {
    __m256i const mask = _mm256_set1_epi64x(m31);
    __m256i z = _mm256_mul_epu32(x, a);
    z = _mm256_add_epi64(_mm256_and_si256(z, mask), _mm256_srli_epi64(z, 31));
    return _mm256_add_epi64(_mm256_and_si256(z, mask), _mm256_srli_epi64(z, 31));
  }
  static __m256d to_double(__m256i x) {
    __m256i const magic = _mm256_set1_epi64x(0x4330000000000000);
    return _mm256_sub_pd(_mm256_castsi256_pd(_mm256_or_si256(x, magic)), _mm256_castsi256_pd(magic));
  }
  static __m128 to_float(__m256i x) {
    __m256i const packed = _mm256_permutevar8x32_epi32(x, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6));
    return _mm_cvtepi32_ps(_mm256_castsi256_si128(packed));
  }
  static double scale_double(double a, double b) { return (b - a) * 0x1.00000002p-31; } // 1/(2^31 - 1)
  static float scale_single(float a, float b) { return (b - a) * 0x1p-31f; }
};

struct Vector59 {
  static __m256i enter(__m256i x) { return _mm256_slli_epi64(x, 5); }
  static __m256i leave(__m256i x) { return _mm256_srli_epi64(x, 5); }
  static __m256i multiply(__m256i x, __m256i a) {
    __m256i const cross =
        _mm256_mullo_epi32(x, _mm256_shuffle_epi32(a, 0xB1)); // both middle products, low words
    __m256i const middle = _mm256_add_epi32(_mm256_slli_epi64(cross, 32), cross);
    return _mm256_add_epi64(_mm256_mul_epu32(x, a),
                            _mm256_and_si256(middle, _mm256_set1_epi64x(0xFFFFFFFF00000000)));
  }
  // Halves in the mantissas of 2^47 and 2^79, which undoes the shift; the sum rounds once.
  static __m256d to_double(__m256i x) {
    __m256i const low = _mm256_blend_epi32(x, _mm256_set1_epi64x(0x42E0000000000000), 0xAA);
    __m256i const high = _mm256_xor_si256(_mm256_srli_epi64(x, 32), _mm256_set1_epi64x(0x44E0000000000000));
    __m256d const both = _mm256_set1_pd(0x1p79 + 0x1p47);
    return _mm256_add_pd(_mm256_sub_pd(_mm256_castsi256_pd(high), both), _mm256_castsi256_pd(low));
  }
  static __m128 to_float(__m256i x) { return _mm256_cvtpd_ps(to_double(x)); }
  static double scale_double(double a, double b) { return (b - a) * 0x1p-59; }
  static float scale_single(float a, float b) { return (b - a) * 0x1p-59f; }
};

template <class V>
struct ToDouble {
  __m256d s, a;
  ToDouble(double a_, double b_) : s(_mm256_set1_pd(V::scale_double(a_, b_))), a(_mm256_set1_pd(a_)) {}
  void operator()(double* r, __m256i x) const { _mm256_storeu_pd(r, _mm256_fmadd_pd(s, V::to_double(x), a)); }
};
template <class V>
struct ToSingle {
  __m128 s, a;
  ToSingle(float a_, float b_) : s(_mm_set1_ps(V::scale_single(a_, b_))), a(_mm_set1_ps(a_)) {}
  void operator()(float* r, __m256i x) const { _mm_storeu_ps(r, _mm_fmadd_ps(s, V::to_float(x), a)); }
};

template <class G, class V, class Map, class Real>
int32_t generate(RngStream* stream, int32_t n, Real* r, Map const& map) {
  auto* chunk = static_cast<McgLanes*>(find_chunk(stream, mcg_chunk, sizeof(McgLanes)));
  if (!chunk) return RnqErrNoMemory;
  __m256i const a4 = load8(chunk->powers[0]), a8 = load8(chunk->powers[1]);
  __m256i const a12 = load8(chunk->powers[2]), a16 = load8(chunk->powers[3]);
  __m256i x = V::enter(load8(chunk->lanes));
  int32_t i = 0;
  for (; n - i >= 16; i += 16) {
    map(r + i, x);
    map(r + i + 4, V::multiply(x, a4));
    map(r + i + 8, V::multiply(x, a8));
    map(r + i + 12, V::multiply(x, a12));
    x = V::multiply(x, a16);
  }
  if (int32_t const left = n - i; left > 0) {
    // The rest by way of a block; the lanes that follow it are wherever it ends.
    __m256i const next[5] = {x, V::multiply(x, a4), V::multiply(x, a8), V::multiply(x, a12),
                             V::multiply(x, a16)};
    Real rest[16];
    for (int k = 0; 4 * k < left; ++k) map(rest + 4 * k, next[k]);
    std::memcpy(r + i, rest, left * sizeof *r);
    x = load8(reinterpret_cast<uint64_t const*>(next) + left);
  }
  store8(chunk->lanes, V::leave(x));
  state_of<typename G::State>(stream).x = static_cast<typename G::Word>(chunk->lanes[0]);
  return RnqOk;
}

template <class G>
int32_t integers(RngStream* stream, int32_t n, void* out) {
  using Word = typename G::Word;
  auto* chunk = static_cast<McgLanes*>(find_chunk(stream, mcg_chunk, sizeof(McgLanes)));
  if (!chunk) return RnqErrNoMemory;
  auto& s = state_of<typename G::State>(stream);
  auto* r = static_cast<char*>(out);
  Word const a = s.a;
  Word power[8]; // a to a^8
  power[0] = a;
  for (int k = 1; k < 8; ++k) power[k] = G::multiply(power[k - 1], a);
  Word x = s.x;
  int32_t i = 0;
  for (; n - i >= 8; i += 8) {
    Word block[8] = {x};
    for (int k = 1; k < 8; ++k) block[k] = G::multiply(x, power[k - 1]);
    std::memcpy(r + sizeof(Word) * i, block, sizeof block);
    x = G::multiply(x, power[7]);
  }
  for (; i < n; ++i) {
    std::memcpy(r + sizeof(Word) * i, &x, sizeof x);
    x = G::multiply(x, a);
  }
  s.x = x;
  set_lanes<G>(*chunk, s);
  return RnqOk;
}

uint32_t first_word(Mcg31, int32_t n, uint32_t const* seed) {
  uint32_t const x = n < 1 ? 0 : load_u32(seed) % m31;
  return x ? x : 1;
}
uint64_t first_word(Mcg59, int32_t n, uint32_t const* seed) {
  uint64_t x = n < 1 ? 0 : load_u32(seed);
  if (n >= 2) x += static_cast<uint64_t>(load_u32(seed + 1) & 0x7FFFFFF) << 32;
  return x ? x : 1;
}

template <class G>
int32_t init(int32_t method, RngStream* stream, int32_t n, const void* params) {
  auto& s = state_of<typename G::State>(stream);
  if (method == 0) {
    s.x = first_word(G(), n, static_cast<uint32_t const*>(params));
    s.a = G::default_a;
    auto* chunk = static_cast<McgLanes*>(core::allocate(sizeof(McgLanes)));
    if (!chunk) return RnqErrNoMemory;
    std::memset(chunk, 0, sizeof *chunk);
    chunk->kind = G::kind;
    set_lanes<G>(*chunk, s);
    set_powers<G>(*chunk, s);
    int32_t const status = __rnqAddChunk(stream, mcg_chunk, nullptr, chunk, sizeof *chunk);
    if (status != RnqOk) core::deallocate(chunk);
    return status;
  }
  if (method == 3) return RnqErrNoSkipAheadEx;
  if (method != 1 && method != 2) return RnqErrBadMethod;
  auto* chunk = static_cast<McgLanes*>(find_chunk(stream, mcg_chunk, sizeof(McgLanes)));
  if (!chunk) return RnqErrNoMemory;
  bool const leapfrog = method == 1;
  uint64_t const steps = leapfrog ? load_u32(params) : load_u64(params);
  s.x = G::multiply(s.x, G::multiplier_power(s.a, steps));
  if (leapfrog) {
    s.a = G::multiply(1, G::multiplier_power(s.a, static_cast<uint32_t>(n)));
    set_powers<G>(*chunk, s);
  }
  set_lanes<G>(*chunk, s);
  return RnqOk;
}

} // namespace

ORV_EXPORT int32_t __rnqBRngMCG31M1InitStream(int32_t method, RngStream* stream, int32_t n,
                                              const void* params) {
  return init<Mcg31>(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqBRngMCG59InitStream(int32_t method, RngStream* stream, int32_t n,
                                            const void* params) {
  return init<Mcg59>(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqdBRngMCG31M1(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate<Mcg31, Vector31>(stream, n, r, ToDouble<Vector31>(a, b));
}
ORV_EXPORT int32_t __rnqsBRngMCG31M1(RngStream* stream, int32_t n, float* r, float a, float b) {
  return generate<Mcg31, Vector31>(stream, n, r, ToSingle<Vector31>(a, b));
}
ORV_EXPORT int32_t __rnqiBRngMCG31M1(RngStream* stream, int32_t n, void* r) {
  return integers<Mcg31>(stream, n, r);
}
ORV_EXPORT int32_t __rnqdBRngMCG59(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate<Mcg59, Vector59>(stream, n, r, ToDouble<Vector59>(a, b));
}
ORV_EXPORT int32_t __rnqsBRngMCG59(RngStream* stream, int32_t n, float* r, float a, float b) {
  return generate<Mcg59, Vector59>(stream, n, r, ToSingle<Vector59>(a, b));
}
ORV_EXPORT int32_t __rnqiBRngMCG59(RngStream* stream, int32_t n, void* r) {
  return integers<Mcg59>(stream, n, r);
}
