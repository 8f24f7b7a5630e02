// Measures the error of an element-wise function against a wider reference.
#pragma once
#include "cli/reference.h"
#include "frontend/elementwise.h"

#include <array>
#include <cstdint>
#include <functional>

namespace orv::cli {

// The largest error of one level.
struct WorstCase {
  double ulp = 0;      // infinite: a NaN, infinity or zero where the exact value is something else
  double relative = 0; // largest relative error where the exact value is normal
  double ulp_a = 0, ulp_b = 0, bits_a = 0, bits_b = 0;
  uint64_t points = 0;
  double bits() const; // good bits: -log2 of the relative error
};

struct AccuracyPlan {
  bool exhaustive = false;     // all 2^32 arguments of a one-operand single precision function
  uint64_t points = 1'000'000; // otherwise
  double scalar = 0;           // second operand of the scalar form
  uint64_t seed = 1;
  std::function<void(double fraction)> progress;
};

// One case for each level, in the order LA, HA, EP, over the same points.
std::array<WorstCase, 3> measure_accuracy(Elementwise const& function, Reference const& reference,
                                          AccuracyPlan const& plan);

// Whether a worst case keeps the bound that the list of functions states for the level.
bool keeps_bound(orv::Function const& function, Level level, WorstCase const& worst);

} // namespace orv::cli
