// Pooled and partial covariance, repair of correlation matrices.
#include "tests/statistics/estimates.h"
#include "tests/statistics/expect.h"

#include <array>

namespace {
using namespace orv::test;

template <class T>
class Groups : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Groups, Reals);

template <class T>
size_t place(int storage, int p, int i, int j) {
  return Results<T>::place(storage, p, i, j);
}

TYPED_TEST(Groups, PooledAndOwnEstimatesInEverySetting) {
  using T = TypeParam;
  constexpr int groups = 6; // 3 has no observations, 4 a single one
  for (int layout : {SSStorageRows, SSStorageCols})
    for (int storage : {SSMatrixFull, SSMatrixLowerPacked, SSMatrixUpperPacked})
      for (int p : {1, 3, 12})
        for (int threads : {1, 2, 7})
          for (bool weighted : {false, true}) {
            int const n = 300;
            Data<T> d = normal_data<T>(n, p, layout, 31);
            std::vector<int> of(n), flags = {1, 0, 1, 1, 1, 0};
            for (int i = 0; i < n; ++i) of[i] = i == 77 ? 4 : std::array{0, 5, 2, 1, 2}[i % 5];
            if (weighted) {
              for (int i = 0; i < n; ++i)
                d.weights.push_back(of[i] == 2 ? T(0) : T(1 + i % 3) / 2); // group 2: none
              for (int j = 0; j < p; ++j) d.indices.push_back(p == 1 || j != 1);
            }
            size_t const cells = storage == SSMatrixFull ? p * p : p * (p + 1) / 2;
            std::vector<T> mean(p, T(-9)), cov(cells, T(-9)), own_means(4 * p, T(-9)),
                own_cov(4 * cells, T(-9));
            Task<T> task(d, weighted);
            task->pooledGroupIndices = task.integers(of);
            task->groupIndices = task.integers(flags);
            task->pooledMean = mean.data();
            task->pooledCov = cov.data();
            task->groupMeans = own_means.data();
            task->groupCov = own_cov.data();
            task->pooledCovStorage = task->groupCovStorage = task.integer(storage);
            ASSERT_EQ(PooledCovariance<T>(
                          task.get(), SSPooledMean | SSPooledCovariance | SSGroupMeans | SSGroupCovariance,
                          SSMethodOnePass, threads),
                      0);
            double const bound = 300 * std::numeric_limits<T>::epsilon();
            long double total = 0, freedom = 0;
            std::vector<long double> sum(p), s(p * p);
            int rank = 0;
            for (int g = 0; g < groups; ++g) {
              Data<T> part(static_cast<int>(std::count(of.begin(), of.end(), g)), p, SSStorageCols);
              for (int i = 0, k = 0; i < n; ++i) {
                if (of[i] != g) continue;
                for (int j = 0; j < p; ++j) part(k, j) = d(i, j);
                if (weighted) part.weights.push_back(d.weights[i]);
                ++k;
              }
              Reference<T> const r(part);
              bool const empty = r.w == 0;
              for (int i = 0; i < p && !empty; ++i) {
                sum[i] += r.w * r.mean[i];
                for (int j = 0; j < p; ++j) s[i * p + j] += r.s[i * p + j];
              }
              total += r.w;
              if (!empty) freedom += r.freedom();
              if (!flags[g]) continue;
              for (int i = 0; i < p; ++i) {
                T const m = own_means[rank * p + i];
                if (!d.selected(i)) {
                  ASSERT_EQ(m, T(-9));
                  continue;
                }
                if (empty) {
                  ASSERT_TRUE(std::isnan(m));
                } else {
                  ASSERT_NEAR(m, static_cast<double>(r.mean[i]), bound);
                }
                for (int j = 0; j <= i; ++j) {
                  if (!d.selected(j)) continue;
                  T const c = own_cov[rank * cells + place<T>(storage, p, i, j)];
                  if (empty || part.n == 1) {
                    ASSERT_TRUE(std::isnan(c)) << g;
                  } else {
                    ASSERT_NEAR(c, static_cast<double>(r.s[i * p + j] / r.freedom()), bound);
                  }
                }
              }
              ++rank;
            }
            for (int i = 0; i < p; ++i) {
              if (!d.selected(i)) continue;
              ASSERT_NEAR(mean[i], static_cast<double>(sum[i] / total), bound);
              for (int j = 0; j < p; ++j) {
                if (!d.selected(j)) continue;
                ASSERT_NEAR(cov[place<T>(storage, p, i, j)], static_cast<double>(s[i * p + j] / freedom),
                            bound);
              }
            }
          }
}

TYPED_TEST(Groups, PooledStatusesInOrder) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(40, 2, SSStorageCols);
  std::vector<int> of(40), flags = {1, 2};
  for (int i = 0; i < 40; ++i) of[i] = i % 2;
  Task<T> task(d);
  T mean[2], cov[4], means[4], covs[8];
  int const bad = 1, full = 0;
  uint64_t const all = SSPooledMean | SSPooledCovariance | SSGroupMeans | SSGroupCovariance;
  auto const call = [&](uint64_t method = 0) { return PooledCovariance<T>(task.get(), all, method); };
  void const* const layout = std::exchange(task->dataStorage, &bad);
  EXPECT_EQ(call(), SSBadStorage);
  task->dataStorage = layout;
  EXPECT_EQ(call(), SSBadGroupIndices);
  task->pooledGroupIndices = of.data();
  EXPECT_EQ(call(), SSNullPooledMean);
  task->pooledMean = mean;
  EXPECT_EQ(call(), SSNullStorage);
  task->pooledCovStorage = &full;
  EXPECT_EQ(call(), SSNullPooledCov);
  task->pooledCov = cov;
  EXPECT_EQ(call(), SSBadGroupIndices);
  task->groupIndices = flags.data();
  EXPECT_EQ(call(), SSNullGroupMeans);
  task->groupMeans = means;
  EXPECT_EQ(call(), SSNullStorage);
  task->groupCovStorage = &full;
  EXPECT_EQ(call(), SSNullGroupCov);
  task->groupCov = covs;
  EXPECT_EQ(call(SSMethodFast), SSMethodNotSupported);
  EXPECT_EQ(call(SSMethodOnePass), SSNullGroupIndices);
  flags[1] = 0;
  of[3] = -1;
  EXPECT_EQ(call(SSMethodOnePass), SSNullGroupIndices);
  of[3] = 0;
  expect_to_survive_failing_allocations([&] { return call(SSMethodOnePass); });
  // Without own results flags aren't read, and a number far beyond the others costs nothing.
  of[5] = 2147483647;
  task->groupIndices = nullptr;
  EXPECT_EQ(PooledCovariance<T>(task.get(), SSPooledCovariance, SSMethodOnePass), 0);
}

TYPED_TEST(Groups, PartialCovarianceAgainstTheResidualsOfARegression) {
  using T = TypeParam;
  int const n = 200, p = 6;
  Data<T> const d = sample_data<T>(n, p, SSStorageCols, false);
  Reference<T> const r(d);
  std::vector<int> const roles = {1, -1, 0, 1, -1, 1};
  std::vector<int> const y = {0, 3, 5}, z = {1, 4};
  long double const a = r.s[1 * p + 1], b = r.s[1 * p + 4], c = r.s[4 * p + 4], det = a * c - b * b;
  auto const expected = [&](int i, int j) {
    long double const u = r.s[i * p + 1], v = r.s[i * p + 4], x = r.s[j * p + 1], w = r.s[j * p + 4];
    return (r.s[i * p + j] - (u * (c * x - b * w) + v * (a * w - b * x)) / det) / (n - 1);
  };
  for (int from : {SSMatrixFull, SSMatrixLowerPacked, SSMatrixUpperPacked})
    for (int to : {SSMatrixFull, SSMatrixLowerPacked, SSMatrixUpperPacked})
      for (bool correlation : {false, true}) {
        Results<T> moments(p, from);
        ASSERT_EQ(moments.compute(d, SSCovariance | SSCorrelation, SSMethodOnePass, Services(1)), 0);
        if (correlation) moments.task->cov = nullptr;
        std::vector<T> cov(9, T(-4)), cor(9, T(-4));
        moments.task->partialCovIndices = roles.data();
        moments.task->partialCov = cov.data();
        moments.task->partialCor = cor.data();
        moments.task->partialCovStorage = moments.task->partialCorStorage = &to;
        ASSERT_EQ(
            PartialCovariance<T>(moments.task, SSPartialCovariance | SSPartialCorrelation, SSMethodFast), 0);
        for (int i = 0; i < 3; ++i)
          for (int j = 0; j < 3; ++j) {
            size_t const at = place<T>(to, 3, i, j);
            long double const e = expected(y[i], y[j]),
                              scale = sqrtl(expected(y[i], y[i]) * expected(y[j], y[j]));
            ASSERT_NEAR(cov[at], static_cast<double>(e),
                        200 * std::numeric_limits<T>::epsilon() * static_cast<double>(scale));
            ASSERT_NEAR(cor[at], static_cast<double>(i == j ? e : e / scale),
                        200 * std::numeric_limits<T>::epsilon() * (i == j ? static_cast<double>(e) : 1));
          }
      }
}

TYPED_TEST(Groups, PartialStatusesInOrder) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(10, 3, SSStorageCols);
  Task<T> task(d);
  T cov[] = {2, 1, 0, 1, 2, 0, 0, 0, 1}, out[9], singular[] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  int const full = 0;
  int roles[] = {1, 1, 1};
  uint64_t const both = SSPartialCovariance | SSPartialCorrelation;
  auto const call = [&](uint64_t method = 0) { return PartialCovariance<T>(task.get(), both, method); };
  EXPECT_EQ(call(), SSNullCov);
  task->cor = cov;
  EXPECT_EQ(call(), SSNullStorage);
  task->corStorage = &full;
  EXPECT_EQ(call(), SSNullPartialCovIndices);
  task->partialCovIndices = roles;
  EXPECT_EQ(call(), SSNullPartialCov);
  task->partialCov = out;
  EXPECT_EQ(call(), SSNullStorage);
  task->partialCovStorage = &full;
  EXPECT_EQ(call(), SSNullPartialCor);
  task->partialCor = out;
  EXPECT_EQ(call(), SSNullStorage);
  task->partialCorStorage = &full;
  task->cov = cov;
  EXPECT_EQ(call(), SSNullStorage);
  task->covStorage = &full;
  EXPECT_EQ(call(SSMethodOnePass), SSMethodNotSupported);
  EXPECT_EQ(call(SSMethodFast), SSBadPartialCovIndices);
  roles[1] = roles[2] = -1;
  expect_to_survive_failing_allocations([&] { return call(SSMethodFast); });
  task->cov = singular;
  EXPECT_EQ(call(SSMethodFast), SSPartialFactorFailed);
}

// Eigenvalues of a symmetric matrix are all positive if and only if this succeeds.
template <class T>
bool positive_definite(std::vector<T> a, int p) {
  for (int k = 0; k < p; ++k) {
    if (!(a[k * p + k] > 0)) return false;
    for (int i = k + 1; i < p; ++i)
      for (int j = k + 1; j < p; ++j) a[i * p + j] -= a[i * p + k] * a[k * p + j] / a[k * p + k];
  }
  return true;
}

TYPED_TEST(Groups, RepairedCorrelations) {
  using T = TypeParam;
  std::mt19937 random(12);
  int repaired = 0;
  for (int k = 0; k < 60; ++k) {
    int const p = 2 + static_cast<int>(random() % 8), from = static_cast<int>(random() % 3),
              to = static_cast<int>(random() % 3);
    std::vector<T> full(p * p, T(1)), packed(p * p, T(-3)), out(p * p, T(-3)), again(p * p);
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < i; ++j)
        full[i * p + j] = full[j * p + i] =
            T(static_cast<int>(random() % 1999) - 999) / (k % 3 ? 1000 : 9000);
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < p; ++j) packed[place<T>(from, p, i, j)] = full[i * p + j];
    Data<T> d(3, p, SSStorageRows);
    Task<T> task(d);
    task->cor = packed.data();
    task->corStorage = task.integer(from);
    task->paramCor = out.data();
    task->paramCorStorage = task.integer(to);
    ASSERT_EQ(CorParametrization<T>(task.get(), 0, SSMethodCorParametrize), 0);
    std::vector<T> result(p * p);
    bool same = true;
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < p; ++j) {
        result[i * p + j] = out[place<T>(to, p, i, j)];
        same = same && result[i * p + j] == full[i * p + j];
      }
    ASSERT_TRUE(positive_definite(result, p));
    ASSERT_EQ(same, positive_definite(full, p)) << k;
    repaired += !same;
    for (int i = 0; i < p; ++i) ASSERT_NEAR(result[i * p + i], 1, 20 * std::numeric_limits<T>::epsilon());
    // A second repair changes nothing.
    task->cor = result.data();
    task->corStorage = task->paramCorStorage = task.integer(SSMatrixFull);
    task->paramCor = again.data();
    ASSERT_EQ(CorParametrization<T>(task.get(), 0, SSMethodCorParametrize), 0);
    for (int i = 0; i < p * p; ++i) ASSERT_NEAR(again[i], result[i], 4e-4 * (sizeof(T) == 4) + 1e-11);
  }
  EXPECT_GT(repaired, 20);
}

TYPED_TEST(Groups, RepairStatusesInOrder) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(10, 2, SSStorageCols);
  Task<T> task(d);
  std::vector<T> a = {1, T(0.5), T(0.5), 1}, out(4), negative = {-1, 0, 0, -1},
                 bad(4, std::numeric_limits<T>::quiet_NaN());
  int const zero = 0, full = 0, lower = 1, unknown = 3;
  auto const call = [&](uint64_t method = 0) { return CorParametrization<T>(task.get(), 0, method); };
  void const* const p = std::exchange(task->dimension, &zero);
  EXPECT_EQ(call(), SSBadDimension);
  task->dimension = p;
  EXPECT_EQ(call(), SSNullCor);
  task->cor = a.data();
  EXPECT_EQ(call(), SSNullStorage);
  task->corStorage = &unknown;
  EXPECT_EQ(call(), SSBadStorage);
  task->corStorage = &lower;
  EXPECT_EQ(call(), SSNullParamCor);
  task->paramCor = a.data();
  EXPECT_EQ(call(), SSNullStorage);
  task->paramCorStorage = &full;
  EXPECT_EQ(call(), SSBadStorage); // full in the place of packed
  task->corStorage = &full;
  task->paramCorStorage = &unknown;
  EXPECT_EQ(call(), SSBadStorage);
  task->paramCorStorage = &full;
  EXPECT_EQ(call(SSMethodFast), SSMethodNotSupported);
  task->paramCor = out.data();
  expect_to_survive_failing_allocations([&] { return call(SSMethodCorParametrize); });
  task->cor = negative.data();
  EXPECT_EQ(call(SSMethodCorParametrize), SSEigenvaluesAtFloor);
  task->cor = bad.data();
  EXPECT_EQ(call(SSMethodCorParametrize), SSCorrelationEigenFailed);
}

} // namespace
