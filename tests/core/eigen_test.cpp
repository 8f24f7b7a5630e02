// Symmetric eigenproblems that try the scaling: clustered, graded, tiny and huge matrices, measured by residual
// and orthogonality in extended precision.
#include "frame/linalg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {
using orv::core::Linalg;
using L = long double;

template <class T>
using Square = std::vector<T>; // n by n, both triangles

template <class T>
struct Solution {
  int info = -77;
  std::vector<T> values, vectors; // vectors by columns
};

template <class T>
Solution<T> full(int n, Square<T> a, char job, char uplo) {
  Solution<T> s;
  s.values.assign(n, 0);
  int lwork = 3 * n - 1;
  std::vector<T> work(lwork);
  Linalg<T>::syev(&job, &uplo, &n, a.data(), &n, s.values.data(), work.data(), &lwork, &s.info);
  s.vectors = std::move(a);
  return s;
}

template <class T>
Solution<T> packed(int n, Square<T> const& a, char job, char uplo) {
  Solution<T> s;
  s.values.assign(n, 0);
  s.vectors.assign(static_cast<size_t>(n) * n, 0);
  std::vector<T> triangle;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (uplo == 'U' ? i <= j : i >= j) triangle.push_back(a[i + static_cast<size_t>(j) * n]);
  int lwork = job == 'V' ? 1 + 6 * n + n * n : 2 * n, liwork = job == 'V' ? 3 + 5 * n : 1;
  std::vector<T> work(lwork);
  std::vector<int> iwork(liwork);
  Linalg<T>::spevd(&job, &uplo, &n, triangle.data(), s.values.data(), s.vectors.data(), &n, work.data(),
                   &lwork, iwork.data(), &liwork, &s.info);
  return s;
}

template <class T>
void expect_solved(int n, Square<T> const& a, Solution<T> const& s, std::string const& what) {
  L const eps = std::numeric_limits<T>::epsilon(), least = std::numeric_limits<T>::denorm_min();
  ASSERT_EQ(s.info, 0) << what;
  L norm = 0;
  for (T x : a) norm += L(x) * x;
  norm = sqrtl(norm);
  for (int v = 0; v < n; ++v) {
    if (v) {
      ASSERT_LE(s.values[v - 1], s.values[v]) << what;
    }
    L residual = 0;
    T const* x = s.vectors.data() + static_cast<size_t>(v) * n;
    for (int i = 0; i < n; ++i) {
      L sum = -L(s.values[v]) * x[i];
      for (int k = 0; k < n; ++k) sum += L(a[i + static_cast<size_t>(k) * n]) * x[k];
      residual += sum * sum;
    }
    ASSERT_LE(sqrtl(residual), 5 * n * eps * norm + 2 * n * least) << what << " value " << v;
    for (int u = 0; u <= v; ++u) {
      L inner = u == v ? -1 : 0;
      for (int k = 0; k < n; ++k) inner += L(s.vectors[k + static_cast<size_t>(u) * n]) * x[k];
      ASSERT_LE(fabsl(inner), 5 * n * eps) << what << " vectors " << u << " and " << v;
    }
  }
}

// Every entry, both triangles, with and without vectors.
template <class T>
void solve(int n, Square<T> const& a, std::string const& what) {
  L const eps = std::numeric_limits<T>::epsilon(), least = std::numeric_limits<T>::denorm_min();
  L norm = 0;
  for (T x : a) norm += L(x) * x;
  norm = sqrtl(norm);
  for (char uplo : {'U', 'L'}) {
    auto const reference = full(n, a, 'V', uplo);
    expect_solved(n, a, reference, what + " syev " + uplo);
    expect_solved(n, a, packed(n, a, 'V', uplo), what + " spevd " + uplo);
    if (::testing::Test::HasFatalFailure()) return;
    for (auto const& other : {full(n, a, 'N', uplo), packed(n, a, 'N', uplo)}) {
      ASSERT_EQ(other.info, 0) << what;
      for (int i = 0; i < n; ++i)
        ASSERT_LE(fabsl(L(other.values[i]) - reference.values[i]), 10 * n * eps * norm + 2 * n * least)
            << what;
    }
  }
}

template <class T>
Square<T> make(int n, std::function<double(int, int)> element) { // of the lower triangle
  Square<T> a(static_cast<size_t>(n) * n);
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i)
      a[i + static_cast<size_t>(j) * n] = a[j + static_cast<size_t>(i) * n] = static_cast<T>(element(i, j));
  return a;
}

template <class T>
class Eigen : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Eigen, Reals);

TYPED_TEST(Eigen, AllOnesAndRankOne) {
  using T = TypeParam;
  for (int n = 1; n <= 40; ++n) {
    solve<T>(n, make<T>(n, [](int, int) { return 1; }), "ones " + std::to_string(n));
    solve<T>(n, make<T>(n, [](int i, int j) { return 0.1 * (i + 1) * (j + 1); }),
             "rank 1 " + std::to_string(n));
    solve<T>(n, make<T>(n, [](int i, int j) { return (i + j) % 2 ? -3 : 3; }), "signs " + std::to_string(n));
    if (this->HasFatalFailure()) return;
  }
}

TYPED_TEST(Eigen, Graded) {
  using T = TypeParam;
  for (int n : {5, 12, 20, 33})
    for (double base : {0.5, 0.1, 1e-3, 1e-9}) {
      auto const name = std::to_string(n) + " by " + std::to_string(base);
      solve<T>(n, make<T>(n, [=](int i, int j) { return std::pow(base, i + j); }), "falling " + name);
      solve<T>(n, make<T>(n, [=](int i, int j) { return std::pow(base, 2 * n - i - j); }), "rising " + name);
      solve<T>(n, make<T>(n, [=](int i, int j) { return std::pow(base, i) / (1 + i + j); }), "rows " + name);
      std::mt19937 random(n);
      solve<T>(n,
               make<T>(n, [&](int, int) { return std::pow(base, random() % 32) * (random() % 2 ? 1 : -1); }),
               "mixed " + name);
      if (this->HasFatalFailure()) return;
    }
}

TYPED_TEST(Eigen, Clustered) {
  using T = TypeParam;
  double const eps = static_cast<double>(std::numeric_limits<T>::epsilon());
  std::mt19937 random(3);
  for (int n : {4, 25, 50})
    for (double spread : {0.0, eps / 8, eps, 1e3 * eps, 1e-3}) {
      solve<T>(n,
               make<T>(n,
                       [&](int i, int j) {
                         return (i == j) + spread * (static_cast<double>(random() % 2001) / 1000 - 1);
                       }),
               "near the identity");
      // Glued Wilkinson matrices: pairs that agree to all digits.
      solve<T>(n,
               make<T>(n,
                       [&](int i, int j) {
                         return i == j ? std::abs(i % 21 - 10) : i == j + 1 ? (i % 21 ? 1 : spread) : 0;
                       }),
               "glued");
      if (this->HasFatalFailure()) return;
    }
}

TYPED_TEST(Eigen, TinyAndHuge) {
  using T = TypeParam;
  std::mt19937 random(4);
  for (double size : {static_cast<double>(std::numeric_limits<T>::denorm_min()),
                      static_cast<double>(std::numeric_limits<T>::denorm_min()) * 1000,
                      static_cast<double>(std::numeric_limits<T>::min()), 1e-30,
                      static_cast<double>(std::numeric_limits<T>::max()) / 64})
    for (int n : {2, 7, 30}) {
      solve<T>(n,
               make<T>(n, [&](int, int) { return size * (static_cast<double>(random() % 2001) / 1000 - 1); }),
               std::to_string(n) + " of size " + std::to_string(std::log10(size)));
      if (this->HasFatalFailure()) return;
    }
}

// A block keeps the digits of its own size, however small it is beside the other.
TYPED_TEST(Eigen, BlocksFarApart) {
  using T = TypeParam;
  L const eps = std::numeric_limits<T>::epsilon();
  int const half = 6, n = 2 * half;
  for (double tiny : sizeof(T) == 8 ? std::vector<double>{1e-100, 1e-160, 1e-200, 1e-280}
                                    : std::vector<double>{1e-10, 1e-20, 1e-25, 1e-30})
    for (bool first : {false, true}) {
      auto const element = [&](int i, int j, bool small) {
        return (small ? tiny : 1) * (i == j ? 3 + i : 1.0 / (1 + i + j));
      };
      auto const a = make<T>(n, [&](int i, int j) {
        if ((i < half) != (j < half)) return 0.0;
        return element(i % half, j % half, (i < half) == first);
      });
      solve<T>(n, a, "blocks");
      if (this->HasFatalFailure()) return;
      auto const block = make<T>(half, [&](int i, int j) { return element(i, j, true); });
      auto const alone = full<T>(half, block, 'V', 'L'), both = full<T>(n, a, 'V', 'L');
      ASSERT_EQ(alone.info, 0);
      for (int k = 0; k < half; ++k)
        EXPECT_LE(fabsl(L(both.values[k]) - alone.values[k]), 100 * eps * tiny) << tiny << " value " << k;
    }
}

// No eigenvalues are there to be found: told at once, in every entry.
TYPED_TEST(Eigen, NotFinite) {
  using T = TypeParam;
  for (T bad : {std::numeric_limits<T>::infinity(), std::numeric_limits<T>::quiet_NaN()})
    for (int n : {2, 9, 400})
      for (char job : {'V', 'N'})
        for (char uplo : {'U', 'L'}) {
          auto const a = make<T>(n, [=](int i, int j) { return i == n - 1 && j == n / 2 ? bad : T(1); });
          for (auto const& s : {full(n, a, job, uplo), packed(n, a, job, uplo)}) {
            EXPECT_EQ(s.info, n);
            for (T w : s.values) ASSERT_TRUE(std::isnan(w)) << n;
          }
        }
}

} // namespace
