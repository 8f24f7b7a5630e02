// Absolute deviations, weighted quantiles, Mahalanobis distances.
#include "tests/statistics/estimates.h"

#include <algorithm>
#include <bit>

namespace {
using namespace orv::test;

template <class T>
class Deviation : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Deviation, Reals);

double median(std::vector<double> x) {
  std::sort(x.begin(), x.end());
  size_t const n = x.size();
  return n % 2 ? x[n / 2] : (x[n / 2 - 1] + x[n / 2]) / 2;
}

TYPED_TEST(Deviation, MedianAndMeanAbsoluteDeviationInEverySetting) {
  using T = TypeParam;
  for (int layout : {SSStorageRows, SSStorageCols})
    for (int n : {1, 2, 9, 500})
      for (int p : {1, 4})
        for (int threads : {1, 2, 7})
          for (int form = 0; form < 3; ++form) { // plain, weighted with indices, with given means
            Data<T> d = normal_data<T>(n, p, layout, 21);
            if (form == 1) {
              for (int i = 0; i < n; ++i) d.weights.push_back(T(1 + i % 3));
              for (int j = 0; j < p; ++j) d.indices.push_back(j != 2);
            }
            Task<T> task(d, form == 1);
            std::vector<T> medians(p, T(-3)), means = medians, given(p, T(0.25));
            task->medianAbsDeviation = medians.data();
            task->meanAbsDeviation = means.data();
            task->mean = given.data();
            uint64_t const method = SSMethodFast | (form == 2 ? SSMethodFastUserMean : 0);
            ASSERT_EQ(MAD<T>(task.get(), SSMedianAbsDeviation | SSMeanAbsDeviation, method, threads), 0);
            for (int j = 0; j < p; ++j) {
              if (!d.selected(j)) {
                ASSERT_EQ(medians[j], T(-3));
                ASSERT_EQ(means[j], T(-3));
                continue;
              }
              std::vector<double> x, away;
              double weight = 0, mean = 0, sum = 0;
              for (int i = 0; i < n; ++i) {
                x.push_back(d(i, j));
                mean += d.weight(i) * d(i, j);
                weight += d.weight(i);
              }
              mean = form == 2 ? 0.25 : mean / weight;
              for (int i = 0; i < n; ++i) {
                away.push_back(std::fabs(x[i] - median(x)));
                sum += d.weight(i) * std::fabs(x[i] - mean);
              }
              double const bound = 8 * std::numeric_limits<T>::epsilon();
              ASSERT_NEAR(medians[j], median(away), bound);
              ASSERT_NEAR(means[j], sum / weight, bound);
            }
          }
}

TYPED_TEST(Deviation, StatusesInOrder) {
  using T = TypeParam;
  uint64_t const both = SSMedianAbsDeviation | SSMeanAbsDeviation;
  Data<T> d = normal_data<T>(30, 2, SSStorageCols);
  Task<T> task(d);
  int const zero = 0, both_layouts = SSStorageRows | SSStorageCols;
  T medians[2], means[2], given[2] = {};
  auto const call = [&](uint64_t estimates, uint64_t method) {
    return MAD<T>(task.get(), estimates, method, 2);
  };
  void const *const p = std::exchange(task->dimension, &zero),
                    *const n = std::exchange(task->observations, &zero),
                    *const layout = std::exchange(task->dataStorage, nullptr);
  EXPECT_EQ(call(both, 0), SSBadDimension);
  task->dimension = p;
  EXPECT_EQ(call(both, 0), SSBadObservations);
  task->observations = n;
  EXPECT_EQ(call(both, 0), SSNullStorage);
  task->dataStorage = &both_layouts;
  EXPECT_EQ(call(both, 0), SSBadStorage);
  task->dataStorage = layout;
  EXPECT_EQ(call(0, 0), 0);
  EXPECT_EQ(call(both, 0), SSNullMedianAbsDeviation);
  task->medianAbsDeviation = medians;
  EXPECT_EQ(call(both, SSMethodFastUserMean), SSMethodNotSupported);
  EXPECT_EQ(call(both, SSMethodFast), SSNullMeanAbsDeviation);
  task->meanAbsDeviation = means;
  EXPECT_EQ(call(SSMeanAbsDeviation, SSMethodOnePass), SSMethodNotSupported);
  EXPECT_EQ(call(both, SSMethodFast | SSMethodFastUserMean), SSNullMean);
  expect_to_survive_failing_allocations([&] { return call(both, SSMethodFast); });
  task->mean = given;
  EXPECT_EQ(call(SSMeanAbsDeviation, SSMethodFastUserMean), 0);
}

template <class T>
T weighted(std::vector<T> const& x, std::vector<T> const& w, T q) {
  Data<T> d(static_cast<int>(x.size()), 1, SSStorageRows);
  d.values = x;
  d.weights = w;
  Task<T> task(d);
  T order = q, got = -1;
  task->quantileOrders = &order;
  task->quantiles = &got;
  EXPECT_EQ(WMedian<T>(task.get(), 0, 0), 0);
  return got;
}

TYPED_TEST(Deviation, WeightedMedians) {
  using T = TypeParam;
  T const tenth = T(0.1);
  EXPECT_EQ(weighted<T>({3, 1, 2, 4}, {1, 1, 1, 1}, T(0.5)), T(2.5));
  EXPECT_EQ(weighted<T>({3, 1, 2}, {1, 1, 1}, T(0.5)), T(2));
  EXPECT_EQ(weighted<T>({3, 1, 2, 9, 9}, {1, 1, 1, 0, 0}, 1), T(3)); // ends at the last positive weight
  EXPECT_EQ(weighted<T>({1, 2, 3, 4, 5, 6}, {1, 1, 0, 0, 1, 1}, T(0.5)),
            T(3.5)); // zero weights are stepped over
  EXPECT_EQ(weighted<T>({1, 2}, {1, 3}, T(0.5)), T(1) + T(1) / 3);
  EXPECT_EQ(weighted<T>({5, 6, 7}, {0, 0, 0}, T(0.5)), T(5));
  // Equal weights of any size give the plain median.
  for (int n = 1; n < 400; ++n) {
    std::vector<T> x, w(static_cast<size_t>(n), tenth);
    for (int i = 0; i < n; ++i) x.push_back(T((i * 7919) % n));
    ASSERT_EQ(weighted(x, w, T(0.5)), T(n - 1) / 2) << n;
    ASSERT_EQ(weighted(x, w, T(1)), T(n - 1)) << n;
  }
}

TYPED_TEST(Deviation, PayloadFollowsItsKey) { // many ties and NaN with any payload
  using T = TypeParam;
  std::vector<T> x, w;
  std::mt19937 random(4);
  for (int i = 0; i < 5000; ++i) {
    int const v = static_cast<int>(random() % 40);
    x.push_back(T(v));
    w.push_back(T(v + 1));
  }
  // The weight below v is v (v + 1) / 2 for each copy: the quantile of all weight is the greatest value.
  EXPECT_EQ(weighted(x, w, T(1)), T(39));
  std::vector<std::pair<T, T>> pairs;
  double total = 0, sum = 0;
  for (size_t i = 0; i < x.size(); ++i) pairs.push_back({x[i], w[i]}), total += w[i];
  std::sort(pairs.begin(), pairs.end());
  for (auto const& [value, weight] : pairs) {
    sum += weight;
    if (sum >= total * 0.3) {
      EXPECT_EQ(weighted(x, w, T(0.3)), value);
      break;
    }
  }
  T const last_nan =
      std::bit_cast<T>(std::numeric_limits<std::conditional_t<sizeof(T) == 8, int64_t, int32_t>>::max());
  EXPECT_EQ(weighted<T>({1, last_nan, 2}, {1, 1, 1}, T(0.5)), T(2));
  EXPECT_TRUE(std::isnan(weighted<T>({1, last_nan, 2}, {1, 1, 1}, T(1))));
}

TYPED_TEST(Deviation, MahalanobisDistancesOfARange) {
  using T = TypeParam;
  for (int p : {1, 2, 5, 33, 70})
    for (int layout : {SSStorageRows, SSStorageCols})
      for (bool block : {false, true}) {
        int const n = 75, first = 3, last = 70;
        Data<T> const d = normal_data<T>(n, p, layout, 8);
        std::vector<T> mean(static_cast<size_t>(p), T(0.5)), inverse(static_cast<size_t>(p) * p, T(999)),
            out(n, T(-1)), scratch(4096);
        for (int i = 0; i < p; ++i)
          for (int j = i; j < p; ++j) inverse[i * p + j] = i == j ? T(2 + i % 3) : T(1) / T(1 + i + j + p);
        Task<T> task(d);
        task->mahFirstRow = task.integer(first);
        task->mahLastRow = task.integer(last);
        task->mahMean = mean.data();
        task->mahInvCov = inverse.data();
        task->mahDistances = out.data();
        task->mahBlock = block ? scratch.data() : nullptr;
        task->mahBlockSize = block ? task.integer(static_cast<int>(scratch.size())) : nullptr;
        ASSERT_EQ(MahDistance<T>(task.get(), SSRawSum2, SSMethodFast), 0);
        for (int i = 0; i < n; ++i) {
          long double form = 0;
          for (int a = 0; a < p; ++a)
            for (int b = 0; b < p; ++b)
              form += (static_cast<long double>(d(i, a)) - 0.5L) *
                      (static_cast<long double>(d(i, b)) - 0.5L) *
                      inverse[std::min(a, b) * p + std::max(a, b)];
          if (i < first || i >= last)
            ASSERT_EQ(out[i], T(-1));
          else
            ASSERT_NEAR(out[i], static_cast<double>(sqrtl(form)),
                        40 * std::numeric_limits<T>::epsilon() * (1 + out[i]))
                << p;
        }
      }
}

} // namespace
