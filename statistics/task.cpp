// The task: creation, edits, deletion.
#include "statistics/task.h"

#include "frame/export.h"

#include <cstring>

namespace orv::statistics {
namespace {

struct Parameter {
  size_t offset;
  int32_t null_status;
  bool integer;
};

// Codes 1 to 79, in order.
#define PARAMETER(field, status, integer)                                                                    \
  { offsetof(SSTask, field), status, integer }
constexpr Parameter parameters[] = {
    PARAMETER(dimension, -4001, true),                // 1
    PARAMETER(observations, -4002, true),             // 2
    PARAMETER(data, -4032, false),                    // 3
    PARAMETER(dataStorage, -4044, true),              // 4
    PARAMETER(indices, -4004, true),                  // 5
    PARAMETER(weights, -4005, false),                 // 6
    PARAMETER(mean, -4006, false),                    // 7
    PARAMETER(rawMoment2, -4007, false),              // 8
    PARAMETER(rawMoment3, -4008, false),              // 9
    PARAMETER(rawMoment4, -4009, false),              // 10
    PARAMETER(centralMoment2, -4010, false),          // 11
    PARAMETER(centralMoment3, -4011, false),          // 12
    PARAMETER(centralMoment4, -4012, false),          // 13
    PARAMETER(kurtosis, -4013, false),                // 14
    PARAMETER(skewness, -4014, false),                // 15
    PARAMETER(minimum, -4015, false),                 // 16
    PARAMETER(maximum, -4016, false),                 // 17
    PARAMETER(variation, -4017, false),               // 18
    PARAMETER(cov, -4018, false),                     // 19
    PARAMETER(covStorage, -4044, true),               // 20
    PARAMETER(cor, -4019, false),                     // 21
    PARAMETER(corStorage, -4044, true),               // 22
    PARAMETER(accumWeights, -4020, false),            // 23
    PARAMETER(quantileOrderCount, -4022, true),       // 24
    PARAMETER(quantileOrders, -4021, false),          // 25
    PARAMETER(quantiles, -4023, false),               // 26
    PARAMETER(orderStats, -4024, false),              // 27
    PARAMETER(pooledGroupIndices, -4038, true),       // 28
    PARAMETER(pooledCovStorage, -4044, true),         // 29
    PARAMETER(pooledMean, -4035, false),              // 30
    PARAMETER(pooledCov, -4034, false),               // 31
    PARAMETER(groupIndices, -4038, true),             // 32
    PARAMETER(groupMeans, -4037, false),              // 33
    PARAMETER(groupCovStorage, -4044, true),          // 34
    PARAMETER(groupCov, -4036, false),                // 35
    PARAMETER(robustCovStorage, -4044, true),         // 36
    PARAMETER(robustParamCount, -4043, true),         // 37
    PARAMETER(robustParams, -4042, false),            // 38
    PARAMETER(robustMean, -4028, false),              // 39
    PARAMETER(robustCov, -4027, false),               // 40
    PARAMETER(outlierParamCount, -4040, true),        // 41
    PARAMETER(outlierParams, -4039, false),           // 42
    PARAMETER(outlierWeights, -4041, false),          // 43
    PARAMETER(orderStatsStorage, -4044, true),        // 44
    PARAMETER(partialCovIndices, -4045, true),        // 45
    PARAMETER(partialCov, -4046, false),              // 46
    PARAMETER(partialCovStorage, -4044, true),        // 47
    PARAMETER(partialCor, -4047, false),              // 48
    PARAMETER(partialCorStorage, -4044, true),        // 49
    PARAMETER(missingParamCount, -4049, true),        // 50
    PARAMETER(missingParams, -4048, false),           // 51
    PARAMETER(missingInitCount, -4052, true),         // 52
    PARAMETER(missingInitEstimates, -4053, false),    // 53
    PARAMETER(missingSimulatedCount, -4055, true),    // 54
    PARAMETER(missingSimulated, -4054, false),        // 55
    PARAMETER(missingEstimatesCount, -4056, true),    // 56
    PARAMETER(missingEstimates, -4057, false),        // 57
    PARAMETER(missingPriorCount, -4061, true),        // 58
    PARAMETER(missingPriors, -4062, false),           // 59
    PARAMETER(paramCor, -4071, false),                // 60
    PARAMETER(paramCorStorage, -4044, true),          // 61
    PARAMETER(streamQuantileParamCount, -4066, true), // 62
    PARAMETER(streamQuantileParams, -4065, false),    // 63
    PARAMETER(streamQuantileOrderCount, -4069, true), // 64
    PARAMETER(streamQuantileOrders, -4068, false),    // 65
    PARAMETER(streamQuantiles, -4070, false),         // 66
    PARAMETER(sum, -4074, false),                     // 67
    PARAMETER(rawSum2, -4075, false),                 // 68
    PARAMETER(rawSum3, -4076, false),                 // 69
    PARAMETER(rawSum4, -4077, false),                 // 70
    PARAMETER(centralSum2, -4078, false),             // 71
    PARAMETER(centralSum3, -4079, false),             // 72
    PARAMETER(centralSum4, -4080, false),             // 73
    PARAMETER(crossProduct, -4081, false),            // 74
    PARAMETER(crossProductStorage, -4044, true),      // 75
    PARAMETER(medianAbsDeviation, -4082, false),      // 76
    PARAMETER(meanAbsDeviation, -4083, false),        // 77
    PARAMETER(sortedData, -4084, false),              // 78
    PARAMETER(sortedDataStorage, -4044, true),        // 79
};
#undef PARAMETER
static_assert(std::size(parameters) == 79);

int32_t edit(SSTask* task, int64_t code, void const* value, bool integer) {
  if (!task) return SSNullTask;
  if (code < 1 || code > static_cast<int64_t>(std::size(parameters))) return SSUnknownParameter;
  Parameter const& p = parameters[code - 1];
  if (p.integer != integer) return SSUnknownParameter;
  if (!value) return p.null_status;
  std::memcpy(reinterpret_cast<char*>(task) + p.offset, &value, sizeof value);
  return 0;
}

// Named edits leave a field alone when there is nothing for it.
template <class A>
void set(A& field, A value) {
  if (value) field = value;
}

int32_t create(SSTask** out, void const* dimension, void const* observations, void const* storage, void* data,
               void* weights, void const* indices, intptr_t wide, bool is_double) {
  if (!out) return SSNullTask;
  SSTask task{};
  task.wideIntegers = wide;
  if (!dimension || both_halves(task, dimension) <= 0) return SSBadDimension;
  if (data) {
    if (!storage) return SSNullStorage;
    int32_t const layout = integer(task, storage);
    if (layout != SSStorageRows && layout != SSStorageCols) return SSBadStorage;
    if (!observations || both_halves(task, observations) <= 0) return SSBadObservations;
  }
  *out = static_cast<SSTask*>(core::allocate(sizeof(SSTask)));
  if (!*out) return SSOutOfMemory;
  task.taskKind = 2;
  task.isDouble = is_double;
  task.dimension = dimension;
  task.observations = observations;
  task.dataStorage = storage;
  task.data = data;
  task.weights = weights;
  task.indices = indices;
  **out = task;
  return 0;
}

} // namespace

bool add_cleanup(SSTask& task, void (*function)(SSTask*)) {
  if (task.cleanupCount >= static_cast<intptr_t>(std::size(task.cleanupList))) return false;
  task.cleanupList[task.cleanupCount++] = function;
  return true;
}

} // namespace orv::statistics

using namespace orv::statistics;

#define NEW_AND_EDIT(t, is_double)                                                                           \
  ORV_EXPORT int32_t __rnq##t##SSNewTask(SSTask** task, const void* dimension, const void* observations,     \
                                         const void* dataStorage, void* data, void* weights,                 \
                                         const void* indices, intptr_t wideIntegers) {                       \
    return create(task, dimension, observations, dataStorage, data, weights, indices, wideIntegers,          \
                  is_double);                                                                                \
  }                                                                                                          \
  ORV_EXPORT int32_t __rnq##t##SSEditTask(SSTask* task, int64_t code, void* value) {                         \
    return edit(task, code, value, false);                                                                   \
  }
NEW_AND_EDIT(d, true)
NEW_AND_EDIT(s, false)

ORV_EXPORT int32_t __rnqiSSEditTask(SSTask* task, int64_t code, const void* value) {
  return edit(task, code, value, true);
}

ORV_EXPORT int32_t __rnqSSDeleteTask(SSTask** handle) {
  if (!handle) return SSNullTask;
  SSTask* task = *handle;
  if (!task) return 0;
  orv::core::deallocate(task->savedMean);
  for (intptr_t i = 0; i < task->cleanupCount; ++i) task->cleanupList[i](task);
  orv::core::deallocate(task);
  *handle = nullptr;
  return 0;
}

// Addresses know no precision: one operation under two names.
#define NAMED_EDIT(name, arguments, ...)                                                                     \
  ORV_EXPORT int32_t __rnqdSSEdit##name arguments {                                                          \
    if (!task) return SSNullTask;                                                                            \
    __VA_ARGS__;                                                                                             \
    return 0;                                                                                                \
  }                                                                                                          \
  ORV_EXPORT int32_t __rnqsSSEdit##name arguments {                                                          \
    if (!task) return SSNullTask;                                                                            \
    __VA_ARGS__;                                                                                             \
    return 0;                                                                                                \
  }
NAMED_EDIT(Moments,
           (SSTask * task, void* mean, void* rawMoment2, void* rawMoment3, void* rawMoment4,
            void* centralMoment2, void* centralMoment3, void* centralMoment4),
           set(task->mean, mean), set(task->rawMoment2, rawMoment2), set(task->rawMoment3, rawMoment3),
           set(task->rawMoment4, rawMoment4), set(task->centralMoment2, centralMoment2),
           set(task->centralMoment3, centralMoment3), set(task->centralMoment4, centralMoment4))
NAMED_EDIT(Sums,
           (SSTask * task, void* sum, void* rawSum2, void* rawSum3, void* rawSum4, void* centralSum2,
            void* centralSum3, void* centralSum4),
           set(task->sum, sum), set(task->rawSum2, rawSum2), set(task->rawSum3, rawSum3),
           set(task->rawSum4, rawSum4), set(task->centralSum2, centralSum2),
           set(task->centralSum3, centralSum3), set(task->centralSum4, centralSum4))
NAMED_EDIT(CovCor,
           (SSTask * task, void* mean, void* cov, const void* covStorage, void* cor, const void* corStorage),
           set(task->mean, mean), set(task->cov, cov), set(task->covStorage, covStorage), set(task->cor, cor),
           set(task->corStorage, corStorage))
NAMED_EDIT(CP, (SSTask * task, void* mean, void* sum, void* crossProduct, const void* crossProductStorage),
           set(task->mean, mean), set(task->sum, sum), set(task->crossProduct, crossProduct),
           set(task->crossProductStorage, crossProductStorage))
NAMED_EDIT(PartialCovCor,
           (SSTask * task, const void* partialCovIndices, void* cov, const void* covStorage, void* cor,
            const void* corStorage, void* partialCov, const void* partialCovStorage, void* partialCor,
            const void* partialCorStorage),
           set(task->partialCovIndices, partialCovIndices), set(task->cov, cov),
           set(task->covStorage, covStorage), set(task->cor, cor), set(task->corStorage, corStorage),
           set(task->partialCov, partialCov), set(task->partialCovStorage, partialCovStorage),
           set(task->partialCor, partialCor), set(task->partialCorStorage, partialCorStorage))
NAMED_EDIT(Quantiles,
           (SSTask * task, const void* quantileOrderCount, void* quantileOrders, void* quantiles,
            void* orderStats, const void* orderStatsStorage),
           set(task->quantileOrderCount, quantileOrderCount), set(task->quantileOrders, quantileOrders),
           set(task->quantiles, quantiles), set(task->orderStats, orderStats),
           set(task->orderStatsStorage, orderStatsStorage))
NAMED_EDIT(StreamQuantiles,
           (SSTask * task, const void* streamQuantileOrderCount, void* streamQuantileOrders,
            void* streamQuantiles, const void* streamQuantileParamCount, void* streamQuantileParams),
           set(task->streamQuantileOrderCount, streamQuantileOrderCount),
           set(task->streamQuantileOrders, streamQuantileOrders), set(task->streamQuantiles, streamQuantiles),
           set(task->streamQuantileParamCount, streamQuantileParamCount),
           set(task->streamQuantileParams, streamQuantileParams))
NAMED_EDIT(PooledCovariance,
           (SSTask * task, const void* pooledGroupIndices, void* pooledMean, void* pooledCov,
            const void* groupIndices, void* groupMeans, void* groupCov),
           set(task->pooledGroupIndices, pooledGroupIndices), set(task->pooledMean, pooledMean),
           set(task->pooledCov, pooledCov), set(task->groupIndices, groupIndices),
           set(task->groupMeans, groupMeans), set(task->groupCov, groupCov))
NAMED_EDIT(MtxParametrz,
           (SSTask * task, void* cor, const void* corStorage, void* paramCor, const void* paramCorStorage),
           set(task->cor, cor), set(task->corStorage, corStorage), set(task->paramCor, paramCor),
           set(task->paramCorStorage, paramCorStorage))
NAMED_EDIT(RCov,
           (SSTask * task, const void* robustCovStorage, const void* robustParamCount, void* robustParams,
            void* robustMean, void* robustCov),
           set(task->robustCovStorage, robustCovStorage), set(task->robustParamCount, robustParamCount),
           set(task->robustParams, robustParams), set(task->robustMean, robustMean),
           set(task->robustCov, robustCov))
NAMED_EDIT(OutDetect,
           (SSTask * task, const void* outlierParamCount, void* outlierParams, void* outlierWeights),
           set(task->outlierParamCount, outlierParamCount), set(task->outlierParams, outlierParams),
           set(task->outlierWeights, outlierWeights))
NAMED_EDIT(MissingVals,
           (SSTask * task, const void* missingParamCount, void* missingParams, const void* missingInitCount,
            void* missingInitEstimates, const void* missingPriorCount, void* missingPriors,
            const void* missingSimulatedCount, void* missingSimulated, const void* missingEstimatesCount,
            void* missingEstimates),
           set(task->missingParamCount, missingParamCount), set(task->missingParams, missingParams),
           set(task->missingInitCount, missingInitCount),
           set(task->missingInitEstimates, missingInitEstimates),
           set(task->missingPriorCount, missingPriorCount), set(task->missingPriors, missingPriors),
           set(task->missingSimulatedCount, missingSimulatedCount),
           set(task->missingSimulated, missingSimulated),
           set(task->missingEstimatesCount, missingEstimatesCount),
           set(task->missingEstimates, missingEstimates))
