// Quantiles of data that arrive in blocks: _rnqdSSStreamQuantiles and its twin. All memory that a block needs is had
// before anything of it is absorbed, so that a call that fails has changed nothing.
#include "statistics/stream_quantiles.h"

#include "frame/export.h"
#include "statistics/parallel.h"
#include "statistics/scalars.h"

namespace orv::statistics {

RunSizes::RunSizes(double epsilon, int k) {
  constexpr double most = static_cast<double>(INTPTR_MAX / 2);
  auto const power = [](int doubling) { return static_cast<double>(uint64_t{1} << doubling); };
  auto const before = [&](int doubling) { return __rnqdFloor((power(doubling) - 1) / epsilon); };
  k = std::min(k, 60);
  double const end = before(k + 2), start = before(k + 1);
  double const run = end < 0x1p53 ? end - start : __rnqdFloor(power(k + 1) / epsilon);
  double const doublings = quick_ln(epsilon * run) * 1.4426950408889634;
  length = run < most ? static_cast<intptr_t>(run) : static_cast<intptr_t>(most);
  double const entries = __rnqdFloor(doublings / epsilon);
  capacity =
      std::max<intptr_t>(2, entries < most ? static_cast<intptr_t>(entries) : static_cast<intptr_t>(most));
  levels = static_cast<intptr_t>(__rnqdFloor(doublings + 2));
  // As many as a counter of full buffers has digits, should the logarithm have been rounded down.
  auto const buffers = static_cast<size_t>(length / capacity);
  levels = std::max<intptr_t>(levels, static_cast<intptr_t>(std::bit_width(buffers)));
}

void free_streams(StreamState* state) {
  if (!state) return;
  for (intptr_t j = 0; j < state->variables; ++j) {
    StreamRecord& record = state->records[j];
    for (intptr_t r = 0; r < record.runCount; ++r) core::deallocate(record.runs[r].levelFull);
    core::deallocate(record.runs);
  }
  core::deallocate(state);
}

namespace {

// An entry of the merged summary of a report.
template <class T>
struct Entry {
  Key<T> key;
  alignas(8) int64_t least, greatest;
};

// Merges two summaries; ties take b first. `read` gives the entry at a position, `out` receives each entry.
template <class T, class ReadA, class ReadB, class Out>
void merge(ReadA read_a, ptrdiff_t a_count, ReadB read_b, ptrdiff_t b_count, Out out) {
  int64_t last_a = 0, last_b = 0;
  ptrdiff_t i = 0, j = 0;
  while (i < a_count && j < b_count) {
    Entry<T> const a = read_a(i), b = read_b(j);
    if (b.key > a.key) {
      out(Entry<T>{a.key, last_b + a.least, a.greatest + b.greatest - 1});
      last_a = a.least;
      ++i;
    } else {
      out(Entry<T>{b.key, last_a + b.least, b.greatest + a.greatest - 1});
      last_b = b.least;
      ++j;
    }
  }
  for (; i < a_count; ++i) {
    Entry<T> const a = read_a(i);
    out(Entry<T>{a.key, a.least + last_b, a.greatest + (b_count ? read_b(b_count - 1).greatest : 0)});
  }
  for (; j < b_count; ++j) {
    Entry<T> const b = read_b(j);
    out(Entry<T>{b.key, b.least + last_a, b.greatest + (a_count ? read_a(a_count - 1).greatest : 0)});
  }
}

// A run with its rows as keys.
template <class T>
struct Run {
  StreamRun& run;
  ptrdiff_t row_size() const { return run.capacity + 1; }
  Key<T>* keys(ptrdiff_t level) const { return static_cast<Key<T>*>(run.values) + level * row_size(); }
  ptrdiff_t half() const { return run.capacity / 2; }
  Entry<T> entry(ptrdiff_t level, ptrdiff_t i) const {
    ptrdiff_t const at = level * row_size() + i;
    return {keys(0)[at], run.rankMin[at], run.rankMax[at]};
  }
  // The input buffer, which is sorted: a rank is a position.
  Entry<T> input(ptrdiff_t i) const { return {keys(0)[i], i + 1, i + 1}; }

  // Empties the full buffer into the levels. Every other entry of what was merged goes on; the carry changes places
  // between row 0, whose input is read before it is written over, and the level that it was merged with.
  void carry_up() {
    sort_keys(keys(0), run.capacity);
    ptrdiff_t const h = half();
    for (ptrdiff_t i = 0; i < h; ++i) set(0, i, input(2 * i));
    ptrdiff_t level = 1, carry = 0;
    for (; run.levelFull[level]; ++level) {
      run.levelFull[level] = 0;
      merge_down(carry, level, h);
    }
    if (carry != level) copy(carry, level, h);
    run.levelFull[level] = 1;
    run.topLevel = std::max(run.topLevel, level);
    run.fill = 0;
  }

 private:
  void set(ptrdiff_t level, ptrdiff_t i, Entry<T> const& e) {
    ptrdiff_t const at = level * row_size() + i;
    keys(0)[at] = e.key;
    run.rankMin[at] = static_cast<intptr_t>(e.least);
    run.rankMax[at] = static_cast<intptr_t>(e.greatest);
  }
  void copy(ptrdiff_t from, ptrdiff_t to, ptrdiff_t h) {
    for (ptrdiff_t i = 0; i < h; ++i) set(to, i, entry(from, i));
  }
  // Merges the carry in row 0 with a level into the upper part of row 0's space and back. The carry has h entries, the
  // row has room for 2 h + 1: the carry goes to its end first, and the merged entries follow behind the reader.
  void merge_down(ptrdiff_t carry, ptrdiff_t level, ptrdiff_t h) {
    ptrdiff_t const shift = row_size() - h;
    for (ptrdiff_t i = h; i-- > 0;) set(carry, shift + i, entry(carry, i));
    ptrdiff_t count = 0;
    merge<T>([&](ptrdiff_t i) { return entry(carry, shift + i); }, h,
             [&](ptrdiff_t i) { return entry(level, i); }, h,
             [&](Entry<T> const& e) {
               if (count % 2 == 0) set(carry, count / 2, e);
               ++count;
             });
  }
};

// Memory of one run, with all levels empty.
template <class T>
bool make_run(StreamRun& run, RunSizes const& sizes) {
  size_t const rows = static_cast<size_t>(sizes.levels) + 1, row = static_cast<size_t>(sizes.capacity) + 1;
  size_t cells, bytes;
  size_t const words = (rows + 15) / 16 * 16 * sizeof(intptr_t);
  constexpr size_t cell = 2 * sizeof(intptr_t) + sizeof(T);
  if (__builtin_mul_overflow(rows, row, &cells) || __builtin_mul_overflow(cells + 16, cell, &bytes) ||
      __builtin_add_overflow(bytes, words, &bytes) || bytes > PTRDIFF_MAX)
    return false;
  cells = (cells + 15) / 16 * 16;
  char* const block = static_cast<char*>(core::allocate(bytes));
  if (!block) return false;
  run = {0, sizes.capacity, sizes.levels, 0, 0, nullptr, nullptr, nullptr, nullptr};
  run.levelFull = reinterpret_cast<intptr_t*>(block);
  std::fill_n(run.levelFull, rows, 0);
  run.rankMin = reinterpret_cast<intptr_t*>(block + words);
  run.rankMax = run.rankMin + cells;
  run.values = run.rankMax + cells;
  return true;
}

template <class T>
class Stream {
 public:
  Stream(StreamRecord& record, double epsilon) : record_(record), epsilon_(epsilon) {}

  // Makes the runs that n more values need. Those made before a failure stay, empty, for a later call.
  bool prepare(int64_t n) {
    int k = static_cast<int>(std::max<intptr_t>(record_.runIndex, 0));
    int64_t room = 0;
    for (;; ++k) {
      if (k >= record_.runCount && !add_run(k)) return false;
      room += length(k) - record_.runs[k].count;
      if (room > n) return true; // the run that goes on next is there as well
    }
  }
  void absorb(Column<T const> x, int64_t n) {
    if (record_.runIndex < 0) record_.runIndex = 0;
    for (int64_t done = 0; done < n;) {
      StreamRun& run = record_.runs[record_.runIndex];
      int64_t const room = length(static_cast<int>(record_.runIndex)) - run.count;
      if (room == 0) {
        ++record_.runIndex;
        continue;
      }
      int64_t const take = std::min<int64_t>({n - done, room, run.capacity - run.fill});
      Key<T>* const to = Run<T>{run}.keys(0) + run.fill;
      for (int64_t i = 0; i < take; ++i) to[i] = key_of<T>(x[static_cast<ptrdiff_t>(done + i)]);
      run.fill += static_cast<intptr_t>(take);
      run.count += static_cast<intptr_t>(take);
      done += take;
      if (run.fill == run.capacity) Run<T>{run}.carry_up();
    }
  }

  int32_t report(T const* orders, ptrdiff_t count, T* results) {
    int64_t total = 0;
    size_t entries = 0;
    ptrdiff_t parts = 0;
    each_part([&](StreamRun&, ptrdiff_t, ptrdiff_t size) {
      entries += static_cast<size_t>(size);
      ++parts;
    });
    for (intptr_t r = 0; r < record_.runCount; ++r) total += record_.runs[r].count;
    if (total == 0) return 0;
    Scratch<Entry<T>> memory(2, entries);
    Scratch<ptrdiff_t> ends(static_cast<size_t>(parts));
    if (!memory || !ends) return SSOutOfMemory;
    Entry<T>*from = memory.get(), *to = from + entries;
    ptrdiff_t at = 0, part = 0;
    each_part([&](StreamRun& run, ptrdiff_t level, ptrdiff_t size) {
      Run<T> const r{run};
      if (level == 0) sort_keys(r.keys(0), size);
      for (ptrdiff_t i = 0; i < size; ++i) from[at++] = level ? r.entry(level, i) : r.input(i);
      ends[part++] = at;
    });
    // Neighbours are merged until one is left. The rank bounds of an entry are sums over the parts, so that the order
    // of merging doesn't matter as long as the parts stay in theirs.
    for (; parts > 1; std::swap(from, to)) {
      ptrdiff_t begin = 0, made = 0;
      for (ptrdiff_t k = 0; k < parts; k += 2) {
        ptrdiff_t const middle = ends[k], end = k + 1 < parts ? ends[k + 1] : middle;
        Entry<T>* out = to + begin;
        merge<T>([&](ptrdiff_t i) { return from[begin + i]; }, middle - begin,
                 [&](ptrdiff_t i) { return from[middle + i]; }, end - middle,
                 [&](Entry<T> const& e) { *out++ = e; });
        begin = end;
        ends[made++] = end;
      }
      parts = made;
    }
    for (ptrdiff_t q = 0; q < count; ++q) {
      double const rank = static_cast<double>(total) * static_cast<double>(orders[q]);
      int64_t best = 2 * total;
      for (size_t i = 0; i < entries; ++i) {
        double const middle = static_cast<double>(from[i].least + from[i].greatest) * 0.5;
        int64_t const distance = static_cast<int64_t>(__builtin_fabs(middle - rank));
        if (distance >= best) continue;
        best = distance;
        results[q] = real_of<T>(from[i].key);
      }
    }
    return 0;
  }

 private:
  // Lengths follow from the run's number, as sizes do.
  int64_t length(int k) const { return RunSizes(epsilon_, k).length; }

  // visit(run, level, entries): levels rising, then the input buffer as level 0.
  template <class F>
  void each_part(F visit) {
    for (intptr_t k = 0; k < record_.runCount; ++k) {
      StreamRun& run = record_.runs[k];
      for (ptrdiff_t level = 1; level <= run.topLevel; ++level)
        if (run.levelFull[level]) visit(run, level, run.capacity / 2);
      if (run.fill) visit(run, ptrdiff_t{0}, run.fill);
    }
  }
  bool add_run(int k) {
    size_t const count = static_cast<size_t>(record_.runCount);
    auto* const runs = static_cast<StreamRun*>(core::allocate((count + 1) * sizeof(StreamRun)));
    if (!runs) return false;
    if (!make_run<T>(runs[count], RunSizes(epsilon_, k))) {
      core::deallocate(runs);
      return false;
    }
    std::copy_n(record_.runs, count, runs);
    core::deallocate(record_.runs);
    record_.runs = runs;
    ++record_.runCount;
    return true;
  }

  StreamRecord& record_;
  double epsilon_;
};

template <class T>
int32_t check_stream(SSTask const& task, uint64_t method) {
  if (!task.observations || both_halves(task, task.observations) < 0) return SSBadObservations;
  if (both_halves(task, task.observations) > 0) {
    if (!task.data) return SSNullData;
    if (int32_t const status = check_layout(task, task.dataStorage)) return status;
  }
  if (!task.streamQuantiles) return SSNullStreamQuantiles;
  if (!task.streamQuantileOrders) return SSNullStreamQuantileOrders;
  if (!task.streamQuantileOrderCount || integer(task, task.streamQuantileOrderCount) < 0)
    return SSBadStreamQuantileOrders;
  if (!task.streamQuantileParamCount) return SSNullStreamQuantileParamCount;
  if (both_halves(task, task.streamQuantileParamCount) != 1) return SSBadStreamQuantileParamCount;
  T const* const orders = static_cast<T const*>(task.streamQuantileOrders);
  for (ptrdiff_t i = 0; i < integer(task, task.streamQuantileOrderCount); ++i)
    if (!(orders[i] >= 0 && orders[i] <= 1)) return SSBadStreamQuantileOrders;
  if (!task.streamQuantileParams) return SSNullStreamQuantileParams;
  if (!(method & (SSMethodStreamReport | SSMethodStreamUpdate))) return SSMethodNotSupported;
  T const epsilon = *static_cast<T const*>(task.streamQuantileParams);
  return epsilon > 0 && epsilon <= 1 ? 0 : SSBadStreamQuantileParams;
}

int32_t make_state(SSTask& task, ptrdiff_t p, double epsilon) {
  size_t bytes;
  constexpr size_t head = (sizeof(StreamState) + 15) / 16 * 16;
  if (__builtin_mul_overflow(static_cast<size_t>(p), sizeof(StreamRecord), &bytes) ||
      __builtin_add_overflow(bytes, head, &bytes))
    return SSOutOfMemory;
  char* const block = static_cast<char*>(core::allocate(bytes));
  if (!block) return SSOutOfMemory;
  bool listed = false;
  for (intptr_t i = 0; i < task.cleanupCount; ++i)
    listed = listed || task.cleanupList[i] == __rnqSQuantilesFreeBuffers;
  if (!listed && !add_cleanup(task, __rnqSQuantilesFreeBuffers)) {
    core::deallocate(block);
    return SSOutOfMemory;
  }
  auto* const state = reinterpret_cast<StreamState*>(block);
  *state = {p, epsilon, reinterpret_cast<StreamRecord*>(block + head)};
  Selection const selected(task);
  for (ptrdiff_t j = 0; j < p; ++j) state->records[j] = {0, -1, selected(j), nullptr};
  task.streamQuantileState = state;
  return 0;
}

// Whether the call fits the streams that are there.
int32_t check_state(SSTask const& task, StreamState const& state, ptrdiff_t p, double epsilon) {
  if (p > state.variables) return SSBadDimension;
  if (epsilon != state.epsilon) return SSBadStreamQuantileParams;
  Integers const indices(task, task.indices);
  bool any = !indices;
  for (ptrdiff_t j = 0; j < p; ++j) {
    if (indices && indices[j] && !state.records[j].active) return SSBadIndices;
    any = any || state.records[j].active;
  }
  return any ? 0 : SSBadIndices;
}

template <class T>
int32_t stream_quantiles(SSTask* task, uint64_t method, SSThreadServices const* services) {
  if (!task) return SSNullTask;
  if (int32_t const status = check_stream<T>(*task, method)) return status;
  if (!task->dimension) return SSBadDimension;
  ptrdiff_t const p = integer(*task, task->dimension);
  if (p < 1) return task->streamQuantileState && task->indices ? SSBadIndices : SSBadDimension;
  double const epsilon = static_cast<double>(*static_cast<T const*>(task->streamQuantileParams));
  int32_t status = task->streamQuantileState ? 0 : make_state(*task, p, epsilon);
  if (status) return status;
  StreamState& state = *static_cast<StreamState*>(task->streamQuantileState);
  if ((status = check_state(*task, state, p, epsilon))) return status;
  int64_t const n = both_halves(*task, task->observations);
  if (n > PTRDIFF_MAX) return SSBadObservations;

  for (ptrdiff_t j = 0; j < p && n > 0; ++j)
    if (state.records[j].active && !Stream<T>(state.records[j], epsilon).prepare(n)) return SSOutOfMemory;
  if (n > 0) {
    DataSet<T const> const data(static_cast<T const*>(task->data), p, static_cast<ptrdiff_t>(n),
                                integer(*task, task->dataStorage));
    auto work = [&](ptrdiff_t j, ptrdiff_t) {
      if (state.records[j].active) Stream<T>(state.records[j], epsilon).absorb(data.column(j), n);
    };
    for_each(services, p, std::min(max_threads(services), p), work);
  }
  if (!(method & SSMethodStreamReport)) return 0;
  ptrdiff_t const count = integer(*task, task->streamQuantileOrderCount);
  T* results = static_cast<T*>(task->streamQuantiles);
  for (ptrdiff_t j = 0; j < p; ++j) {
    if (!state.records[j].active) continue;
    status = Stream<T>(state.records[j], epsilon)
                 .report(static_cast<T const*>(task->streamQuantileOrders), count, results);
    if (status) return status;
    results += count;
  }
  return 0;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT void __rnqSQuantilesFreeBuffers(SSTask* task) {
  if (!task) return;
  orv::statistics::free_streams(static_cast<orv::statistics::StreamState*>(task->streamQuantileState));
  task->streamQuantileState = nullptr;
}
ORV_EXPORT int32_t _rnqdSSStreamQuantiles(SSTask* task, uint64_t, uint64_t method,
                                          const SSThreadServices* services) {
  return orv::statistics::stream_quantiles<double>(task, method, services);
}
ORV_EXPORT int32_t _rnqsSSStreamQuantiles(SSTask* task, uint64_t, uint64_t method,
                                          const SSThreadServices* services) {
  return orv::statistics::stream_quantiles<float>(task, method, services);
}
