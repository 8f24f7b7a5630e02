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
