// Draws against the exact distributions: chi-square and, for reals, Kolmogorov-Smirnov tests on both sides of every
// switch of method. Seeds are fixed, so a value of p below the limit is a fault. ORV_DRAWS sets the number of draws;
// ORV_P_VALUES=FILE has the values of p written.
#include "orv/distributions.h"
#include "tests/streams/stream_tools.h"

#include <boost/math/distributions.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace {

using tools::Stream;
namespace bm = boost::math;
using Cdf = std::function<double(double)>;

int draws() {
  char const* text = std::getenv("ORV_DRAWS");
  return text ? std::atoi(text) : 300'000;
}
void record(std::string const& name, double p) {
  if (char const* path = std::getenv("ORV_P_VALUES"))
    if (std::FILE* file = std::fopen(path, "a")) {
      std::fprintf(file, "%s,%d,%.3g\n", name.c_str(), draws(), p);
      std::fclose(file);
    }
}
constexpr double limit = 1e-6;

double chi_square_p(std::vector<double> const& expected, std::vector<int64_t> const& seen) {
  double statistic = 0, waiting = 0;
  int64_t waiting_seen = 0;
  int bins = 0;
  for (size_t i = 0; i < expected.size(); ++i) { // bins of at least 10
    waiting += expected[i];
    waiting_seen += seen[i];
    if (waiting < 10 && i + 1 < expected.size()) continue;
    if (waiting > 0.5)
      statistic += (waiting_seen - waiting) * (waiting_seen - waiting) / waiting;
    else if (waiting_seen > 3)
      return 0;
    ++bins;
    waiting = 0;
    waiting_seen = 0;
  }
  return bins < 2 ? 1 : bm::gamma_q((bins - 1) / 2.0, statistic / 2);
}

// Terms by ratios from the mode, in extended precision.
struct Terms {
  int64_t low = 0;
  std::vector<double> below; // P(K < low + i)
  Terms(int64_t mode, int64_t least, int64_t most, std::function<long double(int64_t)> const& ratio) {
    std::vector<long double> up{1}, down;
    for (int64_t k = mode; k < most && (up.back() > 1e-25L); ++k) up.push_back(up.back() * ratio(k));
    for (int64_t k = mode; k > least && (k == mode || down.back() > 1e-25L); --k)
      down.push_back((k == mode ? 1 : down.back()) / ratio(k - 1));
    low = mode - static_cast<int64_t>(down.size());
    long double total = 0, sum = 0;
    for (long double f : up) total += f;
    for (long double f : down) total += f;
    for (size_t i = down.size(); i-- > 0;) below.push_back(static_cast<double>(sum / total)), sum += down[i];
    for (long double f : up) below.push_back(static_cast<double>(sum / total)), sum += f;
  }
  double operator()(double k) const { // P(K <= k)
    double const i = k - low + 1;
    return i < 0 ? 0 : i >= below.size() ? 1 : below[static_cast<size_t>(i)];
  }
};

using DrawInt = std::function<int32_t(RngStream*, int, int32_t*)>;

// cdf(k) = P(K <= k); `inside` and `outside` the range of interest.
void check_integers(std::string const& name, DrawInt const& draw, Cdf const& cdf, int32_t brng = RnqMT19937) {
  Stream s(brng, {20260101});
  int const n = draws();
  std::vector<int32_t> r(n);
  ASSERT_EQ(draw(s.p, n, r.data()), RnqOk) << name;
  // Edges at quantiles, found by bisection.
  std::vector<double> edges;
  for (int i = 1; i < 200; ++i) {
    double low = -2147483649.0, high = 2147483647;
    while (high - low > 1) {
      double const middle = std::floor((low + high) / 2);
      (cdf(middle) * 200 >= i ? high : low) = middle;
    }
    if (edges.empty() || high > edges.back()) edges.push_back(high);
  }
  // Tails have bins of their own.
  for (double tail : {1e-3, 1e-4}) {
    double low = -2147483649.0, high = 2147483647;
    while (high - low > 1) {
      double const middle = std::floor((low + high) / 2);
      (1 - cdf(middle) <= tail ? high : low) = middle;
    }
    if (high < 2147483647 && high > edges.back()) edges.push_back(high);
  }
  std::vector<double> expected;
  double last = 0;
  for (double e : edges) expected.push_back(n * (cdf(e) - last)), last = cdf(e);
  expected.push_back(n * (1 - last));
  std::vector<int64_t> seen(expected.size());
  for (int32_t x : r)
    ++seen[std::lower_bound(edges.begin(), edges.end(), static_cast<double>(x)) - edges.begin()];
  double const p = chi_square_p(expected, seen);
  record(name, p);
  EXPECT_GT(p, limit) << name;
}

// Counts between quantiles: chi-square, and Kolmogorov-Smirnov at the quantiles, which is a little too mild. A float
// stands for the reals that round to it and is spread over them.
template <class T>
void check_reals(std::string const& name, std::function<int32_t(RngStream*, int, T*)> const& draw,
                 Cdf const& cdf, double lowest, double highest) {
  Stream s(RnqMT19937, {20260102});
  int const n = draws(), bins = 200;
  std::vector<T> r(n);
  ASSERT_EQ(draw(s.p, n, r.data()), RnqOk) << name;
  std::vector<double> edges;
  for (int i = 1; i < bins; ++i) {
    double low = lowest, high = highest;
    for (int turn = 0; turn < 60 && low < high; ++turn) {
      double const middle = low + (high - low) / 2;
      (cdf(middle) * bins >= i ? high : low) = middle;
    }
    edges.push_back(high);
  }
  std::vector<int64_t> seen(bins);
  uint32_t dither = 1;
  for (int i = 0; i < n; ++i) {
    ASSERT_FALSE(std::isnan(r[i])) << name << ' ' << i;
    T const below = std::nextafter(r[i], T(-1e30)), above = std::nextafter(r[i], T(1e30));
    dither = dither * 1664525 + 1013904223;
    double const from = (double(below) + r[i]) / 2, to = (double(above) + r[i]) / 2,
                 x = sizeof(T) == 8 ? double(r[i]) : from + (to - from) * (dither >> 8) * 0x1p-24;
    ++seen[std::lower_bound(edges.begin(), edges.end(), x) - edges.begin()];
  }
  double d = 0, sum = 0;
  for (int i = 0; i < bins; ++i) d = std::max(d, std::abs((sum += seen[i]) / n - (i + 1.0) / bins));
  double const t = d * (std::sqrt(double(n)) + 0.12 + 0.11 / std::sqrt(double(n)));
  double ks = 0;
  for (int j = 1; j < 200; ++j) ks += (j % 2 ? 2 : -2) * std::exp(-2.0 * j * j * t * t);
  if (t < 0.2) ks = 1;
  double const chi = chi_square_p(std::vector<double>(bins, double(n) / bins), seen);
  record(name + " chi-square", chi);
  record(name + " Kolmogorov", ks);
  EXPECT_GT(chi, limit) << name;
  EXPECT_GT(ks, limit) << name;
}

#define REALS(T, x, low, high, text, function, distribution, ...)                                            \
  check_reals<T>(                                                                                            \
      std::string(#x) + text,                                                                                \
      [=](RngStream* s, int n, T* r) { return _rnq##x##Rng##function(0, s, n, r, __VA_ARGS__); },            \
      [=](double v) { return distribution; }, low, high)
#define BOTH(low, high, text, function, distribution, ...)                                                   \
  REALS(double, d, low, high, text, function, distribution, __VA_ARGS__);                                    \
  REALS(float, s, low, high, text, function, distribution, __VA_ARGS__)

double normal(double v) { return bm::cdf(bm::normal(), v); }

TEST(Exact, RealsOfClosedForm) {
  for (int method : {0, 1, 2}) {
    std::string const name = "Gaussian " + std::to_string(method);
    check_reals<double>(
        "d" + name, [=](auto s, int n, double* r) { return _rnqdRngGaussian(method, s, n, r, 5, 2); },
        [](double v) { return normal((v - 5) / 2); }, -20, 30);
    check_reals<float>(
        "s" + name, [=](auto s, int n, float* r) { return _rnqsRngGaussian(method, s, n, r, 5, 2); },
        [](double v) { return normal((v - 5) / 2); }, -20, 30);
  }
  BOTH(-2, 3, "Uniform", Uniform, (v + 2) / 5, -2, 3);
  BOTH(3, 30, "Exponential", Exponential, -std::expm1(-(v - 3) / 0.5), 3, 0.5);
  BOTH(-1e4, 1e4, "Cauchy", Cauchy, 0.5 + std::atan((v - 3) / 0.5) / M_PI, 3, 0.5);
  BOTH(-20, 10, "Gumbel", Gumbel, -std::expm1(-std::exp((v - 3) / 0.5)), 3, 0.5);
  BOTH(-20, 30, "Laplace", Laplace, v < 3 ? std::exp((v - 3) / 0.5) / 2 : 1 - std::exp((3 - v) / 0.5) / 2, 3,
       0.5);
  BOTH(3, 10, "Rayleigh", Rayleigh, -std::expm1(-(v - 3) * (v - 3) / 0.25), 3, 0.5);
  BOTH(1, 60, "Weibull", Weibull, -std::expm1(-std::pow((v - 1) / 2, 1.7)), 1.7f, 1, 2);
  BOTH(1, 60, "Lognormal", Lognormal, v <= 1 ? 0 : normal((std::log((v - 1) / 2) - 0.5) / 0.25), 0.5, 0.25, 1,
       2);
}

TEST(Exact, Gamma) {
  for (float alpha : {0.001f, 0.3f, 0.59f, 0.6f, 0.75f, 0.99f, 1.0f, 1.01f, 2.5f, 40.0f, 1e5f, 1e9f}) {
    bm::gamma_distribution<> const g(alpha);
    bool const tiny = alpha < 0.01f;
    auto const cdf = [=](double v) { return bm::cdf(g, v > 0 ? v : tiny ? 1e-300 : 0); };
    if (!tiny) { // most of the smallest shape underflows
      BOTH(0, alpha + 20 * std::sqrt(alpha) + 20, "Gamma " + std::to_string(alpha), Gamma, cdf(v), alpha, 0,
           1);
      continue;
    }
    // Those that are above 1e-30.
    Stream s(RnqMT19937, {5});
    std::vector<double> r(draws());
    ASSERT_EQ(_rnqdRngGamma(0, s.p, draws(), r.data(), alpha, 0, 1), RnqOk);
    std::vector<double> expected;
    std::vector<int64_t> seen(4);
    double last = 0;
    for (double edge : {1e-200, 1e-30, 1e-3})
      expected.push_back(draws() * (cdf(edge) - last)), last = cdf(edge);
    expected.push_back(draws() * (1 - last));
    for (double x : r) ++seen[x < 1e-200 ? 0 : x < 1e-30 ? 1 : x < 1e-3 ? 2 : 3];
    EXPECT_GT(chi_square_p(expected, seen), limit)
        << seen[0] << ' ' << seen[1] << ' ' << seen[2] << ' ' << seen[3];
  }
}

TEST(Exact, Beta) {
  for (auto [p, q] : {std::pair{0.3f, 0.4f},
                      {0.9f, 0.8f},
                      {0.5f, 0.743f},
                      {0.5f, 0.744f},
                      {0.5f, 3.0f},
                      {4.0f, 0.25f},
                      {2.0f, 3.0f},
                      {1.0f, 1.0f},
                      {1.0f, 2.5f},
                      {2.5f, 1.0f},
                      {1.001f, 1.001f},
                      {1e4f, 1e4f},
                      {1e8f, 1e8f},
                      {0.5f, 1e4f},
                      {1e4f, 0.5f},
                      {1.0f, 1e8f},
                      {3.0f, 1e6f}}) {
    std::string const name = "Beta " + std::to_string(p) + ' ' + std::to_string(q);
    bm::beta_distribution<> const b(p, q);
    auto const cdf = [=](double v) { return bm::cdf(b, v < 0 ? 0 : v > 1 ? 1 : v); };
    double const mean = bm::mean(b), sd = bm::standard_deviation(b);
    double const low = std::max(0.0, mean - 40 * sd), high = std::min(1.0, mean + 40 * sd);
    REALS(double, d, low, high, name, Beta, cdf(v), p, q, 0, 1);
    if (p > 1 && q < 1) continue; // with a pole at 1 a float near it stands for too many reals
    REALS(float, s, low, high, name, Beta, cdf(v), p, q, 0, 1);
  }
}

TEST(Exact, ChiSquare) {
  for (int v0 : {1, 2, 3, 4, 5, 16, 17, 18}) {
    bm::chi_squared const c(v0);
    BOTH(0, 200, "ChiSquare " + std::to_string(v0), ChiSquare, bm::cdf(c, v), v0);
  }
}

TEST(Exact, Integers) {
  check_integers(
      "iUniform", [](auto s, int n, auto r) { return _rnqiRngUniform(0, s, n, r, -3, 47); },
      [](double k) { return std::clamp((k + 4) / 50, 0.0, 1.0); });
  for (double p : {0.0, 1e-3, 0.3, 0.5, 1.0})
    check_integers(
        "Bernoulli " + std::to_string(p),
        [=](auto s, int n, auto r) { return _rnqiRngBernoulli(0, s, n, r, p); },
        [=](double k) { return k < 0   ? 0
                               : k < 1 ? 1 - p
                                       : 1; });
  for (double p : {1e-5, 0.1, 0.5, 0.9, 1.0})
    check_integers(
        "Geometric " + std::to_string(p),
        [=](auto s, int n, auto r) { return _rnqiRngGeometric(0, s, n, r, p); },
        [=](double k) { return k < 0    ? 0
                               : p == 1 ? 1
                                        : -std::expm1((k + 1) * std::log1p(-p)); });
}

TEST(Exact, Binomial) {
  for (auto [n0, p] : {std::pair{1, 0.3},
                       {10, 0.3},
                       {1000, 0.0299},
                       {1000, 0.03},
                       {60, 0.5},
                       {59, 0.5},
                       {1000, 0.3},
                       {1000, 0.5},
                       {1000, 0.97},
                       {100000, 0.9},
                       {100'000'000, 0.3},
                       {INT32_MAX, 0.3},
                       {INT32_MAX, 1e-9},
                       {INT32_MAX, 0.999},
                       {7, 0.0},
                       {7, 1.0}}) {
    long double const odds = static_cast<long double>(p) / (1 - static_cast<long double>(p));
    auto const draw = [=, n0 = n0, p = p](auto s, int n, auto r) {
      return _rnqiRngBinomial(0, s, n, r, n0, p);
    };
    std::string const name = "Binomial " + std::to_string(n0) + ' ' + std::to_string(p);
    if (p == 0 || p == 1)
      check_integers(name, draw, [=, n0 = n0, p = p](double k) { return k >= n0 * p; });
    else
      check_integers(name, draw, Terms(static_cast<int64_t>((n0 + 1.0) * p), 0, n0, [=, n0 = n0](int64_t k) {
                       return odds * (n0 - k) / (k + 1);
                     }));
  }
}

TEST(Exact, Poisson) {
  for (double lambda : {0.0, 0.05, 1.0, 5.0, 26.999, 27.0, 50.0, 99.9, 100.5, 1e3, 1e6, 1e9})
    check_integers(
        "Poisson " + std::to_string(lambda),
        [=](auto s, int n, auto r) { return _rnqiRngPoisson(RnqPoissonPTPE, s, n, r, lambda); },
        Terms(static_cast<int64_t>(lambda), 0, INT64_MAX,
              [=](int64_t k) { return static_cast<long double>(lambda) / (k + 1); }));
  check_integers(
      "Poisson small mean", [](auto s, int n, auto r) { return _rnqiRngPoisson(1, s, n, r, 0.75); },
      Terms(0, 0, INT64_MAX, [](int64_t k) { return 0.75L / (k + 1); }));
}

TEST(Exact, NegativeBinomial) {
  for (auto [a, p] : {std::pair{0.5, 0.4},
                      {5.0, 0.5},
                      {1.0, 0.25},
                      {2.0, 0.01},
                      {150.0, 0.6},
                      {150.0, 0.601},
                      {150.0, 0.3},
                      {1e6, 0.5},
                      {1.05, 1e-4},
                      {1.5, 0.00497},
                      {1.5, 0.00498},
                      {20.0, 0.1}})
    check_integers(
        "Negbinomial " + std::to_string(a) + ' ' + std::to_string(p),
        [=, a = a, p = p](auto s, int n, auto r) { return _rnqiRngNegbinomial(0, s, n, r, a, p); },
        Terms(std::max<int64_t>(0, static_cast<int64_t>((a - 1) * (1 - p) / p)), 0, INT64_MAX,
              [=, a = a, p = p](int64_t k) {
                return (1 - static_cast<long double>(p)) * (a + static_cast<long double>(k)) / (k + 1);
              }));
  // Means and tails of millions: by the incomplete beta function.
  for (auto [a, p] : {std::pair{1.0, 1.2e-7},
                      {1.0, 1e-4},
                      {0.01, 1e-5},
                      {0.3, 1e-6},
                      {0.3, 1e-8},
                      {0.02, 1e-9},
                      {1.0, 1e-8},
                      {1.5, 1e-7},
                      {1.00001, 1e-8},
                      {30.0, 1e-6},
                      {100.0, 1e-7}}) {
    bm::negative_binomial_distribution<> const d(a, p);
    check_integers(
        "Negbinomial " + std::to_string(a) + ' ' + std::to_string(p),
        [=, a = a, p = p](auto s, int n, auto r) { return _rnqiRngNegbinomial(0, s, n, r, a, p); },
        [=](double k) { return k < 0             ? 0
                               : k >= 2147483647 ? 1
                                                 : bm::cdf(d, k); });
  }
}

TEST(Exact, Hypergeometric) {
  struct Lot {
    int64_t l, s, m;
  };
  for (Lot t : {Lot{100, 10, 30},
                {100, 90, 30},
                {100, 10, 70},
                {100, 90, 70},
                {1500, 300, 500},
                {1000, 600, 700},
                {1000, 600, 300},
                {1000, 300, 700},
                {1000, 300, 300},
                {160, 80, 79},
                {162, 81, 80},
                {160, 80, 81},
                {INT32_MAX, 1'000'000'000, 1'000'000'000},
                {INT32_MAX, 1 << 30, 60},
                {1'000'000, 40000, 450000},
                {64000, 16000, 32000},
                {64008, 16002, 32002},
                {10, 0, 5},
                {10, 10, 5},
                {10, 5, 10},
                {1, 1, 1}}) {
    int64_t const least = std::max<int64_t>(0, t.s + t.m - t.l), most = std::min(t.s, t.m);
    check_integers(
        "Hypergeometric " + std::to_string(t.l) + ' ' + std::to_string(t.s) + ' ' + std::to_string(t.m),
        [=](auto s, int n, auto r) {
          return _rnqiRngHypergeometric(0, s, n, r, static_cast<int>(t.l), static_cast<int>(t.s),
                                        static_cast<int>(t.m));
        },
        Terms((t.s + 1) * (t.m + 1) / (t.l + 2), least, most, [=](int64_t k) {
          return static_cast<long double>(t.s - k) * (t.m - k) /
                 (static_cast<long double>(k + 1) * (t.l - t.m - t.s + k + 1));
        }));
  }
}

// Maps from Gaussian numbers: not exact, but to 2e-4 of the distribution function. The largest deviation that is
// seen may add what so many draws scatter.
void check_map(std::string const& name, DrawInt const& draw, double lambda) {
  Stream s(RnqMT19937, {20260103});
  int const n = draws();
  std::vector<int32_t> r(n);
  ASSERT_EQ(draw(s.p, n, r.data()), RnqOk) << name;
  std::sort(r.begin(), r.end());
  Terms const exact(static_cast<int64_t>(lambda), 0, INT64_MAX,
                    [=](int64_t k) { return static_cast<long double>(lambda) / (k + 1); });
  double worst = 0;
  for (int i = 0; i < n; ++i)
    if (i + 1 == n || r[i + 1] != r[i]) worst = std::max(worst, std::abs((i + 1.0) / n - exact(r[i])));
  record(name + " deviation", worst);
  EXPECT_LT(worst, 2e-4 + 2.2 / std::sqrt(n)) << name;
  EXPECT_GE(r[0], 0) << name;
}

TEST(Exact, PoissonFromGaussian) {
  for (double lambda : {1.0, 1.9, 2.5, 7.0, 33.0, 63.9, 64.0, 99.9, 100.0, 1000.0})
    check_map(
        "Poisson normal " + std::to_string(lambda),
        [=](auto s, int n, auto r) { return _rnqiRngPoisson(RnqPoissonNormal, s, n, r, lambda); }, lambda);
  for (double lambda : {0.0, 1e-3, 0.06, 0.0625, 0.1, 0.2, 0.7, 1.5, 3.3, 11.0, 100.0, 500.0, 8191.0, 8192.0})
    check_map(
        "PoissonV " + std::to_string(lambda),
        [=](auto s, int n, auto r) {
          return _rnqiRngPoissonV(0, s, n, r, std::vector<double>(n, lambda).data());
        },
        lambda);
}

TEST(Exact, Multinomial) {
  for (auto [trials, p] : {std::pair{50, std::vector<double>{0.1, 0.2, 0.3, 0, 0.4}},
                           {3, std::vector<double>(64, 1.0 / 64)},
                           {1000, std::vector<double>{0.25, 0.75}},
                           {100000, std::vector<double>{0.5009, 0.25, 0.25}}}) {
    Stream s(RnqMT19937, {7});
    int const n = draws() / 30, k = static_cast<int>(p.size());
    std::vector<int32_t> r(static_cast<size_t>(n) * k);
    ASSERT_EQ(_rnqiRngMultinomial(0, s.p, n, r.data(), trials, k, p.data()), RnqOk);
    double total = 0;
    for (double x : p) total += x;
    std::vector<double> mean(k);
    for (int i = 0; i < n; ++i) {
      int64_t sum = 0;
      for (int j = 0; j < k; ++j) {
        ASSERT_GE(r[i * k + j], 0);
        sum += r[i * k + j];
        mean[j] += r[i * k + j];
      }
      ASSERT_EQ(sum, trials);
    }
    for (int j = 0; j < k; ++j) {
      double const share = p[j] / total, sd = std::sqrt(trials * share * (1 - share) / n);
      EXPECT_NEAR(mean[j] / n, trials * share, 5 * sd + 1e-4 * trials * share) << trials << ' ' << j;
    }
  }
}

} // namespace
