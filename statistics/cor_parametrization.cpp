// Repair of a correlation matrix that isn't positive definite: _rnqdSSCorParametrization and its twin. Eigenvalues below
// a floor are raised to it, and rows are scaled so that the diagonal is 1 again (Rebonato and Jaeckel 1999).
#include "frame/export.h"
#include "frame/linalg.h"
#include "statistics/column.h"
#include "statistics/elementwise.h"
#include "statistics/symmetric.h"

namespace orv::statistics {
namespace {

template <class T>
constexpr T floor_of_eigenvalues = sizeof(T) == 8 ? T(1e-14) : T(1e-06);

template <class T>
int32_t repair(SSTask const& task) {
  ptrdiff_t const p = integer(task, task.dimension);
  size_t const order = static_cast<size_t>(p);
  T const* const source = static_cast<T const*>(task.cor);
  T* const to = static_cast<T*>(task.paramCor);
  Packing const from = packing(integer(task, task.corStorage)),
                packed = packing(integer(task, task.paramCorStorage));
  Scratch<T> full(order, order), vectors(order, order), values(51, order);
  if (!full || !vectors || !values) return SSOutOfMemory;
  for (ptrdiff_t j = 0; j < p; ++j)
    for (ptrdiff_t i = 0; i < p; ++i) full[i + j * p] = symmetric_element(source, from, p, i, j);
  std::copy_n(full.get(), p * p, vectors.get());
  int const n = static_cast<int>(p), size = static_cast<int>(50 * p);
  int info = 0;
  core::Linalg<T>::syev("V", "U", &n, vectors.get(), &n, values.get(), values.get() + p, &size, &info);
  if (info != 0) return SSCorrelationEigenFailed;
  ptrdiff_t raised = 0;
  for (ptrdiff_t j = 0; j < p; ++j) {
    if (values[j] >= floor_of_eigenvalues<T>) continue;
    values[j] = floor_of_eigenvalues<T>;
    ++raised;
  }
  if (raised == p) return SSEigenvaluesAtFloor;
  if (raised > 0) {
    T* const scales = values.get() + p; // the solver's room, which is free
    std::fill_n(scales, p, T(0));
    for (ptrdiff_t j = 0; j < p; ++j)
      for (ptrdiff_t i = 0; i < p; ++i) scales[i] += vectors[i + j * p] * vectors[i + j * p] * values[j];
    for (ptrdiff_t i = 0; i < p; ++i) scales[i] = 1 / root(scales[i]);
    for (ptrdiff_t j = 0; j < p; ++j) {
      T const length = root(values[j]);
      for (ptrdiff_t i = 0; i < p; ++i) vectors[i + j * p] *= length * scales[i];
    }
    T const one = 1, zero = 0;
    core::Linalg<T>::syrk("U", "N", &n, &n, &one, vectors.get(), &n, &zero, full.get(), &n);
  }
  write_symmetric(to, packed, p, [&](ptrdiff_t i, ptrdiff_t j) { return full[i + j * p]; });
  return 0;
}

template <class T>
int32_t cor_parametrization(SSTask* task, uint64_t method) {
  if (!task) return SSNullTask;
  if (!task->dimension || integer(*task, task->dimension) < 1) return SSBadDimension;
  if (!task->cor) return SSNullCor;
  if (int32_t const status = check_packing(*task, task->corStorage)) return status;
  if (!task->paramCor) return SSNullParamCor;
  if (!task->paramCorStorage) return SSNullStorage;
  bool const packed = integer(*task, task->corStorage) != SSMatrixFull;
  if (integer(*task, task->paramCorStorage) == SSMatrixFull && task->paramCor == task->cor && packed)
    return SSBadStorage;
  if (int32_t const status = check_packing(*task, task->paramCorStorage)) return status;
  if (!(method & SSMethodCorParametrize)) return SSMethodNotSupported;
  return repair<T>(*task);
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSCorParametrization(SSTask* task, uint64_t, uint64_t method,
                                             const SSThreadServices*) {
  return orv::statistics::cor_parametrization<double>(task, method);
}
ORV_EXPORT int32_t _rnqsSSCorParametrization(SSTask* task, uint64_t, uint64_t method,
                                             const SSThreadServices*) {
  return orv::statistics::cor_parametrization<float>(task, method);
}
