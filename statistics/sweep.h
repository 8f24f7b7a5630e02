// Parameters of a multivariate normal distribution in the form of the sweep operator: a symmetric matrix of order
// p + 1 with -1 at (0, 0), means in row 0, and the covariance. Swept on some variables it holds the regression of the
// others on them.
#pragma once
#include "statistics/task.h"

#include <algorithm>

namespace orv::statistics {

class Theta {
 public:
  // `smallest`: a pivot counts as above 0 only if above this share of its start.
  bool make(ptrdiff_t p, double smallest) {
    order_ = p + 1;
    smallest_ = smallest;
    return cells_.make(static_cast<size_t>(order_), static_cast<size_t>(order_)) &&
           fresh_.make(static_cast<size_t>(order_), static_cast<size_t>(order_)) &&
           starts_.make(static_cast<size_t>(order_));
  }
  double* cells() const { return cells_.get(); }
  double& operator()(ptrdiff_t i, ptrdiff_t j) const { return cells_[i * order_ + j]; }
  // To be called when new parameters have been written.
  void start() {
    for (ptrdiff_t k = 0; k < order_; ++k) starts_[k] = (*this)(k, k);
    std::copy_n(cells_.get(), order_ * order_, fresh_.get());
    sweeps_ = 0;
  }
  bool swept(ptrdiff_t k) const { return (*this)(k, k) < 0; }

  // Sweeps variables (from 1) in that aren't missing, and out that are.
  template <class Missing>
  void bring_to(Missing missing) {
    if (sweeps_ > 4 * order_) { // sweeps forth and back lose digits each time
      std::copy_n(fresh_.get(), order_ * order_, cells_.get());
      sweeps_ = 0;
    }
    for (ptrdiff_t k = 1; k < order_; ++k) {
      if (missing(k)) {
        if (swept(k)) sweep(k, -1);
      } else if ((*this)(k, k) > smallest_ * starts_[k]) {
        sweep(k, 1);
      }
    }
  }

 private:
  void sweep(ptrdiff_t k, double direction) {
    ++sweeps_;
    double const pivot = (*this)(k, k);
    double* const row = &(*this)(k, 0);
    for (ptrdiff_t i = 0; i < order_; ++i) {
      if (i == k) continue;
      double const f = (*this)(i, k) / pivot;
      for (ptrdiff_t j = 0; j < order_; ++j)
        if (j != k) (*this)(i, j) -= f * row[j];
    }
    for (ptrdiff_t j = 0; j < order_; ++j) {
      if (j == k) continue;
      double const x = direction * row[j] / pivot;
      row[j] = x;
      (*this)(j, k) = x;
    }
    row[k] = -1 / pivot;
  }
  ptrdiff_t order_ = 0, sweeps_ = 0;
  double smallest_ = 0;
  Scratch<double> cells_, fresh_, starts_;
};

} // namespace orv::statistics
