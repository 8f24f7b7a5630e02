// What functions are timed on: the range of the operands.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace orv::bench {

struct Range {
  double low, high;
};
struct Ranges {
  std::string_view name;
  Range a, b;
};
inline constexpr Ranges ranges[] = {
    {"Exp", {-10, 10}, {}},
    {"Exp2", {-10, 10}, {}},
    {"Exp10", {-10, 10}, {}},
    {"Expm1", {-10, 10}, {}},
    {"Ln", {0.01, 1000}, {}},
    {"Log2", {0.01, 1000}, {}},
    {"Log10", {0.01, 1000}, {}},
    {"Log1p", {-0.9, 100}, {}},
    {"Logb", {0.01, 1000}, {}},
    {"Sqrt", {0.01, 1000}, {}},
    {"InvSqrt", {0.01, 1000}, {}},
    {"Pow3o2", {0.01, 1000}, {}},
    {"Pow", {0.1, 20}, {-5, 5}},
    {"Powr", {0.1, 20}, {-5, 5}},
    {"Powx", {0.1, 20}, {2.3, 2.3}},
    {"Fmod", {-1000, 1000}, {1, 50}},
    {"Remainder", {-1000, 1000}, {1, 50}},
    {"Sin", {-10, 10}, {}},
    {"Cos", {-10, 10}, {}},
    {"Tan", {-10, 10}, {}},
    {"SinCos", {-10, 10}, {}},
    {"CIS", {-10, 10}, {}},
    {"Sinpi", {-10, 10}, {}},
    {"Cospi", {-10, 10}, {}},
    {"Tanpi", {-10, 10}, {}},
    {"Sind", {-720, 720}, {}},
    {"Cosd", {-720, 720}, {}},
    {"Tand", {-720, 720}, {}},
    {"Asin", {-1, 1}, {}},
    {"Acos", {-1, 1}, {}},
    {"Asinpi", {-1, 1}, {}},
    {"Acospi", {-1, 1}, {}},
    {"Atan", {-10, 10}, {}},
    {"Atanpi", {-10, 10}, {}},
    {"Atan2", {-10, 10}, {-10, 10}},
    {"Atan2pi", {-10, 10}, {-10, 10}},
    {"Sinh", {-10, 10}, {}},
    {"Cosh", {-10, 10}, {}},
    {"Tanh", {-10, 10}, {}},
    {"Asinh", {-10, 10}, {}},
    {"Acosh", {1, 100}, {}},
    {"Atanh", {-0.99, 0.99}, {}},
    {"Erf", {-4, 4}, {}},
    {"Erfc", {-4, 8}, {}},
    {"CdfNorm", {-8, 8}, {}},
    {"ErfInv", {-0.99, 0.99}, {}},
    {"ErfcInv", {0.01, 1.99}, {}},
    {"CdfNormInv", {0.01, 0.99}, {}},
    {"TGamma", {0.1, 20}, {}},
    {"LGamma", {0.1, 100}, {}},
    {"ExpInt1", {0.1, 20}, {}},
};
inline Ranges range_of(std::string_view name) {
  for (Ranges const& r : ranges)
    if (r.name == name) return r;
  return {name, {-100, 100}, {1, 100}};
}

// The same numbers for everyone who is timed.
template <class T>
std::vector<T> arguments(Range range, std::size_t n, uint64_t seed) {
  std::vector<T> x(n);
  for (T& value : x) {
    seed = seed * 6364136223846793005u + 1442695040888963407u;
    value =
        static_cast<T>(range.low + (range.high - range.low) * (static_cast<double>(seed >> 11) * 0x1p-53));
    if (value == 0) value = 1;
  }
  return x;
}

} // namespace orv::bench
