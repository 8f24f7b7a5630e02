// Estimates of whole columns that outliers don't move, and the search for outliers.
//
//   orv::Columns columns = {{1, 2, 3, 50}, {2, 1, 4, 60}};
//   double middle = orv::quantiles(columns, {0.5})[0][0];
//   std::vector<bool> out = orv::find_outliers(columns);
//
// Columns have one length. Error is thrown for columns of several lengths, for a NaN (with its row and column, from
// 1), for what the estimates need and isn't there, and for lack of memory. `threads` limits the threads; 0 is all.
#pragma once
#include "frontend/error.h"

#include <cstdint>
#include <vector>

struct SSTask;

namespace orv {

using Columns = std::vector<std::vector<double>>;

// One row of quantiles for each column, straight lines between neighbours (R's type 7).
Columns quantiles(Columns const& columns, std::vector<double> const& orders, int threads = 0);

// Median of |x - median|, without the factor 1.4826 that makes it a standard deviation of normal data.
std::vector<double> median_deviations(Columns const& columns, int threads = 0);

struct RobustFit {
  std::vector<double> location, covariance; // p, and p by p
  std::vector<double> distances; // of each row: squares are about chi-square with p degrees of freedom
};
// Columns are scaled by median and median absolute deviation for the estimate and scaled back; a column whose deviation
// is 0 is an error that names it.
RobustFit robust_fit(Columns const& columns, int threads = 0);

// A flag for each row. alpha is the share of clean rows that are flagged; 0 stands for 0.05 / n.
std::vector<bool> find_outliers(Columns const& columns, double alpha = 0, int threads = 0);

// The quantile of a chi-square distribution.
double chi_square_quantile(double freedom, double probability);

// Quantiles of columns that arrive in blocks of rows, in memory that grows with the logarithm of their length. Of n
// rows, an answer's rank is within epsilon n of the one that was asked for once n is above 32 / epsilon.
class StreamQuantiles {
 public:
  StreamQuantiles(int columns, std::vector<double> orders, double epsilon, int threads = 0);
  ~StreamQuantiles();
  StreamQuantiles(StreamQuantiles const&) = delete;
  StreamQuantiles& operator=(StreamQuantiles const&) = delete;
  void add(double const* rows, int count);
  Columns report(); // one row of quantiles for each column

 private:
  void call(uint64_t method);
  int columns_, block_ = 0, layout_, order_count_, one_ = 1, threads_;
  std::vector<double> orders_, results_;
  double epsilon_;
  int64_t count_ = 0;
  SSTask* task_ = nullptr;
};

} // namespace orv
