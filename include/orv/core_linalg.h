/* BLAS, LAPACK and tridiagonal solvers of the core library. */
#ifndef ORV_CORE_LINALG_H
#define ORV_CORE_LINALG_H
#endif
