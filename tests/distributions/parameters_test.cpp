// Parameters that no distribution has, extremes that must end, uniform numbers of exactly 0 and 1.
#include "orv/distributions.h"
#include "tests/streams/stream_tools.h"

#include <cfloat>
#include <cmath>
#include <limits>

namespace {

using tools::Stream;

constexpr double nan = std::numeric_limits<double>::quiet_NaN(),
                 inf = std::numeric_limits<double>::infinity();

TEST(Parameters, ImpossibleOnesAreRefusedBeforeDrawing) {
  Stream s(RnqMT19937, {1}), untouched(RnqMT19937, {1});
  double r = -7;
  int32_t k = -7;
  for (double bad : {nan, 0.0, -1.0}) {
    EXPECT_EQ(_rnqdRngGamma(0, s.p, 1, &r, bad, 0, 1), RnqErrBadArgument);
    EXPECT_EQ(_rnqdRngWeibull(0, s.p, 1, &r, bad, 0, 1), RnqErrBadArgument);
    EXPECT_EQ(_rnqdRngBeta(0, s.p, 1, &r, bad, 1, 0, 1), RnqErrBadArgument);
    EXPECT_EQ(_rnqdRngBeta(0, s.p, 1, &r, 1, bad, 0, 1), RnqErrBadArgument);
    EXPECT_EQ(_rnqiRngNegbinomial(0, s.p, 1, &k, bad, 0.5), RnqErrBadArgument);
    EXPECT_EQ(_rnqiRngNegbinomial(0, s.p, 1, &k, 2, bad), RnqErrBadArgument);
  }
  EXPECT_EQ(_rnqdRngBeta(0, s.p, 1, &r, inf, 2, 0, 1), RnqErrBadArgument);
  for (double bad : {nan, -0.1, 1.1, inf}) {
    EXPECT_EQ(_rnqiRngBernoulli(0, s.p, 1, &k, bad), RnqErrBadArgument);
    EXPECT_EQ(_rnqiRngGeometric(0, s.p, 1, &k, bad), RnqErrBadArgument);
    EXPECT_EQ(_rnqiRngBinomial(0, s.p, 1, &k, 10, bad), RnqErrBadArgument);
  }
  for (double bad : {nan, -1.0, inf})
    for (int method : {0, 1}) {
      EXPECT_EQ(_rnqiRngPoisson(method, s.p, 1, &k, bad), RnqErrBadArgument);
      EXPECT_EQ(_rnqiRngPoissonV(0, s.p, 1, &k, &bad), RnqErrBadArgument);
    }
  EXPECT_EQ(_rnqiRngBinomial(0, s.p, 1, &k, -1, 0.5), RnqErrBadArgument);
  EXPECT_EQ(_rnqiRngHypergeometric(0, s.p, 1, &k, 10, 11, 3), RnqErrBadArgument);
  EXPECT_EQ(_rnqiRngHypergeometric(0, s.p, 1, &k, 10, 3, -1), RnqErrBadArgument);
  EXPECT_EQ(_rnqdRngChiSquare(0, s.p, 1, &r, 0), RnqErrBadArgument);
  EXPECT_EQ(_rnqdRngGaussianMV(0, s.p, 1, &r, 0, 0, &r, &r), RnqErrBadArgument);
  for (int method : {-1, 3, 1 << 30}) {
    EXPECT_EQ(_rnqdRngGaussian(method, s.p, 1, &r, 0, 1), RnqErrBadMethod);
    EXPECT_EQ(_rnqiRngPoisson(method, s.p, 1, &k, 3), RnqErrBadMethod);
  }
  double const low[] = {0.5, 0.498}, high[] = {0.5, 0.502}, negative[] = {1.1, -0.1}, close[] = {0.5, 0.5005};
  int32_t row[2] = {-7, -7};
  for (double const* p : {low, high, negative})
    EXPECT_EQ(_rnqiRngMultinomial(0, s.p, 1, row, 10, 2, p), RnqErrBadMultinomial);
  EXPECT_EQ(_rnqiRngMultinomial(0, s.p, 1, row, 10, 0, low), RnqErrBadMultinomial);
  EXPECT_EQ(row[0], -7);
  EXPECT_EQ(_rnqiRngMultinomial(0, s.p, 1, row, 10, 1, std::vector<double>{1.0}.data()), RnqOk);
  EXPECT_EQ(row[0], 10);
  EXPECT_EQ(r, -7);
  EXPECT_EQ(k, -7);
  EXPECT_EQ(s.words(3), untouched.words(3)); // nothing was drawn
  EXPECT_EQ(_rnqiRngMultinomial(0, s.p, 1, row, 10, 2, close), RnqOk);
  EXPECT_EQ(row[0] + row[1], 10);
}

TEST(Parameters, BitsWantAGeneratorWithWholeWords) {
  for (int32_t brng : {RnqMCG31M1, RnqR250, RnqMRG32K3A, RnqSobol}) {
    Stream s(brng, {1});
    uint64_t r = 7;
    EXPECT_EQ(_rnqiRngUniformBits32(0, s.p, 1, reinterpret_cast<uint32_t*>(&r)), RnqErrNoBits);
    EXPECT_EQ(_rnqiRngUniformBits64(0, s.p, 1, &r), RnqErrNoBits);
    EXPECT_EQ(r, 7u);
  }
  Stream s(RnqMT19937, {1}), words(RnqMT19937, {1});
  uint64_t r;
  auto const w = words.words(2);
  ASSERT_EQ(_rnqiRngUniformBits64(0, s.p, 1, &r), RnqOk);
  EXPECT_EQ(r, w[0] | uint64_t{w[1]} << 32);
}

// Extremes end, and are in range.
TEST(Parameters, ExtremesEnd) {
  Stream s(RnqMT19937, {1});
  std::vector<double> r(300);
  std::vector<int32_t> k(300);
  for (double a : {5e-324, 1e-300, 1e-10, 1.0 + DBL_EPSILON, 1e100, 1e300})
    for (double b : {5e-324, 1e-300, 1e-10, 0.999, 1.0 + DBL_EPSILON, 1e100, 1e300}) {
      ASSERT_EQ(_rnqdRngBeta(RnqAccurate, s.p, 300, r.data(), a, b, 0, 1), RnqOk) << a << ' ' << b;
      for (double x : r) ASSERT_TRUE(x >= 0 && x <= 1) << a << ' ' << b << ' ' << x;
      ASSERT_EQ(_rnqdRngGamma(0, s.p, 300, r.data(), a, 0, 1), RnqOk) << a;
      for (double x : r) ASSERT_TRUE(x >= 0) << a << ' ' << x;
      if (b <= 1) {
        ASSERT_EQ(_rnqiRngNegbinomial(0, s.p, 300, k.data(), a, b), RnqOk) << a << ' ' << b;
        for (int x : k) ASSERT_GE(x, 0) << a << ' ' << b;
      }
      ASSERT_EQ(_rnqiRngPoisson(0, s.p, 300, k.data(), a), RnqOk) << a;
      for (int x : k) ASSERT_GE(x, 0) << a;
    }
}

// A generator of the ends of the interval only.
int32_t turn;
int32_t ORV_CALL init(int32_t, RngStream*, int32_t, const void*) { return RnqOk; }
template <class T>
int32_t ORV_CALL ends(RngStream*, int32_t n, T* r, T a, T b) {
  for (int i = 0; i < n; ++i) r[i] = turn++ % 2 ? b : a;
  return RnqOk;
}
int32_t ORV_CALL no_words(RngStream*, int32_t, void*) { return -77; }

TEST(Parameters, EndsOfTheIntervalGiveFiniteNumbers) {
  static int32_t const number = [] {
    BrngProperties const p{64, 1, 1, 4, 32, init, ends<float>, ends<double>, no_words};
    return __rnqRegisterBrng(&p);
  }();
  ASSERT_GT(number, 0);
  Stream s(number, {1});
  double r[4];
  turn = 0;
  ASSERT_EQ(_rnqdRngGaussian(RnqGaussianInverse, s.p, 2, r, 1, 2), RnqOk);
  EXPECT_DOUBLE_EQ(r[1], 1 + 2 * std::sqrt(2.0) * 5.8635847487551676);
  EXPECT_DOUBLE_EQ(r[0], 1 - 2 * std::sqrt(2.0) * 5.8635847487551676);
  ASSERT_EQ(_rnqdRngExponential(0, s.p, 2, r, 0, 1), RnqOk);
  EXPECT_EQ(r[0], 744.4400719213812);
  EXPECT_EQ(r[1], 0);
  float f[2];
  ASSERT_EQ(_rnqsRngExponential(0, s.p, 2, f, 0, 1), RnqOk);
  EXPECT_EQ(f[0], 103.27893f);
  for (int method : {0, 1}) {
    ASSERT_EQ(_rnqdRngGaussian(method, s.p, 4, r, 0, 1), RnqOk);
    for (double x : r) EXPECT_TRUE(std::isfinite(x));
  }
  int32_t k[2];
  ASSERT_EQ(_rnqiRngUniform(0, s.p, 2, k, 1 << 30, (1 << 30) + 1), RnqOk);
  EXPECT_EQ(k[0], 1 << 30);
  EXPECT_EQ(k[1], 1 << 30);
  ASSERT_EQ(_rnqiRngPoisson(0, s.p, 2, k, 5), RnqOk);
  EXPECT_EQ(k[0], 0);
  EXPECT_GT(k[1], 20);
  EXPECT_EQ(_rnqiRngUniformBits(0, s.p, 2, k), -77);
}

} // namespace
