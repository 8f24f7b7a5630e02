// The one place where construction takes reciprocals of cell widths.
#pragma once
#include "fitting/lanes.h"

namespace orv::fitting {

template <class V>
ORV_INLINE V reciprocal(V v) {
  return broadcast<V>(1) / v;
}

} // namespace orv::fitting
