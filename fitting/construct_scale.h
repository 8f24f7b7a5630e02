// Partitions so wide or so narrow that squares and cubes of their widths leave the range of the type are brought
// to a few units before the construction, and the coefficients back after it. All factors are powers of two:
// where nothing leaves the range, the bits are those of an unscaled construction.
#pragma once
#include "fitting/construct.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace orv::fitting {

// 2^e for a normal result.
template <class T>
T power_of_two(int e) {
  using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
  constexpr int bias = std::numeric_limits<T>::max_exponent - 1,
                fraction = std::numeric_limits<T>::digits - 1;
  return std::bit_cast<T>(static_cast<Bits>(bias + e) << fraction);
}

// The e by which 2^-e times the breaks spans a few units; 0 for all usual partitions.
template <class T>
int partition_exponent(DFTask const& task) {
  using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
  constexpr int bias = std::numeric_limits<T>::max_exponent - 1,
                fraction = std::numeric_limits<T>::digits - 1, limit = (bias + 1) / 4;
  if (task.breakCount < 2 || !task.breaks) return 0;
  T const half_span = T(0.5) * last_break<T>(task) - T(0.5) * first_break<T>(task);
  if (!(half_span > 0 && half_span <= std::numeric_limits<T>::max())) return 0;
  int const e = static_cast<int>(std::bit_cast<Bits>(half_span) >> fraction) - bias + 1;
  return e > limit || e < -limit ? std::max(e - 2, 1 - bias) : 0; // to some 4 units
}

// The scaled inputs of a construction, in a task of their own.
template <class T>
class ScaledTask {
 public:
  // `inner` is the power of the unit of length in the inner conditions: -1 slopes, -2 second derivatives, 1
  // knots, 0 none.
  ScaledTask(DFTask const& task, int e, int inner)
      : down_(power_of_two<T>(-e)), up_(power_of_two<T>(e)), task(task),
        room_(static_cast<uint64_t>(2 * task.breakCount + 4)) {
    if (!room_) return;
    ptrdiff_t const n = break_count(task);
    T* to = room_.get();
    copy(this->task.breaks, to, is_uniform(task) ? 2 : n, 1);
    if (inner != 0) {
      ptrdiff_t const knots = (task.innerCondType & 4) != 0 ? 2 : n + 1;
      copy(this->task.innerCond, to, inner == 1 ? knots : n - 2, inner);
    }
    Ends ends;
    if (task.boundCondType == DFBoundMidValue || decode_ends<T>(task, true, ends) != DFStatusOk) return;
    auto const power = [&](End end) {
      return end == End::First ? -1 : end == End::Second ? -2 : end == End::Periodic ? inner : 0;
    };
    void const* bound = this->task.boundCond;
    if (!bound || (power(ends.left) == 0 && power(ends.right) == 0)) return;
    T* const first = to;
    copy(bound, to, 1, power(ends.left));
    if (ends.left != End::Periodic) {
      bound = static_cast<T const*>(this->task.boundCond) + 1;
      copy(bound, to, 1, power(ends.right));
    }
    this->task.boundCond = first;
  }
  explicit operator bool() const { return static_cast<bool>(room_); }

  // Coefficients as the caller's unit of length has them.
  void scale_back(ptrdiff_t order) const {
    ptrdiff_t const pieces = break_count(task) - (order == 3 && task.splineType == 1 ? 0 : 1);
    for (int32_t j = 0; j < function_count(task); ++j) {
      T* c = coefficients_of<T>(task, j);
      for (ptrdiff_t p = 0; p < pieces; ++p, c += order)
        for (ptrdiff_t k = 1; k < order; ++k)
          for (ptrdiff_t i = 0; i < k; ++i) c[k] *= down_;
    }
  }

 private:
  template <class Pointer>
  void copy(Pointer& from, T*& to, ptrdiff_t count, int power) {
    if (!from) return;
    auto const* values = static_cast<T const*>(from);
    from = to;
    for (ptrdiff_t i = 0; i < count; ++i, ++to) {
      *to = values[i];
      for (int k = 0; k < power; ++k) *to *= down_;
      for (int k = 0; k > power; --k) *to *= up_;
    }
  }

  T down_, up_;

 public:
  DFTask task;

 private:
  Scratch<T> room_;
};

template <class T, class Run>
int32_t construct_at_scale(DFTask const& task, int64_t method, DFThreader const* threader, int order,
                           int inner, Run run) {
  int const e = partition_exponent<T>(task);
  if (e == 0) return run(task, method, threader);
  ScaledTask<T> const scaled(task, e, inner);
  if (!scaled) return DFStatusNoMemory;
  int32_t const status = run(scaled.task, method, threader);
  if (status == DFStatusOk) scaled.scale_back(order);
  return status;
}

} // namespace orv::fitting

// As ORV_CONSTRUCTION, for pieces of `order` coefficients; `inner` is what ScaledTask wants to know.
#define ORV_SCALED_CONSTRUCTION(name, run, order, inner)                                                     \
  ORV_EXPORT int32_t orv_df_kernel_d##name##1D(DFTask * task, int64_t, int64_t method,                       \
                                               const DFThreader* threader) {                                 \
    return task ? orv::fitting::construct_at_scale<double>(*task, method, threader, order, inner,            \
                                                           run<double>)                                      \
                : static_cast<int32_t>(DFStatusNullTask);                                                    \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_s##name##1D(DFTask * task, int64_t, int64_t method,                       \
                                               const DFThreader* threader) {                                 \
    return task ? orv::fitting::construct_at_scale<float>(*task, method, threader, order, inner, run<float>) \
                : static_cast<int32_t>(DFStatusNullTask);                                                    \
  }
