// The cubic with given second derivatives at the inner breaks.
#include "fitting/construct_scale.h"
#include "frame/export.h"

namespace orv::fitting {
namespace {

template <class T>
struct Cubic {
  T b, c, d;
};

// b from the cell's slope and the higher coefficients.
template <class T>
Cubic<T> closed(T slope, T h, T c, T d) {
  return {fma(-h, fma(d, h, c), slope), c, d};
}

template <class T>
Cubic<T> first_cell(End end, T h, T slope, T s, T next_d, T given) {
  switch (end) {
  case End::NotAKnot:
    return closed(slope, h, fma(T(-3) * h, next_d, T(0.5) * s), next_d);
  case End::First: {
    T const d = fma(T(0.5), (given - slope) / (h * h), T(0.25) * (s / h));
    return {given, fma(T(-3) * h, d, T(0.5) * s), d};
  }
  case End::Second:
    return closed(slope, h, T(0.5) * given, (s - given) / (T(6) * h));
  case End::Periodic:
    return {fma(h * T(-1.0 / 6), fma(T(2), given, s), slope), T(0.5) * given, (s - given) / (T(6) * h)};
  default:
    return closed(slope, h, T(0), s / (T(6) * h));
  }
}

template <class T>
Cubic<T> last_cell(End end, T h, T slope, T s, T before_d, T given) {
  T const c = T(0.5) * s;
  switch (end) {
  case End::NotAKnot:
    return closed(slope, h, c, before_d);
  case End::First:
    return closed(slope, h, c, ((given - slope) / h - c) / (T(2) * h));
  case End::Second:
    return closed(slope, h, c, (given - s) / (T(6) * h));
  case End::Periodic:
    return {fma(h * T(-1.0 / 6), fma(T(2), s, given), slope), c, (given - s) / (T(6) * h)};
  default:
    return closed(slope, h, c, -c / (T(3) * h));
  }
}

template <class T, class CellsT>
void build(DFTask const& task, CellsT const& cells, Ends ends, int32_t function, T* room) {
  ptrdiff_t const n = break_count(task);
  T const* const y = contiguous_values(values_of<T>(task, function), 0, n, room);
  T* const out = coefficients_of<T>(task, function);
  auto const* inner = static_cast<T const*>(task.innerCond);
  auto const* bound = static_cast<T const*>(task.boundCond);

  for_lanes<T>(1, n - 2, [&](auto lane, ptrdiff_t i) {
    using V = decltype(lane);
    V const s0 = load<V>(inner + i - 1), s1 = load<V>(inner + i), y0 = load<V>(y + i);
    V const h = cells.template width<V>(i), inverse = cells.template inverse_width<V>(i);
    V const sixth = broadcast<V>(T(1.0 / 6));
    V const slope = (load<V>(y + i + 1) - y0) * inverse;
    V const b = fma(-(h * sixth), fma(broadcast<V>(2), s0, s1), slope);
    store_columns(out + 4 * i, y0, b, broadcast<V>(T(0.5)) * s0, (s1 - s0) * inverse * sixth);
  });
  auto put = [&](ptrdiff_t i, Cubic<T> const& cubic) {
    store_columns(out + 4 * i, y[i], cubic.b, cubic.c, cubic.d);
  };
  auto slope = [&](ptrdiff_t i) { return (y[i + 1] - y[i]) * cells.template inverse_width<T>(i); };
  bool const given = ends.left >= End::First;
  put(0,
      first_cell(ends.left, cells.template width<T>(0), slope(0), inner[0], out[7], given ? bound[0] : T(0)));
  ptrdiff_t const right = ends.left == End::Periodic ? 0 : 1;
  put(n - 2, last_cell(ends.right, cells.template width<T>(n - 2), slope(n - 2), inner[n - 3],
                       out[4 * (n - 3) + 3], given ? bound[right] : T(0)));
}

template <class T>
int32_t from_second_derivatives(DFTask const& task, int64_t, DFThreader const*) {
  if (task.breakCount < 3) return DFStatusBadBreakCount;
  if (!is_known_layout(task.valueHint)) return DFStatusBadValueHint;
  Ends ends;
  if (int32_t const status = decode_ends<T>(task, false, ends)) return status;
  if (!task.innerCond) return DFStatusNullInnerCond;
  if (ends.left == End::Periodic && !task.boundCond) return DFStatusNullBoundCond;
  if (int32_t const status = check_rows(task)) return status;
  // The cubic through all of both cells does not exist.
  if (ends.left == End::NotAKnot && task.breakCount == 3) ends = {End::Free, End::Free};
  Scratch<T> const room(is_interleaved(task) ? static_cast<size_t>(task.breakCount) : 0);
  if (!room) return DFStatusNoMemory;
  if (ends.left == End::Periodic && !periods_match<T>(task)) return DFStatusPeriodMismatch;
  return with_partition<T>(task, [&](auto const& cells) {
    for (int32_t j = 0; j < function_count(task); ++j) build(task, cells, ends, j, room.get());
    return static_cast<int32_t>(DFStatusOk);
  });
}

} // namespace
} // namespace orv::fitting

ORV_SCALED_CONSTRUCTION(DFDefaultCubicSpline, orv::fitting::from_second_derivatives, 4, -2)
