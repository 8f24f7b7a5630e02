// Akima's cubic: the slope at a break is a mean of the slopes on both sides, weighted by how much the slope
// changes on the other side (H. Akima, Journal of the ACM 17, 1970).
#include "fitting/construct_local.h"

namespace orv::fitting {
namespace {

template <class T>
struct Akima {
  static constexpr int32_t minimum_breaks = 5;
  static constexpr ptrdiff_t reach = 2;
  static constexpr bool none_is_free = true;
  static int32_t check(DFTask const&, Ends) { return DFStatusOk; }
  explicit Akima(DFTask const&) {}

  // The mean of the slopes before and after; `before` and `after` are the changes of slope on either side.
  template <class V>
  ORV_INLINE static V mean(V before, V after, V slope0, V slope1) {
    V const sum = after + before;
    V const plain = (slope0 + slope1) * broadcast<V>(T(0.5));
    V const weighted = fma(after, slope0, before * slope1) / sum;
    return if_less(sum, broadcast<V>(T(1e-10)), plain, weighted);
  }
  template <class V, class CellsT>
  ORV_INLINE V slope(CellsT const&, Row<T> const& row, ptrdiff_t i) const {
    V const s0 = row.template slope<V>(i - 2), s1 = row.template slope<V>(i - 1),
            s2 = row.template slope<V>(i), s3 = row.template slope<V>(i + 1);
    return mean<V>(absolute(s1 - s0), absolute(s3 - s2), s1, s2);
  }
  // At the first and last inner break the change beyond the end counts as the break's own.
  template <class V>
  V near_end(Row<T> const& row, ptrdiff_t i, ptrdiff_t n) const {
    V const s1 = row.template slope<V>(i - 1), s2 = row.template slope<V>(i);
    V const own = absolute(s2 - s1);
    V const before = i == 1 ? own : absolute(s1 - row.template slope<V>(i - 2));
    V const after = i == n - 2 ? own : absolute(row.template slope<V>(i + 1) - s2);
    return mean<V>(before, after, s1, s2);
  }
  template <class CellsT>
  T periodic(CellsT const& cells, Values<T> y, ptrdiff_t n, bool left) const {
    T const first = cell_slope(cells, y, 0), last = cell_slope(cells, y, n - 2);
    T const at_start = absolute(cell_slope(cells, y, 1) - first);
    T const at_end = absolute(last - cell_slope(cells, y, n - 3));
    return left ? mean<T>(at_end, at_start, last, first) : mean<T>(at_start, at_end, first, last);
  }
};

template <class T>
int32_t akima(DFTask const& task, int64_t, DFThreader const* threader) {
  return construct_local<T, Akima<T>>(task, threader);
}

} // namespace
} // namespace orv::fitting

ORV_CONSTRUCTION(DFAkimaCubicSpline, orv::fitting::akima)
