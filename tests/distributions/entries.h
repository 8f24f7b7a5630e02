// Every entry with parameters of every region, for what must hold for all of them.
#pragma once
#include "orv/distributions.h"

#include <functional>
#include <string>
#include <vector>

namespace orv::test {

struct Entry {
  std::string name;
  size_t bytes; // of a result
  // Results first to first + n - 1 of a sequence.
  std::function<int32_t(RngStream*, int n, void* r, int first)> draw;
};

namespace entries_detail {

template <class T>
void add_reals(std::vector<Entry>& all, std::string const& type, auto uniform, auto gaussian, auto lognormal,
               auto mv, auto two, auto weibull, auto gamma, auto beta, auto chi) {
  auto add = [&](std::string name, auto call) {
    all.push_back({type + name, sizeof(T),
                   [call](RngStream* s, int n, void* r, int) { return call(s, n, static_cast<T*>(r)); }});
  };
  add("Uniform", [=](auto s, int n, T* r) { return uniform(0, s, n, r, T(-2), T(3)); });
  add("Uniform accurate", [=](auto s, int n, T* r) { return uniform(RnqAccurate, s, n, r, T(0.1), T(0.3)); });
  for (int method : {0, 1, 2}) {
    add("Gaussian " + std::to_string(method),
        [=](auto s, int n, T* r) { return gaussian(method, s, n, r, T(5), T(2)); });
    add("Lognormal " + std::to_string(method),
        [=](auto s, int n, T* r) { return lognormal(method, s, n, r, T(0.5), T(0.25), T(1), T(2)); });
  }
  for (auto const& [name, f] : two)
    add(name, [f = f](auto s, int n, T* r) { return f(0, s, n, r, T(3), T(0.5)); });
  add("Weibull", [=](auto s, int n, T* r) { return weibull(0, s, n, r, T(1.7), T(1), T(2)); });
  for (double alpha : {1e-6, 0.3, 0.59, 0.6, 0.75, 0.99, 1.0, 1.01, 2.5, 1e5, 1e9})
    add("Gamma " + std::to_string(alpha),
        [=](auto s, int n, T* r) { return gamma(0, s, n, r, static_cast<T>(alpha), T(0), T(1)); });
  for (auto [p, q] : {std::pair{0.3, 0.4},
                      {0.9, 0.8},
                      {0.5, 3.0},
                      {4.0, 0.25},
                      {2.0, 3.0},
                      {1.0, 1.0},
                      {1.0, 2.5},
                      {2.5, 1.0},
                      {1e-9, 1e-9},
                      {1e8, 1e8},
                      {0.5, 1e4},
                      {1.0, 1e8}})
    add("Beta " + std::to_string(p) + " " + std::to_string(q), [=, p = p, q = q](auto s, int n, T* r) {
      return beta(0, s, n, r, static_cast<T>(p), static_cast<T>(q), T(0), T(1));
    });
  for (int v : {1, 2, 3, 4, 5, 16, 17, 18})
    add("ChiSquare " + std::to_string(v), [=](auto s, int n, T* r) { return chi(0, s, n, r, v); });
  // Vectors: a result is one of them. Products round as the pieces of a call lie, so these are diagonal.
  static T const mean[] = {1, 2, 3}, factor[] = {1, 2, T(0.5)};
  for (int method : {0, 1})
    all.push_back(
        {type + "GaussianMV " + std::to_string(method), 3 * sizeof(T), [=](auto s, int n, void* r, int) {
           return mv(method, s, n, static_cast<T*>(r), 3, RnqMatrixDiagonal, mean, factor);
         }});
}

} // namespace entries_detail

inline std::vector<Entry> entries() {
  std::vector<Entry> all;
  using D2 = int32_t (*)(int32_t, RngStream*, int32_t, double*, double, double);
  using S2 = int32_t (*)(int32_t, RngStream*, int32_t, float*, float, float);
  entries_detail::add_reals<double>(
      all, "d", _rnqdRngUniform, _rnqdRngGaussian, _rnqdRngLognormal, _rnqdRngGaussianMV,
      std::vector<std::pair<std::string, D2>>{{"Exponential", _rnqdRngExponential},
                                              {"Cauchy", _rnqdRngCauchy},
                                              {"Gumbel", _rnqdRngGumbel},
                                              {"Laplace", _rnqdRngLaplace},
                                              {"Rayleigh", _rnqdRngRayleigh}},
      _rnqdRngWeibull, _rnqdRngGamma, _rnqdRngBeta, _rnqdRngChiSquare);
  entries_detail::add_reals<float>(
      all, "s", _rnqsRngUniform, _rnqsRngGaussian, _rnqsRngLognormal, _rnqsRngGaussianMV,
      std::vector<std::pair<std::string, S2>>{{"Exponential", _rnqsRngExponential},
                                              {"Cauchy", _rnqsRngCauchy},
                                              {"Gumbel", _rnqsRngGumbel},
                                              {"Laplace", _rnqsRngLaplace},
                                              {"Rayleigh", _rnqsRngRayleigh}},
      _rnqsRngWeibull, _rnqsRngGamma, _rnqsRngBeta, _rnqsRngChiSquare);
  auto add = [&](std::string name, auto call) {
    all.push_back({"i" + name, 4, [call](RngStream* s, int n, void* r, int first) {
                     return call(s, n, static_cast<int32_t*>(r), first);
                   }});
  };
  add("Uniform", [](auto s, int n, auto r, int) { return _rnqiRngUniform(0, s, n, r, -3, 1000); });
  add("UniformBits", [](auto s, int n, auto r, int) { return _rnqiRngUniformBits(0, s, n, r); });
  add("UniformBits32", [](auto s, int n, auto r, int) {
    return _rnqiRngUniformBits32(0, s, n, reinterpret_cast<uint32_t*>(r));
  });
  add("Bernoulli", [](auto s, int n, auto r, int) { return _rnqiRngBernoulli(0, s, n, r, 0.3); });
  for (double p : {1e-9, 0.1, 0.9, 1.0})
    add("Geometric " + std::to_string(p),
        [=](auto s, int n, auto r, int) { return _rnqiRngGeometric(0, s, n, r, p); });
  for (auto [n0, p] : {std::pair{10, 0.3},
                       {1000, 0.0299},
                       {1000, 0.03},
                       {1000, 0.3},
                       {1000, 0.5},
                       {60, 0.5},
                       {1000, 0.97},
                       {40, 0.75},
                       {INT32_MAX, 0.3},
                       {INT32_MAX, 1e-9},
                       {7, 0.0},
                       {7, 1.0},
                       {0, 0.5}})
    add("Binomial " + std::to_string(n0) + " " + std::to_string(p),
        [=, n0 = n0, p = p](auto s, int n, auto r, int) { return _rnqiRngBinomial(0, s, n, r, n0, p); });
  for (double lambda : {0.0, 0.05, 5.0, 26.9, 27.0, 50.0, 100.0, 101.5, 1e6, 1e9, 1e300})
    add("Poisson " + std::to_string(lambda),
        [=](auto s, int n, auto r, int) { return _rnqiRngPoisson(RnqPoissonPTPE, s, n, r, lambda); });
  for (double lambda : {0.01, 0.99, 1.0, 63.0, 99.9, 100.0, 1e9})
    add("Poisson normal " + std::to_string(lambda),
        [=](auto s, int n, auto r, int) { return _rnqiRngPoisson(RnqPoissonNormal, s, n, r, lambda); });
  static std::vector<double> const means = [] {
    std::vector<double> m;
    for (int i = 0; i < 20000; ++i) m.push_back(0.01 * (1 << i % 21));
    return m;
  }();
  add("PoissonV",
      [](auto s, int n, auto r, int first) { return _rnqiRngPoissonV(0, s, n, r, means.data() + first); });
  for (auto [a, p] : {std::pair{0.5, 0.4},
                      {5.0, 0.5},
                      {1.0, 1.2e-7},
                      {0.01, 1e-5},
                      {2.0, 0.01},
                      {150.0, 0.6},
                      {150.0, 0.3},
                      {1.05, 1e-4},
                      {1e6, 0.5},
                      {0.3, 1e-8},
                      {1.0, 1e-8},
                      {1.5, 1e-8},
                      {3.0, 1e-100},
                      {0.001, 1e-200},
                      {1e-6, 1e-12},
                      {20.0, 1.0},
                      {1e300, 0.5}})
    add("Negbinomial " + std::to_string(a) + " " + std::to_string(p),
        [=, a = a, p = p](auto s, int n, auto r, int) { return _rnqiRngNegbinomial(0, s, n, r, a, p); });
  struct Lot {
    int l, s, m;
  };
  for (Lot lot : {Lot{100, 10, 30},
                  {100, 90, 30},
                  {100, 10, 70},
                  {100, 90, 70},
                  {1500, 300, 500},
                  {1000, 600, 700},
                  {1000, 600, 300},
                  {1000, 300, 700},
                  {INT32_MAX, 1000000000, 1000000000},
                  {10, 0, 5},
                  {10, 10, 5},
                  {10, 5, 0},
                  {10, 5, 10},
                  {0, 0, 0},
                  {INT32_MAX, 1 << 30, 60},
                  {100000, 40000, 45000}})
    add("Hypergeometric " + std::to_string(lot.l) + " " + std::to_string(lot.s) + " " + std::to_string(lot.m),
        [=](auto s, int n, auto r, int) { return _rnqiRngHypergeometric(0, s, n, r, lot.l, lot.s, lot.m); });
  static double const p5[] = {0.1, 0.2, 0.3, 0.0, 0.4}, p64[64] = {0.5, 0, 0.25, 0.25};
  all.push_back({"iMultinomial 50", 20, [](auto s, int n, void* r, int) {
                   return _rnqiRngMultinomial(0, s, n, static_cast<int32_t*>(r), 50, 5, p5);
                 }});
  all.push_back({"iMultinomial 3 of 64", 256, [](auto s, int n, void* r, int) {
                   return _rnqiRngMultinomial(0, s, n, static_cast<int32_t*>(r), 3, 64, p64);
                 }});
  all.push_back({"iUniformBits64", 8, [](auto s, int n, void* r, int) {
                   return _rnqiRngUniformBits64(0, s, n, static_cast<uint64_t*>(r));
                 }});
  return all;
}

} // namespace orv::test
