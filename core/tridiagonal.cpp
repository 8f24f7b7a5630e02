// Tridiagonal systems by LU without pivoting, for diagonally dominant matrices: the factor keeps the
// multipliers in `dl`, the pivots in `d` and leaves `du`. Cost 3n operations, 5n for each solution.
#include "core/export.h"
#include "core/flags.h"
#include "orv/core_linalg.h"

#include <cstddef>

using orv::linalg::Trans;

namespace {

// Non-zero is the number, from 1, of the pivot that is zero.
template <class T>
int factor(int n, T* dl, T* d, T const* du) {
  for (int i = 0; i + 1 < n; ++i) {
    if (d[i] == 0) return i + 1;
    dl[i] /= d[i];
    d[i + 1] -= dl[i] * du[i];
  }
  return n > 0 && d[n - 1] == 0 ? n : 0;
}

template <class T>
void solve(bool transposed, int n, T const* dl, T const* d, T const* du, T* b) {
  if (transposed) {
    b[0] /= d[0];
    for (int i = 1; i < n; ++i) b[i] = (b[i] - du[i - 1] * b[i - 1]) / d[i];
    for (int i = n - 2; i >= 0; --i) b[i] -= dl[i] * b[i + 1];
  } else {
    for (int i = 1; i < n; ++i) b[i] -= dl[i - 1] * b[i - 1];
    b[n - 1] /= d[n - 1];
    for (int i = n - 2; i >= 0; --i) b[i] = (b[i] - du[i] * b[i + 1]) / d[i];
  }
}

template <class T>
void solve_all(bool transposed, int n, int columns, T const* dl, T const* d, T const* du, T* b, int ldb) {
  if (n == 0) return;
  for (int c = 0; c < columns; ++c) solve(transposed, n, dl, d, du, b + static_cast<ptrdiff_t>(c) * ldb);
}

template <class T>
void ttrf(int const* n, T* dl, T* d, T const* du, int* info) {
  *info = *n < 0 ? -1 : factor(*n, dl, d, du);
}

template <class T>
void ttrs(char const* trans, int const* n, int const* nrhs, T const* dl, T const* d, T const* du, T* b,
          int const* ldb, int* info) {
  Trans const t = orv::linalg::trans(*trans);
  *info = t == Trans::bad ? -1 : *n < 0 ? -2 : *nrhs < 0 ? -3 : *ldb < *n ? -8 : 0;
  if (*info == 0) solve_all(t == Trans::yes, *n, *nrhs, dl, d, du, b, *ldb);
}

template <class T>
void tsv(int const* n, int const* nrhs, T* dl, T* d, T const* du, T* b, int const* ldb, int* info) {
  *info = *n < 0 ? -1 : *nrhs < 0 ? -2 : *ldb < *n ? -7 : factor(*n, dl, d, du);
  if (*info == 0) solve_all(false, *n, *nrhs, dl, d, du, b, *ldb);
}

} // namespace

#define TWIN(t, T)                                                                                           \
  ORV_CORE_EXPORT void t##dttrfb_4dfl(const int* n, T* dl, T* d, const T* du, int* info) {                   \
    ttrf(n, dl, d, du, info);                                                                                \
  }                                                                                                          \
  ORV_CORE_EXPORT void t##dttrsb_4dfl(const char* trans, const int* n, const int* nrhs, const T* dl,         \
                                      const T* d, const T* du, T* b, const int* ldb, int* info) {            \
    ttrs(trans, n, nrhs, dl, d, du, b, ldb, info);                                                           \
  }                                                                                                          \
  ORV_CORE_EXPORT void t##dtsvb_4dfl(const int* n, const int* nrhs, T* dl, T* d, const T* du, T* b,          \
                                     const int* ldb, int* info) {                                            \
    tsv(n, nrhs, dl, d, du, b, ldb, info);                                                                   \
  }
TWIN(d, double)
TWIN(s, float)
