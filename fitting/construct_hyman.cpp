// Hyman's cubic: Bessel slopes, set to zero at local extrema and limited to three times the smaller of the
// neighbouring slopes, which keeps monotone data monotone (J. M. Hyman, SIAM J. Sci. Stat. Comput. 4, 1983).
#include "fitting/construct_local.h"
#include "fitting/construct_scale.h"

namespace orv::fitting {
namespace {

template <class T>
struct Hyman {
  static constexpr int32_t minimum_breaks = 4;
  static constexpr ptrdiff_t reach = 1;
  static constexpr bool none_is_free = false;
  static int32_t check(DFTask const&, Ends) { return DFStatusOk; }
  explicit Hyman(DFTask const&) {}

  template <class V, class CellsT>
  ORV_INLINE V slope(CellsT const& cells, Row<T> const& row, ptrdiff_t i) const {
    V const s0 = row.template slope<V>(i - 1), s1 = row.template slope<V>(i);
    V const zero = broadcast<V>(0);
    // Above 0 where the signs agree; the product of small slopes would be 0, and NaN stays NaN.
    V const agree = s0 * with_sign(broadcast<V>(1), s1) + (s1 - s1);
    V const t = if_not_above(agree, zero, zero, bessel_slope<V>(cells, row, i));
    V const limit = broadcast<V>(3) * smaller(absolute(s0), absolute(s1));
    return with_sign(smaller(absolute(t), limit), t) + zero; // +0 at flat neighbours
  }
  template <class CellsT>
  T periodic(CellsT const& cells, Values<T> y, ptrdiff_t n, bool) const {
    return bessel_periodic(cells, y, n);
  }
};

template <class T>
int32_t hyman(DFTask const& task, int64_t, DFThreader const* threader) {
  return construct_local<T, Hyman<T>>(task, threader);
}

} // namespace
} // namespace orv::fitting

ORV_SCALED_CONSTRUCTION(DFHymanCubicSpline, orv::fitting::hyman, 4, 0)
