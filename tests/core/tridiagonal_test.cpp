#include "frame/linalg.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {
using orv::core::Linalg;

template <class T>
struct System {
  std::vector<T> lower, diagonal, upper;
  explicit System(int n) : lower(n), diagonal(n), upper(n) {
    std::mt19937 random(static_cast<unsigned>(n));
    std::uniform_real_distribution<T> u(-1, 1);
    for (int i = 0; i < n; ++i) lower[i] = u(random), upper[i] = u(random), diagonal[i] = 3 + u(random);
  }
  // A x or A' x.
  std::vector<T> times(std::vector<T> const& x, bool transposed) const {
    int const n = static_cast<int>(x.size());
    std::vector<T> y(n);
    auto const& below = transposed ? upper : lower;
    auto const& above = transposed ? lower : upper;
    for (int i = 0; i < n; ++i) {
      y[i] = diagonal[i] * x[i];
      if (i > 0) y[i] += below[i - 1] * x[i - 1];
      if (i + 1 < n) y[i] += above[i] * x[i + 1];
    }
    return y;
  }
};

template <class T>
class Tridiagonal : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Tridiagonal, Reals);

TYPED_TEST(Tridiagonal, SolvesBothFormsForSeveralRightSides) {
  using T = TypeParam;
  T const bound = 20 * std::numeric_limits<T>::epsilon();
  for (int n : {1, 2, 3, 17, 400}) {
    for (char trans : {'N', 't'}) {
      int const nrhs = 3;
      System<T> s(n);
      std::vector<T> x(n), b;
      std::vector<T> expected;
      for (int c = 0; c < nrhs; ++c) {
        for (int i = 0; i < n; ++i) x[i] = static_cast<T>(i % 7 - 2 * c + 1);
        expected.insert(expected.end(), x.begin(), x.end());
        auto y = s.times(x, trans == 't');
        b.insert(b.end(), y.begin(), y.end());
      }
      auto direct = b;
      System<T> f = s, g = s;
      int info = -99;
      Linalg<T>::dttrfb(&n, f.lower.data(), f.diagonal.data(), f.upper.data(), &info);
      ASSERT_EQ(info, 0);
      Linalg<T>::dttrsb(&trans, &n, &nrhs, f.lower.data(), f.diagonal.data(), f.upper.data(), b.data(), &n,
                        &info);
      ASSERT_EQ(info, 0);
      for (int i = 0; i < n * nrhs; ++i) ASSERT_NEAR(b[i], expected[i], 10 * bound) << n << trans << i;
      if (trans == 'N') {
        Linalg<T>::dtsvb(&n, &nrhs, g.lower.data(), g.diagonal.data(), g.upper.data(), direct.data(), &n,
                         &info);
        ASSERT_EQ(info, 0);
        EXPECT_EQ(direct, b);
      }
    }
  }
}

TYPED_TEST(Tridiagonal, ReportsZeroPivotsAndBadArguments) {
  using T = TypeParam;
  T dl[2] = {1, 1}, d[3] = {1, 1, 5}, du[2] = {1, 1}, b[3] = {1, 2, 3};
  int n = 3, one = 1, info = 0; // second pivot: 1 - 1 * 1
  Linalg<T>::dtsvb(&n, &one, dl, d, du, b, &n, &info);
  EXPECT_EQ(info, 2);
  EXPECT_EQ(b[0], 1);
  T last[1] = {0};
  Linalg<T>::dttrfb(&one, dl, last, du, &info);
  EXPECT_EQ(info, 1);
  int const none = 0, negative = -1, two = 2;
  Linalg<T>::dtsvb(&none, &one, nullptr, nullptr, nullptr, nullptr, &none, &info);
  EXPECT_EQ(info, 0);
  Linalg<T>::dttrfb(&negative, dl, d, du, &info);
  EXPECT_EQ(info, -1);
  Linalg<T>::dttrsb("x", &n, &one, dl, d, du, b, &n, &info);
  EXPECT_EQ(info, -1);
  Linalg<T>::dttrsb("n", &n, &one, dl, d, du, b, &two, &info);
  EXPECT_EQ(info, -8);
}

} // namespace
