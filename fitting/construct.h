// What all constructions share: entry checks, boundary conditions, and the conversion of slopes to cubics.
#pragma once
#include "fitting/reciprocal.h"
#include "fitting/task.h"
#include "fitting/threads.h"

namespace orv::fitting {

// What holds at one end of the spline.
enum class End { NotAKnot, Free, First, Second, Periodic };
struct Ends {
  End left, right;
};

constexpr bool is_known_layout(int64_t hint) { return hint == 0 || hint == 16 || hint == 32 || hint == 128; }

// The boundary condition's code taken apart; `none_is_free` admits code 0.
template <class T>
int32_t decode_ends(DFTask const& task, bool none_is_free, Ends& ends) {
  switch (task.boundCondType) {
  case DFBoundNotAKnot:
    ends = {End::NotAKnot, End::NotAKnot};
    return DFStatusOk;
  case DFBoundFreeEnd:
    ends = {End::Free, End::Free};
    return DFStatusOk;
  case DFBoundFirstFirst:
    ends = {End::First, End::First};
    break;
  case DFBoundFirstSecond:
    ends = {End::First, End::Second};
    break;
  case DFBoundSecondFirst:
    ends = {End::Second, End::First};
    break;
  case DFBoundSecondSecond:
    ends = {End::Second, End::Second};
    break;
  case DFBoundPeriodic:
    ends = {End::Periodic, End::Periodic};
    if (task.splineType != 0 && task.splineType != 3) return DFStatusOk;
    break;
  case DFBoundNone:
    ends = {End::Free, End::Free};
    return none_is_free ? static_cast<int32_t>(DFStatusOk) : static_cast<int32_t>(DFStatusBadBoundCondType);
  default:
    return DFStatusBadBoundCondType;
  }
  return task.boundCond ? static_cast<int32_t>(DFStatusOk) : static_cast<int32_t>(DFStatusNullBoundCond);
}

// Tables and rows that the work goes through.
inline int32_t check_rows(DFTask const& task) {
  int32_t const functions = function_count(task);
  if (functions == 0) return DFStatusOk;
  if (!task.valueRows) return DFStatusNullValues;
  if (!task.coeffRows) return DFStatusNullCoeffs;
  for (int32_t j = 0; j < functions; ++j) {
    if (!task.valueRows[is_interleaved(task) ? 0 : j]) return DFStatusNullValues;
    if (!task.coeffRows[j]) return DFStatusNullCoeffs;
  }
  return DFStatusOk;
}

template <class T>
bool periods_match(DFTask const& task) {
  for (int32_t j = 0; j < function_count(task); ++j) {
    auto const y = values_of<T>(task, j);
    if (!(y[0] == y[break_count(task) - 1])) return false;
  }
  return true;
}

// Widths of cells by their index. On an even partition the breaks are never read.
template <class T, bool Uniform>
struct Cells;
template <class T>
struct Cells<T, false> {
  T const* x;
  Cells(DFTask const& task) : x(breaks<T>(task)) {}
  template <class V>
  ORV_INLINE V width(ptrdiff_t i) const {
    return load<V>(x + i + 1) - load<V>(x + i);
  }
  template <class V>
  ORV_INLINE V inverse_width(ptrdiff_t i) const {
    return reciprocal(width<V>(i));
  }
};
template <class T>
struct Cells<T, true> {
  T h, r;
  Cells(DFTask const& task)
      : h((breaks<T>(task)[1] - breaks<T>(task)[0]) / static_cast<T>(task.breakCount - 1)), r(reciprocal(h)) {
  }
  template <class V>
  ORV_INLINE V width(ptrdiff_t) const {
    return broadcast<V>(h);
  }
  template <class V>
  ORV_INLINE V inverse_width(ptrdiff_t) const {
    return broadcast<V>(r);
  }
};

// Values of cells of one function as a plain array: in place, or copied out of an interleaved layout.
template <class T>
T const* contiguous_values(Values<T> y, ptrdiff_t from, ptrdiff_t to, T* room) {
  if (y.stride == 1) return y.data + from;
  for (ptrdiff_t i = from; i < to; ++i) room[i - from] = y[i];
  return room;
}

// Writes the cubic of each lane's cell from its end values' slope D and its end slopes.
template <class Put = store_halves, class V>
ORV_INLINE void store_cubic(Real<V>* out, V y, V slope, V inverse, V m0, V m1) {
  V const two = broadcast<V>(2), three = broadcast<V>(3);
  V const c = fma(three, slope, -fma(two, m0, m1)) * inverse;
  V const d = fma(-two, slope, m0 + m1) * (inverse * inverse);
  store_columns<Put>(out, y, m0, c, d);
}

// Chooses a compile-time partition kind: work(Cells<T, ...>).
template <class T, class Work>
int32_t with_partition(DFTask const& task, Work&& work) {
  return is_uniform(task) ? work(Cells<T, true>(task)) : work(Cells<T, false>(task));
}

} // namespace orv::fitting

// The two exported twins of a construction entry: run<T>(task, method, threader).
#define ORV_CONSTRUCTION(name, run)                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_d##name##1D(DFTask * task, int64_t, int64_t method,                       \
                                               const DFThreader* threader) {                                 \
    return task ? run<double>(*task, method, threader) : static_cast<int32_t>(DFStatusNullTask);             \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_s##name##1D(DFTask * task, int64_t, int64_t method,                       \
                                               const DFThreader* threader) {                                 \
    return task ? run<float>(*task, method, threader) : static_cast<int32_t>(DFStatusNullTask);              \
  }
