// SFMT19937 (M. Saito, M. Matsumoto, "SIMD-oriented Fast Mersenne Twister", MCQMC 2006).
//
// Runs are made in a buffer that begins with the block of the state, a piece at a time, and mapped from
// there. Each 128-bit word needs the one before it, which costs two operations in a row; everything else
// overlaps.
#include "streams/mt_jump.h"
#include "streams/ring_image.h"
#include "streams/stream.h"

using namespace orv::streams;

namespace orv::streams {
constinit const int32_t sfmt_jump_polynomial[6711] = {
#include "streams/sfmt19937_polynomial.inc"
};
} // namespace orv::streams

namespace {

constexpr int N = 624, near_word = 122, piece = 1024;

struct State {
  uint32_t w[N];
  int32_t index;       // a multiple of 4
  uint32_t pending[3]; // what is left of a 128-bit word that was begun
  int32_t pending_first, pending_end;
};
static_assert(sizeof(State) == 2520 && offsetof(State, pending) == 2500 &&
              offsetof(State, pending_first) == 2512);

struct Recurrence {
  __m128i c, d; // the two words before
  static __m128i load(uint32_t const* p) { return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p)); }
  explicit Recurrence(uint32_t const* end) : c(load(end - 8)), d(load(end - 4)) {}
  __m128i operator()(__m128i a, __m128i b) {
    __m128i const mask = _mm_setr_epi32(static_cast<int>(0xDFFFFFEF), static_cast<int>(0xDDFECB7F),
                                        static_cast<int>(0xBFFAFFFF), static_cast<int>(0xBFFFFFF6));
    __m128i z = _mm_xor_si128(a, _mm_slli_si128(a, 1));
    z = _mm_xor_si128(z, _mm_and_si128(_mm_srli_epi32(b, 11), mask));
    z = _mm_xor_si128(z, _mm_srli_si128(c, 1));
    z = _mm_xor_si128(z, _mm_slli_epi32(d, 18));
    c = d;
    return d = z;
  }
};

// w[N + i] for i = 0 to count, a multiple of 4.
void run_on(uint32_t* w, int count) {
  Recurrence next(w + N);
  for (int i = 0; i < count; i += 4) {
    __m128i const z = next(Recurrence::load(w + i), Recurrence::load(w + i + 4 * near_word));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(w + N + i), z);
  }
}

// A stored image can hold anything.
void bound(State& s) {
  if (static_cast<uint32_t>(s.index) > N || s.index % 4) s.index = N;
  if (s.pending_first < 0 || s.pending_end > 3 || s.pending_first > s.pending_end)
    s.pending_first = s.pending_end = 0;
}
int waiting(State const& s) { return s.pending_end - s.pending_first; }

void keep_pending(State& s, uint32_t const* end, int count) { // the last `count` words before `end`
  std::memcpy(s.pending, end - count, 4 * count);
  s.pending_first = 0;
  s.pending_end = count;
}

template <class Map>
int32_t generate(RngStream* stream, int32_t n, typename Map::Real* r, Map const& map) {
  if (n <= 0) return RnqOk;
  auto& s = state_of<State>(stream);
  bound(s);
  int const first = n < waiting(s) ? n : waiting(s);
  emit(r, first, map, s.pending + s.pending_first);
  s.pending_first += first;
  r += first;
  n -= first;
  if (n == 0) return RnqOk;

  int const whole = n / 4 * 4 + (n % 4 ? 4 : 0), rest = whole - n;
  int const here = whole < N - s.index ? whole : N - s.index;
  int const used = n < here ? n : here;
  emit(r, used, map, s.w + s.index);
  r += used;
  s.index += here;
  int left = whole - here;
  if (left == 0) {
    keep_pending(s, s.w + s.index, rest);
    return RnqOk;
  }
  uint32_t w[N + piece];
  std::memcpy(w, s.w, sizeof s.w);
  if (whole <= N) {
    run_on(w, N);
    emit(r, left - rest, map, w + N);
    std::memcpy(s.w, w + N, sizeof s.w);
    s.index = left;
    keep_pending(s, s.w + left, rest);
    return RnqOk;
  }
  while (left > 0) {
    int const part = left < piece ? left : piece;
    run_on(w, part);
    left -= part;
    emit(r, left ? part : part - rest, map, w + N);
    std::memmove(w, w + part, sizeof s.w);
    r += part;
  }
  std::memcpy(s.w, w, sizeof s.w);
  s.index = N;
  keep_pending(s, s.w + N, rest);
  return RnqOk;
}

void seed(State& s, int32_t n, uint32_t const* key) {
  uint32_t const one = 1;
  if (n < 1) n = 1, key = &one;
  constexpr int mid = 306, lag = 11;
  uint32_t* w = s.w;
  for (auto& word : s.w) word = 0x8B8B8B8B;
  auto at = [&](int i) -> uint32_t& { return w[i % N]; };
  auto sum_mixed = [](uint32_t v, uint32_t factor) { return (v ^ v >> 27) * factor; };
  int const count = n + 1 > N ? n + 1 : N;
  int i = 0;
  auto first_round = [&](uint32_t extra) {
    uint32_t r = sum_mixed(w[i] ^ at(i + mid) ^ at(i + N - 1), 1664525u);
    at(i + mid) += r;
    r += extra;
    at(i + mid + lag) += r;
    w[i] = r;
    i = (i + 1) % N;
  };
  first_round(static_cast<uint32_t>(n));
  for (int j = 0; j < count - 1; ++j) first_round((j < n ? load_u32(key + j) : 0) + i);
  for (int j = 0; j < N; ++j) {
    uint32_t r = sum_mixed(w[i] + at(i + mid) + at(i + N - 1), 1566083941u);
    at(i + mid) ^= r;
    r -= i;
    at(i + mid + lag) ^= r;
    w[i] = r;
    i = (i + 1) % N;
  }
  // The parity must be odd for the full period; the lowest bit that counts is turned over if it isn't.
  constexpr uint32_t parity[4] = {1, 0, 0, 0x13C9E684};
  uint32_t inner = 0;
  for (int k = 0; k < 4; ++k) inner ^= w[k] & parity[k];
  if (!__builtin_parity(inner)) w[0] ^= 1;
  s.index = N;
  s.pending_first = s.pending_end = 0;
}

// ---- skip-ahead; images step by 128-bit words ----

using Image = RingImage<State, N, &State::w>;

void jump_step(void* p) {
  auto& s = Image::of(p);
  int const i = s.index % N;
  auto word = [&](int k) { return Recurrence::load(s.w + (i + 4 * k) % N); };
  Recurrence next(s.w + N);
  next.c = word(154);
  next.d = word(155);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(s.w + i), next(word(0), word(near_word)));
  s.index = (i + 4) % N;
}
void jump_finish(RngStream* stream, void const* p, int32_t remainder) {
  Image::straighten(stream, p);
  auto& s = Image::of(stream);
  if (remainder) keep_pending(s, s.w + N, 4 - remainder);
}
int32_t jump_prepare(RngStream* stream, uint64_t* count, int32_t* remainder) {
  auto& s = Image::of(stream);
  bound(s);
  uint64_t c = *count;
  *remainder = 0;
  if (c <= static_cast<uint64_t>(waiting(s))) {
    s.pending_first += static_cast<int>(c);
    return 0;
  }
  c -= waiting(s);
  s.pending_first = s.pending_end = 0;
  uint64_t const left = N - s.index;
  if (c <= left) {
    int const at = s.index + static_cast<int>(c);
    s.index = (at + 3) / 4 * 4;
    keep_pending(s, s.w + s.index, s.index - at);
    return 0;
  }
  c -= left;
  s.index = N;
  *remainder = static_cast<int32_t>(c % 4);
  *count = c / 4 + (c % 4 != 0);
  return 1;
}

int32_t skip_ahead(RngStream* stream, uint64_t count) {
  constexpr int degree = 19968;
  auto* jump = count < degree ? __rnq_SkipAheadHorner : __rnq_SkipAheadSWin;
  return jump(stream, Image::zero, Image::add, Image::copy, jump_step, jump_finish, jump_prepare, count, N,
              degree, 2536, sizeof sfmt_jump_polynomial / sizeof *sfmt_jump_polynomial, sfmt_jump_polynomial);
}

double middle(double a, double b) { return (a + b) / 2; }
double scale(double a, double b) { return (b - a) * 0x1p-32; }

} // namespace

ORV_EXPORT int32_t __rnqBRngSFMT19937InitStream(int32_t method, RngStream* stream, int32_t n,
                                                const void* params) {
  switch (method) {
  case 0:
    seed(state_of<State>(stream), n, static_cast<uint32_t const*>(params));
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

// Words are read as signed numbers around the middle of the interval.
ORV_EXPORT int32_t __rnqdBRngSFMT19937(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate(stream, n, r, FmaInDouble<double, true>(scale(a, b), middle(a, b)));
}
ORV_EXPORT int32_t __rnqsBRngSFMT19937(RngStream* stream, int32_t n, float* r, float a, float b) {
  FmaInSingle<true> const map(static_cast<float>(scale(a, b)), static_cast<float>(middle(a, b)));
  return generate(stream, n, r, map);
}
ORV_EXPORT int32_t __rnqiBRngSFMT19937(RngStream* stream, int32_t n, void* r) {
  return generate(stream, n, static_cast<uint32_t*>(r), AsWords());
}
