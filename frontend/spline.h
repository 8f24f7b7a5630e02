// Splines through sampled functions on one set of break points.
//
//   orv::Spline spline({.breaks = x, .values = {y}, .scheme = orv::Scheme::Natural});
//   double v = spline.evaluate({25.0}, 0)[0][0][0];
#pragma once
#include "frontend/error.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

enum class Scheme {
  Natural,
  Akima,
  Bessel,
  Hyman,
  Hermite,
  Second,
  Linear,
  Quadratic,
  Subbotin,
  Step,
  StepLeft
};

struct SchemeInfo {
  Scheme scheme;
  std::string_view name, description;
  int minimum_breaks;
};
std::vector<SchemeInfo> const& schemes();
// Throws Error that lists the names.
SchemeInfo const& scheme_of(std::string_view name);

// What holds at the ends: a code of orv/fitting.h with its values.
struct Boundary {
  int code = 0;
  double values[2] = {0, 0};
};
// "free", "not-a-knot", "periodic", "none", or "slopes=L,R", "curvatures=L,R", "slope-curvature=L,R",
// "curvature-slope=L,R", "middle=V". Throws Error that lists them.
Boundary boundary_of(std::string_view text);

struct SplineData {
  std::vector<double> breaks;              // rising
  std::vector<std::vector<double>> values; // a row for each function
  Scheme scheme = Scheme::Natural;
  bool has_boundary = false; // else what suits the scheme
  Boundary boundary = {};
  std::vector<double> inner = {}; // slopes (Hermite) or second derivatives (Second) at the inner breaks
  int threads = 0;                // at most, in all calls of the spline; 0: all of the common pool
};

class Spline {
 public:
  explicit Spline(SplineData data); // throws Error
  ~Spline();
  Spline(Spline const&) = delete;
  Spline& operator=(Spline const&) = delete;

  int functions() const;
  double first() const;
  double last() const;
  // [function][site][derivative from 0 to `derivatives`]. All derivatives above the third are 0.
  static constexpr int most_derivatives = 100;
  std::vector<std::vector<std::vector<double>>> evaluate(std::vector<double> const& sites,
                                                         int derivatives) const;
  // One integral for each function.
  std::vector<double> integrate(double from, double to) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// What a status of data fitting means.
std::string fitting_status_text(int status);

} // namespace orv
