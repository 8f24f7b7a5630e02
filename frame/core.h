// Late binding of the core library: each service is looked up at its first call.
//
//   void* block = core::allocate(bytes, 128);   // null if there is no memory, or no core library
//   core::deallocate(block);
//
// A service other than the allocator that cannot be found ends the process with code 3, after a line on standard
// error; that line comes for the allocator too.
#pragma once
#include "orv/core.h"
#include "orv/core_linalg.h"

#include <atomic>
#include <cstddef>

namespace orv::core {

void* find_service(const char* name); // null if missing, which one line on standard error then has said
[[noreturn]] void missing_service();

template <class Function>
class Service;

template <class R, class... A>
class Service<R(A...)> {
 public:
  constexpr explicit Service(const char* name) : name_(name) {}
  R operator()(A... arguments) const { return address()(arguments...); }

  // The function itself, for a caller that has something to do when it is missing.
  auto find() const -> R (*)(A...) {
    auto* f = address_.load(std::memory_order_relaxed);
    if (!f) {
      f = reinterpret_cast<R (*)(A...)>(find_service(name_));
      address_.store(f, std::memory_order_relaxed);
    }
    return f;
  }

 private:
  auto address() const -> R (*)(A...) {
    auto* f = find();
    if (!f) missing_service();
    return f;
  }
  const char* name_;
  mutable std::atomic<R (*)(A...)> address_{nullptr};
};

#define ORV_CORE_SERVICE(short_name, name)                                                                   \
  inline constinit Service<decltype(name)> short_name { #name }

ORV_CORE_SERVICE(allocate_service, orv_serv_allocate);
ORV_CORE_SERVICE(deallocate_service, orv_serv_deallocate);
ORV_CORE_SERVICE(lock, orv_serv_lock);
ORV_CORE_SERVICE(unlock, orv_serv_unlock);
ORV_CORE_SERVICE(getenv, orv_serv_getenv);
ORV_CORE_SERVICE(exit, orv_serv_exit);
ORV_CORE_SERVICE(memcpy_s, orv_serv_memcpy_s);
ORV_CORE_SERVICE(cpuisqvx, orv_serv_cpuisqvx);
ORV_CORE_SERVICE(load_thread_fun, orv_serv_load_thread_fun);

// A missing allocator counts as an allocation that failed.
inline void* allocate(std::size_t size, std::size_t alignment = 128) {
  auto* f = allocate_service.find();
  return f ? f(size, alignment) : nullptr;
}
inline void deallocate(void* block) {
  if (block) deallocate_service(block);
}

// Message 1, `number`, with its arguments.
template <class... A>
void print(int number, A... arguments) {
  static constinit std::atomic<decltype(&orv_serv_print)> address{nullptr};
  auto* f = address.load(std::memory_order_relaxed);
  if (!f) {
    f = reinterpret_cast<decltype(&orv_serv_print)>(find_service("orv_serv_print"));
    if (!f) missing_service();
    address.store(f, std::memory_order_relaxed);
  }
  f(1, number, static_cast<int>(sizeof...(A)), arguments...);
}

class Lock {
 public:
  explicit Lock(int32_t& word) : word_(word) { lock(&word_); }
  ~Lock() { unlock(&word_); }
  Lock(Lock const&) = delete;
  Lock& operator=(Lock const&) = delete;

 private:
  int32_t& word_;
};

} // namespace orv::core
