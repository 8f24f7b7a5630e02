// The task record: creation, edits, queries and their statuses in order, the cell index, allocation failures.
#include "support.h"

using namespace fit_test;

namespace {

template <class T>
class TaskRecord : public testing::Test {};
using Reals = testing::Types<double, float>;
TYPED_TEST_SUITE(TaskRecord, Reals);

TYPED_TEST(TaskRecord, CreationChecksItsArgumentsInOrder) {
  using T = TypeParam;
  T const x[] = {0, 1, 2}, y[] = {1, 2, 3};
  struct Case {
    int64_t n;
    T const* x;
    int64_t hint, functions;
    T const* y;
    int64_t layout;
    int32_t want;
  };
  Case const cases[] = {
      {1, nullptr, 3, 1, nullptr, 1, DFStatusBadBreakCount},
      {3, nullptr, 3, 1, nullptr, 1, DFStatusNullBreaks},
      {3, x, 3, 1, nullptr, 1, DFStatusBadBreakHint},
      {3, x, 2, 1, nullptr, 1, DFStatusNullValues},
      {3, x, 2, 0, y, 1, DFStatusBadFunctionCount},
      {3, x, 2, 1, y, 64, DFStatusBadValueHint},
      {3, x, 0, 0, nullptr, 0, 0},
      {3, x, 4, 1, y, 128, 0},
  };
  for (auto const& c : cases) {
    DFTask* task = nullptr;
    EXPECT_EQ(Entries<T>::new_task(&task, c.n, c.x, c.hint, c.functions, c.y, c.layout, 0), c.want);
    EXPECT_EQ(orv_df_kernel_DeleteTask(&task), c.want == 0 ? 0 : DFStatusNullTask);
    EXPECT_EQ(task, nullptr);
  }
  EXPECT_EQ(orv_df_kernel_DeleteTask(nullptr), DFStatusNullTask);
}

TYPED_TEST(TaskRecord, FieldsAndRows) {
  using T = TypeParam;
  Task<T> task({0, 1, 2, 4}, std::vector<T>(8, 1), 2);
  EXPECT_EQ(task.task->taskTag, 4);
  EXPECT_EQ(task.task->taskVersion, 1);
  EXPECT_EQ(task.task->isDouble, sizeof(T) == 8);
  EXPECT_EQ(task.task->indexSlots, 16);
  EXPECT_EQ(task.task->valueRows[1], task.y.data() + 4);
  task.spline(3, 0, 2);
  EXPECT_EQ(task.task->coeffRows[1], task.coefficients.data() + 9);
  task.spline(3, 1, 2);
  EXPECT_EQ(task.task->coeffRows[1], task.coefficients.data() + 12);
  ASSERT_EQ(orv_df_kernel_iEditVal(task.task, DFParamCoeffHint, DFFirstRow), 0);
  ASSERT_EQ(Entries<T>::edit_pointer(task.task, DFParamCoeffs, task.coefficients.data()), 0);
  EXPECT_EQ(task.task->coeffRows[1], nullptr);
  ASSERT_EQ(Entries<T>::edit_row(task.task, DFParamCoeffs, 1, task.x.data()), 0);
  T* row = nullptr;
  ASSERT_EQ(Entries<T>::query_row(task.task, DFParamCoeffs, 1, &row), 0);
  EXPECT_EQ(row, task.x.data());
  Task<T> interleaved({0, 1}, {1, 2, 3, 4}, 2, DFUniform, DFInterleaved);
  EXPECT_EQ(interleaved.task->cellIndex, nullptr);
  EXPECT_EQ(Entries<T>::query_row(interleaved.task, DFParamValues, 0, &row), DFStatusBadValueHint);
  EXPECT_EQ(Entries<T>::edit_row(interleaved.task, DFParamValues, 9, nullptr), DFStatusBadValueHint);
}

TYPED_TEST(TaskRecord, ParametersAreCheckedStoredAndQueried) {
  using T = TypeParam;
  struct Case {
    int64_t code;
    std::vector<int64_t> good, bad;
    int32_t status;
  };
  Case const cases[] = {
      {DFParamBreakCount, {2, 9}, {1, -1}, DFStatusBadBreakCount},
      {DFParamBreakHint, {0, 2, 4}, {3, 8, -1}, DFStatusBadBreakHint},
      {DFParamFunctionCount, {1, 5}, {0, -2}, DFStatusBadFunctionCount},
      {DFParamValueHint, {0, 16, 32, 128}, {1, 64, -1}, DFStatusBadValueHint},
      {DFParamSplineOrder, {0, 7}, {-1}, DFStatusBadOrder},
      {DFParamSplineType, {0, 1, 5, 9}, {6, 7, 8, 10, -1}, DFStatusBadType},
      {DFParamInnerCondType, {0, 1, 2, 8, 12, 27}, {3, 4, 7, 16}, DFStatusBadInnerCondType},
      {DFParamBoundCondType, {0, 3, 64}, {-1}, DFStatusBadBoundCondType},
      {DFParamCoeffHint, {0, 16, 32, 128}, {4, -1}, DFStatusBadCoeffHint},
      {DFParamCheckFlag, {0, 1}, {2, -1}, DFStatusBadCheckFlag},
  };
  for (int32_t const wide : {0, 1}) {
    Task<T> task({0, 1, 2}, {}, 0, DFNonUniform, DFRows, wide);
    for (auto const& c : cases) {
      for (int64_t const v : c.bad) EXPECT_EQ(orv_df_kernel_iEditVal(task.task, c.code, v), c.status);
      for (int64_t const v : c.good) {
        EXPECT_EQ(orv_df_kernel_iEditVal(task.task, c.code, v), 0);
        int64_t got = -1;
        EXPECT_EQ(orv_df_kernel_iQueryVal(task.task, c.code, &got), 0);
        EXPECT_EQ(wide ? got : got & 0xFFFFFFFF, v);
        EXPECT_EQ(wide || got >> 32 == -1, true); // the upper half stays as it was
      }
      EXPECT_EQ(orv_df_kernel_iQueryVal(task.task, c.code, nullptr), DFStatusNullResult);
      EXPECT_EQ(orv_df_kernel_iEditVal(nullptr, c.code, c.good[0]), DFStatusNullTask);
    }
    int64_t got = 0;
    for (int64_t const code : {0, 1, 5, 6, 13, 24}) {
      EXPECT_EQ(orv_df_kernel_iEditVal(task.task, code, 1), DFStatusBadParameter);
      EXPECT_EQ(orv_df_kernel_iQueryVal(task.task, code, &got), DFStatusBadParameter);
    }
    EXPECT_EQ(orv_df_kernel_iQueryVal(nullptr, 14, nullptr), DFStatusNullTask);
  }
}

TYPED_TEST(TaskRecord, PointersAndSplineEdits) {
  using T = TypeParam;
  using E = Entries<T>;
  T const a[] = {1, 2, 3, 4, 5, 6, 7, 8};
  T c[64];
  Task<T> task({0, 1, 2}, std::vector<T>(6, 0), 2), empty({0, 1, 2}, {}, 0);
  struct Case {
    int64_t code;
    int32_t null_status;
  };
  for (auto const& [code, status] :
       {Case{DFParamBreaks, DFStatusNullBreaks}, Case{DFParamValues, DFStatusNullValues},
        Case{DFParamInnerCond, DFStatusNullInnerCond}, Case{DFParamBoundCond, DFStatusNullBoundCond},
        Case{DFParamCoeffs, DFStatusNullCoeffs}}) {
    EXPECT_EQ(E::edit_pointer(task.task, code, nullptr), status);
    EXPECT_EQ(E::edit_pointer(nullptr, code, nullptr), DFStatusNullTask);
    EXPECT_EQ(E::edit_pointer(task.task, code, a), 0);
    T* got = nullptr;
    EXPECT_EQ(E::query_pointer(task.task, code, &got), 0);
    EXPECT_EQ(got, a);
    EXPECT_EQ(E::query_pointer(task.task, code, nullptr), DFStatusNullResult);
  }
  EXPECT_EQ(E::edit_pointer(task.task, 6, nullptr), DFStatusBadParameter);
  EXPECT_EQ(E::edit_pointer(empty.task, DFParamCoeffs, nullptr), DFStatusNullCoeffs);
  EXPECT_EQ(E::edit_pointer(empty.task, DFParamCoeffs, a), DFStatusBadFunctionCount);
  EXPECT_EQ(E::edit_pointer(empty.task, DFParamValues, a), 0);
  T* got = c;
  EXPECT_EQ(E::query_pointer(empty.task, DFParamCoeffs, &got), 0);
  EXPECT_EQ(got, nullptr);

  EXPECT_EQ(E::edit_row(task.task, 3, 0, a), DFStatusBadParameter);
  EXPECT_EQ(E::edit_row(task.task, DFParamValues, 2, nullptr), DFStatusBadRowIndex);
  EXPECT_EQ(E::edit_row(task.task, DFParamValues, -1, a), DFStatusBadRowIndex);
  EXPECT_EQ(E::edit_row(task.task, DFParamValues, 1, nullptr), DFStatusNullValues);
  EXPECT_EQ(E::edit_row(task.task, DFParamCoeffs, 1, nullptr), DFStatusNullCoeffs);
  EXPECT_EQ(E::query_row(task.task, DFParamCoeffs, 2, &got), DFStatusBadRowIndex);

  EXPECT_EQ(E::edit_spline(nullptr, -1, -1, 4, nullptr, 0, nullptr, nullptr, 0), DFStatusNullTask);
  EXPECT_EQ(E::edit_spline(task.task, -1, -1, 4, nullptr, 0, a, nullptr, 0), DFStatusBadOrder);
  EXPECT_EQ(E::edit_spline(task.task, 4, -1, 4, nullptr, 0, a, nullptr, 0), DFStatusBadType);
  EXPECT_EQ(E::edit_spline(task.task, 5, 8, 4, nullptr, 0, a, nullptr, 0), DFStatusNullBoundCond);
  EXPECT_EQ(task.task->splineOrder, 5); // stored before the failure
  EXPECT_EQ(E::edit_spline(task.task, 4, 0, 64, nullptr, 0, a, nullptr, 0), DFStatusBadInnerCondType);
  EXPECT_EQ(task.task->boundCondType, 64);
  EXPECT_EQ(E::edit_spline(task.task, 4, 0, 2, nullptr, 1, nullptr, nullptr, 0), DFStatusNullInnerCond);
  EXPECT_EQ(E::edit_spline(empty.task, 4, 0, 2, nullptr, 0, nullptr, c, 0), DFStatusBadFunctionCount);
  // Tasks of another version are left alone.
  task.task->taskVersion = 2;
  EXPECT_EQ(orv_df_kernel_iEditVal(task.task, DFParamBreakCount, -5), 0);
  EXPECT_EQ(E::edit_pointer(task.task, 77, nullptr), 0);
}

TYPED_TEST(TaskRecord, EveryBucketOfTheIndexHoldsItsSites) {
  using T = TypeParam;
  std::mt19937_64 g(4);
  for (int const n : {2, 3, 15, 17, 300, 4000, 20000})
    for (Shape const shape : {Shape::Even, Shape::Random}) {
      Task<T> task(partition<T>(shape, n, g), {}, 0);
      auto const m = static_cast<int>(task.task->indexSlots);
      ASSERT_EQ(m, std::clamp(n / 16, 16, 1024));
      T const scale = sizeof(T) == 8 ? static_cast<T>(task.task->indexScale.d) : task.task->indexScale.s;
      for (T const s : random_values<T>(500, g, task.x.front(), task.x.back())) {
        auto const b = static_cast<int>((s - task.x.front()) * scale);
        auto const cell = std::upper_bound(task.x.begin(), task.x.end(), s) - task.x.begin();
        ASSERT_LE(task.task->cellIndex[b][0], cell - (cell > 0));
        ASSERT_GE(task.task->cellIndex[b][1], std::min<ptrdiff_t>(cell, n - 1));
      }
    }
}

TYPED_TEST(TaskRecord, EveryAllocationMayFail) {
  using T = TypeParam;
  T const x[] = {0, 1, 2}, y[] = {1, 2, 3};
  T c[64];
  auto create = [&] {
    DFTask* task = nullptr;
    int32_t const status = Entries<T>::new_task(&task, 3, x, 1, 1, y, 16, 0);
    if (task) orv_df_kernel_DeleteTask(&task);
    return status;
  };
  EXPECT_EQ(walk_allocations(create), 3);
  Task<T> task({0, 1, 2}, {1, 2, 3});
  for (int const edit : {0, 1, 2, 3}) {
    orv_serv_fail_allocation(1);
    int32_t const status = edit == 0   ? Entries<T>::edit_pointer(task.task, DFParamValues, y)
                           : edit == 1 ? Entries<T>::edit_pointer(task.task, DFParamCoeffs, c)
                           : edit == 2 ? Entries<T>::edit_spline(task.task, 4, 0, 2, 0, 0, 0, c, 16)
                                       : orv_df_kernel_iEditVal(task.task, DFParamBreakHint, 1);
    orv_serv_fail_allocation(0);
    EXPECT_EQ(status, DFStatusNoMemory) << edit;
  }
  // A task without an index still searches.
  int32_t cell = -1;
  T const site = T(1.5);
  EXPECT_EQ(Entries<T>::search(task.task, 0, 1, &site, 0, nullptr, &cell, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(cell, 2);
}

} // namespace
