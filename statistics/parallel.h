// Work on the threads of the caller's services, by closures; without services, or with one thread, on the caller's.
#pragma once
#include "orv/statistics.h"

#include <algorithm>
#include <cstddef>

namespace orv::statistics {

inline ptrdiff_t max_threads(SSThreadServices const* services) {
  return services ? std::max<ptrdiff_t>(1, services->maxThreads()) : 1;
}

// work(item, thread) for each item.
template <class F>
void for_each(SSThreadServices const* services, ptrdiff_t items, ptrdiff_t threads, F& work) {
  if (!services || threads <= 1 || items <= 1) {
    for (ptrdiff_t i = 0; i < items; ++i) work(i, ptrdiff_t{0});
    return;
  }
  SSWorker const worker = [](intptr_t item, intptr_t thread, intptr_t, void* context) {
    (*static_cast<F*>(context))(static_cast<ptrdiff_t>(item), static_cast<ptrdiff_t>(thread));
  };
  services->parallelFor(items, threads, &work, worker);
}

// work(first, last, thread) for a range of rows on each thread.
template <class F>
void for_ranges(SSThreadServices const* services, ptrdiff_t n, ptrdiff_t threads, F& work) {
  if (!services || threads <= 1) {
    work(ptrdiff_t{0}, n, ptrdiff_t{0});
    return;
  }
  struct Context {
    F& work;
    ptrdiff_t n;
  } context{work, n};
  SSWorker const worker = [](intptr_t thread, intptr_t, intptr_t count, void* p) {
    auto& c = *static_cast<Context*>(p);
    ptrdiff_t const share = (c.n + count - 1) / count, first = std::min<ptrdiff_t>(c.n, thread * share);
    c.work(first, std::min(c.n, first + share), static_cast<ptrdiff_t>(thread));
  };
  services->parallelRegion(threads, &context, worker);
}

} // namespace orv::statistics
