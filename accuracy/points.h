// Where a function is measured: general arguments for all, and the regions that its author knows to be hard.
#pragma once
#include "accuracy/reference.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <string_view>
#include <vector>

namespace orv::accuracy {

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

// Random numbers by kind, in type T.
template <class T>
class Draw {
 public:
  explicit Draw(uint64_t seed) : random_(seed * 0x9E3779B97F4A7C15u + 1) {}
  uint64_t bits(int n) { return random_() >> (64 - n); }
  double unit() { return static_cast<double>(bits(53)) * 0x1p-53; }
  double uniform(double low, double high) { return low + (high - low) * unit(); }
  // Alike in each binade from low to high, both positive.
  double logarithmic(double low, double high) { return low * std::exp2(unit() * std::log2(high / low)); }
  double either_sign(double x) { return bits(1) ? x : -x; }
  T pattern() { return std::bit_cast<T>(static_cast<BitsOf<T>>(random_())); }
  // Within n units in the last place of x.
  T beside(T x, int n = 2048) {
    auto const shift =
        static_cast<BitsOf<T>>(random_() % (2 * static_cast<unsigned>(n) + 1)) - static_cast<BitsOf<T>>(n);
    return std::bit_cast<T>(static_cast<BitsOf<T>>(std::bit_cast<BitsOf<T>>(x) + shift));
  }
  T one();                         // a general argument
  void two(T& a, T& b);            // general arguments of a function of two
  void complex(T* a, int numbers); // one or two complex numbers

 private:
  std::mt19937_64 random_;
};

// Numbers that every function is tried at, with both signs; all pairs of them where there are two operands or parts.
// The last one is the infinity.
template <class T>
std::span<const T> landmarks();

// A region of one function. Those of one operand:
//   interval(low, high)         uniform in it
//   logs(low, high)             uniform in the exponent, both signs
//   near(x, n)                  every number within n units in the last place of x and of -x
//   multiples(step, from, to, rest of step, n)  k step for whole k, within n units in the last place, both signs
//   listed(numbers, n)          every number within n units in the last place of each of these and its negative
// Two operands and complex ones:
//   box(low, high, low, high)   uniform, first and second operand (or real and imaginary part)
//   log_box(low, high, low, high) uniform in the exponents, all signs
//   made(function)              written by a function of its own: parts of all operands
struct Region {
  enum class Kind { interval, logs, near, multiples, listed, box, log_box, made };
  std::string_view functions, types; // names with spaces between
  Kind kind;
  double a = 0, b = 0, c = 0, d = 0;
  int ulps = 0;
  std::span<const double> numbers = {};
  void (*make_s)(Draw<float>&, float*) = nullptr;
  void (*make_d)(Draw<double>&, double*) = nullptr;

  bool serves(std::string_view name, char type) const;
  uint64_t count() const; // of those that name each argument; 0 for the others
  // Argument number i of such a region.
  template <class T>
  T number(uint64_t i) const;
  // One argument of the others.
  template <class T>
  void draw(Draw<T>& random, T* parts) const;
};

std::span<Region const> regions();

} // namespace orv::accuracy
