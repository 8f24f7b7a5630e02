// An array that lies against an unmapped page, at its end or at its start.
#pragma once
#include <cstddef>
#include <cstring>
#include <new>
#include <vector>
#ifdef _WIN32
#  include <windows.h>
#else
#  include <sys/mman.h>
#endif

namespace orv::test {

template <class T>
class Guarded {
 public:
  enum Side { at_end, at_start };
  Guarded(std::size_t n, Side side) {
    std::size_t const page = 4096, inner = (n * sizeof(T) + page) / page * page;
    size_ = inner + 2 * page;
#ifdef _WIN32
    base_ = static_cast<char*>(VirtualAlloc(nullptr, size_, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS));
    if (!base_) throw std::bad_alloc();
    DWORD before;
    VirtualProtect(base_ + page, inner, PAGE_READWRITE, &before);
#else
    base_ = static_cast<char*>(mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED) throw std::bad_alloc();
    mprotect(base_ + page, inner, PROT_READ | PROT_WRITE);
#endif
    data_ = reinterpret_cast<T*>(side == at_end ? base_ + page + inner - n * sizeof(T) : base_ + page);
  }
  explicit Guarded(std::vector<T> const& values, bool front = false)
      : Guarded(values.size(), front ? at_start : at_end) {
    if (!values.empty()) std::memcpy(data_, values.data(), values.size() * sizeof(T));
  }
  ~Guarded() {
#ifdef _WIN32
    VirtualFree(base_, 0, MEM_RELEASE);
#else
    munmap(base_, size_);
#endif
  }
  Guarded(Guarded const&) = delete;
  Guarded& operator=(Guarded const&) = delete;
  T* data() const { return data_; }
  T& operator[](std::size_t i) { return data_[i]; }

 private:
  char* base_;
  std::size_t size_;
  T* data_;
};

} // namespace orv::test
