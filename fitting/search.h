// Cell search: the choice of the method and the kernels behind it.
#pragma once
#include "fitting/lanes.h"
#include "fitting/task.h"
#include "fitting/threads.h"

namespace orv::fitting {

constexpr int32_t no_search = 7; // the caller's cells are used

template <class T>
using SearchKernel = int32_t (*)(typename Types<T>::SearchBlock const*);

// The seven kernels by method number, for each consumer.
template <class T>
SearchKernel<T> search_kernel(int32_t method);
template <class T>
SearchKernel<T> search_kernel_32(int32_t method);

// The cell of a single site, as every method but a callback finds it.
template <class T>
int32_t cell_of(DFTask const& task, T site);

// The method for a list of sites, or DFStatusBadDataHint.
template <class T>
int32_t choose_method(DFTask const& task, int64_t site_hint, T const* data_hint, bool has_callback);

// The parts of a search block that are the same for all blocks of a list.
template <class T>
typename Types<T>::SearchBlock search_constants(DFTask const& task, int32_t method, T const* data_hint,
                                                typename Types<T>::SearchCallback callback, void* parameter);

inline bool has_user_method(int32_t method) {
  return method == DFSearchUser || method == DFSearchUniformUser;
}
// Cells are as wide as the caller's integers only where the caller's callback makes them.
inline bool wide_cells(DFTask const& task, int32_t method) {
  return task.wideIndices != 0 && has_user_method(method);
}

// Sites given by their ends, or by an array.
template <class T>
struct SiteList {
  T const* sites;
  T step;
  bool spread;

  SiteList(T const* given, int64_t hint, int64_t count)
      : sites(given), step(0), spread(hint == DFSitesUniform && count > 0) {
    if (spread && count > 1) step = (given[1] - given[0]) / static_cast<T>(count - 1);
  }
  // Sites [from, from + count): in place, or spread out in `room`.
  T const* at(int64_t from, int64_t count, T* room) const {
    if (!spread) return sites + from;
    for (int64_t i = 0; i < count; ++i) room[i] = fma(static_cast<T>(from + i), step, sites[0]);
    return room;
  }
};

} // namespace orv::fitting
