#include "statistics/task.h"
#include "tests/statistics/support.h"

#include <cstddef>
#include <set>

namespace {
using namespace orv::test;

struct Task {
  SSTask* task = nullptr;
  int dimension = 2;
  Task() { EXPECT_EQ(__rnqdSSNewTask(&task, &dimension, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0); }
  ~Task() { __rnqSSDeleteTask(&task); }
};

TEST(StatisticsTask, CreationChecksInOrder) {
  int const p = 3, n = 4, zero = 0, rows = SSStorageRows, cols = SSStorageCols,
            both = SSStorageRows | SSStorageCols;
  double data[12];
  struct Case {
    const void *dimension, *observations, *storage;
    void* data;
    int status;
  } const cases[] = {
      {nullptr, nullptr, nullptr, nullptr, -4001},
      {&zero, &n, &rows, data, -4001},
      {&p, nullptr, nullptr, nullptr, 0},
      {&p, &zero, &both, nullptr, 0},
      {&p, nullptr, nullptr, data, -4044},
      {&p, nullptr, &both, data, -4003},
      {&p, nullptr, &rows, data, -4002},
      {&p, &zero, &cols, data, -4002},
      {&p, &n, &cols, data, 0},
  };
  for (auto const& c : cases)
    for (auto create : {__rnqdSSNewTask, __rnqsSSNewTask}) {
      SSTask* task = nullptr;
      EXPECT_EQ(create(&task, c.dimension, c.observations, c.storage, c.data, nullptr, nullptr, 0), c.status);
      EXPECT_EQ(task != nullptr, c.status == 0);
      if (!task) continue;
      EXPECT_EQ(reinterpret_cast<uintptr_t>(task) % 128, 0u);
      EXPECT_EQ(task->taskKind, 2);
      EXPECT_EQ(task->isDouble, create == __rnqdSSNewTask);
      EXPECT_EQ(task->data, c.data);
      EXPECT_EQ(task->savedMean, nullptr);
      EXPECT_EQ(task->cleanupCount, 0);
      EXPECT_EQ(__rnqSSDeleteTask(&task), 0);
      EXPECT_EQ(task, nullptr);
    }
}

TEST(StatisticsTask, WideIntegersCountWithBothHalves) {
  int64_t const negative = -1, large = int64_t{1} << 32, p = 3, n = -(int64_t{1} << 40) + 5,
                rows = SSStorageRows;
  double data[3];
  SSTask* task = nullptr;
  EXPECT_EQ(__rnqdSSNewTask(&task, &negative, nullptr, nullptr, nullptr, nullptr, nullptr, 1), -4001);
  EXPECT_EQ(__rnqdSSNewTask(&task, &large, nullptr, nullptr, nullptr, nullptr, nullptr, 1), 0);
  EXPECT_EQ(__rnqSSDeleteTask(&task), 0);
  EXPECT_EQ(__rnqdSSNewTask(&task, &p, &n, &rows, data, nullptr, nullptr, 1), -4002);
}

TEST(StatisticsTask, MemoryFailureAndDeletion) {
  int const p = 3;
  int64_t const blocks = orv_serv_blocks_in_use();
  SSTask* task = reinterpret_cast<SSTask*>(1);
  orv_serv_fail_allocation(1);
  EXPECT_EQ(__rnqsSSNewTask(&task, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), -4000);
  orv_serv_fail_allocation(0);
  EXPECT_EQ(task, nullptr);
  EXPECT_EQ(__rnqSSDeleteTask(nullptr), -4031);
  EXPECT_EQ(__rnqSSDeleteTask(&task), 0);

  ASSERT_EQ(__rnqsSSNewTask(&task, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  static std::string order;
  order.clear();
  EXPECT_TRUE(orv::statistics::add_cleanup(*task, [](SSTask*) { order += 'a'; }));
  for (int k = 1; k < 8; ++k)
    EXPECT_TRUE(orv::statistics::add_cleanup(*task, [](SSTask* t) { order += t ? 'b' : 'x'; }));
  EXPECT_FALSE(orv::statistics::add_cleanup(*task, [](SSTask*) { order += 'c'; }));
  task->savedMean = orv::core::allocate(24);
  EXPECT_EQ(__rnqSSDeleteTask(&task), 0);
  EXPECT_EQ(order, "abbbbbbb");
  EXPECT_EQ(orv_serv_blocks_in_use(), blocks);
}

// Every code: the field it sets, the form that takes it, what a null value gives.
struct Parameter {
  int code;
  size_t offset;
  int null_status;
  bool integer;
};
#define FIELD(name) offsetof(SSTask, name)
Parameter const parameters[] = {
    {1, FIELD(dimension), -4001, true},
    {2, FIELD(observations), -4002, true},
    {3, FIELD(data), -4032, false},
    {4, FIELD(dataStorage), -4044, true},
    {5, FIELD(indices), -4004, true},
    {6, FIELD(weights), -4005, false},
    {7, FIELD(mean), -4006, false},
    {8, FIELD(rawMoment2), -4007, false},
    {9, FIELD(rawMoment3), -4008, false},
    {10, FIELD(rawMoment4), -4009, false},
    {11, FIELD(centralMoment2), -4010, false},
    {12, FIELD(centralMoment3), -4011, false},
    {13, FIELD(centralMoment4), -4012, false},
    {14, FIELD(kurtosis), -4013, false},
    {15, FIELD(skewness), -4014, false},
    {16, FIELD(minimum), -4015, false},
    {17, FIELD(maximum), -4016, false},
    {18, FIELD(variation), -4017, false},
    {19, FIELD(cov), -4018, false},
    {20, FIELD(covStorage), -4044, true},
    {21, FIELD(cor), -4019, false},
    {22, FIELD(corStorage), -4044, true},
    {23, FIELD(accumWeights), -4020, false},
    {24, FIELD(quantileOrderCount), -4022, true},
    {25, FIELD(quantileOrders), -4021, false},
    {26, FIELD(quantiles), -4023, false},
    {27, FIELD(orderStats), -4024, false},
    {28, FIELD(pooledGroupIndices), -4038, true},
    {29, FIELD(pooledCovStorage), -4044, true},
    {30, FIELD(pooledMean), -4035, false},
    {31, FIELD(pooledCov), -4034, false},
    {32, FIELD(groupIndices), -4038, true},
    {33, FIELD(groupMeans), -4037, false},
    {34, FIELD(groupCovStorage), -4044, true},
    {35, FIELD(groupCov), -4036, false},
    {36, FIELD(robustCovStorage), -4044, true},
    {37, FIELD(robustParamCount), -4043, true},
    {38, FIELD(robustParams), -4042, false},
    {39, FIELD(robustMean), -4028, false},
    {40, FIELD(robustCov), -4027, false},
    {41, FIELD(outlierParamCount), -4040, true},
    {42, FIELD(outlierParams), -4039, false},
    {43, FIELD(outlierWeights), -4041, false},
    {44, FIELD(orderStatsStorage), -4044, true},
    {45, FIELD(partialCovIndices), -4045, true},
    {46, FIELD(partialCov), -4046, false},
    {47, FIELD(partialCovStorage), -4044, true},
    {48, FIELD(partialCor), -4047, false},
    {49, FIELD(partialCorStorage), -4044, true},
    {50, FIELD(missingParamCount), -4049, true},
    {51, FIELD(missingParams), -4048, false},
    {52, FIELD(missingInitCount), -4052, true},
    {53, FIELD(missingInitEstimates), -4053, false},
    {54, FIELD(missingSimulatedCount), -4055, true},
    {55, FIELD(missingSimulated), -4054, false},
    {56, FIELD(missingEstimatesCount), -4056, true},
    {57, FIELD(missingEstimates), -4057, false},
    {58, FIELD(missingPriorCount), -4061, true},
    {59, FIELD(missingPriors), -4062, false},
    {60, FIELD(paramCor), -4071, false},
    {61, FIELD(paramCorStorage), -4044, true},
    {62, FIELD(streamQuantileParamCount), -4066, true},
    {63, FIELD(streamQuantileParams), -4065, false},
    {64, FIELD(streamQuantileOrderCount), -4069, true},
    {65, FIELD(streamQuantileOrders), -4068, false},
    {66, FIELD(streamQuantiles), -4070, false},
    {67, FIELD(sum), -4074, false},
    {68, FIELD(rawSum2), -4075, false},
    {69, FIELD(rawSum3), -4076, false},
    {70, FIELD(rawSum4), -4077, false},
    {71, FIELD(centralSum2), -4078, false},
    {72, FIELD(centralSum3), -4079, false},
    {73, FIELD(centralSum4), -4080, false},
    {74, FIELD(crossProduct), -4081, false},
    {75, FIELD(crossProductStorage), -4044, true},
    {76, FIELD(medianAbsDeviation), -4082, false},
    {77, FIELD(meanAbsDeviation), -4083, false},
    {78, FIELD(sortedData), -4084, false},
    {79, FIELD(sortedDataStorage), -4044, true},
};
#undef FIELD

void* field(SSTask* task, size_t offset) {
  void* value;
  std::memcpy(&value, reinterpret_cast<char*>(task) + offset, sizeof value);
  return value;
}

TEST(StatisticsTask, EditsByCode) {
  Task t;
  char values[80];
  std::set<size_t> offsets;
  for (Parameter const& p : parameters) {
    offsets.insert(p.offset);
    void* value = values + p.code;
    SSTask const before = *t.task;
    // The forms of the other kind refuse the code and leave the record alone.
    EXPECT_EQ(p.integer ? __rnqdSSEditTask(t.task, p.code, value) : __rnqiSSEditTask(t.task, p.code, value),
              -3)
        << p.code;
    if (p.integer) {
      EXPECT_EQ(__rnqsSSEditTask(t.task, p.code, value), -3) << p.code;
    }
    for (auto edit : {__rnqdSSEditTask, __rnqsSSEditTask}) {
      if (p.integer) continue;
      EXPECT_EQ(edit(t.task, p.code, nullptr), p.null_status) << p.code;
    }
    if (p.integer) {
      EXPECT_EQ(__rnqiSSEditTask(t.task, p.code, nullptr), p.null_status) << p.code;
    }
    EXPECT_EQ(std::memcmp(&before, t.task, sizeof before), 0);
    EXPECT_EQ(p.integer ? __rnqiSSEditTask(t.task, p.code, value) : __rnqsSSEditTask(t.task, p.code, value),
              0);
    EXPECT_EQ(field(t.task, p.offset), value) << p.code;
    SSTask after = before;
    std::memcpy(reinterpret_cast<char*>(&after) + p.offset, &value, sizeof value);
    EXPECT_EQ(std::memcmp(&after, t.task, sizeof after), 0) << p.code;
  }
  EXPECT_EQ(offsets.size(), std::size(parameters));
  for (int64_t code : {int64_t{0}, int64_t{-1}, int64_t{80}, int64_t{1} << 32 | 3}) {
    EXPECT_EQ(__rnqdSSEditTask(t.task, code, values), -3);
    EXPECT_EQ(__rnqiSSEditTask(t.task, code, values), -3);
  }
  EXPECT_EQ(__rnqdSSEditTask(nullptr, 999, nullptr), -4031);
  EXPECT_EQ(__rnqsSSEditTask(nullptr, 7, values), -4031);
  EXPECT_EQ(__rnqiSSEditTask(nullptr, 1, values), -4031);
}

// A named edit with each argument in turn given and the others null: only that field changes.
template <class... A, size_t... I>
void check_edit(const char* name, int32_t (*edit)(SSTask*, A...), std::vector<size_t> const& fields,
                std::index_sequence<I...>) {
  static char values[16];
  ASSERT_EQ(fields.size(), sizeof...(A)) << name;
  EXPECT_EQ(edit(nullptr, static_cast<A>(values + I)...), -4031) << name;
  Task t;
  SSTask expected = *t.task;
  EXPECT_EQ(edit(t.task, static_cast<A>(nullptr)...), 0) << name;
  EXPECT_EQ(std::memcmp(&expected, t.task, sizeof expected), 0) << name;
  for (size_t k = 0; k < fields.size(); ++k) {
    void* value = values + k;
    EXPECT_EQ(edit(t.task, static_cast<A>(I == k ? values + I : nullptr)...), 0);
    std::memcpy(reinterpret_cast<char*>(&expected) + fields[k], &value, sizeof value);
    EXPECT_EQ(std::memcmp(&expected, t.task, sizeof expected), 0) << name << " argument " << k;
  }
}
template <class... A>
void check_edits(const char* name, int32_t (*d)(SSTask*, A...), int32_t (*s)(SSTask*, A...),
                 std::vector<size_t> fields) {
  check_edit(name, d, fields, std::index_sequence_for<A...>());
  check_edit(name, s, fields, std::index_sequence_for<A...>());
}

TEST(StatisticsTask, NamedEdits) {
#define F(name) offsetof(SSTask, name)
#define CHECK_EDITS(name, ...) check_edits(#name, __rnqdSSEdit##name, __rnqsSSEdit##name, {__VA_ARGS__})
  CHECK_EDITS(Moments, F(mean), F(rawMoment2), F(rawMoment3), F(rawMoment4), F(centralMoment2),
              F(centralMoment3), F(centralMoment4));
  CHECK_EDITS(Sums, F(sum), F(rawSum2), F(rawSum3), F(rawSum4), F(centralSum2), F(centralSum3),
              F(centralSum4));
  CHECK_EDITS(CovCor, F(mean), F(cov), F(covStorage), F(cor), F(corStorage));
  CHECK_EDITS(CP, F(mean), F(sum), F(crossProduct), F(crossProductStorage));
  CHECK_EDITS(PartialCovCor, F(partialCovIndices), F(cov), F(covStorage), F(cor), F(corStorage),
              F(partialCov), F(partialCovStorage), F(partialCor), F(partialCorStorage));
  CHECK_EDITS(Quantiles, F(quantileOrderCount), F(quantileOrders), F(quantiles), F(orderStats),
              F(orderStatsStorage));
  CHECK_EDITS(StreamQuantiles, F(streamQuantileOrderCount), F(streamQuantileOrders), F(streamQuantiles),
              F(streamQuantileParamCount), F(streamQuantileParams));
  CHECK_EDITS(PooledCovariance, F(pooledGroupIndices), F(pooledMean), F(pooledCov), F(groupIndices),
              F(groupMeans), F(groupCov));
  CHECK_EDITS(MtxParametrz, F(cor), F(corStorage), F(paramCor), F(paramCorStorage));
  CHECK_EDITS(RCov, F(robustCovStorage), F(robustParamCount), F(robustParams), F(robustMean), F(robustCov));
  CHECK_EDITS(OutDetect, F(outlierParamCount), F(outlierParams), F(outlierWeights));
  CHECK_EDITS(MissingVals, F(missingParamCount), F(missingParams), F(missingInitCount),
              F(missingInitEstimates), F(missingPriorCount), F(missingPriors), F(missingSimulatedCount),
              F(missingSimulated), F(missingEstimatesCount), F(missingEstimates));
}

// The record is memory that callers may know: words in this order.
TEST(StatisticsTask, RecordIsAddressSizedWords) {
  constexpr size_t word = sizeof(void*);
  EXPECT_EQ(F(taskKind), word);
  EXPECT_EQ(F(dimension), 3 * word);
  EXPECT_EQ(F(mean), 12 * word);
  EXPECT_EQ(F(cleanupCount), 88 * word);
  EXPECT_EQ(F(sortedData), 97 * word);
  EXPECT_EQ(sizeof(SSTask), 100 * word);
}

} // namespace
