// Measures the error of an element-wise function against its reference, all levels over the same arguments.
#pragma once
#include "accuracy/reference.h"
#include "frontend/elementwise.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace orv::accuracy {

constexpr int most_parts = 4; // of the operands: two complex numbers
using Parts = std::array<double, most_parts>;

// The largest error of one level.
struct WorstCase {
  double ulp = 0;      // infinite: a NaN, infinity or zero where the exact value is something else
  double relative = 0; // largest relative error where the exact value is normal
  Parts ulp_at{}, bits_at{}, sign_at{};
  uint64_t points = 0, wrong_signs = 0; // zeros of the wrong sign
  double bits() const;                  // good bits: -log2 of the relative error; 999 if there is none
};

// The largest error by place, for a picture: columns of equal width between low and high, or over all numbers in
// their order where these are equal. A complex operand makes a square of columns and rows.
struct Profile {
  double low = 0, high = 0;
  int columns = 900, rows = 1;
  double row_low = 0, row_high = 0;
  std::array<std::vector<float>, 3> ulp; // by level
};

struct Plan {
  bool exhaustive = false;     // all 2^32 arguments of a function of one operand in single precision
  uint64_t points = 1'000'000; // otherwise; regions that name their arguments come on top
  std::array<double, 4> scalars{};
  uint64_t seed = 1; // the sample depends on it alone, on no number of cores
  std::function<void(double fraction)> progress;
  Profile* profile = nullptr;
};

// What is measured: the operands and results are arrays of real or complex numbers.
struct Subject {
  std::string_view name;
  char type;
  std::function<void(Level, Arrays const&, std::size_t n)> call;
};
Subject subject(Elementwise const& function);

// One case for each level, in the order LA, HA, EP.
std::array<WorstCase, 3> measure(Subject const& subject, Reference const& reference, Plan const& plan);

// The error of one result, of type s or d.
WorstCase error_at(double result, Big const& exact, char type, bool zero_sign);

// Whether a worst case keeps the bound that the list of functions states for the level, signs of zeros with it.
bool keeps_bound(orv::Function const& function, Level level, WorstCase const& worst);

// Hexadecimal and decimal, parts with spaces between.
std::string hexadecimal(Parts const& x, int parts, char type);
std::string decimal(Parts const& x, int parts, char type);

} // namespace orv::accuracy
