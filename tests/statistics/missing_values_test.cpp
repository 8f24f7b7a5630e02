// Multiple imputation.
#include "tests/statistics/estimates.h"

#include <bit>

namespace {
using namespace orv::test;

template <class T>
class Missing : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Missing, Reals);

template <class T>
T gap() {
  if constexpr (sizeof(T) == 8)
    return std::bit_cast<double>(uint64_t{0xFFF8000000000000});
  else
    return std::bit_cast<float>(uint32_t{0xFFC00000});
}

template <class T>
struct Imputed {
  int32_t status = 0;
  std::vector<T> values, estimates;
};
template <class T>
int32_t MissingValues(SSTask* task) {
  if constexpr (sizeof(T) == 8)
    return _rnqdSSMissingValues(task, 0, SSMethodMultipleImpute, nullptr);
  else
    return _rnqsSSMissingValues(task, 0, SSMethodMultipleImpute, nullptr);
}
template <class T>
Imputed<T> impute(Data<T> const& d, int sets = 5, int sweeps = 30, bool wide = false) {
  int gaps = 0;
  for (T x : d.values) gaps += std::isnan(x);
  int const size = d.p * (d.p + 3) / 2;
  Imputed<T> r;
  r.values.assign(static_cast<size_t>(sets) * gaps, T(-99));
  r.estimates.assign(static_cast<size_t>(size) * sets * sweeps, T(-99));
  std::vector<T> parameters = {0, T(sweeps), T(1e-6), T(sets), T(gaps)};
  Task<T> task(d, wide);
  task->missingParams = parameters.data();
  task->missingParamCount = task.integer(5);
  task->missingSimulated = r.values.data();
  task->missingSimulatedCount = task.integer(sets * gaps);
  task->missingEstimates = r.estimates.data();
  task->missingEstimatesCount = task.integer(size * sets * sweeps);
  r.status = MissingValues<T>(task.get());
  return r;
}

// y depends on x, and is missing where x is large: what was observed alone is far off.
template <class T>
Data<T> dependent(int n, int layout, double offset = 0) {
  Data<double> const noise = normal_data<double>(n, 3, SSStorageCols, 41);
  Data<T> d(n, 3, layout);
  for (int i = 0; i < n; ++i) {
    double const x = noise(i, 0);
    d(i, 0) = static_cast<T>(x + offset);
    d(i, 1) = x > 0.5 ? gap<T>() : static_cast<T>(2 * x + noise(i, 1) + offset);
    d(i, 2) = x > 0.5 ? gap<T>() : static_cast<T>(0.5 * noise(i, 1) + 0.8660254 * noise(i, 2) + offset);
  }
  return d;
}

TYPED_TEST(Missing, ImputedValuesFollowTheRegressionAndItsResiduals) {
  using T = TypeParam;
  int const n = 4000;
  for (int layout : {SSStorageRows, SSStorageCols})
    for (double offset : {0.0, sizeof(T) == 8 ? 1e6 : 100.0}) {
      Data<T> const d = dependent<T>(n, layout, offset);
      auto const r = impute(d, 3);
      ASSERT_EQ(r.status, 0);
      // Least squares over the complete rows: what maximum likelihood gives for this pattern.
      double s = 0, sx = 0, sy = 0, sxx = 0, sxy = 0, all = 0, variance = 0;
      for (int i = 0; i < n; ++i) {
        double const x = d(i, 0) - offset, y = d(i, 1) - offset;
        all += x / n;
        variance += x * x / n;
        if (std::isnan(y)) continue;
        s += 1, sx += x, sy += y, sxx += x * x, sxy += x * y;
      }
      double const slope = (sxy - sx * sy / s) / (sxx - sx * sx / s), mean = sy / s + slope * (all - sx / s);
      double uu = 0, vv = 0, uv = 0, m1 = 0, count = 0;
      for (size_t set = 0, at = 0; set < 3; ++set)
        for (int i = 0; i < n; ++i) {
          if (!std::isnan(d(i, 1))) continue;
          double const u = r.values[at] - offset - 2 * (d(i, 0) - offset), v = r.values[at + 1] - offset;
          at += 2;
          uu += u * u, vv += v * v, uv += u * v, m1 += u, count += 1;
        }
      EXPECT_NEAR(m1 / count, 0, 0.15) << "the observed mean of y is 2 off";
      EXPECT_NEAR(std::sqrt(uu / count), 1, 0.1);
      EXPECT_NEAR(uv / std::sqrt(uu * vv), 0.5, 0.06);
      // The drawn parameters at the last sweep.
      T const* const last = r.estimates.data() + r.estimates.size() - 9;
      EXPECT_NEAR(last[0] - offset, all, 0.02 + offset * 1e-6);
      EXPECT_NEAR(last[1] - offset, mean, 0.1);
      variance -= all * all;
      EXPECT_NEAR(last[3], variance, 0.01);
      EXPECT_NEAR(last[4], slope * variance, 0.1);
      EXPECT_NEAR(last[5], slope * slope * variance + 1, 0.3);
      auto const again = impute(d, 3, 30, true);
      EXPECT_EQ(again.values, r.values);
      EXPECT_EQ(again.estimates, r.estimates);
    }
}

TYPED_TEST(Missing, SetsDiffer) {
  using T = TypeParam;
  Data<T> const d = dependent<T>(60, SSStorageCols);
  auto const r = impute(d, 20);
  size_t const gaps = r.values.size() / 20;
  for (size_t a = 0; a < 20; ++a)
    for (size_t b = 0; b < a; ++b) EXPECT_NE(r.values[a * gaps], r.values[b * gaps]);
}

TYPED_TEST(Missing, CollinearAndConstantColumns) {
  using T = TypeParam;
  Data<T> d(300, 3, SSStorageCols);
  Data<T> const noise = normal_data<T>(300, 2, SSStorageCols, 2);
  for (int i = 0; i < d.n; ++i) {
    d(i, 0) = noise(i, 0);
    d(i, 1) = 2 * noise(i, 0);
    d(i, 2) = i % 5 == 0 ? gap<T>() : noise(i, 0) + noise(i, 1);
  }
  auto const r = impute(d, 2);
  // Values of the data's size, or the status of a posterior that is singular.
  if (r.status == 0)
    for (T x : r.values) ASSERT_LT(std::fabs(x), 50);
  else
    EXPECT_EQ(r.status, SSPosteriorFactorFailed);
  for (int i = 0; i < d.n; ++i) d(i, 2) = i % 5 == 0 ? gap<T>() : T(3);
  EXPECT_LT(impute(d, 2).status, 0);
}

TYPED_TEST(Missing, StatusesInOrder) {
  using T = TypeParam;
  Data<T> d = dependent<T>(40, SSStorageCols);
  int gaps = 0;
  for (T x : d.values) gaps += std::isnan(x);
  d(0, 0) = std::numeric_limits<T>::quiet_NaN(); // a positive NaN is no gap
  Task<T> task(d);
  std::vector<T> parameters = {50, 2, T(0.001), 1, T(gaps + 1)}, values(gaps), estimates(18);
  int const zero = 0, four = 4, unknown = 3, count = gaps, all = 18;
  auto const call = [&] { return MissingValues<T>(task.get()); };
  void const *const p = std::exchange(task->dimension, &zero), *const layout =
                                                                   std::exchange(task->dataStorage, nullptr);
  EXPECT_EQ(call(), SSBadDimension);
  task->dimension = p;
  EXPECT_EQ(call(), SSBadStorage);
  task->dataStorage = &unknown;
  EXPECT_EQ(call(), SSBadStorage);
  task->dataStorage = layout;
  EXPECT_EQ(call(), SSNullMissingParams);
  task->missingParams = parameters.data();
  EXPECT_EQ(call(), SSNullMissingParamCount);
  task->missingParamCount = &four;
  EXPECT_EQ(call(), SSBadMissingParamCount);
  task->missingParamCount = task.integer(5);
  EXPECT_EQ(call(), SSNoMissingResults);
  task->missingSimulatedCount = &zero;
  EXPECT_EQ(call(), SSNullMissingSimulated);
  task->missingSimulated = values.data();
  EXPECT_EQ(call(), SSNoMissingResults);
  task->missingSimulatedCount = nullptr;
  EXPECT_EQ(call(), SSNullMissingSimulatedCount);
  task->missingSimulatedCount = &four;
  EXPECT_EQ(
      (sizeof(T) == 8 ? _rnqdSSMissingValues : _rnqsSSMissingValues)(task.get(), 0, SSMethodFast, nullptr),
      SSMethodNotSupported);
  EXPECT_EQ(call(), SSBadMissingCount);
  parameters[4] = T(gaps);
  parameters[3] = 0;
  EXPECT_EQ(call(), SSBadMissingParams);
  parameters[3] = 1;
  EXPECT_EQ(call(), SSBadMissingSimulatedCount);
  task->missingSimulatedCount = &count;
  task->missingEstimates = estimates.data();
  task->missingEstimatesCount = &four;
  EXPECT_EQ(call(), SSBadMissingEstimatesCount);
  task->missingEstimatesCount = &all;
  EXPECT_LT(call(), 0); // the NaN
  d(0, 0) = 0;
  expect_to_survive_failing_allocations([&] { // streams and draws have statuses of their own
    int32_t const status = call();
    return status < 0 ? SSOutOfMemory : status;
  });
  for (T x : values) EXPECT_TRUE(std::isfinite(x));
}

} // namespace
