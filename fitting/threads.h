// Running loops through the caller's thread services, and scratch memory that frees itself.
#pragma once
#include "frame/core.h"
#include "orv/fitting.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace orv::fitting {

inline int32_t max_threads(DFThreader const* threader) {
  return threader && threader->parallelFor && threader->maxThreads ? std::max(threader->maxThreads(), 1) : 1;
}

// body(iteration, thread) for each iteration; on the calling thread when there are no services.
template <class Body>
void parallel_for(DFThreader const* threader, int32_t iterations, int32_t threads, Body const& body) {
  if (threader && threader->parallelFor) {
    threader->parallelFor(iterations, threads, const_cast<Body*>(&body),
                          [](int32_t iteration, int32_t thread, void*, void* context) {
                            (*static_cast<Body const*>(context))(iteration, thread);
                          });
  } else {
    for (int32_t i = 0; i < iterations; ++i) body(i, 0);
  }
}

// A size that no address space holds counts as a failed allocation.
template <class T>
T* allocate_array(uint64_t count) {
  if (count > PTRDIFF_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(core::allocate(static_cast<size_t>(std::max<uint64_t>(count, 1)) * sizeof(T)));
}

template <class T>
class Scratch {
 public:
  explicit Scratch(uint64_t count) : data_(allocate_array<T>(count)) {}
  ~Scratch() { core::deallocate(data_); }
  Scratch(Scratch const&) = delete;
  Scratch& operator=(Scratch const&) = delete;
  explicit operator bool() const { return data_ != nullptr; }
  T* get() const { return data_; }

 private:
  T* data_;
};

// A buffer that is on the stack up to `Room` elements and allocated above.
template <class T, size_t Room>
class SmallScratch {
 public:
  explicit SmallScratch(uint64_t count) {
    if (count > Room) data_ = allocated_ = allocate_array<T>(count);
  }
  ~SmallScratch() { core::deallocate(allocated_); }
  SmallScratch(SmallScratch const&) = delete;
  SmallScratch& operator=(SmallScratch const&) = delete;
  explicit operator bool() const { return data_ != nullptr; }
  T* get() const { return data_; }

 private:
  T room_[Room];
  T* allocated_ = nullptr;
  T* data_ = room_;
};

} // namespace orv::fitting
