// Quadratic splines. Type 0: the breaks are the knots, and the value in the middle of the first cell closes
// the recurrence of the middle values. Type 1: a piece for each break, with knots between the breaks (Yu. N.
// Subbotin, 1967); the unknowns are the values at the knots, and equating the slopes on both sides of each
// knot gives a tridiagonal system that is diagonally dominant by columns.
#include "fitting/construct_scale.h"
#include "fitting/pieces.h"
#include "frame/export.h"
#include "frame/linalg.h"

namespace orv::fitting {
namespace {

template <class T>
void put(T* out, T a, T b, T c) {
  out[0] = a, out[1] = b, out[2] = c;
}

template <class T, class CellsT>
void from_middle_value(CellsT const& cells, Values<T> y, ptrdiff_t n, T middle, T* q, T* out) {
  auto width = [&](ptrdiff_t i) { return cells.template width<T>(i); };
  q[0] = middle;
  for (ptrdiff_t k = 1; k < n - 1; ++k) {
    T const h0 = width(k - 1), h = width(k);
    T const sum = fma(T(3), y[k], y[k - 1]) / h0 + fma(T(3), y[k], y[k + 1]) / h;
    q[k] = fma(-(h / h0), q[k - 1], T(0.25) * h * sum);
  }
  for (ptrdiff_t i = 0; i < n - 1; ++i) {
    T const u = T(0.5) * width(i);
    T const bend = fma(T(-2), q[i], y[i] + y[i + 1]) * T(0.5); // c u^2
    put(out + 3 * i, y[i], (q[i] - y[i] - bend) / u, bend / (u * u));
  }
}

template <class T>
int32_t middle_values(DFTask const& task) {
  if (task.boundCondType != DFBoundMidValue) return DFStatusBadBoundCondType;
  if (!task.boundCond) return DFStatusNullBoundCond;
  if (task.breakCount < 2) return DFStatusBadBreakCount;
  if (int32_t const status = check_rows(task)) return status;
  SmallScratch<T, 4094> const q(static_cast<size_t>(task.breakCount));
  if (!q) return DFStatusNoMemory;
  return with_partition<T>(task, [&](auto const& cells) {
    for (int32_t j = 0; j < function_count(task); ++j)
      from_middle_value(cells, values_of<T>(task, j), break_count(task),
                        static_cast<T const*>(task.boundCond)[0], q.get(), coefficients_of<T>(task, j));
    return static_cast<int32_t>(DFStatusOk);
  });
}

// What a piece adds to the equation of the knot at one of its ends: the slope there is
// near * (value at that knot) + far * (value at its other knot) + constant.
template <class T>
struct KnotSlope {
  T near, far, constant;
};

// `d0` is the distance of the knot from the piece's break, `d1` that of its other knot.
template <class T>
KnotSlope<T> inner_slope(T d0, T d1, T y) {
  T const length = d0 - d1;
  return {(T(2) * d0 - d1) / (length * d0), -d0 / (length * d1), y * (length / (d0 * d1))};
}
// A piece whose other end is the end of the partition, with the condition there.
template <class T>
KnotSlope<T> end_slope(T d0, End end, T given, T y) {
  if (end == End::First) return {T(2) / d0, T(0), fma(T(-2), y / d0, -given)};
  return {T(1) / d0, T(0), fma(T(0.5) * given, d0, -y / d0)};
}
template <class T>
void end_piece(T* out, T d0, End end, T given, T y, T v) {
  if (end == End::First)
    put(out, y, given, fma(-given, d0, v - y) / (d0 * d0));
  else
    put(out, y, fma(T(-0.5) * given, d0, (v - y) / d0), T(0.5) * given);
}

template <class T>
int32_t from_knots(Partition<T> const& partition, T const* t, bool halved, Values<T> y, Ends ends,
                   T const* bound, T* room, T* out) {
  ptrdiff_t const n = partition.n;
  T *lower = room, *diagonal = room + n, *upper = room + 2 * n, *v = room + 3 * n;
  // Between neighbouring reals a knot in the middle rounds to one of the breaks; its distances don't.
  auto distance = [&](ptrdiff_t knot, ptrdiff_t piece) {
    T const x = partition.at(static_cast<int32_t>(piece)), d = t[knot] - x;
    if (!halved || knot == 0 || knot == n) return d;
    T const other = partition.at(static_cast<int32_t>(knot == piece ? piece - 1 : piece + 1));
    return d == 0 || t[knot] == other ? T(0.5) * (other - x) : d;
  };
  for (ptrdiff_t k = 1; k < n; ++k) {
    T const before = distance(k, k - 1), after = distance(k, k);
    KnotSlope<T> const left = k == 1 ? end_slope(before, ends.left, bound[0], y[0])
                                     : inner_slope(before, distance(k - 1, k - 1), y[k - 1]);
    KnotSlope<T> const right = k == n - 1 ? end_slope(after, ends.right, bound[1], y[n - 1])
                                          : inner_slope(after, distance(k + 1, k), y[k]);
    if (k > 1) lower[k - 2] = left.far;
    diagonal[k - 1] = left.near - right.near;
    upper[k - 1] = -right.far;
    v[k - 1] = right.constant - left.constant;
  }
  int const unknowns = static_cast<int>(n - 1), one = 1;
  int info = 0;
  core::Linalg<T>::dtsvb(&unknowns, &one, lower, diagonal, upper, v, &unknowns, &info);
  if (info != 0) return DFStatusSolverFailure;

  end_piece(out, distance(1, 0), ends.left, bound[0], y[0], v[0]);
  for (ptrdiff_t p = 1; p < n - 1; ++p) {
    T const a = distance(p, p), b = distance(p + 1, p);
    T const from_left = (v[p - 1] - y[p]) / a, from_right = (v[p] - y[p]) / b;
    T const c = (from_right - from_left) / (b - a);
    put(out + 3 * p, y[p], fma(-c, a, from_left), c);
  }
  end_piece(out + 3 * (n - 1), distance(n - 1, n - 1), ends.right, bound[1], y[n - 1], v[n - 2]);
  return DFStatusOk;
}

template <class T>
int32_t knots_between(DFTask const& task) {
  if ((task.innerCondType & 8) == 0) return DFStatusBadInnerCondType;
  Ends ends;
  if (int32_t const status = decode_ends<T>(task, false, ends)) return status;
  if (ends.left < End::First || ends.left == End::Periodic) return DFStatusBadBoundCondType;
  if (task.breakCount < 2) return DFStatusBadBreakCount;
  if (int32_t const status = check_rows(task)) return status;
  auto const n = static_cast<size_t>(task.breakCount);
  Scratch<T> const scratch(5 * n + 1);
  if (!scratch) return DFStatusNoMemory;
  Partition<T> const partition(task);
  Knots<T> const knots(task, partition);
  if (!knots.fit()) return DFStatusNullInnerCond;
  T* const t = scratch.get() + 4 * n;
  t[0] = partition.first();
  t[n] = partition.last();
  for (int32_t k = 1; k < partition.n; ++k) t[k] = knots.at(k);
  for (int32_t j = 0; j < function_count(task); ++j)
    if (int32_t const status =
            from_knots(partition, t, !task.innerCond, values_of<T>(task, j), ends,
                       static_cast<T const*>(task.boundCond), scratch.get(), coefficients_of<T>(task, j)))
      return status;
  return DFStatusOk;
}

template <class T>
int32_t quadratic(DFTask const& task, int64_t, DFThreader const*) {
  if (!is_known_layout(task.valueHint)) return DFStatusBadValueHint;
  if (task.splineType == 0) return middle_values<T>(task);
  if (task.splineType == 1) return knots_between<T>(task);
  return DFStatusBadMethod;
}

} // namespace
} // namespace orv::fitting

ORV_SCALED_CONSTRUCTION(DFQuadraticSpline, orv::fitting::quadratic, 3, 1)
