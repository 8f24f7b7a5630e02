#include "frontend/fitting_threads.h"

#include "frontend/thread_pool.h"

#include <algorithm>
#include <atomic>

namespace orv {
namespace {

thread_local int limit = 0;

int32_t max_threads() {
  int const all = ThreadPool::common().threads();
  return limit > 0 ? std::min(limit, all) : all;
}

// Thread indices are below the count that was asked for, as callers keep a buffer for each.
void parallel_for(int32_t iterations, int32_t threads, void* context, DFThreadBody body) {
  std::atomic<int32_t> next{0};
  ThreadPool::common().run(std::min(std::max(threads, 1), iterations), [&](int thread, int) {
    for (int32_t i; (i = next.fetch_add(1, std::memory_order_relaxed)) < iterations;)
      body(i, thread, nullptr, context);
  });
}

} // namespace

DFThreader const& fitting_threads(int threads) {
  static constexpr DFThreader threader{parallel_for, {}, max_threads};
  limit = threads;
  return threader;
}

} // namespace orv
