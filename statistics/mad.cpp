// Median absolute and mean absolute deviation: _rnqdSSMAD and its twin. No factor for the normal distribution.
#include "frame/export.h"
#include "statistics/location_scale.h"
#include "statistics/parallel.h"
#include "statistics/subtask.h"

#include <atomic>

namespace orv::statistics {
namespace {

template <class T>
struct Deviations {
  SSTask const& task;
  SSThreadServices const* services;
  DataSet<T const> data = data_of<T>(task);
  Selection selected{task};
  ptrdiff_t threads = std::min(max_threads(services), data.p);

  int32_t medians(T* results) {
    Scratch<T> values;
    Scratch<Key<T>> keys(threads, data.n);
    if (!keys || (!data.rows_layout && !values.make(threads, data.n))) return SSOutOfMemory;
    auto work = [&](ptrdiff_t j, ptrdiff_t thread) {
      if (!selected(j)) return;
      Column<T const> const x = data.column(j);
      T* const own = values.get() + thread * data.n;
      if (x.stride != 1) x.copy_to(own, data.n);
      results[j] =
          median_and_deviation(x.stride == 1 ? x.first : own, data.n, keys.get() + thread * data.n).scale;
    };
    for_each(services, data.p, threads, work);
    return 0;
  }

  int32_t means(T const* given, T* results) {
    Scratch<T> values(threads, data.n);
    if (!values) return SSOutOfMemory;
    std::atomic<int32_t> status{0};
    auto work = [&](ptrdiff_t j, ptrdiff_t thread) {
      if (!selected(j)) return;
      T* const own = values.get() + thread * data.n;
      data.column(j).copy_to(own, data.n);
      int32_t result = 0;
      T mean = given ? given[j] : T(0);
      if (!given) result = mean_of(own, &mean);
      if (result == 0) {
        for (ptrdiff_t i = 0; i < data.n; ++i) own[i] = own[i] > mean ? own[i] - mean : mean - own[i];
        result = mean_of(own, &results[j]);
      }
      if (result) status.store(result, std::memory_order_relaxed);
    };
    for_each(services, data.p, threads, work);
    return status.load(std::memory_order_relaxed);
  }

 private:
  // Without the services, whose threads are at work already.
  int32_t mean_of(T* values, T* mean) const { return mean_of_variable(task, values, data.n, mean); }
};

template <class T>
int32_t absolute_deviations(SSTask* task, uint64_t estimates, uint64_t method,
                            SSThreadServices const* services) {
  if (!task) return SSNullTask;
  if (!task->dimension || integer(*task, task->dimension) < 1) return SSBadDimension;
  if (!task->observations || integer(*task, task->observations) < 1) return SSBadObservations;
  if (int32_t const status = check_exact_layout(*task, task->dataStorage)) return status;
  int32_t status = 0;
  if (estimates & SSMedianAbsDeviation) {
    if (!task->medianAbsDeviation) return SSNullMedianAbsDeviation;
    if (!(method & SSMethodFast)) return SSMethodNotSupported;
    if (!task->data) return SSNullData;
    status = Deviations<T>{*task, services}.medians(static_cast<T*>(task->medianAbsDeviation));
    if (status) return status;
  }
  if (estimates & SSMeanAbsDeviation) {
    if (!task->meanAbsDeviation) return SSNullMeanAbsDeviation;
    if (!(method & (SSMethodFast | SSMethodFastUserMean))) return SSMethodNotSupported;
    bool const user_mean = method & SSMethodFastUserMean;
    if (user_mean && !task->mean) return SSNullMean;
    if (!task->data) return SSNullData;
    status = Deviations<T>{*task, services}.means(user_mean ? static_cast<T const*>(task->mean) : nullptr,
                                                  static_cast<T*>(task->meanAbsDeviation));
  }
  return status;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSMAD(SSTask* task, uint64_t estimates, uint64_t method,
                              const SSThreadServices* services) {
  return orv::statistics::absolute_deviations<double>(task, estimates, method, services);
}
ORV_EXPORT int32_t _rnqsSSMAD(SSTask* task, uint64_t estimates, uint64_t method,
                              const SSThreadServices* services) {
  return orv::statistics::absolute_deviations<float>(task, estimates, method, services);
}
