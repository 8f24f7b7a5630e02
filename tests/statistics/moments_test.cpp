#include "orv/mode.h"
#include "tests/statistics/expect.h"

#include <fstream>
#include <limits>

namespace {
using namespace orv::test;

template <class T>
class Moments : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Moments, Reals);

struct Setting {
  uint64_t method;
  int layout, storage, threads, cuts;
  bool weighted, indexed;
  std::string name() const {
    return "method " + std::to_string(method) + " layout " + std::to_string(layout) + " packing " +
           std::to_string(storage) + " threads " + std::to_string(threads) + " cuts " + std::to_string(cuts) +
           (weighted ? " weighted" : "") + (indexed ? " indexed" : "");
  }
};

template <class F>
void each_setting(F run) {
  for (uint64_t method : {SSMethodFast, SSMethodOnePass, SSMethodFastUserMean})
    for (int layout : {SSStorageRows, SSStorageCols})
      for (int storage : {SSMatrixFull, SSMatrixLowerPacked, SSMatrixUpperPacked})
        for (int threads : {1, 2, 7})
          for (int cuts : {1, 3})
            for (int form = 0; form < 4; ++form)
              run(Setting{method, layout, storage, threads, cuts, (form & 1) != 0, form >= 2});
}

// Observations first to last of the blocks that n is cut into, of uneven sizes.
std::vector<int> cut(int n, int blocks) {
  std::vector<int> at{0};
  for (int b = 1; b < blocks; ++b) at.push_back(n * b * b / (blocks * blocks) + 1);
  at.push_back(n);
  return at;
}

template <class T>
void check(Setting const& s, int n, int p, uint64_t estimates, double bound) {
  Data<T> d = sample_data<T>(n, p, s.layout, s.weighted, 3);
  if (s.indexed)
    for (int j = 0; j < p; ++j) d.indices.push_back(j % 3 != 1);
  Results<T> got(p, s.storage);
  if (s.method == SSMethodFastUserMean) {
    Reference<T> const r(d);
    for (int j = 0; j < p; ++j)
      if (d.selected(j)) got.arrays[0][j] = static_cast<T>(r.mean[j]);
  }
  Services const services(s.threads);
  auto const at = cut(n, s.cuts);
  Services::regions() = 0;
  for (size_t b = 0; b + 1 < at.size(); ++b) {
    Data<T> const part = d.part(at[b], at[b + 1]);
    ASSERT_EQ(got.compute(part, estimates, s.method, services), 0);
  }
  EXPECT_EQ(Services::regions() > 0, s.threads > 1) << s.name();
  // A mean that is rounded to the type counts as the mean: the matrix then is off by its error's square.
  expect_results(d, got, estimates, bound, s.name());
  Reference<T> const r(d);
  EXPECT_NEAR(got.accumulated[0], r.w, 1e-6 * r.w);
  EXPECT_NEAR(got.accumulated[1], r.w2, 1e-6 * r.w2);
}

TYPED_TEST(Moments, EveryEstimateInEverySetting) {
  each_setting([](Setting const& s) {
    if (::testing::Test::HasFatalFailure()) return;
    // Enough work for threads in each cut; columns around the width of vectors and panels.
    int const p = s.storage == SSMatrixFull ? 5 : s.storage == SSMatrixLowerPacked ? 19 : 3;
    check<TypeParam>(s,
                     p == 5    ? 2400
                     : p == 19 ? 300
                               : 6500,
                     p, everything, s.method == SSMethodFast ? 60 : 30);
  });
}

TYPED_TEST(Moments, FewObservationsAndOneVariable) {
  for (int n : {2, 3, 4, 5, 15, 16, 17, 33, 70, 2049})
    each_setting([&](Setting const& s) {
      if (::testing::Test::HasFatalFailure() || s.threads > 1 || s.cuts > 1 || s.indexed ||
          (s.weighted && n < 15))
        return;
      check<TypeParam>(s, n, 1,
                       everything & ~(s.method == SSMethodFast && n < 15 ? SSKurtosis | SSSkewness : 0), 60);
    });
}

// Each estimate alone runs the kernel of its own order, with only the arrays that it needs.
TYPED_TEST(Moments, EachEstimateAlone) {
  using T = TypeParam;
  for (int layout : {SSStorageRows, SSStorageCols})
    for (uint64_t method : {SSMethodFast, SSMethodOnePass, SSMethodFastUserMean})
      for (uint64_t estimate = 1; estimate <= SSCrossProduct; estimate *= 2) {
        if (!(everything & estimate)) continue;
        Data<T> const d = sample_data<T>(777, 6, layout, false, 1);
        Results<T> got(6);
        if (method == SSMethodFastUserMean) {
          if (estimate == SSMean || estimate == SSSum) continue;
          Reference<T> const r(d);
          for (int j = 0; j < 6; ++j) got.arrays[0][j] = static_cast<T>(r.mean[j]);
        }
        ASSERT_EQ(got.compute(d, estimate, method, Services(1)), 0);
        expect_results(d, got, estimate, 60,
                       "estimate " + std::to_string(estimate) + " method " + std::to_string(method));
      }
}

// However a data set is cut, to single observations even, the results are those of one block.
TYPED_TEST(Moments, AnyCutGivesTheSame) {
  using T = TypeParam;
  int const n = 21;
  for (uint64_t method : {SSMethodFast, SSMethodOnePass, SSMethodFastUserMean})
    for (int layout : {SSStorageRows, SSStorageCols})
      for (bool weighted : {false, true})
        for (int first = 0; first < n; ++first) { // 0: every observation a block of its own
          Data<T> d = sample_data<T>(n, 3, layout, weighted, 2);
          if (weighted) d.weights[0] = T(1.5);
          Results<T> got(3);
          Reference<T> const r(d);
          if (method == SSMethodFastUserMean)
            for (int j = 0; j < 3; ++j) got.arrays[0][j] = static_cast<T>(r.mean[j]);
          for (int i = 0; i < n;) {
            int const end = first == 0 ? i + 1 : i < first ? first : n;
            ASSERT_EQ(got.compute(d.part(i, end), everything, method, Services(1)), 0);
            i = end;
          }
          expect_results(d, got, everything, method == SSMethodFast ? 300 : 100,
                         "cut at " + std::to_string(first) + " method " + std::to_string(method));
        }
}

// The moments' arrays may be missing where sums are there, and the other way round; state goes on from
// either.
TYPED_TEST(Moments, StateLivesInSumsOrMoments) {
  using T = TypeParam;
  using R = Results<T>;
  for (uint64_t method : {SSMethodFast, SSMethodOnePass}) {
    Data<T> const d = sample_data<T>(500, 4, SSStorageCols, true, 2);
    auto const at = cut(500, 4);
    auto const run = [&](R& got, uint64_t estimates) {
      for (size_t b = 0; b + 1 < at.size(); ++b)
        ASSERT_EQ(got.compute(d.part(at[b], at[b + 1]), estimates, method, Services(1)), 0);
      expect_results(d, got, estimates, 80, "method " + std::to_string(method));
    };
    R sums(4);
    for (int k = R::Raw2; k <= R::Variation; ++k) sums.task->*R::fields[k] = nullptr;
    if (method == SSMethodFast)
      run(sums, SSSum | SSRawSum2 | SSRawSum3 | SSRawSum4 | SSMean);
    else
      run(sums, all_sums | SSMean);
    R moments(4);
    for (int k = R::Sum; k < R::Count; ++k) moments.task->*R::fields[k] = nullptr;
    run(moments, all_moments);
    if (method == SSMethodFast) continue;
    // Central 2 and 3 without a place of their own follow from the raw moments.
    R no_central2(4);
    no_central2.task->centralMoment2 = no_central2.task->centralSum2 = nullptr;
    no_central2.task->centralMoment3 = no_central2.task->centralSum3 = nullptr;
    run(no_central2, SSMean | SSRawMoment2 | SSRawMoment3 | SSRawMoment4 | SSCentralMoment4);
  }
}

TYPED_TEST(Moments, MatricesGoOnFromWhicheverIsThere) {
  using T = TypeParam;
  Data<T> const d = sample_data<T>(600, 7, SSStorageRows, false, 4);
  auto const at = cut(600, 3);
  for (uint64_t method : {SSMethodFast, SSMethodOnePass})
    for (uint64_t estimate : {SSCovariance, SSCorrelation, SSCrossProduct, SSCovariance | SSCorrelation})
      for (int storage : {SSMatrixFull, SSMatrixLowerPacked, SSMatrixUpperPacked}) {
        Results<T> got(7, storage);
        for (size_t b = 0; b + 1 < at.size(); ++b)
          ASSERT_EQ(got.compute(d.part(at[b], at[b + 1]), estimate | SSMean, method, Services(1)), 0);
        expect_results(d, got, estimate, 200, "estimate " + std::to_string(estimate));
      }
}

// More variables than a block has rows: the fast method's matrix is then made by the calling thread.
TYPED_TEST(Moments, ManyVariables) {
  using T = TypeParam;
  for (bool weighted : {false, true})
    for (int layout : {SSStorageRows, SSStorageCols})
      for (uint64_t method : {SSMethodFast, SSMethodOnePass}) {
        Data<T> const d = sample_data<T>(150, 190, layout, weighted, 1);
        Results<T> got(190);
        ASSERT_EQ(got.compute(d, SSMean | SSCovariance | SSCorrelation, method, Services(3)), 0);
        expect_results(d, got, SSMean | SSCovariance | SSCorrelation, 60, "many variables");
        Results<T> other(190); // a central moment asks for a matrix in each thread
        ASSERT_EQ(
            other.compute(d, SSMean | SSRawMoment2 | SSCentralMoment2 | SSCovariance, method, Services(3)),
            0);
        expect_results(d, other, SSCovariance | SSCentralMoment2, 60, "many variables");
      }
}

TYPED_TEST(Moments, FromSums) {
  using T = TypeParam;
  using R = Results<T>;
  Data<T> const d = sample_data<T>(300, 5, SSStorageCols, true, 2);
  for (uint64_t method : {SSMethodFromSums, SSMethodFromSumsB, SSMethodFromSums | SSMethodFromSumsB}) {
    R got(5, SSMatrixLowerPacked);
    ASSERT_EQ(got.compute(d, all_sums | SSMean | SSCrossProduct, SSMethodOnePass, Services(1)), 0);
    for (auto k : {R::Mean, R::Raw2, R::Central2, R::Kurtosis}) got.arrays[k].assign(5, R::mark);
    got.task->data = nullptr;
    ASSERT_EQ(Entries<T>::basic(got.task, all_moments | SSCovariance | SSCorrelation, method, nullptr), 0);
    expect_results(d, got, all_moments | SSCovariance | SSCorrelation, 60, "from sums");
  }
  // Without accumulated weights, every observation counts 1.
  Data<T> const plain = sample_data<T>(300, 5, SSStorageCols, false, 2);
  R got(5);
  ASSERT_EQ(got.compute(plain, all_sums | SSMean | SSCrossProduct, SSMethodOnePass, Services(1)), 0);
  got.task->accumWeights = nullptr;
  ASSERT_EQ(Entries<T>::basic(got.task, all_moments | SSCovariance, SSMethodFromSums, nullptr), 0);
  expect_results(plain, got, all_moments | SSCovariance, 60, "from sums, n");
}

TYPED_TEST(Moments, FirstBlocksAndFreshCalls) {
  using T = TypeParam;
  Data<T> d = sample_data<T>(50, 3, SSStorageCols, true, 2);
  for (uint64_t method : {SSMethodFast, SSMethodOnePass}) {
    Data<T> none = d;
    none.weights.assign(50, T(0));
    Results<T> got(3);
    ASSERT_EQ(got.compute(none, everything, method, Services(1)), 0);
    EXPECT_EQ(got.accumulated[0], 0);
    ASSERT_EQ(got.compute(d, everything, method, Services(1)), 0);
    expect_results(d, got, everything, 60, "after a block without weight");
    got.task->accumWeights = nullptr;
    ASSERT_EQ(got.compute(d, everything, method, Services(1)), 0);
    expect_results(d, got, everything, 60, "a fresh call");
  }
}

// Leading zero weights hide their observations; weights that cancel are taken one by one.
TYPED_TEST(Moments, UnusualWeights) {
  using T = TypeParam;
  T const nan = std::numeric_limits<T>::quiet_NaN();
  Data<T> d = sample_data<T>(40, 2, SSStorageRows, true, 2);
  for (auto& w : d.weights) w += T(0.5);
  Data<T> hidden = d;
  hidden.weights[0] = d.weights[0] = 0;
  hidden(0, 0) = hidden(0, 1) = nan;
  Results<T> got(2);
  ASSERT_EQ(got.compute(hidden, everything, SSMethodOnePass, Services(1)), 0);
  expect_results(d, got, everything, 60, "a leading zero weight");

  Data<T> cancel = sample_data<T>(4, 2, SSStorageCols, false, 2);
  cancel.weights = {T(1), T(-1), T(2), T(-2)};
  Data<T> whole(44, 2, SSStorageCols);
  for (int i = 0; i < 44; ++i) {
    whole.weights.push_back(i < 40 ? d.weight(i) : cancel.weight(i - 40));
    for (int j = 0; j < 2; ++j) whole(i, j) = i < 40 ? d(i, j) : cancel(i - 40, j);
  }
  Results<T> two(2);
  ASSERT_EQ(two.compute(d, everything, SSMethodOnePass, Services(1)), 0);
  ASSERT_EQ(two.compute(cancel, everything, SSMethodOnePass, Services(1)), 0);
  expect_results(whole, two, everything, 200, "weights that cancel");

  d.weights[3] = nan;
  ASSERT_EQ(two.compute(d, SSMean, SSMethodOnePass, Services(1)), 0);
  EXPECT_TRUE(std::isnan(two.arrays[0][0]));
}

TYPED_TEST(Moments, InfiniteAndMissingDataStayInTheirVariable) {
  using T = TypeParam;
  T const inf = std::numeric_limits<T>::infinity();
  for (int layout : {SSStorageRows, SSStorageCols}) {
    Data<T> d = sample_data<T>(5000, 5, layout, false, 2);
    d(17, 1) = inf;
    d(18, 3) = std::numeric_limits<T>::quiet_NaN();
    Results<T> got(5);
    ASSERT_EQ(got.compute(d, all_moments, SSMethodOnePass, Services(1)), 0);
    EXPECT_EQ(got.arrays[0][1], inf);
    EXPECT_TRUE(std::isnan(got.arrays[Results<T>::Central2][1]));
    EXPECT_TRUE(std::isnan(got.arrays[0][3]));
    for (int j : {0, 2, 4}) EXPECT_TRUE(std::isfinite(got.arrays[Results<T>::Kurtosis][j]));
  }
}

// A large constant with a ripple: the deviation survives in the methods that promise it.
TEST(MomentsAccuracy, OffsetWithRipple) {
  for (double offset : {1e3, 1e7, 1e9})
    for (int layout : {SSStorageRows, SSStorageCols}) {
      Data<double> d(10000, 3, layout);
      Data<double> ripple = d; // what is left without the offset is exact
      for (int i = 0; i < d.n; ++i)
        for (int j = 0; j < 3; ++j) {
          d(i, j) = offset + 0.1 * (i % 3 + 1) + j;
          ripple(i, j) = d(i, j) - offset;
        }
      Reference<double> const r(ripple);
      Results<double> got(3);
      ASSERT_EQ(got.compute(d, all_moments | SSCovariance, SSMethodOnePass, Services(1)), 0);
      for (int j = 0; j < 3; ++j) {
        double const exact = static_cast<double>(r.central2(j));
        EXPECT_NEAR(got.arrays[Results<double>::Central2][j], exact, 2e-14 * exact) << offset;
        EXPECT_NEAR(got.cov[j * 4], exact, 2e-14 * exact) << offset;
      }
    }
}

// Correlations come from element-wise kernels, which keep denormals whatever mode the caller is in.
TEST(MomentsMode, CallersModeIsKeptAndNotUsed) {
  uint32_t const before = orv_elw_kernel_SetMode(ORV_FLUSH_DENORMALS), flushing = orv_elw_kernel_GetMode();
  Data<float> d = sample_data<float>(200, 2, SSStorageCols, false);
  Reference<float> const r(d);
  for (auto& x : d.values) x *= 1e-22f; // products are denormal
  Results<float> got(2);
  ASSERT_EQ(got.compute(d, SSMean | SSCorrelation, SSMethodOnePass, Services(1)), 0);
  EXPECT_NEAR(got.cor[1], r.s[1] / sqrtl(r.s[0] * r.s[3]), 2e-4);
  EXPECT_EQ(orv_elw_kernel_GetMode(), flushing);
  orv_elw_kernel_SetMode(before);
}

TEST(MomentsWide, IntegersOf64Bits) {
  int64_t const p = 3, n = 20, layout = SSStorageCols, storage = SSMatrixUpperPacked,
                indices[] = {1, 0, int64_t{1} << 33 | 1};
  Data<double> d = sample_data<double>(20, 3, SSStorageCols, false);
  double mean[3] = {7, 7, 7}, cov[6];
  SSTask* task = nullptr;
  ASSERT_EQ(__rnqdSSNewTask(&task, &p, &n, &layout, d.values.data(), nullptr, indices, 1), 0);
  __rnqdSSEditCovCor(task, mean, cov, &storage, nullptr, nullptr);
  ASSERT_EQ(_rnqdSSBasic(task, SSMean | SSCovariance, SSMethodOnePass, Services(1).get()), 0);
  Reference<double> const r(d);
  EXPECT_NEAR(mean[0], r.mean[0], 1e-14);
  EXPECT_EQ(mean[1], 7);
  EXPECT_NEAR(mean[2], r.mean[2], 1e-14);
  EXPECT_NEAR(cov[2], r.s[2] / r.freedom(), 1e-14);
  int64_t const too_few = -1;
  task->observations = &too_few;
  EXPECT_EQ(_rnqdSSBasic(task, SSMean, SSMethodFast, Services(1).get()), -4002);
  __rnqSSDeleteTask(&task);
}

// Under the user-mean method the task keeps the mean of the last block, and a matrix goes on from it.
TEST(MomentsUserMean, MeanMayChangeBetweenBlocks) {
  Data<double> const d = sample_data<double>(400, 4, SSStorageCols, false, 2);
  Results<double> got(4);
  auto const mean_of = [&](int last) {
    Reference<double> const r(d.part(0, last));
    for (int j = 0; j < 4; ++j) got.arrays[0][j] = static_cast<double>(r.mean[j]);
  };
  mean_of(150);
  ASSERT_EQ(got.compute(d.part(0, 150), SSCovariance, SSMethodFastUserMean, Services(1)), 0);
  ASSERT_NE(got.task->savedMean, nullptr);
  EXPECT_EQ(static_cast<double*>(got.task->savedMean)[2], got.arrays[0][2]);
  mean_of(400);
  ASSERT_EQ(got.compute(d.part(150, 400), SSCovariance, SSMethodFastUserMean, Services(1)), 0);
  expect_results(d, got, SSCovariance, 60, "user mean");
}

TEST(MomentsStatus, MethodWords) {
  Data<double> const d = sample_data<double>(10, 2, SSStorageCols, false);
  Results<double> got(2);
  got.point_at(d);
  for (uint64_t method : {uint64_t{0}, SSMethodFast | SSMethodOnePass, SSMethodOnePass | SSMethodFastUserMean,
                          SSMethodFast | SSMethodFastUserMean, SSMethodSort, SSMethodRobust})
    EXPECT_EQ(_rnqdSSBasic(got.task, SSMean, method, Services(1).get()), -4029);
  EXPECT_EQ(_rnqdSSBasic(nullptr, SSMean, SSMethodFast, nullptr), -4031);
  EXPECT_EQ(_rnqdSSBasic(got.task, SSMean, SSMethodFast | SSMethodFromSums, Services(1).get()), 0);
  // The method comes first: a task that lacks everything still says so.
  SSTask empty{};
  EXPECT_EQ(_rnqsSSBasic(&empty, everything, 0, nullptr), -4029);
}

TEST(MomentsStatus, EveryMissingFieldIsNamed) {
  struct Case {
    uint64_t estimate, method;
    void* SSTask::*missing;
    int status;
  };
  uint64_t const fast = SSMethodFast, one = SSMethodOnePass, sums = SSMethodFromSums;
  Case const cases[] = {
      {SSMean, fast, &SSTask::mean, -4006},
      {SSRawMoment2, one, &SSTask::rawMoment2, -4007},
      {SSCentralMoment2, fast, &SSTask::rawMoment2, -4007},
      {SSCentralMoment2, one, &SSTask::rawMoment2, -4007},
      {SSRawMoment3, fast, &SSTask::rawMoment3, -4008},
      {SSCentralMoment4, fast, &SSTask::rawMoment4, -4009},
      {SSCentralMoment2, fast, &SSTask::centralMoment2, -4010},
      {SSVariation, one, &SSTask::centralMoment2, -4010},
      {SSCentralMoment3, fast, &SSTask::centralMoment3, -4011},
      {SSSkewness, one, &SSTask::centralMoment3, -4011},
      {SSKurtosis, fast, &SSTask::centralMoment4, -4012},
      {SSKurtosis, fast, &SSTask::kurtosis, -4013},
      {SSSkewness, fast, &SSTask::skewness, -4014},
      {SSVariation, fast, &SSTask::variation, -4017},
      {SSCovariance, one, &SSTask::cov, -4018},
      {SSCorrelation, fast, &SSTask::cor, -4019},
      {SSSum, fast, &SSTask::sum, -4074},
      {SSRawSum2, fast, &SSTask::rawSum2, -4075},
      {SSRawSum3, fast, &SSTask::rawSum3, -4076},
      {SSRawSum4, fast, &SSTask::rawSum4, -4077},
      {SSCentralSum2, fast, &SSTask::centralSum2, -4078},
      {SSCentralSum2, fast, &SSTask::rawMoment2, -4007},
      {SSCentralSum2, one, &SSTask::rawMoment2, 0},
      {SSCentralSum3, fast, &SSTask::centralSum3, -4079},
      {SSCentralSum4, fast, &SSTask::centralSum4, -4080},
      {SSCrossProduct, fast, &SSTask::crossProduct, -4081},
      {SSCrossProduct, fast, &SSTask::mean, -4006},
      {SSMean, sums, &SSTask::sum, -4074},
      {SSCentralMoment3, sums, &SSTask::centralSum3, -4079},
      {SSCovariance, sums, &SSTask::crossProduct, -4081},
      {SSSum, sums, nullptr, -4029},
      {SSCrossProduct, sums, nullptr, -4029},
      {SSCovariance, fast, &SSTask::data, -4032},
      {SSMinimum | SSQuantiles, fast, nullptr, 0}, // of other entries
  };
  Data<double> const d = sample_data<double>(10, 2, SSStorageCols, false);
  for (auto const& c : cases) {
    Results<double> got(2);
    got.point_at(d);
    if (c.missing) got.task->*c.missing = nullptr;
    EXPECT_EQ(_rnqdSSBasic(got.task, c.estimate, c.method, Services(1).get()), c.status)
        << c.estimate << " " << c.method;
  }
}

TEST(MomentsStatus, DataDescription) {
  Data<double> const d = sample_data<double>(10, 2, SSStorageCols, false);
  int const zero = 0, odd = 0x40000, p = 1;
  auto const status = [&](auto change, uint64_t method = SSMethodOnePass) {
    Results<double> got(2);
    got.point_at(d);
    change(*got.task);
    return _rnqdSSBasic(got.task, SSMean | (method == SSMethodFromSums ? 0 : SSCovariance), method,
                        Services(1).get());
  };
  EXPECT_EQ(status([](SSTask&) {}), 0);
  EXPECT_EQ(status([](SSTask& t) { t.observations = nullptr, t.data = nullptr; }), -4002);
  EXPECT_EQ(status([&](SSTask& t) { t.observations = &zero; }), -4002);
  EXPECT_EQ(status([](SSTask& t) { t.data = nullptr, t.dataStorage = nullptr; }), -4032);
  EXPECT_EQ(status([](SSTask& t) { t.dataStorage = nullptr; }), -4044);
  EXPECT_EQ(status([&](SSTask& t) { t.dataStorage = &odd; }), -4003);
  EXPECT_EQ(status([&](SSTask& t) { t.dataStorage = &odd, t.dimension = &p; }), -4003);
  EXPECT_EQ(status([](SSTask& t) { t.covStorage = nullptr; }), -4044);
  auto const from_sums = [&](auto change) { return status(change, SSMethodFromSums); };
  EXPECT_EQ(from_sums([](SSTask& t) { t.accumWeights = nullptr; }), 0);
  EXPECT_EQ(from_sums([](SSTask& t) { t.accumWeights = nullptr, t.observations = nullptr; }), -4020);
  EXPECT_EQ(from_sums([&](SSTask& t) {
              t.accumWeights = nullptr, t.weights = const_cast<double*>(d.values.data());
            }),
            -4020);
  EXPECT_EQ(from_sums([](SSTask& t) { t.observations = nullptr, t.data = nullptr; }), 0);
}

TEST(MomentsStatus, EveryAllocationMayFail) {
  int64_t const blocks = orv_serv_blocks_in_use();
  int walked = 0;
  for (uint64_t method : {SSMethodFast, SSMethodOnePass, SSMethodFastUserMean, SSMethodFromSums})
    for (int p : {4, 190})
      for (bool weighted : {false, true})
        for (int storage : {SSMatrixFull, SSMatrixUpperPacked})
          for (int threads : {1, 3}) {
            Data<double> const d = sample_data<double>(p == 4 ? 2000 : 60, p, SSStorageCols, weighted, 1);
            for (int64_t k = 1;; ++k) {
              int64_t const before = orv_serv_blocks_in_use();
              Results<double> got(p, storage);
              got.point_at(d);
              orv_serv_fail_allocation(k);
              int const status = _rnqdSSBasic(got.task, SSMean | SSCovariance | SSCorrelation, method,
                                              Services(threads).get());
              int64_t const made = orv_serv_fail_allocation(0);
              EXPECT_EQ(orv_serv_blocks_in_use(), before + 1 + (got.task->savedMean != nullptr));
              if (made < k) { // nothing was left to fail
                EXPECT_EQ(status, 0);
                break;
              }
              EXPECT_EQ(status, -4000) << method << " " << p << " request " << k;
              ++walked;
            }
          }
  EXPECT_GT(walked, 100);
  EXPECT_EQ(orv_serv_blocks_in_use(), blocks);
}

// One thread gives the same bits on every run and target; the table was made once. Correlations stay out: the
// roots that they are made of hang on the processor's approximation.
TEST(MomentsDigest, MatchesTheTable) {
  std::ifstream table(ORV_TEST_VECTORS "/statistics_digests.txt");
  auto const digest = []<class T>(T, uint64_t method) {
    uint64_t h = 0xcbf29ce484222325u;
    for (int layout : {SSStorageRows, SSStorageCols})
      for (bool weighted : {false, true}) {
        Data<T> const d = sample_data<T>(700, 45, layout, weighted, 5);
        Results<T> got(45);
        got.arrays[0].assign(45, T(5));
        EXPECT_EQ(got.compute(d, everything, method, Services(1)), 0);
        auto const add = [&](std::vector<T> const& v) {
          for (T x : v) {
            unsigned char bytes[sizeof(T)];
            std::memcpy(bytes, &x, sizeof x);
            for (auto b : bytes) h = (h ^ b) * 0x100000001b3u;
          }
        };
        for (auto const& a : got.arrays) add(a);
        add(got.cov), add(got.cross);
      }
    return h;
  };
  for (uint64_t method : {SSMethodFast, SSMethodOnePass, SSMethodFastUserMean}) {
    std::string name;
    uint64_t d = 0, s = 0;
    table >> name >> std::hex >> d >> s;
    EXPECT_EQ(digest(0.0, method), d) << name << std::hex << " " << digest(0.0, method);
    EXPECT_EQ(digest(0.0f, method), s) << name << std::hex << " " << digest(0.0f, method);
  }
}

} // namespace
