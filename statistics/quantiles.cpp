// Exact quantiles and sorted copies of variables: _rnqdSSQuantiles and its twin. A variable is worked as keys in its
// thread's workspace; quantiles alone put only the elements that they need in their places.
#include "statistics/quantiles.h"

#include "frame/export.h"
#include "statistics/parallel.h"

namespace orv::statistics {
namespace {

template <class T>
int32_t check_quantiles(SSTask const& task) {
  if (!task.quantiles) return SSNullQuantiles;
  if (!task.quantileOrders) return SSNullQuantileOrders;
  if (!task.quantileOrderCount || integer(task, task.quantileOrderCount) < 0) return SSBadQuantileOrders;
  T const* const orders = static_cast<T const*>(task.quantileOrders);
  for (ptrdiff_t i = 0; i < integer(task, task.quantileOrderCount); ++i)
    if (!(orders[i] >= 0 && orders[i] <= 1)) return SSBadQuantileOrders;
  return 0;
}

template <class T>
int32_t quantiles(SSTask* task, uint64_t estimates, uint64_t method, SSThreadServices const* services) {
  if (!task) return SSNullTask;
  bool const wants_quantiles = estimates & SSQuantiles, wants_sorted = estimates & SSOrderStatistics;
  if (int32_t const status = check_layout(*task, task->dataStorage)) return status;
  if (wants_quantiles)
    if (int32_t const status = check_quantiles<T>(*task)) return status;
  if (wants_sorted) {
    if (!task->orderStats) return SSNullOrderStats;
    if (int32_t const status = check_layout(*task, task->orderStatsStorage)) return status;
  }
  if (!(method & SSMethodFast)) return SSMethodNotSupported;
  if (int32_t const status = check_data(*task)) return status;
  if (!wants_quantiles && !wants_sorted) return 0;

  DataSet<T const> const data = data_of<T>(*task);
  ptrdiff_t const p = data.p, n = data.n;
  Selection const selected(*task);
  Scratch<ptrdiff_t> list(p);
  if (!list) return SSOutOfMemory;
  ptrdiff_t chosen = 0;
  for (ptrdiff_t j = 0; j < p; ++j)
    if (selected(j)) list[chosen++] = j;
  ptrdiff_t const room = 0x40000000 / 8 / n,
                  count = wants_quantiles ? integer(*task, task->quantileOrderCount) : 0;
  ptrdiff_t const threads = std::max<ptrdiff_t>(1, std::min({max_threads(services), p, room}));
  Scratch<Key<T>> memory(threads, n);
  Orders<T> orders;
  if (!memory || !orders.make(static_cast<T const*>(task->quantileOrders), count, n)) return SSOutOfMemory;
  T* const results = static_cast<T*>(task->quantiles);
  DataSet<T> const sorted(static_cast<T*>(task->orderStats), p, n,
                          wants_sorted ? integer(*task, task->orderStatsStorage) : SSStorageRows);

  auto work = [&](ptrdiff_t item, ptrdiff_t thread) {
    Key<T>* const keys = memory.get() + thread * n;
    data.column(list[item]).keys_to(keys, n);
    T* const to = results + item * count;
    if (!wants_sorted) return orders.of_keys(keys, to);
    sort_keys(keys, n);
    Column<T> const out = sorted.column(item);
    for (ptrdiff_t i = 0; i < n; ++i) out[i] = real_of<T>(keys[i]);
    orders.of_sorted([&](ptrdiff_t k) { return real_of<T>(keys[k]); }, to);
  };
  for_each(services, chosen, threads, work);
  return 0;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSQuantiles(SSTask* task, uint64_t estimates, uint64_t method,
                                    const SSThreadServices* services) {
  return orv::statistics::quantiles<double>(task, estimates, method, services);
}
ORV_EXPORT int32_t _rnqsSSQuantiles(SSTask* task, uint64_t estimates, uint64_t method,
                                    const SSThreadServices* services) {
  return orv::statistics::quantiles<float>(task, estimates, method, services);
}
