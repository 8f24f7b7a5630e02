// Mahalanobis distances of a range of observations: _rnqdSSMahDistance and its twin.
#include "statistics/mahalanobis.h"

#include "frame/export.h"

namespace orv::statistics {
namespace {

template <class T>
int32_t distances(SSTask* task) {
  if (!task) return SSNullTask;
  DataSet<T const> const data = data_of<T>(*task);
  Distances<T> const d{data, static_cast<T const*>(task->mahMean), static_cast<T const*>(task->mahInvCov)};
  ptrdiff_t const first = integer(*task, task->mahFirstRow), last = integer(*task, task->mahLastRow);
  T* const out = static_cast<T*>(task->mahDistances);
  size_t const size = Distances<T>::panel_size(data.p);
  constexpr size_t on_stack = 1024;
  if (size <= on_stack) {
    T panel[on_stack];
    d.of_rows(first, last, out, panel);
    return 0;
  }
  bool const given = task->mahBlock && task->mahBlockSize && integer(*task, task->mahBlockSize) > 0 &&
                     static_cast<size_t>(integer(*task, task->mahBlockSize)) >= size;
  Scratch<T> panel;
  if (!given && !panel.make(size)) return SSOutOfMemory;
  d.of_rows(first, last, out, given ? static_cast<T*>(task->mahBlock) : panel.get());
  return 0;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSMahDistance(SSTask* task, uint64_t, uint64_t, const SSThreadServices*) {
  return orv::statistics::distances<double>(task);
}
ORV_EXPORT int32_t _rnqsSSMahDistance(SSTask* task, uint64_t, uint64_t, const SSThreadServices*) {
  return orv::statistics::distances<float>(task);
}
