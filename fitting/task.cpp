// The task record: creation, edit, query, deletion, and the cell index that the hybrid search starts from.
#include "fitting/task.h"

#include "frame/core.h"
#include "frame/export.h"

#include <cstring>

namespace orv::fitting {
namespace {

#define ORV_AT(field, at32, at64)                                                                            \
  static_assert(offsetof(DFTask, field) == (sizeof(void*) == 4 ? (at32) : (at64)))
ORV_AT(breakCount, 16, 16);
ORV_AT(breaks, 24, 24);
ORV_AT(breakHint, 32, 32);
ORV_AT(valueRows, 48, 48);
ORV_AT(innerCond, 88, 88);
ORV_AT(boundCond, 104, 104);
ORV_AT(coeffRows, 108, 112);
ORV_AT(coeffHint, 112, 120);
ORV_AT(indexSlots, 128, 136);
ORV_AT(indexScale, 144, 152);
static_assert(sizeof(DFTask) == (sizeof(void*) == 4 ? 152 : 160));
#undef ORV_AT

constexpr bool is_break_hint(int64_t v) { return v == 0 || v == 1 || v == 2 || v == 4; }
constexpr bool is_layout(int64_t v) { return v == 0 || v == 16 || v == 32 || v == 128; }

template <class T>
int32_t build_index(DFTask& task) {
  auto const* x = breaks<T>(task);
  int32_t const n = break_count(task);
  int32_t const buckets = n / 16;
  int32_t const m = buckets < 16 ? 16 : buckets > 1024 ? 1024 : buckets;
  task.indexSlots = m;
  core::deallocate(task.cellIndex);
  auto* pairs = static_cast<int32_t(*)[2]>(core::allocate(sizeof(int32_t[2]) * static_cast<size_t>(m + 2)));
  task.cellIndex = pairs;
  if (!pairs) return DFStatusNoMemory;
  for (int32_t k = 0; k < m; ++k) pairs[k][0] = pairs[k][1] = -1;
  pairs[0][0] = 0;
  T const scale = static_cast<T>(m) / (x[n - 1] - x[0]);
  index_scale<T>(task) = scale;
  for (int32_t i = 1; i < n - 1; ++i) {
    int32_t const b = bucket_of(x[i], x[0], scale, m);
    if (b == 0) continue;
    if (pairs[b - 1][1] == -1) pairs[b - 1][1] = i;
    pairs[b + 1][0] = i;
  }
  pairs[m - 1][1] = n - 1;
  for (int32_t k = 1; k < m; ++k)
    if (pairs[k][0] == -1) pairs[k][0] = pairs[k - 1][0];
  for (int32_t k = m - 2; k >= 0; --k)
    if (pairs[k][1] == -1) pairs[k][1] = pairs[k + 1][1];
  // Sites so near the right end that rounding puts them past the last bucket.
  pairs[m][0] = pairs[m - 1][0];
  pairs[m][1] = pairs[m - 1][1];
  return DFStatusOk;
}

// Replaces a row table: `filled` of `entries` rows, at `stride` reals from each other.
template <class T, class Row>
int32_t build_rows(Row*& table, T* data, int64_t entries, int64_t filled, int64_t stride) {
  core::deallocate(table);
  size_t const bytes = sizeof(Row) * static_cast<size_t>(entries > 0 ? entries : 1);
  table = static_cast<Row*>(core::allocate(bytes));
  if (!table) return DFStatusNoMemory;
  std::memset(table, 0, bytes);
  for (int64_t j = 0; j < filled; ++j) table[j] = data + j * stride;
  return DFStatusOk;
}

template <class T>
int32_t build_value_rows(DFTask& task, T const* values, int64_t functions, int64_t hint) {
  bool const rows = hint == 0 || hint == DFRows;
  return build_rows(task.valueRows, values, hint == DFInterleaved ? 1 : functions,
                    rows ? functions : (functions > 0 || hint == DFInterleaved), task.breakCount);
}

template <class T>
int32_t build_coefficient_rows(DFTask& task, T* coefficients, int64_t hint) {
  if (task.functionCount <= 0) return DFStatusBadFunctionCount;
  int64_t const cells = task.splineType == 1 ? task.breakCount : task.breakCount - 1;
  return build_rows(task.coeffRows, coefficients, task.functionCount, hint & 128 ? 1 : task.functionCount,
                    task.splineOrder * cells);
}

template <class T>
int32_t new_task(DFTask** handle, int64_t break_count, T const* x, int64_t break_hint, int64_t functions,
                 T const* values, int64_t value_hint, int32_t wide) {
  if (break_count < 2) return DFStatusBadBreakCount;
  if (!x) return DFStatusNullBreaks;
  if (!is_break_hint(break_hint)) return DFStatusBadBreakHint;
  if (functions != 0 && !values) return DFStatusNullValues;
  if (functions == 0 && values) return DFStatusBadFunctionCount;
  if (!is_layout(value_hint)) return DFStatusBadValueHint;
  auto* task = static_cast<DFTask*>(core::allocate(sizeof(DFTask)));
  if (!task) return DFStatusNoMemory;
  std::memset(static_cast<void*>(task), 0, sizeof(DFTask));
  *handle = task;
  task->breakCount = break_count;
  task->breaks = x;
  task->breakHint = break_hint;
  task->taskTag = 4;
  task->taskVersion = 1;
  task->isDouble = std::is_same_v<T, double>;
  task->wideIndices = wide;
  if (values)
    if (int32_t const status = build_value_rows(*task, values, functions, value_hint)) return status;
  task->valueHint = value_hint;
  task->functionCount = functions;
  return break_hint == DFUniform ? static_cast<int32_t>(DFStatusOk) : build_index<T>(*task);
}

template <class T>
int32_t edit_spline(DFTask* task, int64_t order, int64_t type, int64_t bound_type, T const* bound,
                    int64_t inner_type, T const* inner, T* coefficients, int64_t hint) {
  if (!task) return DFStatusNullTask;
  if (task->taskVersion != 1) return DFStatusOk;
  if (order < 0) return DFStatusBadOrder;
  if (type < 0) return DFStatusBadType;
  task->splineOrder = order;
  task->splineType = type;
  bool const needs_none = bound_type == DFBoundNone || bound_type == DFBoundNotAKnot ||
                          bound_type == DFBoundFreeEnd || bound_type == DFBoundPeriodic;
  if (!needs_none && !bound) return DFStatusNullBoundCond;
  task->boundCondType = bound_type;
  task->boundCond = bound;
  if (inner_type == 0 && inner) return DFStatusBadInnerCondType;
  if (inner_type != 0 && !inner) return DFStatusNullInnerCond;
  task->innerCondType = inner_type;
  task->innerCond = inner;
  if (!coefficients) return DFStatusOk;
  if (int32_t const status = build_coefficient_rows(*task, coefficients, hint)) return status;
  task->coeffHint = hint;
  return DFStatusOk;
}

template <class T>
int32_t edit_pointer(DFTask* task, int64_t code, T const* pointer) {
  if (!task) return DFStatusNullTask;
  if (task->taskVersion != 1) return DFStatusOk;
  switch (code) {
  case DFParamBreaks:
    if (!pointer) return DFStatusNullBreaks;
    task->breaks = pointer;
    return DFStatusOk;
  case DFParamValues:
    if (!pointer) return DFStatusNullValues;
    return build_value_rows(*task, pointer, task->functionCount, task->valueHint);
  case DFParamInnerCond:
    if (!pointer) return DFStatusNullInnerCond;
    task->innerCond = pointer;
    return DFStatusOk;
  case DFParamBoundCond:
    if (!pointer) return DFStatusNullBoundCond;
    task->boundCond = pointer;
    return DFStatusOk;
  case DFParamCoeffs:
    if (!pointer) return DFStatusNullCoeffs;
    return build_coefficient_rows(*task, const_cast<T*>(pointer), task->coeffHint);
  default:
    return DFStatusBadParameter;
  }
}

int32_t check_row(DFTask const& task, int64_t code, int64_t row) {
  if (code != DFParamValues && code != DFParamCoeffs) return DFStatusBadParameter;
  if (code == DFParamValues && task.valueHint == DFInterleaved) return DFStatusBadValueHint;
  if (row < 0 || row >= task.functionCount) return DFStatusBadRowIndex;
  return DFStatusOk;
}

int32_t edit_row(DFTask* task, int64_t code, int64_t row, void const* pointer) {
  if (!task) return DFStatusNullTask;
  if (task->taskVersion != 1) return DFStatusOk;
  if (int32_t const status = check_row(*task, code, row)) return status;
  // A table that was never made has no entry to write.
  if (code == DFParamValues) {
    if (!pointer || !task->valueRows) return DFStatusNullValues;
    task->valueRows[row] = pointer;
  } else {
    if (!pointer || !task->coeffRows) return DFStatusNullCoeffs;
    task->coeffRows[row] = const_cast<void*>(pointer);
  }
  return DFStatusOk;
}

// A row of a table that does not exist is null.
void const* row_of(DFTask const& task, int64_t code, int64_t row) {
  if (code == DFParamValues) return task.valueRows ? task.valueRows[row] : nullptr;
  return task.coeffRows ? task.coeffRows[row] : nullptr;
}

int32_t query_pointer(DFTask const* task, int64_t code, void const** out) {
  if (!task) return DFStatusNullTask;
  if (!out) return DFStatusNullResult;
  if (task->taskVersion != 1) return DFStatusOk;
  switch (code) {
  case DFParamBreaks:
    *out = task->breaks;
    return DFStatusOk;
  case DFParamInnerCond:
    *out = task->innerCond;
    return DFStatusOk;
  case DFParamBoundCond:
    *out = task->boundCond;
    return DFStatusOk;
  case DFParamValues:
  case DFParamCoeffs:
    *out = row_of(*task, code, 0);
    return DFStatusOk;
  default:
    return DFStatusBadParameter;
  }
}

int32_t query_row(DFTask const* task, int64_t code, int64_t row, void const** out) {
  if (!task) return DFStatusNullTask;
  if (!out) return DFStatusNullResult;
  if (task->taskVersion != 1) return DFStatusOk;
  if (int32_t const status = check_row(*task, code, row)) return status;
  *out = row_of(*task, code, row);
  return DFStatusOk;
}

// The 64-bit parameters by code, with the status of a bad value.
struct Parameter {
  int64_t code;
  int64_t DFTask::*field;
  int32_t status;
  bool (*accepts)(int64_t);
};
constexpr Parameter parameters[] = {
    {DFParamBreakCount, &DFTask::breakCount, DFStatusBadBreakCount, [](int64_t v) { return v >= 2; }},
    {DFParamBreakHint, &DFTask::breakHint, DFStatusBadBreakHint, [](int64_t v) { return is_break_hint(v); }},
    {DFParamFunctionCount, &DFTask::functionCount, DFStatusBadFunctionCount, [](int64_t v) { return v > 0; }},
    {DFParamValueHint, &DFTask::valueHint, DFStatusBadValueHint, [](int64_t v) { return is_layout(v); }},
    {DFParamSplineOrder, &DFTask::splineOrder, DFStatusBadOrder, [](int64_t v) { return v >= 0; }},
    {DFParamSplineType, &DFTask::splineType, DFStatusBadType,
     [](int64_t v) { return (v >= 0 && v <= 5) || v == 9; }},
    {DFParamInnerCondType, &DFTask::innerCondType, DFStatusBadInnerCondType,
     [](int64_t v) { return (v >= 0 && v <= 2) || (v & 8) != 0; }},
    {DFParamBoundCondType, &DFTask::boundCondType, DFStatusBadBoundCondType,
     [](int64_t v) { return v >= 0; }},
    {DFParamCoeffHint, &DFTask::coeffHint, DFStatusBadCoeffHint, [](int64_t v) { return is_layout(v); }},
};

int32_t edit_value(DFTask* task, int64_t code, int64_t value) {
  if (!task) return DFStatusNullTask;
  if (task->taskVersion != 1) return DFStatusOk;
  if (code == DFParamCheckFlag) {
    if (value != 0 && value != 1) return DFStatusBadCheckFlag;
    task->checkFlag = static_cast<int32_t>(value);
    return DFStatusOk;
  }
  for (auto const& p : parameters) {
    if (p.code != code) continue;
    if (!p.accepts(value)) return p.status;
    task->*p.field = value;
    if (code == DFParamBreakHint && value == DFNonUniform)
      return task->isDouble ? build_index<double>(*task) : build_index<float>(*task);
    return DFStatusOk;
  }
  return DFStatusBadParameter;
}

int32_t query_value(DFTask const* task, int64_t code, void* out) {
  if (!task) return DFStatusNullTask;
  if (!out) return DFStatusNullResult;
  if (task->taskVersion != 1) return DFStatusOk;
  int64_t value = task->checkFlag;
  if (code != DFParamCheckFlag) {
    Parameter const* found = nullptr;
    for (auto const& p : parameters)
      if (p.code == code) found = &p;
    if (!found) return DFStatusBadParameter;
    value = task->*found->field;
  }
  int32_t const narrow = static_cast<int32_t>(value);
  if (task->wideIndices)
    std::memcpy(out, &value, sizeof value);
  else
    std::memcpy(out, &narrow, sizeof narrow);
  return DFStatusOk;
}

int32_t delete_task(DFTask** handle) {
  if (!handle || !*handle) return DFStatusNullTask;
  DFTask* task = *handle;
  core::deallocate(task->valueRows);
  core::deallocate(task->coeffRows);
  core::deallocate(task->cellIndex);
  core::deallocate(task);
  *handle = nullptr;
  return DFStatusOk;
}

template <class T>
void const** untyped(T** pointer) {
  return const_cast<void const**>(reinterpret_cast<void**>(pointer));
}

} // namespace
} // namespace orv::fitting

namespace fit = orv::fitting;

ORV_EXPORT int32_t orv_df_kernel_DeleteTask(DFTask** task) { return fit::delete_task(task); }
ORV_EXPORT int32_t orv_df_kernel_iEditVal(DFTask* task, int64_t code, int64_t value) {
  return fit::edit_value(task, code, value);
}
ORV_EXPORT int32_t orv_df_kernel_iQueryVal(const DFTask* task, int64_t code, void* value) {
  return fit::query_value(task, code, value);
}

#define ORV_TWIN(t, T)                                                                                       \
  ORV_EXPORT int32_t orv_df_kernel_##t##NewTask1D(DFTask** task, int64_t break_count, const T* breaks,       \
                                                  int64_t break_hint, int64_t functions, const T* values,    \
                                                  int64_t value_hint, int32_t wide) {                        \
    return fit::new_task(task, break_count, breaks, break_hint, functions, values, value_hint, wide);        \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##EditPPSpline1D(                                                      \
      DFTask* task, int64_t order, int64_t type, int64_t bound_type, const T* bound, int64_t inner_type,     \
      const T* inner, T* coefficients, int64_t hint) {                                                       \
    return fit::edit_spline(task, order, type, bound_type, bound, inner_type, inner, coefficients, hint);    \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##EditPtr(DFTask* task, int64_t code, const T* pointer) {              \
    return fit::edit_pointer(task, code, pointer);                                                           \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##EditIdxPtr(DFTask* task, int64_t code, int64_t row,                  \
                                                   const T* pointer) {                                       \
    return fit::edit_row(task, code, row, pointer);                                                          \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##QueryPtr(const DFTask* task, int64_t code, T** pointer) {            \
    return fit::query_pointer(task, code, fit::untyped(pointer));                                            \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##QueryIdxPtr(const DFTask* task, int64_t code, int64_t row,           \
                                                    T** pointer) {                                           \
    return fit::query_row(task, code, row, fit::untyped(pointer));                                           \
  }
ORV_TWIN(d, double)
ORV_TWIN(s, float)
