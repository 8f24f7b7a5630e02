// Data and weights on which a careless sum fails: weights of 0 where a block begins, single observations,
// tiny weights, large offsets shared among threads, matrices asked for in changing order.
#include "orv/mode.h"
#include "tests/statistics/expect.h"
#include "tests/support/guarded.h"

namespace {
using namespace orv::test;

template <class T>
class HardData : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(HardData, Reals);

constexpr uint64_t one_pass = SSMethodOnePass;

// Blocks of moments hold 2048 observations by rows and at least 256 by columns, a chunk of the scatter matrix
// at least 64 (p = 300): what is left over is one observation, whose weight is 0.
TYPED_TEST(HardData, LastObservationOfWeightZeroAlone) {
  using T = TypeParam;
  struct Case {
    int n, p, layout, threads;
  };
  for (Case const& c :
       {Case{2049, 1, SSStorageRows, 1}, Case{2049, 2, SSStorageRows, 1}, Case{257, 40, SSStorageCols, 1},
        Case{4097, 3, SSStorageRows, 2}, Case{6150, 3, SSStorageRows, 3}, Case{129, 300, SSStorageCols, 1},
        Case{129, 300, SSStorageRows, 1}}) {
    Data<T> d = sample_data<T>(c.n, c.p, c.layout, true, 2);
    for (auto& w : d.weights) w += T(0.5);
    d.weights.back() = 0;
    for (int t = 1; t < c.threads; ++t) d.weights[c.n / c.threads * t + 2048] = 0;
    uint64_t const estimates = c.p < 100 ? everything : SSMean | SSCovariance;
    Results<T> got(c.p);
    ASSERT_EQ(got.compute(d, estimates, one_pass, Services(c.threads)), 0);
    expect_results(d, got, estimates, 60, std::to_string(c.n) + " by " + std::to_string(c.p));
    if (::testing::Test::HasFatalFailure()) return;
  }
}

// A single observation has no covariance, whatever its weight; more observations make one.
TYPED_TEST(HardData, FirstBlockOfOneObservationOfAnyWeight) {
  using T = TypeParam;
  for (uint64_t method : {SSMethodFast, SSMethodOnePass})
    for (double weight : {0.1, 0.3, 1.0 / 3, 0.7, 1.1, 3e-5, 1e7})
      for (bool sums : {true, false})
        for (uint64_t matrix : {SSCovariance, SSCorrelation, SSCrossProduct}) {
          Data<T> d = sample_data<T>(30, 3, SSStorageCols, true, 2);
          for (size_t i = 0; i < d.weights.size(); ++i)
            d.weights[i] = static_cast<T>(weight) * (i ? 1 + i % 3 : 1);
          Results<T> got(3);
          if (!sums)
            for (int k = Results<T>::Sum; k < Results<T>::Count; ++k)
              got.task->*Results<T>::fields[k] = nullptr;
          uint64_t const estimates = all_moments | (sums ? all_sums : 0) | matrix;
          ASSERT_EQ(got.compute(d.part(0, 1), estimates, method, Services(1)), 0);
          ASSERT_EQ(got.compute(d.part(1, 30), estimates, method, Services(1)), 0);
          expect_results(d, got, estimates, 200, "weight " + std::to_string(weight));
          if (::testing::Test::HasFatalFailure()) return;
        }
}

// The sums' arrays are there, but nobody asked for them: nothing is read that wasn't written.
TYPED_TEST(HardData, FirstBlockOfOneObservationBesideUnusedSums) {
  using T = TypeParam;
  for (uint64_t method : {SSMethodFast, SSMethodOnePass, SSMethodFastUserMean}) {
    Data<T> const d = sample_data<T>(40, 3, SSStorageRows, false, 2);
    Results<T> got(3);
    Reference<T> const r(d);
    if (method == SSMethodFastUserMean)
      for (int j = 0; j < 3; ++j) got.arrays[0][j] = static_cast<T>(r.mean[j]);
    ASSERT_EQ(got.compute(d.part(0, 1), all_moments, method, Services(1)), 0);
    ASSERT_EQ(got.compute(d.part(1, 40), all_moments, method, Services(1)), 0);
    expect_results(d, got, all_moments, 200, "moments beside unused sums");
  }
}

// Threads' means are apart by less than a rounding of the mean itself.
TEST(HardDataThreads, LargeOffsetSharedAmongThreads) {
  int const n = 20000, p = 3;
  Data<double> d(n, p, SSStorageRows), small(n, p, SSStorageRows);
  std::mt19937 random(5);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < p; ++j) {
      d(i, j) = 1e9 + static_cast<double>(random() % 1000001) / 1e6;
      small(i, j) = d(i, j) - 1e9; // exact
    }
  Reference<double> const r(small);
  for (int threads : {1, 2, 6, 7}) {
    Results<double> got(p);
    ASSERT_EQ(got.compute(d, all_moments | all_matrices, one_pass, Services(threads)), 0);
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < p; ++j) {
        double const scale = static_cast<double>(sqrtl(r.s[i * p + i] * r.s[j * p + j]) / r.freedom());
        EXPECT_NEAR(got.cov[i * p + j], static_cast<double>(r.s[i * p + j] / r.freedom()), 2e-15 * scale)
            << threads << " threads";
      }
  }
}

// Pages on both sides of data, weights and results are never touched.
TYPED_TEST(HardData, NothingIsTouchedOutsideOfTheArrays) {
  using T = TypeParam;
  for (bool front : {false, true})
    for (int layout : {SSStorageRows, SSStorageCols})
      for (int p : {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 33, 39, 41})
        for (int n : {1, 2, 3, 7, 16, 19, 300}) {
          Data<T> d = sample_data<T>(n, p, layout, true, 1);
          Guarded<T> const data(d.values, front), weights(d.weights, front);
          std::vector<T> const row(static_cast<size_t>(p), T(0)), square(static_cast<size_t>(p * p), T(0));
          Guarded<T> const mean(row, front), central(row, front), raw(row, front), low(row, front),
              high(row, front);
          Guarded<T> const cov(square, front);
          for (uint64_t method : {SSMethodFast, SSMethodOnePass, SSMethodFastUserMean})
            for (bool weighted : {false, true}) {
              Results<T> got(p);
              got.point_at(d);
              got.task->data = data.data();
              got.task->weights = weighted ? weights.data() : nullptr;
              got.task->mean = mean.data();
              got.task->centralMoment2 = central.data();
              got.task->rawMoment2 = raw.data();
              got.task->cov = cov.data();
              got.task->minimum = low.data();
              got.task->maximum = high.data();
              ASSERT_EQ(Entries<T>::basic(got.task, everything, method, Services(1).get()), 0);
              ASSERT_EQ(Entries<T>::minmax(got.task, SSMinimum | SSMaximum, one_pass, Services(1).get()), 0);
            }
        }
}

// Only leading weights of exactly 0 hide their observations.
TEST(HardDataWeights, FirstWeightNegativeOrMissing) {
  Data<double> d = sample_data<double>(50, 2, SSStorageRows, true, 2);
  for (auto& w : d.weights) w += 0.5;
  d.weights[0] = -0.25;
  Results<double> got(2);
  ASSERT_EQ(got.compute(d, everything, one_pass, Services(1)), 0);
  expect_results(d, got, everything, 60, "a negative first weight");
  d.weights[0] = std::numeric_limits<double>::quiet_NaN();
  Results<double> missing(2);
  ASSERT_EQ(missing.compute(d, SSMean, one_pass, Services(1)), 0);
  EXPECT_TRUE(std::isnan(missing.arrays[0][1]));
}

// Results don't depend on a common factor of the weights.
TEST(HardDataWeights, TinyAndHugeWeights) {
  for (double factor : {0x1p-500, 0x1p-480, 0x1p-300, 0x1p200, 0x1p400})
    for (int threads : {1, 3})
      for (uint64_t method : {SSMethodFast, SSMethodOnePass}) {
        Data<double> plain = sample_data<double>(3000, 2, SSStorageRows, true, 2), scaled = plain;
        for (auto& w : scaled.weights) w *= factor;
        Results<double> a(2), b(2);
        uint64_t const estimates = all_moments | SSCovariance | SSCorrelation;
        ASSERT_EQ(a.compute(plain, estimates, method, Services(threads)), 0);
        ASSERT_EQ(b.compute(scaled, estimates, method, Services(threads)), 0);
        for (int k = 0; k <= Results<double>::Variation; ++k)
          for (int j = 0; j < 2; ++j)
            EXPECT_NEAR(b.arrays[k][j], a.arrays[k][j], 1e-13 * std::fabs(a.arrays[k][j]))
                << factor << " result " << k;
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(b.cov[i], a.cov[i], 1e-13 * a.cov[0]) << factor;
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(b.cor[i], a.cor[i], 1e-13 * a.cor[0]) << factor;
      }
}

// Matrices that have a place are kept up, so that the next block can ask for another one.
TYPED_TEST(HardData, MatricesAskedInAnyOrder) {
  using T = TypeParam;
  uint64_t const matrix[] = {SSCovariance, SSCorrelation, SSCrossProduct};
  for (uint64_t method : {SSMethodFast, SSMethodOnePass})
    for (int storage : {SSMatrixFull, SSMatrixLowerPacked, SSMatrixUpperPacked})
      for (int present = 1; present < 8; ++present)
        for (uint64_t first : matrix)
          for (uint64_t second : matrix) {
            Data<T> const d = sample_data<T>(120, 4, SSStorageRows, false, 4);
            Results<T> got(4, storage);
            void** places[] = {&got.task->cov, &got.task->cor, &got.task->crossProduct};
            bool there = true;
            for (int k = 0; k < 3; ++k) {
              bool const has = (present >> k & 1) != 0;
              if (!has) *places[k] = nullptr;
              there = there && (has || (matrix[k] != first && matrix[k] != second));
            }
            if (!there) continue;
            ASSERT_EQ(got.compute(d.part(0, 50), SSMean | first, method, Services(1)), 0);
            ASSERT_EQ(got.compute(d.part(50, 80), SSMean | second, method, Services(1)), 0);
            ASSERT_EQ(got.compute(d.part(80, 120), SSMean | second | first, method, Services(1)), 0);
            expect_results(d, got, first | second, 200,
                           std::to_string(present) + " " + std::to_string(first) + " then " +
                               std::to_string(second));
            if (::testing::Test::HasFatalFailure()) return;
          }
}

// A matrix without a place for its layout is none.
TEST(HardDataMatrices, OnesWithoutStorageAreLeftAlone) {
  Data<double> const d = sample_data<double>(60, 3, SSStorageCols, false, 1);
  Results<double> got(3);
  got.task->crossProductStorage = got.task->corStorage = nullptr;
  for (int b = 0; b < 3; ++b)
    ASSERT_EQ(got.compute(d.part(20 * b, 20 * b + 20), SSMean | SSCovariance, one_pass, Services(1)), 0);
  expect_results(d, got, SSCovariance, 60, "covariance alone");
  EXPECT_EQ(got.cross, std::vector<double>(9, Results<double>::mark));
  EXPECT_EQ(got.cor, std::vector<double>(9, Results<double>::mark));
}

// A variable that is constant in the first block has no correlation yet, but gets one.
TYPED_TEST(HardData, CorrelationGoesOnFromAConstantVariable) {
  using T = TypeParam;
  Data<T> d = sample_data<T>(80, 3, SSStorageRows, false, 0);
  for (int i = 0; i < 10; ++i) d(i, 1) = 2;
  Results<T> got(3);
  got.task->cov = got.task->crossProduct = nullptr;
  ASSERT_EQ(got.compute(d.part(0, 10), SSMean | SSCorrelation, one_pass, Services(1)), 0);
  ASSERT_EQ(got.compute(d.part(10, 80), SSMean | SSCorrelation, one_pass, Services(1)), 0);
  expect_results(d, got, SSCorrelation, 200, "constant at first");
}

// The caller's word comes back whole, also one whose denormal field is clear.
TEST(HardDataMode, TheModeWordComesBackWhole) {
  Data<double> const d = sample_data<double>(60, 3, SSStorageCols, false, 1);
  for (uint32_t mode : {0x1A02u, 0x140001u, 0x280003u}) {
    uint32_t before = 0, after = 0;
    std::thread([&] {
      orv_elw_kernel_SetMode(mode);
      before = orv_elw_kernel_GetMode();
      Results<double> got(3);
      EXPECT_EQ(got.compute(d, SSMean | SSCorrelation, one_pass, Services(1)), 0);
      after = orv_elw_kernel_GetMode();
    }).join();
    EXPECT_EQ(after, before) << std::hex << mode;
  }
}

} // namespace
