// Chi-square distribution, logarithms, rank test and inversion of covariance matrices.
#include "tests/statistics/support.h"

#include <bit>

namespace {
using namespace orv::test;

constexpr double inf = std::numeric_limits<double>::infinity(),
                 nan_value = std::numeric_limits<double>::quiet_NaN();

struct Row {
  double freedom, x, value;
};
// mpmath, 40 digits.
constexpr Row below[] = {{1.0, 0.001, 0.025227120630039612},
                         {1.0, 0.5, 0.52049987781304654},
                         {1.0, 1, 0.6826894921370859},
                         {1.0, 1.5, 0.77932863808015321},
                         {1.0, 3, 0.9167354833364496},
                         {2.0, 0.002, 0.00099950016662500835},
                         {2.0, 1.0, 0.39346934028736658},
                         {2.0, 2, 0.63212055882855768},
                         {2.0, 3.0, 0.77686983985157017},
                         {2.0, 6, 0.95021293163213606},
                         {3.0, 0.003, 4.3662626542567125e-5},
                         {3.0, 1.5, 0.31772966966378743},
                         {3.0, 3, 0.60837482372891104},
                         {3.0, 4.5, 0.78770971263986667},
                         {3.0, 9, 0.97070911346511177},
                         {5.0, 0.005, 9.3863846829480608e-8},
                         {5.0, 2.5, 0.22350492887667729},
                         {5.0, 5, 0.58411981300449208},
                         {5.0, 7.5, 0.81397016639713298},
                         {5.0, 15, 0.98963766208421356},
                         {10.0, 0.01, 2.5933391898395397e-14},
                         {10.0, 5.0, 0.10882198108584876},
                         {10.0, 10, 0.55950671493478759},
                         {10.0, 15.0, 0.86793814371227939},
                         {10.0, 30, 0.9991433587892247},
                         {20.5, 0.0205, 6.1585881694231369e-28},
                         {20.5, 10.25, 0.030029460185623948},
                         {20.5, 20.5, 0.54155375625864427},
                         {20.5, 30.75, 0.93224308930165628},
                         {20.5, 61.5, 0.99999437549833064},
                         {100.0, 0.1, 2.7805877168286972e-130},
                         {100.0, 50.0, 6.953305247616099e-6},
                         {100.0, 100, 0.51880831547204328},
                         {100.0, 150.0, 0.99909606795764599},
                         {100.0, 300, 1.0},
                         {1000.0, 500.0, 4.0671656819990012e-44},
                         {1000.0, 1000, 0.50594714617076036},
                         {1000.0, 1500.0, 1.0},
                         {1000.0, 3000, 1.0}};
constexpr Row quantiles[] = {{1.0, 1e-300, 0},
                             {1.0, 1e-10, 1.5707963267948967e-20},
                             {1.0, 0.001, 1.5707971492624899e-6},
                             {1.0, 0.5, 0.45493642311957275},
                             {1.0, 0.9, 2.7055434540954149},
                             {1.0, 0.999, 10.827566170662731},
                             {1.0, 0.9999999999990905, 51.030335667497303},
                             {2.0, 1e-300, 2.0000000000000001e-300},
                             {2.0, 1e-10, 2.0000000001000001e-10},
                             {2.0, 0.001, 0.002001000667167067},
                             {2.0, 0.5, 1.3862943611198906},
                             {2.0, 0.9, 4.6051701859880918},
                             {2.0, 0.999, 13.815510557964272},
                             {2.0, 0.9999999999990905, 55.451774444795625},
                             {4.0, 1e-300, 2.8284271247461901e-150},
                             {4.0, 1e-10, 2.8284404581659483e-5},
                             {4.0, 0.001, 0.090804035538979115},
                             {4.0, 0.5, 3.3566939800333213},
                             {4.0, 0.9, 7.7794403397348587},
                             {4.0, 0.999, 18.466826952903169},
                             {4.0, 0.9999999999990905, 62.395569760072812},
                             {20.0, 1e-300, 9.0574573762335295e-30},
                             {20.0, 1e-10, 0.94544418521270461},
                             {20.0, 0.001, 5.9210407454875192},
                             {20.0, 0.5, 19.337429229428262},
                             {20.0, 0.9, 28.411980584305634},
                             {20.0, 0.999, 45.314746618125859},
                             {20.0, 0.9999999999990905, 100.78966413942564},
                             {63.0, 1e-10, 15.354889427132791},
                             {63.0, 0.001, 33.905777258346856},
                             {63.0, 0.5, 62.334602072306149},
                             {63.0, 0.9, 77.745384835694897},
                             {63.0, 0.999, 103.44237731987313},
                             {63.0, 0.9999999999990905, 177.00070634078303},
                             {500.0, 1e-10, 324.3466930200675},
                             {500.0, 0.001, 407.94696074599921},
                             {500.0, 0.5, 499.33349158887381},
                             {500.0, 0.9, 540.93030820981676},
                             {500.0, 0.999, 603.4460057951776},
                             {500.0, 0.9999999999990905, 756.29809058148313}};
constexpr double log_gammas[][2] = {{1e-300, 690.77552789821371}, {0.001, 6.9071788853838537},
                                    {0.25, 1.2880225246980775},   {0.5, 0.57236494292470009},
                                    {0.75, 0.20328095143129537},  {1.0009765625, -0.00056290317999120463},
                                    {1.5, -0.12078223763524522},  {1.9990234375, -0.0004125677359714894},
                                    {2.25, 0.12487171489239659},  {3, 0.69314718055994531},
                                    {3.5, 1.2009736023470742},    {7.5, 7.534364236758733},
                                    {8, 8.5251613610654143},      {10.5, 13.940625219403764},
                                    {100, 359.1342053695754},     {1000000.0, 12815504.569147612}};

TEST(ChiSquare, ShareBelow) {
  for (Row const& r : below)
    EXPECT_NEAR(__rnqdChi2CDF(r.freedom, r.x) / r.value, 1, 1e-12) << r.freedom << " " << r.x;
  EXPECT_EQ(__rnqdChi2CDF(3, 0.0), 0);
  EXPECT_EQ(__rnqdChi2CDF(3, -1), 0);
  EXPECT_EQ(__rnqdChi2CDF(0, 1), 0);
  EXPECT_EQ(__rnqdChi2CDF(3, nan_value), 0);
  EXPECT_EQ(__rnqdChi2CDF(3, inf), 1);
  EXPECT_EQ(__rnqdChi2CDF(1e8, 1), 0);
  EXPECT_EQ(__rnqdChi2CDF(1, 1e300), 1);
}

TEST(ChiSquare, Quantiles) {
  for (Row const& r : quantiles)
    EXPECT_LE(std::fabs(__rnqdChi2ICDF(r.freedom, r.x) - r.value), 2e-12 * r.value)
        << r.freedom << " " << r.x;
  for (double freedom : {0.5, 1.0, 20.0}) {
    EXPECT_EQ(__rnqdChi2ICDF(freedom, 0), 0);
    EXPECT_EQ(__rnqdChi2ICDF(freedom, -1), 0);
    EXPECT_EQ(__rnqdChi2ICDF(freedom, nan_value), 0);
    EXPECT_EQ(__rnqdChi2ICDF(freedom, 1), inf);
    EXPECT_EQ(__rnqdChi2ICDF(freedom, 2), inf);
  }
  for (double freedom = 0.1; freedom < 3000; freedom *= 1.37)
    for (double p = 1e-12; p < 1; p = p < 0.5 ? p * 3 : 1 - (1 - p) / 3) {
      double const x = __rnqdChi2ICDF(freedom, p);
      if (1 - p < 1e-12) break;
      ASSERT_NEAR(__rnqdChi2CDF(freedom, x), p, 3e-12 * p) << freedom << " " << p;
    }
}

TEST(ChiSquare, DensityIsTheSlope) {
  for (double freedom : {1.0, 2.0, 7.5, 40.0, 900.0})
    for (double m : {0.2, 0.9, 1.0, 1.7}) {
      double const x = freedom * m, h = 1e-4 * std::sqrt(freedom) * std::min(1.0, m);
      double const slope = (__rnqdChi2CDF(freedom, x + h) - __rnqdChi2CDF(freedom, x - h)) / (2 * h);
      EXPECT_NEAR(__rnqdChi2PDF(freedom, x), slope, 2e-6 * slope + 1e-12);
    }
  EXPECT_NEAR(__rnqdChi2PDF(2, 3), 0.5 * std::exp(-1.5), 1e-10); // the rounded logarithm of 2 shows here
  EXPECT_EQ(__rnqdChi2PDF(2, 0), 0);
  EXPECT_EQ(__rnqdChi2PDF(2, nan_value), 0);
  EXPECT_EQ(__rnqdChi2PDF(2, inf), 0);
}

TEST(StatisticsScalars, LogarithmOfGamma) {
  for (auto const& [x, value] : log_gammas)
    EXPECT_LE(std::fabs(__rnqdLGamma(x) - value), 1e-15 * (std::fabs(value) + (x > 2.5 && x < 8 ? 1 : 0)))
        << x;
  EXPECT_EQ(__rnqdLGamma(1), 0);
  EXPECT_EQ(__rnqdLGamma(2), 0);
  EXPECT_EQ(__rnqdLGamma(0), inf);
  EXPECT_EQ(__rnqdLGamma(inf), inf);
  EXPECT_TRUE(std::isnan(__rnqdLGamma(-1.5)));
  EXPECT_TRUE(std::isnan(__rnqdLGamma(nan_value)));
}

TEST(StatisticsScalars, Logarithm) {
  for (double x = 1e-320; x < 1e308; x *= 1.0173)
    ASSERT_NEAR(__rnqdLn(x), std::log(x), 3e-16 * (1 + std::fabs(std::log(x)))) << x;
  EXPECT_EQ(__rnqdLn(1), 0);
  for (double x : {0.0, -0.0, -1.0, inf, -inf, nan_value}) EXPECT_EQ(__rnqdLn(x), -744.4400719213812) << x;
  EXPECT_FLOAT_EQ(__rnqsLn(10.0f), 2.302585f);
  EXPECT_EQ(__rnqsLn(-1.0f), -744.4400719213812f);
  EXPECT_NEAR(__rnqsLn(1e-44f), std::log(9.80908925e-45), 1e-5);
}

TEST(StatisticsScalars, FloorAndRoot) {
  for (double x : {0.0, 0.3, 1.0, 1.5, -0.3, -1.0, -1.5, 1e15 + 0.5, -1e15 - 0.5, 4503599627370497.5, 1e300,
                   -1e300, inf, -inf})
    EXPECT_EQ(__rnqdFloor(x), std::floor(x));
  EXPECT_TRUE(std::signbit(__rnqdFloor(-0.0)));
  EXPECT_EQ(__rnqdSqrt(2.25), 1.5);
}

template <class T>
class CovarianceRank : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(CovarianceRank, Reals);

int test_rank(intptr_t p, double* a) { return __rnqdTestCovRank(p, a); }
int test_rank(intptr_t p, float* a) { return __rnqsTestCovRank(p, a); }
int invert(intptr_t p, double* a) { return __rnqdInvCov(p, a); }
int invert(intptr_t p, float* a) { return __rnqsInvCov(p, a); }

TYPED_TEST(CovarianceRank, InverseOfTheTriangleThatIsRead) {
  using T = TypeParam;
  for (int p = 1; p <= 12; ++p) {
    std::vector<T> a(static_cast<size_t>(p) * p);
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < p; ++j) a[i * p + j] = i == j ? T(3 + i) : T(1) / T(1 + i + j);
    std::vector<T> b = a;
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < i; ++j) b[i * p + j] = T(1e6); // lower elements aren't read
    ASSERT_EQ(invert(p, b.data()), 0);
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < p; ++j) {
        double sum = 0;
        for (int k = 0; k < p; ++k) sum += a[i * p + k] * b[std::min(k, j) * p + std::max(k, j)];
        ASSERT_NEAR(sum, i == j, 20 * std::numeric_limits<T>::epsilon()) << p;
      }
  }
  std::vector<T> indefinite(16, T(0));
  for (int i = 0; i < 4; ++i) indefinite[5 * i] = i == 3 ? T(-1) : T(1);
  EXPECT_EQ(invert(4, indefinite.data()), SSInverseFactorFailed);
  // 3 by 3 and nearly singular, where a plain determinant would lose most digits.
  std::vector<T> close = {1, 1, 1, 1, 1 + 64 * std::numeric_limits<T>::epsilon(), 1, 1, 1, 2};
  ASSERT_EQ(invert(3, close.data()), 0);
  EXPECT_NEAR(close[4] * 64 * std::numeric_limits<T>::epsilon(), 1, 0.01);
}

TYPED_TEST(CovarianceRank, LowRankRaisesTheDiagonal) {
  using T = TypeParam;
  std::vector<T> ones(25, T(1));
  EXPECT_EQ(test_rank(5, ones.data()), 0);
  for (int i = 0; i < 5; ++i)
    for (int j = i; j < 5; ++j) EXPECT_NEAR(ones[i * 5 + j], i == j ? 1.05 : 1.0, 1e-5);
  EXPECT_EQ(invert(5, ones.data()), 0);
  std::vector<T> good = {2, 1, 1, 2};
  EXPECT_EQ(test_rank(2, good.data()), 0);
  EXPECT_EQ(good[0], 2);
  EXPECT_EQ(good[1], 1);
  EXPECT_EQ(good[3], 2);
  std::vector<T> zeros(9, T(0)), bad(9, std::numeric_limits<T>::quiet_NaN());
  EXPECT_EQ(test_rank(3, zeros.data()), SSBadMatrix);
  EXPECT_EQ(test_rank(3, bad.data()), SSRankEigenFailed);
  T const tiny = sizeof(T) == 8 ? static_cast<T>(std::bit_cast<double>(int64_t{1000}))
                                : static_cast<T>(std::bit_cast<float>(1000));
  for (auto const& [value, status, after] : {std::tuple<T, int, T>{1, 0, 1},
                                             {0, 0, tiny},
                                             {-tiny, 0, tiny},
                                             {T(-1e-30), SSBadMatrix, T(-1e-30)}}) {
    T single = value;
    EXPECT_EQ(test_rank(1, &single), status);
    EXPECT_EQ(single, after);
  }
  orv_serv_fail_allocation(1);
  EXPECT_EQ(test_rank(2, good.data()), SSOutOfMemory);
  orv_serv_fail_allocation(0);
}

} // namespace
