// Integration between pairs of limits: the exact integrals of the pieces, summed from the lower limit to the
// upper one. Pairs go in blocks of 128: one search for each list of limits, then the sums.
#include "fitting/pieces.h"
#include "fitting/search.h"
#include "frame/export.h"

#include <atomic>
#include <utility>

namespace orv::fitting {
namespace {

constexpr int block_pairs = 128;

template <class T>
struct Callbacks {
  typename Types<T>::IntegrateCallback left, right, inner;
  void *left_parameter, *right_parameter, *inner_parameter;
  bool any() const { return left || right || inner; }
  bool all() const { return left && right && inner; }
};

// One list of limits with its search.
template <class T>
struct Limits {
  SiteList<T> list;
  int32_t method;
  typename Types<T>::SearchBlock constants;
  bool wide;

  int32_t find(int64_t from, int32_t count, int64_t& running, T* room, T const*& limits, int32_t* cells,
               int32_t n) const {
    limits = list.at(from, count, room);
    int64_t found[block_pairs];
    auto block = constants;
    block.siteCount = count;
    block.sites = limits;
    block.cells = found;
    block.runningCell = &running;
    if (int32_t const status = search_kernel<T>(method)(&block); status < 0) return status;
    for (int32_t i = 0; i < count; ++i) cells[i] = cell_at(found, i, wide, n);
    return DFStatusOk;
  }
};

// The polynomial pieces of one function, on a line cut at start(0), start(1), ...
template <class T, Kind kind>
struct Pieces {
  Partition<T> const& partition;
  Knots<T> const& knots;
  T const* rows;
  int64_t order;

  int32_t piece(T limit, int32_t cell) const {
    int32_t const p = piece_of(cell, partition.n);
    if constexpr (kind == Kind::QuadraticKnots) return p + (limit >= knots.at(p + 1));
    return p;
  }
  T start(int32_t p) const {
    if constexpr (kind == Kind::QuadraticKnots) return p == 0 ? partition.first() : knots.at(p);
    return partition.at(p);
  }
  T end(int32_t p) const {
    if constexpr (kind == Kind::QuadraticKnots)
      return p == partition.n - 1 ? partition.last() : knots.at(p + 1);
    return partition.at(p + 1);
  }
  // The integral from the break of piece p to `site`.
  T from_break(int32_t p, T site) const {
    T const t = site - partition.at(p);
    if constexpr (kind == Kind::General) {
      T const* const c = rows + static_cast<ptrdiff_t>(order * p);
      T sum = 0;
      for (int64_t k = order - 1; k >= 0; --k) sum = fma(sum, t, c[k] / static_cast<T>(k + 1));
      return t * sum;
    } else {
      constexpr int coefficients = kind == Kind::Linear ? 2 : kind == Kind::Cubic ? 4 : 3;
      T const* const c = rows + ptrdiff_t{coefficients} * p;
      T sum = c[1] * T(0.5);
      if constexpr (coefficients == 3) sum = fma(t, c[2] * T(1.0 / 3), sum);
      if constexpr (coefficients == 4) sum = fma(t, fma(t, c[3] * T(0.25), c[2] * T(1.0 / 3)), sum);
      return t * fma(t, sum, c[0]);
    }
  }
  T whole(int32_t p) const {
    T const to_end = from_break(p, end(p));
    if constexpr (kind == Kind::QuadraticKnots) return to_end - from_break(p, start(p));
    return to_end;
  }
  // a is not right of b.
  T integral(T a, int32_t cell_a, T b, int32_t cell_b) const {
    int32_t const first = piece(a, cell_a), last = piece(b, cell_b);
    if (first == last) return from_break(first, b) - from_break(first, a);
    T const head = from_break(first, end(first)) - from_break(first, a);
    T sums[4] = {};
    int32_t p = first + 1;
    for (; p + 4 <= last; p += 4)
      for (int k = 0; k < 4; ++k) sums[k] += whole(p + k);
    T total = head + ((sums[0] + sums[1]) + (sums[2] + sums[3]));
    for (; p < last; ++p) total += whole(p);
    T const tail = from_break(last, b);
    if constexpr (kind == Kind::QuadraticKnots) return total + (tail - from_break(last, start(last)));
    return total + tail;
  }
};

// Step functions: y[0] left of the partition, y[n-1] right of it, inside the value of each cell.
template <class T, Kind kind>
struct Steps {
  Partition<T> const& partition;
  Values<T> y;

  T value(int32_t p) const { return y[kind == Kind::StepLeft ? p + 1 : p]; }
  T integral(T a, int32_t cell_a, T b, int32_t cell_b) const {
    T const left = partition.first(), right = partition.last();
    T total = 0;
    if (a < left) total = y[0] * (std::min(b, left) - a);
    T const low = std::max(a, left), high = std::min(b, right);
    if (low < high) {
      int32_t const first = piece_of(cell_a, partition.n);
      int32_t last = piece_of(cell_b, partition.n);
      // An upper limit on a break ends the cell before it.
      if (last > first && high == partition.at(last)) --last;
      if (first == last) {
        total += value(first) * (high - low);
      } else {
        total = fma(value(first), partition.at(first + 1) - low, total);
        for (int32_t p = first + 1; p < last; ++p)
          total = fma(value(p), partition.at(p + 1) - partition.at(p), total);
        total = fma(value(last), high - partition.at(last), total);
      }
    }
    if (b > right) total = fma(y[partition.n - 1], b - std::max(a, right), total);
    return total;
  }
};

template <class T>
class Integration {
 public:
  DFTask const& task;
  Partition<T> const& partition;
  Knots<T> knots;
  Kind kind;
  Limits<T> lower, upper;
  int64_t pairs;
  T* results;
  int64_t by_pair, by_function; // strides of the results
  Callbacks<T> callbacks;

  // Pairs [from, to); `row` is room for the results of a callback.
  int32_t run(int64_t from, int64_t to, T* row) const {
    int64_t running_lower = 0, running_upper = 0;
    for (int64_t at = from; at < to; at += block_pairs) {
      auto const count = static_cast<int32_t>(std::min<int64_t>(block_pairs, to - at));
      T room_a[block_pairs], room_b[block_pairs];
      T const *a, *b;
      int32_t cells_a[block_pairs], cells_b[block_pairs];
      if (int32_t const status = lower.find(at, count, running_lower, room_a, a, cells_a, partition.n))
        return status;
      if (int32_t const status = upper.find(at, count, running_upper, room_b, b, cells_b, partition.n))
        return status;
      if (callbacks.any()) {
        for (int32_t i = 0; i < count; ++i)
          if (int32_t const status = run_parts(at + i, a[i], cells_a[i], b[i], cells_b[i], row))
            return status;
      } else {
        for (int32_t j = 0; j < function_count(task); ++j)
          with_function(j, [&](auto const& function) {
            for (int32_t i = 0; i < count; ++i) {
              if (a[i] == b[i]) { // whatever the antiderivative is there
                results[(at + i) * by_pair + j * by_function] = 0;
                continue;
              }
              bool const swapped = b[i] < a[i];
              T const sum = swapped ? -function.integral(b[i], cells_b[i], a[i], cells_a[i])
                                    : function.integral(a[i], cells_a[i], b[i], cells_b[i]);
              results[(at + i) * by_pair + j * by_function] = sum;
            }
          });
      }
    }
    return DFStatusOk;
  }

 private:
  template <class Work>
  void with_function(int32_t j, Work&& work) const {
    switch (kind) {
    case Kind::Linear:
      return work(pieces<Kind::Linear>(j));
    case Kind::Quadratic:
      return work(pieces<Kind::Quadratic>(j));
    case Kind::QuadraticKnots:
      return work(pieces<Kind::QuadraticKnots>(j));
    case Kind::Cubic:
      return work(pieces<Kind::Cubic>(j));
    case Kind::StepLeft:
      return work(Steps<T, Kind::StepLeft>{partition, values_of<T>(task, j)});
    case Kind::StepRight:
      return work(Steps<T, Kind::StepRight>{partition, values_of<T>(task, j)});
    default:
      return work(pieces<Kind::General>(j));
    }
  }
  template <Kind k>
  Pieces<T, k> pieces(int32_t j) const {
    return {partition, knots, coefficients_of<T>(task, j), task.splineOrder};
  }

  // The parts of one pair left of the partition, right of it and inside, of all functions.
  int32_t run_parts(int64_t pair, T a, int32_t cell_a, T b, int32_t cell_b, T* row) const {
    bool const swapped = b < a;
    if (swapped) std::swap(a, b), std::swap(cell_a, cell_b);
    int32_t const n = partition.n;
    T const left = partition.first(), right = partition.last();
    T* const out = results + pair * by_pair;
    for (int64_t j = 0; j < task.functionCount; ++j) out[j * by_function] = 0;
    auto part = [&](auto callback, void* parameter, int64_t low_cell, T low, int64_t high_cell, T high) {
      if (callback) {
        int64_t const one = 1;
        for (int64_t j = 0; j < task.functionCount; ++j) row[j] = 0;
        int32_t const status = callback(&one, &low_cell, &low, &high_cell, &high, row, parameter, nullptr);
        if (status < 0) return status;
        for (int64_t j = 0; j < task.functionCount; ++j) out[j * by_function] += row[j];
      } else if (low != high) {
        for (int32_t j = 0; j < function_count(task); ++j)
          with_function(j, [&](auto const& function) {
            out[j * by_function] +=
                function.integral(low, static_cast<int32_t>(low_cell), high, static_cast<int32_t>(high_cell));
          });
      }
      return static_cast<int32_t>(DFStatusOk);
    };
    if (cell_a == 0)
      if (int32_t const status = part(callbacks.left, callbacks.left_parameter, 0, a, 0, std::min(b, left)))
        return status;
    if (cell_b == n)
      if (int32_t const status =
              part(callbacks.right, callbacks.right_parameter, cell_b, std::max(a, right), cell_b, b))
        return status;
    T low = std::max(a, left), high = std::min(b, right);
    if (cell_a < n && cell_b > 0 && low < high) {
      if (callbacks.inner) {
        low = std::max(a, partition.at(piece_of(cell_a, n)));
        high = std::min(b, partition.at(piece_of(cell_b, n) + 1));
      }
      if (int32_t const status = part(callbacks.inner, callbacks.inner_parameter, cell_a, low, cell_b, high))
        return status;
    }
    if (swapped)
      for (int64_t j = 0; j < task.functionCount; ++j) out[j * by_function] = -out[j * by_function];
    return DFStatusOk;
  }
};

// Pairs from which threads are used.
int64_t threaded_pairs(Kind kind, bool sorted) {
  if (!sorted || kind == Kind::QuadraticKnots) return 256;
  return kind == Kind::Quadratic || kind == Kind::Cubic ? 512 : 640;
}

template <class T>
int32_t integrate(DFTask const* task, int64_t pairs, T const* left_limits, int64_t left_hint,
                  T const* right_limits, int64_t right_hint, T const* left_data, T const* right_data,
                  T* results, int64_t layout, Callbacks<T> const& callbacks,
                  typename Types<T>::SearchCallback search, void* search_parameter,
                  DFThreader const* threader) {
  if (!task) return DFStatusNullTask;
  Kind const kind = kind_of(*task, callbacks.all());
  if (kind == Kind::Unknown || kind == Kind::LookUp) return DFStatusBadType;
  int32_t const left_method = choose_method(*task, left_hint, left_data, search != nullptr);
  if (left_method < 0) return left_method;
  int32_t const right_method = choose_method(*task, right_hint, right_data, search != nullptr);
  if (right_method < 0) return right_method;
  if (layout != 0 && layout != 16 && layout != 128 && layout != DFIntegralLimitFunc)
    return DFStatusBadIntegrationResult;
  bool const all = callbacks.all() && !reads_values(kind);
  if (int32_t const status = check_sources(*task, kind, all)) return status;

  Partition<T> const partition(*task);
  bool const by_limit = layout == DFIntegralLimitFunc;
  auto limits = [&](T const* given, int64_t hint, int32_t method, T const* data) {
    return Limits<T>{SiteList<T>(given, hint, pairs), method,
                     search_constants(*task, method, data, search, search_parameter),
                     wide_cells(*task, method)};
  };
  Integration<T> const work{*task,
                            partition,
                            Knots<T>(*task, partition),
                            kind,
                            limits(left_limits, left_hint, left_method, left_data),
                            limits(right_limits, right_hint, right_method, right_data),
                            pairs,
                            results,
                            by_limit ? task->functionCount : 1,
                            by_limit ? 1 : pairs,
                            callbacks};

  bool const sorted = left_method == DFSearchSorted || right_method == DFSearchSorted;
  int32_t const threads = pairs >= threaded_pairs(kind, sorted) ? max_threads(threader) : 1;
  uint64_t const each = callbacks.any() ? static_cast<uint64_t>(task->functionCount) : 0;
  SmallScratch<T, 2048> const rows(each * static_cast<uint64_t>(threads));
  if (!rows) return DFStatusNoMemory;

  int64_t done = 0;
  std::atomic<int32_t> failure{0};
  auto stage = [&](int64_t length) {
    auto const count = static_cast<int32_t>((pairs - done) / length);
    int64_t const start = done;
    if (count > 0)
      parallel_for(threader, count, std::min(threads, count), [&](int32_t i, int32_t thread) {
        int32_t const status = work.run(start + i * length, start + (i + 1) * length,
                                        rows.get() + each * static_cast<uint64_t>(thread));
        if (status < 0) failure.store(status, std::memory_order_relaxed);
      });
    done += count * length;
    return failure.load(std::memory_order_relaxed);
  };
  if (threads > 1) {
    constexpr int64_t large = 4 * block_pairs;
    if (threads <= pairs / large)
      if (int32_t const status = stage(large)) return status;
    if (int32_t const status = stage(block_pairs)) return status;
  }
  return work.run(done, pairs, rows.get());
}

} // namespace
} // namespace orv::fitting

#define ORV_TWIN(t, T)                                                                                       \
  ORV_EXPORT int32_t orv_df_kernel_##t##DFIntegrate1D(                                                       \
      const DFTask* task, int64_t, int64_t pairs, const T* left_limits, int64_t left_hint,                   \
      const T* right_limits, int64_t right_hint, const T* left_data, const T* right_data, T* results,        \
      int64_t layout, t##DFIntegrateCallback left, void* left_parameter, t##DFIntegrateCallback right,       \
      void* right_parameter, t##DFIntegrateCallback inner, void* inner_parameter,                            \
      t##DFSearchCallback search, void* search_parameter, const DFThreader* threader) {                      \
    return orv::fitting::integrate<T>(                                                                       \
        task, pairs, left_limits, left_hint, right_limits, right_hint, left_data, right_data, results,       \
        layout, {left, right, inner, left_parameter, right_parameter, inner_parameter}, search,              \
        search_parameter, threader);                                                                         \
  }
ORV_TWIN(d, double)
ORV_TWIN(s, float)
