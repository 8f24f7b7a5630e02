// The broken line: two coefficients a cell.
#include "fitting/construct_scale.h"
#include "frame/export.h"

namespace orv::fitting {
namespace {

constexpr ptrdiff_t task_cells = 1024;
constexpr int32_t task_functions = 4;

template <class T, class CellsT>
void build(DFTask const& task, CellsT const& cells, int32_t function, ptrdiff_t from, ptrdiff_t to) {
  auto const y = values_of<T>(task, function);
  T* const out = coefficients_of<T>(task, function);
  T room[task_cells + 1];
  for (ptrdiff_t base = from; base < to; base += task_cells) {
    ptrdiff_t const end = std::min(base + task_cells, to);
    T const* const plain = contiguous_values(y, base, end + 1, room);
    for_lanes<T>(base, end, [&](auto lane, ptrdiff_t i) {
      using V = decltype(lane);
      V const y0 = load<V>(plain + (i - base)), y1 = load<V>(plain + (i - base) + 1);
      store_columns(out + 2 * i, y0, (y1 - y0) * cells.template inverse_width<V>(i));
    });
  }
}

template <class T>
int32_t linear(DFTask const& task, int64_t method, DFThreader const* threader) {
  if (method != 0) return DFStatusBadMethod;
  if (task.breakCount < 2) return DFStatusBadBreakCount;
  if (!is_known_layout(task.valueHint)) return DFStatusBadValueHint;
  if (int32_t const status = check_rows(task)) return status;
  if (task.boundCondType == DFBoundPeriodic && !periods_match<T>(task)) return DFStatusPeriodMismatch;
  ptrdiff_t const cells_total = break_count(task) - 1;
  int32_t const functions = function_count(task);
  return with_partition<T>(task, [&](auto const& cells) {
    auto const cell_blocks = static_cast<int32_t>((cells_total + task_cells - 1) / task_cells);
    int32_t const tasks = cell_blocks * ((functions + task_functions - 1) / task_functions);
    auto body = [&](int32_t t, int32_t) {
      ptrdiff_t const from = t % cell_blocks * task_cells, to = std::min(from + task_cells, cells_total);
      int32_t const first = t / cell_blocks * task_functions;
      for (int32_t j = first; j < std::min(first + task_functions, functions); ++j)
        build<T>(task, cells, j, from, to);
    };
    bool const threaded = task.breakCount * task.functionCount >= 128 && tasks >= 5;
    int32_t const threads = threaded ? std::min(max_threads(threader), tasks) : 1;
    parallel_for(threaded ? threader : nullptr, tasks, threads, body);
    return static_cast<int32_t>(DFStatusOk);
  });
}

} // namespace
} // namespace orv::fitting

ORV_SCALED_CONSTRUCTION(DFLinearSpline, orv::fitting::linear, 2, 0)
