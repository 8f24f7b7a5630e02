// Variables of a data set in either layout.
#pragma once
#include "statistics/order.h"
#include "statistics/task.h"

namespace orv::statistics {

// A variable: elements a stride apart.
template <class T>
struct Column {
  T* first;
  ptrdiff_t stride;
  T& operator[](ptrdiff_t i) const { return first[i * stride]; }

  void copy_to(std::remove_const_t<T>* to, ptrdiff_t n) const {
    if (stride == 1)
      std::copy_n(first, n, to);
    else
      for (ptrdiff_t i = 0; i < n; ++i) to[i] = first[i * stride];
  }
  void keys_to(Key<T>* to, ptrdiff_t n) const {
    for (ptrdiff_t i = 0; i < n; ++i) to[i] = key_of<std::remove_const_t<T>>(first[i * stride]);
  }
};

// The matrix of n observations of p variables. A single variable is contiguous in both layouts.
template <class T>
struct DataSet {
  T* data;
  ptrdiff_t p, n;
  bool rows_layout;
  DataSet(T* data, ptrdiff_t p, ptrdiff_t n, int32_t storage)
      : data(data), p(p), n(n), rows_layout(p == 1 || storage & SSStorageRows) {}
  Column<T> column(ptrdiff_t j) const {
    return rows_layout ? Column<T>{data + j * n, 1} : Column<T>{data + j, p};
  }
  T& operator()(ptrdiff_t i, ptrdiff_t j) const { return rows_layout ? data[j * n + i] : data[i * p + j]; }
};

template <class T>
DataSet<T const> data_of(SSTask const& task) {
  return {static_cast<T const*>(task.data), integer(task, task.dimension), integer(task, task.observations),
          integer(task, task.dataStorage)};
}

// A storage address and its value.
inline int32_t check_layout(SSTask const& task, void const* storage) {
  if (!storage) return SSNullStorage;
  return integer(task, storage) & (SSStorageRows | SSStorageCols) ? 0 : SSBadStorage;
}
inline int32_t check_exact_layout(SSTask const& task, void const* storage) {
  if (!storage) return SSNullStorage;
  int32_t const value = integer(task, storage);
  return value == SSStorageRows || value == SSStorageCols ? 0 : SSBadStorage;
}
inline int32_t check_packing(SSTask const& task, void const* storage) {
  if (!storage) return SSNullStorage;
  int32_t const value = integer(task, storage);
  return value >= SSMatrixFull && value <= SSMatrixUpperPacked ? 0 : SSBadStorage;
}
// What each entry needs in the end, whatever it told before.
inline int32_t check_data(SSTask const& task) {
  if (!task.dimension || integer(task, task.dimension) < 1) return SSBadDimension;
  if (!task.observations || integer(task, task.observations) < 1) return SSBadObservations;
  if (!task.data) return SSNullData;
  return task.dataStorage ? 0 : SSNullStorage;
}

} // namespace orv::statistics
