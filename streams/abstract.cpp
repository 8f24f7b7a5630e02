#include "streams/abstract.h"

#include <atomic>

using namespace orv;
using namespace orv::streams;

namespace {

// ---- rings that this process has used ----

struct Ring {
  void* buffer;
  void* refill;
  int32_t size;
  bool operator==(Ring const&) const = default;
};
// The latest ones; an older ring counts as unknown.
struct KnownRings {
  static constexpr int capacity = 1024;
  Ring ring[capacity]{};
  int next = 0;
  int32_t word = 0;
};
constinit KnownRings known;

bool is_known(Ring const& r) {
  for (auto const& k : known.ring)
    if (k == r) return true;
  return false;
}
template <class T>
Ring ring_of(AbstractState<T> const& s) {
  return {s.buffer, reinterpret_cast<void*>(s.refill), s.size};
}
void remember(Ring const& r) {
  core::Lock lock(known.word);
  if (is_known(r)) return;
  known.ring[known.next] = r;
  known.next = (known.next + 1) % KnownRings::capacity;
}

// ---- creation ----

template <class T>
constexpr int32_t number = 0xA00000;
template <>
constexpr int32_t number<double> = 0xB00000;
template <>
constexpr int32_t number<float> = 0xC00000;

template <class T>
int32_t create(RngStream** stream, AbstractState<T> const& state) {
  if (state.size <= 0 || !state.buffer || !state.refill) return RnqErrBadArgument;
  auto const* row = find_brng(number<T>);
  if (!row) return RnqErrBadBrng;
  uint32_t index, sub;
  auto const* table = __rnqGetBrngBaseOffset(number<T>, &index, &sub);
  int32_t const status = __rnqAllocateStream(stream, table, number<T>, index, sub);
  return status == RnqOk ? row->initStream(0, *stream, 1, &state) : status;
}

template <class T>
int32_t init(int32_t method, RngStream* stream, int32_t n, const void* params) {
  if (method == 1) return RnqErrNoLeapfrog;
  if (method == 2) return RnqErrNoSkipAhead;
  if (method == 3) return RnqErrNoSkipAheadEx;
  if (method != 0) return RnqErrBadMethod;
  if (n < 1 || !params) return RnqErrBadArgument;
  auto& s = state_of<AbstractState<T>>(stream);
  std::memcpy(&s, params, sizeof s);
  s.next = 0;
  s.used = s.size;
  remember(ring_of(s));
  return RnqOk;
}

// ---- maps over a straight piece of the ring ----

struct Copy {
  void operator()(uint32_t* r, const uint32_t* e, int32_t n) const {
    std::memcpy(r, e, 4 * static_cast<size_t>(n));
  }
};
struct MapDouble {
  double s, lower, a;
  void operator()(double* r, const double* e, int32_t n) const {
    __m256d const vs = _mm256_set1_pd(s), vl = _mm256_set1_pd(lower), va = _mm256_set1_pd(a);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4)
      _mm256_storeu_pd(r + i, _mm256_fmadd_pd(vs, _mm256_sub_pd(_mm256_loadu_pd(e + i), vl), va));
    for (; i < n; ++i) r[i] = __builtin_fma(s, e[i] - lower, a);
  }
};
struct MapSingle {
  float s, lower, a;
  void operator()(float* r, const float* e, int32_t n) const {
    __m256 const vs = _mm256_set1_ps(s), vl = _mm256_set1_ps(lower), va = _mm256_set1_ps(a);
    int32_t i = 0;
    for (; i + 8 <= n; i += 8)
      _mm256_storeu_ps(r + i, _mm256_fmadd_ps(vs, _mm256_sub_ps(_mm256_loadu_ps(e + i), vl), va));
    for (; i < n; ++i) r[i] = __builtin_fmaf(s, e[i] - lower, a);
  }
};

int32_t minimum(int32_t a, int32_t b) { return a < b ? a : b; }

// Position and fill are kept here and stored at the end, so that a callback that misbehaves leaves them as
// they were.
template <class T, class Map>
int32_t generate(RngStream* stream, int32_t n, T* r, Map const& map) {
  auto& s = state_of<AbstractState<T>>(stream);
  if (!s.buffer || !s.refill) return RnqErrNullArgument;
  if (n <= 0) return RnqOk;
  int32_t size = s.size, next = s.next, used = s.used;
  if (size <= 0) return RnqErrNullArgument;
  if (next < 0 || next >= size || used < 0 || used > size) next = 0, used = size; // from a stored image
  auto wrap = [size](int64_t i) { return static_cast<int32_t>(i % size); };
  auto take = [&](int32_t count) {
    int32_t const straight = minimum(count, size - next);
    map(r, s.buffer + next, straight);
    map(r + straight, s.buffer, count - straight);
    r += count;
    n -= count;
    next = wrap(int64_t{next} + count);
    used += count;
  };
  take(minimum(n, size - used));
  while (n > 0) {
    int32_t wanted = minimum(size, n), room = size, position = next, ring_size = size;
    int32_t const got = s.refill(stream, &ring_size, s.buffer, &wanted, &room, &position);
    if (got < 0 || got > size) return RnqErrAbstractCallback;
    if (got == 0) return RnqErrAbstractNoData;
    used = size - got;
    take(minimum(got, n));
  }
  s.next = next;
  s.used = used;
  return RnqOk;
}

template <class T>
void check(RngStream* stream) {
  auto& s = state_of<AbstractState<T>>(stream);
  core::Lock lock(known.word);
  if (is_known(ring_of(s))) return;
  s.buffer = nullptr;
  s.refill = nullptr;
}

} // namespace

void orv::streams::check_loaded_abstract(RngStream* stream, BrngProperties const& row) {
  if (row.initStream == __rnqBRngiAbstractInitStream) check<uint32_t>(stream);
  if (row.initStream == __rnqBRngdAbstractInitStream) check<double>(stream);
  if (row.initStream == __rnqBRngsAbstractInitStream) check<float>(stream);
}

ORV_EXPORT int32_t __rnqiNewAbstractStream(RngStream** stream, int32_t size, uint32_t* buffer,
                                           RngRefillInteger refill) {
  return create<uint32_t>(stream, {size, 0, 0, buffer, refill});
}
ORV_EXPORT int32_t __rnqdNewAbstractStream(RngStream** stream, int32_t size, double* buffer, double lower,
                                           double upper, RngRefillDouble refill) {
  if (lower >= upper) return RnqErrBadArgument;
  return create<double>(stream, {size, 0, 0, lower, upper, buffer, refill});
}
ORV_EXPORT int32_t __rnqsNewAbstractStream(RngStream** stream, int32_t size, float* buffer, float lower,
                                           float upper, RngRefillSingle refill) {
  if (lower >= upper) return RnqErrBadArgument;
  return create<float>(stream, {size, 0, 0, lower, upper, buffer, refill});
}

ORV_EXPORT int32_t __rnqBRngiAbstractInitStream(int32_t method, RngStream* stream, int32_t n,
                                                const void* params) {
  return init<uint32_t>(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqBRngdAbstractInitStream(int32_t method, RngStream* stream, int32_t n,
                                                const void* params) {
  return init<double>(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqBRngsAbstractInitStream(int32_t method, RngStream* stream, int32_t n,
                                                const void* params) {
  return init<float>(method, stream, n, params);
}

ORV_EXPORT int32_t __rnqiBRngiAbstract(RngStream* stream, int32_t n, void* r) {
  return generate(stream, n, static_cast<uint32_t*>(r), Copy());
}
ORV_EXPORT int32_t __rnqdBRngdAbstract(RngStream* stream, int32_t n, double* r, double a, double b) {
  auto const& s = state_of<AbstractState<double>>(stream);
  return generate(stream, n, r, MapDouble{(b - a) / (s.upper - s.lower), s.lower, a});
}
ORV_EXPORT int32_t __rnqsBRngsAbstract(RngStream* stream, int32_t n, float* r, float a, float b) {
  auto const& s = state_of<AbstractState<float>>(stream);
  return generate(stream, n, r, MapSingle{(b - a) / (s.upper - s.lower), s.lower, a});
}

// A kind can only be read as itself.
ORV_EXPORT int32_t __rnqdBRngiAbstract(RngStream*, int32_t, double*, double, double) {
  return RnqErrAbstractWrongType;
}
ORV_EXPORT int32_t __rnqsBRngiAbstract(RngStream*, int32_t, float*, float, float) {
  return RnqErrAbstractWrongType;
}
ORV_EXPORT int32_t __rnqiBRngdAbstract(RngStream*, int32_t, void*) { return RnqErrAbstractWrongType; }
ORV_EXPORT int32_t __rnqsBRngdAbstract(RngStream*, int32_t, float*, float, float) {
  return RnqErrAbstractWrongType;
}
ORV_EXPORT int32_t __rnqiBRngsAbstract(RngStream*, int32_t, void*) { return RnqErrAbstractWrongType; }
ORV_EXPORT int32_t __rnqdBRngsAbstract(RngStream*, int32_t, double*, double, double) {
  return RnqErrAbstractWrongType;
}
