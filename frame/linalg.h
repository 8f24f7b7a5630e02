// Late binding of BLAS, LAPACK and the tridiagonal solvers, by element type:
//
//   core::Linalg<T>::gemm("n", "t", &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc);
#pragma once
#include "frame/core.h"

namespace orv::core {

template <class T>
struct Linalg;

// The `x` forms are the same operations under their other names.
#define ORV_LINALG_BINDINGS(T, t)                                                                            \
  template <>                                                                                                \
  struct Linalg<T> {                                                                                         \
    ORV_CORE_MEMBER(gemm, orv_blas_##t##gemm);                                                               \
    ORV_CORE_MEMBER(gemv, orv_blas_##t##gemv);                                                               \
    ORV_CORE_MEMBER(syr, orv_blas_##t##syr);                                                                 \
    ORV_CORE_MEMBER(syrk, orv_blas_##t##syrk);                                                               \
    ORV_CORE_MEMBER(trmm, orv_blas_##t##trmm);                                                               \
    ORV_CORE_MEMBER(xgemm, orv_blas_x##t##gemm);                                                             \
    ORV_CORE_MEMBER(xsyr, orv_blas_x##t##syr);                                                               \
    ORV_CORE_MEMBER(xsyrk, orv_blas_x##t##syrk);                                                             \
    ORV_CORE_MEMBER(xsymm, orv_blas_x##t##symm);                                                             \
    ORV_CORE_MEMBER(xtrmm_4elw, orv_blas_x##t##trmm_4elw);                                                   \
    ORV_CORE_MEMBER(trmm_4elw, orv_blas4elw_##t##trmm);                                                      \
    ORV_CORE_MEMBER(ptrmm_4elw, orv_blas4elw_##t##ptrmm);                                                    \
    ORV_CORE_MEMBER(potrf, orv_lapack_##t##potrf);                                                           \
    ORV_CORE_MEMBER(potri, orv_lapack_##t##potri);                                                           \
    ORV_CORE_MEMBER(trtri, orv_lapack_##t##trtri);                                                           \
    ORV_CORE_MEMBER(syev, orv_lapack_##t##syev);                                                             \
    ORV_CORE_MEMBER(spevd, orv_lapack_##t##spevd);                                                           \
    ORV_CORE_MEMBER(dttrfb, t##dttrfb_4dfl);                                                                 \
    ORV_CORE_MEMBER(dttrsb, t##dttrsb_4dfl);                                                                 \
    ORV_CORE_MEMBER(dtsvb, t##dtsvb_4dfl);                                                                   \
  }
#define ORV_CORE_MEMBER(short_name, name)                                                                    \
  static inline constinit Service<decltype(name)> short_name { #name }
ORV_LINALG_BINDINGS(double, d);
ORV_LINALG_BINDINGS(float, s);
#undef ORV_CORE_MEMBER
#undef ORV_LINALG_BINDINGS

} // namespace orv::core
