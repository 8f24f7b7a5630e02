// Sorting and selection in a plain array, as exports.
#include "frame/export.h"
#include "statistics/quantiles.h"

namespace orv::statistics {
namespace {

template <class T>
int32_t sort_step(intptr_t n, T* x, intptr_t stride) {
  if (n < 2) return 0;
  if (stride == 1) {
    sort_reals(x, n);
    return 0;
  }
  Scratch<Key<T>> keys(static_cast<size_t>(n));
  if (!keys) return SSOutOfMemory;
  Column<T> const column{x, stride};
  column.keys_to(keys.get(), n);
  sort_keys(keys.get(), n);
  for (intptr_t i = 0; i < n; ++i) column[i] = real_of<T>(keys[i]);
  return 0;
}

template <class T>
T select(intptr_t n, T* x, intptr_t k) {
  if (n < 1) return std::numeric_limits<T>::quiet_NaN();
  ptrdiff_t const rank = std::clamp<ptrdiff_t>(k, 0, n - 1);
  Key<T>* const keys = reinterpret_cast<Key<T>*>(x); // read and written as bytes only
  flip_all<T>(keys, n);
  select_keys(keys, n, &rank, 1);
  flip_all<T>(keys, n);
  return x[rank];
}

} // namespace
} // namespace orv::statistics

#define QSORT(t, T)                                                                                          \
  ORV_EXPORT int32_t __rnq##t##QSort(intptr_t count, T* array) {                                             \
    return orv::statistics::sort_step(count, array, 1);                                                      \
  }                                                                                                          \
  ORV_EXPORT int32_t __rnq##t##QSortStep(intptr_t count, T* array, intptr_t stride) {                        \
    return orv::statistics::sort_step(count, array, stride);                                                 \
  }                                                                                                          \
  ORV_EXPORT T __rnq##t##QSortSelect(intptr_t count, T* array, intptr_t k) {                                 \
    return orv::statistics::select(count, array, k);                                                         \
  }
QSORT(d, double)
QSORT(s, float)
