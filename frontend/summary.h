// Moments, extremes and matrices of columns of numbers that come block by block.
//
//   orv::Summary summary(3, {.covariance = true});
//   summary.add(rows, 1000);            // 1000 observations of 3 numbers
//   double sd = summary.deviation(0);
#pragma once
#include "frontend/error.h"

#include <cstdint>
#include <vector>

struct SSTask;

namespace orv {

class Summary {
 public:
  enum class Method { fast, one_pass, user_mean };
  struct Options {
    Method method = Method::one_pass;
    bool covariance = false, correlation = false;
    std::vector<double> mean = {}; // of the user-mean method
    int threads = 0;               // 0: all of the common pool
  };
  Summary(int columns, Options options); // throws Error for no columns or a mean of another length
  ~Summary();
  Summary(Summary const&) = delete;
  Summary& operator=(Summary const&) = delete;

  // `count` observations of columns() numbers each, with their weights or null. The weights of all blocks
  // come, or of none. Here and below Error is thrown for what there is not: columns, matrices, memory.
  void add(double const* rows, int count, double const* weights = nullptr);

  int columns() const { return columns_; }
  int64_t count() const { return count_; }
  double weight() const { return accumulated_[0]; }
  double mean(int j) const { return value(Mean, j); }
  // The formulas stand in orv/statistics.h; the deviation is that of a sample, n - 1 below the line.
  double deviation(int j) const;
  double skewness(int j) const { return value(Skewness, j); }
  double kurtosis(int j) const { return value(Kurtosis, j); }
  double variation(int j) const { return value(Variation, j); }
  double minimum(int j) const { return value(Minimum, j); }
  double maximum(int j) const { return value(Maximum, j); }
  double covariance(int i, int j) const;
  double correlation(int i, int j) const; // 1 on the diagonal

 private:
  enum {
    Mean,
    Raw2,
    Raw3,
    Raw4,
    Central2,
    Central3,
    Central4,
    Kurtosis,
    Skewness,
    Variation,
    Minimum,
    Maximum,
    CentralSum2,
    Rows
  };
  static std::size_t at(int j) { return static_cast<std::size_t>(j); }
  std::size_t column(int j) const; // throws Error if there is none
  double value(int row, int j) const { return values_[row][column(j)]; }

  int columns_, block_ = 0, layout_, storage_;
  Options options_;
  int64_t count_ = 0;
  bool weighted_ = false;
  std::vector<double> values_[Rows], covariance_, correlation_;
  double accumulated_[2] = {0, 0};
  SSTask* task_ = nullptr;
};

} // namespace orv
