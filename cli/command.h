// A command of `orv`. A file cli/<name>_command.cpp defines one:
//
//   static Command const eval("eval", "evaluate a function over numbers or columns",
//                             [](CLI::App& app) { ...options...; return [=] { ...run...; }; });
//
// The function is given the command's own parser, adds its options and returns what runs it. Failures are
// thrown as orv::Error; main prints them on standard error and exits with 1.
#pragma once
#include "frontend/error.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace orv::cli {

struct Command {
  using Setup = std::function<std::function<void()>(CLI::App&)>;
  Command(std::string name, std::string description, Setup setup);

  std::string name, description;
  Setup setup;
};
std::vector<Command const*>& commands();

// One line on standard error that is written over as work goes on; silent where it is no terminal and the
// work is short. Where the total isn't known (0), `done` is bytes and is shown as it stands.
class Progress {
 public:
  Progress(std::string what, double total);
  ~Progress();
  void update(double done);

 private:
  std::string what_;
  double total_, start_, last_ = 0;
  bool terminal_, shown_ = false;
};

// A number as the user typed it: decimal, hexadecimal float, inf, nan. Throws Error that names `where`.
double parse_number(std::string const& text, std::string const& where);

// A result as it is printed: the sign of a NaN says nothing.
template <class T>
T shown(T value) {
  return value != value ? std::numeric_limits<T>::quiet_NaN() : value;
}

} // namespace orv::cli
