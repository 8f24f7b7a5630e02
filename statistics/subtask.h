// Moments of data by a task on the stack, for the entries that are made of them.
#pragma once
#include "statistics/column.h"

namespace orv::statistics {

inline int32_t basic(SSTask& task, double const*, uint64_t estimates, uint64_t method,
                     SSThreadServices const* services) {
  return _rnqdSSBasic(&task, estimates, method, services);
}
inline int32_t basic(SSTask& task, float const*, uint64_t estimates, uint64_t method,
                     SSThreadServices const* services) {
  return _rnqsSSBasic(&task, estimates, method, services);
}

// The mean of n values, with the weights of the task, on the calling thread.
template <class T>
int32_t mean_of_variable(SSTask const& task, T const* values, ptrdiff_t n, T* mean) {
  int32_t const one = 1, count = static_cast<int32_t>(n), layout = SSStorageRows;
  SSTask sub{};
  sub.dimension = &one;
  sub.observations = &count;
  sub.dataStorage = &layout;
  sub.data = const_cast<T*>(values);
  sub.weights = task.weights;
  sub.mean = mean;
  return basic(sub, values, SSMean, SSMethodFast, nullptr);
}

// Mean and full cross-product matrix of a data set, with weights or without (null); `sums` receives the sum of weights
// and of their squares.
template <class T>
int32_t scatter(DataSet<T const> const& data, T const* weights, T* mean, T* matrix, T* sums,
                SSThreadServices const* services) {
  int32_t const p = static_cast<int32_t>(data.p), n = static_cast<int32_t>(data.n),
                layout = data.rows_layout ? SSStorageRows : SSStorageCols, full = SSMatrixFull;
  SSTask sub{};
  sub.dimension = &p;
  sub.observations = &n;
  sub.dataStorage = &layout;
  sub.data = const_cast<T*>(data.data);
  sub.weights = const_cast<T*>(weights);
  sub.mean = mean;
  sub.accumWeights = sums;
  sub.crossProduct = matrix;
  sub.crossProductStorage = &full;
  sums[0] = sums[1] = 0;
  return basic(sub, mean, SSMean | (matrix ? SSCrossProduct : 0), SSMethodOnePass, services);
}

} // namespace orv::statistics
