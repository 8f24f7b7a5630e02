#include "frontend/statistics_threads.h"

#include "frontend/thread_pool.h"

#include <algorithm>
#include <atomic>
#include <mutex>

namespace orv {
namespace {

thread_local int limit = 0;

int32_t max_threads() {
  int const all = ThreadPool::common().threads();
  return limit > 0 ? std::min(limit, all) : all;
}

// Thread indices are below the count that was asked for, as callers keep a buffer for each.
void items(intptr_t count, intptr_t threads, void* context, SSWorker worker, bool tell_threads) {
  if (threads <= 0) threads = max_threads();
  std::atomic<intptr_t> next{0};
  intptr_t const told = tell_threads ? threads : 0;
  ThreadPool::common().run(static_cast<int>(std::min(threads, count)), [&](int thread, int) {
    for (intptr_t i; (i = next.fetch_add(1, std::memory_order_relaxed)) < count;)
      worker(i, thread, told, context);
  });
}

void parallel_for(intptr_t count, intptr_t threads, void* context, SSWorker worker) {
  items(count, threads, context, worker, false);
}
void parallel_for_chunks(intptr_t count, intptr_t threads, void* context, SSWorker worker) {
  items(count, threads, context, worker, true);
}
void parallel_region(intptr_t threads, void* context, SSWorker worker) {
  if (threads <= 0) threads = max_threads();
  ThreadPool::common().run(static_cast<int>(threads), [&](int t, int) { worker(t, 0, threads, context); });
}
void serialized(intptr_t item, intptr_t thread, intptr_t threads, void* context, SSWorker function) {
  static std::mutex mutex;
  std::lock_guard lock(mutex);
  function(item, thread, threads, context);
}

} // namespace

SSThreadServices const& statistics_threads(int threads) {
  static constexpr SSThreadServices services{parallel_for, parallel_for_chunks, parallel_region, serialized,
                                             max_threads};
  limit = threads;
  return services;
}

} // namespace orv
