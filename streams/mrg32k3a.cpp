// MRG32K3A, P. L'Ecuyer's combined multiple recursive generator (Operations Research 47, 1999).
//
// Blocks of 16 elements come from the relation of lag 17 to 19 that each component satisfies, the last row of
// A^17: no element of a block needs another, so they run as vectors. Products are summed before they are
// folded through 2^32 = 209 and 2^32 = 22853; terms with large coefficients are subtracted from a multiple of
// the modulus so that the sum stays within 64 bits.
#include "streams/powers.h"
#include "streams/stream.h"

using namespace orv::streams;

namespace {

struct State {
  uint32_t x[3], y[3]; // oldest first
};

constexpr uint64_t x_offset = uint64_t{810728} * mrg_m1, y_offset = uint64_t{1370589} * mrg_m2;
static_assert(x_offset == 3482050076509336 && y_offset == 5886603609186927);

// z below 2^58 modulo 2^32 - gap, through 2^32 = gap.
template <uint32_t gap>
uint32_t residue(uint64_t z) {
  for (int i = 0; i < 2; ++i) z = (z & 0xFFFFFFFF) + (z >> 32) * gap;
  uint64_t const m = 0x100000000 - gap;
  return static_cast<uint32_t>(z >= m ? z - m : z);
}

uint32_t step(State& s) {
  uint32_t const x = residue<209>(1403580 * uint64_t{s.x[1]} + x_offset - 810728 * uint64_t{s.x[0]});
  uint32_t const y = residue<22853>(527612 * uint64_t{s.y[2]} + y_offset - 1370589 * uint64_t{s.y[0]});
  s = {{s.x[1], s.x[2], x}, {s.y[1], s.y[2], y}};
  return x > y ? x - y : x - y - 209;
}

__m256i fold(__m256i z, __m256i gap) { // z below 2^64 to the same residue below about 2^32 (1 + gap^2 / 2^32)
  __m256i const mask = _mm256_set1_epi64x(0xFFFFFFFF);
  for (int i = 0; i < 2; ++i)
    z = _mm256_add_epi64(_mm256_and_si256(z, mask), _mm256_mul_epu32(_mm256_srli_epi64(z, 32), gap));
  return z;
}
__m256i reduce_once(__m256i z, __m256i m) { // z below 2 m, both below 2^63
  __m256i const less = _mm256_sub_epi64(z, m);
  return _mm256_castpd_si256(
      _mm256_blendv_pd(_mm256_castsi256_pd(less), _mm256_castsi256_pd(z), _mm256_castsi256_pd(less)));
}
__m256i times(__m256i z, uint32_t c) { return _mm256_mul_epu32(z, _mm256_set1_epi64x(c)); }

// x(k + 19) for four k, from vectors at k, k + 1, k + 2.
__m256i next_x(__m256i x0, __m256i x1, __m256i x2) {
  __m256i const plus = _mm256_add_epi64(times(x1, 1724298998), times(x2, 340793741));
  __m256i const minus =
      _mm256_sub_epi64(_mm256_set1_epi64x(uint64_t{63991079} * mrg_m1), times(x0, 63991079));
  return reduce_once(fold(_mm256_add_epi64(plus, minus), _mm256_set1_epi64x(209)),
                     _mm256_set1_epi64x(mrg_m1));
}
__m256i next_y(__m256i y0, __m256i y1, __m256i y2) {
  constexpr uint64_t offset = (uint64_t{1843155969} + 801467041) * mrg_m2;
  __m256i const minus = _mm256_sub_epi64(_mm256_set1_epi64x(offset),
                                         _mm256_add_epi64(times(y0, 1843155969), times(y1, 801467041)));
  __m256i const sum = _mm256_add_epi64(times(y2, 953245149), minus);
  return reduce_once(fold(sum, _mm256_set1_epi64x(22853)), _mm256_set1_epi64x(mrg_m2));
}
static_assert(63991079 == mrg_m1 - 4230976008u && 1843155969 == mrg_m2 - 2451788474u);

// Outputs in 64-bit lanes.
__m256i combine(__m256i x, __m256i y) { // both below 2^32
  __m256i const d = _mm256_sub_epi64(x, y);
  __m256i const fix = _mm256_andnot_si256(_mm256_cmpgt_epi64(x, y), _mm256_set1_epi64x(mrg_m1));
  return _mm256_add_epi64(d, fix);
}

__m128i narrow(__m256i z) {
  return low_half(_mm256_permutevar8x32_epi32(z, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
}

struct Words {
  using Real = uint32_t;
  void operator()(uint32_t* r, __m256i z) const {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(r), narrow(z));
  }
};
struct Doubles {
  using Real = double;
  __m256d s, a;
  void operator()(double* r, __m256i z) const {
    __m256i const magic = _mm256_set1_epi64x(0x4330000000000000);
    __m256d const w =
        _mm256_sub_pd(_mm256_castsi256_pd(_mm256_or_si256(z, magic)), _mm256_castsi256_pd(magic));
    _mm256_storeu_pd(r, _mm256_fmadd_pd(s, w, a));
  }
};
struct Singles {
  using Real = float;
  __m128 s, a;
  void operator()(float* r, __m256i z) const {
    __m128 const w = _mm256_castps256_ps128(unsigned_to_float(_mm256_castsi128_si256(narrow(z))));
    _mm_storeu_ps(r, _mm_fmadd_ps(s, w, a));
  }
};

constexpr int block = 16;

// The last 20 values of a component, oldest first, in registers; the very first one is not used.
struct Window {
  __m256i v[5];
  void load(uint64_t const* p) {
    for (int k = 0; k < 5; ++k) v[k] = load8(p + 4 * k);
  }
  // A block further. The vectors at one, two and three places past the start of v[k] come from it and the
  // next.
  template <class Next>
  void advance(Next const& next) {
    __m256i made[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
      __m256i const two = _mm256_permute2x128_si256(v[k], v[k + 1], 0x21);
      __m256i const one = _mm256_alignr_epi8(two, v[k], 8), three = _mm256_alignr_epi8(v[k + 1], two, 8);
      made[k] = next(one, two, three);
    }
    v[0] = v[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) v[k + 1] = made[k];
  }
};

template <class Map>
int32_t generate(RngStream* stream, int32_t n, typename Map::Real* r, Map const& map) {
  auto& s = state_of<State>(stream);
  // Single steps, up to the end of a short call or until the window of the blocks is filled.
  uint64_t x[4 + block] = {0, s.x[0], s.x[1], s.x[2]}, y[4 + block] = {0, s.y[0], s.y[1], s.y[2]};
  bool const blocks = n >= 2 * block;
  int32_t i = 0;
  while (i < n && (!blocks || i < block)) {
    uint64_t z[4] = {};
    int const part = n - i < 4 ? n - i : 4;
    for (int k = 0; k < part; ++k) {
      z[k] = step(s);
      if (blocks) x[4 + i + k] = s.x[2], y[4 + i + k] = s.y[2];
    }
    typename Map::Real out[4];
    map(out, load8(z));
    std::memcpy(r + i, out, part * sizeof *r);
    i += part;
  }
  if (i >= n) return RnqOk;
  Window wx, wy;
  wx.load(x);
  wy.load(y);
  auto advance = [&](typename Map::Real* to) {
    wx.advance(next_x);
    wy.advance(next_y);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) map(to + 4 * k, combine(wx.v[k + 1], wy.v[k + 1]));
  };
  int last = block;
  for (; n - i >= block; i += block) advance(r + i);
  if (i < n) {
    typename Map::Real out[block];
    advance(out);
    last = n - i;
    std::memcpy(r + i, out, last * sizeof *r);
  }
  for (int k = 0; k < 5; ++k) store8(x + 4 * k, wx.v[k]), store8(y + 4 * k, wy.v[k]);
  for (int k = 0; k < 3; ++k) {
    s.x[k] = static_cast<uint32_t>(x[last + 1 + k]);
    s.y[k] = static_cast<uint32_t>(y[last + 1 + k]);
  }
  return RnqOk;
}

constexpr double scale = 0x1.000000D10000Bp-32; // 1 / (2^32 - 209)

void seed(State& s, int32_t n, uint32_t const* words) {
  uint32_t v[6];
  for (int k = 0; k < 6; ++k) v[k] = k < n ? load_u32(words + k) : 1;
  for (int k = 0; k < 3; ++k) {
    s.x[k] = v[k] >= mrg_m1 ? v[k] - mrg_m1 : v[k];
    s.y[k] = v[3 + k] >= mrg_m2 ? v[3 + k] - mrg_m2 : v[3 + k];
  }
  if (!(s.x[0] | s.x[1] | s.x[2])) s.x[0] = 1;
  if (!(s.y[0] | s.y[1] | s.y[2])) s.y[0] = 1;
}

void skip(State& s, int32_t n, uint64_t const* count) {
  static constexpr uint32_t row_x[3] = {0, 1403580, mrg_m1 - 810728},
                            row_y[3] = {527612, 0, mrg_m2 - 1370589};
  bool far = false; // beyond the table
  for (int i = 3; i < n; ++i) {
    uint64_t const word = load_u64(count + i);
    far = far || (i == 3 ? word >> 1 : word) != 0;
  }
  if (far) {
    __rnqiVect3PowArrayMod(s.x, row_x, mrg_m1, n, count);
    __rnqiVect3PowArrayMod(s.y, row_y, mrg_m2, n, count);
  } else {
    __rnqiVect3PowArrayMod_M1(s.x, n, count, mrg_powers1.power[0].at);
    __rnqiVect3PowArrayMod_M2(s.y, n, count, mrg_powers2.power[0].at);
  }
}

} // namespace

ORV_EXPORT int32_t __rnqBRngMRG32K3AInitStream(int32_t method, RngStream* stream, int32_t n,
                                               const void* params) {
  auto& s = state_of<State>(stream);
  switch (method) {
  case 0:
    seed(s, n, static_cast<uint32_t const*>(params));
    return RnqOk;
  case 1:
    return RnqErrNoLeapfrog;
  case 2: {
    uint64_t const count = load_u64(params);
    skip(s, 1, &count);
    return RnqOk;
  }
  case 3:
    skip(s, n, static_cast<uint64_t const*>(params));
    return RnqOk;
  default:
    return RnqErrBadMethod;
  }
}

ORV_EXPORT int32_t __rnqdBRngMRG32K3A(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate(stream, n, r, Doubles{_mm256_set1_pd((b - a) * scale), _mm256_set1_pd(a)});
}
ORV_EXPORT int32_t __rnqsBRngMRG32K3A(RngStream* stream, int32_t n, float* r, float a, float b) {
  float const s = static_cast<float>((static_cast<double>(b) - static_cast<double>(a)) * scale);
  return generate(stream, n, r, Singles{_mm_set1_ps(s), _mm_set1_ps(a)});
}
ORV_EXPORT int32_t __rnqiBRngMRG32K3A(RngStream* stream, int32_t n, void* r) {
  return generate(stream, n, static_cast<uint32_t*>(r), Words());
}
