// Walks over the list of functions, calls in every form, and compares bits.
#pragma once
#include "frontend/elementwise.h"
#include "frontend/library.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace orv::test {

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
template <class T>
BitsOf<T> bits(T x) {
  return std::bit_cast<BitsOf<T>>(x);
}

// Values where functions change, in every class of numbers.
template <class T>
std::vector<T> special_values() {
  using L = std::numeric_limits<T>;
  std::vector<T> x = {0,
                      L::denorm_min(),
                      L::min() / 2,
                      L::min(),
                      T(1e-30),
                      T(0.25),
                      T(0.5),
                      T(0.75),
                      T(1),
                      T(1.5),
                      T(2),
                      T(2.5),
                      T(3),
                      T(8),
                      T(10),
                      T(38),
                      T(88.5),
                      T(100),
                      T(127.5),
                      T(128),
                      T(150),
                      T(1e6),
                      T(1e30),
                      T(33554433.0),
                      L::max() / 2,
                      L::max(),
                      L::infinity(),
                      L::quiet_NaN(),
                      L::signaling_NaN()};
  if (sizeof(T) == 8)
    x.insert(x.end(), {T(307.7), T(708.5), T(709.8), T(745.2), T(1023.5), T(1075.0), T(1e300)});
  std::size_t const positive = x.size();
  for (std::size_t i = 0; i < positive; ++i)
    x.push_back(std::bit_cast<T>(bits(x[i]) ^ (BitsOf<T>{1} << (8 * sizeof(T) - 1))));
  return x;
}

// Ordinary values with special ones strewn in.
template <class T>
std::vector<T> mixed_values(std::size_t n, unsigned seed) {
  auto const special = special_values<T>();
  std::mt19937_64 random(seed);
  std::vector<T> x(n);
  for (T& v : x) {
    switch (random() % 8) {
    case 0:
      std::memcpy(&v, &special[random() % special.size()], sizeof v);
      break;
    case 1: {
      auto const pattern = static_cast<BitsOf<T>>(random());
      std::memcpy(&v, &pattern, sizeof v);
      break;
    }
    default:
      v = static_cast<T>(
          std::ldexp(static_cast<double>(random() >> 11) * 0x1p-53, static_cast<int>(random() % 12) - 3));
    }
  }
  return x;
}

// Second operands of forms with scalars; each is run.
inline std::vector<double> scalar_operands(Function const& f) {
  if (f.form != Form::scalar) return {2.5};
  return {0.0, 1,  2,   3,    5,   9,     -1,    -2,
          -3,  -4, 0.5, -0.5, 1.5, 2.375, -7.25, std::numeric_limits<double>::quiet_NaN()};
}

template <class T>
struct Results {
  std::vector<T> r1, r2;
  std::vector<int> status; // by element
};

inline Arrays with_scalars(Arrays x, double scalar) {
  x.scalars[0] = scalar;
  x.scalars[1] = 0.5;
  x.scalars[2] = -1.25;
  x.scalars[3] = 3;
  return x;
}

// One contiguous call.
template <class T>
Results<T> call(Elementwise const& f, Level level, std::vector<T> const& a, std::vector<T> const& b,
                double scalar = 2.5) {
  std::size_t const n = a.size();
  Results<T> out{std::vector<T>(n), std::vector<T>(n), std::vector<int>(n, 0)};
  ErrorLog log;
  f.call(level,
         with_scalars({.a = a.data(), .b = b.data(), .r1 = out.r1.data(), .r2 = out.r2.data()}, scalar), n);
  for (auto const& e : log.errors()) out.status[e.index] = e.status;
  return out;
}

template <class T>
::testing::AssertionResult same_bits(std::vector<T> const& x, std::vector<T> const& y) {
  if (x.size() != y.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (std::size_t i = 0; i < x.size(); ++i)
    if (bits(x[i]) != bits(y[i]))
      return ::testing::AssertionFailure()
             << "element " << i << ": " << std::hexfloat << x[i] << " and " << y[i];
  return ::testing::AssertionSuccess();
}

} // namespace orv::test
