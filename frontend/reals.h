// Arrays whose size comes from the caller.
#pragma once
#include "frontend/error.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <new>
#include <vector>

namespace orv {

// Zeros, as many as the product of `sizes`. Throws Error that names `what` where memory does not suffice.
inline std::vector<double> reals(std::initializer_list<std::size_t> sizes, std::string const& what) {
  constexpr std::size_t most = PTRDIFF_MAX / sizeof(double);
  std::size_t count = 1;
  bool fits = true;
  for (std::size_t const size : sizes) {
    fits = fits && (size == 0 || count <= most / size);
    count *= size;
  }
  // Large blocks are tried first: where sanitizers run, a `new` that fails ends the process.
  if (fits && count > (std::size_t{1} << 27)) {
    void* volatile const trial = std::malloc(count * sizeof(double)); // volatile: compilers take pairs away
    fits = trial != nullptr;
    std::free(trial);
  }
  try {
    if (fits) return std::vector<double>(count);
  } catch (std::bad_alloc const&) {
  }
  throw Error("there is not enough memory for " + what);
}

} // namespace orv
