// Peers and helpers of compare.py.
#include "frontend/statistics_threads.h"

#define ARMA_DONT_PRINT_OPENMP_WARNING
#include <armadillo>
#include <gsl/gsl_statistics_double.h>
#include <immintrin.h>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT SSThreadServices const* bench_threads(int threads) { return &orv::statistics_threads(threads); }

// What memory allows: one pass that does nothing but add.
EXPORT double bench_sum(double const* x, long n) {
  __m256d s[8];
  for (auto& v : s) v = _mm256_setzero_pd();
  for (long i = 0; i + 32 <= n; i += 32)
    for (int k = 0; k < 8; ++k) s[k] = _mm256_add_pd(s[k], _mm256_loadu_pd(x + i + 4 * k));
  for (int k = 1; k < 8; ++k) s[0] = _mm256_add_pd(s[0], s[k]);
  double r[4];
  _mm256_storeu_pd(r, s[0]);
  return r[0] + r[1] + r[2] + r[3];
}

// Mean, variance, skewness and kurtosis of p columns whose elements are `stride` apart.
EXPORT void bench_gsl(double const* x, long n, long p, long stride, long next, double* r) {
  for (long j = 0; j < p; ++j, x += next, r += 4) {
    size_t const s = static_cast<size_t>(stride), k = static_cast<size_t>(n);
    r[0] = gsl_stats_mean(x, s, k);
    r[1] = gsl_stats_variance_m(x, s, k, r[0]);
    double const sd = std::sqrt(r[1]);
    r[2] = gsl_stats_skew_m_sd(x, s, k, r[0], sd);
    r[3] = gsl_stats_kurtosis_m_sd(x, s, k, r[0], sd);
  }
}

// The same by Armadillo's expressions, over columns that are contiguous.
EXPORT void bench_armadillo(double* x, long n, long p, double* r) {
  for (long j = 0; j < p; ++j, r += 4) {
    arma::vec const v(x + j * n, static_cast<arma::uword>(n), false, true);
    r[0] = arma::mean(v);
    arma::vec const d = v - r[0];
    arma::vec const d2 = d % d;
    r[1] = arma::accu(d2) / static_cast<double>(n - 1);
    r[2] = arma::dot(d2, d) / static_cast<double>(n);
    r[3] = arma::dot(d2, d2) / static_cast<double>(n);
  }
}

EXPORT void bench_armadillo_cov(double* x, long n, long p, double* r) {
  arma::mat const m(x, static_cast<arma::uword>(n), static_cast<arma::uword>(p), false, true);
  arma::mat out(r, static_cast<arma::uword>(p), static_cast<arma::uword>(p), false, true);
  out = arma::cov(m);
}
