// The C2 cubic: a tridiagonal system for the slopes at the breaks (C. de Boor, A Practical Guide to Splines).
// The matrix depends on the partition only and is factored once for all functions. A periodic spline splits
// its cyclic matrix into a tridiagonal one and a term of rank one (Sherman and Morrison). On an even
// partition the matrix is that of unit cells.
#include "fitting/construct_scale.h"
#include "frame/export.h"
#include "frame/linalg.h"

#include <atomic>

namespace orv::fitting {
namespace {

template <class T, class CellsT>
class Natural {
  static constexpr bool even = std::is_same_v<CellsT, Cells<T, true>>;
  using Solver = core::Linalg<T>;

 public:
  Natural(DFTask const& task, CellsT const& cells, Ends ends)
      : task_(task), cells_(cells), ends_(ends), n_(break_count(task)),
        bound_(static_cast<T const*>(task.boundCond)) {}

  int32_t run(DFThreader const* threader) {
    int32_t const functions = function_count(task_);
    bool const periodic = ends_.left == End::Periodic;
    // No solver where the three rows depend on each other, and for the one unknown of a single periodic cell.
    direct_ = (ends_.left == End::NotAKnot && n_ == 3) || (periodic && n_ == 2);
    bool const factored = !direct_ && (functions > 1 || periodic);
    int32_t const most = functions > 1 ? std::min(max_threads(threader), functions) : 1;
    bool const threaded = most > 1 && (n_ >= 600 || (n_ >= 300 && most >= 8));
    int32_t const threads = threaded ? most : 1;
    unknowns_ = static_cast<int>(periodic ? n_ - 1 : n_);

    // Rows: right-hand side and values of each thread, the diagonals, the rank-one column. A single solve
    // keeps the diagonals in the coefficients that it is going to write; fresh memory costs more than the
    // arithmetic.
    bool const in_place = !factored && n_ >= 4;
    streams_ = in_place && n_ >= streaming_breaks;
    ptrdiff_t const row = (n_ + 7) / 8 * 8 + 8;
    ptrdiff_t const each = is_interleaved(task_) ? 2 * row : row;
    ptrdiff_t const shared = in_place ? 0 : periodic ? 4 * n_ : 3 * n_;
    Scratch<T> const scratch(static_cast<size_t>(shared + each * threads));
    if (!scratch) return DFStatusNoMemory;
    if (periodic && !periods_match<T>(task_)) return DFStatusPeriodMismatch;
    if (functions == 0) return DFStatusOk;
    T* const diagonals = in_place ? coefficients_of<T>(task_, 0) : scratch.get() + each * threads;
    lower_ = diagonals, diagonal_ = diagonals + (n_ - 1), upper_ = diagonals + (2 * n_ - 1);
    if (streams_) { // the vectors of all rows, which begin at break 1, are aligned
      lower_ = aligned(diagonals);
      diagonal_ = lower_ + row - 1, upper_ = lower_ + 2 * row - 1;
    }
    if (!direct_) build_matrix();
    if (factored) {
      int info = 0;
      Solver::dttrfb(&unknowns_, lower_, diagonal_, upper_, &info);
      if (info != 0) return DFStatusSolverFailure;
      if (periodic && !direct_ && !solve_column(diagonals + 3 * n_)) return DFStatusSolverFailure;
    }
    if (!threaded) {
      for (int32_t j = 0; j < functions; ++j)
        if (!build(j, scratch.get(), factored)) return DFStatusSolverFailure;
      return DFStatusOk;
    }
    std::atomic<bool> failed{false};
    parallel_for(threader, functions, threads, [&](int32_t j, int32_t thread) {
      if (!build(j, scratch.get() + each * thread, true)) failed.store(true, std::memory_order_relaxed);
    });
    return failed.load(std::memory_order_relaxed) ? static_cast<int32_t>(DFStatusSolverFailure)
                                                  : static_cast<int32_t>(DFStatusOk);
  }

 private:
  // From here on the arrays exceed the caches that they would have to stay in between two passes.
  static constexpr ptrdiff_t streaming_breaks = 1 << 18;
  static T* aligned(T* p) {
    return reinterpret_cast<T*>((reinterpret_cast<uintptr_t>(p) + 31) & ~uintptr_t{31});
  }

  // Widths as the matrix has them.
  template <class V>
  ORV_INLINE V width(ptrdiff_t i) const {
    if constexpr (even)
      return broadcast<V>(1);
    else
      return cells_.template width<V>(i);
  }
  // The width of cells i and i + 1 together.
  template <class V>
  ORV_INLINE V width_of_two(ptrdiff_t i) const {
    if constexpr (even)
      return broadcast<V>(2);
    else
      return load<V>(cells_.x + i + 2) - load<V>(cells_.x + i);
  }
  T slope(T const* y, ptrdiff_t i) const { return (y[i + 1] - y[i]) * cells_.template inverse_width<T>(i); }

  void build_matrix() {
    ptrdiff_t const last = n_ - 1;
    if (!streams_)
      for_lanes<T>(1, last, [&](auto lane, ptrdiff_t i) {
        using V = decltype(lane);
        store(lower_ + i - 1, width<V>(i));
        store(diagonal_ + i, broadcast<V>(2) * width_of_two<V>(i - 1));
        store(upper_ + i, width<V>(i - 1));
      });
    if (ends_.left == End::Periodic) {
      T const first = width<T>(0), end = width<T>(n_ - 2), before = width<T>(n_ - 3);
      diagonal_[0] = T(2) * (end + first) - first;
      diagonal_[n_ - 2] -= before;
      upper_[0] = end;
      return;
    }
    switch (ends_.left) {
    case End::NotAKnot:
      diagonal_[0] = width<T>(1), upper_[0] = width_of_two<T>(0);
      break;
    case End::First:
      diagonal_[0] = 1, upper_[0] = 0;
      break;
    default:
      diagonal_[0] = 2, upper_[0] = 1;
    }
    switch (ends_.right) {
    case End::NotAKnot:
      lower_[last - 1] = width_of_two<T>(n_ - 3), diagonal_[last] = width<T>(n_ - 3);
      break;
    case End::First:
      lower_[last - 1] = 0, diagonal_[last] = 1;
      break;
    default:
      lower_[last - 1] = 1, diagonal_[last] = 2;
    }
  }

  void build_right_side(T const* y, T* b) const {
    ptrdiff_t const last = n_ - 1;
    auto right_side = [&](auto lane, ptrdiff_t i) {
      using V = decltype(lane);
      V const y1 = load<V>(y + i);
      V const s0 = (y1 - load<V>(y + i - 1)) * cells_.template inverse_width<V>(i - 1);
      V const s1 = (load<V>(y + i + 1) - y1) * cells_.template inverse_width<V>(i);
      return broadcast<V>(3) * fma(width<V>(i), s0, width<V>(i - 1) * s1);
    };
    if (streams_) { // matrix and right side in one pass
      for_lanes<T>(1, last, [&](auto lane, ptrdiff_t i) {
        using V = decltype(lane);
        stream(lower_ + i - 1, width<V>(i));
        stream(diagonal_ + i, broadcast<V>(2) * width_of_two<V>(i - 1));
        stream(upper_ + i, width<V>(i - 1));
        stream(b + i, right_side(lane, i));
      });
      _mm_sfence();
    } else {
      for_lanes<T>(1, last, [&](auto lane, ptrdiff_t i) { store(b + i, right_side(lane, i)); });
    }
    T const first = slope(y, 0), end = slope(y, n_ - 2);
    if (ends_.left == End::Periodic) {
      b[0] = T(3) * fma(width<T>(0), end, width<T>(n_ - 2) * first);
      return;
    }
    auto end_row = [&](End kind, ptrdiff_t e, ptrdiff_t e2, T s, T sign, ptrdiff_t which) {
      T const h = width<T>(e);
      switch (kind) {
      case End::NotAKnot: {
        T const h2 = width<T>(e2), both = width_of_two<T>(std::min(e, e2));
        return fma(fma(T(2), both, h) * h2, s, h * h * slope(y, e2)) / both;
      }
      case End::First:
        return bound_[which];
      case End::Second:
        return fma(sign * T(0.5) * cells_.template width<T>(e), bound_[which], T(3) * s);
      default:
        return T(3) * s;
      }
    };
    b[0] = end_row(ends_.left, 0, 1, first, T(-1), 0);
    b[last] = end_row(ends_.right, n_ - 2, n_ - 3, end, T(1), 1);
  }

  bool solve(T* b) const {
    int const one = 1;
    int info = 0;
    Solver::dttrsb("N", &unknowns_, &one, lower_, diagonal_, upper_, b, &unknowns_, &info);
    return info == 0;
  }

  bool solve_column(T* z) {
    for (int i = 0; i < unknowns_; ++i) z[i] = 0;
    z[0] += width<T>(0);
    z[unknowns_ - 1] += width<T>(n_ - 3);
    column_ = z;
    bool const solved = solve(z);
    factor_ = T(1) / (T(1) + z[0] + z[unknowns_ - 1]);
    return solved;
  }

  bool build(int32_t function, T* room, bool factored) {
    T* const m = streams_ ? room + 7 : room; // m + 1 is aligned
    T const* const y = contiguous_values(values_of<T>(task_, function), 0, n_, room + (n_ + 7) / 8 * 8 + 8);
    build_right_side(y, m);
    if (direct_) {
      if (n_ == 3)
        m[0] /= width<T>(1), m[1] = 0, m[2] /= width<T>(0);
      else
        m[0] = m[1] = slope(y, 0);
    } else if (factored) {
      if (!solve(m)) return false;
    } else {
      int const one = 1;
      int info = 0;
      Solver::dtsvb(&unknowns_, &one, lower_, diagonal_, upper_, m, &unknowns_, &info);
      if (info != 0) return false;
    }
    if (column_) {
      T const share = (m[0] + m[unknowns_ - 1]) * factor_;
      for_lanes<T>(0, unknowns_, [&](auto lane, ptrdiff_t i) {
        using V = decltype(lane);
        store(m + i, fma(broadcast<V>(-share), load<V>(column_ + i), load<V>(m + i)));
      });
      m[n_ - 1] = m[0];
    }
    T* const out = coefficients_of<T>(task_, function);
    auto write = [&]<class Put>(Put) {
      for_lanes<T>(0, n_ - 1, [&](auto lane, ptrdiff_t i) {
        using V = decltype(lane);
        V const y0 = load<V>(y + i), inverse = cells_.template inverse_width<V>(i);
        store_cubic<Put>(out + 4 * i, y0, (load<V>(y + i + 1) - y0) * inverse, inverse, load<V>(m + i),
                         load<V>(m + i + 1));
      });
    };
    if (streams_ && (reinterpret_cast<uintptr_t>(out) & 15) == 0) {
      write(stream_halves());
      _mm_sfence();
    } else {
      write(store_halves());
    }
    return true;
  }

  DFTask const& task_;
  CellsT const& cells_;
  Ends ends_;
  ptrdiff_t n_;
  T const* bound_;
  bool direct_ = false, streams_ = false;
  int unknowns_ = 0;
  T *lower_ = nullptr, *diagonal_ = nullptr, *upper_ = nullptr;
  T const* column_ = nullptr; // of a periodic spline
  T factor_ = 0;
};

template <class T>
int32_t natural(DFTask const& task, int64_t method, DFThreader const* threader) {
  if (method != 0) return DFStatusBadMethod;
  if (task.breakCount < 2 || (task.breakCount == 2 && task.boundCondType == DFBoundNotAKnot))
    return DFStatusBadBreakCount;
  if (!is_known_layout(task.valueHint)) return DFStatusBadValueHint;
  Ends ends;
  if (int32_t const status = decode_ends<T>(task, false, ends)) return status;
  if (int32_t const status = check_rows(task)) return status;
  return with_partition<T>(task, [&](auto const& cells) {
    return Natural<T, std::remove_cvref_t<decltype(cells)>>(task, cells, ends).run(threader);
  });
}

} // namespace
} // namespace orv::fitting

ORV_SCALED_CONSTRUCTION(DFNaturalCubicSpline, orv::fitting::natural, 4, 0)
