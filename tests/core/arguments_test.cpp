// BLAS, LAPACK and tridiagonal routines called directly, with every argument in turn one too small or wrong: the
// first bad argument is named, or nothing is done. Scalars 0 and 1, where shortcuts are.
#include "frame/linalg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {
using orv::core::Linalg;

template <class T>
class Arguments : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Arguments, Reals);

// A routine as a function of its integers and flags; it must change `c` with the good ones, and leave it alone
// when any one of them is taken for its bad value.
template <class T>
struct Routine {
  char const* name;
  std::string flags;
  std::vector<int> good, bad; // a bad value equal to the good one is not tried
  std::function<void(char const*, int const*, T*)> call;
};

template <class T>
void expect_checked(Routine<T> const& r) {
  std::vector<T> const before(400, T(2));
  auto run = [&](std::string const& flags, std::vector<int> const& integers) {
    auto c = before;
    r.call(flags.c_str(), integers.data(), c.data());
    return c != before;
  };
  EXPECT_TRUE(run(r.flags, r.good)) << r.name;
  for (size_t i = 0; i < r.flags.size(); ++i)
    for (char bad : {'x', '\0', 'Q', '1'}) {
      auto flags = r.flags;
      flags[i] = bad;
      EXPECT_FALSE(run(flags, r.good)) << r.name << " flag " << i << " is " << bad;
    }
  for (size_t i = 0; i < r.good.size(); ++i) {
    if (r.bad[i] == r.good[i]) continue;
    auto integers = r.good;
    integers[i] = r.bad[i];
    EXPECT_FALSE(run(r.flags, integers)) << r.name << " integer " << i << " is " << r.bad[i];
  }
}

TYPED_TEST(Arguments, BlasDoesNothingWithABadOne) {
  using T = TypeParam;
  using B = Linalg<T>;
  std::vector<T> const a(400, T(1)), b(400, T(3));
  T const one = 1, half = T(0.5);
  using F = char const*;
  using I = int const*;
  // m, n, k are 3, 4, 5: every leading dimension at its least. The dimensions themselves are negative.
  for (auto const& [flags, lda, ldb] : {std::tuple{"nn", 3, 5}, {"tn", 5, 5}, {"nt", 3, 4}, {"TT", 5, 4}})
    for (auto* gemm : {&B::gemm, &B::xgemm})
      expect_checked<T>(
          {"gemm", flags, {3, 4, 5, lda, ldb, 3}, {-1, -1, -1, lda - 1, ldb - 1, 2}, [&](F f, I i, T* c) {
             (*gemm)(f, f + 1, i, i + 1, i + 2, &one, a.data(), i + 3, b.data(), i + 4, &half, c, i + 5);
           }});
  for (char const* flag : {"n", "t"})
    expect_checked<T>({"gemv", flag, {3, 4, 3, 1, 1}, {-1, -1, 2, 0, 0}, [&](F f, I i, T* c) {
                         B::gemv(f, i, i + 1, &one, a.data(), i + 2, b.data(), i + 3, &half, c, i + 4);
                       }});
  for (auto* syr : {&B::syr, &B::xsyr})
    for (char const* flag : {"u", "L"})
      expect_checked<T>({"syr", flag, {4, 1, 4}, {-1, 0, 3}, [&](F f, I i, T* c) {
                           (*syr)(f, i, &one, a.data(), i + 1, c, i + 2);
                         }});
  for (auto* syrk : {&B::syrk, &B::xsyrk})
    for (auto const& [flags, lda] : {std::pair{"un", 4}, {"lt", 5}})
      expect_checked<T>({"syrk", flags, {4, 5, lda, 4}, {-1, -1, lda - 1, 3}, [&](F f, I i, T* c) {
                           (*syrk)(f, f + 1, i, i + 1, &one, a.data(), i + 2, &half, c, i + 3);
                         }});
  for (auto const& [flags, lda] : {std::pair{"lu", 3}, {"rl", 4}})
    expect_checked<T>({"symm", flags, {3, 4, lda, 3, 3}, {-1, -1, lda - 1, 2, 2}, [&](F f, I i, T* c) {
                         B::xsymm(f, f + 1, i, i + 1, &one, a.data(), i + 2, b.data(), i + 3, &half, c,
                                  i + 4);
                       }});
  for (auto const& [flags, lda] : {std::pair{"lunn", 3}, {"rltu", 4}}) {
    for (auto* trmm : {&B::trmm, &B::xtrmm_4elw, &B::trmm_4elw})
      expect_checked<T>({"trmm", flags, {3, 4, lda, 3}, {-1, -1, lda - 1, 2}, [&](F f, I i, T* c) {
                           (*trmm)(f, f + 1, f + 2, f + 3, i, i + 1, &half, a.data(), i + 2, c, i + 3);
                         }});
    expect_checked<T>({"ptrmm", flags, {3, 4, 3}, {-1, -1, 2}, [&](F f, I i, T* c) {
                         B::ptrmm_4elw(f, f + 1, f + 2, f + 3, i, i + 1, &half, a.data(), c, i + 2);
                       }});
  }
}

// An alpha of 0 leaves out the product, also one with NaN; a beta of 0 leaves out what stands there.
TYPED_TEST(Arguments, ScalarsOfZero) {
  using T = TypeParam;
  using B = Linalg<T>;
  T const zero = 0, one = 1, two = 2, nan = std::numeric_limits<T>::quiet_NaN();
  std::vector<T> const bad(16, nan), ones(16, T(1));
  int const n = 4, step = 1;
  auto filled = [](T value, T with) { // the upper triangle
    std::vector<T> c(16, value);
    for (size_t j = 0; j < 4; ++j)
      for (size_t i = 0; i <= j; ++i) c[4 * j + i] = with;
    return c;
  };
  std::vector<T> c(16, T(3));
  B::gemm("n", "n", &n, &n, &n, &zero, bad.data(), &n, bad.data(), &n, &two, c.data(), &n);
  EXPECT_EQ(c, std::vector<T>(16, T(6)));
  B::xsymm("l", "u", &n, &n, &zero, bad.data(), &n, bad.data(), &n, &two, c.data(), &n);
  EXPECT_EQ(c, std::vector<T>(16, T(12)));
  B::syrk("u", "n", &n, &n, &zero, bad.data(), &n, &two, c.data(), &n);
  EXPECT_EQ(c, filled(T(12), T(24)));
  B::syr("u", &n, &zero, bad.data(), &step, c.data(), &n);
  EXPECT_EQ(c, filled(T(12), T(24)));
  c = bad;
  B::gemm("n", "n", &n, &n, &n, &one, ones.data(), &n, ones.data(), &n, &zero, c.data(), &n);
  EXPECT_EQ(c, std::vector<T>(16, T(4)));
  c = filled(T(7), nan);
  B::xsyrk("u", "n", &n, &n, &one, ones.data(), &n, &zero, c.data(), &n);
  EXPECT_EQ(c, filled(T(7), T(4)));
  c = bad;
  B::xsymm("r", "l", &n, &n, &one, ones.data(), &n, ones.data(), &n, &zero, c.data(), &n);
  EXPECT_EQ(c, std::vector<T>(16, T(4)));
  c = bad;
  B::trmm("l", "u", "n", "n", &n, &n, &zero, ones.data(), &n, c.data(), &n);
  EXPECT_EQ(c, std::vector<T>(16, T(0)));
  for (char const* t : {"n", "t"}) {
    std::vector<T> y{nan, nan, nan, nan};
    B::gemv(t, &n, &n, &one, ones.data(), &n, ones.data(), &step, &zero, y.data(), &step);
    EXPECT_EQ(y, std::vector<T>(4, T(4)));
    B::gemv(t, &n, &n, &zero, bad.data(), &n, bad.data(), &step, &two, y.data(), &step);
    EXPECT_EQ(y, std::vector<T>(4, T(8)));
  }
  int const none = 0; // nothing to sum: beta alone
  c.assign(16, T(3));
  B::gemm("n", "t", &n, &n, &none, &one, bad.data(), &n, bad.data(), &n, &two, c.data(), &n);
  EXPECT_EQ(c, std::vector<T>(16, T(6)));
}

// Vectors of steps other than 1, from either end, with every product apart.
TYPED_TEST(Arguments, StepsThroughVectors) {
  using T = TypeParam;
  int const n = 5, m = 3;
  std::vector<T> a(15);
  for (size_t i = 0; i < 15; ++i) a[i] = static_cast<T>(i * i % 11) - 4;
  T const alpha = 2, beta = -3;
  for (int incx : {1, 3, -1, -2})
    for (int incy : {1, 2, -1, -3})
      for (char t : {'n', 't'}) {
        int const nx = t == 'n' ? n : m, ny = t == 'n' ? m : n;
        std::vector<T> x(20), y(20);
        for (size_t i = 0; i < 20; ++i)
          x[i] = static_cast<T>(i + 1), y[i] = static_cast<T>(7 - static_cast<int>(i));
        auto at = [](int i, int count, int inc) {
          return static_cast<size_t>(inc > 0 ? i * inc : (count - 1 - i) * -inc);
        };
        auto want = y;
        for (int r = 0; r < ny; ++r) {
          T sum = 0;
          for (int k = 0; k < nx; ++k)
            sum += (t == 'n' ? a[static_cast<size_t>(k * m + r)] : a[static_cast<size_t>(r * m + k)]) *
                   x[at(k, nx, incx)];
          want[at(r, ny, incy)] = alpha * sum + beta * y[at(r, ny, incy)];
        }
        Linalg<T>::gemv(&t, &m, &n, &alpha, a.data(), &m, x.data(), &incx, &beta, y.data(), &incy);
        EXPECT_EQ(y, want) << t << incx << incy; // small integers: exact
      }
}

TYPED_TEST(Arguments, LapackNamesTheFirstBadOne) {
  using T = TypeParam;
  using B = Linalg<T>;
  int const n = 3, small = 2, negative = -1, none = 0, one = 1;
  std::vector<T> a(9), w(3), work(64), z(9);
  std::vector<int> iwork(64);
  int info;
  auto reset = [&] { a = {4, 1, 1, 1, 4, 1, 1, 1, 4}; };
  reset();
  auto potrf = [&](char const* u, int const* order, int const* ld) {
    return info = 77, B::potrf(u, order, a.data(), ld, &info), info;
  };
  auto potri = [&](char const* u, int const* order, int const* ld) {
    return info = 77, B::potri(u, order, a.data(), ld, &info), info;
  };
  for (auto const& check : {std::function(potrf), std::function(potri)}) {
    EXPECT_EQ(check("x", &negative, &none), -1);
    EXPECT_EQ(check("u", &negative, &none), -2);
    EXPECT_EQ(check("l", &n, &small), -4);
    EXPECT_EQ(check("l", &none, &none), -4);
    EXPECT_EQ(check("u", &none, &one), 0);
    EXPECT_EQ(check("u", &n, &n), 0);
  }
  auto trtri = [&](char const* u, char const* d, int const* order, int const* ld) {
    return info = 77, B::trtri(u, d, order, a.data(), ld, &info), info;
  };
  EXPECT_EQ(trtri("x", "x", &negative, &none), -1);
  EXPECT_EQ(trtri("u", "x", &negative, &none), -2);
  EXPECT_EQ(trtri("u", "n", &negative, &none), -3);
  EXPECT_EQ(trtri("u", "n", &n, &small), -5);
  EXPECT_EQ(trtri("l", "u", &none, &one), 0);
  for (int k = 0; k < 3; ++k) // the first zero on the diagonal; none is looked for where it is 1
    for (char const* u : {"u", "l"}) {
      reset();
      for (int i = k; i < 3; ++i) a[static_cast<size_t>(4 * i)] = 0;
      EXPECT_EQ(trtri(u, "n", &n, &n), k + 1);
      reset();
      a[static_cast<size_t>(4 * k)] = 0;
      EXPECT_EQ(trtri(u, "u", &n, &n), 0);
      reset();
      a[static_cast<size_t>(4 * k)] = -1; // the minor that isn't positive
      EXPECT_EQ(potrf(u, &n, &n), k + 1);
      reset();
      a[static_cast<size_t>(4 * k)] = 0;
      EXPECT_EQ(potri(u, &n, &n), k + 1);
    }
  reset();
  int const least = 3 * n - 1, less = least - 1, query = -1;
  auto syev = [&](char const* job, char const* u, int const* order, int const* ld, int const* size) {
    return info = 77, B::syev(job, u, order, a.data(), ld, w.data(), work.data(), size, &info), info;
  };
  EXPECT_EQ(syev("x", "x", &negative, &none, &none), -1);
  EXPECT_EQ(syev("n", "x", &negative, &none, &none), -2);
  EXPECT_EQ(syev("v", "u", &negative, &none, &none), -3);
  EXPECT_EQ(syev("v", "u", &n, &small, &none), -5);
  EXPECT_EQ(syev("v", "u", &n, &n, &less), -8);
  EXPECT_EQ(syev("n", "l", &n, &n, &query), 0);
  EXPECT_EQ(work[0], least);
  EXPECT_EQ(syev("n", "l", &n, &n, &least), 0);
  EXPECT_EQ(syev("n", "l", &none, &one, &one), 0);
  EXPECT_EQ(syev("n", "l", &none, &one, &none), -8);
  struct Sizes {
    int order;
    char job;
    int work, iwork;
  };
  for (Sizes const& s : {Sizes{3, 'V', 1 + 18 + 9, 18}, {3, 'N', 6, 1}, {1, 'V', 1, 1}, {0, 'N', 1, 1}}) {
    auto spevd = [&](char job, char const* u, int order, int ld, int size, int isize) {
      info = 77;
      B::spevd(&job, u, &order, a.data(), w.data(), z.data(), &ld, work.data(), &size, iwork.data(), &isize,
               &info);
      return info;
    };
    EXPECT_EQ(spevd('x', "x", -1, 0, 0, 0), -1);
    EXPECT_EQ(spevd(s.job, "x", -1, 0, 0, 0), -2);
    EXPECT_EQ(spevd(s.job, "u", -1, 0, 0, 0), -3);
    EXPECT_EQ(spevd(s.job, "u", s.order, s.job == 'V' && s.order > 1 ? s.order - 1 : 0, 0, 0), -7);
    EXPECT_EQ(spevd(s.job, "u", s.order, 3, s.work - 1, 0), -9);
    EXPECT_EQ(spevd(s.job, "u", s.order, 3, s.work, s.iwork - 1), -11);
    reset();
    for (auto [size, isize] : {std::pair{-1, 0}, {0, -1}}) {
      work[0] = -5, iwork[0] = -5;
      EXPECT_EQ(spevd(s.job, "u", s.order, 3, size, isize), 0);
      EXPECT_EQ(work[0], s.work);
      EXPECT_EQ(iwork[0], s.iwork);
    }
    reset();
    EXPECT_EQ(spevd(s.job, "u", s.order, s.job == 'N' ? 1 : 3, s.work, s.iwork), 0);
  }
}

TYPED_TEST(Arguments, TridiagonalSolversNameTheFirstBadOne) {
  using T = TypeParam;
  using B = Linalg<T>;
  int const n = 3, small = 2, negative = -1, one = 1;
  std::vector<T> dl(3), d(3), du(3), b(3);
  int info;
  auto reset = [&] { dl.assign(3, 1), d.assign(3, 4), du.assign(3, 1), b.assign(3, 1); };
  auto solve = [&](char const* t, int const* order, int const* columns, int const* ld) {
    reset(), info = 77;
    return B::dttrsb(t, order, columns, dl.data(), d.data(), du.data(), b.data(), ld, &info), info;
  };
  EXPECT_EQ(solve("x", &negative, &negative, &negative), -1);
  EXPECT_EQ(solve("n", &negative, &negative, &negative), -2);
  EXPECT_EQ(solve("t", &n, &negative, &negative), -3);
  EXPECT_EQ(solve("n", &n, &one, &small), -8);
  EXPECT_EQ(b, std::vector<T>(3, T(1)));
  EXPECT_EQ(solve("n", &n, &one, &n), 0);
  auto both = [&](int const* order, int const* columns, int const* ld) {
    reset(), info = 77;
    return B::dtsvb(order, columns, dl.data(), d.data(), du.data(), b.data(), ld, &info), info;
  };
  EXPECT_EQ(both(&negative, &negative, &negative), -1);
  EXPECT_EQ(both(&n, &negative, &negative), -2);
  EXPECT_EQ(both(&n, &one, &small), -7);
  EXPECT_EQ(both(&n, &one, &n), 0);
  // Zero pivots at any place, with one column and with several, on short and long systems.
  for (int order : {1, 2, 15, 16, 17, 40})
    for (int zero = 0; zero < order; ++zero)
      for (int columns : {1, 2}) {
        auto const size = static_cast<size_t>(order);
        std::vector<T> lower(size, T(0)), diagonal(size, T(2)), upper(size, T(0)), x(2 * size, T(2));
        diagonal[static_cast<size_t>(zero)] = 0;
        info = 77;
        B::dtsvb(&order, &columns, lower.data(), diagonal.data(), upper.data(), x.data(), &order, &info);
        EXPECT_EQ(info, zero + 1) << order;
      }
}

} // namespace
