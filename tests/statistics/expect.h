// Random data sets, and results compared with the reference within bounds that the data's own size sets.
#pragma once
#include "tests/statistics/support.h"

#include <limits>

namespace orv::test {

template <class T>
Data<T> sample_data(int n, int p, int layout, bool weighted, double offset = 0) {
  Data<T> d(n, p, layout);
  std::mt19937 random(static_cast<unsigned>(n * 31 + p));
  auto const next = [&] { return static_cast<int>(random() % 2001) - 1000; };
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < p; ++j)
      d(i, j) = static_cast<T>(next() / T(256) + offset + (j ? d(i, j - 1) / 2 : 0));
  if (weighted)
    for (int i = 0; i < n; ++i) d.weights.push_back(static_cast<T>(random() % 5) / 2);
  return d;
}

// Expected value of a moment-like result.
template <class T>
long double expected(Reference<T> const& r, int result, int j) {
  using R = Results<T>;
  long double const c2 = r.central2(j);
  switch (result) {
  case R::Mean:
    return r.mean[j];
  case R::Raw2:
    return r.raw[2][j] / r.w;
  case R::Raw3:
    return r.raw[3][j] / r.w;
  case R::Raw4:
    return r.raw[4][j] / r.w;
  case R::Central2:
    return c2;
  case R::Central3:
    return r.central[3][j] / r.w;
  case R::Central4:
    return r.central[4][j] / r.w;
  case R::Kurtosis:
    return r.central[4][j] / r.w / (c2 * c2) - 3;
  case R::Skewness:
    return r.central[3][j] / r.w / sqrtl(c2 * c2 * c2);
  case R::Variation:
    return sqrtl(c2) / r.mean[j];
  case R::Sum:
    return r.raw[1][j];
  case R::RawSum2:
    return r.raw[2][j];
  case R::RawSum3:
    return r.raw[3][j];
  case R::RawSum4:
    return r.raw[4][j];
  case R::CentralSum2:
    return r.central[2][j];
  case R::CentralSum3:
    return r.central[3][j];
  default:
    return r.central[4][j];
  }
}

// Size against which an error is measured: what would be there without cancellation.
template <class T>
long double magnitude(Data<T> const& d, Reference<T> const& r, int result, int j) {
  using R = Results<T>;
  long double deviation = sqrtl(r.central2(j)), size = fabsl(r.mean[j]) + deviation, w = fabsl(r.w);
  (void)d;
  switch (result) {
  case R::Mean:
    return size;
  case R::Sum:
    return size * w;
  case R::Raw2:
  case R::Central2:
    return size * size;
  case R::RawSum2:
  case R::CentralSum2:
    return size * size * w;
  case R::Raw3:
  case R::Central3:
    return powl(size, 3) * 2;
  case R::RawSum3:
  case R::CentralSum3:
    return powl(size, 3) * w * 2;
  case R::Raw4:
  case R::Central4:
    return powl(size, 4) * 4;
  case R::RawSum4:
  case R::CentralSum4:
    return powl(size, 4) * w * 4;
  case R::Kurtosis:
    return powl(size / deviation, 4) * 8;
  case R::Skewness:
    return powl(size / deviation, 3) * 8;
  default:
    return size / fabsl(r.mean[j]) * (size / fabsl(r.mean[j]) + size / deviation);
  }
}

template <class T>
void expect_results(Data<T> const& d, Results<T>& got, uint64_t estimates, double bound,
                    std::string const& what) {
  using R = Results<T>;
  static constexpr uint64_t bits[] = {SSMean,
                                      SSRawMoment2,
                                      SSRawMoment3,
                                      SSRawMoment4,
                                      SSCentralMoment2,
                                      SSCentralMoment3,
                                      SSCentralMoment4,
                                      SSKurtosis,
                                      SSSkewness,
                                      SSVariation,
                                      SSSum,
                                      SSRawSum2,
                                      SSRawSum3,
                                      SSRawSum4,
                                      SSCentralSum2,
                                      SSCentralSum3,
                                      SSCentralSum4};
  Reference<T> const r(d);
  double const limit = bound * std::numeric_limits<T>::epsilon();
  for (int k = 0; k < R::Count; ++k) {
    if (!(estimates & bits[k])) continue;
    for (int j = 0; j < d.p; ++j) {
      if (!d.selected(j)) {
        ASSERT_EQ(got.arrays[k][j], R::mark) << what << " result " << k << " of a variable that is left out";
        continue;
      }
      ASSERT_NEAR(got.arrays[k][j], static_cast<double>(expected(r, k, j)),
                  static_cast<double>(limit * magnitude(d, r, k, j)))
          << what << " result " << k << " variable " << j;
    }
  }
  auto const matrix = [&](uint64_t estimate, std::vector<T> const& a, int storage, auto value) {
    if (!(estimates & estimate)) return;
    for (int i = 0; i < d.p; ++i)
      for (int j = 0; j < d.p; ++j) {
        T const x = a[R::place(storage, d.p, i, j)];
        if (!d.selected(i) || !d.selected(j)) {
          ASSERT_EQ(x, R::mark);
          continue;
        }
        long double const si = sqrtl(fabsl(r.s[i * d.p + i])), sj = sqrtl(fabsl(r.s[j * d.p + j]));
        long double const mi = fabsl(r.mean[i]) * sqrtl(r.w) + si, mj = fabsl(r.mean[j]) * sqrtl(r.w) + sj;
        auto const [exact, scale] = value(i, j, si * sj, mi * mj);
        ASSERT_NEAR(x, static_cast<double>(exact), static_cast<double>(limit * scale))
            << what << " matrix " << i << "," << j;
      }
  };
  using L = long double;
  matrix(SSCrossProduct, got.cross, got.cross_storage,
         [&](int i, int j, L, L size) { return std::pair<L, L>(r.s[i * d.p + j], size); });
  matrix(SSCovariance, got.cov, got.cov_storage, [&](int i, int j, L, L size) {
    return std::pair<L, L>(r.s[i * d.p + j] / r.freedom(), size / r.freedom());
  });
  matrix(SSCorrelation, got.cor, got.cor_storage, [&](int i, int j, L unit, L size) {
    return i == j ? std::pair<L, L>(r.central2(i), size / r.freedom())
                  : std::pair<L, L>(r.s[i * d.p + j] / unit, size / unit);
  });
}

} // namespace orv::test
