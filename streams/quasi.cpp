// Sobol and Niederr: one walk in Gray-code order over direction words; the sequences differ in the words
// only.
//
// A point is the exclusive or of the words that belong to the bits of the Gray code of its index, so the next
// point costs one exclusive or for each coordinate, with the row of the words of one bit. Up to 16
// coordinates stay in registers; a vector store may run over into the place of the next point, which is
// written after it. Wide points run on threads by runs of points, a few very wide ones by stripes of
// coordinates.
#include "streams/quasi.h"

#include <algorithm>

using namespace orv;
using namespace orv::streams;

namespace {

struct Sobol {
  using State = SobolState;
  static QuasiRequest request(int32_t n, const uint32_t* params) { return sobol_request(n, params); }
  static int32_t fill(QuasiRequest const& q, QuasiTables const& t) { return fill_sobol(q, t); }
  static bool in_chunks(QuasiRequest const& q) { return q.form == 3 || q.form == 4 || q.form == 11; }
  static constexpr bool shared = true;
};
struct Niederr {
  using State = NiederrState;
  static QuasiRequest request(int32_t n, const uint32_t* params) { return niederr_request(n, params); }
  static int32_t fill(QuasiRequest const& q, QuasiTables const& t) { return fill_niederr(q, t); }
  static bool in_chunks(QuasiRequest const& q) { return q.d > State::most; }
  static constexpr bool shared = false;
};

// A stream with its tables and current point found and its head put in bounds.
struct View {
  QuasiHead* head = nullptr;
  uint32_t* vector = nullptr;
  QuasiTables tables{};
  uint32_t d = 0;

  void step_component(uint32_t k) {
    vector[k] ^= tables.column(next_bit(head->counter))[k];
    ++head->counter;
  }
  void step() {
    uint32_t const* column = tables.column(next_bit(head->counter));
    for (uint32_t j = 0; j < d; ++j) vector[j] ^= column[j];
    ++head->counter;
  }
  static uint32_t next_bit(uint32_t counter) { return counter == 0xFFFFFFFF ? 31 : __builtin_ctz(~counter); }
  uint32_t closed_form(uint32_t j, uint32_t index) const {
    uint32_t x = 0;
    for (uint32_t gray = index ^ index >> 1; gray; gray &= gray - 1) x ^= tables.row(j)[__builtin_ctz(gray)];
    return x;
  }
  void move_to(uint32_t index) {
    head->counter = index;
    std::memset(vector, 0, sizeof *vector * d);
    for (uint32_t gray = index ^ index >> 1; gray; gray &= gray - 1) {
      uint32_t const* column = tables.column(static_cast<uint32_t>(__builtin_ctz(gray)));
      for (uint32_t j = 0; j < d; ++j) vector[j] ^= column[j];
    }
  }
};

template <class G>
bool look(RngStream* stream, View& v) {
  auto& s = state_of<typename G::State>(stream);
  v.head = &s.head;
  v.d = s.head.dimension;
  if (v.d == 0) return false;
  size_t const table_bytes = static_cast<size_t>(wide_tables_bytes(v.d)),
               vector_bytes = 4 * static_cast<size_t>(v.d);
  bool const possible = wide_tables_bytes(v.d) + vector_bytes <= 0xFFFFFFFF;
  void *tables = nullptr, *vector = nullptr;
  if (possible && G::shared) {
    tables = find_chunk(stream, sobol_tables_chunk, table_bytes);
    vector = find_chunk(stream, sobol_vector_chunk, vector_bytes);
  } else if (possible) {
    tables = find_chunk(stream, niederr_chunk, table_bytes + vector_bytes);
    if (tables) vector = static_cast<char*>(tables) + table_bytes;
  }
  if (tables && vector) {
    v.vector = static_cast<uint32_t*>(vector);
    v.tables = wide_tables(tables, v.d);
  } else {
    if (v.d > G::State::most) return false;
    v.vector = s.vector;
    v.tables = {s.rows[0], s.columns[0], 33, G::State::column_words};
  }
  if (s.head.pending >= v.d) s.head.pending = 0;
  if (s.head.component >= v.d) s.head.component = all_components;
  return true;
}

// ---- seeding ----

template <class G>
int32_t seed(RngStream* stream, int32_t n, const uint32_t* params) {
  auto& s = state_of<typename G::State>(stream);
  QuasiRequest const q = G::request(n, params);
  std::memset(&s, 0, sizeof s);
  s.head.counter = 1;
  s.head.dimension = q.d;
  s.head.component = all_components;
  QuasiTables tables{s.rows[0], s.columns[0], 33, G::State::column_words};
  uint32_t* vector = s.vector;
  if (G::in_chunks(q)) {
    // The tables of Sobol can be shared by copies of the stream, the point cannot.
    uint64_t const d = q.d, table_bytes = wide_tables_bytes(d);
    uint64_t const block_bytes = G::shared ? 4 * (64 * d - 32 * (4 * d % 64) + 2048) : table_bytes + 4 * d;
    if (block_bytes > 0xFFFFFFFF) return RnqErrNoMemory;
    auto const size = static_cast<uint32_t>(block_bytes);
    auto* block = static_cast<uint32_t*>(core::allocate(size));
    if (!block) return RnqErrNoMemory;
    std::memset(block, 0, size);
    tables = wide_tables(block, q.d);
    int32_t const filled = G::fill(q, tables);
    tables.set_columns(q.d);
    uint64_t key[2] = {};
    if (G::shared) __rnqGenerateNewGlobalRODataTableEntryId(key, reinterpret_cast<intptr_t>(block));
    int32_t const added =
        __rnqAddChunk(stream, G::shared ? sobol_tables_chunk : niederr_chunk, key, block, size);
    if (added != RnqOk) core::deallocate(block);
    if (added != RnqOk || filled != RnqOk) return added != RnqOk ? added : filled;
    if (G::shared) {
      vector = static_cast<uint32_t*>(core::allocate(4 * static_cast<size_t>(d)));
      if (!vector) return RnqErrNoMemory;
      int32_t const status =
          __rnqAddChunk(stream, sobol_vector_chunk, nullptr, vector, static_cast<uint32_t>(4 * d));
      if (status != RnqOk) {
        core::deallocate(vector);
        return status;
      }
    } else {
      vector = block + table_bytes / 4;
    }
  } else {
    int32_t const status = G::fill(q, tables);
    if (status != RnqOk) return status;
    tables.set_columns(q.d);
  }
  for (uint32_t j = 0; j < q.d; ++j) vector[j] = tables.row(j)[0];
  return RnqOk;
}

// ---- jumps ----

int32_t select_component(View& v, int32_t n, uint32_t k) {
  if (n != 0x7FFFFFFF || k >= v.d) return RnqErrNoLeapfrog;
  auto& h = *v.head;
  if (h.component == k) return RnqOk;
  if (h.component != all_components) {
    ++h.counter;
    v.vector[k] = v.closed_form(k, h.counter);
  } else if (h.pending && k < v.d - h.pending) { // that coordinate of this point is out already
    v.step_component(k);
  }
  h.pending = 0;
  h.component = k;
  return RnqOk;
}

int32_t skip(View& v, int32_t n, uint64_t c) {
  constexpr uint64_t end = 0xFFFFFFFF;
  auto& h = *v.head;
  uint64_t const d = v.d;
  if (n < 1 || c / d >= end || c / d + h.counter >= end) return RnqErrNoSkipAhead;
  if (c < h.pending) {
    h.pending -= static_cast<uint32_t>(c);
    return RnqOk;
  }
  uint64_t const past = c - h.pending, q = past / d + (h.pending ? 1 : 0);
  auto const r = static_cast<uint32_t>(past % d);
  if (q) {
    v.move_to(h.counter + static_cast<uint32_t>(q));
  }
  h.pending = r ? v.d - r : 0;
  return RnqOk;
}

template <class G>
int32_t init(int32_t method, RngStream* stream, int32_t n, const void* params) {
  if (method == 0) return seed<G>(stream, n, static_cast<uint32_t const*>(params));
  if (method == 3) return RnqErrNoSkipAheadEx;
  if (method != 1 && method != 2) return RnqErrBadMethod;
  View v;
  if (!look<G>(stream, v)) return RnqErrNoMemory;
  return method == 1 ? select_component(v, n, load_u32(params)) : skip(v, n, load_u64(params));
}

// ---- maps; the serial ones drop the lowest bit of a word ----

template <class Inner>
struct Halved {
  using Real = typename Inner::Real;
  Inner inner;
  void operator()(Real* r, __m256i x) const { inner(r, _mm256_srli_epi32(x, 1)); }
};
struct Integers {
  using Real = uint32_t;
  AsWords serial, threaded;
};
struct Doubles {
  using Real = double;
  Halved<FmaInDouble<double, true>> serial;
  FmaInDouble<double, false> threaded;
  Doubles(double a, double b) : serial{{(b - a) * 0x1p-31, a}}, threaded((b - a) * 0x1p-32, a) {}
};
struct Singles {
  using Real = float;
  Halved<FmaInSingle<true>> serial;
  FmaInSingle<false> threaded;
  static float scale(float a, float b, double unit) {
    return static_cast<float>((static_cast<double>(b) - static_cast<double>(a)) * unit);
  }
  Singles(float a, float b) : serial{{scale(a, b, 0x1p-31), a}}, threaded(scale(a, b, 0x1p-32), a) {}
};

// ---- the walk ----

// `count` points of at most 8 `vectors` coordinates.
template <int vectors, class Map>
void walk_in_registers(View& v, uint32_t count, typename Map::Real* r, Map const& map) {
  using Real = typename Map::Real;
  uint32_t point[8 * vectors] = {};
  std::memcpy(point, v.vector, 4 * v.d);
  __m256i x[vectors];
  for (int i = 0; i < vectors; ++i) x[i] = load8(point + 8 * i);
  uint32_t counter = v.head->counter;
  auto step = [&] {
    uint32_t const* column = v.tables.column(View::next_bit(counter++));
#pragma GCC unroll 2
    for (int i = 0; i < vectors; ++i) x[i] = _mm256_xor_si256(x[i], load8(column + 8 * i));
  };
  uint32_t const d = v.d, safe = 8 * vectors / d; // points at the end that a full store would overrun
  uint32_t i = 0;
  for (; i + safe < count; ++i, r += d) {
#pragma GCC unroll 2
    for (int k = 0; k < vectors; ++k) map(r + 8 * k, x[k]);
    step();
  }
  for (; i < count; ++i, r += d) {
    Real last[8 * vectors];
    for (int k = 0; k < vectors; ++k) map(last + 8 * k, x[k]);
    std::memcpy(r, last, d * sizeof *r);
    step();
  }
  for (int k = 0; k < vectors; ++k) store8(point + 8 * k, x[k]);
  std::memcpy(v.vector, point, 4 * d);
  v.head->counter = counter;
}

// `count` points, the coordinates from `first` to `last` of them; the counter stays.
template <class Map>
void walk_in_memory(View const& v, uint32_t first, uint32_t last, uint32_t count, typename Map::Real* r,
                    Map const& map) {
  uint32_t* x = v.vector;
  for (uint32_t counter = v.head->counter; count > 0; --count, ++counter, r += v.d) {
    uint32_t const* column = v.tables.column(View::next_bit(counter));
    uint32_t j = first;
    for (; j + 8 <= last; j += 8) {
      __m256i const now = load8(x + j);
      map(r + j, now);
      store8(x + j, _mm256_xor_si256(now, load8(column + j)));
    }
    emit(r + j, static_cast<int>(last - j), map, x + j);
    for (; j < last; ++j) x[j] ^= column[j];
  }
}

template <class Map>
struct Task {
  View const* v;
  uint32_t count, threads, stripe;
  typename Map::Real* r;
  Map const* map;
};

// A stripe of coordinates over all points. Stripes worked on at the same time are not neighbours: these have
// a cache line in common in every point.
constexpr uint32_t stripes_a_thread = 8;
template <class Map>
void run_stripe(int index, int, int, void* context) {
  auto const& t = *static_cast<Task<Map> const*>(context);
  auto const i = static_cast<uint32_t>(index);
  uint32_t const first = (i % t.threads * stripes_a_thread + i / t.threads) * t.stripe;
  if (first >= t.v->d) return;
  walk_in_memory(*t.v, first, std::min(first + t.stripe, t.v->d), t.count, t.r, *t.map);
}

// A run of points with a vector of its own, from the closed form of its first point on.
template <class Map>
struct Run {
  View const* v;
  uint32_t count, runs;
  typename Map::Real* r;
  Map const* map;
  uint32_t* vectors;
};
// Words from one run's vector to the next: whole pairs of cache lines, so that threads share none.
constexpr size_t pitch(size_t d) { return (d + 31) / 32 * 32; }

template <class Map>
void run_points(int index, int, int, void* context) {
  auto const& t = *static_cast<Run<Map> const*>(context);
  auto edge = [&](int i) { return static_cast<uint32_t>(static_cast<uint64_t>(t.count) * i / t.runs); };
  uint32_t const first = edge(index), d = t.v->d;
  QuasiHead head = *t.v->head;
  View own = *t.v;
  own.head = &head;
  own.vector = t.vectors + static_cast<size_t>(index) * pitch(d);
  own.move_to(head.counter + first);
  walk_in_memory(own, 0, d, edge(index + 1) - first, t.r + static_cast<size_t>(first) * d, *t.map);
}

// From which number of points on threads pay for a dimension.
bool worth_threads(uint32_t d, uint32_t points) {
  struct Rung {
    uint32_t below, points;
  };
  constexpr Rung ladder[] = {{250, 0x20000}, {500, 0x2000}, {1000, 0x100}, {2000, 0x40},
                             {4000, 0x20},   {16000, 8},    {32000, 2},    {0xFFFFFFFF, 1}};
  if (d < 64 || points == 0) return false;
  for (auto const& rung : ladder) {
    if (points >= rung.points) return true;
    if (d < rung.below) return false;
  }
  return false;
}

// Points under the threads' map; false where the serial map holds.
template <class Map>
bool walk_on_threads(View& v, uint32_t count, typename Map::Real* r, Map const& map) {
  if (!worth_threads(v.d, count)) return false;
  auto* limit = reinterpret_cast<decltype(&orv_rnq_serv_threader_get_num_threads_limit)>(
      core::load_thread_fun("orv_rnq_serv_threader_get_num_threads_limit"));
  if (!limit || limit() <= 1) return false;
  auto* run = reinterpret_cast<decltype(&orv_rnq_serv_threader_for)>(
      core::load_thread_fun("orv_rnq_serv_threader_for"));
  if (!run) return false;
  // Below this size the lines' way from one core's cache to the other's costs more than a second core saves.
  constexpr size_t worth_waking = size_t{4} << 20;
  size_t const d = v.d;
  auto const threads = static_cast<uint32_t>(limit());
  // Short runs keep all threads busy to the end; the first point of each costs up to 32 steps.
  uint32_t const runs = std::min(16 * threads, count / 128);
  uint32_t* vectors = nullptr;
  if (count * d * sizeof *r < worth_waking) {
    walk_in_memory(v, 0, v.d, count, r, map);
  } else if (runs >= 2 * threads && (vectors = static_cast<uint32_t*>(core::allocate(4 * pitch(d) * runs)))) {
    Run<Map> task{&v, count, runs, r, &map, vectors};
    run(static_cast<int>(runs), 0, &task, run_points<Map>);
    std::memcpy(v.vector, vectors + pitch(d) * (runs - 1), 4 * d);
    core::deallocate(vectors);
  } else {
    uint32_t const stripes = stripes_a_thread * threads, stripe = (v.d / stripes + 16) & ~15u;
    Task<Map> task{&v, count, threads, stripe, r, &map};
    run(static_cast<int>(stripes), 0, &task, run_stripe<Map>);
  }
  v.head->counter += count;
  return true;
}

template <class G, class Maps>
int32_t generate(RngStream* stream, int32_t n, typename Maps::Real* r, Maps const& maps) {
  if (n <= 0) return RnqOk;
  QuasiHead& h = state_of<typename G::State>(stream).head;
  if (static_cast<uint64_t>(h.counter) + static_cast<uint32_t>(n) > 0xFFFFFFFF)
    return RnqErrQuasiPeriodExceeded;
  View v;
  if (!look<G>(stream, v)) return RnqErrNoMemory;
  auto const& map = maps.serial;
  if (h.component != all_components) {
    uint32_t block[256];
    while (n > 0) {
      int const part = n < 256 ? n : 256;
      for (int i = 0; i < part; ++i) {
        block[i] = v.vector[h.component];
        v.step_component(h.component);
      }
      emit(r, part, map, block);
      r += part;
      n -= part;
    }
    return RnqOk;
  }
  if (h.pending) {
    uint32_t const wanted = static_cast<uint32_t>(n), part = wanted < h.pending ? wanted : h.pending;
    emit(r, static_cast<int>(part), map, v.vector + v.d - h.pending);
    h.pending -= part;
    r += part;
    n -= static_cast<int32_t>(part);
    if (h.pending) return RnqOk;
    v.step();
  }
  uint32_t const points = static_cast<uint32_t>(n) / v.d, rest = static_cast<uint32_t>(n) % v.d;
  if (points) {
    if (v.d <= 8)
      walk_in_registers<1>(v, points, r, map);
    else if (v.d <= 16)
      walk_in_registers<2>(v, points, r, map);
    else if (!walk_on_threads(v, points, r, maps.threaded)) {
      walk_in_memory(v, 0, v.d, points, r, map);
      h.counter += points;
    }
  }
  if (rest) {
    emit(r + static_cast<size_t>(points) * v.d, static_cast<int>(rest), map, v.vector);
    h.pending = v.d - rest;
  }
  return RnqOk;
}

} // namespace

ORV_EXPORT int32_t __rnqBRngSobolInitStream(int32_t method, RngStream* stream, int32_t n,
                                            const void* params) {
  return init<Sobol>(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqdBRngSobol(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate<Sobol>(stream, n, r, Doubles(a, b));
}
ORV_EXPORT int32_t __rnqsBRngSobol(RngStream* stream, int32_t n, float* r, float a, float b) {
  return generate<Sobol>(stream, n, r, Singles(a, b));
}
ORV_EXPORT int32_t __rnqiBRngSobol(RngStream* stream, int32_t n, void* r) {
  return generate<Sobol>(stream, n, static_cast<uint32_t*>(r), Integers());
}

ORV_EXPORT int32_t __rnqBRngNiederrInitStream(int32_t method, RngStream* stream, int32_t n,
                                              const void* params) {
  return init<Niederr>(method, stream, n, params);
}
ORV_EXPORT int32_t __rnqdBRngNiederr(RngStream* stream, int32_t n, double* r, double a, double b) {
  return generate<Niederr>(stream, n, r, Doubles(a, b));
}
ORV_EXPORT int32_t __rnqsBRngNiederr(RngStream* stream, int32_t n, float* r, float a, float b) {
  return generate<Niederr>(stream, n, r, Singles(a, b));
}
ORV_EXPORT int32_t __rnqiBRngNiederr(RngStream* stream, int32_t n, void* r) {
  return generate<Niederr>(stream, n, static_cast<uint32_t*>(r), Integers());
}
