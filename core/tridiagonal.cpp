// Tridiagonal systems by LU without pivoting, for diagonally dominant matrices. Elimination runs from both
// ends to a middle row, so that two chains of divisions overlap (twisted factorisation: H. A. van der Vorst,
// Parallel Computing 5, 1987). The factor keeps the reciprocals of the pivots in `d` and leaves `dl` and
// `du`. Small systems are eliminated from the top alone, where a zero pivot has the number that elimination
// by rows gives it.
#include "core/export.h"
#include "core/flags.h"
#include "orv/core_linalg.h"

#include <cstddef>

using orv::linalg::Trans;

namespace {

// The row where both eliminations meet.
int middle_row(int n) { return n < 16 ? n - 1 : n / 2; }

inline double fused(double a, double b, double c) { return __builtin_fma(a, b, c); }
inline float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }

// Replaces the diagonal by the reciprocals of the pivots; with `b` also does the elimination's half of a
// solution. Non-zero is the number, from 1, of a pivot that is zero.
template <bool WithB, class T>
int factor(int n, T const* dl, T* d, T const* du, T* b) {
  if (n == 0) return 0;
  int const p = middle_row(n);
  T top = d[0], bottom = d[n - 1];
  auto step_down = [&](int i) {
    T const r = 1 / top;
    d[i] = r;
    top = fused(-(dl[i] * du[i]), r, d[i + 1]);
    if (WithB) b[i + 1] = fused(-(dl[i] * r), b[i], b[i + 1]);
  };
  auto step_up = [&](int i, T& next) {
    T const r = 1 / bottom;
    d[i] = r;
    next = fused(-(dl[i - 1] * du[i - 1]), r, next);
    if (WithB) b[i - 1] = fused(-(du[i - 1] * r), b[i], b[i - 1]);
  };
  int i = 0, j = n - 1;
  for (; i < p && j > p + 1; ++i, --j) {
    if (top == 0 || bottom == 0) return top == 0 ? i + 1 : j + 1;
    step_down(i);
    T next = d[j - 1];
    step_up(j, next);
    bottom = next;
  }
  for (; i < p; ++i) {
    if (top == 0) return i + 1;
    step_down(i);
  }
  // The last step of the lower elimination meets what the upper one has left of the middle row.
  if (j > p) {
    if (bottom == 0) return j + 1;
    step_up(j, top);
  }
  if (top == 0) return p + 1;
  d[p] = 1 / top;
  return 0;
}

// The elimination's half of a solution, by the same steps as in `factor`.
template <class T>
void eliminate(int n, T const* dl, T const* r, T const* du, T* b) {
  int const p = middle_row(n);
  int i = 0, j = n - 1;
  auto down = [&] { b[i + 1] = fused(-(dl[i] * r[i]), b[i], b[i + 1]); };
  auto up = [&] { b[j - 1] = fused(-(du[j - 1] * r[j]), b[j], b[j - 1]); };
  for (; i < p && j > p + 1; ++i, --j) down(), up();
  for (; i < p; ++i) down();
  for (; j > p; --j) up();
}

template <class T>
void substitute(int n, T const* dl, T const* r, T const* du, T* b) {
  int const p = middle_row(n);
  b[p] *= r[p];
  T above = b[p], below = b[p];
  int i = p - 1, j = p + 1;
  auto up = [&] { b[i] = above = fused(-(du[i] * r[i]), above, b[i] * r[i]); };
  auto down = [&] { b[j] = below = fused(-(dl[j - 1] * r[j]), below, b[j] * r[j]); };
  for (; i >= 0 && j < n; --i, ++j) up(), down();
  for (; i >= 0; --i) up();
  for (; j < n; ++j) down();
}

template <class T>
void solve_all(bool transposed, int n, int columns, T const* dl, T const* d, T const* du, T* b, int ldb) {
  if (n == 0) return;
  for (int c = 0; c < columns; ++c, b += ldb) {
    eliminate(n, transposed ? du : dl, d, transposed ? dl : du, b);
    substitute(n, transposed ? du : dl, d, transposed ? dl : du, b);
  }
}

template <class T>
void ttrf(int const* n, T* dl, T* d, T const* du, int* info) {
  *info = *n < 0 ? -1 : factor<false>(*n, dl, d, du, dl);
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
  *info = *n < 0 ? -1 : *nrhs < 0 ? -2 : *ldb < *n ? -7 : 0;
  if (*info != 0) return;
  if (*nrhs == 1) {
    *info = factor<true>(*n, dl, d, du, b);
    if (*info == 0 && *n > 0) substitute(*n, dl, d, du, b);
  } else {
    *info = factor<false>(*n, dl, d, du, b);
    if (*info == 0) solve_all(false, *n, *nrhs, dl, d, du, b, *ldb);
  }
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
