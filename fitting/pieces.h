// Breaks and inner knots by index, on every kind of partition: what construction, interpolation and
// integration must agree on.
#pragma once
#include "fitting/lanes.h"
#include "fitting/task.h"

#include <algorithm>

namespace orv::fitting {

template <class T>
class Partition {
 public:
  explicit Partition(DFTask const& task)
      : x(breaks<T>(task)), n(break_count(task)), even(is_uniform(task)),
        step(even ? (x[1] - x[0]) / static_cast<T>(task.breakCount - 1) : T(0)) {}
  T at(int32_t i) const {
    if (!even) return x[i];
    return i == n - 1 ? x[1] : fma(static_cast<T>(i), step, x[0]);
  }
  T first() const { return x[0]; }
  T last() const { return even ? x[1] : x[n - 1]; }

  T const* x;
  int32_t n;
  bool even;
  T step; // of an even partition
};

// The knots between the breaks of a quadratic spline of type 1, k from 1 to n - 1: given one by one, evenly
// spaced between two given ones, or in the middle of the cells.
template <class T>
class Knots {
 public:
  Knots(DFTask const& task, Partition<T> const& partition)
      : partition_(partition), given_(static_cast<T const*>(task.innerCond)),
        even_((task.innerCondType & 4) != 0),
        step_(given_ && even_ && partition.n > 2 ? (given_[1] - given_[0]) / static_cast<T>(partition.n - 2)
                                                 : T(0)) {}
  T at(int32_t k) const {
    if (!given_) return middle(partition_.at(k - 1), partition_.at(k));
    return even_ ? fma(static_cast<T>(k - 1), step_, given_[0]) : given_[k];
  }
  // Whether given knots fit the ends of the partition.
  bool fit() const {
    if (!given_) return true;
    if (even_) return given_[0] > partition_.first() && given_[1] < partition_.last();
    return given_[0] == partition_.first() && given_[partition_.n] == partition_.last();
  }

 private:
  // Right of a, so that each break keeps its own piece, and finite.
  static T middle(T a, T b) {
    T const sum = a + b, half = sum - sum == 0 ? T(0.5) * sum : fma(T(0.5), a, T(0.5) * b);
    return half > a ? half : b;
  }

  Partition<T> const& partition_;
  T const* given_;
  bool even_;
  T step_;
};

// What a task is evaluated as.
enum class Kind { Linear, Quadratic, Cubic, QuadraticKnots, General, StepLeft, StepRight, LookUp, Unknown };

inline bool reads_values(Kind kind) { return kind >= Kind::StepLeft && kind <= Kind::LookUp; }

inline Kind kind_of(DFTask const& task, bool all_callbacks) {
  int64_t const type = task.splineType;
  switch (task.splineOrder) {
  case 0:
    if (type == 6) return Kind::LookUp;
    if (type == 7) return Kind::StepRight;
    if (type == 8) return Kind::StepLeft;
    return all_callbacks ? Kind::General : Kind::Unknown;
  case 2:
    return Kind::Linear;
  case 3:
    return type == 0 ? Kind::Quadratic : type == 1 ? Kind::QuadraticKnots : Kind::Unknown;
  case 4:
    return type == 0 || (type >= 2 && type <= 5) || type == 9 ? Kind::Cubic : Kind::Unknown;
  default:
    return task.splineOrder > 4 ? Kind::General : Kind::Unknown;
  }
}

// The rows that an evaluation reads.
inline int32_t check_sources(DFTask const& task, Kind kind, bool all_callbacks) {
  if (all_callbacks) return DFStatusOk;
  if (reads_values(kind))
    return task.valueRows && task.valueRows[0] ? static_cast<int32_t>(DFStatusOk)
                                               : static_cast<int32_t>(DFStatusNullValues);
  return task.coeffRows || task.functionCount == 0 ? static_cast<int32_t>(DFStatusOk)
                                                   : static_cast<int32_t>(DFStatusNullCoeffs);
}

// The polynomial of a cell; any cell value gives a polynomial of the partition.
ORV_INLINE int32_t piece_of(int32_t cell, int32_t n) { return std::clamp(cell, 1, n - 1) - 1; }

// A cell as it came from a search, a callback or the caller.
inline int32_t cell_at(void const* cells, int64_t i, bool wide, int32_t n) {
  if (!wide) return std::clamp(static_cast<int32_t const*>(cells)[i], 0, n);
  return static_cast<int32_t>(std::clamp<int64_t>(static_cast<int64_t const*>(cells)[i], 0, n));
}

} // namespace orv::fitting
