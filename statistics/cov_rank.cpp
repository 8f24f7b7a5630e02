// Rank test and inversion of covariance matrices.
#include "statistics/cov_rank.h"

#include "frame/export.h"
#include "frame/linalg.h"
#include "statistics/task.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace orv::statistics {
namespace {

using core::Linalg;

template <class T>
constexpr T tiny = sizeof(T) == 8 ? static_cast<T>(std::bit_cast<double>(uint64_t{1000}))
                                  : static_cast<T>(std::bit_cast<float>(uint32_t{1000}));
template <class T>
constexpr T smallest_eigenvalue = sizeof(T) == 8 ? T(1e-15) : T(1e-06);

template <class T>
int32_t test_single(T* matrix) {
  if (*matrix > 0) return 0;
  if (!(*matrix >= -tiny<T>)) return SSBadMatrix;
  *matrix = tiny<T>;
  return 0;
}

// a b - c d, with the error of one product made good.
double cross(double a, double b, double c, double d) {
  double const cd = c * d, lost = __builtin_fma(c, d, -cd);
  return __builtin_fma(a, b, -cd) - lost;
}

template <class T>
void invert_2(T* m) {
  double const a = m[0], b = m[1], c = m[3], f = 1 / cross(a, c, b, b);
  m[0] = static_cast<T>(c * f);
  m[1] = static_cast<T>(-b * f);
  m[3] = static_cast<T>(a * f);
}
template <class T>
void invert_3(T* m) {
  double const a = m[0], b = m[1], c = m[2], d = m[4], e = m[5], f = m[8];
  double const aa = cross(d, f, e, e), ab = cross(c, e, b, f), ac = cross(b, e, c, d);
  double const g = 1 / __builtin_fma(a, aa, __builtin_fma(b, ab, c * ac));
  m[0] = static_cast<T>(aa * g);
  m[1] = static_cast<T>(ab * g);
  m[2] = static_cast<T>(ac * g);
  m[4] = static_cast<T>(cross(a, f, c, c) * g);
  m[5] = static_cast<T>(cross(b, c, a, e) * g);
  m[8] = static_cast<T>(cross(a, d, b, b) * g);
}

} // namespace

template <class T>
int32_t test_rank(ptrdiff_t p, T* matrix) {
  if (p < 1) return SSBadDimension;
  if (p == 1) return test_single(matrix);
  Scratch<T> memory(5, static_cast<size_t>(p));
  if (!memory) return SSOutOfMemory;
  T *diagonal = memory.get(), *values = diagonal + p, *work = values + p;
  for (ptrdiff_t i = 0; i < p; ++i) diagonal[i] = matrix[i * (p + 1)];
  int const n = static_cast<int>(p), size = static_cast<int>(3 * p);
  int info = 0;
  Linalg<T>::syev("N", "U", &n, matrix, &n, values, work, &size, &info);
  for (ptrdiff_t i = 0; i < p; ++i) matrix[i * (p + 1)] = diagonal[i];
  if (info != 0) return SSRankEigenFailed;
  if (values[0] > smallest_eigenvalue<T>) return 0;
  // The first that is more than the rounding of a zero.
  T const noise = std::max(tiny<T>, values[p - 1] * std::numeric_limits<T>::epsilon() * static_cast<T>(p));
  T const* const positive = std::find_if(values + 1, values + p, [=](T v) { return v >= noise; });
  if (positive == values + p) return SSBadMatrix;
  for (ptrdiff_t i = 0; i < p; ++i) matrix[i * (p + 1)] += T(0.01) * *positive;
  return 0;
}

template <class T>
int32_t inverse_covariance(ptrdiff_t p, T* matrix) {
  if (p < 1) return SSBadDimension;
  if (p == 1) {
    matrix[0] = 1 / matrix[0];
  } else if (p == 2) {
    invert_2(matrix);
  } else if (p == 3) {
    invert_3(matrix);
  } else {
    int const n = static_cast<int>(p);
    int info = 0;
    Linalg<T>::potrf("L", &n, matrix, &n, &info);
    if (info != 0) return SSInverseFactorFailed;
    Linalg<T>::potri("L", &n, matrix, &n, &info);
    if (info != 0) return SSInverseFailed;
  }
  return 0;
}

template int32_t test_rank(ptrdiff_t, double*);
template int32_t test_rank(ptrdiff_t, float*);
template int32_t inverse_covariance(ptrdiff_t, double*);
template int32_t inverse_covariance(ptrdiff_t, float*);

} // namespace orv::statistics

ORV_EXPORT int32_t __rnqdTestCovRank(intptr_t p, double* matrix) {
  return orv::statistics::test_rank<double>(p, matrix);
}
ORV_EXPORT int32_t __rnqsTestCovRank(intptr_t p, float* matrix) {
  return orv::statistics::test_rank<float>(p, matrix);
}
ORV_EXPORT int32_t __rnqdInvCov(intptr_t p, double* matrix) {
  return orv::statistics::inverse_covariance<double>(p, matrix);
}
ORV_EXPORT int32_t __rnqsInvCov(intptr_t p, float* matrix) {
  return orv::statistics::inverse_covariance<float>(p, matrix);
}
