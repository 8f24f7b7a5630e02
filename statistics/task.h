// What every entry of the statistics does with a task: read the caller's integers, walk selected variables,
// find the place of an element in a symmetric matrix, hold scratch memory.
#pragma once
#include "frame/core.h"
#include "orv/statistics.h"

#include <cstddef>
#include <cstdint>

namespace orv::statistics {

// The low half of an integer, which is all that is used of it; the tests for positive values look at both.
inline int32_t integer(SSTask const&, void const* p) { return *static_cast<int32_t const*>(p); }
inline int64_t both_halves(SSTask const& task, void const* p) {
  if (!task.wideIntegers) return *static_cast<int32_t const*>(p);
  int64_t wide;
  __builtin_memcpy(&wide, p, sizeof wide);
  return wide;
}

// An array of integers of either width.
class Integers {
 public:
  Integers(SSTask const& task, void const* p)
      : p_(static_cast<int32_t const*>(p)), stride_(task.wideIntegers ? 2 : 1) {}
  explicit operator bool() const { return p_ != nullptr; }
  int32_t operator[](ptrdiff_t i) const { return p_[i * stride_]; }

 private:
  int32_t const* p_;
  ptrdiff_t stride_;
};

// Which variables are processed.
class Selection {
 public:
  explicit Selection(SSTask const& task) : flags_(task, task.indices) {}
  bool all() const { return !flags_; }
  bool operator()(ptrdiff_t j) const { return all() || flags_[j] != 0; }

 private:
  Integers flags_;
};

// Place of (i, j), i <= j, in a symmetric matrix of order p; a full one has (j, i) as well.
enum class Packing { full, lower, upper };
inline Packing packing(int32_t storage) {
  return storage & SSMatrixUpperPacked ? Packing::upper
                                       : (storage & SSMatrixLowerPacked ? Packing::lower : Packing::full);
}
inline ptrdiff_t place(Packing packing, ptrdiff_t p, ptrdiff_t i, ptrdiff_t j) {
  switch (packing) {
  case Packing::upper:
    return i * p - i * (i + 1) / 2 + j;
  case Packing::lower:
    return j * (j + 1) / 2 + i;
  default:
    return i * p + j;
  }
}

// As many elements as the product of some counts says, or none, also if the product doesn't fit: test before
// use.
template <class T>
class Scratch {
 public:
  Scratch() = default;
  template <class... Counts>
  explicit Scratch(size_t first, Counts... more) {
    make(first, more...);
  }
  ~Scratch() { core::deallocate(p_); }
  Scratch(Scratch const&) = delete;
  Scratch& operator=(Scratch const&) = delete;
  template <class... Counts>
  bool make(size_t first, Counts... more) {
    core::deallocate(p_);
    size_t bytes = sizeof(T);
    bool const large = (__builtin_mul_overflow(bytes, first, &bytes) | ... |
                        __builtin_mul_overflow(bytes, static_cast<size_t>(more), &bytes));
    p_ = large ? nullptr : static_cast<T*>(core::allocate(bytes));
    return p_ != nullptr;
  }
  explicit operator bool() const { return p_ != nullptr; }
  T* get() const { return p_; }
  T& operator[](ptrdiff_t i) const { return p_[i]; }

 private:
  T* p_ = nullptr;
};

// Has the task call `function` when it is deleted. False if the list is full.
bool add_cleanup(SSTask& task, void (*function)(SSTask*));

} // namespace orv::statistics
