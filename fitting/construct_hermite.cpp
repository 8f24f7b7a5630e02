// Hermite's cubic: the slopes at the inner breaks are given.
#include "fitting/construct_local.h"
#include "fitting/construct_scale.h"

namespace orv::fitting {
namespace {

template <class T>
struct Hermite {
  static constexpr int32_t minimum_breaks = 3;
  static constexpr ptrdiff_t reach = 1;
  static constexpr bool none_is_free = false;
  static int32_t check(DFTask const& task, Ends ends) {
    if (!task.innerCond) return DFStatusNullInnerCond;
    return ends.left == End::Periodic && !task.boundCond ? static_cast<int32_t>(DFStatusNullBoundCond)
                                                         : static_cast<int32_t>(DFStatusOk);
  }
  explicit Hermite(DFTask const& task)
      : inner(static_cast<T const*>(task.innerCond)), bound(static_cast<T const*>(task.boundCond)) {}

  template <class V, class CellsT>
  ORV_INLINE V slope(CellsT const&, Row<T> const&, ptrdiff_t i) const {
    return load<V>(inner + i - 1);
  }
  template <class CellsT>
  T periodic(CellsT const&, Values<T>, ptrdiff_t, bool) const {
    return bound[0];
  }

  T const *inner, *bound;
};

template <class T>
int32_t hermite(DFTask const& task, int64_t, DFThreader const* threader) {
  return construct_local<T, Hermite<T>>(task, threader);
}

} // namespace
} // namespace orv::fitting

ORV_SCALED_CONSTRUCTION(DFHermiteCubicSpline, orv::fitting::hermite, 4, -1)
