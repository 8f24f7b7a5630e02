// What the parts of data fitting share about a task: typed views of its fields and the cell index.
#pragma once
#include "orv/fitting.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace orv::fitting {

template <class T>
struct Types;
template <>
struct Types<double> {
  using SearchBlock = dDFSearchBlock;
  using SearchCallback = dDFSearchCallback;
  using InterpolateCallback = dDFInterpolateCallback;
  using IntegrateCallback = dDFIntegrateCallback;
};
template <>
struct Types<float> {
  using SearchBlock = sDFSearchBlock;
  using SearchCallback = sDFSearchCallback;
  using InterpolateCallback = sDFInterpolateCallback;
  using IntegrateCallback = sDFIntegrateCallback;
};

template <class T>
T const* breaks(DFTask const& task) {
  return static_cast<T const*>(task.breaks);
}
inline int32_t break_count(DFTask const& task) { return static_cast<int32_t>(task.breakCount); }
inline int32_t function_count(DFTask const& task) { return static_cast<int32_t>(task.functionCount); }
inline bool is_uniform(DFTask const& task) { return (task.breakHint & DFUniform) != 0; }
inline bool is_interleaved(DFTask const& task) { return task.valueHint == DFInterleaved; }

template <class T>
T first_break(DFTask const& task) {
  return breaks<T>(task)[0];
}
template <class T>
T last_break(DFTask const& task) {
  return breaks<T>(task)[is_uniform(task) ? 1 : break_count(task) - 1];
}

template <class T>
T& index_scale(DFTask& task) {
  if constexpr (std::is_same_v<T, double>)
    return task.indexScale.d;
  else
    return task.indexScale.s;
}
template <class T>
T index_scale(DFTask const& task) {
  return index_scale<T>(const_cast<DFTask&>(task));
}

// Sampled values of one function: element i at data[i * stride].
template <class T>
struct Values {
  T const* data;
  ptrdiff_t stride;
  T operator[](ptrdiff_t i) const { return data[i * stride]; }
};
template <class T>
Values<T> values_of(DFTask const& task, int32_t function) {
  auto const* rows = reinterpret_cast<T const* const*>(task.valueRows);
  if (is_interleaved(task)) return {rows[0] + function, static_cast<ptrdiff_t>(task.functionCount)};
  return {rows[function], 1};
}
template <class T>
T* coefficients_of(DFTask const& task, int32_t function) {
  return static_cast<T*>(task.coeffRows[function]);
}

// The bucket of a value: rounding is monotone, so a site never lies in a bucket before that of a break that
// is not right of it. Limited before the conversion, which makes NaN and far values safe.
template <class T>
int32_t bucket_of(T value, T first, T scale, int32_t slots) {
  T const q = (value - first) * scale;
  T const top = static_cast<T>(slots);
  T const low = q > 0 ? q : T(0);
  return static_cast<int32_t>(low < top ? low : top);
}

} // namespace orv::fitting
