#include "frontend/robust.h"

#include "frontend/library.h"
#include "frontend/reals.h"
#include "frontend/statistics_threads.h"
#include "orv/statistics.h"

#include <cmath>
#include <limits>
#include <string>

namespace orv {
namespace {

void check(int32_t status, const char* what) {
  switch (status) {
  case 0:
    return;
  case SSOutOfMemory:
    throw Error(std::string("there is not enough memory for ") + what);
  case SSTooFewCleanData:
    throw Error(std::string(what) + ": too few rows are left that look clean");
  case SSBadObservations:
    throw Error(std::string(what) + ": there are too few rows for so many columns");
  case SSBadMatrix:
  case SSInverseFactorFailed:
  case SSRankEigenFailed:
    throw Error(std::string(what) + ": the columns depend on each other, or hold too many equal values");
  default:
    throw Error(std::string(what) + " failed with status " + std::to_string(status));
  }
}

// Columns one after the other, with the task that points at them.
struct Whole {
  int32_t p, n, layout = SSStorageRows, full = SSMatrixFull;
  std::vector<double> values;
  SSTask task{};

  explicit Whole(Columns const& columns) {
    if (columns.empty() || columns[0].empty()) throw Error("there is nothing to estimate");
    if (columns[0].size() > std::numeric_limits<int32_t>::max()) throw Error("there are too many rows");
    p = static_cast<int32_t>(columns.size());
    n = static_cast<int32_t>(columns[0].size());
    values = reals({columns.size(), columns[0].size()}, "the columns");
    for (std::size_t j = 0; j < columns.size(); ++j) {
      if (columns[j].size() != columns[0].size()) throw Error("the columns have several lengths");
      for (std::size_t i = 0; i < columns[j].size(); ++i) {
        if (std::isnan(columns[j][i]))
          throw Error("row " + std::to_string(i + 1) + " of column " + std::to_string(j + 1) +
                      " is no number");
        at(i, j) = columns[j][i];
      }
    }
    task.dimension = &p;
    task.observations = &n;
    task.dataStorage = &layout;
    task.data = values.data();
  }
  std::size_t columns() const { return static_cast<std::size_t>(p); }
  std::size_t rows() const { return static_cast<std::size_t>(n); }
  double& at(std::size_t i, std::size_t j) { return values[j * rows() + i]; }

  std::vector<double> quantiles(std::vector<double> orders, int threads) {
    int32_t const count = static_cast<int32_t>(orders.size());
    auto results = reals({columns(), orders.size()}, "the quantiles");
    task.quantileOrderCount = &count;
    task.quantileOrders = orders.data();
    task.quantiles = results.data();
    check(ORV_FUNCTION_OF(_rnqdSSQuantiles)(&task, SSQuantiles, SSMethodFast, &statistics_threads(threads)),
          "the quantiles");
    return results;
  }
  std::vector<double> deviations(int threads) {
    auto results = reals({columns()}, "the deviations");
    task.medianAbsDeviation = results.data();
    check(
        ORV_FUNCTION_OF(_rnqdSSMAD)(&task, SSMedianAbsDeviation, SSMethodFast, &statistics_threads(threads)),
        "the deviations");
    return results;
  }
};

// Columns in units of their deviation from their median.
struct Scaled : Whole {
  std::vector<double> medians, units;

  Scaled(Columns const& columns, int threads) : Whole(columns) {
    medians = quantiles({0.5}, threads);
    units = deviations(threads);
    for (std::size_t j = 0; j < this->columns(); ++j) {
      if (!(units[j] > 0) || !std::isfinite(units[j]))
        throw Error("more than half of column " + std::to_string(j + 1) +
                    " is one value, or infinite: it has no scale");
      for (std::size_t i = 0; i < rows(); ++i) at(i, j) = (at(i, j) - medians[j]) / units[j];
    }
  }
};

} // namespace

Columns quantiles(Columns const& columns, std::vector<double> const& orders, int threads) {
  for (double const q : orders)
    if (!(q >= 0 && q <= 1))
      throw Error("an order of a quantile is between 0 and 1, not " + std::to_string(q));
  auto const flat = Whole(columns).quantiles(orders, threads);
  Columns rows;
  for (std::size_t j = 0; j < columns.size(); ++j) {
    auto const from = flat.begin() + static_cast<std::ptrdiff_t>(j * orders.size());
    rows.emplace_back(from, from + static_cast<std::ptrdiff_t>(orders.size()));
  }
  return rows;
}

std::vector<double> median_deviations(Columns const& columns, int threads) {
  return Whole(columns).deviations(threads);
}

RobustFit robust_fit(Columns const& columns, int threads) {
  Scaled data(columns, threads);
  std::size_t const p = data.columns();
  RobustFit fit{reals({p}, "the location"), reals({p, p}, "the covariance"),
                reals({data.rows()}, "the distances")};
  SSTask& task = data.task;
  task.robustMean = fit.location.data();
  task.robustCov = fit.covariance.data();
  task.robustCovStorage = &data.full;
  check(ORV_FUNCTION_OF(_rnqdSSRobustCovariance)(&task, 0, SSMethodRobust, &statistics_threads(threads)),
        "the robust covariance");
  std::vector<double> inverse = fit.covariance;
  check(ORV_FUNCTION_OF(__rnqdInvCov)(data.p, inverse.data()), "the robust covariance");
  int32_t const first = 0;
  task.mahFirstRow = &first;
  task.mahLastRow = &data.n;
  task.mahMean = fit.location.data();
  task.mahInvCov = inverse.data();
  task.mahDistances = fit.distances.data();
  check(ORV_FUNCTION_OF(_rnqdSSMahDistance)(&task, 0, SSMethodFast, nullptr), "the distances");
  for (std::size_t i = 0; i < p; ++i) {
    fit.location[i] = data.medians[i] + fit.location[i] * data.units[i];
    for (std::size_t j = 0; j < p; ++j) fit.covariance[i * p + j] *= data.units[i] * data.units[j];
  }
  return fit;
}

std::vector<bool> find_outliers(Columns const& columns, double alpha, int threads) {
  Scaled data(columns, threads);
  if (!(alpha >= 0 && alpha <= 1)) throw Error("alpha is between 0 and 1, not " + std::to_string(alpha));
  double parameters[] = {2, alpha > 0 ? alpha : 0.05 / static_cast<double>(data.n), 0.005};
  int32_t const count = 3;
  auto weights = reals({data.rows()}, "the weights");
  data.task.outlierParams = parameters;
  data.task.outlierParamCount = &count;
  data.task.outlierWeights = weights.data();
  check(ORV_FUNCTION_OF(_rnqdSSOutliersDetection)(&data.task, 0, SSMethodOutlierSearch,
                                                  &statistics_threads(threads)),
        "the search for outliers");
  std::vector<bool> out;
  for (double const w : weights) out.push_back(w == 0);
  return out;
}

double chi_square_quantile(double freedom, double probability) {
  return ORV_FUNCTION_OF(__rnqdChi2ICDF)(freedom, probability);
}

StreamQuantiles::StreamQuantiles(int columns, std::vector<double> orders, double epsilon, int threads)
    : columns_(columns), layout_(SSStorageCols), order_count_(static_cast<int>(orders.size())),
      threads_(threads), orders_(std::move(orders)), epsilon_(epsilon) {
  if (columns < 1) throw Error("there are no columns to take quantiles of");
  if (!(epsilon > 0 && epsilon <= 1)) throw Error("the error bound is above 0 and at most 1");
  for (double const q : orders_)
    if (!(q >= 0 && q <= 1))
      throw Error("an order of a quantile is between 0 and 1, not " + std::to_string(q));
  results_ = reals({static_cast<std::size_t>(columns), orders_.size()}, "the quantiles");
  check(ORV_FUNCTION_OF(__rnqdSSNewTask)(&task_, &columns_, &block_, &layout_, nullptr, nullptr, nullptr, 0),
        "the quantiles");
  task_->streamQuantileOrderCount = &order_count_;
  task_->streamQuantileOrders = orders_.data();
  task_->streamQuantiles = results_.data();
  task_->streamQuantileParamCount = &one_;
  task_->streamQuantileParams = &epsilon_;
}

StreamQuantiles::~StreamQuantiles() {
  if (task_) ORV_FUNCTION_OF(__rnqSSDeleteTask)(&task_);
}

void StreamQuantiles::call(uint64_t method) {
  check(ORV_FUNCTION_OF(_rnqdSSStreamQuantiles)(task_, 0, method, &statistics_threads(threads_)),
        "the quantiles");
}

void StreamQuantiles::add(double const* rows, int count) {
  if (count < 0 || (count > 0 && !rows)) throw Error("there are no rows to take quantiles of");
  for (int64_t k = 0; k < int64_t{count} * columns_; ++k)
    if (std::isnan(rows[k]))
      throw Error("row " + std::to_string(count_ + k / columns_ + 1) + " of column " +
                  std::to_string(k % columns_ + 1) + " is no number");
  block_ = count;
  task_->data = const_cast<double*>(rows);
  call(SSMethodStreamUpdate);
  count_ += count;
}

Columns StreamQuantiles::report() {
  if (count_ == 0) throw Error("there are no rows to take quantiles of");
  block_ = 0;
  call(SSMethodStreamReport);
  Columns rows;
  for (std::size_t j = 0; j < static_cast<std::size_t>(columns_); ++j) {
    auto const from = results_.begin() + static_cast<std::ptrdiff_t>(j * orders_.size());
    rows.emplace_back(from, from + static_cast<std::ptrdiff_t>(orders_.size()));
  }
  return rows;
}

} // namespace orv
