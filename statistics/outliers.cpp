// Outlier search: _rnqdSSOutliersDetection and its twin. A clean subset is grown from the observations nearest to a
// start (the BACON search, Billor, Hadi and Velleman 2000).
#include "frame/export.h"
#include "statistics/chi_square.h"
#include "statistics/cov_rank.h"
#include "statistics/mahalanobis.h"
#include "statistics/parallel.h"
#include "statistics/scalars.h"
#include "statistics/subtask.h"
#include "statistics/weighted_median.h"

namespace orv::statistics {
namespace {

struct OutlierParameters {
  int start = 2;
  double alpha = 0.05, tolerance = 0.005;

  template <class T>
  OutlierParameters(SSTask const& task, T const* given) {
    if (!given || !task.outlierParamCount || integer(task, task.outlierParamCount) != 3) return;
    if (given[0] >= 1 && given[0] < 2) start = 1;
    if (given[1] >= 0 && given[1] <= 1) alpha = static_cast<double>(given[1]);
    if (given[2] > 0) tolerance = static_cast<double>(given[2]);
  }
};

template <class T>
class OutlierSearch {
 public:
  OutlierSearch(DataSet<T const> const& data, T const* weights, T* result, SSThreadServices const* services)
      : data_(data), weights_(weights), result_(result), services_(services) {
    threads_ = static_cast<double>(data.n) * static_cast<double>(data.p) < 10000 ? 1 : max_threads(services);
  }

  int32_t run(OutlierParameters const& parameters) {
    size_t const p = static_cast<size_t>(data_.p), n = static_cast<size_t>(data_.n);
    if (!mean_.make(p) || !cov_.make(p, p) || !distances_.make(n) || !keys_.make(n) ||
        !panels_.make(static_cast<size_t>(threads_), Distances<T>::panel_size(data_.p)))
      return SSOutOfMemory;
    if (int32_t const status = start(parameters.start)) return status;
    return grow(parameters);
  }

 private:
  T weight(ptrdiff_t i) const { return weights_ ? weights_[i] : T(1); }

  // Location and inverse covariance of the data under weights.
  int32_t estimate(T const* weights) {
    T sums[2];
    if (int32_t const status = scatter(data_, weights, mean_.get(), cov_.get(), sums, services_))
      return status;
    double const w = static_cast<double>(sums[0]), freedom = w - static_cast<double>(sums[1]) / w;
    for (ptrdiff_t i = 0; i < data_.p * data_.p; ++i)
      cov_[i] = static_cast<T>(static_cast<double>(cov_[i]) / freedom);
    if (int32_t const status = test_rank(data_.p, cov_.get())) return status;
    return inverse_covariance(data_.p, cov_.get());
  }

  void measure(T const* inverse) {
    Distances<T> const d{data_, mean_.get(), inverse};
    auto work = [&](ptrdiff_t first, ptrdiff_t last, ptrdiff_t thread) {
      d.of_rows(first, last, distances_.get(),
                panels_.get() + thread * static_cast<ptrdiff_t>(d.panel_size(data_.p)));
    };
    for_ranges(services_, data_.n, threads_, work);
  }

  // The 5 p observations that are nearest; of equally near ones the first.
  int32_t start(int method) {
    if (method == 1) {
      if (int32_t const status = estimate(weights_)) return status;
      measure(cov_.get());
    } else {
      if (int32_t const status = medians()) return status;
      measure(nullptr);
    }
    ptrdiff_t const n = data_.n, size = 5 * data_.p, rank = size - 1;
    for (ptrdiff_t i = 0; i < n; ++i) keys_[i] = key_of(distances_[i]);
    select_keys(keys_.get(), n, &rank, 1);
    Key<T> const farthest = keys_[rank];
    ptrdiff_t ties = 1;
    for (ptrdiff_t i = 0; i < rank; ++i) ties += keys_[i] == farthest;
    for (ptrdiff_t i = 0; i < n; ++i) {
      Key<T> const key = key_of(distances_[i]);
      bool const in = key < farthest || (key == farthest && ties-- > 0);
      result_[i] = in ? weight(i) : T(0);
    }
    return 0;
  }

  int32_t medians() {
    Scratch<T> own;
    if (weights_ && !own.make(static_cast<size_t>(data_.n))) return SSOutOfMemory;
    for (ptrdiff_t j = 0; j < data_.p; ++j) {
      Column<T const> const x = data_.column(j);
      if (weights_) {
        mean_[j] = weighted_quantile(x, weights_, data_.n, 0.5, keys_.get(), own.get());
      } else {
        x.keys_to(keys_.get(), data_.n);
        mean_[j] = median_of_keys<T>(keys_.get(), data_.n);
      }
    }
    return 0;
  }

  int32_t grow(OutlierParameters const& parameters) {
    double const p = static_cast<double>(data_.p), n = static_cast<double>(data_.n);
    double const chi = root(chi_square_quantile(p, 1 - parameters.alpha)), h = (n + p + 1) * 0.5;
    double const cnp = 1 + (p + 1) / (n - p) + 2 / (n - 1 - 3 * p);
    constexpr int most_rounds = 100; // some small data sets go round in circles
    double r = 5 * p, inside = r;
    int32_t status = 0;
    for (int round = 0; round < most_rounds; ++round) {
      status = estimate(result_);
      if (status < 0) break;
      measure(cov_.get());
      inside = reweigh(static_cast<T>((std::max(0.0, (h - r) / (h + r)) + cnp) * chi));
      bool const goes_on = inside > 0 && inside < n && __builtin_fabs(inside - r) / r >= parameters.tolerance;
      if (!goes_on) break;
      r = inside;
    }
    return inside <= 4 * p ? SSTooFewCleanData : status;
  }

  double reweigh(T cut) {
    ptrdiff_t count = 0;
    for (ptrdiff_t i = 0; i < data_.n; ++i) {
      bool const in = distances_[i] < cut;
      result_[i] = in ? weight(i) : T(0);
      count += in;
    }
    return static_cast<double>(count);
  }

  DataSet<T const> data_;
  T const* weights_;
  T* result_;
  SSThreadServices const* services_;
  ptrdiff_t threads_;
  Scratch<T> mean_, cov_, distances_, panels_;
  Scratch<Key<T>> keys_;
};

template <class T>
int32_t outliers(SSTask* task, uint64_t method, SSThreadServices const* services) {
  if (!task) return SSNullTask;
  if (!task->dimension || integer(*task, task->dimension) < 1) return SSBadDimension;
  if (!task->observations ||
      integer(*task, task->observations) < 5 * int64_t{integer(*task, task->dimension)})
    return SSBadObservations;
  if (!task->dataStorage || check_exact_layout(*task, task->dataStorage)) return SSBadStorage;
  OutlierParameters const parameters(*task, static_cast<T const*>(task->outlierParams));
  if (!task->outlierWeights) return SSNullOutlierWeights;
  if (!(method & SSMethodOutlierSearch)) return SSMethodNotSupported;
  if (!task->data) return SSNullData;
  return OutlierSearch<T>(data_of<T>(*task), static_cast<T const*>(task->weights),
                          static_cast<T*>(task->outlierWeights), services)
      .run(parameters);
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSOutliersDetection(SSTask* task, uint64_t, uint64_t method,
                                            const SSThreadServices* services) {
  return orv::statistics::outliers<double>(task, method, services);
}
ORV_EXPORT int32_t _rnqsSSOutliersDetection(SSTask* task, uint64_t, uint64_t method,
                                            const SSThreadServices* services) {
  return orv::statistics::outliers<float>(task, method, services);
}
