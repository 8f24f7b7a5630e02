// Reference values of the element-wise functions: a quick one from the C library in a wider type (double for single
// precision, long double for double precision), which sorts the arguments, and one of 256 bits, which decides. There
// is one for every function of the final list, kernels or not.
#pragma once
#include "accuracy/big.h"

#include <span>
#include <string_view>

namespace orv::accuracy {

// Parts: 1 for a real number, 2 for a complex one.
struct Shape {
  int operands = 1, operand_parts = 1, results = 1, result_parts = 1;
  int in() const { return operands * operand_parts; }
  int out() const { return results * result_parts; }
};

// Functions of parts: operands one after the other, behind them the scalars of forms that have some. The quick ones
// return false where they cannot decide.
struct Reference {
  std::string_view name;
  bool complex; // of types c and z, not s and d
  Shape shape;
  bool (*quick)(const double* x, double* r);
  bool (*quick_wide)(const long double* x, long double* r);
  void (*exact)(const Big* x, Big* r);
  double quick_error = 8; // of the quick ones, in units of their last place
  bool general = true;    // whether it is measured outside its regions too
  bool zero_sign = true;  // whether the sign of a zero result is told
  // Levels (bit 0 LA, 1 HA, 2 EP) whose error counts by the modulus of a complex result, not by its parts.
  unsigned modulus = 0;
};

// Null if there is none: copies and selections are checked by tests alone.
Reference const* reference(std::string_view name, char type);

// The tables that reference() goes through, by file.
std::span<Reference const> elementary_references();
std::span<Reference const> circular_references();
std::span<Reference const> special_references();
std::span<Reference const> complex_references();

} // namespace orv::accuracy
