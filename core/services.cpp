// Locks, environment, exit, bounded copy, processor test.
#include "core/export.h"
#include "orv/core.h"

#include <atomic>
#include <cpuid.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <thread>
#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include <windows.h>
#endif

ORV_CORE_EXPORT void orv_serv_lock(int32_t* word) {
  std::atomic_ref<int32_t> lock(*word);
  for (int spins = 0; lock.exchange(1, std::memory_order_acquire) != 0;) {
    if (++spins < 64)
      __builtin_ia32_pause();
    else
      std::this_thread::yield();
  }
}

ORV_CORE_EXPORT void orv_serv_unlock(int32_t* word) {
  std::atomic_ref<int32_t>(*word).store(0, std::memory_order_release);
}

// On Windows the system's environment: the C runtime has a copy of its own, which what a program sets later
// doesn't reach.
ORV_CORE_EXPORT int orv_serv_getenv(const char* name, char* buffer, int capacity) {
  if (capacity < 1) return -1;
#ifdef _WIN32
  DWORD const room = GetEnvironmentVariableA(name, nullptr, 0);
  if (room == 0) return -1;
  std::unique_ptr<char[]> const text(new (std::nothrow) char[room]);
  if (!text || GetEnvironmentVariableA(name, text.get(), room) >= room) return -1;
  const char* const value = text.get();
#else
  const char* const value = std::getenv(name);
  if (!value) return -1;
#endif
  size_t length = std::strlen(value);
  if (length > static_cast<size_t>(capacity) - 1) length = static_cast<size_t>(capacity) - 1;
  std::memcpy(buffer, value, length);
  buffer[length] = 0;
  return static_cast<int>(length);
}

ORV_CORE_EXPORT void orv_serv_exit(int code) {
  std::fflush(nullptr);
  std::_Exit(code);
}

ORV_CORE_EXPORT int orv_serv_memcpy_s(void* destination, size_t size, const void* source, size_t count) {
  if (count == 0) return 0;
  if (!destination || !source) return 22;
  if (count > size) return 34;
  std::memcpy(destination, source, count);
  return 0;
}

ORV_CORE_EXPORT int orv_serv_cpuisqvx(void) {
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return 0;
  constexpr unsigned os_keeps_state = 1u << 27, avx = 1u << 28;
  if ((c & (os_keeps_state | avx)) != (os_keeps_state | avx)) return 0;
  unsigned low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  if ((low & 6) != 6) return 0;
  if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) return 0;
  constexpr unsigned avx2 = 1u << 5, vaes = 1u << 9;
  return (b & avx2) && (c & vaes);
}
