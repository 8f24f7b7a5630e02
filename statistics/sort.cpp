// Sorted variables: _rnqdSSSort and its twin. Contiguous results are sorted where they stand.
#include "frame/export.h"
#include "statistics/column.h"
#include "statistics/parallel.h"

namespace orv::statistics {
namespace {

template <class T>
int32_t sort(SSTask* task, uint64_t method, SSThreadServices const* services) {
  if (!task) return SSNullTask;
  if (!task->sortedData) return SSNullSortedData;
  if (!task->sortedDataStorage || !task->dataStorage) return SSNullStorage;
  int32_t const from = integer(*task, task->dataStorage), to = integer(*task, task->sortedDataStorage);
  bool const in_place = task->sortedData == task->data;
  if (in_place && (from ^ to) & SSStorageRows) return SSNullStorage;
  if (in_place && task->indices) return SSSortInPlaceWithIndices;
  for (void const* storage : {task->dataStorage, task->sortedDataStorage})
    if (int32_t const status = check_layout(*task, storage)) return status;
  if (!(method & SSMethodSort)) return SSMethodNotSupported;
  if (int32_t const status = check_data(*task)) return status;

  DataSet<T const> const data = data_of<T>(*task);
  ptrdiff_t const p = data.p, n = data.n;
  DataSet<T> const sorted(static_cast<T*>(task->sortedData), p, n, to);
  Selection const selected(*task);
  Scratch<ptrdiff_t> list(p);
  if (!list) return SSOutOfMemory;
  ptrdiff_t chosen = 0;
  for (ptrdiff_t j = 0; j < p; ++j)
    if (selected(j)) list[chosen++] = j;
  double const bytes = (sorted.rows_layout ? 8.0 : 16.0) * static_cast<double>(n),
               most = static_cast<double>(max_threads(services));
  double const room = most * 0x1p30 / bytes;
  ptrdiff_t const threads =
      std::max<ptrdiff_t>(1, static_cast<ptrdiff_t>(std::min({most, static_cast<double>(p), room})));
  Scratch<Key<T>> memory;
  if (!sorted.rows_layout && !memory.make(threads, n)) return SSOutOfMemory;

  auto work = [&](ptrdiff_t item, ptrdiff_t thread) {
    Column<T const> const x = data.column(list[item]);
    Column<T> const out = sorted.column(item);
    if (sorted.rows_layout) {
      if (!in_place) x.copy_to(out.first, n);
      sort_reals(out.first, n);
      return;
    }
    Key<T>* const keys = memory.get() + thread * n;
    x.keys_to(keys, n);
    sort_keys(keys, n);
    for (ptrdiff_t i = 0; i < n; ++i) out[i] = real_of<T>(keys[i]);
  };
  for_each(services, chosen, threads, work);
  return 0;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSSort(SSTask* task, uint64_t, uint64_t method, const SSThreadServices* services) {
  return orv::statistics::sort<double>(task, method, services);
}
ORV_EXPORT int32_t _rnqsSSSort(SSTask* task, uint64_t, uint64_t method, const SSThreadServices* services) {
  return orv::statistics::sort<float>(task, method, services);
}
