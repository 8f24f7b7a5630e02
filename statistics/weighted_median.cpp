// Weighted quantiles: _rnqdSSWMedian and its twin.
#include "statistics/weighted_median.h"

#include "frame/export.h"

namespace orv::statistics {
namespace {

template <class T>
int32_t weighted_median(SSTask* task) {
  if (!task) return SSNullTask;
  if (int32_t const status = check_data(*task)) return status;
  if (!task->weights) return SSNullWeights;
  if (!task->quantileOrders) return SSNullQuantileOrders;
  if (!task->quantiles) return SSNullQuantiles;
  DataSet<T const> const data = data_of<T>(*task);
  double const q = static_cast<double>(*static_cast<T const*>(task->quantileOrders));
  Scratch<Key<T>> keys(static_cast<size_t>(data.n));
  Scratch<T> weights(static_cast<size_t>(data.n));
  if (!keys || !weights) return SSOutOfMemory;
  for (ptrdiff_t j = 0; j < data.p; ++j)
    static_cast<T*>(task->quantiles)[j] = weighted_quantile(
        data.column(j), static_cast<T const*>(task->weights), data.n, q, keys.get(), weights.get());
  return 0;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSWMedian(SSTask* task, uint64_t, uint64_t, const SSThreadServices*) {
  return orv::statistics::weighted_median<double>(task);
}
ORV_EXPORT int32_t _rnqsSSWMedian(SSTask* task, uint64_t, uint64_t, const SSThreadServices*) {
  return orv::statistics::weighted_median<float>(task);
}
