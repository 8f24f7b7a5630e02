// Cholesky, triangular inverses and symmetric eigenproblems, in place in the caller's arrays: nothing is
// allocated. Eigenproblems: Householder reduction to tridiagonal form, then QL with implicit shifts
// (Martin, Reinsch and Wilkinson 1968; Dubrulle, Martin and Wilkinson 1968), over a matrix scaled by a
// power of two to elements of at most 1. What is left of it on the way may be far smaller: wherever lengths are
// formed, small elements are scaled before they are squared.
#include "core/export.h"
#include "core/flags.h"
#include "core/simd.h"
#include "orv/core_linalg.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

namespace orv::linalg {
namespace {

inline double root(double x) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_set_sd(x), _mm_set_sd(x))); }
inline float root(float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); }
template <class T>
T magnitude(T x) {
  return x < 0 ? -x : x;
}

int check(char u, int n, int lda) {
  return uplo(u) == Uplo::bad ? -1 : n < 0 ? -2 : lda < std::max(1, n) ? -4 : 0;
}

template <class T>
int potrf(char u, int n, T* a, int lda) {
  if (int const bad = check(u, n, lda)) return bad;
  auto const column = [=](ptrdiff_t j) { return a + j * lda; };
  if (uplo(u) == Uplo::upper) {
    for (ptrdiff_t j = 0; j < n; ++j) {
      T* c = column(j);
      for (ptrdiff_t i = 0; i < j; ++i) c[i] = (c[i] - dot<T>(i, column(i), c)) / column(i)[i];
      T const rest = c[j] - dot<T>(j, c, c);
      c[j] = rest;
      if (!(rest > 0)) return static_cast<int>(j) + 1;
      c[j] = root(rest);
    }
  } else {
    for (ptrdiff_t j = 0; j < n; ++j) {
      T* c = column(j);
      for (ptrdiff_t k = 0; k < j; ++k) axpy<T>(n - j, -column(k)[j], column(k) + j, c + j);
      if (!(c[j] > 0)) return static_cast<int>(j) + 1;
      c[j] = root(c[j]);
      for (ptrdiff_t i = j + 1; i < n; ++i) c[i] /= c[j];
    }
  }
  return 0;
}

template <class T>
int trtri(char u, char d, int n, T* a, int lda) {
  Diag const kind = diag(d);
  if (uplo(u) == Uplo::bad) return -1;
  if (kind == Diag::bad) return -2;
  if (n < 0) return -3;
  if (lda < std::max(1, n)) return -5;
  bool const unit = kind == Diag::unit, upper = uplo(u) == Uplo::upper;
  auto const column = [=](ptrdiff_t j) { return a + j * lda; };
  if (!unit)
    for (ptrdiff_t j = 0; j < n; ++j)
      if (column(j)[j] == 0) return static_cast<int>(j) + 1;
  // Column by column: minus the inverse that stands already, times the column, over its diagonal.
  for (ptrdiff_t step = 0; step < n; ++step) {
    ptrdiff_t const j = upper ? step : n - 1 - step;
    T* c = column(j);
    if (!unit) c[j] = 1 / c[j];
    T const f = unit ? T(-1) : -c[j];
    ptrdiff_t const from = upper ? 0 : j + 1, to = upper ? j : n;
    for (ptrdiff_t s = 0; s < to - from; ++s) {
      ptrdiff_t const k = upper ? from + s : to - 1 - s;
      T const x = c[k];
      if (upper)
        axpy<T>(k, x, column(k), c);
      else
        axpy<T>(n - k - 1, x, column(k) + k + 1, c + k + 1);
      if (!unit) c[k] = x * column(k)[k];
    }
    for (ptrdiff_t i = from; i < to; ++i) c[i] *= f;
  }
  return 0;
}

template <class T>
int potri(char u, int n, T* a, int lda) {
  if (int const bad = check(u, n, lda)) return bad;
  if (int const zero = trtri(u, 'N', n, a, lda)) return zero;
  auto const column = [=](ptrdiff_t j) { return a + j * lda; };
  for (ptrdiff_t j = 0; j < n; ++j) {
    T* c = column(j);
    if (uplo(u) == Uplo::upper) { // U U'
      T const d = c[j];
      for (ptrdiff_t i = 0; i <= j; ++i) c[i] *= d;
      for (ptrdiff_t k = j + 1; k < n; ++k) axpy<T>(j + 1, column(k)[j], column(k), c);
    } else { // L' L
      for (ptrdiff_t i = j; i < n; ++i) c[i] = dot<T>(n - i, column(i) + i, c + i);
    }
  }
  return 0;
}

// Where the triangle of a symmetric matrix stands. `at(i, j)` wants i >= j.
template <class T>
struct Symmetric {
  T* a;
  ptrdiff_t n, ld; // ld 0: packed by columns
  bool upper;
  T& at(ptrdiff_t i, ptrdiff_t j) const {
    if (ld) return upper ? a[j + i * ld] : a[i + j * ld];
    return upper ? a[j + i * (i + 1) / 2] : a[i + j * n - j * (j + 1) / 2];
  }
};

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
template <class T>
constexpr int fraction = std::numeric_limits<T>::digits - 1;
template <class T>
constexpr int bias = std::numeric_limits<T>::max_exponent - 1;

// 2^e in the normal range.
template <class T>
constexpr T power_of_two(int e) {
  return std::bit_cast<T>(static_cast<BitsOf<T>>(bias<T> + e) << fraction<T>);
}
// The e that brings x, which is finite, to [1/2, 1) when it is multiplied by 2^-e, as far as 2^-e and 2^e are
// normal numbers.
template <class T>
int size_of(T x) {
  int const exponent = static_cast<int>(std::bit_cast<BitsOf<T>>(x) >> fraction<T>) - bias<T>;
  return std::clamp(exponent + 1, 2 - bias<T>, bias<T> - 2);
}
// Below this, digits of a square are lost.
template <class T>
constexpr T small_to_square = power_of_two<T>((fraction<T> - bias<T>) / 2 + 1);

// Scales the triangle so that its largest element is below 1; returns what multiplies eigenvalues back, or 0 if
// not all elements are finite.
template <class T>
T normalize(Symmetric<T> const& s) {
  T largest = 0;
  for (ptrdiff_t j = 0; j < s.n; ++j)
    for (ptrdiff_t i = j; i < s.n; ++i) {
      T const x = magnitude(s.at(i, j));
      if (!(x <= std::numeric_limits<T>::max())) return 0;
      largest = std::max(largest, x);
    }
  int const e = size_of(largest);
  T const down = power_of_two<T>(-e);
  for (ptrdiff_t j = 0; j < s.n; ++j)
    for (ptrdiff_t i = j; i < s.n; ++i) s.at(i, j) *= down;
  return power_of_two<T>(e);
}

// The length of column k below its diagonal, 0 if its first element is all of it, or if all of it is nothing
// beside elements of 1.
template <class T>
T column_length(Symmetric<T> const& s, ptrdiff_t k) {
  T largest = 0, rest = 0;
  for (ptrdiff_t i = k + 2; i < s.n; ++i) largest = std::max(largest, magnitude(s.at(i, k)));
  if (largest == 0) return 0;
  T first = s.at(k + 1, k);
  largest = std::max(largest, magnitude(first));
  T up = 1, down = 1;
  if (largest < small_to_square<T>) {
    int const e = size_of(largest);
    up = power_of_two<T>(-e), down = power_of_two<T>(e);
  }
  for (ptrdiff_t i = k + 2; i < s.n; ++i) {
    T const x = s.at(i, k) * up;
    rest = fused(x, x, rest);
  }
  first *= up;
  T const length = root(fused(first, first, rest)) * down;
  return length < std::numeric_limits<T>::min() ? 0 : length; // a denormal one has lost its digits
}

// The rotation that turns (f, g) to (0, length).
template <class T>
struct Rotation {
  T sine, cosine, length;
  Rotation(T f, T g) {
    T const largest = std::max(magnitude(f), magnitude(g));
    if (largest >= small_to_square<T> || largest == 0) {
      length = root(fused(f, f, g * g));
      sine = f / length;
      cosine = g / length;
      return;
    }
    int const e = size_of(largest);
    T const up = power_of_two<T>(-e);
    f *= up, g *= up;
    T const scaled = root(fused(f, f, g * g));
    sine = f / scaled;
    cosine = g / scaled;
    length = scaled * power_of_two<T>(e);
  }
};

// Reflections I - tau v v' with v's first element 1 and the rest in the column below the subdiagonal.
template <class T>
void tridiagonalize(Symmetric<T> const& s, T* d, T* e, T* tau, T* w) {
  ptrdiff_t const n = s.n;
  for (ptrdiff_t k = 0; k + 1 < n; ++k) {
    T const norm = column_length(s, k), first = s.at(k + 1, k);
    d[k] = s.at(k, k);
    if (norm == 0) {
      e[k] = first;
      tau[k] = 0;
      continue;
    }
    T const beta = first > 0 ? -norm : norm;
    tau[k] = (beta - first) / beta;
    for (ptrdiff_t i = k + 2; i < n; ++i) s.at(i, k) /= first - beta;
    e[k] = beta;
    s.at(k + 1, k) = 1;
    // w := tau A v - (tau/2)(tau A v . v) v, then A -= v w' + w v'.
    for (ptrdiff_t i = k + 1; i < n; ++i) w[i] = 0;
    for (ptrdiff_t j = k + 1; j < n; ++j) {
      T const v = s.at(j, k);
      T sum = s.at(j, j) * v;
      for (ptrdiff_t i = j + 1; i < n; ++i) {
        T const x = s.at(i, j);
        w[i] = fused(x, v, w[i]);
        sum = fused(x, s.at(i, k), sum);
      }
      w[j] += sum;
    }
    T inner = 0;
    for (ptrdiff_t i = k + 1; i < n; ++i) {
      w[i] *= tau[k];
      inner = fused(w[i], s.at(i, k), inner);
    }
    T const half = tau[k] / 2 * inner;
    for (ptrdiff_t i = k + 1; i < n; ++i) w[i] = fused(-half, s.at(i, k), w[i]);
    for (ptrdiff_t j = k + 1; j < n; ++j) {
      T const v = s.at(j, k), x = w[j];
      for (ptrdiff_t i = j; i < n; ++i) s.at(i, j) -= fused(s.at(i, k), x, w[i] * v);
    }
  }
  if (n > 0) d[n - 1] = s.at(n - 1, n - 1);
}

// The product of the reflections, over the lower triangle that holds them.
template <class T>
void form_vectors(ptrdiff_t n, T* a, ptrdiff_t ld, T const* tau) {
  auto const column = [=](ptrdiff_t j) { return a + j * ld; };
  for (ptrdiff_t k = n - 1; k >= 0; --k) {
    // Row and column k become unit; they hold the reflection k - 1 to the right of the first element.
    for (ptrdiff_t i = k + 1; i < n; ++i) column(k)[i] = column(i)[k] = 0;
    column(k)[k] = 1;
    if (k == 0) return;
    T* const v = column(k - 1);
    T const first = v[k];
    v[k] = 1;
    for (ptrdiff_t j = k; j < n; ++j) {
      T const f = -tau[k - 1] * dot<T>(n - k, v + k, column(j) + k);
      axpy<T>(n - k, f, v + k, column(j) + k);
    }
    v[k] = first;
  }
}

// Turns rows and columns l to m of the tridiagonal matrix round, and the columns of z.
template <class T>
void reverse(ptrdiff_t l, ptrdiff_t m, T* d, T* e, ptrdiff_t n, T* z, ptrdiff_t ldz) {
  std::reverse(d + l, d + m + 1);
  std::reverse(e + l, e + m);
  if (!z) return;
  for (; l < m; ++l, --m) std::swap_ranges(z + l * ldz, z + l * ldz + n, z + m * ldz);
}

// Eigenvalues of the tridiagonal matrix to d, rising; rotates the columns of z along if there is one.
// Returns how many were not found.
template <class T>
int ql(ptrdiff_t n, T* d, T* e, T* z, ptrdiff_t ldz) {
  constexpr T unit = std::numeric_limits<T>::epsilon() / 2, least = std::numeric_limits<T>::min();
  constexpr int patience = 10;        // a value takes two or three steps
  ptrdiff_t steps = 30 * n, end = -1; // of the block that is being worked on
  T negligible = least;
  for (ptrdiff_t l = 0; l < n; ++l) {
    if (l > end) negligible = least;
    for (int tries = 1;; ++tries) {
      ptrdiff_t m = l;
      while (m + 1 < n &&
             !(magnitude(e[m]) <= fused(unit, magnitude(d[m]) + magnitude(d[m + 1]), negligible)))
        ++m;
      if (m == l) break;
      if (l > end) { // a new block: it converges if it grows towards its end
        end = m;
        if (magnitude(d[m]) < magnitude(d[l])) reverse(l, m, d, e, n, z, ldz);
      }
      if (tries == patience) {
        // The shift doesn't get through elements that are tiny beside the block: they go.
        for (ptrdiff_t i = l; i <= m; ++i)
          negligible = std::max(negligible, unit * std::max(magnitude(d[i]), i < m ? magnitude(e[i]) : T(0)));
        continue;
      }
      if (steps-- == 0) return static_cast<int>(n - l);
      // Wilkinson's shift, then a rotation at a time from the far end.
      T const q = (d[l + 1] - d[l]) / (2 * e[l]), hypotenuse = root(fused(q, q, T(1)));
      T g = d[m] - d[l] + e[l] / (q >= 0 ? q + hypotenuse : q - hypotenuse);
      T sine = 1, cosine = 1, shift = 0;
      ptrdiff_t i = m - 1;
      for (; i >= l; --i) {
        T const b = cosine * e[i];
        Rotation<T> const turn(sine * e[i], g);
        e[i + 1] = turn.length;
        if (turn.length == 0) break;
        sine = turn.sine;
        cosine = turn.cosine;
        T const inner = d[i + 1] - shift, mixed = fused(d[i] - inner, sine, 2 * cosine * b);
        shift = sine * mixed;
        d[i + 1] = inner + shift;
        g = fused(cosine, mixed, -b);
        if (z) {
          T *x = z + i * ldz, *y = x + ldz;
          for (ptrdiff_t k = 0; k < n; ++k) {
            T const u = x[k], v = y[k];
            y[k] = fused(sine, u, cosine * v);
            x[k] = fused(cosine, u, -(sine * v));
          }
        }
      }
      if (i >= l) { // the matrix fell apart on the way
        d[i + 1] -= shift;
        e[m] = 0;
        continue;
      }
      d[l] -= shift;
      e[l] = g;
      e[m] = 0;
    }
  }
  for (ptrdiff_t i = 0; i + 1 < n; ++i) {
    ptrdiff_t const least = std::min_element(d + i, d + n) - d;
    if (least == i) continue;
    std::swap(d[i], d[least]);
    if (z) std::swap_ranges(z + i * ldz, z + i * ldz + n, z + least * ldz);
  }
  return 0;
}

// All n eigenvalues are missing: they are NaN.
template <class T>
int nothing_found(ptrdiff_t n, T* w) {
  std::fill_n(w, n, std::numeric_limits<T>::quiet_NaN());
  return static_cast<int>(n);
}

// `work` holds 3n - 1 elements.
template <class T>
int eigen(Symmetric<T> const& s, bool vectors, T* w, T* work) {
  ptrdiff_t const n = s.n;
  T *e = work, *scratch = work + n, *tau = work + 2 * n;
  T const back = normalize(s);
  if (back == 0) return nothing_found(n, w);
  tridiagonalize(s, w, e, tau, scratch);
  if (vectors) form_vectors(n, s.a, s.ld, tau);
  e[n - 1] = 0;
  int const missing = ql(n, w, e, vectors ? s.a : nullptr, s.ld);
  for (ptrdiff_t i = 0; i < n; ++i) w[i] *= back;
  return missing;
}

template <class T>
int syev(char job, char u, int n, T* a, int lda, T* w, T* work, int lwork) {
  char const jobz = capital(job);
  if (jobz != 'N' && jobz != 'V') return -1;
  if (uplo(u) == Uplo::bad) return -2;
  if (n < 0) return -3;
  if (lda < std::max(1, n)) return -5;
  int const least = std::max(1, 3 * n - 1);
  if (lwork < least && lwork != -1) return -8;
  if (lwork == -1 || n == 0) {
    work[0] = static_cast<T>(least);
    return 0;
  }
  bool const upper = uplo(u) == Uplo::upper, vectors = jobz == 'V';
  if (vectors && upper)
    for (ptrdiff_t j = 0; j < n; ++j)
      for (ptrdiff_t i = j + 1; i < n; ++i) a[i + j * lda] = a[j + i * lda];
  int const missing = eigen(Symmetric<T>{a, n, lda, upper && !vectors}, vectors, w, work);
  work[0] = static_cast<T>(least);
  return missing;
}

template <class T>
int spevd(char job, char u, int n, T* ap, T* w, T* z, int ldz, T* work, int lwork, int* iwork, int liwork) {
  char const jobz = capital(job);
  bool const vectors = jobz == 'V', upper = uplo(u) == Uplo::upper;
  if (jobz != 'N' && !vectors) return -1;
  if (uplo(u) == Uplo::bad) return -2;
  if (n < 0) return -3;
  if (ldz < 1 || (vectors && ldz < n)) return -7;
  bool const query = lwork == -1 || liwork == -1;
  int const least = n <= 1    ? 1
                    : vectors ? 1 + 6 * n + n * n
                              : 2 * n,
            least_integers = n > 1 && vectors ? 3 + 5 * n : 1;
  if (!query && lwork < least) return -9;
  if (!query && liwork < least_integers) return -11;
  int missing = 0;
  if (!query && n == 1) {
    w[0] = ap[0];
    if (vectors) z[0] = 1;
  } else if (!query && n > 1) {
    Symmetric<T> const packed{ap, n, 0, upper};
    if (vectors) {
      for (ptrdiff_t j = 0; j < n; ++j)
        for (ptrdiff_t i = j; i < n; ++i) z[i + j * ldz] = packed.at(i, j);
      missing = eigen(Symmetric<T>{z, n, ldz, false}, true, w, work);
    } else {
      // 2n elements are all there is: the reflections' factors aren't wanted, so they share the scratch.
      T const back = normalize(packed);
      if (back == 0) return nothing_found(n, w);
      tridiagonalize(packed, w, work, work + n, work + n);
      work[n - 1] = 0;
      missing = ql<T>(n, w, work, nullptr, 0);
      for (ptrdiff_t i = 0; i < n; ++i) w[i] *= back;
    }
  }
  work[0] = static_cast<T>(least);
  iwork[0] = least_integers;
  return missing;
}

} // namespace
} // namespace orv::linalg

using namespace orv::linalg;

#define TWIN(t, T)                                                                                           \
  ORV_CORE_EXPORT ORV_POTR(orv_lapack_##t##potrf, T) { *info = potrf(*uplo, *n, a, *lda); }                  \
  ORV_CORE_EXPORT ORV_POTR(orv_lapack_##t##potri, T) { *info = potri(*uplo, *n, a, *lda); }                  \
  ORV_CORE_EXPORT ORV_TRTRI(orv_lapack_##t##trtri, T) { *info = trtri(*uplo, *diag, *n, a, *lda); }          \
  ORV_CORE_EXPORT ORV_SYEV(orv_lapack_##t##syev, T) {                                                        \
    *info = syev(*jobz, *uplo, *n, a, *lda, w, work, *lwork);                                                \
  }                                                                                                          \
  ORV_CORE_EXPORT ORV_SPEVD(orv_lapack_##t##spevd, T) {                                                      \
    *info = spevd(*jobz, *uplo, *n, ap, w, z, *ldz, work, *lwork, iwork, *liwork);                           \
  }
TWIN(d, double)
TWIN(s, float)
