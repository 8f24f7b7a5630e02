#include "streams/processor.h"

#include "frame/core.h"
#include "frame/export.h"

#include <atomic>
#include <cpuid.h>

namespace {

struct Leaf1 {
  uint32_t ecx, edx;
};
Leaf1 leaf1() {
  static constinit std::atomic<uint64_t> kept{0};
  uint64_t v = kept.load(std::memory_order_relaxed);
  if (!v) {
    unsigned eax, ebx, ecx = 0, edx = 0;
    __get_cpuid(1, &eax, &ebx, &ecx, &edx);
    v = static_cast<uint64_t>(edx) << 32 | ecx;
    kept.store(v, std::memory_order_relaxed);
  }
  return {static_cast<uint32_t>(v), static_cast<uint32_t>(v >> 32)};
}

} // namespace

ORV_EXPORT int32_t __rnqCPUisAES() {
  auto const l = leaf1();
  return (l.edx >> 26 & 1) && (l.ecx >> 25 & 1);
}
ORV_EXPORT int32_t __rnqCPUisRDRAND() { return leaf1().ecx >> 30 & 1; }
ORV_EXPORT int32_t __rnqCPUisVAES() {
  static constinit std::atomic<int32_t> kept{-1};
  int32_t v = kept.load(std::memory_order_relaxed);
  if (v < 0) {
    v = orv::core::cpuisqvx() != 0;
    kept.store(v, std::memory_order_relaxed);
  }
  return v;
}
