// Means and covariances of groups, and pooled over them: _rnqdSSPooledCovariance and its twin. Observations are sorted
// by group once; some groups at a time are computed side by side and then folded in their order, so that results don't
// depend on timing.
#include "frame/export.h"
#include "statistics/parallel.h"
#include "statistics/subtask.h"
#include "statistics/symmetric.h"

#include <atomic>

namespace orv::statistics {
namespace {

struct Wanted {
  bool mean, cov, own, own_cov;
  explicit Wanted(uint64_t estimates)
      : mean(estimates & (SSPooledMean | SSPooledCovariance)), cov(estimates & SSPooledCovariance),
        own(estimates & (SSGroupMeans | SSGroupCovariance)), own_cov(estimates & SSGroupCovariance) {}
  bool scatter() const { return cov || own_cov; }
};

template <class T>
class Pool {
 public:
  Pool(SSTask const& task, Wanted wanted, SSThreadServices const* services)
      : task_(task), wanted_(wanted), services_(services), data_(data_of<T>(task)), selected_(task),
        groups_(task, task.pooledGroupIndices), flags_(task, wanted.own ? task.groupIndices : nullptr) {}

  int32_t run() {
    if (int32_t const status = order_observations()) return status;
    if (wanted_.own)
      for (int64_t g = 0; g < group_count_; ++g)
        if (flags_[static_cast<ptrdiff_t>(g)] & ~1) return SSNullGroupIndices;
    if (!task_.data) return SSNullData;
    if (int32_t const status = compute()) return status;
    return 0;
  }

 private:
  static constexpr ptrdiff_t slots_per_thread = 4;

  // Observations sorted by group, within a group by number.
  int32_t order_observations() {
    ptrdiff_t const n = data_.n;
    if (!order_.make(static_cast<size_t>(n))) return SSOutOfMemory;
    for (ptrdiff_t i = 0; i < n; ++i) {
      int32_t const g = groups_[i];
      if (g < 0) return SSNullGroupIndices;
      order_[i] = static_cast<int64_t>(g) << 32 | i;
    }
    sort_keys(order_.get(), n);
    group_count_ = (order_[n - 1] >> 32) + 1;
    return 0;
  }
  int64_t group(ptrdiff_t at) const { return order_[at] >> 32; }
  ptrdiff_t observation(ptrdiff_t at) const { return static_cast<ptrdiff_t>(order_[at] & 0x7fffffff); }

  struct Slot {
    ptrdiff_t first, last; // of the ordered observations
    T sums[2];
    int32_t status;
  };

  int32_t compute() {
    size_t const p = static_cast<size_t>(data_.p), cells = wanted_.scatter() ? p * p : 0;
    ptrdiff_t const n = data_.n, threads = p < 11 ? 1 : max_threads(services_);
    ptrdiff_t const batch = threads == 1 ? 1 : threads * slots_per_thread;
    size_t largest = 0;
    for (ptrdiff_t first = 0, last; first < n; first = last) {
      for (last = first + 1; last < n && group(last) == group(first);) ++last;
      largest = std::max(largest, static_cast<size_t>(last - first));
    }
    Scratch<Slot> slots(static_cast<size_t>(batch));
    Scratch<T> results(static_cast<size_t>(batch), p + cells), rows(static_cast<size_t>(threads), largest, p),
        weights;
    Scratch<double> pool(p + cells);
    if (!slots || !results || !rows || !pool) return SSOutOfMemory;
    if (task_.weights && !weights.make(static_cast<size_t>(threads), largest)) return SSOutOfMemory;
    std::fill_n(pool.get(), p + cells, 0.0);
    double total = 0, freedom = 0;
    int64_t next_group = 0; // the first whose flag hasn't been looked at
    for (ptrdiff_t first = 0; first < n;) {
      ptrdiff_t count = 0;
      for (; count < batch && first < n; ++count) {
        Slot& slot = slots[count];
        slot.first = first;
        for (slot.last = first + 1; slot.last < n && group(slot.last) == group(first);) ++slot.last;
        first = slot.last;
      }
      auto work = [&](ptrdiff_t item, ptrdiff_t thread) {
        T* const own = results.get() + item * static_cast<ptrdiff_t>(p + cells);
        summarize(slots[item], rows.get() + thread * static_cast<ptrdiff_t>(largest * p),
                  weights ? weights.get() + thread * static_cast<ptrdiff_t>(largest) : nullptr, own,
                  wanted_.scatter() ? own + p : nullptr);
      };
      for_each(services_, count, std::min(threads, count), work);
      for (ptrdiff_t k = 0; k < count; ++k) {
        Slot const& slot = slots[k];
        if (slot.status) return slot.status;
        T const* const own = results.get() + k * static_cast<ptrdiff_t>(p + cells);
        double const w = static_cast<double>(slot.sums[0]);
        double const nu = w == 0 ? 0 : free_weight(slot);
        if (wanted_.own) {
          empty_groups(next_group, group(slot.first));
          next_group = group(slot.first) + 1;
          if (flags_[static_cast<ptrdiff_t>(group(slot.first))]) write_group(own, w == 0, nu);
        }
        if (w == 0) continue;
        for (size_t i = 0; i < p; ++i) pool[static_cast<ptrdiff_t>(i)] += w * static_cast<double>(own[i]);
        for (size_t i = p; i < p + cells; ++i) pool[static_cast<ptrdiff_t>(i)] += static_cast<double>(own[i]);
        total += w;
        freedom += nu;
      }
    }
    if (wanted_.own) empty_groups(next_group, group_count_);
    write_pool(pool.get(), total, freedom);
    return 0;
  }
  static double free_weight(Slot const& slot) {
    double const w = static_cast<double>(slot.sums[0]), nu = w - static_cast<double>(slot.sums[1]) / w;
    double const noise = 4 * static_cast<double>(std::numeric_limits<T>::epsilon()) * w;
    return slot.last - slot.first == 1 || (nu <= noise && nu >= -noise) ? 0 : nu;
  }

  void summarize(Slot& slot, T* rows, T* weights, T* mean, T* matrix) const {
    ptrdiff_t const p = data_.p, count = slot.last - slot.first;
    T const* const given = static_cast<T const*>(task_.weights);
    for (ptrdiff_t k = 0; k < count; ++k) {
      ptrdiff_t const i = observation(slot.first + k);
      for (ptrdiff_t j = 0; j < p; ++j) rows[k * p + j] = data_(i, j);
      if (given) weights[k] = given[i];
    }
    DataSet<T const> const own(rows, p, count, SSStorageCols);
    slot.status = scatter<T>(own, weights, mean, matrix, slot.sums, nullptr);
  }

  // A group's own results; NaN without weight.
  void write_group(T const* own, bool empty, double nu) {
    ptrdiff_t const p = data_.p;
    constexpr T nan = std::numeric_limits<T>::quiet_NaN();
    T* const means = static_cast<T*>(task_.groupMeans) + written_ * p;
    for (ptrdiff_t j = 0; j < p; ++j)
      if (selected_(j)) means[j] = empty ? nan : own[j];
    if (wanted_.own_cov) {
      Packing const packed = packing(integer(task_, task_.groupCovStorage));
      T* const to =
          static_cast<T*>(task_.groupCov) + written_ * static_cast<ptrdiff_t>(packed_size(packed, p));
      write_symmetric(to, packed, p, selected_, [&](ptrdiff_t i, ptrdiff_t j) {
        return empty ? nan : static_cast<T>(static_cast<double>(own[p + i * p + j]) / nu);
      });
    }
    ++written_;
  }
  void empty_groups(int64_t from, int64_t to) {
    for (int64_t g = from; g < to; ++g)
      if (flags_[static_cast<ptrdiff_t>(g)]) write_group(nullptr, true, 0);
  }

  void write_pool(double const* pool, double total, double freedom) {
    ptrdiff_t const p = data_.p;
    if (wanted_.mean)
      for (ptrdiff_t j = 0; j < p; ++j)
        if (selected_(j)) static_cast<T*>(task_.pooledMean)[j] = static_cast<T>(pool[j] / total);
    if (wanted_.cov)
      write_symmetric(
          static_cast<T*>(task_.pooledCov), packing(integer(task_, task_.pooledCovStorage)), p, selected_,
          [&](ptrdiff_t i, ptrdiff_t j) { return static_cast<T>(pool[p + i * p + j] / freedom); });
  }

  SSTask const& task_;
  Wanted wanted_;
  SSThreadServices const* services_;
  DataSet<T const> data_;
  Selection selected_;
  Integers groups_, flags_;
  Scratch<int64_t> order_;
  int64_t group_count_ = 0;
  ptrdiff_t written_ = 0; // flagged groups so far
};

template <class T>
int32_t pooled_covariance(SSTask* task, uint64_t estimates, uint64_t method,
                          SSThreadServices const* services) {
  if (!task) return SSNullTask;
  Wanted const wanted(estimates);
  if (int32_t const status = check_layout(*task, task->dataStorage)) return status;
  if (!task->pooledGroupIndices) return SSBadGroupIndices;
  if (wanted.mean && !task->pooledMean) return SSNullPooledMean;
  if (wanted.cov && !task->pooledCovStorage) return SSNullStorage;
  if (wanted.cov && !task->pooledCov) return SSNullPooledCov;
  if (wanted.own && !task->groupIndices) return SSBadGroupIndices;
  if (wanted.own && !task->groupMeans) return SSNullGroupMeans;
  if (wanted.own_cov && !task->groupCovStorage) return SSNullStorage;
  if (wanted.own_cov && !task->groupCov) return SSNullGroupCov;
  if (!(method & SSMethodOnePass)) return SSMethodNotSupported;
  if (!task->dimension || integer(*task, task->dimension) < 1) return SSBadDimension;
  if (!task->observations || integer(*task, task->observations) < 1) return SSBadObservations;
  return Pool<T>(*task, wanted, services).run();
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSPooledCovariance(SSTask* task, uint64_t estimates, uint64_t method,
                                           const SSThreadServices* services) {
  return orv::statistics::pooled_covariance<double>(task, estimates, method, services);
}
ORV_EXPORT int32_t _rnqsSSPooledCovariance(SSTask* task, uint64_t estimates, uint64_t method,
                                           const SSThreadServices* services) {
  return orv::statistics::pooled_covariance<float>(task, estimates, method, services);
}
