// The frame of the cubic schemes whose slopes follow from a few neighbouring cells. Work is cut into blocks
// of cells and functions; a block recomputes the slopes D of a few cells beyond its range, so blocks share
// nothing but the inputs and results do not depend on the cut.
//
// A scheme gives:
//   minimum_breaks, reach           cells beyond a block that its slopes need on either side
//   none_is_free                    whether boundary code 0 is known
//   check(task)                     a status of its own, after the common checks
//   Scheme(task)                    what it keeps for a function
//   slope<V>(cells, row, i)         m[i] at an inner break
//   periodic(cells, y, n, left)     m at an end of a periodic spline
#pragma once
#include "fitting/construct.h"
#include "frame/export.h"

namespace orv::fitting {

// The slope D of one cell, by the same steps as in a block.
template <class T, class CellsT>
T cell_slope(CellsT const& cells, Values<T> y, ptrdiff_t i) {
  return (y[i + 1] - y[i]) * cells.template inverse_width<T>(i);
}

// A stretch of one function: values, slopes D and reciprocal widths, by global index.
template <class T>
class Row {
 public:
  Row(ptrdiff_t base, T const* y, T const* slopes, T const* inverses)
      : base_(base), y_(y), slopes_(slopes), inverses_(inverses) {}
  template <class V>
  ORV_INLINE V y(ptrdiff_t i) const {
    return load<V>(y_ + (i - base_));
  }
  template <class V>
  ORV_INLINE V slope(ptrdiff_t i) const {
    return load<V>(slopes_ + (i - base_));
  }
  template <class V>
  ORV_INLINE V inverse(ptrdiff_t i) const {
    return load<V>(inverses_ + (i - base_));
  }

 private:
  ptrdiff_t base_;
  T const *y_, *slopes_, *inverses_;
};

template <class V, class CellsT, class T>
ORV_INLINE V bessel_slope(CellsT const& cells, Row<T> const& row, ptrdiff_t i) {
  if constexpr (std::is_same_v<CellsT, Cells<T, true>>) {
    return (row.template y<V>(i + 1) - row.template y<V>(i - 1)) * broadcast<V>(T(0.5) * cells.r);
  } else {
    V const h0 = cells.template width<V>(i - 1), h1 = cells.template width<V>(i);
    V const sum = fma(h1, row.template slope<V>(i - 1), h0 * row.template slope<V>(i));
    return sum / (load<V>(cells.x + i + 1) - load<V>(cells.x + i - 1));
  }
}

template <class T, class CellsT>
T bessel_periodic(CellsT const& cells, Values<T> y, ptrdiff_t n) {
  if constexpr (std::is_same_v<CellsT, Cells<T, true>>)
    return (y[1] - y[0] + y[n - 1] - y[n - 2]) * (T(0.5) * cells.r);
  T const h0 = cells.template width<T>(0), h1 = cells.template width<T>(n - 2);
  return fma(h1, cell_slope(cells, y, 0), h0 * cell_slope(cells, y, n - 2)) / (h0 + h1);
}

// The slope at an end from the one next to it. `e` is the cell at the end, `e2` the one before it; `sign` is
// 1 at the left end and -1 at the right end.
template <class T, class CellsT>
T end_slope(CellsT const& cells, Values<T> y, End end, ptrdiff_t e, ptrdiff_t e2, T sign, T given, T next) {
  T const h = cells.template width<T>(e), slope = cell_slope(cells, y, e);
  switch (end) {
  case End::NotAKnot:
    if constexpr (std::is_same_v<CellsT, Cells<T, true>>) {
      ptrdiff_t const low = std::min(e, e2);
      return fma(T(-2), next, (y[low + 2] - y[low]) * (T(0.5) * cells.r));
    } else {
      T const h2 = cells.template width<T>(e2), slope2 = cell_slope(cells, y, e2);
      ptrdiff_t const low = std::min(e, e2);
      T const both = cells.x[low + 2] - cells.x[low];
      // Widths count by their ratios only; extreme ones are scaled where they are squared.
      constexpr bool wide = std::is_same_v<T, double>;
      constexpr T far = wide ? T(0x1p500) : T(0x1p60), down = wide ? T(0x1p-700) : T(0x1p-90);
      T const s = both > far ? down : both < 1 / far ? 1 / down : T(1);
      T const w = both * s, u = h * s, u2 = h2 * s;
      T const sum = fma(fma(T(2), w, u) * u2, slope, u * u * slope2);
      return fma(-w, next, sum / w) / u2;
    }
  case End::First:
    return given;
  case End::Second:
    return fma(sign * h * T(-0.25), given, fma(T(1.5), slope, T(-0.5) * next));
  default:
    return fma(T(1.5), slope, T(-0.5) * next);
  }
}

constexpr ptrdiff_t block_cells = 2048;
constexpr int32_t block_functions = 4;

// Cells [from, to) of one function. `scratch` holds four rows of `room` reals.
template <class T, class Scheme, class CellsT>
void build_block(DFTask const& task, CellsT const& cells, Ends ends, int32_t function, ptrdiff_t from,
                 ptrdiff_t to, T* scratch, ptrdiff_t room) {
  ptrdiff_t const n = break_count(task);
  auto const y = values_of<T>(task, function);
  Scheme const scheme(task);
  ptrdiff_t const base = std::max<ptrdiff_t>(from - Scheme::reach, 0);
  ptrdiff_t const top = std::min<ptrdiff_t>(to + Scheme::reach, n - 1);
  T* const slopes = scratch;
  T* const inverses = scratch + room;
  T* const m = scratch + 2 * room; // of breaks from..to
  T const* const plain = contiguous_values(y, base, top + 1, scratch + 3 * room);
  for_lanes<T>(base, top, [&](auto lane, ptrdiff_t i) {
    using V = decltype(lane);
    V const inverse = cells.template inverse_width<V>(i);
    store(inverses + (i - base), inverse);
    store(slopes + (i - base), (load<V>(plain + (i - base) + 1) - load<V>(plain + (i - base))) * inverse);
  });
  Row<T> const row(base, plain, slopes, inverses);

  // Breaks so near to an end that the scheme's neighbours are missing are left to its scalar rule.
  ptrdiff_t const inner_from = std::max<ptrdiff_t>(from, Scheme::reach),
                  inner_to = std::min(to + 1, n - Scheme::reach);
  for_lanes<T>(inner_from, inner_to, [&](auto lane, ptrdiff_t i) {
    using V = decltype(lane);
    store(m + (i - from), scheme.template slope<V>(cells, row, i));
  });
  if constexpr (Scheme::reach > 1) {
    if (from <= 1 && to >= 1) m[1 - from] = scheme.template near_end<T>(row, 1, n);
    if (from <= n - 2 && to >= n - 2) m[n - 2 - from] = scheme.template near_end<T>(row, n - 2, n);
  }
  auto const* bound = static_cast<T const*>(task.boundCond);
  bool const periodic = ends.left == End::Periodic;
  if (from == 0)
    m[0] = periodic
               ? scheme.periodic(cells, y, n, true)
               : end_slope<T>(cells, y, ends.left, 0, 1, 1, ends.left >= End::First ? bound[0] : 0, m[1]);
  if (to == n - 1)
    m[to - from] = periodic ? scheme.periodic(cells, y, n, false)
                            : end_slope<T>(cells, y, ends.right, n - 2, n - 3, -1,
                                           ends.right >= End::First ? bound[1] : 0, m[to - from - 1]);

  T* const out = coefficients_of<T>(task, function);
  for_lanes<T>(from, to, [&](auto lane, ptrdiff_t i) {
    using V = decltype(lane);
    store_cubic(out + 4 * i, row.template y<V>(i), row.template slope<V>(i), row.template inverse<V>(i),
                load<V>(m + (i - from)), load<V>(m + (i - from) + 1));
  });
}

template <class T, class Scheme>
int32_t construct_local(DFTask const& task, DFThreader const* threader) {
  if (task.breakCount < Scheme::minimum_breaks) return DFStatusBadBreakCount;
  if (!is_known_layout(task.valueHint)) return DFStatusBadValueHint;
  Ends ends;
  if (int32_t const status = decode_ends<T>(task, Scheme::none_is_free, ends)) return status;
  if (int32_t const status = Scheme::check(task, ends)) return status;
  if (int32_t const status = check_rows(task)) return status;

  ptrdiff_t const cells_total = break_count(task) - 1;
  int32_t const functions = function_count(task);
  bool const small = task.breakCount * task.functionCount < 512;
  ptrdiff_t const cells_each = std::min(cells_total, block_cells);
  auto const cell_blocks = static_cast<int32_t>((cells_total + cells_each - 1) / cells_each);
  int32_t const function_blocks = (functions + block_functions - 1) / block_functions;
  int32_t const tasks = cell_blocks * function_blocks;
  int32_t const threads = small ? 1 : std::min(max_threads(threader), tasks);
  ptrdiff_t const room = (cells_each + 2 * Scheme::reach + 1 + 7) & ~ptrdiff_t{7};
  Scratch<T> const scratch(static_cast<size_t>(4 * room * threads));
  if (!scratch) return DFStatusNoMemory;
  if (ends.left == End::Periodic && !periods_match<T>(task)) return DFStatusPeriodMismatch;

  return with_partition<T>(task, [&](auto const& cells) {
    auto body = [&](int32_t t, int32_t thread) {
      ptrdiff_t const from = t % cell_blocks * cells_each, to = std::min(from + cells_each, cells_total);
      int32_t const first = t / cell_blocks * block_functions,
                    last = std::min(first + block_functions, functions);
      for (int32_t j = first; j < last; ++j)
        build_block<T, Scheme>(task, cells, ends, j, from, to, scratch.get() + 4 * room * thread, room);
    };
    parallel_for(small ? nullptr : threader, tasks, threads, body);
    return static_cast<int32_t>(DFStatusOk);
  });
}

} // namespace orv::fitting
