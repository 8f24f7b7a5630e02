#include "core/export.h"
#include "orv/core.h"

#include <atomic>
#include <cstdlib>
#ifdef _WIN32
#  include <malloc.h>
#endif

namespace {
std::atomic<int64_t> requests{0};
std::atomic<int64_t> failing{0};
std::atomic<int64_t> in_use{0};

// Every request is counted, so that a test can walk a failure through all of them.
bool must_fail() {
  int64_t const k = requests.fetch_add(1, std::memory_order_relaxed) + 1;
  return k == failing.load(std::memory_order_relaxed);
}
} // namespace

ORV_CORE_EXPORT void* orv_serv_allocate(size_t size, size_t alignment) {
  if (must_fail()) return nullptr;
  if (alignment < sizeof(void*)) alignment = sizeof(void*);
#ifdef _WIN32
  void* block = _aligned_malloc(size ? size : 1, alignment);
#else
  void* block = nullptr;
  if (posix_memalign(&block, alignment, size ? size : 1) != 0) block = nullptr;
#endif
  if (block) in_use.fetch_add(1, std::memory_order_relaxed);
  return block;
}

ORV_CORE_EXPORT void orv_serv_deallocate(void* block) {
  if (!block) return;
  in_use.fetch_sub(1, std::memory_order_relaxed);
#ifdef _WIN32
  _aligned_free(block);
#else
  std::free(block);
#endif
}

ORV_CORE_EXPORT int64_t orv_serv_fail_allocation(int64_t k) {
  int64_t const made = requests.exchange(0, std::memory_order_relaxed);
  failing.store(k, std::memory_order_relaxed);
  return made;
}

ORV_CORE_EXPORT int64_t orv_serv_blocks_in_use(void) { return in_use.load(std::memory_order_relaxed); }
