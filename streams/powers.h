// Powers of multipliers and of 3 x 3 matrices modulo a word.
#pragma once
#include <cstdint>

namespace orv::streams {

inline constexpr uint32_t m31 = 0x7FFFFFFF;
inline constexpr uint64_t mask59 = (uint64_t{1} << 59) - 1;

constexpr uint32_t multiply_m31(uint32_t a, uint32_t b) {
  uint64_t const z = static_cast<uint64_t>(a) * b;
  uint32_t const r = static_cast<uint32_t>(z & m31) + static_cast<uint32_t>(z >> 31);
  return r >= m31 ? r - m31 : r;
}

// Right-to-left binary powers; `multiply` reduces.
template <class T, class Multiply>
constexpr T power(T a, uint64_t c, Multiply multiply) {
  T r = 1;
  for (; c; c >>= 1) {
    if (c & 1) r = multiply(r, a);
    a = multiply(a, a);
  }
  return r;
}
constexpr uint32_t power_mod(uint32_t a, uint64_t c, uint32_t m) {
  auto multiply = [m](uint32_t x, uint32_t y) {
    return static_cast<uint32_t>(static_cast<uint64_t>(x) * y % m);
  };
  return power(a, c, multiply);
}
constexpr uint32_t power_m31(uint32_t a, uint64_t c) { return power(a, c, multiply_m31); }
constexpr uint64_t power_2p64(uint64_t a, uint64_t c) {
  return power(a, c, [](uint64_t x, uint64_t y) { return x * y; });
}

struct Matrix3 {
  uint32_t at[9]; // row by row
};

// An entry of a product, reduced after each of its three terms so that the sum never leaves 64 bits.
template <class Mod>
constexpr uint32_t dot(uint32_t const* row, uint32_t const* column, int stride, Mod m) {
  uint64_t sum = 0;
  for (int k = 0; k < 3; ++k) {
    sum += static_cast<uint64_t>(row[k]) * column[k * stride] % m;
    if (sum >= m) sum -= m;
  }
  return static_cast<uint32_t>(sum);
}
template <class Mod>
constexpr Matrix3 multiply(Matrix3 const& a, Matrix3 const& b, Mod m) {
  Matrix3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r.at[3 * i + j] = dot(a.at + 3 * i, b.at + j, 3, m);
  return r;
}

// MRG32K3A
inline constexpr uint32_t mrg_m1 = 4294967087u, mrg_m2 = 4294944443u;
inline constexpr Matrix3 mrg_a1{{0, 1, 0, 0, 0, 1, mrg_m1 - 810728, 1403580, 0}};
inline constexpr Matrix3 mrg_a2{{0, 1, 0, 0, 0, 1, mrg_m2 - 1370589, 0, 527612}};

struct PowerTable {
  Matrix3 power[193]; // entry k is A^(2^k)
};
extern const PowerTable mrg_powers1, mrg_powers2;

} // namespace orv::streams
