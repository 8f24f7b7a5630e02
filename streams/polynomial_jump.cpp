// Jumps of generators that are linear over GF(2): the state times t^c modulo the characteristic polynomial
// (H. Haramoto, M. Matsumoto, T. Nishimura, F. Panneton, P. L'Ecuyer, "Efficient Jump Ahead for F2-Linear
// Random Number Generators", INFORMS J. Computing 20, 2008).
//
// The remainder of t^c comes from squarings, by carry-less multiplication; a square is reduced from the top,
// one 64-bit quotient word at a time, and that word is the top of the square times the head of the
// reciprocal. Reduction of degree 19937 costs about 97 000 carry-less products.
#include "streams/stream.h"

// For the whole file: as an attribute of single functions it leads this compiler's vectorizer astray.
#pragma GCC target("pclmul")
#include <wmmintrin.h>

using namespace orv;
using namespace orv::streams;

namespace {

inline __m128i product(uint64_t a, uint64_t b) {
  return _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<long long>(a)),
                              _mm_set_epi64x(0, static_cast<long long>(b)), 0);
}
inline uint64_t high_word(__m128i v) {
  uint64_t words[2];
  std::memcpy(words, &v, sizeof words);
  return words[1];
}

// f modulo p, p of degree d; both dense. `f` has room for a square and two words more.
class Reducer {
 public:
  Reducer(uint64_t* p, int64_t d) : p_(p), d_(d), words_(d / 64 + 1) {
    // Head of the reciprocal in 1/t: bit 63 - i is the coefficient of t^-(i + 1) in t^d / p.
    uint64_t head = bits_below(d);
    uint64_t r = 0;
    for (int i = 0; i < 64; ++i) {
      uint64_t const bit = head >> 63;
      r = r << 1 | bit;
      head <<= 1;
      if (bit) head ^= bits_below(d);
    }
    reciprocal_ = r;
  }
  // Removes everything from t^d up; `top` is the number of words that may be set.
  void reduce(uint64_t* f, int64_t top) const {
    // Quotient words at t^d, t^(d + 64), ...; below 64 bits at a time are taken from the highest one down.
    int64_t steps = (64 * top - d_ + 63) / 64;
    for (int64_t i = steps - 1; i >= 0; --i) {
      uint64_t const q = window(f, d_ + 64 * i);
      if (!q) continue;
      add_multiple(f, q ^ high_word(product(q, reciprocal_)), i);
    }
  }

 private:
  uint64_t window(uint64_t const* f, int64_t position) const {
    int64_t const w = position / 64;
    int const s = position % 64;
    return s ? f[w] >> s | f[w + 1] << (64 - s) : f[w];
  }
  uint64_t bits_below(int64_t d) const { // the 64 coefficients under t^d
    if (d >= 64) return window(p_, d - 64);
    return p_[0] << (64 - d);
  }
  void add_multiple(uint64_t* f, uint64_t q, int64_t at) const {
    f += at;
    for (int64_t first = 0; first < 2; ++first) // every other word, so that no store meets the next load
      for (int64_t i = first; i < words_; i += 2) {
        auto* out = reinterpret_cast<__m128i*>(f + i);
        _mm_storeu_si128(out, _mm_xor_si128(_mm_loadu_si128(out), product(q, p_[i])));
      }
  }
  uint64_t* p_;
  int64_t d_, words_;
  uint64_t reciprocal_;
};

void square(uint64_t* f, int64_t words) { // in place, from the top down
  for (int64_t i = words - 1; i >= 0; --i)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(f + 2 * i), product(f[i], f[i]));
}

struct Work { // blocks that are freed on every way out
  void* block[8];
  int count = 0;
  ~Work() {
    for (int i = 0; i < count; ++i) core::deallocate(block[i]);
  }
  void* take(size_t bytes) {
    void* b = core::allocate(bytes);
    if (b) block[count++] = b;
    return b;
  }
};

} // namespace

ORV_EXPORT int32_t __rnqPolyRem(uint64_t n, uint64_t degree, int32_t termCount, const int32_t* exponents,
                                int32_t wordCount, uint32_t* result) {
  std::memset(result, 0, sizeof(uint32_t) * wordCount);
  if (n < degree) {
    if (n / 32 < static_cast<uint64_t>(wordCount)) result[n / 32] |= 1u << (n % 32);
    return RnqOk;
  }
  if (degree == 0) return RnqOk;
  Work work;
  int64_t const words = static_cast<int64_t>(degree / 64) + 1;
  auto* p = static_cast<uint64_t*>(work.take(200 * static_cast<size_t>(words)));
  if (!p) return RnqErrNoMemory;
  uint64_t* f = p + words + 1; // 2 words of slack behind a square
  std::memset(p, 0, 200 * static_cast<size_t>(words));
  for (int i = 0; i < termCount; ++i) p[exponents[i] / 64] ^= uint64_t{1} << (exponents[i] % 64);
  Reducer const reducer(p, static_cast<int64_t>(degree));

  // As many leading bits of n as stay below the degree need no arithmetic.
  int bit = 63 - __builtin_clzll(n);
  uint64_t start = 0;
  while (bit >= 0 && (start << 1 | (n >> bit & 1)) < degree) start = start << 1 | (n >> bit-- & 1);
  f[start / 64] |= uint64_t{1} << (start % 64);
  for (; bit >= 0; --bit) {
    square(f, words);
    if (n >> bit & 1) {
      uint64_t carry = 0;
      for (int64_t i = 0; i < 2 * words + 1; ++i) {
        uint64_t const next = f[i] >> 63;
        f[i] = f[i] << 1 | carry;
        carry = next;
      }
    }
    reducer.reduce(f, 2 * words);
  }
  for (int64_t i = 0; i < 2 * words && i < wordCount; ++i)
    result[i] = static_cast<uint32_t>(f[i / 2] >> (32 * (i % 2)));
  return RnqOk;
}

namespace {

struct Jump {
  RngStream* stream;
  RngJumpZero zero;
  RngJumpAdd add;
  RngJumpCopy copy;
  RngJumpStep step;
  RngJumpFinish finish;
  RngJumpPrepare prepare;
  uint64_t count;
  int32_t words, degree, image_bytes, term_count;
  int32_t const* exponents;

  // Memory is taken before the stream is touched, and what `prepare` did is undone when the polynomial fails.
  template <class Method>
  int32_t run(int images, Method method) {
    if (count == 0) return RnqOk;
    Work work;
    auto* g = static_cast<uint32_t*>(work.take(8 * static_cast<size_t>(words)));
    auto* saved = static_cast<char*>(work.take(image_bytes));
    auto* image = static_cast<char*>(work.take(static_cast<size_t>(image_bytes) * images));
    if (!g || !saved || !image) return RnqErrNoMemory;
    std::memcpy(saved, stream, image_bytes);
    int32_t remainder = 0;
    if (!prepare(stream, &count, &remainder)) return RnqOk;
    if (__rnqPolyRem(count, degree, term_count, exponents, words, g) != RnqOk) {
      std::memcpy(static_cast<void*>(stream), saved, image_bytes);
      return RnqErrNoMemory;
    }
    int64_t top = degree - 1;
    while (top > 0 && !bit(g, top)) --top;
    std::memset(image, 0, static_cast<size_t>(image_bytes) * images);
    method(g, top, image);
    finish(stream, image, remainder);
    return RnqOk;
  }
  static bool bit(uint32_t const* g, int64_t i) { return g[i / 32] >> (i % 32) & 1; }

  void horner(uint32_t const* g, int64_t top, void* t) {
    copy(t, stream);
    for (int64_t i = top; i-- > 0;) {
      step(t);
      if (bit(g, i)) add(t, stream);
    }
  }

  // images: the result, a helper, then the 128 combinations t^7 + h
  void sliding_window(uint32_t const* g, int64_t top, char* t) {
    char* u = t + image_bytes;
    char* w = u + image_bytes;
    auto window = [&](int h) { return w + static_cast<size_t>(image_bytes) * h; };
    copy(window(0), stream);
    for (int i = 0; i < 7; ++i) step(window(0));
    for (int i = 1; i < 128; ++i) { // Gray codes: one term more or less each time
      int const b = __builtin_ctz(i), h = i ^ i >> 1, before = (i - 1) ^ (i - 1) >> 1;
      copy(window(h), window(before));
      copy(u, stream);
      for (int k = 0; k < b; ++k) step(u);
      add(window(h), u);
    }
    zero(t);
    while (top >= 7) {
      if (!bit(g, top)) {
        step(t);
        --top;
        continue;
      }
      int h = 0;
      for (int i = 1; i <= 7; ++i) h = h << 1 | bit(g, top - i);
      for (int i = 0; i < 8; ++i) step(t);
      add(t, window(h));
      top -= 8;
    }
    for (; top >= 0; --top) {
      step(t);
      if (bit(g, top)) add(t, stream);
    }
  }
};

} // namespace

#define ORV_JUMP_ARGUMENTS                                                                                   \
  RngStream *stream, RngJumpZero zero, RngJumpAdd add, RngJumpCopy copy, RngJumpStep step,                   \
      RngJumpFinish finish, RngJumpPrepare prepare, uint64_t count, int32_t words, int32_t degree,           \
      int32_t imageBytes, int32_t termCount, const int32_t *exponents
#define ORV_JUMP                                                                                             \
  Jump {                                                                                                     \
    stream, zero, add, copy, step, finish, prepare, count, words, degree, imageBytes, termCount, exponents   \
  }

ORV_EXPORT int32_t __rnq_SkipAheadHorner(ORV_JUMP_ARGUMENTS) {
  Jump jump = ORV_JUMP;
  return jump.run(1, [&](uint32_t const* g, int64_t top, char* t) { jump.horner(g, top, t); });
}

ORV_EXPORT int32_t __rnq_SkipAheadSWin(ORV_JUMP_ARGUMENTS) {
  Jump jump = ORV_JUMP;
  return jump.run(130, [&](uint32_t const* g, int64_t top, char* t) { jump.sliding_window(g, top, t); });
}
