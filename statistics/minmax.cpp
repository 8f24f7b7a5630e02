// Minimum and maximum: _rnqdSSMinmax and its twin.
//
// The comparison takes the observation only where it is below or above, so that a NaN changes nothing; this
// is what the vector minimum does with its operands in this order.
#include "frame/export.h"
#include "statistics/task.h"

#include <algorithm>
#include <immintrin.h>

namespace orv::statistics {
namespace {

template <class T>
struct Lanes;
template <>
struct Lanes<double> {
  using V = __m256d;
  static constexpr ptrdiff_t count = 4;
  static V load(double const* p) { return _mm256_loadu_pd(p); }
  static void store(double* p, V x) { _mm256_storeu_pd(p, x); }
  static V min(V x, V running) { return _mm256_min_pd(x, running); }
  static V max(V x, V running) { return _mm256_max_pd(x, running); }
};
template <>
struct Lanes<float> {
  using V = __m256;
  static constexpr ptrdiff_t count = 8;
  static V load(float const* p) { return _mm256_loadu_ps(p); }
  static void store(float* p, V x) { _mm256_storeu_ps(p, x); }
  static V min(V x, V running) { return _mm256_min_ps(x, running); }
  static V max(V x, V running) { return _mm256_max_ps(x, running); }
};

template <bool maximum, class T>
T better(T x, T running) {
  return maximum ? (x > running ? x : running) : (x < running ? x : running);
}
template <bool maximum, class T>
auto better_lanes(typename Lanes<T>::V x, typename Lanes<T>::V running) {
  return maximum ? Lanes<T>::max(x, running) : Lanes<T>::min(x, running);
}

// Of a contiguous column.
template <bool maximum, class T>
T extreme(T const* x, ptrdiff_t n, T running) {
  using L = Lanes<T>;
  constexpr int streams = 4;
  T lanes[L::count];
  std::fill_n(lanes, L::count, running);
  typename L::V best[streams];
  for (auto& b : best) b = L::load(lanes);
  ptrdiff_t i = 0;
  for (; i + streams * L::count <= n; i += streams * L::count)
    for (int s = 0; s < streams; ++s)
      best[s] = better_lanes<maximum, T>(L::load(x + i + s * L::count), best[s]);
  for (auto& b : best) {
    L::store(lanes, b);
    for (T lane : lanes) running = better<maximum>(lane, running);
  }
  for (; i < n; ++i) running = better<maximum>(x[i], running);
  return running;
}

// Of rows that follow each other: a line of running values as long as a whole number of rows goes over them.
template <bool maximum, class T>
void extremes(T const* data, ptrdiff_t p, ptrdiff_t n, ptrdiff_t rows_at_once, T* line, T* result) {
  using L = Lanes<T>;
  ptrdiff_t const length = p * rows_at_once;
  for (ptrdiff_t r = 0; r < rows_at_once; ++r) std::copy_n(result, p, line + r * p);
  ptrdiff_t i = 0;
  for (; i + rows_at_once <= n; i += rows_at_once) {
    T const* x = data + i * p;
    ptrdiff_t k = 0;
    for (; k + L::count <= length; k += L::count)
      L::store(line + k, better_lanes<maximum, T>(L::load(x + k), L::load(line + k)));
    for (; k < length; ++k) line[k] = better<maximum>(x[k], line[k]);
  }
  for (ptrdiff_t k = 0; k < length; ++k) result[k % p] = better<maximum>(line[k], result[k % p]);
  for (; i < n; ++i)
    for (ptrdiff_t j = 0; j < p; ++j) result[j] = better<maximum>(data[i * p + j], result[j]);
}

template <bool maximum, class T>
int32_t update(SSTask const& task, Selection const& selected, ptrdiff_t p, ptrdiff_t n, bool rows_layout,
               T* result) {
  T const* data = static_cast<T const*>(task.data);
  if (rows_layout) {
    for (ptrdiff_t j = 0; j < p; ++j)
      if (selected(j)) result[j] = extreme<maximum>(data + j * n, n, result[j]);
    return 0;
  }
  ptrdiff_t const rows_at_once = p < 64 ? Lanes<T>::count * (p < 8 ? 4 : 1) : 1;
  Scratch<T> line(p, rows_at_once + 1);
  if (!line) return SSOutOfMemory;
  T* copy = line.get() + p * rows_at_once;
  std::copy_n(result, p, copy);
  extremes<maximum>(data, p, n, rows_at_once, line.get(), copy);
  for (ptrdiff_t j = 0; j < p; ++j)
    if (selected(j)) result[j] = copy[j];
  return 0;
}

template <class T>
int32_t minmax(SSTask* task, uint64_t estimates, uint64_t method) {
  if (!task) return SSNullTask;
  if (!task->dataStorage) return SSNullStorage;
  int32_t const layout = integer(*task, task->dataStorage);
  if (!(layout & (SSStorageRows | SSStorageCols))) return SSBadStorage;
  if (estimates & SSMinimum && !task->minimum) return SSNullMinimum;
  if (estimates & SSMaximum && !task->maximum) return SSNullMaximum;
  if (!(method & (SSMethodFast | SSMethodOnePass))) return SSMethodNotSupported;
  if (!task->observations) return SSBadObservations;
  if (!task->data) return SSNullData;
  ptrdiff_t const p = integer(*task, task->dimension), n = integer(*task, task->observations);
  Selection const selected(*task);
  bool const rows_layout = p == 1 || layout & SSStorageRows;
  int32_t status = 0;
  if (estimates & SSMinimum)
    status = update<false>(*task, selected, p, n, rows_layout, static_cast<T*>(task->minimum));
  if (status == 0 && estimates & SSMaximum)
    status = update<true>(*task, selected, p, n, rows_layout, static_cast<T*>(task->maximum));
  return status;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSMinmax(SSTask* task, uint64_t estimates, uint64_t method, const SSThreadServices*) {
  return orv::statistics::minmax<double>(task, estimates, method);
}
ORV_EXPORT int32_t _rnqsSSMinmax(SSTask* task, uint64_t estimates, uint64_t method, const SSThreadServices*) {
  return orv::statistics::minmax<float>(task, estimates, method);
}
