// BLAS over the packed product of gemm.h. A bad argument makes a routine do nothing.
#include "core/export.h"
#include "core/flags.h"
#include "core/gemm.h"
#include "orv/core_linalg.h"

namespace orv::linalg {
namespace {

// C := beta C; a beta of zero writes zeros over whatever stands there.
template <class T>
void scale(ptrdiff_t from, ptrdiff_t to, T beta, T* c) {
  if (beta == T(0))
    std::fill(c + from, c + to, T(0));
  else if (beta != T(1))
    for (ptrdiff_t i = from; i < to; ++i) c[i] *= beta;
}

template <class T>
Operand<T> operand(T const* a, ptrdiff_t lda, bool transposed) {
  return transposed ? Operand<T>{a, lda, 1} : Operand<T>{a, 1, lda};
}

template <class T>
void gemm(char ta, char tb, int m, int n, int k, T alpha, T const* a, int lda, T const* b, int ldb, T beta,
          T* c, int ldc) {
  Trans const at = trans(ta), bt = trans(tb);
  if (at == Trans::bad || bt == Trans::bad || m < 0 || n < 0 || k < 0) return;
  if (lda < std::max(1, at == Trans::no ? m : k) || ldb < std::max(1, bt == Trans::no ? k : n)) return;
  if (ldc < std::max(1, m)) return;
  for (ptrdiff_t j = 0; j < n; ++j) scale<T>(0, m, beta, c + j * ldc);
  if (alpha != T(0))
    Gemm<T>::run(m, n, k, alpha, operand(a, lda, at == Trans::yes), operand(b, ldb, bt == Trans::no), c, ldc);
}

template <class T>
void gemv(char t, int m, int n, T alpha, T const* a, int lda, T const* x, int incx, T beta, T* y, int incy) {
  Trans const at = trans(t);
  if (at == Trans::bad || m < 0 || n < 0 || lda < std::max(1, m) || incx == 0 || incy == 0) return;
  bool const transposed = at == Trans::yes;
  ptrdiff_t const nx = transposed ? m : n, ny = transposed ? n : m;
  if (incx < 0) x -= (nx - 1) * incx;
  if (incy < 0) y -= (ny - 1) * incy;
  if (m == 0 || n == 0) return;
  for (ptrdiff_t i = 0; i < ny; ++i) scale<T>(i * incy, i * incy + 1, beta, y);
  if (alpha == T(0)) return;
  for (ptrdiff_t j = 0; j < n; ++j) {
    T const* column = a + j * lda;
    if (transposed) {
      T sum = 0;
      if (incx == 1)
        sum = dot<T>(m, column, x);
      else
        for (ptrdiff_t i = 0; i < m; ++i) sum = fused(column[i], x[i * incx], sum);
      y[j * incy] = fused(alpha, sum, y[j * incy]);
    } else if (incy == 1) {
      axpy<T>(m, alpha * x[j * incx], column, y);
    } else {
      T const f = alpha * x[j * incx];
      for (ptrdiff_t i = 0; i < m; ++i) y[i * incy] = fused(f, column[i], y[i * incy]);
    }
  }
}

template <class T>
void syr(char u, int n, T alpha, T const* x, int incx, T* a, int lda) {
  Uplo const part = uplo(u);
  if (part == Uplo::bad || n < 0 || incx == 0 || lda < std::max(1, n) || alpha == T(0)) return;
  if (incx < 0) x -= static_cast<ptrdiff_t>(n - 1) * incx;
  for (ptrdiff_t j = 0; j < n; ++j) {
    T const f = alpha * x[j * incx];
    ptrdiff_t const from = part == Uplo::upper ? 0 : j, to = part == Uplo::upper ? j + 1 : n;
    if (incx == 1)
      axpy<T>(to - from, f, x + from, a + from + j * lda);
    else
      for (ptrdiff_t i = from; i < to; ++i) a[i + j * lda] = fused(f, x[i * incx], a[i + j * lda]);
  }
}

template <class T>
void syrk(char u, char t, int n, int k, T alpha, T const* a, int lda, T beta, T* c, int ldc) {
  Uplo const part = uplo(u);
  Trans const at = trans(t);
  if (part == Uplo::bad || at == Trans::bad || n < 0 || k < 0) return;
  if (lda < std::max(1, at == Trans::no ? n : k) || ldc < std::max(1, n)) return;
  bool const upper = part == Uplo::upper;
  for (ptrdiff_t j = 0; j < n; ++j) scale<T>(upper ? 0 : j, upper ? j + 1 : n, beta, c + j * ldc);
  auto const op = operand(a, lda, at == Trans::yes);
  if (alpha != T(0)) Gemm<T>::run(n, n, k, alpha, op, op, c, ldc, upper ? Part::upper : Part::lower);
}

template <class T>
void symm(char s, char u, int m, int n, T alpha, T const* a, int lda, T const* b, int ldb, T beta, T* c,
          int ldc) {
  Side const where = side(s);
  Uplo const part = uplo(u);
  if (where == Side::bad || part == Uplo::bad || m < 0 || n < 0) return;
  if (lda < std::max(1, where == Side::left ? m : n) || ldb < std::max(1, m) || ldc < std::max(1, m)) return;
  for (ptrdiff_t j = 0; j < n; ++j) scale<T>(0, m, beta, c + j * ldc);
  if (alpha == T(0)) return;
  Operand<T> const mirror{a, 1, lda, true, part == Uplo::upper};
  if (where == Side::left)
    Gemm<T>::run(m, n, m, alpha, mirror, operand(b, ldb, true), c, ldc);
  else
    Gemm<T>::run(m, n, n, alpha, operand(b, ldb, false), mirror, c, ldc);
}

// A triangular matrix by its columns; full or packed.
template <class T>
struct Triangle {
  T const* a;
  ptrdiff_t ld, n; // ld 0: packed
  bool upper, transposed, unit;

  T const* column(ptrdiff_t j) const {
    if (ld) return a + j * ld;
    return upper ? a + j * (j + 1) / 2 : a + j * n - j * (j + 1) / 2;
  }
  bool acts_upper() const { return upper != transposed; }
  // Element of op(A).
  T at(ptrdiff_t i, ptrdiff_t j) const {
    if (i == j && unit) return 1;
    return transposed ? column(i)[j] : column(j)[i];
  }
};

// One column b := op(A) b.
template <class T>
void trmv(Triangle<T> const& t, T* b) {
  ptrdiff_t const n = t.n;
  bool const rising = t.acts_upper();
  for (ptrdiff_t step = 0; step < n; ++step) {
    ptrdiff_t const k = rising ? step : n - 1 - step;
    if (t.transposed) {
      ptrdiff_t const from = t.upper ? 0 : k + 1, to = t.upper ? k : n;
      b[k] = t.at(k, k) * b[k] + dot<T>(to - from, t.column(k) + from, b + from);
    } else {
      ptrdiff_t const from = t.upper ? 0 : k + 1, to = t.upper ? k : n;
      axpy<T>(to - from, b[k], t.column(k) + from, b + from);
      b[k] *= t.at(k, k);
    }
  }
}

// B := op(A) B or B op(A) by halves: the squares beside the diagonal go through the packed product.
template <class T>
void multiply(bool left, Triangle<T> const& t, ptrdiff_t m, ptrdiff_t n, T* b, ptrdiff_t ldb) {
  constexpr ptrdiff_t small = 48;
  if (t.n > small && t.ld) {
    ptrdiff_t const h = (t.n / 2 + 15) / 16 * 16, rest = t.n - h;
    Triangle<T> first = t, second = t;
    first.n = h;
    second.n = rest;
    second.a = t.a + h * (t.ld + 1);
    // The square of op(A): rows 0..h by columns h.. where it acts as upper, else the other way round.
    bool const up = t.acts_upper();
    T const* corner = t.a + (t.upper ? h * t.ld : h);
    ptrdiff_t const square_rows = up ? h : rest, square_cols = up ? rest : h;
    T *const b1 = b, *const b2 = left ? b + h : b + h * ldb;
    if (left) {
      auto const square = operand(corner, t.ld, t.transposed);
      multiply(true, up ? first : second, up ? h : rest, n, up ? b1 : b2, ldb);
      Gemm<T>::run(square_rows, n, square_cols, T(1), square, operand(up ? b2 : b1, ldb, true), up ? b1 : b2,
                   ldb);
      multiply(true, up ? second : first, up ? rest : h, n, up ? b2 : b1, ldb);
    } else {
      auto const square = operand(corner, t.ld, !t.transposed);
      multiply(false, up ? second : first, m, up ? rest : h, up ? b2 : b1, ldb);
      Gemm<T>::run(m, square_cols, square_rows, T(1), operand(up ? b1 : b2, ldb, false), square, up ? b2 : b1,
                   ldb);
      multiply(false, up ? first : second, m, up ? h : rest, up ? b1 : b2, ldb);
    }
    return;
  }
  if (left) {
    for (ptrdiff_t j = 0; j < n; ++j) trmv(t, b + j * ldb);
    return;
  }
  bool const falling = t.acts_upper();
  for (ptrdiff_t step = 0; step < n; ++step) {
    ptrdiff_t const j = falling ? n - 1 - step : step;
    T* column = b + j * ldb;
    T const d = t.at(j, j);
    for (ptrdiff_t i = 0; i < m; ++i) column[i] *= d;
    for (ptrdiff_t k = falling ? 0 : j + 1; k < (falling ? j : n); ++k)
      axpy<T>(m, t.at(k, j), b + k * ldb, column);
  }
}

template <class T>
void trmm(char s, char u, char t, char d, int m, int n, T alpha, T const* a, int lda, T* b, int ldb,
          bool packed) {
  Side const where = side(s);
  Uplo const part = uplo(u);
  Trans const at = trans(t);
  Diag const unit = diag(d);
  if (where == Side::bad || part == Uplo::bad || at == Trans::bad || unit == Diag::bad || m < 0 || n < 0)
    return;
  int const order = where == Side::left ? m : n;
  if ((!packed && lda < std::max(1, order)) || ldb < std::max(1, m) || m == 0 || n == 0) return;
  if (alpha != T(0)) {
    Triangle<T> const triangle{
        a, packed ? 0 : lda, order, part == Uplo::upper, at == Trans::yes, unit == Diag::unit};
    multiply(where == Side::left, triangle, m, n, b, ldb);
  }
  for (ptrdiff_t j = 0; j < n; ++j) scale<T>(0, m, alpha, b + j * ldb);
}

} // namespace
} // namespace orv::linalg

using namespace orv::linalg;

#define GEMM(name, T)                                                                                        \
  ORV_CORE_EXPORT ORV_GEMM(name, T) {                                                                        \
    gemm(*transa, *transb, *m, *n, *k, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);                            \
  }
#define GEMV(name, T)                                                                                        \
  ORV_CORE_EXPORT ORV_GEMV(name, T) { gemv(*trans, *m, *n, *alpha, a, *lda, x, *incx, *beta, y, *incy); }
#define SYR(name, T)                                                                                         \
  ORV_CORE_EXPORT ORV_SYR(name, T) { syr(*uplo, *n, *alpha, x, *incx, a, *lda); }
#define SYRK(name, T)                                                                                        \
  ORV_CORE_EXPORT ORV_SYRK(name, T) { syrk(*uplo, *trans, *n, *k, *alpha, a, *lda, *beta, c, *ldc); }
#define SYMM(name, T)                                                                                        \
  ORV_CORE_EXPORT ORV_SYMM(name, T) { symm(*side, *uplo, *m, *n, *alpha, a, *lda, b, *ldb, *beta, c, *ldc); }
#define TRMM(name, T)                                                                                        \
  ORV_CORE_EXPORT ORV_TRMM(name, T) {                                                                        \
    trmm(*side, *uplo, *transa, *diag, *m, *n, *alpha, a, *lda, b, *ldb, false);                             \
  }
#define PTRMM(name, T)                                                                                       \
  ORV_CORE_EXPORT ORV_PTRMM(name, T) {                                                                       \
    trmm(*side, *uplo, *transa, *diag, *m, *n, *alpha, ap, 0, b, *ldb, true);                                \
  }
#define TWIN(t, T)                                                                                           \
  GEMM(orv_blas_##t##gemm, T)                                                                                \
  GEMV(orv_blas_##t##gemv, T)                                                                                \
  SYR(orv_blas_##t##syr, T)                                                                                  \
  SYRK(orv_blas_##t##syrk, T)                                                                                \
  TRMM(orv_blas_##t##trmm, T)                                                                                \
  GEMM(orv_blas_x##t##gemm, T)                                                                               \
  SYR(orv_blas_x##t##syr, T)                                                                                 \
  SYRK(orv_blas_x##t##syrk, T)                                                                               \
  SYMM(orv_blas_x##t##symm, T)                                                                               \
  TRMM(orv_blas_x##t##trmm_4elw, T)                                                                          \
  TRMM(orv_blas4elw_##t##trmm, T)                                                                            \
  PTRMM(orv_blas4elw_##t##ptrmm, T)
TWIN(d, double)
TWIN(s, float)
