#include "frontend/spline.h"

#include "frontend/fitting_threads.h"
#include "frontend/library.h"
#include "frontend/reals.h"

#include <charconv>
#include <cmath>
#include <numeric>

namespace orv {
namespace {

std::string list_of(std::vector<std::string_view> const& names) {
  std::string text;
  for (auto const& n : names) text.append(text.empty() ? "" : ", ").append(n);
  return text;
}

std::string number(double v) {
  char text[40];
  auto const end = std::to_chars(text, text + sizeof text, v).ptr;
  return {text, end};
}

using Construct = int32_t(DFTask*, int64_t, int64_t, const DFThreader*);

struct Construction {
  char const* entry; // null for steps, which have no coefficients
  int order, type;
  int default_boundary;
};

Construction construction_of(Scheme scheme) {
  switch (scheme) {
  case Scheme::Natural:
    return {"orv_df_kernel_dDFNaturalCubicSpline1D", DFOrderCubic, DFTypeCubic, DFBoundFreeEnd};
  case Scheme::Akima:
    return {"orv_df_kernel_dDFAkimaCubicSpline1D", DFOrderCubic, DFTypeCubic, DFBoundNone};
  case Scheme::Bessel:
    return {"orv_df_kernel_dDFBesselCubicSpline1D", DFOrderCubic, DFTypeCubic, DFBoundFreeEnd};
  case Scheme::Hyman:
    return {"orv_df_kernel_dDFHymanCubicSpline1D", DFOrderCubic, DFTypeCubic, DFBoundFreeEnd};
  case Scheme::Hermite:
    return {"orv_df_kernel_dDFHermiteCubicSpline1D", DFOrderCubic, DFTypeCubic, DFBoundFreeEnd};
  case Scheme::Second:
    return {"orv_df_kernel_dDFDefaultCubicSpline1D", DFOrderCubic, DFTypeCubic, DFBoundFreeEnd};
  case Scheme::Linear:
    return {"orv_df_kernel_dDFLinearSpline1D", DFOrderLinear, DFTypeLinear, DFBoundNone};
  case Scheme::Quadratic:
    return {"orv_df_kernel_dDFQuadraticSpline1D", DFOrderQuadratic, DFTypeQuadratic, DFBoundMidValue};
  case Scheme::Subbotin:
    return {"orv_df_kernel_dDFQuadraticSpline1D", DFOrderQuadratic, DFTypeSubbotin, DFBoundSecondSecond};
  case Scheme::Step:
    return {nullptr, DFOrderNone, DFTypeStepRight, DFBoundNone};
  default:
    return {nullptr, DFOrderNone, DFTypeStepLeft, DFBoundNone};
  }
}

void check(int status, std::string const& what) {
  if (status < 0) throw Error(what + ": " + fitting_status_text(status));
}

} // namespace

std::vector<SchemeInfo> const& schemes() {
  static std::vector<SchemeInfo> const all = {
      {Scheme::Natural, "natural", "C2 cubic, smoothest", 2},
      {Scheme::Akima, "akima", "cubic that keeps outliers local", 5},
      {Scheme::Bessel, "bessel", "cubic with slopes of local parabolas", 4},
      {Scheme::Hyman, "hyman", "cubic that keeps monotone data monotone", 4},
      {Scheme::Hermite, "hermite", "cubic with given slopes (--inner)", 3},
      {Scheme::Second, "second", "cubic with given second derivatives (--inner)", 3},
      {Scheme::Linear, "linear", "broken line", 2},
      {Scheme::Quadratic, "quadratic", "C1 quadratic with knots at the data", 2},
      {Scheme::Subbotin, "subbotin", "C1 quadratic with knots between the data", 2},
      {Scheme::Step, "step", "step function continuous from the right", 2},
      {Scheme::StepLeft, "step-left", "step function continuous from the left", 2}};
  return all;
}

SchemeInfo const& scheme_of(std::string_view name) {
  std::vector<std::string_view> names;
  for (auto const& s : schemes()) {
    if (s.name == name) return s;
    names.push_back(s.name);
  }
  throw Error("there is no spline '" + std::string(name) + "'; there are " + list_of(names));
}

Boundary boundary_of(std::string_view text) {
  struct Form {
    std::string_view name;
    int code, values;
  };
  static constexpr Form forms[] = {{"free", DFBoundFreeEnd, 0},
                                   {"not-a-knot", DFBoundNotAKnot, 0},
                                   {"periodic", DFBoundPeriodic, 0},
                                   {"none", DFBoundNone, 0},
                                   {"slopes", DFBoundFirstFirst, 2},
                                   {"curvatures", DFBoundSecondSecond, 2},
                                   {"slope-curvature", DFBoundFirstSecond, 2},
                                   {"curvature-slope", DFBoundSecondFirst, 2},
                                   {"middle", DFBoundMidValue, 1}};
  auto const equals = text.find('=');
  std::vector<std::string_view> names;
  for (auto const& form : forms) {
    names.push_back(form.name);
    if (text.substr(0, equals) != form.name) continue;
    Boundary b{form.code, {0, 0}};
    std::string_view rest = equals == text.npos ? std::string_view() : text.substr(equals + 1);
    for (int k = 0; k < form.values; ++k) {
      auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), b.values[k]);
      bool const comma = k + 1 < form.values;
      rest.remove_prefix(static_cast<size_t>(end - rest.data()));
      if (error != std::errc() || (comma && !rest.starts_with(',')))
        throw Error("boundary '" + std::string(form.name) + "' wants " +
                    (form.values == 1 ? "a value, such as middle=0.5" : "two values, such as slopes=0,-1.5"));
      if (comma) rest.remove_prefix(1);
    }
    if (!rest.empty() || (form.values == 0 && equals != text.npos))
      throw Error("boundary '" + std::string(text) + "' has more behind it than it takes");
    return b;
  }
  throw Error("there is no boundary '" + std::string(text) + "'; there are " + list_of(names));
}

std::string fitting_status_text(int status) {
  switch (status) {
  case DFStatusNoMemory:
    return "out of memory";
  case DFStatusBadBreakCount:
    return "too few break points";
  case DFStatusBadBoundCondType:
    return "the boundary condition does not go with this spline";
  case DFStatusPeriodMismatch:
    return "a periodic spline needs the same first and last value";
  case DFStatusSolverFailure:
    return "the equations of the spline have no solution";
  case DFStatusBadType:
    return "this kind of spline cannot be evaluated";
  default:
    return "status " + std::to_string(status);
  }
}

struct Spline::State {
  SplineData data;
  std::vector<double> values, coefficients;
  Construction construction;
  DFTask* task = nullptr;
  // Taken anew for each call: the limit is the calling thread's, and other splines have set theirs.
  DFThreader const* threader() const { return &fitting_threads(data.threads); }
  ~State() {
    if (task) ORV_FUNCTION_OF(orv_df_kernel_DeleteTask)(&task);
  }
};

namespace {

std::string name_of(Scheme scheme) {
  for (auto const& s : schemes())
    if (s.scheme == scheme) return std::string(s.name);
  throw Error("there is no spline number " + std::to_string(static_cast<int>(scheme)));
}

bool takes_inner(Scheme scheme) { return scheme == Scheme::Hermite || scheme == Scheme::Second; }

void check_data(SplineData const& d, std::string const& name) {
  auto const& x = d.breaks;
  auto const fewest = static_cast<size_t>(scheme_of(name).minimum_breaks);
  if (x.size() < fewest)
    throw Error("the " + name + " spline needs at least " + std::to_string(fewest) +
                " break points; there are " + std::to_string(x.size()));
  for (size_t i = 0; i < x.size(); ++i)
    if (!std::isfinite(x[i]) || (i > 0 && !(x[i] > x[i - 1])))
      throw Error("break points must be finite and rise; point " + std::to_string(i + 1) + " is " +
                  number(x[i]) + (i > 0 ? " after " + number(x[i - 1]) : ""));
  if (d.values.empty()) throw Error("the " + name + " spline needs the values of a function");
  for (auto const& row : d.values)
    if (row.size() != x.size()) throw Error("every function needs a value for each break point");
  if (d.scheme == Scheme::Quadratic && d.values.size() > 1)
    throw Error("the quadratic spline takes one function at a time: its middle value belongs to one");
  if (d.has_boundary && d.boundary.code == DFBoundPeriodic)
    for (auto const& row : d.values)
      if (row.front() != row.back())
        throw Error("a periodic spline needs the same first and last value; they are " + number(row.front()) +
                    " and " + number(row.back()));
  if (takes_inner(d.scheme) && d.inner.size() + 2 != x.size())
    throw Error("the " + name + " spline needs " +
                (d.scheme == Scheme::Hermite ? "slopes" : "second derivatives") +
                " at the inner break points");
  if (d.threads < 0) throw Error("a thread limit from 0 is wanted, not " + std::to_string(d.threads));
}

// Both ends, and the middles of the cells between them.
std::vector<double> knots_between(std::vector<double> const& x) {
  std::vector<double> knots{x.front()};
  for (size_t i = 1; i < x.size(); ++i) knots.push_back(std::midpoint(x[i - 1], x[i]));
  knots.push_back(x.back());
  return knots;
}

} // namespace

Spline::Spline(SplineData given) : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.data = std::move(given);
  std::string const name = name_of(s.data.scheme);
  check_data(s.data, name);
  s.construction = construction_of(s.data.scheme);
  auto const& x = s.data.breaks;
  size_t const functions = s.data.values.size();
  s.values = reals({x.size(), functions}, "the values");
  auto end = s.values.begin();
  for (auto const& row : s.data.values) end = std::copy(row.begin(), row.end(), end);
  Boundary& b = s.data.boundary;
  if (!s.data.has_boundary) {
    b = {s.construction.default_boundary, {0, 0}};
    // The middle of a straight line is what suggests itself; it is given for one function only.
    if (b.code == DFBoundMidValue) b.values[0] = std::midpoint(s.values[0], s.values[1]);
  }
  check(ORV_FUNCTION_OF(orv_df_kernel_dNewTask1D)(&s.task, static_cast<int64_t>(x.size()), x.data(),
                                                  DFNonUniform, static_cast<int64_t>(functions),
                                                  s.values.data(), DFRows, 0),
        "the break points");
  bool const knots = s.construction.type == DFTypeSubbotin && s.construction.order == DFOrderQuadratic;
  if (knots) s.data.inner = knots_between(x);
  s.coefficients = reals({static_cast<size_t>(s.construction.order), x.size(), functions},
                         "the coefficients of the spline");
  check(ORV_FUNCTION_OF(orv_df_kernel_dEditPPSpline1D)(
            s.task, s.construction.order, s.construction.type, b.code, b.values,
            knots                        ? DFInnerKnots
            : takes_inner(s.data.scheme) ? DFInnerValues
                                         : DFInnerNone,
            knots || takes_inner(s.data.scheme) ? s.data.inner.data() : nullptr,
            s.construction.entry ? s.coefficients.data() : nullptr, DFRows),
        "the " + name + " spline");
  if (s.construction.entry)
    check(Library::get().typed<Construct>(s.construction.entry)(s.task, 0, 0, s.threader()),
          "the " + name + " spline");
}

Spline::~Spline() = default;

int Spline::functions() const { return static_cast<int>(state_->data.values.size()); }
double Spline::first() const { return state_->data.breaks.front(); }
double Spline::last() const { return state_->data.breaks.back(); }

std::vector<std::vector<std::vector<double>>> Spline::evaluate(std::vector<double> const& sites,
                                                               int derivatives) const {
  if (derivatives < 0 || derivatives > most_derivatives)
    throw Error("derivatives from 0 to " + std::to_string(most_derivatives) + " are there, not " +
                std::to_string(derivatives));
  size_t const q = static_cast<size_t>(derivatives) + 1, count = sites.size();
  std::vector<int32_t> const flags(q, 1);
  auto const all = static_cast<size_t>(functions());
  auto r = reals({all, count, q}, "the results at the sites");
  check(ORV_FUNCTION_OF(orv_df_kernel_dDFInterpolate1D)(
            state_->task, DFInterpolateValues, 0, static_cast<int64_t>(count), sites.data(), 0,
            static_cast<int64_t>(q), flags.data(), nullptr, r.data(), DFResultFuncSiteDeriv, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, state_->threader()),
        "evaluation");
  std::vector<std::vector<std::vector<double>>> out(all);
  auto at = r.cbegin();
  for (auto& function : out)
    for (size_t i = 0; i < count; ++i, at += static_cast<ptrdiff_t>(q))
      function.emplace_back(at, at + static_cast<ptrdiff_t>(q));
  return out;
}

std::vector<double> Spline::integrate(double from, double to) const {
  std::vector<double> r(static_cast<size_t>(functions()));
  check(ORV_FUNCTION_OF(orv_df_kernel_dDFIntegrate1D)(
            state_->task, 0, 1, &from, 0, &to, 0, nullptr, nullptr, r.data(), DFIntegralFuncLimit, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, state_->threader()),
        "integration");
  return r;
}

} // namespace orv
