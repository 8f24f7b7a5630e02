// Characteristic polynomials of the twisters, as ascending exponents; made by tools/jump_polynomials.cpp.
#pragma once
#include <cstdint>

namespace orv::streams {

inline constexpr int32_t mt19937_jump_polynomial[] = {
#include "streams/mt19937_polynomial.inc"
};
extern const int32_t sfmt_jump_polynomial[6711];

} // namespace orv::streams
