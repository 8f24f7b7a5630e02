// Core cycles of a number over MT19937, n = 1, 1024 and 10^6, beside the peers' scalar generators over theirs.
//
//   bench_distributions [--runs N]
//
// A figure is the median of N (15) runs, in which all take their turn.
#include "orv/distributions.h"
#include "bench/cycles.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>
#ifdef ORV_HAS_BOOST
#  include <boost/random.hpp>
#endif
#ifdef ORV_HAS_GSL
#  include <gsl/gsl_randist.h>
#endif

namespace {

using Fill = std::function<void(int n)>;
struct Column {
  Fill fill;
  std::vector<double> cycles[3] = {};
};
struct Row {
  std::string name;
  Column ours, std_peer, boost_peer, gsl_peer;
};
constexpr int sizes[] = {1, 1024, 1000000};

std::vector<double> reals(1000000);
std::vector<float> singles(1000000);
std::vector<int32_t> integers(1000000);
RngStream* stream;
volatile double sink;

template <class Distribution>
Column standard(Distribution d) {
  return {[d, e = std::mt19937()](int n) mutable {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += static_cast<double>(d(e));
    sink = sum;
  }};
}
#ifdef ORV_HAS_BOOST
template <class Distribution>
Column boosted(Distribution d) {
  return {[d, e = boost::random::mt19937()](int n) mutable {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += static_cast<double>(d(e));
    sink = sum;
  }};
}
#  define BOOST_PEER(...) boosted(boost::random::__VA_ARGS__)
#else
#  define BOOST_PEER(...)                                                                                    \
    Column {}
#endif
#ifdef ORV_HAS_GSL
template <class Call>
Column gsl(Call call) {
  return {[call, g = gsl_rng_alloc(gsl_rng_mt19937)](int n) {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += static_cast<double>(call(g));
    sink = sum;
  }};
}
#  define GSL_PEER(...) gsl([](gsl_rng* g) { return __VA_ARGS__; })
#else
#  define GSL_PEER(...)                                                                                      \
    Column {}
#endif
#define D(name, method, ...)                                                                                 \
  {                                                                                                          \
    [](int n) { _rnqdRng##name(method, stream, n, reals.data(), __VA_ARGS__); }                              \
  }
#define S(name, method, ...)                                                                                 \
  {                                                                                                          \
    [](int n) { _rnqsRng##name(method, stream, n, singles.data(), __VA_ARGS__); }                            \
  }
#define I(name, method, ...)                                                                                 \
  {                                                                                                          \
    [](int n) { _rnqiRng##name(method, stream, n, integers.data(), __VA_ARGS__); }                           \
  }

std::vector<Row> rows() {
  return {
      {"d Uniform", D(Uniform, 0, 0, 1), standard(std::uniform_real_distribution<>()),
       BOOST_PEER(uniform_real_distribution<>()), GSL_PEER(gsl_rng_uniform(g))},
      {"d Gaussian 0", D(Gaussian, 0, 0, 1), standard(std::normal_distribution<>()),
       BOOST_PEER(normal_distribution<>()), GSL_PEER(gsl_ran_gaussian_ziggurat(g, 1))},
      {"d Gaussian 1", D(Gaussian, 1, 0, 1), standard(std::normal_distribution<>()),
       BOOST_PEER(normal_distribution<>()), GSL_PEER(gsl_ran_gaussian_ziggurat(g, 1))},
      {"d Gaussian 2", D(Gaussian, 2, 0, 1), standard(std::normal_distribution<>()),
       BOOST_PEER(normal_distribution<>()), GSL_PEER(gsl_ran_gaussian_ziggurat(g, 1))},
      {"s Gaussian 1",
       S(Gaussian, 1, 0, 1),
       standard(std::normal_distribution<float>()),
       BOOST_PEER(normal_distribution<float>()),
       {}},
      {"s Gaussian 2",
       S(Gaussian, 2, 0, 1),
       standard(std::normal_distribution<float>()),
       BOOST_PEER(normal_distribution<float>()),
       {}},
      {"d Exponential", D(Exponential, 0, 0, 1), standard(std::exponential_distribution<>()),
       BOOST_PEER(exponential_distribution<>()), GSL_PEER(gsl_ran_exponential(g, 1))},
      {"s Exponential",
       S(Exponential, 0, 0, 1),
       standard(std::exponential_distribution<float>()),
       BOOST_PEER(exponential_distribution<float>()),
       {}},
      {"d Cauchy", D(Cauchy, 0, 0, 1), standard(std::cauchy_distribution<>()),
       BOOST_PEER(cauchy_distribution<>()), GSL_PEER(gsl_ran_cauchy(g, 1))},
      {"d Laplace",
       D(Laplace, 0, 0, 1),
       {},
       BOOST_PEER(laplace_distribution<>()),
       GSL_PEER(gsl_ran_laplace(g, 1))},
      {"d Rayleigh", D(Rayleigh, 0, 0, 1), {}, {}, GSL_PEER(gsl_ran_rayleigh(g, 1))},
      {"d Gumbel", D(Gumbel, 0, 0, 1), standard(std::extreme_value_distribution<>()),
       BOOST_PEER(extreme_value_distribution<>()), GSL_PEER(gsl_ran_gumbel1(g, 1, 1))},
      {"d Lognormal", D(Lognormal, 0, 0, 1, 0, 1), standard(std::lognormal_distribution<>()),
       BOOST_PEER(lognormal_distribution<>()), GSL_PEER(gsl_ran_lognormal(g, 0, 1))},
      {"d Weibull 1.7", D(Weibull, 0, 1.7, 0, 1), standard(std::weibull_distribution<>(1.7)),
       BOOST_PEER(weibull_distribution<>(1.7)), GSL_PEER(gsl_ran_weibull(g, 1, 1.7))},
      {"d Gamma 2.5", D(Gamma, 0, 2.5, 0, 1), standard(std::gamma_distribution<>(2.5)),
       BOOST_PEER(gamma_distribution<>(2.5)), GSL_PEER(gsl_ran_gamma(g, 2.5, 1))},
      {"d Gamma 0.75", D(Gamma, 0, 0.75, 0, 1), standard(std::gamma_distribution<>(0.75)),
       BOOST_PEER(gamma_distribution<>(0.75)), GSL_PEER(gsl_ran_gamma(g, 0.75, 1))},
      {"d Gamma 0.3", D(Gamma, 0, 0.3, 0, 1), standard(std::gamma_distribution<>(0.3)),
       BOOST_PEER(gamma_distribution<>(0.3)), GSL_PEER(gsl_ran_gamma(g, 0.3, 1))},
      {"d Beta 2, 3",
       D(Beta, 0, 2, 3, 0, 1),
       {},
       BOOST_PEER(beta_distribution<>(2, 3)),
       GSL_PEER(gsl_ran_beta(g, 2, 3))},
      {"d ChiSquare 4", D(ChiSquare, 0, 4), standard(std::chi_squared_distribution<>(4)),
       BOOST_PEER(chi_squared_distribution<>(4)), GSL_PEER(gsl_ran_chisq(g, 4))},
      {"i Uniform", I(Uniform, 0, 0, 1000), standard(std::uniform_int_distribution<>(0, 999)),
       BOOST_PEER(uniform_int_distribution<>(0, 999)), GSL_PEER(gsl_rng_uniform_int(g, 1000))},
      {"i Bernoulli", I(Bernoulli, 0, 0.3), standard(std::bernoulli_distribution(0.3)),
       BOOST_PEER(bernoulli_distribution<>(0.3)), GSL_PEER(gsl_ran_bernoulli(g, 0.3))},
      {"i Geometric", I(Geometric, 0, 0.1), standard(std::geometric_distribution<>(0.1)),
       BOOST_PEER(geometric_distribution<>(0.1)), GSL_PEER(gsl_ran_geometric(g, 0.1))},
      {"i Poisson 5", I(Poisson, 0, 5), standard(std::poisson_distribution<>(5)),
       BOOST_PEER(poisson_distribution<>(5)), GSL_PEER(gsl_ran_poisson(g, 5))},
      {"i Poisson 50", I(Poisson, 0, 50), standard(std::poisson_distribution<>(50)),
       BOOST_PEER(poisson_distribution<>(50)), GSL_PEER(gsl_ran_poisson(g, 50))},
      {"i Poisson 50, method 1", I(Poisson, 1, 50), standard(std::poisson_distribution<>(50)),
       BOOST_PEER(poisson_distribution<>(50)), GSL_PEER(gsl_ran_poisson(g, 50))},
      {"i Poisson 10^6", I(Poisson, 0, 1e6), standard(std::poisson_distribution<>(1e6)),
       BOOST_PEER(poisson_distribution<>(1e6)), GSL_PEER(gsl_ran_poisson(g, 1e6))},
      {"i Binomial 20, 0.3", I(Binomial, 0, 20, 0.3), standard(std::binomial_distribution<>(20, 0.3)),
       BOOST_PEER(binomial_distribution<>(20, 0.3)), GSL_PEER(gsl_ran_binomial(g, 0.3, 20))},
      {"i Binomial 1000, 0.3", I(Binomial, 0, 1000, 0.3), standard(std::binomial_distribution<>(1000, 0.3)),
       BOOST_PEER(binomial_distribution<>(1000, 0.3)), GSL_PEER(gsl_ran_binomial(g, 0.3, 1000))},
      {"i Negbinomial 150, 0.3", I(Negbinomial, 0, 150, 0.3),
       standard(std::negative_binomial_distribution<>(150, 0.3)),
       BOOST_PEER(negative_binomial_distribution<>(150, 0.3)),
       GSL_PEER(gsl_ran_negative_binomial(g, 0.3, 150))},
      {"i Hypergeometric 1500, 300, 500",
       I(Hypergeometric, 0, 1500, 300, 500),
       {},
       {},
       GSL_PEER(gsl_ran_hypergeometric(g, 500, 1000, 300))},
  };
}

double median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

} // namespace

int main(int count, char** args) {
  int const runs = count == 3 && !std::strcmp(args[1], "--runs") ? std::atoi(args[2]) : 15;
  uint32_t const seed = 1;
  if (__rnqNewStreamEx(&stream, 0x800000, 1, &seed) < 0) return 1;
  auto list = rows();
  for (int run = 0; run < runs; ++run)
    for (Row& row : list)
      for (int k = 0; k < 3; ++k)
        for (Column* c : {&row.ours, &row.std_peer, &row.boost_peer, &row.gsl_peer}) {
          if (!c->fill || (c != &row.ours && k != 1) || (k == 2 && run >= 3)) continue;
          int const repeats = k == 0 ? 200 : k == 1 ? 4 : 1;
          c->cycles[k].push_back(
              orv::bench::cycles_per_element(sizes[k], repeats, [&] { c->fill(sizes[k]); }));
        }
  std::printf("%-32s %8s %8s %8s | %8s %8s %8s | ratio to the fastest peer\n", "cycles a number", "n 1024",
              "n 1", "n 10^6", "std", "Boost", "GSL");
  for (Row& row : list) {
    double best = 0;
    for (Column* c : {&row.std_peer, &row.boost_peer, &row.gsl_peer}) {
      double const m = median(c->cycles[1]);
      if (m > 0 && (best == 0 || m < best)) best = m;
    }
    double const ours = median(row.ours.cycles[1]);
    std::printf("%-32s %8.2f %8.0f %8.2f | %8.1f %8.1f %8.1f | %.1f\n", row.name.c_str(), ours,
                median(row.ours.cycles[0]), median(row.ours.cycles[2]), median(row.std_peer.cycles[1]),
                median(row.boost_peer.cycles[1]), median(row.gsl_peer.cycles[1]), best / ours);
  }
  __rnqDeleteStream(&stream);
}
