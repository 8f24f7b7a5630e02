// Robust location and covariance: _rnqdSSRobustCovariance and its twin. A pairwise start, then the iteration of a
// translated biweight S-estimator: distances, weights from them, weighted moments.
#include "frame/export.h"
#include "statistics/cov_rank.h"
#include "statistics/mahalanobis.h"
#include "statistics/robust_constants.h"
#include "statistics/robust_start.h"
#include "statistics/subtask.h"
#include "statistics/symmetric.h"

namespace orv::statistics {
namespace {

struct RobustParameters {
  double breakdown, rejection = 0.001, tolerance = 0.001;
  int iterations = 100;

  template <class T>
  RobustParameters(SSTask const& task, T const* given, double n, double p) : breakdown((n - p) * 0.5 / n) {
    if (!given || !task.robustParamCount || integer(task, task.robustParamCount) != 4) return;
    double const v[] = {static_cast<double>(given[0]), static_cast<double>(given[1]),
                        static_cast<double>(given[2]), static_cast<double>(given[3])};
    if (v[0] < breakdown) breakdown = v[0];
    if (v[1] > 0 && v[1] < 1) rejection = v[1];
    if (v[2] > 0) tolerance = v[2];
    if (v[3] > -1) iterations = static_cast<int>(std::min(v[3], 1e9));
  }
};

template <class T>
class RobustEstimate {
 public:
  RobustEstimate(DataSet<T const> const& data, T* mean, SSThreadServices const* services)
      : data_(data), mean_(mean), services_(services) {
    threads_ = static_cast<double>(data.n) * static_cast<double>(data.p) < 10000 ? 1 : max_threads(services);
  }

  int32_t compute(RobustParameters const& parameters) {
    size_t const p = static_cast<size_t>(data_.p), n = static_cast<size_t>(data_.n);
    if (!cov_.make(p, p) || !inverse_.make(p, p) || !weights_.make(n) || !kept_.make(n) ||
        !distances_.make(n) || !keys_.make(n) ||
        !panels_.make(static_cast<size_t>(threads_), Distances<T>::panel_size(data_.p)))
      return SSOutOfMemory;
    if (int32_t const status = RobustStart<T>(data_, services_).weights(weights_.get())) return status;
    T sums[2];
    if (int32_t const status = moments(sums)) return status;
    if (!(sums[0] > 0)) return SSTooFewCleanData;
    scale(1 / static_cast<double>(sums[0]));
    return parameters.iterations > 0 ? iterate(parameters) : 0;
  }
  T const* covariance() const { return cov_.get(); }

 private:
  int32_t moments(T* sums) { return scatter(data_, weights_.get(), mean_, cov_.get(), sums, services_); }
  void scale(double factor) {
    for (ptrdiff_t i = 0; i < data_.p * data_.p; ++i)
      cov_[i] = static_cast<T>(static_cast<double>(cov_[i]) * factor);
  }

  int32_t iterate(RobustParameters const& parameters) {
    double const p = static_cast<double>(data_.p), n = static_cast<double>(data_.n);
    auto const constants = robust_constants(p, parameters.breakdown, parameters.rejection);
    ptrdiff_t const h = (data_.n + data_.p + 1) / 2;
    double const quantile = root(chi_square_quantile(p, static_cast<double>(h) / (n + 1)));
    double const enough = parameters.tolerance * parameters.tolerance;
    std::fill_n(weights_.get(), data_.n, T(1));
    double change = 2 * enough;
    for (int i = 0; i < parameters.iterations && change > enough; ++i) {
      std::copy_n(weights_.get(), data_.n, kept_.get());
      if (int32_t const status = distances()) return status;
      double sums[2];
      weigh(constants, quantile, h, sums);
      if (!(sums[0] > 0)) return SSTooFewCleanData;
      T totals[2];
      if (int32_t const status = moments(totals)) return status;
      scale(p / sums[1]);
      change = 0;
      for (ptrdiff_t k = 0; k < data_.n; ++k) {
        double const d = static_cast<double>(weights_[k]) - static_cast<double>(kept_[k]);
        change += d * d;
      }
    }
    return 0;
  }

  int32_t distances() {
    std::copy_n(cov_.get(), data_.p * data_.p, inverse_.get());
    if (int32_t const status = test_rank(data_.p, inverse_.get())) return status;
    if (int32_t const status = inverse_covariance(data_.p, inverse_.get())) return status;
    Distances<T> const d{data_, mean_, inverse_.get()};
    auto work = [&](ptrdiff_t first, ptrdiff_t last, ptrdiff_t thread) {
      d.of_rows(first, last, distances_.get(),
                panels_.get() + thread * static_cast<ptrdiff_t>(d.panel_size(data_.p)));
    };
    for_ranges(services_, data_.n, threads_, work);
    return 0;
  }

  // New weights from the distances in units of their h-th smallest; sums of weights and of weight times square.
  void weigh(RobustConstants const& constants, double quantile, ptrdiff_t h, double* sums) {
    __builtin_memcpy(keys_.get(), distances_.get(), static_cast<size_t>(data_.n) * sizeof(T));
    flip_all<T>(keys_.get(), data_.n);
    ptrdiff_t const rank = h - 1;
    select_keys(keys_.get(), data_.n, &rank, 1);
    double const unit = quantile / static_cast<double>(real_of<T>(keys_[rank]));
    double const m = constants.m, c = constants.c;
    sums[0] = sums[1] = 0;
    for (ptrdiff_t i = 0; i < data_.n; ++i) {
      double const d = static_cast<double>(distances_[i]) * unit;
      double w = d < m ? 1 : 0;
      if (c > 0 && d >= m && d <= m + c) {
        double const u = (d - m) / c, rest = 1 - u * u;
        w = rest * rest;
      }
      weights_[i] = static_cast<T>(w);
      sums[0] += w;
      if (w > 0) sums[1] += w * (d * d);
    }
  }

  DataSet<T const> data_;
  T* mean_;
  SSThreadServices const* services_;
  ptrdiff_t threads_;
  Scratch<T> cov_, inverse_, weights_, kept_, distances_, panels_;
  Scratch<Key<T>> keys_;
};

template <class T>
int32_t robust_covariance(SSTask* task, uint64_t method, SSThreadServices const* services) {
  if (!task) return SSNullTask;
  if (!task->dimension || integer(*task, task->dimension) < 1) return SSBadDimension;
  if (!task->observations ||
      integer(*task, task->observations) <= 2 * int64_t{integer(*task, task->dimension)})
    return SSBadObservations;
  if (int32_t const status = check_exact_layout(*task, task->dataStorage)) return status;
  if (!task->robustMean) return SSNullRobustMean;
  if (!task->robustCov) return SSNullRobustCov;
  if (int32_t const status = check_packing(*task, task->robustCovStorage)) return status;
  if (!(method & SSMethodRobust)) return SSMethodNotSupported;
  if (!task->data) return SSNullData;

  DataSet<T const> const data = data_of<T>(*task);
  RobustParameters const parameters(*task, static_cast<T const*>(task->robustParams),
                                    static_cast<double>(data.n), static_cast<double>(data.p));
  RobustEstimate<T> estimate(data, static_cast<T*>(task->robustMean), services);
  if (int32_t const status = estimate.compute(parameters)) return status;
  T const* const cov = estimate.covariance();
  write_symmetric(static_cast<T*>(task->robustCov), packing(integer(*task, task->robustCovStorage)), data.p,
                  [&](ptrdiff_t i, ptrdiff_t j) { return cov[i * data.p + j]; });
  return 0;
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSRobustCovariance(SSTask* task, uint64_t, uint64_t method,
                                           const SSThreadServices* services) {
  return orv::statistics::robust_covariance<double>(task, method, services);
}
ORV_EXPORT int32_t _rnqsSSRobustCovariance(SSTask* task, uint64_t, uint64_t method,
                                           const SSThreadServices* services) {
  return orv::statistics::robust_covariance<float>(task, method, services);
}
