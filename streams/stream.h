// What generators share: the state behind a stream's head, vector conversions of words to reals, and drawing
// through a small buffer.
#pragma once
#include "frame/core.h"
#include "frame/export.h"
#include "orv/streams.h"

#include <cstddef>
#include <cstring>
#include <immintrin.h>

namespace orv::streams {

static_assert(sizeof(RngStream) == 16 && offsetof(RngStream, chunks) == 8);
static_assert(sizeof(void*) != 4 || (sizeof(RngChunk) == 32 && offsetof(RngChunk, key) == 16));
static_assert(sizeof(void*) != 4 || sizeof(BrngProperties) == 36);

inline constexpr uint32_t mcg_chunk = 14;

template <class State>
State& state_of(RngStream* stream) {
  return *reinterpret_cast<State*>(stream + 1);
}

inline uint64_t load_u64(void const* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return v;
}
inline uint32_t load_u32(void const* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

// Row of the registry for a number, or null if there is none that can be used.
BrngProperties const* find_brng(int32_t number, uint32_t* sub = nullptr);

// Bytes of a stream's block. A registered generator may claim less than the head that every stream has.
inline size_t block_size(BrngProperties const& row) {
  return row.stateSize > static_cast<int32_t>(sizeof(RngStream)) ? row.stateSize : sizeof(RngStream);
}

// The payload of the first chunk with this id, or null if there is none or it is smaller than its owner
// needs: chunks can come from a stored image.
void* find_chunk(RngStream const* stream, uint32_t id, size_t size);
// __rnqAddChunk, for chunks from a stored image too: their size is not believed to fit a block of the same key.
int32_t add_chunk(RngStream* stream, uint32_t id, const uint64_t* key, void* data, uint32_t size,
                  bool from_file);

// ---- words to reals, eight at a time ----

inline __m256i load8(void const* p) { return _mm256_loadu_si256(static_cast<__m256i const*>(p)); }
inline void store8(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

inline __m256d signed_to_double(__m128i w) { return _mm256_cvtepi32_pd(w); }
inline __m256d unsigned_to_double(__m128i w) { // exact: the bits of w below the leading bit of 2^52
  __m256i magic = _mm256_set1_epi64x(0x4330000000000000);
  return _mm256_sub_pd(_mm256_castsi256_pd(_mm256_or_si256(_mm256_cvtepu32_epi64(w), magic)),
                       _mm256_castsi256_pd(magic));
}
inline __m256 unsigned_to_float(__m256i w) { // both halves are exact, so the sum rounds once
  __m256i low = _mm256_blend_epi16(w, _mm256_set1_epi32(0x4B000000), 0xAA);
  __m256i high = _mm256_blend_epi16(_mm256_srli_epi32(w, 16), _mm256_set1_epi32(0x53000000), 0xAA);
  return _mm256_add_ps(_mm256_sub_ps(_mm256_castsi256_ps(high), _mm256_set1_ps(0x1.0001p39f)),
                       _mm256_castsi256_ps(low));
}
inline __m128i low_half(__m256i w) { return _mm256_castsi256_si128(w); }
inline __m128i high_half(__m256i w) { return _mm256_extracti128_si256(w, 1); }

// A map writes the results of eight words. `Real` names the element of the output.
struct AsWords {
  using Real = uint32_t;
  void operator()(uint32_t* r, __m256i w) const { store8(r, w); }
};

// fma(s, w, m) in double, w read as unsigned or signed; Out float rounds the double result.
template <class Out, bool is_signed>
struct FmaInDouble {
  using Real = Out;
  __m256d s, m;
  FmaInDouble(double s_, double m_) : s(_mm256_set1_pd(s_)), m(_mm256_set1_pd(m_)) {}
  __m256d one(__m128i w) const {
    return _mm256_fmadd_pd(s, is_signed ? signed_to_double(w) : unsigned_to_double(w), m);
  }
  void operator()(double* r, __m256i w) const {
    _mm256_storeu_pd(r, one(low_half(w)));
    _mm256_storeu_pd(r + 4, one(high_half(w)));
  }
  void operator()(float* r, __m256i w) const {
    _mm_storeu_ps(r, _mm256_cvtpd_ps(one(low_half(w))));
    _mm_storeu_ps(r + 4, _mm256_cvtpd_ps(one(high_half(w))));
  }
};

// fmaf(s, w, m) with w rounded to float.
template <bool is_signed>
struct FmaInSingle {
  using Real = float;
  __m256 s, m;
  FmaInSingle(float s_, float m_) : s(_mm256_set1_ps(s_)), m(_mm256_set1_ps(m_)) {}
  void operator()(float* r, __m256i w) const {
    _mm256_storeu_ps(r, _mm256_fmadd_ps(s, is_signed ? _mm256_cvtepi32_ps(w) : unsigned_to_float(w), m));
  }
};

struct AsIs {
  __m256i operator()(__m256i w) const { return w; }
};

// n words through a transformation and a map; nothing is read or written past the end.
template <class Map, class Transform = AsIs>
void emit(typename Map::Real* r, int n, Map const& map, uint32_t const* words,
          Transform const& transform = {}) {
  int i = 0;
  for (; i + 8 <= n; i += 8) map(r + i, transform(load8(words + i)));
  if (i < n) {
    uint32_t last[8] = {};
    typename Map::Real rest[8];
    std::memcpy(last, words + i, (n - i) * sizeof *words);
    map(rest, transform(load8(last)));
    std::memcpy(r + i, rest, (n - i) * sizeof *r);
  }
}

} // namespace orv::streams
