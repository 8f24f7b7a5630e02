// Bessel's cubic: the slope at a break is that of the parabola through the break and its neighbours.
#include "fitting/construct_local.h"
#include "fitting/construct_scale.h"

namespace orv::fitting {
namespace {

template <class T>
struct Bessel {
  static constexpr int32_t minimum_breaks = 4;
  static constexpr ptrdiff_t reach = 1;
  static constexpr bool none_is_free = false;
  static int32_t check(DFTask const&, Ends) { return DFStatusOk; }
  explicit Bessel(DFTask const&) {}

  template <class V, class CellsT>
  ORV_INLINE V slope(CellsT const& cells, Row<T> const& row, ptrdiff_t i) const {
    return bessel_slope<V>(cells, row, i);
  }
  template <class CellsT>
  T periodic(CellsT const& cells, Values<T> y, ptrdiff_t n, bool) const {
    return bessel_periodic(cells, y, n);
  }
};

template <class T>
int32_t bessel(DFTask const& task, int64_t, DFThreader const* threader) {
  return construct_local<T, Bessel<T>>(task, threader);
}

} // namespace
} // namespace orv::fitting

ORV_SCALED_CONSTRUCTION(DFBesselCubicSpline, orv::fitting::bessel, 4, 0)
