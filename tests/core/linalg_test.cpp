// BLAS and LAPACK against naive loops in wider arithmetic, over leading dimensions larger than needed, every
// flag, and sizes around the edges of tiles and blocks.
#include "frame/linalg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <random>
#include <vector>

namespace {
using orv::core::Linalg;

template <class T>
struct Matrix {
  int rows, cols, ld;
  std::vector<T> a;
  Matrix(int r, int c, unsigned seed = 0)
      : rows(r), cols(c), ld(r + 3), a(static_cast<size_t>(ld) * std::max(c, 1)) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<T> u(-1, 1);
    for (auto& x : a) x = u(random);
  }
  T& operator()(int i, int j) { return a[static_cast<size_t>(j) * ld + i]; }
  T operator()(int i, int j) const { return a[static_cast<size_t>(j) * ld + i]; }
  T* data() { return a.data(); }
};

template <class T>
class Blas : public ::testing::Test {
 protected:
  static constexpr T eps = std::numeric_limits<T>::epsilon();
};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Blas, Reals);

template <class T, class Expected>
void expect_matrix(Matrix<T> const& got, Matrix<T> const& before, T bound, std::string const& what,
                   Expected expected) {
  for (int j = 0; j < got.cols; ++j)
    for (int i = 0; i < got.ld; ++i) {
      T const x = got.a[static_cast<size_t>(j) * got.ld + i],
              old = before.a[static_cast<size_t>(j) * got.ld + i];
      if (i >= got.rows)
        ASSERT_EQ(x, old) << what << ": wrote between columns";
      else
        ASSERT_NEAR(x, static_cast<double>(expected(i, j)), bound) << what << " at " << i << "," << j;
    }
}

TYPED_TEST(Blas, Gemm) {
  using T = TypeParam;
  struct Size {
    int m, n, k;
  };
  for (Size s : {Size{1, 1, 1}, Size{3, 5, 7}, Size{12, 4, 256}, Size{25, 30, 300}, Size{230, 110, 40},
                 Size{5, 900, 3}, Size{4, 4, 0}})
    for (char ta : {'n', 'T'})
      for (char tb : {'N', 't'})
        for (T beta : {T(0), T(1), T(-0.5)}) {
          Matrix<T> a(ta == 'n' ? s.m : s.k, ta == 'n' ? s.k : s.m, 1),
              b(tb == 'N' ? s.k : s.n, tb == 'N' ? s.n : s.k, 2);
          Matrix<T> c(s.m, s.n, 3);
          auto const before = c;
          if (beta == T(0))
            for (int j = 0; j < s.n; ++j)
              for (int i = 0; i < s.m; ++i) c(i, j) = std::numeric_limits<T>::quiet_NaN();
          T const alpha = T(1.25);
          Linalg<T>::xgemm(&ta, &tb, &s.m, &s.n, &s.k, &alpha, a.data(), &a.ld, b.data(), &b.ld, &beta,
                           c.data(), &c.ld);
          expect_matrix(c, before, 8 * this->eps * (s.k + 1), "gemm", [&](int i, int j) {
            double sum = 0;
            for (int k = 0; k < s.k; ++k)
              sum += double(ta == 'n' ? a(i, k) : a(k, i)) * (tb == 'N' ? b(k, j) : b(j, k));
            return alpha * sum + (beta == T(0) ? 0 : double(beta) * before(i, j));
          });
        }
}

// One matrix as both operands, in all four ways to read it.
TYPED_TEST(Blas, GemmOfAMatrixWithItself) {
  using T = TypeParam;
  for (int n : {5, 40, 130})
    for (char ta : {'n', 't'})
      for (char tb : {'n', 't'}) {
        Matrix<T> a(n, n, 1), c(n, n, 2);
        auto const before = c;
        T const one = 1, zero = 0;
        Linalg<T>::gemm(&ta, &tb, &n, &n, &n, &one, a.data(), &a.ld, a.data(), &a.ld, &zero, c.data(), &c.ld);
        expect_matrix(c, before, 8 * this->eps * (n + 1), "square", [&](int i, int j) {
          double sum = 0;
          for (int k = 0; k < n; ++k)
            sum += double(ta == 'n' ? a(i, k) : a(k, i)) * (tb == 'n' ? a(k, j) : a(j, k));
          return sum;
        });
      }
}

TYPED_TEST(Blas, RankUpdatesTouchOneTriangle) {
  using T = TypeParam;
  for (int n : {0, 1, 2, 13, 50, 205})
    for (int k : {0, 1, 9, 270})
      for (char uplo : {'U', 'l'})
        for (char trans : {'n', 't'}) {
          Matrix<T> a(trans == 'n' ? n : k, trans == 'n' ? k : n, 4), c(n, n, 5);
          auto const before = c;
          T const alpha = T(-0.75), beta = T(1.5);
          Linalg<T>::xsyrk(&uplo, &trans, &n, &k, &alpha, a.data(), &a.ld, &beta, c.data(), &c.ld);
          expect_matrix(c, before, 8 * this->eps * (k + 1), "syrk", [&](int i, int j) {
            if (uplo == 'U' ? i > j : i < j) return double(before(i, j));
            double sum = 0;
            for (int s = 0; s < k; ++s)
              sum += trans == 'n' ? double(a(i, s)) * a(j, s) : double(a(s, i)) * a(s, j);
            return alpha * sum + double(beta) * before(i, j);
          });
        }
  for (int incx : {1, 2, -1})
    for (char uplo : {'u', 'L'}) {
      int const n = 21;
      Matrix<T> x(2 * n, 1, 6), c(n, n, 7);
      auto const before = c;
      T const alpha = T(2);
      Linalg<T>::xsyr(&uplo, &n, &alpha, x.data(), &incx, c.data(), &c.ld);
      auto const at = [&](int i) { return double(x(incx < 0 ? n - 1 - i : i * incx, 0)); };
      expect_matrix(c, before, 8 * this->eps, "syr", [&](int i, int j) {
        bool const inside = uplo == 'u' ? i <= j : i >= j;
        return before(i, j) + (inside ? alpha * at(i) * at(j) : 0);
      });
    }
}

TYPED_TEST(Blas, SymmetricTimesMatrix) {
  using T = TypeParam;
  int const m = 31, n = 27;
  for (char side : {'l', 'R'})
    for (char uplo : {'u', 'L'}) {
      int const order = side == 'l' ? m : n;
      Matrix<T> a(order, order, 8), b(m, n, 9), c(m, n, 10);
      auto const before = c;
      T const alpha = 1, beta = T(0.5);
      Linalg<T>::xsymm(&side, &uplo, &m, &n, &alpha, a.data(), &a.ld, b.data(), &b.ld, &beta, c.data(),
                       &c.ld);
      auto const sym = [&](int i, int j) { return double((uplo == 'u') == (i <= j) ? a(i, j) : a(j, i)); };
      expect_matrix(c, before, 100 * this->eps, "symm", [&](int i, int j) {
        double sum = double(beta) * before(i, j);
        for (int k = 0; k < order; ++k) sum += side == 'l' ? sym(i, k) * b(k, j) : sym(k, j) * b(i, k);
        return sum;
      });
    }
}

TYPED_TEST(Blas, VectorProduct) {
  using T = TypeParam;
  int const m = 37, n = 22;
  for (char trans : {'N', 't'})
    for (int incx : {1, -2})
      for (int incy : {1, 3, -1}) {
        Matrix<T> a(m, n, 11), x(100, 1, 12), y(120, 1, 13);
        auto const before = y;
        T const alpha = T(0.5), beta = T(2);
        Linalg<T>::gemv(&trans, &m, &n, &alpha, a.data(), &a.ld, x.data(), &incx, &beta, y.data(), &incy);
        int const nx = trans == 'N' ? n : m, ny = trans == 'N' ? m : n;
        for (int i = 0; i < ny; ++i) {
          double sum = 0;
          for (int k = 0; k < nx; ++k)
            sum +=
                double(trans == 'N' ? a(i, k) : a(k, i)) * x(incx < 0 ? (nx - 1 - k) * -incx : k * incx, 0);
          int const at = incy < 0 ? (ny - 1 - i) * -incy : i * incy;
          EXPECT_NEAR(y(at, 0), alpha * sum + double(beta) * before(at, 0), 100 * this->eps);
        }
      }
}

TYPED_TEST(Blas, TriangularProductFullAndPacked) {
  using T = TypeParam;
  struct Size {
    int m, n;
  };
  for (Size s : {Size{1, 1}, Size{7, 5}, Size{130, 6}, Size{6, 130}, Size{3, 0}})
    for (char side : {'l', 'R'})
      for (char uplo : {'u', 'L'})
        for (char trans : {'n', 'T'})
          for (char diag : {'u', 'N'}) {
            int const order = side == 'l' ? s.m : s.n;
            Matrix<T> a(order, order, 14), b(s.m, s.n, 15);
            auto packed_b = b;
            auto const before = b;
            std::vector<T> packed;
            for (int j = 0; j < order; ++j)
              for (int i = uplo == 'u' ? 0 : j; i < (uplo == 'u' ? j + 1 : order); ++i)
                packed.push_back(a(i, j));
            T const alpha = T(1.5);
            Linalg<T>::xtrmm_4elw(&side, &uplo, &trans, &diag, &s.m, &s.n, &alpha, a.data(), &a.ld, b.data(),
                                  &b.ld);
            Linalg<T>::ptrmm_4elw(&side, &uplo, &trans, &diag, &s.m, &s.n, &alpha, packed.data(),
                                  packed_b.data(), &packed_b.ld);
            auto const op = [&](int i, int j) {
              if (trans == 'T') std::swap(i, j);
              if (i == j) return diag == 'u' ? 1.0 : double(a(i, j));
              return (uplo == 'u' ? i < j : i > j) ? double(a(i, j)) : 0.0;
            };
            auto const expected = [&](int i, int j) {
              double sum = 0;
              for (int k = 0; k < order; ++k)
                sum += side == 'l' ? op(i, k) * before(k, j) : before(i, k) * op(k, j);
              return alpha * sum;
            };
            expect_matrix(b, before, 200 * this->eps, "trmm", expected);
            expect_matrix(packed_b, before, 200 * this->eps, "packed trmm", expected);
          }
}

TYPED_TEST(Blas, BadArgumentsDoNothing) {
  using T = TypeParam;
  int const n = 4, negative = -1, small = 2;
  Matrix<T> a(n, n, 16), c(n, n, 17);
  auto const before = c;
  T const one = 1;
  Linalg<T>::gemm("x", "n", &n, &n, &n, &one, a.data(), &a.ld, a.data(), &a.ld, &one, c.data(), &c.ld);
  Linalg<T>::gemm("n", "n", &n, &n, &n, &one, a.data(), &small, a.data(), &a.ld, &one, c.data(), &c.ld);
  Linalg<T>::syrk("u", "n", &negative, &n, &one, a.data(), &a.ld, &one, c.data(), &c.ld);
  Linalg<T>::syr("q", &n, &one, a.data(), &n, c.data(), &c.ld);
  Linalg<T>::trmm("l", "u", "n", "z", &n, &n, &one, a.data(), &a.ld, c.data(), &c.ld);
  EXPECT_EQ(c.a, before.a);
}

// A symmetric positive matrix with known spread.
template <class T>
Matrix<T> positive(int n, unsigned seed) {
  Matrix<T> b(n, n, seed), a(n, n, seed + 1);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double sum = i == j ? n : 0;
      for (int k = 0; k < n; ++k) sum += double(b(i, k)) * b(j, k);
      a(i, j) = static_cast<T>(sum / n);
    }
  return a;
}

template <class T>
class Lapack : public Blas<T> {};
TYPED_TEST_SUITE(Lapack, Reals);

TYPED_TEST(Lapack, CholeskyAndInverse) {
  using T = TypeParam;
  for (int n : {0, 1, 2, 10, 61})
    for (char uplo : {'u', 'L'}) {
      auto const a = positive<T>(n, 20);
      auto f = a;
      int info = -77;
      Linalg<T>::potrf(&uplo, &n, f.data(), &f.ld, &info);
      ASSERT_EQ(info, 0);
      expect_matrix(f, a, 100 * this->eps, "potrf", [&](int i, int j) {
        bool const inside = uplo == 'u' ? i <= j : i >= j;
        if (!inside) return double(a(i, j));
        double sum = a(i, j); // the element less the error of the product of the factors
        for (int k = 0; k <= std::min(i, j); ++k)
          sum -= uplo == 'u' ? double(f(k, i)) * f(k, j) : double(f(i, k)) * f(j, k);
        return f(i, j) + sum;
      });
      Linalg<T>::potri(&uplo, &n, f.data(), &f.ld, &info);
      ASSERT_EQ(info, 0);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          double sum = 0;
          for (int k = 0; k < n; ++k)
            sum += double(a(i, k)) * ((uplo == 'u') == (k <= j) ? f(k, j) : f(j, k));
          ASSERT_NEAR(sum, i == j, 300 * this->eps) << n << uplo;
        }
    }
}

TYPED_TEST(Lapack, TriangularInverse) {
  using T = TypeParam;
  int const n = 19;
  for (char uplo : {'u', 'L'})
    for (char diag : {'U', 'n'}) {
      Matrix<T> a(n, n, 22);
      for (int i = 0; i < n; ++i) a(i, i) = T(3);
      auto f = a;
      int info = -77;
      Linalg<T>::trtri(&uplo, &diag, &n, f.data(), &f.ld, &info);
      ASSERT_EQ(info, 0);
      auto const el = [&](Matrix<T> const& m, int i, int j) {
        if (i == j) return diag == 'U' ? 1.0 : double(m(i, j));
        return (uplo == 'u' ? i < j : i > j) ? double(m(i, j)) : 0.0;
      };
      double largest = 1;
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) largest = std::max(largest, std::fabs(el(f, i, j)));
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          double sum = 0;
          for (int k = 0; k < n; ++k) sum += el(a, i, k) * el(f, k, j);
          ASSERT_NEAR(sum, i == j, 50 * this->eps * largest);
          if (uplo == 'u' ? i > j : i < j) {
            ASSERT_EQ(f(i, j), a(i, j));
          }
        }
    }
}

TYPED_TEST(Lapack, FailuresAreToldInInfo) {
  using T = TypeParam;
  int const n = 3, small = 2, negative = -1;
  int info = 0;
  Matrix<T> a = positive<T>(n, 24);
  a(1, 1) = -5;
  auto b = a;
  Linalg<T>::potrf("l", &n, b.data(), &b.ld, &info);
  EXPECT_EQ(info, 2);
  b = a;
  b(0, 0) = std::numeric_limits<T>::quiet_NaN();
  Linalg<T>::potrf("u", &n, b.data(), &b.ld, &info);
  EXPECT_EQ(info, 1);
  b = a;
  b(2, 2) = 0;
  Linalg<T>::trtri("u", "n", &n, b.data(), &b.ld, &info);
  EXPECT_EQ(info, 3);
  Linalg<T>::potri("u", &n, b.data(), &b.ld, &info);
  EXPECT_EQ(info, 3);
  Linalg<T>::potrf("u", &n, b.data(), &small, &info);
  EXPECT_EQ(info, -4);
  Linalg<T>::potrf("q", &n, b.data(), &b.ld, &info);
  EXPECT_EQ(info, -1);
  Linalg<T>::potri("u", &negative, b.data(), &b.ld, &info);
  EXPECT_EQ(info, -2);
  std::vector<T> w(n), work(20);
  Linalg<T>::syev("v", "u", &n, b.data(), &b.ld, w.data(), work.data(), &small, &info);
  EXPECT_EQ(info, -8);
  b(1, 0) = b(0, 1) = std::numeric_limits<T>::quiet_NaN();
  int lwork = 20;
  Linalg<T>::syev("v", "u", &n, b.data(), &b.ld, w.data(), work.data(), &lwork, &info);
  EXPECT_GT(info, 0);
}

TYPED_TEST(Lapack, EigenproblemsFullAndPacked) {
  using T = TypeParam;
  for (int n : {0, 1, 2, 3, 25, 80})
    for (T size : {T(1), std::numeric_limits<T>::min() * 64, std::numeric_limits<T>::max() / 64})
      for (char uplo : {'u', 'L'}) {
        Matrix<T> a(n, n, 30);
        for (int i = 0; i < n; ++i)
          for (int j = 0; j < i; ++j) a(i, j) = a(j, i) = n == 25 && i != j + 1 ? 0 : a(i, j);
        if (n == 25) // eigenvalues that lie close together
          for (int i = 0; i < n; ++i) a(i, i) = T(1);
        std::vector<T> packed;
        auto full = a;
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < n; ++i) {
            full(i, j) *= size;
            if (uplo == 'u' ? i <= j : i >= j)
              packed.push_back(full(i, j));
            else
              full(i, j) = 777;
          }
        auto values_only = full;
        int info = -77, query = -1, integers = 0;
        T wanted[1];
        std::vector<T> w(n), w2(n), w3(n), w4(n);
        Linalg<T>::syev("V", &uplo, &n, full.data(), &full.ld, w.data(), wanted, &query, &info);
        ASSERT_EQ(info, 0);
        int lwork = static_cast<int>(wanted[0]);
        std::vector<T> work(lwork);
        Linalg<T>::syev("V", &uplo, &n, full.data(), &full.ld, w.data(), work.data(), &lwork, &info);
        ASSERT_EQ(info, 0);
        double const bound = 40.0 * this->eps * std::max(n, 3);
        for (int v = 0; v < n; ++v) {
          if (v) {
            ASSERT_LE(w[v - 1], w[v]);
          }
          for (int i = 0; i < n; ++i) {
            double sum = 0, inner = 0;
            for (int k = 0; k < n; ++k) {
              sum += double(a(i, k)) * full(k, v);
              inner += double(full(k, i)) * full(k, v);
            }
            ASSERT_NEAR(sum, double(w[v]) / size * full(i, v), bound);
            ASSERT_NEAR(inner, i == v, bound);
          }
        }
        Linalg<T>::syev("n", &uplo, &n, values_only.data(), &values_only.ld, w2.data(), work.data(), &lwork,
                        &info);
        ASSERT_EQ(info, 0);
        Matrix<T> z(n, n, 31);
        auto keep = packed;
        for (char job : {'v', 'N'}) {
          Linalg<T>::spevd(&job, &uplo, &n, packed.data(), w3.data(), z.data(), &z.ld, wanted, &query,
                           &integers, &query, &info);
          ASSERT_EQ(info, 0);
          lwork = static_cast<int>(wanted[0]);
          work.assign(lwork, 0);
          std::vector<int> iwork(integers);
          packed = keep;
          Linalg<T>::spevd(&job, &uplo, &n, packed.data(), (job == 'v' ? w3 : w4).data(), z.data(), &z.ld,
                           work.data(), &lwork, iwork.data(), &integers, &info);
          ASSERT_EQ(info, 0);
        }
        for (int i = 0; i < n; ++i) {
          for (auto* other : {&w2, &w3, &w4}) ASSERT_NEAR((*other)[i] / size, w[i] / size, bound);
          if (uplo == 'u') {
            for (int j = 0; j < i; ++j) ASSERT_EQ(values_only(i, j), T(777));
          }
          for (int k = 0; k < n; ++k)
            ASSERT_NEAR(std::fabs(z(i, k)), std::fabs(full(i, k)), n == 80 ? 1e4 * bound : 100 * bound);
        }
      }
}

// The same bits on every target: digests of all routines on fixed inputs.
TEST(LinalgDigest, MatchesTheTable) {
  std::ifstream table(ORV_TEST_VECTORS "/core_linalg_digests.txt");
  std::string name;
  uint64_t expected[2] = {};
  for (int t = 0; t < 2; ++t) ASSERT_TRUE(table >> name >> std::hex >> expected[t]);
  auto const digest = []<class T>(T) {
    int const n = 70, k = 530;
    int info, lwork = 3 * n;
    T const alpha = T(0.7), beta = T(0.3);
    auto s = positive<T>(n, 40);
    Matrix<T> a(n, k, 41), c(n, n, 42), d(n, n, 43);
    std::vector<T> w(n), work(lwork);
    Linalg<T>::xsyrk("u", "n", &n, &k, &alpha, a.data(), &a.ld, &beta, c.data(), &c.ld);
    Linalg<T>::xgemm("n", "t", &n, &n, &k, &alpha, a.data(), &a.ld, a.data(), &a.ld, &beta, d.data(), &d.ld);
    Linalg<T>::trmm("l", "u", "t", "n", &n, &n, &alpha, c.data(), &c.ld, d.data(), &d.ld);
    auto f = s;
    Linalg<T>::potrf("u", &n, f.data(), &f.ld, &info);
    Linalg<T>::potri("u", &n, f.data(), &f.ld, &info);
    Linalg<T>::syev("v", "u", &n, s.data(), &s.ld, w.data(), work.data(), &lwork, &info);
    uint64_t h = 0xcbf29ce484222325u;
    for (auto* v : {&c.a, &d.a, &f.a, &s.a, &w})
      for (T x : *v) {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, &x, sizeof(T));
        for (auto b : bytes) h = (h ^ b) * 0x100000001b3u;
      }
    return h;
  };
  EXPECT_EQ(digest(0.0), expected[0]) << std::hex << digest(0.0);
  EXPECT_EQ(digest(0.0f), expected[1]) << std::hex << digest(0.0f);
}

} // namespace
