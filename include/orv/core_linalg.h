/* BLAS, LAPACK and tridiagonal solvers of the core library.
 *
 * Every argument goes by address, integers are 32 bits, flags are one character of either case, matrices
 * are column-major, and there are no hidden length arguments. Argument lists are the published ones of the
 * routine that the name ends in. A bad argument makes a BLAS routine do nothing, and a LAPACK routine
 * return minus its position in `info`.
 *
 * All of it needs AVX2 and FMA. Results have the same bits on every target: each element is one chain of
 * fused steps in the order of the summation index, cut only at fixed places.
 */
#ifndef ORV_CORE_LINALG_H
#define ORV_CORE_LINALG_H

#include "orv/platform.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Tridiagonal systems without pivoting: `dl` (n-1), `d` (n) and `du` (n-1) are the diagonals.
 * factor: overwrites `d` by its factor; `info` above 0 is the number of a pivot that is zero.
 * solve: with a factor, B (n by nrhs, overwritten by X); `trans` is 'N' for A X = B, 'T' for A' X = B.
 * tsv: both; nothing is solved when a pivot is zero. */
#define ORV_TRIDIAGONAL(t, T)                                                                                \
  void ORV_CALL t##dttrfb_4dfl(const int* n, T* dl, T* d, const T* du, int* info);                           \
  void ORV_CALL t##dttrsb_4dfl(const char* trans, const int* n, const int* nrhs, const T* dl, const T* d,    \
                               const T* du, T* b, const int* ldb, int* info);                                \
  void ORV_CALL t##dtsvb_4dfl(const int* n, const int* nrhs, T* dl, T* d, const T* du, T* b, const int* ldb, \
                              int* info);
ORV_TRIDIAGONAL(d, double)
ORV_TRIDIAGONAL(s, float)
#undef ORV_TRIDIAGONAL

/* BLAS:
 *   gemm   C := alpha op(A) op(B) + beta C         gemv   y := alpha op(A) x + beta y
 *   syr    A := alpha x x' + A, one triangle       syrk   C := alpha op(A) op(A)' + beta C, one triangle
 *   symm   C := alpha A B + beta C or B A, A symmetric
 *   trmm   B := alpha op(A) B or B op(A), A triangular; ptrmm the same with A packed by columns
 * C is not read where beta is 0. A vector with a negative increment starts at its far end. */
#define ORV_GEMM(name, T)                                                                                    \
  void ORV_CALL name(const char* transa, const char* transb, const int* m, const int* n, const int* k,       \
                     const T* alpha, const T* a, const int* lda, const T* b, const int* ldb, const T* beta,  \
                     T* c, const int* ldc)
#define ORV_GEMV(name, T)                                                                                    \
  void ORV_CALL name(const char* trans, const int* m, const int* n, const T* alpha, const T* a,              \
                     const int* lda, const T* x, const int* incx, const T* beta, T* y, const int* incy)
#define ORV_SYR(name, T)                                                                                     \
  void ORV_CALL name(const char* uplo, const int* n, const T* alpha, const T* x, const int* incx, T* a,      \
                     const int* lda)
#define ORV_SYRK(name, T)                                                                                    \
  void ORV_CALL name(const char* uplo, const char* trans, const int* n, const int* k, const T* alpha,        \
                     const T* a, const int* lda, const T* beta, T* c, const int* ldc)
#define ORV_SYMM(name, T)                                                                                    \
  void ORV_CALL name(const char* side, const char* uplo, const int* m, const int* n, const T* alpha,         \
                     const T* a, const int* lda, const T* b, const int* ldb, const T* beta, T* c,            \
                     const int* ldc)
#define ORV_TRMM(name, T)                                                                                    \
  void ORV_CALL name(const char* side, const char* uplo, const char* transa, const char* diag, const int* m, \
                     const int* n, const T* alpha, const T* a, const int* lda, T* b, const int* ldb)
#define ORV_PTRMM(name, T)                                                                                   \
  void ORV_CALL name(const char* side, const char* uplo, const char* transa, const char* diag, const int* m, \
                     const int* n, const T* alpha, const T* ap, T* b, const int* ldb)

/* LAPACK:
 *   potrf  Cholesky factor of one triangle; `info` above 0 is the order of the minor that isn't positive
 *   potri  inverse from that factor, same triangle
 *   trtri  inverse of a triangular matrix; `info` above 0 is the number of a zero on the diagonal
 *   syev   eigenvalues in rising order, with jobz 'V' eigenvectors in A; `work` has `lwork` elements, at
 *          least max(1, 3n - 1)
 *   spevd  the same for a packed triangle, vectors to Z; at least 1 + 6n + n n elements of `work` and
 *          3 + 5n of `iwork` with vectors, 2n and 1 without
 * A size of -1 asks for the sizes, which come in work[0] and iwork[0]. `info` above 0 of the last two means
 * that eigenvalues were not found within 30 n steps; it is n, and all of them are NaN, for a matrix that isn't
 * finite. Residuals and orthogonality hold to a few n epsilon of the matrix's size, whatever its scale. */
#define ORV_POTR(name, T) void ORV_CALL name(const char* uplo, const int* n, T* a, const int* lda, int* info)
#define ORV_TRTRI(name, T)                                                                                   \
  void ORV_CALL name(const char* uplo, const char* diag, const int* n, T* a, const int* lda, int* info)
#define ORV_SYEV(name, T)                                                                                    \
  void ORV_CALL name(const char* jobz, const char* uplo, const int* n, T* a, const int* lda, T* w, T* work,  \
                     const int* lwork, int* info)
#define ORV_SPEVD(name, T)                                                                                   \
  void ORV_CALL name(const char* jobz, const char* uplo, const int* n, T* ap, T* w, T* z, const int* ldz,    \
                     T* work, const int* lwork, int* iwork, const int* liwork, int* info)

#define ORV_LINALG(t, T)                                                                                     \
  ORV_GEMM(orv_blas_##t##gemm, T);                                                                           \
  ORV_GEMV(orv_blas_##t##gemv, T);                                                                           \
  ORV_SYR(orv_blas_##t##syr, T);                                                                             \
  ORV_SYRK(orv_blas_##t##syrk, T);                                                                           \
  ORV_TRMM(orv_blas_##t##trmm, T);                                                                           \
  ORV_GEMM(orv_blas_x##t##gemm, T);                                                                          \
  ORV_SYR(orv_blas_x##t##syr, T);                                                                            \
  ORV_SYRK(orv_blas_x##t##syrk, T);                                                                          \
  ORV_SYMM(orv_blas_x##t##symm, T);                                                                          \
  ORV_TRMM(orv_blas_x##t##trmm_4elw, T);                                                                     \
  ORV_TRMM(orv_blas4elw_##t##trmm, T);                                                                       \
  ORV_PTRMM(orv_blas4elw_##t##ptrmm, T);                                                                     \
  ORV_POTR(orv_lapack_##t##potrf, T);                                                                        \
  ORV_POTR(orv_lapack_##t##potri, T);                                                                        \
  ORV_TRTRI(orv_lapack_##t##trtri, T);                                                                       \
  ORV_SYEV(orv_lapack_##t##syev, T);                                                                         \
  ORV_SPEVD(orv_lapack_##t##spevd, T);
ORV_LINALG(d, double)
ORV_LINALG(s, float)
#undef ORV_LINALG

#ifdef __cplusplus
}
#endif
#endif
