// Element-wise functions by name, with checked arguments and collected errors.
//
//   auto const exp = orv::Elementwise::find('d', "Exp");
//   orv::ErrorLog errors;                     // collects numerical errors while it lives
//   exp.call(orv::Level::HA, {.a = x, .r1 = y}, n);
#pragma once
#include "frame/functions.h"
#include "frontend/error.h"
#include "orv/mode.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace orv {

std::string_view level_name(Level level);
Level level_of(std::string const& name); // "LA", "HA", "EP"; throws Error
std::string_view status_text(int status);

// Arrays of a call, of the function's type; those that the form has not stay null.
struct Arrays {
  const void* a = nullptr;
  const void* b = nullptr;
  void* r1 = nullptr;
  void* r2 = nullptr;
  double scalars[4] =
      {}; // second operand of the scalar form (two parts if complex); scalea, shifta, scaleb, shiftb
  int inca = 1, incb = 1, incr1 = 1, incr2 = 1; // used by call_strided
};

class Elementwise {
 public:
  // Throws Error that says what there is.
  static Elementwise find(char type, std::string const& name);

  orv::Function const& function() const { return *function_; }
  int operands() const; // arrays of operands
  int results() const;
  bool scalar_operand() const { return function_->form == Form::scalar; }
  // Any count from 0; longer arrays than a kernel takes at once are cut, errors keep their numbers. Both forms
  // throw Error for a missing array and for functions that aren't of real numbers, such as PackI.
  void call(Level level, Arrays const& arrays, std::size_t n) const;
  void call_strided(Level level, Arrays const& arrays, int n) const;
  float cost(Level level) const;

 private:
  void check(Arrays const& arrays, bool any_elements) const;
  orv::Function const* function_;
  void* const* slots_;
  void* const* strided_slots_;
  const float* cost_;
};

struct NumericalError {
  std::size_t index;
  int status;
  double arg1, arg2, res1;
};

// While one lives, numerical errors of this thread come here and have no other effect. The thread's mode,
// callback and status are put back at the end.
class ErrorLog {
 public:
  ErrorLog();
  ~ErrorLog();
  ErrorLog(ErrorLog const&) = delete;
  ErrorLog& operator=(ErrorLog const&) = delete;
  std::vector<NumericalError> const& errors() const { return errors_; }
  std::size_t left_out() const { return left_out_; } // beyond the first million, or for want of memory

 private:
  static int collect(OrvErrorRecord* record) noexcept;
  std::vector<NumericalError> errors_;
  std::size_t left_out_ = 0;
  uint32_t mode_;
  OrvErrorCallback callback_;
  int32_t status_;
  ErrorLog* outer_;
};

} // namespace orv
