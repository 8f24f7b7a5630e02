// Robust covariance and outlier search.
#include "tests/statistics/estimates.h"

#include "statistics/robust_constants.h"

#include <algorithm>

namespace {
using namespace orv::test;

template <class T>
class Robust : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Robust, Reals);

template <class T>
struct RobustResult {
  int32_t status;
  std::vector<T> mean, cov;
};
template <class T>
RobustResult<T> robust(Data<T> const& d, std::vector<T> parameters = {}, int threads = 1,
                       int storage = SSMatrixFull) {
  RobustResult<T> r{0, std::vector<T>(d.p, T(-1)), std::vector<T>(d.p * d.p, T(-1))};
  Task<T> task(d);
  task->robustMean = r.mean.data();
  task->robustCov = r.cov.data();
  task->robustCovStorage = task.integer(storage);
  task->robustParams = parameters.data();
  task->robustParamCount = task.integer(static_cast<int>(parameters.size()));
  r.status = RobustCovariance<T>(task.get(), 0, SSMethodRobust, threads);
  return r;
}
template <class T>
int32_t outliers(Data<T> const& d, std::vector<T>& weights, std::vector<T> parameters = {}, int threads = 1) {
  weights.assign(d.n, T(-1));
  Task<T> task(d);
  task->outlierWeights = weights.data();
  task->outlierParams = parameters.data();
  task->outlierParamCount = task.integer(static_cast<int>(parameters.size()));
  return OutliersDetection<T>(task.get(), 0, SSMethodOutlierSearch, threads);
}

// Columns in units of median and median absolute deviation, as the front end gives them.
template <class T>
Data<T> scaled(Data<T> d) {
  for (int j = 0; j < d.p; ++j) {
    std::vector<T> x, away;
    for (int i = 0; i < d.n; ++i) x.push_back(d(i, j));
    std::sort(x.begin(), x.end());
    T const m = x[d.n / 2];
    for (T v : x) away.push_back(std::fabs(v - m));
    std::sort(away.begin(), away.end());
    for (int i = 0; i < d.n; ++i) d(i, j) = (d(i, j) - m) / away[d.n / 2];
  }
  return d;
}

TEST(RobustConstants, RootsThatDefaultsGive) {
  using orv::statistics::robust_constants;
  // Below 0, as told for two variables at 58 observations.
  auto const two = robust_constants(2, 0.483, 0.001);
  EXPECT_NEAR(two.m, -1.745, 2e-3);
  EXPECT_NEAR(two.c, 5.462, 2e-3);
  EXPECT_EQ(robust_constants(50, 0.45, 0.001).c, 0); // the rejection alone
  for (double p : {5.0, 10.0}) {
    auto const r = robust_constants(p, 0.45, 0.001);
    EXPECT_GT(r.m, 0);
    EXPECT_GT(r.c, 0);
    // E[rho] by adding up over a fine grid is the breakdown point's share of the top.
    double mean = 0, top = r.m * r.m / 2 + r.c * (r.c / 6 + 8 * r.m / 15), rho = 0;
    double const h = 1e-3;
    for (double d = h / 2; d < r.m + r.c + 30; d += h) {
      double const u = (d - r.m) / r.c, w = d < r.m ? 1 : u < 1 ? (1 - u * u) * (1 - u * u) : 0;
      double const density = 2 * d * __rnqdChi2PDF(p, d * d);
      rho += w * d * h;
      mean += (rho - w * d * h / 2) * density * h;
    }
    EXPECT_NEAR(mean, 0.45 * top, 1e-3 * top) << p;
  }
}

TYPED_TEST(Robust, CleanNormalDataGiveTheirCovariance) {
  using T = TypeParam;
  for (int layout : {SSStorageRows, SSStorageCols}) {
    Data<T> const d = normal_data<T>(4000, 4, layout, 3);
    auto const r = robust(d);
    ASSERT_EQ(r.status, 0);
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(r.mean[i], 0, 0.08);
      for (int j = 0; j < 4; ++j) EXPECT_NEAR(r.cov[4 * i + j], i == j, 0.1);
    }
    // The start alone has no factor of consistency.
    auto const start = robust<T>(d, {T(0.5), T(0.001), T(0.001), 0});
    ASSERT_EQ(start.status, 0);
    EXPECT_LT(start.cov[0], 0.95);
    EXPECT_GT(start.cov[0], 0.7);
  }
}

TYPED_TEST(Robust, ClustersDoNotMoveTheEstimate) {
  using T = TypeParam;
  for (int p : {2, 5, 10})
    for (double share : {0.1, 0.25})
      for (double distance : {10.0, 100.0}) {
        Data<T> d = normal_data<T>(1000, p, SSStorageRows, 6);
        for (int i = 0; i < share * d.n; ++i)
          for (int j = 0; j < p; ++j) d(i, j) = d(i, j) / 10 + static_cast<T>(distance);
        auto const r = robust(d);
        ASSERT_EQ(r.status, 0);
        for (int i = 0; i < p; ++i) {
          EXPECT_NEAR(r.mean[i], 0, 0.3) << p << " " << share << " " << distance;
          EXPECT_GT(r.cov[i * p + i], 0.75) << p << " " << share << " " << distance;
          EXPECT_LT(r.cov[i * p + i], share < 0.2 ? 1.4 : 1.9) << p << " " << share << " " << distance;
        }
      }
}

TYPED_TEST(Robust, AffineMapsOfColumnsMapTheEstimate) {
  using T = TypeParam;
  Data<T> const d = normal_data<T>(500, 3, SSStorageCols, 11);
  Data<T> e = d;
  T const factor[] = {4, T(0.5), 2}, shift[] = {16, -8, 0};
  for (int i = 0; i < d.n; ++i)
    for (int j = 0; j < 3; ++j) e(i, j) = d(i, j) * factor[j] + shift[j];
  auto const a = robust(d), b = robust(e);
  double const bound = sizeof(T) == 8 ? 1e-9 : 2e-3;
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(b.mean[i], a.mean[i] * factor[i] + shift[i], bound * factor[i]);
    for (int j = 0; j < 3; ++j)
      EXPECT_NEAR(b.cov[3 * i + j], a.cov[3 * i + j] * factor[i] * factor[j], bound * factor[i] * factor[j]);
  }
}

TYPED_TEST(Robust, ThreadsLayoutsAndPackingsAgree) {
  using T = TypeParam;
  Data<T> const rows = normal_data<T>(6000, 3, SSStorageRows, 2);
  auto const expected = robust(rows);
  double const bound = sizeof(T) == 8 ? 1e-10 : 1e-3;
  for (int layout : {SSStorageRows, SSStorageCols})
    for (int threads : {1, 2, 7})
      for (int storage : {SSMatrixFull, SSMatrixLowerPacked, SSMatrixUpperPacked}) {
        auto const r = robust(normal_data<T>(6000, 3, layout, 2), {}, threads, storage);
        ASSERT_EQ(r.status, 0);
        for (int i = 0; i < 3; ++i)
          for (int j = 0; j < 3; ++j)
            ASSERT_NEAR(r.cov[Results<T>::place(storage, 3, i, j)], expected.cov[3 * i + j], bound);
      }
}

TYPED_TEST(Robust, PoorDataEnd) {
  using T = TypeParam;
  for (int p : {1, 2, 4}) {
    Data<T> constant(50, p, SSStorageRows), nan = normal_data<T>(50, p, SSStorageCols), ties = constant;
    for (auto& x : constant.values) x = 7;
    nan.values[3] = std::numeric_limits<T>::quiet_NaN();
    for (int i = 0; i < 50; ++i)
      for (int j = 0; j < p; ++j) ties(i, j) = i % 10 == 9 ? T(i % (3 + j)) : T(0); // mostly 0: scales of 0
    for (auto const* d : {&constant, &nan, &ties}) {
      auto const r = robust(*d);
      EXPECT_LT(r.status, 0) << p;
      std::vector<T> weights;
      outliers(*d, weights); // ends
    }
    auto const single = robust(normal_data<T>(200, 1, SSStorageRows));
    EXPECT_EQ(single.status, 0);
    EXPECT_NEAR(single.cov[0], 1, 0.3);
  }
}

TYPED_TEST(Robust, RobustStatusesInOrder) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(30, 2, SSStorageRows);
  Task<T> task(d);
  int const zero = 0, four = 4, unknown = 7;
  T mean[2], cov[4];
  auto const call = [&](uint64_t method = 0) { return RobustCovariance<T>(task.get(), 0, method); };
  void const *const p = std::exchange(task->dimension, &zero),
                    *const n = std::exchange(task->observations, &four),
                    *const layout = std::exchange(task->dataStorage, &unknown);
  EXPECT_EQ(call(), SSBadDimension);
  task->dimension = p;
  EXPECT_EQ(call(), SSBadObservations); // n equal to 2 p
  task->observations = n;
  EXPECT_EQ(call(), SSBadStorage);
  task->dataStorage = layout;
  EXPECT_EQ(call(), SSNullRobustMean);
  task->robustMean = mean;
  EXPECT_EQ(call(), SSNullRobustCov);
  task->robustCov = cov;
  EXPECT_EQ(call(), SSNullStorage);
  task->robustCovStorage = &unknown;
  EXPECT_EQ(call(), SSBadStorage);
  task->robustCovStorage = &zero;
  EXPECT_EQ(call(SSMethodFast), SSMethodNotSupported);
  expect_to_survive_failing_allocations([&] { return call(SSMethodRobust); });
}

TYPED_TEST(Robust, ParametersOutsideTheirRulesGiveTheDefaults) {
  using T = TypeParam;
  Data<T> const d = normal_data<T>(300, 3, SSStorageRows, 4);
  auto const expected = robust(d);
  T const nan = std::numeric_limits<T>::quiet_NaN();
  for (std::vector<T> const& parameters : {std::vector<T>{T(0.9), T(1.5), T(0), T(-1)},
                                           {nan, nan, nan, nan},
                                           {T(0.1), T(0.01), T(0.1)},
                                           {T(0.5), 0, -1, T(100.7)}}) {
    auto const r = robust(d, parameters);
    EXPECT_EQ(r.cov, expected.cov);
  }
  EXPECT_NE(robust<T>(d, {T(0.1), T(0.001), T(0.001), 100}).cov, expected.cov);
}

TYPED_TEST(Robust, OutliersOfStackLoss) { // the ones that are agreed on since Daniel and Wood 1980
  using T = TypeParam;
  for (int layout : {SSStorageRows, SSStorageCols}) {
    auto const d = scaled(csv_data<T>("stackloss.csv", {0, 1, 2, 3}, layout));
    auto const r = robust(d);
    ASSERT_EQ(r.status, 0);
    // Distances by the robust estimate: cut at the 0.975 quantile.
    std::vector<T> inverse = r.cov;
    ASSERT_EQ(sizeof(T) == 8 ? __rnqdInvCov(4, reinterpret_cast<double*>(inverse.data()))
                             : __rnqsInvCov(4, reinterpret_cast<float*>(inverse.data())),
              0);
    std::vector<int> found;
    for (int i = 0; i < d.n; ++i) {
      double form = 0;
      for (int a = 0; a < 4; ++a)
        for (int b = 0; b < 4; ++b)
          form +=
              (d(i, a) - r.mean[a]) * (d(i, b) - r.mean[b]) * inverse[std::min(a, b) * 4 + std::max(a, b)];
      if (form > __rnqdChi2ICDF(4, 0.975)) found.push_back(i + 1);
    }
    EXPECT_EQ(found, (std::vector<int>{1, 2, 3, 4, 21}));
  }
}

TYPED_TEST(Robust, FarClustersAreFoundAndCleanDataKept) {
  using T = TypeParam;
  for (int p : {1, 2, 5, 10})
    for (int threads : {1, 2, 7}) {
      int const n = 2000;
      Data<T> d = normal_data<T>(n, p, threads == 2 ? SSStorageRows : SSStorageCols, 17);
      std::vector<T> weights;
      ASSERT_EQ(outliers<T>(d, weights, {2, T(0.05) / n, T(0.005)}, threads), 0);
      int alarms = 0;
      for (T w : weights) alarms += w == 0;
      EXPECT_LE(alarms, 4) << p;
      for (int i = 0; i < n * 4 / 10; ++i)
        for (int j = 0; j < p; ++j) d(i, j) = d(i, j) / 4 + 10;
      ASSERT_EQ(outliers<T>(d, weights, {2, T(0.05) / n, T(0.005)}, threads), 0);
      for (int i = 0; i < n * 4 / 10; ++i) ASSERT_EQ(weights[i], 0) << p << " " << i;
    }
}

TYPED_TEST(Robust, WeightsOfObservationsStay) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(300, 2, SSStorageRows, 23);
  for (int i = 0; i < d.n; ++i) d.weights.push_back(T(1 + i % 3));
  d(7, 0) = 50;
  for (T start : {T(1), T(2)}) {
    std::vector<T> weights;
    ASSERT_EQ(outliers<T>(d, weights, {start, T(0.0001), T(0.005)}), 0);
    EXPECT_EQ(weights[7], 0);
    int kept = 0;
    for (int i = 0; i < d.n; ++i) {
      ASSERT_TRUE(weights[i] == 0 || weights[i] == d.weights[i]);
      kept += weights[i] != 0;
    }
    EXPECT_GT(kept, 295);
  }
}

// Small data sets with ties: some go round in circles, some run empty; all end.
TYPED_TEST(Robust, SmallTiedDataEnd) {
  using T = TypeParam;
  std::mt19937 random(5);
  int empty = 0, good = 0;
  for (int k = 0; k < 3000; ++k) {
    int const p = 1 + static_cast<int>(random() % 3), n = 5 * p + static_cast<int>(random() % 12);
    Data<T> d(n, p, SSStorageCols);
    for (auto& x : d.values) x = T(random() % 4);
    std::vector<T> weights;
    int32_t const status = outliers<T>(d, weights, {T(1 + k % 2), T(0.5), T(0.005)});
    empty += status == SSTooFewCleanData;
    good += status == 0;
    for (T w : weights) ASSERT_TRUE(w == 0 || w == 1);
  }
  EXPECT_GT(empty, 0);
  EXPECT_GT(good, 300);
}

TYPED_TEST(Robust, OutlierStatusesAndParameters) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(30, 2, SSStorageRows);
  d(4, 1) = 30;
  Task<T> task(d);
  int const zero = 0, nine = 9, unknown = 5;
  std::vector<T> weights(30);
  auto const call = [&](uint64_t method = 0) { return OutliersDetection<T>(task.get(), 0, method); };
  void const *const p = std::exchange(task->dimension, &zero),
                    *const n = std::exchange(task->observations, &nine),
                    *const layout = std::exchange(task->dataStorage, nullptr);
  EXPECT_EQ(call(), SSBadDimension);
  task->dimension = p;
  EXPECT_EQ(call(), SSBadObservations);
  task->observations = n;
  EXPECT_EQ(call(), SSBadStorage);
  task->dataStorage = &unknown;
  EXPECT_EQ(call(), SSBadStorage);
  task->dataStorage = layout;
  EXPECT_EQ(call(), SSNullOutlierWeights);
  task->outlierWeights = weights.data();
  EXPECT_EQ(call(SSMethodFast), SSMethodNotSupported);
  expect_to_survive_failing_allocations([&] { return call(SSMethodOutlierSearch); });
  auto const expected = weights;
  for (std::vector<T> const& parameters : {std::vector<T>{3, T(1.5), 0},
                                           {T(2.9), T(-0.1), -1},
                                           {1, T(0.9)},
                                           {0, std::numeric_limits<T>::quiet_NaN(), 0}}) {
    std::vector<T> got;
    ASSERT_EQ(outliers<T>(d, got, parameters), 0);
    EXPECT_EQ(got, expected);
  }
  std::vector<T> all;
  ASSERT_EQ(outliers<T>(d, all, {2, 0, T(0.005)}), 0); // alpha 0: nothing lies outside
  for (T w : all) EXPECT_EQ(w, 1);
}

} // namespace
