#include "frontend/summary.h"

#include "frontend/library.h"
#include "frontend/reals.h"
#include "frontend/statistics.h"
#include "orv/statistics.h"

#include <cmath>
#include <limits>
#include <string>

namespace orv {
namespace {

void check(int32_t status) {
  if (status == SSOutOfMemory) throw Error("there is not enough memory for the estimates");
  if (status != 0) throw Error("the task of the estimates: status " + std::to_string(status));
}

uint64_t word(Summary::Method method) {
  switch (method) {
  case Summary::Method::fast:
    return SSMethodFast;
  case Summary::Method::one_pass:
    return SSMethodOnePass;
  case Summary::Method::user_mean:
    return SSMethodFastUserMean;
  }
  throw Error("there is no method number " + std::to_string(static_cast<int>(method)));
}

std::vector<double> matrix(int columns, const char* what) {
  auto const p = static_cast<std::size_t>(columns);
  return reals({p, p}, std::string("the ") + what + " matrix of " + std::to_string(columns) + " columns");
}

} // namespace

Summary::Summary(int columns, Options options)
    : columns_(columns), layout_(SSStorageCols), storage_(SSMatrixFull), options_(std::move(options)) {
  if (columns < 1) throw Error("there are no columns to summarize");
  word(options_.method);
  bool const user_mean = options_.method == Method::user_mean;
  if (user_mean && options_.mean.size() != at(columns))
    throw Error("the user-mean method wants a mean for each column");
  if (options_.covariance) covariance_ = matrix(columns, "covariance");
  if (options_.correlation) correlation_ = matrix(columns, "correlation");
  for (auto& v : values_)
    v = reals({at(columns)}, "the estimates of " + std::to_string(columns) + " columns");
  if (user_mean) values_[Mean] = options_.mean;
  values_[Minimum].assign(at(columns), std::numeric_limits<double>::infinity());
  values_[Maximum].assign(at(columns), -std::numeric_limits<double>::infinity());

  check(ORV_FUNCTION_OF(__rnqdSSNewTask)(&task_, &columns_, &block_, &layout_, nullptr, nullptr, nullptr, 0));
  ORV_FUNCTION_OF(__rnqdSSEditMoments)
  (task_, values_[Mean].data(), values_[Raw2].data(), values_[Raw3].data(), values_[Raw4].data(),
   values_[Central2].data(), values_[Central3].data(), values_[Central4].data());
  auto* const edit = ORV_FUNCTION_OF(__rnqdSSEditTask);
  auto const set = [&](int code, double* value) { check(edit(task_, code, value)); };
  set(SSParamKurtosis, values_[Kurtosis].data());
  set(SSParamSkewness, values_[Skewness].data());
  set(SSParamVariation, values_[Variation].data());
  set(SSParamMinimum, values_[Minimum].data());
  set(SSParamMaximum, values_[Maximum].data());
  set(SSParamAccumWeights, accumulated_);
  set(SSParamCentralSum2, values_[CentralSum2].data()); // goes on where a block of one left no variance
  auto* const edit_matrices = ORV_FUNCTION_OF(__rnqdSSEditCovCor);
  check(edit_matrices(task_, nullptr, options_.covariance ? covariance_.data() : nullptr, &storage_,
                      options_.correlation ? correlation_.data() : nullptr, &storage_));
}

Summary::~Summary() {
  if (task_) ORV_FUNCTION_OF(__rnqSSDeleteTask)(&task_);
}

void Summary::add(double const* rows, int count, double const* weights) {
  if (count < 0) throw Error("the count of observations, " + std::to_string(count) + ", is below 0");
  if (count == 0) return;
  if (!rows) throw Error("there are no observations to summarize");
  if (count_ > 0 && weighted_ != (weights != nullptr))
    throw Error("weights come with all blocks of observations, or with none");
  weighted_ = weights != nullptr;
  block_ = count;
  task_->data = const_cast<double*>(rows);
  task_->weights = const_cast<double*>(weights);
  constexpr uint64_t moments = SSMean | SSRawMoment2 | SSRawMoment3 | SSRawMoment4 | SSCentralMoment2 |
                               SSCentralMoment3 | SSCentralMoment4 | SSKurtosis | SSSkewness | SSVariation |
                               SSCentralSum2;
  uint64_t const matrices =
      (options_.covariance ? SSCovariance : 0) | (options_.correlation ? SSCorrelation : 0);
  compute_statistics(*task_, moments | matrices | SSMinimum | SSMaximum, word(options_.method),
                     options_.threads);
  count_ += count;
}

std::size_t Summary::column(int j) const {
  if (j < 0 || j >= columns_)
    throw Error("there is no column " + std::to_string(j) + "; there are " + std::to_string(columns_) +
                ", numbered from 0");
  return at(j);
}

double Summary::deviation(int j) const { return std::sqrt(value(Central2, j)); }

double Summary::covariance(int i, int j) const {
  std::size_t const row = column(i), place = column(j);
  if (covariance_.empty()) throw Error("the covariance was not asked for");
  return covariance_[row * at(columns_) + place];
}

double Summary::correlation(int i, int j) const {
  std::size_t const row = column(i), place = column(j);
  if (correlation_.empty()) throw Error("the correlation was not asked for");
  return i == j ? 1 : correlation_[row * at(columns_) + place];
}

} // namespace orv
