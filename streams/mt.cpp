// MT19937 and the MT2203 family (M. Matsumoto, T. Nishimura, ACM TOMACS 8, 1998, and the dynamic creation of
// small twisters by the same authors).
//
// Words are made in a buffer that begins with the block of the state and runs on through the recurrence, a
// piece at a time so that it stays in the first-level cache; tempering and mapping read it from there. No
// place depends on the seven before it, so everything runs in vectors of eight.
#include "streams/mt_jump.h"
#include "streams/ring_image.h"
#include "streams/stream.h"

using namespace orv::streams;

namespace {

struct Mt19937 {
  static constexpr int N = 624, M = 397;
  static constexpr uint32_t upper = 0x80000000;
  struct State {
    uint32_t mt[N];
    int32_t index;
    uint32_t reserved;
  };
  static uint32_t matrix(State const&) { return 0x9908B0DF; }
  struct Temper {
    explicit Temper(State const&) {}
    __m256i operator()(__m256i y) const {
      y = _mm256_xor_si256(y, _mm256_srli_epi32(y, 11));
      y = _mm256_xor_si256(y, _mm256_and_si256(_mm256_slli_epi32(y, 7), _mm256_set1_epi32(0x9D2C5680)));
      y = _mm256_xor_si256(y, _mm256_and_si256(_mm256_slli_epi32(y, 15), _mm256_set1_epi32(0xEFC60000)));
      return _mm256_xor_si256(y, _mm256_srli_epi32(y, 18));
    }
  };
};
static_assert(sizeof(Mt19937::State) == 2504);

struct Mt2203 {
  static constexpr int N = 69, M = 34;
  static constexpr uint32_t upper = 0xFFFFFFE0;
  struct State {
    uint32_t mt[N];
    int32_t index;
    uint32_t matrix_a, mask_b, mask_c, reserved;
  };
  static uint32_t matrix(State const& s) { return s.matrix_a; }
  struct Temper {
    __m256i b, c;
    explicit Temper(State const& s)
        : b(_mm256_set1_epi32(static_cast<int>(s.mask_b))), c(_mm256_set1_epi32(static_cast<int>(s.mask_c))) {
    }
    __m256i operator()(__m256i y) const {
      y = _mm256_xor_si256(y, _mm256_srli_epi32(y, 12));
      y = _mm256_xor_si256(y, _mm256_and_si256(_mm256_slli_epi32(y, 7), b));
      y = _mm256_xor_si256(y, _mm256_and_si256(_mm256_slli_epi32(y, 15), c));
      return _mm256_xor_si256(y, _mm256_srli_epi32(y, 18));
    }
  };
};
static_assert(sizeof(Mt2203::State) == 296);

struct Mt2203Member {
  uint32_t matrix_a, mask_b, mask_c;
};
constexpr Mt2203Member mt2203_members[] = {
#include "streams/mt2203_params.inc"
};
constexpr uint32_t member_count = sizeof mt2203_members / sizeof *mt2203_members;
static_assert(member_count == 6024);

// w[N + i] for i = 0 up to count, and up to seven more.
template <class G>
void run_on(uint32_t* w, int count, uint32_t matrix) {
  __m256i const upper = _mm256_set1_epi32(static_cast<int>(G::upper));
  __m256i const twist = _mm256_set1_epi32(static_cast<int>(matrix));
  for (int i = 0; i < count; i += 8) {
    __m256i const next = load8(w + i + 1);
    __m256i const y =
        _mm256_or_si256(_mm256_and_si256(upper, load8(w + i)), _mm256_andnot_si256(upper, next));
    __m256i const odd = _mm256_srai_epi32(_mm256_slli_epi32(next, 31), 31);
    __m256i const z = _mm256_xor_si256(_mm256_srli_epi32(y, 1), _mm256_and_si256(odd, twist));
    store8(w + G::N + i, _mm256_xor_si256(z, load8(w + i + G::M)));
  }
}

constexpr int piece = 1024;

// A buffer for a run: the block, a piece, and the overrun of the last vector.
template <class G>
struct Run {
  uint32_t w[G::N + piece + 8];
};

// An index from a stored image can be anything; one that is out of range counts as a used-up block.
template <class State>
int index_of(State const& s, int N) {
  return static_cast<uint32_t>(s.index) > static_cast<uint32_t>(N) ? N : s.index;
}

template <class G, class Map>
int32_t generate(typename G::State& s, int32_t n, typename Map::Real* r, Map const& map) {
  if (n <= 0) return RnqOk;
  constexpr int N = G::N;
  typename G::Temper const temper(s);
  int const index = index_of(s, N), here = n < N - index ? n : N - index;
  emit(r, here, map, s.mt + index, temper);
  r += here;
  s.index = index + here;
  int left = n - here;
  if (left == 0) return RnqOk;
  Run<G> run;
  auto* w = run.w;
  std::memcpy(w, s.mt, sizeof s.mt);
  if (n <= N) { // a new block, some of which is left
    run_on<G>(w, N, G::matrix(s));
    emit(r, left, map, w + N, temper);
    std::memcpy(s.mt, w + N, sizeof s.mt);
    s.index = left;
    return RnqOk;
  }
  while (left > 0) {
    int const part = left < piece ? left : piece;
    run_on<G>(w, part, G::matrix(s));
    emit(r, part, map, w + N, temper);
    std::memmove(w, w + part, sizeof s.mt);
    r += part;
    left -= part;
  }
  std::memcpy(s.mt, w, sizeof s.mt);
  s.index = N;
  return RnqOk;
}

template <class G>
void seed_by_array(typename G::State& s, int32_t n, uint32_t const* key) {
  constexpr int N = G::N;
  uint32_t const one = 1;
  if (n <= 0) n = 1, key = &one;
  uint32_t* mt = s.mt;
  auto mixed = [&](int i) { return mt[i - 1] ^ mt[i - 1] >> 30; };
  mt[0] = 19650218;
  for (int i = 1; i < N; ++i) mt[i] = mixed(i) * 1812433253u + i;
  int i = 1, j = 0;
  auto wrap = [&] {
    if (++i == N) mt[0] = mt[N - 1], i = 1;
  };
  for (int k = N > n ? N : n; k > 0; --k) {
    mt[i] = (mt[i] ^ mixed(i) * 1664525u) + load_u32(key + j) + j;
    wrap();
    if (++j == n) j = 0;
  }
  for (int k = N - 1; k > 0; --k) {
    mt[i] = (mt[i] ^ mixed(i) * 1566083941u) - i;
    wrap();
  }
  mt[0] = 0x80000000;
  s.index = N;
}

// ---- skip-ahead of MT19937 ----

using Image = RingImage<Mt19937::State, Mt19937::N, &Mt19937::State::mt>;

void jump_step(void* p) {
  auto& s = Image::of(p);
  constexpr int N = Mt19937::N;
  int const i = s.index >= N ? 0 : s.index, next = i + 1 == N ? 0 : i + 1;
  uint32_t const y = (s.mt[i] & Mt19937::upper) | (s.mt[next] & ~Mt19937::upper);
  s.mt[i] = s.mt[i + Mt19937::M < N ? i + Mt19937::M : i + Mt19937::M - N] ^ y >> 1 ^ (-(y & 1) & 0x9908B0DF);
  s.index = next;
}
void jump_finish(RngStream* stream, void const* p, int32_t) { Image::straighten(stream, p); }
int32_t jump_prepare(RngStream* stream, uint64_t* count, int32_t* remainder) {
  auto& s = Image::of(stream);
  constexpr int N = Mt19937::N;
  int const left = N - index_of(s, N);
  *remainder = 0;
  if (*count <= static_cast<uint64_t>(left)) {
    s.index = N - left + static_cast<int>(*count);
    return 0;
  }
  *count -= left;
  s.index = N;
  return 1;
}

constexpr uint64_t jump_threshold = 0x400000;

int32_t skip_ahead(RngStream* stream, uint64_t count) {
  if (count >= jump_threshold)
    return __rnq_SkipAheadSWin(stream, Image::zero, Image::add, Image::copy, jump_step, jump_finish,
                               jump_prepare, count, Mt19937::N, 19937, 2520,
                               sizeof mt19937_jump_polynomial / sizeof(int32_t), mt19937_jump_polynomial);
  auto& s = state_of<Mt19937::State>(stream);
  constexpr int N = Mt19937::N;
  int32_t remainder;
  if (!jump_prepare(stream, &count, &remainder)) return RnqOk;
  Run<Mt19937> run;
  std::memcpy(run.w, s.mt, sizeof s.mt);
  for (int left = static_cast<int>(count); left > 0; left -= N) { // whole blocks, the index in the last one
    run_on<Mt19937>(run.w, N, Mt19937::matrix(s));
    std::memcpy(run.w, run.w + N, sizeof s.mt);
    s.index = left < N ? left : N;
  }
  std::memcpy(s.mt, run.w, sizeof s.mt);
  return RnqOk;
}

int32_t init_mt19937(int32_t method, RngStream* stream, int32_t n, void const* params) {
  switch (method) {
  case 0:
    seed_by_array<Mt19937>(state_of<Mt19937::State>(stream), n, static_cast<uint32_t const*>(params));
    return RnqOk;
  case 1:
    return RnqErrNoLeapfrog;
  case 2:
    return skip_ahead(stream, load_u64(params));
  case 3:
    return RnqErrNoSkipAheadEx;
  default:
    return RnqErrBadMethod;
  }
}

int32_t init_mt2203(int32_t method, RngStream* stream, int32_t n, void const* params) {
  if (method == 1) return RnqErrNoLeapfrog;
  if (method == 2) return RnqErrNoSkipAhead;
  if (method == 3) return RnqErrNoSkipAheadEx;
  if (method != 0) return RnqErrBadMethod;
  uint32_t index, member;
  __rnqGetBrngBaseOffset(stream->brng, &index, &member);
  if (member >= member_count) return RnqErrBadBrng;
  auto& s = state_of<Mt2203::State>(stream);
  seed_by_array<Mt2203>(s, n, static_cast<uint32_t const*>(params));
  auto const& m = mt2203_members[member];
  s.matrix_a = m.matrix_a;
  s.mask_b = m.mask_b;
  s.mask_c = m.mask_c;
  return RnqOk;
}

template <class G, class Map>
int32_t draw(RngStream* stream, int32_t n, void* r, Map const& map) {
  return generate<G>(state_of<typename G::State>(stream), n, static_cast<typename Map::Real*>(r), map);
}

} // namespace

ORV_EXPORT int32_t __rnqBRngMT19937InitStream(int32_t method, RngStream* stream, int32_t n,
                                              const void* params) {
  return init_mt19937(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqdBRngMT19937(RngStream* stream, int32_t n, double* r, double a, double b) {
  return draw<Mt19937>(stream, n, r, FmaInDouble<double, false>((b - a) * 0x1p-32, a));
}
ORV_EXPORT int32_t __rnqsBRngMT19937(RngStream* stream, int32_t n, float* r, float a, float b) {
  double const low = a, high = b;
  return draw<Mt19937>(stream, n, r, FmaInDouble<float, false>((high - low) * 0x1p-32, low));
}
ORV_EXPORT int32_t __rnqiBRngMT19937(RngStream* stream, int32_t n, void* r) {
  return draw<Mt19937>(stream, n, r, AsWords());
}

ORV_EXPORT int32_t __rnqBRngMT2203InitStream(int32_t method, RngStream* stream, int32_t n,
                                             const void* params) {
  return init_mt2203(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqdBRngMT2203(RngStream* stream, int32_t n, double* r, double a, double b) {
  return draw<Mt2203>(stream, n, r, FmaInDouble<double, false>((b - a) * 0x1p-32, a));
}
ORV_EXPORT int32_t __rnqsBRngMT2203(RngStream* stream, int32_t n, float* r, float a, float b) {
  return draw<Mt2203>(stream, n, r, FmaInSingle<false>((b - a) * 0x1p-32f, a));
}
ORV_EXPORT int32_t __rnqiBRngMT2203(RngStream* stream, int32_t n, void* r) {
  return draw<Mt2203>(stream, n, r, AsWords());
}
