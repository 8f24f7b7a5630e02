#include "frontend/distributions.h"

#include "frontend/library.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>

namespace orv {
namespace {

using Values = std::vector<double> const&;
template <class T>
using Call = std::function<int32_t(int32_t method, RngStream*, int32_t n, T* r, Values)>;

struct Row {
  DistributionInfo info;
  Call<double> reals;
  Call<int32_t> integers;
};

constexpr ParameterRange any(std::string_view name) { return {name, -DBL_MAX, DBL_MAX}; }
constexpr ParameterRange positive(std::string_view name) { return {name, 0, DBL_MAX, true}; }
constexpr ParameterRange count(std::string_view name, double least) {
  return {name, least, INT32_MAX, false, false, true};
}
constexpr ParameterRange integer(std::string_view name) { return count(name, INT32_MIN); }

template <class T, class Entry, std::size_t... i>
Call<T> bind(Entry* (*entry)(), std::index_sequence<i...>) {
  return [=](int32_t method, RngStream* s, int32_t n, T* r, Values p) {
    auto const call = [=]<class... A>(int32_t (*f)(int32_t, RngStream*, int32_t, T*, A...)) {
      return f(method, s, n, r, static_cast<A>(p[i])...);
    };
    return call(entry());
  };
}
#define ORV_ENTRY(T, name, parameters)                                                                       \
  bind<T, decltype(name)>([] { return ORV_FUNCTION_OF(name); }, std::make_index_sequence<parameters>())
#define ORV_REALS(name, parameters)                                                                          \
  ORV_ENTRY(double, _rnqdRng##name, parameters), {}
#define ORV_INTEGERS(name, parameters) {}, ORV_ENTRY(int32_t, _rnqiRng##name, parameters)

std::vector<Row> const& rows() {
  static ParameterRange const unit{"p", 0, 1}, open_unit{"p", 0, 1, true, true};
  static std::vector<Row> const table{
      {{"Uniform", false, {any("a"), any("b")}, {}}, ORV_REALS(Uniform, 2)},
      {{"Gaussian", false, {any("a"), positive("sigma")}, {"Box-Muller", "Box-Muller, paired", "inverse"}},
       ORV_REALS(Gaussian, 2)},
      {{"Exponential", false, {any("a"), positive("beta")}, {}}, ORV_REALS(Exponential, 2)},
      {{"Laplace", false, {any("a"), positive("beta")}, {}}, ORV_REALS(Laplace, 2)},
      {{"Weibull", false, {positive("alpha"), any("a"), positive("beta")}, {}}, ORV_REALS(Weibull, 3)},
      {{"Cauchy", false, {any("a"), positive("beta")}, {}}, ORV_REALS(Cauchy, 2)},
      {{"Rayleigh", false, {any("a"), positive("beta")}, {}}, ORV_REALS(Rayleigh, 2)},
      {{"Lognormal", false, {any("a"), positive("sigma"), any("b"), positive("beta")}, {"paired", "inverse"}},
       ORV_REALS(Lognormal, 4)},
      {{"Gumbel", false, {any("a"), positive("beta")}, {}}, ORV_REALS(Gumbel, 2)},
      {{"Gamma", false, {positive("alpha"), any("a"), positive("beta")}, {}}, ORV_REALS(Gamma, 3)},
      {{"Beta", false, {positive("p"), positive("q"), any("a"), positive("beta")}, {}}, ORV_REALS(Beta, 4)},
      {{"ChiSquare", false, {count("v", 1)}, {}}, ORV_REALS(ChiSquare, 1)},
      {{"UniformInt", true, {integer("a"), integer("b")}, {}}, ORV_INTEGERS(Uniform, 2)},
      {{"Bernoulli", true, {unit}, {}}, ORV_INTEGERS(Bernoulli, 1)},
      {{"Geometric", true, {open_unit}, {}}, ORV_INTEGERS(Geometric, 1)},
      {{"Binomial", true, {count("ntrial", 0), unit}, {}}, ORV_INTEGERS(Binomial, 2)},
      {{"Poisson", true, {positive("lambda")}, {"PTPE", "from Gaussian numbers"}}, ORV_INTEGERS(Poisson, 1)},
      {{"Negbinomial", true, {positive("a"), open_unit}, {}}, ORV_INTEGERS(Negbinomial, 2)},
      {{"Hypergeometric", true, {count("l", 0), count("s", 0), count("m", 0)}, {}},
       ORV_INTEGERS(Hypergeometric, 3)},
  };
  return table;
}

std::string shown(double x) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.17g", x);
  return buffer;
}
Row const& row_of(std::string_view name) {
  auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  std::string names;
  for (Row const& row : rows()) {
    std::string_view const n = row.info.name;
    if (std::equal(n.begin(), n.end(), name.begin(), name.end(),
                   [&](char a, char b) { return lower(a) == lower(b); }))
      return row;
    names += (names.empty() ? "" : ", ") + std::string(n);
  }
  throw Error("there is no distribution '" + std::string(name) + "'; there are " + names);
}

} // namespace

std::vector<DistributionInfo> const& distributions() {
  static std::vector<DistributionInfo> const list = [] {
    std::vector<DistributionInfo> infos;
    for (Row const& row : rows()) infos.push_back(row.info);
    return infos;
  }();
  return list;
}

DistributionInfo const& distribution_of(std::string_view name) { return row_of(name).info; }

void check_parameters(DistributionInfo const& distribution, std::vector<double> const& parameters) {
  std::string const name(distribution.name);
  std::size_t const wanted = distribution.parameters.size();
  if (parameters.size() != wanted) {
    std::string names;
    for (auto const& p : distribution.parameters) names += (names.empty() ? "" : ",") + std::string(p.name);
    throw Error(name + " wants " + std::to_string(wanted) + " parameters: " + names + ", not " +
                std::to_string(parameters.size()));
  }
  for (std::size_t i = 0; i < wanted; ++i) {
    ParameterRange const& range = distribution.parameters[i];
    double const x = parameters[i];
    bool const inside = (range.low_open ? x > range.low : x >= range.low) &&
                        (range.high_open ? x < range.high : x <= range.high) &&
                        (!range.whole || x == std::floor(x));
    if (!inside)
      throw Error(name + ": " + std::string(range.name) + " = " + shown(x) + " is not " +
                  (range.whole ? "a whole number " : "") + (range.low_open ? "above " : "from ") +
                  shown(range.low) + (range.high_open ? " to below " : " to ") + shown(range.high));
  }
  if (distribution.name == "Hypergeometric" &&
      (parameters[1] > parameters[0] || parameters[2] > parameters[0]))
    throw Error("Hypergeometric: s and m must not be above l = " + shown(parameters[0]));
  if ((distribution.name == "Uniform" || distribution.name == "UniformInt") &&
      !(parameters[0] < parameters[1]))
    throw Error(name + ": a = " + shown(parameters[0]) + " is not below b = " + shown(parameters[1]));
}

void draw(RngStream* stream, DistributionInfo const& distribution, int method,
          std::vector<double> const& parameters, std::vector<double>& r) {
  check_parameters(distribution, parameters);
  int const methods = std::max<int>(1, static_cast<int>(distribution.methods.size()));
  if (method < 0 || method >= methods)
    throw Error(std::string(distribution.name) + ": method " + std::to_string(method) + " is not from 0 to " +
                std::to_string(methods - 1));
  Row const& row = row_of(distribution.name);
  constexpr std::size_t most = 1 << 20;
  std::vector<int32_t> whole(distribution.integers ? std::min(most, r.size()) : 0);
  for (std::size_t done = 0; done < r.size(); done += most) {
    auto const n = static_cast<int32_t>(std::min(most, r.size() - done));
    int32_t const status = distribution.integers ? row.integers(method, stream, n, whole.data(), parameters)
                                                 : row.reals(method, stream, n, r.data() + done, parameters);
    if (status < 0)
      throw Error("drawing " + std::string(distribution.name) + ": status " + std::to_string(status));
    if (distribution.integers)
      std::copy(whole.begin(), whole.begin() + n, r.begin() + static_cast<ptrdiff_t>(done));
  }
}

} // namespace orv
