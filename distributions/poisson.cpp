// Poisson numbers: by inversion below a mean of 27, else the method PTPE of B. Schmeiser, V. Kachitvichyanukul
// (Purdue University, 1981); or from one Gaussian number by a polynomial map (poisson_normal.h).
#include "distributions/chunk.h"
#include "distributions/frame.h"
#include "distributions/gaussian.h"
#include "distributions/inversion.h"
#include "distributions/log_density.h"
#include "distributions/mode_rejection.h"
#include "distributions/poisson_normal.h"

namespace orv::distributions {
namespace {

constexpr int near = 32;
constexpr int64_t no_end = INT64_MAX;

struct Table {
  double lambda, c[86];
  static double next(double lambda, int64_t k) { return lambda / static_cast<double>(k + 1); }
  bool fits(double l) const { return lambda == l && stored_sums(c, 86) > 0; }
  void make(double l) {
    lambda = l;
    running_sums(c, static_cast<int>(l) + 16, kernel::exp(-l), no_end, [=](int64_t k) { return next(l, k); });
  }
};
static_assert(sizeof(Table) == 696);

int32_t by_inversion(Source const& source, int n, int32_t* r, double lambda) {
  auto* const table = cached<Table>(source.stream(), poisson_chunk, lambda);
  if (!table) return RnqErrNoMemory;
  int const count = stored_sums(table->c, 86);
  Inversion const inversion(table->c, count, n);
  auto const beyond = [&](double u) {
    return walk_on(table->c, count, kernel::exp(-lambda), no_end, u,
                   [=](int64_t k) { return Table::next(lambda, k); });
  };
  return drawn_apart<double>(source, n, r, 0.0, 1.0,
                             [&](int m, double* u, int32_t* out) { inversion.search(m, u, out, beyond); });
}

struct Density {
  static constexpr bool triangle = true;
  double half, inverse_half, band, inverse_band;
  double lambda, mode;
  void log_ratio(int n, double const* k, double* out) const {
    double const slope = kernel::log1p((lambda - mode) / mode);
    for (int i = 0; i < n; ++i) out[i] = k[i] * slope;
    add_factorial_steps(n, mode, 1, k, -1, out);
  }
};

struct Setup {
  double lambda;
  Hat hat;
  double half, band;
  Ratios<near> ratios;
  char unused[696 - 10 * 8 - sizeof(Ratios<near>)];

  bool fits(double l) const {
    return lambda == l && hat.sound(kernel::sqrt(l)) && half >= 1 && half <= hat.centre &&
           hat.left == 0.5 - half && band > 0.1 && band < 2;
  }
  void make(double l) {
    lambda = l;
    double const mode = kernel::floor(l);
    half = kernel::floor(2.195 * kernel::sqrt(mode) - 2.2) + 0.5;
    band = 0.133 + 8.56 / (l + 6.83);
    double const left = mode + 0.5 - half, right = mode + 0.5 + half;
    double const cl = (l - left) / l, cr = (right - l) / right;
    hat.left = 0.5 - half;
    hat.right = 0.5 + half;
    hat.left_rate = cl * (1 + cl / 2);
    hat.right_rate = cr * (1 + cr / 2);
    hat.centre = half * (1 + 2 * band);
    hat.with_left = hat.centre + (0.109 + 8.25 / (l + 10.86)) / hat.left_rate;
    hat.with_right = hat.with_left + band / hat.right_rate;
    ratios.make([=](int k) { return l / (mode + k); },
                [=](int k) {
                  double const x = mode - k + 1;
                  return x > 0 ? x / l : 0;
                });
  }
};
static_assert(sizeof(Setup) == 696);

int32_t by_rejection(Source const& source, int n, int32_t* r, double lambda) {
  auto* const setup = cached<Setup>(source.stream(), poisson_chunk, lambda);
  if (!setup) return RnqErrNoMemory;
  double const mode = kernel::floor(lambda);
  Density const density{setup->half, 1 / setup->half, setup->band, 1 / setup->band, lambda, mode};
  ModeRejection<float, near, Density> scheme{setup->hat, setup->ratios, density, mode, 1 - mode, 1e300};
  return accept<float>(source, n, r, scheme);
}

// Below 1: the first k whose partial sum of e^lambda is not below a number on 0 to e^lambda.
int32_t small_mean(Source const& source, int n, int32_t* r, double lambda) {
  float sums[11];
  double sum = 1, term = 1;
  sums[0] = 1;
  for (int k = 1; k <= 10; ++k) sums[k] = static_cast<float>(sum += term *= lambda / k);
  auto const top = static_cast<float>(exp_below_one(lambda));
  return drawn_apart<float>(source, n, r, 0.0f, top, [&](int m, float* u, int32_t* out) {
    for (int i = 0; i < m; ++i) {
      int k = 0;
      while (k < 11 && u[i] > sums[k]) ++k;
      out[i] = k;
    }
  });
}

int32_t from_gaussians(Source const& source, int n, int32_t* r, double lambda) {
  Frame const frame(replace_singular<float, Replace::gaussian>);
  PoissonMap const poisson(lambda);
  float g[piece];
  for (int done = 0; done < n;) {
    int const m = std::min(piece, n - done);
    if (int32_t const status = gaussian(RnqGaussianInverse, source, m, g, 0.0f, 1.0f); status < 0)
      return status;
    poisson(m, g, r + done);
    done += m;
  }
  return RnqOk;
}

int32_t poisson(int32_t method, RngStream* stream, int n, int32_t* r, double lambda) {
  if (n <= 0) return RnqOk;
  if (method != RnqPoissonPTPE && method != RnqPoissonNormal) return RnqErrBadMethod;
  if (!(lambda >= 0 && lambda <= simd::Format<double>::largest)) return RnqErrBadArgument;
  Frame const frame(replace_singular<float, Replace::ln>);
  lambda = launder(lambda);
  Source const source(stream);
  if (method == RnqPoissonPTPE && lambda > 1e10) { // the largest result is 10^5 standard deviations below
    std::fill_n(r, n, INT32_MAX);
    return RnqOk;
  }
  if (method == RnqPoissonPTPE)
    return lambda < 27 ? by_inversion(source, n, r, lambda) : by_rejection(source, n, r, lambda);
  return lambda < 1 ? small_mean(source, n, r, lambda) : from_gaussians(source, n, r, lambda);
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngPoisson(int32_t method, RngStream* stream, int32_t n, int32_t* r, double lambda) {
  return poisson(method, stream, n, r, lambda);
}
