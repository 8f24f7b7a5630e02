// Covariance matrices that are to be inverted: their rank is tested, and mended by a raised diagonal.
#pragma once
#include <cstddef>
#include <cstdint>

namespace orv::statistics {

// The full matrix loses one triangle (column-major the upper one), which inverse_covariance doesn't read.
template <class T>
int32_t test_rank(ptrdiff_t p, T* matrix);

// The inverse, in elements (i, j), j not below i, at i p + j; reads the same ones.
template <class T>
int32_t inverse_covariance(ptrdiff_t p, T* matrix);

} // namespace orv::statistics
