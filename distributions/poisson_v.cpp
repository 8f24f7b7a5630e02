// Poisson numbers with a mean for each result, and the polynomial maps from Gaussian numbers that they share with
// method 1 of Poisson.
#include "distributions/poisson_v.h"

#include "distributions/frame.h"
#include "distributions/gaussian.h"
#include "distributions/kernels.h"
#include "distributions/poisson_normal.h"

namespace orv::distributions {

#include "distributions/poisson_tables.inc"

PoissonMap::PoissonMap(double lambda) : lambda_(lambda), a_(0), c_{} {
  if (!(lambda < 100)) return;
  int const exponent = static_cast<int>(std::bit_cast<uint64_t>(lambda) >> 52) - 1023;
  double const* const t = poisson_rows[exponent];
  double const scale = std::bit_cast<double>(static_cast<uint64_t>(1023 - exponent) << 52);
  double const z = static_cast<double>(static_cast<float>(lambda * scale)) - 1;
  a_ = static_cast<float>(1 + t[0] + z * (t[1] + z * t[2]));
  for (int j = 0; j < 5; ++j) {
    double const* const c = t + 3 + 4 * j;
    c_[j] = static_cast<float>(c[0] + z * (c[1] + z * (c[2] + z * c[3])));
  }
}

void PoissonMap::operator()(int n, float const* g, int32_t* r) const {
  if (lambda_ < 100) {
    for (int i = 0; i < n; ++i) {
      float const x = g[i];
      float const y = a_ + c_[0] * x * (c_[1] + x * (c_[2] + x * (c_[3] + x * c_[4])));
      r[i] = _mm_cvttss_si32(_mm_set_ss(y > 0 ? y : 0));
    }
    return;
  }
  LargeMean const large(lambda_);
  for (int i = 0; i < n; ++i) r[i] = large(g[i]);
}

namespace {

constexpr double smallest_row = 0.0625, largest_row = 8192;

// w is a uniform number, |erf(g / sqrt 2)|.
int32_t tiny_mean(double lambda, double w) {
  double const top = exp_of_tiny(lambda) * w;
  double sum = 1, term = 1;
  int k = 0;
  while (k < 11 && static_cast<double>(static_cast<float>(sum)) < top) {
    ++k;
    term *= lambda / k;
    sum += term;
  }
  return k;
}

int32_t by_row(double lambda, double g) {
  if (lambda >= largest_row) return LargeMean(lambda)(g);
  int const exponent = static_cast<int>(std::bit_cast<uint64_t>(lambda) >> 52) - 1019;
  double const* const c = poisson_v_rows[exponent];
  double const t = std::bit_cast<double>((std::bit_cast<uint64_t>(lambda) & ((uint64_t{1} << 52) - 1)) |
                                         uint64_t{1023} << 52) -
                   1;
  auto const cubic = [=](double const* p) { return p[0] + t * (p[1] + t * (p[2] + t * p[3])); };
  double const polynomial = cubic(c + 4) + g * (cubic(c + 8) + g * (cubic(c + 12) + g * cubic(c + 16)));
  return count_of(lambda + c[0] + 1 + c[1] * t + g * (kernel::sqrt(lambda) + c[2] + c[3] * t) * polynomial);
}

} // namespace

int32_t poisson_v(Source const& source, int n, int32_t* r, double const* lambda) {
  float g[piece], w[piece];
  for (int done = 0; done < n;) {
    int const m = std::min(piece, n - done);
    if (int32_t const status = gaussian(RnqGaussianInverse, source, m, g, 0.0f, 1.0f); status < 0)
      return status;
    int32_t slot[piece];
    int tiny = 0;
    for (int i = 0; i < m; ++i) {
      w[tiny] = g[i] * 0.70710677f;
      slot[tiny] = i;
      tiny += lambda[done + i] < smallest_row;
    }
    kernel::erf(tiny, w, w);
    for (int i = 0; i < m; ++i)
      if (!(lambda[done + i] < smallest_row)) r[done + i] = by_row(lambda[done + i], g[i]);
    for (int j = 0; j < tiny; ++j)
      r[done + slot[j]] = tiny_mean(lambda[done + slot[j]], w[j] < 0 ? -w[j] : w[j]);
    done += m;
  }
  return RnqOk;
}

namespace {

int32_t entry(RngStream* stream, int n, int32_t* r, double const* lambda) {
  if (n <= 0) return RnqOk;
  for (int i = 0; i < n; ++i)
    if (!(lambda[i] >= 0 && lambda[i] <= simd::Format<double>::largest)) return RnqErrBadArgument;
  Frame const frame(replace_singular<float, Replace::gaussian>);
  return poisson_v(Source(stream), n, r, lambda);
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngPoissonV(int32_t, RngStream* stream, int32_t n, int32_t* r, const double* lambda) {
  return entry(stream, n, r, lambda);
}
