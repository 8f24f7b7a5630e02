// An array that lies against an unmapped page, at its end or at its start.
#pragma once
#include <cstddef>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace orv::test {

template <class T> class Guarded {
public:
  enum Side { at_end, at_start };
  Guarded(std::size_t n, Side side) {
    std::size_t const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t const inner = (n * sizeof(T) + page) / page * page;
    size_ = inner + 2 * page;
    base_ = static_cast<char*>(mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED) throw std::bad_alloc();
    mprotect(base_, page, PROT_NONE);
    mprotect(base_ + page + inner, page, PROT_NONE);
    data_ = reinterpret_cast<T*>(side == at_end ? base_ + page + inner - n * sizeof(T) : base_ + page);
  }
  ~Guarded() { munmap(base_, size_); }
  Guarded(Guarded const&) = delete;
  Guarded& operator=(Guarded const&) = delete;
  T* data() { return data_; }
  T& operator[](std::size_t i) { return data_[i]; }

private:
  char* base_;
  std::size_t size_;
  T* data_;
};

} // namespace orv::test
