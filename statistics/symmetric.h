// Symmetric matrices between their storages and full ones.
#pragma once
#include "statistics/task.h"

namespace orv::statistics {

// value(i, j), i not above j, to the places of selected variables.
template <class T, class F, class Selected>
void write_symmetric(T* to, Packing packed, ptrdiff_t p, Selected const& selected, F value) {
  for (ptrdiff_t j = 0; j < p; ++j) {
    if (!selected(j)) continue;
    for (ptrdiff_t i = 0; i <= j; ++i) {
      if (!selected(i)) continue;
      T const x = value(i, j);
      to[place(packed, p, i, j)] = x;
      if (packed == Packing::full) to[place(packed, p, j, i)] = x;
    }
  }
}
struct EveryVariable {
  bool operator()(ptrdiff_t) const { return true; }
};
template <class T, class F>
void write_symmetric(T* to, Packing packed, ptrdiff_t p, F value) {
  write_symmetric(to, packed, p, EveryVariable{}, value);
}

inline size_t packed_size(Packing packed, ptrdiff_t p) {
  size_t const order = static_cast<size_t>(p);
  return packed == Packing::full ? order * order : order * (order + 1) / 2;
}

// Element of a matrix in either triangle.
template <class T>
T symmetric_element(T const* a, Packing packed, ptrdiff_t p, ptrdiff_t i, ptrdiff_t j) {
  return i <= j ? a[place(packed, p, i, j)] : a[place(packed, p, j, i)];
}

} // namespace orv::statistics
