// Multinomial rows: Poisson counts with a mean a little too small, an attempt whose sum is too large drawn again, and
// the missing trials drawn one by one (C. Loukas, C. Kemp, J. Stat. Comput. Simul. 18 (1983)). Few trials over many
// categories are all drawn one by one.
#include "distributions/frame.h"
#include "distributions/integers.h"
#include "distributions/kernels.h"
#include "distributions/poisson_v.h"
#include "frame/core.h"

namespace orv::distributions {
namespace {

struct Categories {
  int32_t k;
  double const* p;
  double total;
  // The first category whose running sum is not below u times the total, at the ends the first and last possible one.
  int32_t of(double u) const {
    double const wanted = u * total;
    double sum = 0;
    int32_t found = 0;
    for (int32_t i = 0; i < k; ++i) {
      if (p[i] > 0) found = i;
      sum += p[i];
      if (p[i] > 0 && sum >= wanted) return i;
    }
    return found;
  }
  int32_t add(Source const& source, int32_t count, int32_t* row) const {
    double u[piece];
    for (int32_t done = 0; done < count;) {
      int const m = std::min(piece, count - done);
      if (int32_t const status = source.uniform(m, u); status < 0) return status;
      for (int i = 0; i < m; ++i) ++row[of(u[i])];
      done += m;
    }
    return RnqOk;
  }
};

// A row by attempts; lambda are the means.
int32_t by_attempts(Source const& source, Categories const& categories, int32_t ntrial, double const* lambda,
                    int32_t* row) {
  for (;;) {
    if (int32_t const status = poisson_v(source, categories.k, row, lambda); status < 0) return status;
    int64_t sum = 0;
    for (int32_t i = 0; i < categories.k; ++i) sum += row[i];
    if (sum <= ntrial) return categories.add(source, static_cast<int32_t>(ntrial - sum), row);
  }
}

int32_t multinomial(RngStream* stream, int n, int32_t* r, int32_t ntrial, int32_t k, double const* p) {
  if (n <= 0) return RnqOk;
  if (ntrial < 0) return RnqErrBadArgument;
  int64_t const cells = int64_t{n} * std::max(k, 0);
  if (ntrial == 0) {
    std::fill_n(r, cells, 0);
    return RnqOk;
  }
  if (k < 1) return RnqErrBadMultinomial;
  Frame const frame(replace_singular<float, Replace::gaussian>);
  double total = 0;
  for (int32_t i = 0; i < k; ++i) {
    if (!(p[i] >= 0)) return RnqErrBadMultinomial;
    total += p[i];
  }
  if (!(total >= 0.999 && total <= 1.001)) return RnqErrBadMultinomial;
  if (k == 1) {
    std::fill_n(r, cells, ntrial);
    return RnqOk;
  }
  Source const source(stream);
  Categories const categories{k, p, total};
  if (k >= 16 * int64_t{ntrial} && ntrial <= 16) {
    for (int32_t i = 0; i < n; ++i) {
      int32_t* const row = r + int64_t{i} * k;
      std::fill_n(row, k, 0);
      if (int32_t const status = categories.add(source, ntrial, row); status < 0) return status;
    }
    return RnqOk;
  }
  double const t = kernel::sqrt(static_cast<double>(ntrial));
  double const mean =
      std::max(0.0, t < k ? ntrial - t - kernel::sqrt(k - t) : static_cast<double>(ntrial) - k);
  auto* const lambda = static_cast<double*>(core::allocate(sizeof(double) * static_cast<size_t>(k)));
  if (!lambda) return RnqErrNoMemory;
  for (int32_t i = 0; i < k; ++i) lambda[i] = mean * (p[i] / total);
  int32_t status = RnqOk;
  for (int32_t i = 0; i < n && status >= 0; ++i)
    status = by_attempts(source, categories, ntrial, lambda, r + int64_t{i} * k);
  core::deallocate(lambda);
  return status < 0 ? status : static_cast<int32_t>(RnqOk);
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngMultinomial(int32_t, RngStream* stream, int32_t n, int32_t* r, int32_t ntrial,
                                       int32_t k, const double* p) {
  return multinomial(stream, n, r, ntrial, k, p);
}
