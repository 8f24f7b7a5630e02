#include "frontend/summary.h"

#include "frontend/library.h"
#include "frontend/statistics_threads.h"
#include "orv/statistics.h"

#include <cmath>
#include <limits>
#include <string>

namespace orv {
namespace {

void check(int32_t status) {
  if (status == SSOutOfMemory) throw Error("there is not enough memory for the estimates");
  if (status != 0) throw Error("the estimates failed with status " + std::to_string(status));
}

uint64_t word(Summary::Method method) {
  return method == Summary::Method::fast       ? SSMethodFast
         : method == Summary::Method::one_pass ? SSMethodOnePass
                                               : SSMethodFastUserMean;
}

} // namespace

Summary::Summary(int columns, Options options)
    : columns_(columns), layout_(SSStorageCols), storage_(SSMatrixFull), options_(std::move(options)) {
  if (columns < 1) throw Error("there are no columns to summarize");
  bool const user_mean = options_.method == Method::user_mean;
  if (user_mean && options_.mean.size() != at(columns))
    throw Error("the user-mean method wants a mean for each column");
  for (auto& v : values_) v.assign(at(columns), 0.0);
  if (user_mean) values_[Mean] = options_.mean;
  values_[Minimum].assign(at(columns), std::numeric_limits<double>::infinity());
  values_[Maximum].assign(at(columns), -std::numeric_limits<double>::infinity());
  if (options_.covariance) covariance_.resize(at(columns) * at(columns));
  if (options_.correlation) correlation_.resize(at(columns) * at(columns));

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
  edit_matrices(task_, nullptr, options_.covariance ? covariance_.data() : nullptr, &storage_,
                options_.correlation ? correlation_.data() : nullptr, &storage_);
}

Summary::~Summary() {
  if (task_) ORV_FUNCTION_OF(__rnqSSDeleteTask)(&task_);
}

void Summary::add(double const* rows, int count, double const* weights) {
  if (count < 1) return;
  block_ = count;
  task_->data = const_cast<double*>(rows);
  task_->weights = const_cast<double*>(weights);
  constexpr uint64_t moments = SSMean | SSRawMoment2 | SSRawMoment3 | SSRawMoment4 | SSCentralMoment2 |
                               SSCentralMoment3 | SSCentralMoment4 | SSKurtosis | SSSkewness | SSVariation |
                               SSCentralSum2;
  uint64_t const matrices =
      (options_.covariance ? SSCovariance : 0) | (options_.correlation ? SSCorrelation : 0);
  SSThreadServices const& threads = statistics_threads(options_.threads);
  check(ORV_FUNCTION_OF(_rnqdSSBasic)(task_, moments | matrices, word(options_.method), &threads));
  check(ORV_FUNCTION_OF(_rnqdSSMinmax)(task_, SSMinimum | SSMaximum, SSMethodFast, &threads));
  count_ += count;
}

double Summary::deviation(int j) const { return std::sqrt(values_[Central2][at(j)]); }

double Summary::correlation(int i, int j) const {
  return i == j ? 1 : correlation_[at(i) * at(columns_) + at(j)];
}

} // namespace orv
