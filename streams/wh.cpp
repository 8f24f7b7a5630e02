// WH: the fractional part of the sum of four congruential generators with 24-bit prime moduli, 273 sets of
// them.
//
// A step works in double: x a is exact, so is x a - t m with t = trunc(x a / m), and t itself is right since
// x a is never within 1/m of a multiple of m. The same holds for powers of a below 2^24, so lanes are steps
// of one component: four elements to a vector.
#include "streams/powers.h"
#include "streams/stream.h"

using namespace orv::streams;

namespace {

struct WhSet {
  uint32_t m[4];
  uint8_t a[4];
};
constexpr WhSet wh_sets[] = {
#include "streams/wh_parameters.inc"
};
constexpr uint32_t set_count = sizeof wh_sets / sizeof *wh_sets;
static_assert(set_count == 273);

struct State {
  uint32_t x[4], a[4];
};

WhSet const* set_of(RngStream const* stream) {
  uint32_t index, sub;
  __rnqGetBrngBaseOffset(stream->brng, &index, &sub);
  return sub < set_count ? wh_sets + sub : nullptr;
}

// One component: four successive values, stepping by eight in two vectors.
struct Component {
  __m256d m, r, a4, a8;
};

__m256d step(__m256d x, __m256d a, Component const& c) {
  __m256d const p = _mm256_mul_pd(x, a);
  __m256d const t = _mm256_round_pd(_mm256_mul_pd(p, c.r), _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  return _mm256_fnmadd_pd(t, c.m, p);
}

__m256d fraction(__m256d const* x, Component const* c) {
  auto term = [&](int i) { return _mm256_mul_pd(x[i], c[i].r); };
  __m256d const u = _mm256_add_pd(_mm256_add_pd(term(0), term(2)), _mm256_add_pd(term(1), term(3)));
  return _mm256_sub_pd(u, _mm256_round_pd(u, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC));
}

struct Integers {
  static constexpr int width = 4; // words an element
  using Real = uint32_t;
  void operator()(uint32_t* r, __m256d const* x, Component const*) const {
    __m128i const w0 = _mm256_cvttpd_epi32(x[0]), w1 = _mm256_cvttpd_epi32(x[1]);
    __m128i const w2 = _mm256_cvttpd_epi32(x[2]), w3 = _mm256_cvttpd_epi32(x[3]);
    __m128i const p = _mm_unpacklo_epi32(w0, w1), q = _mm_unpackhi_epi32(w0, w1);
    __m128i const s = _mm_unpacklo_epi32(w2, w3), t = _mm_unpackhi_epi32(w2, w3);
    auto* out = reinterpret_cast<__m128i*>(r);
    _mm_storeu_si128(out, _mm_unpacklo_epi64(p, s));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi64(p, s));
    _mm_storeu_si128(out + 2, _mm_unpacklo_epi64(q, t));
    _mm_storeu_si128(out + 3, _mm_unpackhi_epi64(q, t));
  }
};
struct Doubles {
  static constexpr int width = 1;
  using Real = double;
  __m256d s, a;
  void operator()(double* r, __m256d const* x, Component const* c) const {
    _mm256_storeu_pd(r, _mm256_fmadd_pd(s, fraction(x, c), a));
  }
};
struct Singles {
  static constexpr int width = 1;
  using Real = float;
  __m256d s, a;
  void operator()(float* r, __m256d const* x, Component const* c) const {
    _mm_storeu_ps(r, _mm256_cvtpd_ps(_mm256_fmadd_pd(s, fraction(x, c), a)));
  }
};

template <class Map>
int32_t generate(RngStream* stream, int32_t n, typename Map::Real* r, Map const& map) {
  WhSet const* set = set_of(stream);
  if (!set) return RnqErrBadBrng;
  if (n <= 0) return RnqOk;
  auto& s = state_of<State>(stream);
  Component c[4];
  __m256d x[4];
  for (int k = 0; k < 4; ++k) {
    uint64_t const m = set->m[k];
    uint32_t p[9] = {1}; // powers of the multiplier
    for (int i = 1; i <= 8; ++i) p[i] = static_cast<uint32_t>(p[i - 1] * static_cast<uint64_t>(s.a[k]) % m);
    c[k] = {_mm256_set1_pd(static_cast<double>(set->m[k])), _mm256_set1_pd(1.0 / set->m[k]),
            _mm256_set1_pd(p[4]), _mm256_set1_pd(p[8])};
    auto at = [&](int i) { return static_cast<double>(s.x[k] * static_cast<uint64_t>(p[i]) % m); };
    x[k] = _mm256_setr_pd(at(0), at(1), at(2), at(3));
  }
  constexpr int w = Map::width;
  int32_t i = 0;
  if (n >= 8) {
    __m256d y[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) y[k] = step(x[k], c[k].a4, c[k]);
    for (; n - i >= 8; i += 8) {
      map(r + w * i, x, c);
      map(r + w * (i + 4), y, c);
#pragma GCC unroll 4
      for (int k = 0; k < 4; ++k) {
        x[k] = step(x[k], c[k].a8, c[k]);
        y[k] = step(y[k], c[k].a8, c[k]);
      }
    }
  }
  auto advance = [&] {
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) x[k] = step(x[k], c[k].a4, c[k]);
  };
  if (n - i >= 4) {
    map(r + w * i, x, c);
    i += 4;
    advance();
  }
  int const left = n - i;
  if (left) {
    typename Map::Real rest[4 * w];
    map(rest, x, c);
    std::memcpy(r + w * i, rest, left * w * sizeof *r);
  }
  for (int k = 0; k < 4; ++k) {
    double lane[4];
    _mm256_storeu_pd(lane, x[k]);
    s.x[k] = static_cast<uint32_t>(lane[left]);
  }
  return RnqOk;
}

} // namespace

ORV_EXPORT int32_t __rnqBRngWHInitStream(int32_t method, RngStream* stream, int32_t n, const void* params) {
  if (method == 3) return RnqErrNoSkipAheadEx;
  if (method < 0 || method > 3) return RnqErrBadMethod;
  WhSet const* set = set_of(stream);
  if (!set) return RnqErrBadBrng;
  auto& s = state_of<State>(stream);
  auto const* seed = static_cast<uint32_t const*>(params);
  for (int k = 0; k < 4; ++k) {
    uint32_t const m = set->m[k];
    if (method == 0) {
      uint32_t const x = k < n ? load_u32(seed + k) % m : 1;
      s.x[k] = x ? x : 1;
      s.a[k] = set->a[k];
      continue;
    }
    uint64_t const steps = method == 1 ? load_u32(params) : load_u64(params);
    s.x[k] = static_cast<uint32_t>(static_cast<uint64_t>(s.x[k]) * power_mod(s.a[k], steps, m) % m);
    if (method == 1) s.a[k] = power_mod(s.a[k], static_cast<uint32_t>(n), m);
  }
  return RnqOk;
}

ORV_EXPORT int32_t __rnqdBRngWH(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate(stream, n, r, Doubles{_mm256_set1_pd(b - a), _mm256_set1_pd(a)});
}
ORV_EXPORT int32_t __rnqsBRngWH(RngStream* stream, int32_t n, float* r, float a, float b) {
  return generate(stream, n, r, Singles{_mm256_set1_pd(b - a), _mm256_set1_pd(a)});
}
ORV_EXPORT int32_t __rnqiBRngWH(RngStream* stream, int32_t n, void* r) {
  return generate(stream, n, static_cast<uint32_t*>(r), Integers());
}
