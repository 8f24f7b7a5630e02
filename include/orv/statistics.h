/* Summary statistics: a task that points at a data set and its results, and entries that compute.
 *
 * A task holds addresses only: arrays and integers are the caller's, are read anew at each call, and must
 * stay valid until the last one. Reals are double in the `d` family and float in the `s` family; integers are
 * 32 bits, or 64 if the task was made with `wideIntegers` other than 0. A task serves one thread at a time.
 *
 * Data come in blocks of any size: point `data`, `weights` and `observations` at the next block and compute
 * again. What is carried from call to call stands in the caller's result arrays and in `accumWeights`, whose
 * first element is 0 before the first block.
 */
#ifndef ORV_STATISTICS_H
#define ORV_STATISTICS_H

#include "orv/platform.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Layout of a data set of p variables and n observations. */
enum {
  SSStorageRows = 0x10000, /* a variable is contiguous: (variable j, observation i) at j n + i */
  SSStorageCols = 0x20000  /* an observation is contiguous: at i p + j */
};

/* Layout of a symmetric p by p matrix. */
enum {
  SSMatrixFull = 0,
  SSMatrixLowerPacked = 1, /* (0,0), (1,0), (1,1), (2,0), ... */
  SSMatrixUpperPacked = 2  /* (0,0), (0,1), ..., (0,p-1), (1,1), ... */
};

/* Estimates: bits of a 64-bit word. */
#define SSMean UINT64_C(0x1)
#define SSRawMoment2 UINT64_C(0x2)
#define SSRawMoment3 UINT64_C(0x4)
#define SSRawMoment4 UINT64_C(0x8)
#define SSCentralMoment2 UINT64_C(0x10)
#define SSCentralMoment3 UINT64_C(0x20)
#define SSCentralMoment4 UINT64_C(0x40)
#define SSKurtosis UINT64_C(0x80)
#define SSSkewness UINT64_C(0x100)
#define SSVariation UINT64_C(0x200)
#define SSMinimum UINT64_C(0x400)
#define SSMaximum UINT64_C(0x800)
#define SSCovariance UINT64_C(0x1000)
#define SSCorrelation UINT64_C(0x2000)
#define SSPooledCovariance UINT64_C(0x4000)
#define SSGroupCovariance UINT64_C(0x8000)
#define SSQuantiles UINT64_C(0x10000)
#define SSOrderStatistics UINT64_C(0x20000)
#define SSPartialCovariance UINT64_C(0x100000)
#define SSPartialCorrelation UINT64_C(0x200000)
#define SSSum UINT64_C(0x2000000)
#define SSRawSum2 UINT64_C(0x4000000)
#define SSRawSum3 UINT64_C(0x8000000)
#define SSRawSum4 UINT64_C(0x10000000)
#define SSCentralSum2 UINT64_C(0x20000000)
#define SSCentralSum3 UINT64_C(0x40000000)
#define SSCentralSum4 UINT64_C(0x80000000)
#define SSCrossProduct UINT64_C(0x100000000)
#define SSMedianAbsDeviation UINT64_C(0x200000000)
#define SSMeanAbsDeviation UINT64_C(0x400000000)
#define SSPooledMean UINT64_C(0x800000000)
#define SSGroupMeans UINT64_C(0x1000000000)

/* The estimates that each entry serves. An entry leaves the others' arrays alone, whether asked or not, and
 * returns 0 all the same: _rnqdSSBasic with SSQuantiles does nothing. */
#define SSEstimatesOfBasic                                                                                   \
  (SSMean | SSRawMoment2 | SSRawMoment3 | SSRawMoment4 | SSCentralMoment2 | SSCentralMoment3 |               \
   SSCentralMoment4 | SSKurtosis | SSSkewness | SSVariation | SSCovariance | SSCorrelation | SSSum |         \
   SSRawSum2 | SSRawSum3 | SSRawSum4 | SSCentralSum2 | SSCentralSum3 | SSCentralSum4 | SSCrossProduct)
#define SSEstimatesOfMinmax (SSMinimum | SSMaximum)
#define SSEstimatesOfQuantiles (SSQuantiles | SSOrderStatistics)
#define SSEstimatesOfMAD (SSMedianAbsDeviation | SSMeanAbsDeviation)
#define SSEstimatesOfPooledCovariance (SSPooledCovariance | SSGroupCovariance | SSPooledMean | SSGroupMeans)
#define SSEstimatesOfPartialCovariance (SSPartialCovariance | SSPartialCorrelation)

/* Methods: bits of a 64-bit word. */
#define SSMethodFast UINT64_C(0x1)
#define SSMethodOnePass UINT64_C(0x2)
#define SSMethodCorParametrize UINT64_C(0x4)
#define SSMethodRobust UINT64_C(0x8)
#define SSMethodMultipleImpute UINT64_C(0x10)
#define SSMethodOutlierSearch UINT64_C(0x20)
#define SSMethodStreamReport UINT64_C(0x40)
#define SSMethodStreamUpdate UINT64_C(0x80)
#define SSMethodFastUserMean UINT64_C(0x100)
#define SSMethodFromSums UINT64_C(0x200)
#define SSMethodFromSumsB UINT64_C(0x400)
#define SSMethodSort UINT64_C(0x100000)

/* Statuses: 0 is success. */
enum {
  SSUnknownParameter = -3,
  SSOutOfMemory = -4000,
  SSBadDimension = -4001,
  SSBadObservations = -4002,
  SSBadStorage = -4003,
  SSBadIndices = -4004,
  SSNullWeights = -4005,
  SSNullMean = -4006,
  SSNullRawMoment2 = -4007,
  SSNullRawMoment3 = -4008,
  SSNullRawMoment4 = -4009,
  SSNullCentralMoment2 = -4010,
  SSNullCentralMoment3 = -4011,
  SSNullCentralMoment4 = -4012,
  SSNullKurtosis = -4013,
  SSNullSkewness = -4014,
  SSNullMinimum = -4015,
  SSNullMaximum = -4016,
  SSNullVariation = -4017,
  SSNullCov = -4018,
  SSNullCor = -4019,
  SSNullAccumWeights = -4020,
  SSNullQuantileOrders = -4021,
  SSBadQuantileOrders = -4022, /* the count or an order */
  SSNullQuantiles = -4023,
  SSNullOrderStats = -4024,
  SSTooFewCleanData = -4026,
  SSNullRobustCov = -4027,
  SSNullRobustMean = -4028,
  SSMethodNotSupported = -4029,
  SSBadGroupIndices = -4030,
  SSNullTask = -4031,
  SSNullData = -4032,
  SSBadMatrix = -4033,
  SSNullPooledCov = -4034,
  SSNullPooledMean = -4035,
  SSNullGroupCov = -4036,
  SSNullGroupMeans = -4037,
  SSNullGroupIndices = -4038,
  SSNullOutlierParams = -4039,
  SSNullOutlierParamCount = -4040,
  SSNullOutlierWeights = -4041,
  SSNullRobustParams = -4042,
  SSNullRobustParamCount = -4043,
  SSNullStorage = -4044,
  SSNullPartialCovIndices = -4045,
  SSNullPartialCov = -4046,
  SSNullPartialCor = -4047,
  SSNullMissingParams = -4048,
  SSNullMissingParamCount = -4049,
  SSBadMissingParamCount = -4050, /* not 5 */
  SSBadMissingParams = -4051,     /* a parameter of the imputation */
  SSNullMissingInitCount = -4052,
  SSNullMissingInitEstimates = -4053,
  SSNullMissingSimulated = -4054,
  SSNullMissingSimulatedCount = -4055,
  SSNullMissingEstimatesCount = -4056,
  SSNullMissingEstimates = -4057,
  SSBadMissingSimulatedCount = -4058,
  SSBadMissingEstimatesCount = -4059,
  SSNoMissingResults = -4060, /* neither simulated values nor estimates have a place */
  SSNullMissingPriorCount = -4061,
  SSNullMissingPriors = -4062,
  SSBadMissingCount = -4063, /* not the number of missing values in the data */
  SSNullStreamQuantileParamCount = -4064,
  SSNullStreamQuantileParams = -4065,
  SSBadStreamQuantileParamCount = -4066, /* not 1; null in an edit */
  SSBadStreamQuantileParams = -4067,     /* the error bound */
  SSNullStreamQuantileOrders = -4068,
  SSBadStreamQuantileOrders = -4069, /* the count or an order */
  SSNullStreamQuantiles = -4070,
  SSNullParamCor = -4071,
  SSEigenvaluesAtFloor = -4072,
  SSBadPartialCovIndices = -4073,
  SSNullSum = -4074,
  SSNullRawSum2 = -4075,
  SSNullRawSum3 = -4076,
  SSNullRawSum4 = -4077,
  SSNullCentralSum2 = -4078,
  SSNullCentralSum3 = -4079,
  SSNullCentralSum4 = -4080,
  SSNullCrossProduct = -4081,
  SSNullMedianAbsDeviation = -4082,
  SSNullMeanAbsDeviation = -4083,
  SSNullSortedData = -4084,
  SSSortInPlaceWithIndices = -4085,
  /* Numerical failures. */
  SSRobustEigenFailed = -5000,
  SSPartialFactorFailed = -5010,
  SSPartialInverseFailed = -5011,
  SSImputationFactorFailed = -5021,
  SSImputationDrawFailed = -5022,
  SSPosteriorDrawFailed = -5023,
  SSPosteriorFactorFailed = -5024,
  SSPosteriorInverseFailed = -5025,
  SSCorrelationEigenFailed = -5030,
  SSRankEigenFailed = -5040,
  SSInverseFactorFailed = -5041,
  SSInverseFailed = -5042
};

/* Parameter codes of the edit operations, each for the field of the task of the same name. */
enum {
  SSParamDimension = 1,
  SSParamObservations = 2,
  SSParamData = 3,
  SSParamDataStorage = 4,
  SSParamIndices = 5,
  SSParamWeights = 6,
  SSParamMean = 7,
  SSParamRawMoment2 = 8,
  SSParamRawMoment3 = 9,
  SSParamRawMoment4 = 10,
  SSParamCentralMoment2 = 11,
  SSParamCentralMoment3 = 12,
  SSParamCentralMoment4 = 13,
  SSParamKurtosis = 14,
  SSParamSkewness = 15,
  SSParamMinimum = 16,
  SSParamMaximum = 17,
  SSParamVariation = 18,
  SSParamCov = 19,
  SSParamCovStorage = 20,
  SSParamCor = 21,
  SSParamCorStorage = 22,
  SSParamAccumWeights = 23,
  SSParamQuantileOrderCount = 24,
  SSParamQuantileOrders = 25,
  SSParamQuantiles = 26,
  SSParamOrderStats = 27,
  SSParamPooledGroupIndices = 28,
  SSParamPooledCovStorage = 29,
  SSParamPooledMean = 30,
  SSParamPooledCov = 31,
  SSParamGroupIndices = 32,
  SSParamGroupMeans = 33,
  SSParamGroupCovStorage = 34,
  SSParamGroupCov = 35,
  SSParamRobustCovStorage = 36,
  SSParamRobustParamCount = 37,
  SSParamRobustParams = 38,
  SSParamRobustMean = 39,
  SSParamRobustCov = 40,
  SSParamOutlierParamCount = 41,
  SSParamOutlierParams = 42,
  SSParamOutlierWeights = 43,
  SSParamOrderStatsStorage = 44,
  SSParamPartialCovIndices = 45,
  SSParamPartialCov = 46,
  SSParamPartialCovStorage = 47,
  SSParamPartialCor = 48,
  SSParamPartialCorStorage = 49,
  SSParamMissingParamCount = 50,
  SSParamMissingParams = 51,
  SSParamMissingInitCount = 52,
  SSParamMissingInitEstimates = 53,
  SSParamMissingSimulatedCount = 54,
  SSParamMissingSimulated = 55,
  SSParamMissingEstimatesCount = 56,
  SSParamMissingEstimates = 57,
  SSParamMissingPriorCount = 58,
  SSParamMissingPriors = 59,
  SSParamParamCor = 60,
  SSParamParamCorStorage = 61,
  SSParamStreamQuantileParamCount = 62,
  SSParamStreamQuantileParams = 63,
  SSParamStreamQuantileOrderCount = 64,
  SSParamStreamQuantileOrders = 65,
  SSParamStreamQuantiles = 66,
  SSParamSum = 67,
  SSParamRawSum2 = 68,
  SSParamRawSum3 = 69,
  SSParamRawSum4 = 70,
  SSParamCentralSum2 = 71,
  SSParamCentralSum3 = 72,
  SSParamCentralSum4 = 73,
  SSParamCrossProduct = 74,
  SSParamCrossProductStorage = 75,
  SSParamMedianAbsDeviation = 76,
  SSParamMeanAbsDeviation = 77,
  SSParamSortedData = 78,
  SSParamSortedDataStorage = 79
};

/* The task. Made by __rnqdSSNewTask or __rnqsSSNewTask; a copy on the stack is as good for internal use. */
typedef struct SSTask {
  intptr_t wideIntegers;    /* 0: integers are 32 bits, other: 64 bits */
  intptr_t taskKind;        /* 2 */
  intptr_t isDouble;        /* 1: reals are double, 0: float */
  const void* dimension;    /* number of variables p */
  const void* observations; /* number of observations n in this block */
  const void* indices;      /* p flags, 0 leaves the variable out; null: all */
  void* data;               /* observations */
  void* weights;            /* n weights; null: all 1 */
  void* accumWeights;       /* 2 reals: sum of weights so far, sum of their squares */
  const void* dataStorage;  /* SSStorageRows or SSStorageCols */
  void* paramCor;
  const void* paramCorStorage;
  void* mean;
  void* rawMoment2;
  void* rawMoment3;
  void* rawMoment4;
  void* centralMoment2;
  void* centralMoment3;
  void* centralMoment4;
  void* sum;
  void* rawSum2;
  void* rawSum3;
  void* rawSum4;
  void* centralSum2;
  void* centralSum3;
  void* centralSum4;
  void* kurtosis;
  void* skewness;
  void* variation;
  void* minimum;
  void* maximum;
  const void* covStorage;
  void* cov;
  const void* corStorage;
  void* cor;
  const void* crossProductStorage;
  void* crossProduct;
  const void* pooledGroupIndices;
  const void* groupIndices;
  void* groupMeans;
  void* groupCov;
  const void* groupCovStorage;
  void* pooledMean;
  void* pooledCov;
  const void* pooledCovStorage;
  const void* quantileOrderCount;
  void* quantileOrders;
  void* quantiles;
  void* orderStats;
  const void* orderStatsStorage;
  const void* streamQuantileOrderCount;
  void* streamQuantileOrders;
  void* streamQuantiles;
  void* streamQuantileState; /* owned */
  const void* streamQuantileParamCount;
  void* streamQuantileParams;
  void* meanAbsDeviation;
  void* medianAbsDeviation;
  const void* robustParamCount;
  void* robustParams;
  void* robustMean;
  void* robustCov;
  const void* robustCovStorage;
  const void* outlierParamCount;
  void* outlierParams;
  void* outlierWeights;
  const void* partialCovIndices;
  void* partialCov;
  const void* partialCovStorage;
  void* partialCor;
  const void* partialCorStorage;
  const void* missingParamCount;
  void* missingParams;
  const void* missingInitCount;
  void* missingInitEstimates;
  const void* missingPriorCount;
  void* missingPriors;
  const void* missingSimulatedCount;
  void* missingSimulated;
  const void* missingEstimatesCount;
  void* missingEstimates;
  const void* mahFirstRow; /* first row of data for the distance, set by internal callers only */
  const void* mahLastRow;
  void* mahMean;
  void* mahInvCov;
  void* mahDistances;
  void* mahBlock;
  const void* mahBlockSize;
  intptr_t cleanupCount;                               /* entries used in cleanupList */
  void(ORV_CALL* cleanupList[8])(struct SSTask* task); /* each called with the task when it is deleted */
  void* sortedData;
  const void* sortedDataStorage;
  void* savedMean; /* owned: p means of the last block of the user-mean method */
} SSTask;

/* Threads, given to every compute entry. Each function returns when all work is done; with one thread it
 * works on the caller's. A thread count of 0 leaves the choice to the service. A record address of null
 * stands for one thread. */
typedef void(ORV_CALL* SSWorker)(intptr_t first, intptr_t second, intptr_t threads, void* context);
typedef struct SSThreadServices {
  /* worker(item index, thread index, unread, context) for each item */
  void(ORV_CALL* parallelFor)(intptr_t items, intptr_t threads, void* context, SSWorker worker);
  /* worker(item index, thread index, thread count, context); it may call `serialized` */
  void(ORV_CALL* parallelForChunks)(intptr_t items, intptr_t threads, void* context, SSWorker worker);
  /* worker(thread index, unread, thread count, context) once on each of `threads` threads */
  void(ORV_CALL* parallelRegion)(intptr_t threads, void* context, SSWorker worker);
  /* function(item index, thread index, thread count, context), one at a time */
  void(ORV_CALL* serialized)(intptr_t item, intptr_t thread, intptr_t threads, void* context,
                             SSWorker function);
  /* threads that may be used */
  int32_t(ORV_CALL* maxThreads)(void);
} SSThreadServices;

/* Creates a task. `dimension` (value above 0) is needed; `data` may be null and come by an edit, and then
 * `observations` and `dataStorage` aren't looked at. Frees nothing of the caller's. On failure *task is null
 * if it was for want of memory, and untouched otherwise.
 * -4001 dimension, -4044 dataStorage null, -4002 observations, -4003 storage value, -4000 memory. */
#define ORV_SS_NEW_TASK(t)                                                                                   \
  int32_t ORV_CALL __rnq##t##SSNewTask(SSTask** task, const void* dimension, const void* observations,       \
                                       const void* dataStorage, void* data, void* weights,                   \
                                       const void* indices, intptr_t wideIntegers);                          \
  int32_t ORV_CALL __rnq##t##SSEditTask(SSTask* task, int64_t code, void* value);
ORV_SS_NEW_TASK(d)
ORV_SS_NEW_TASK(s)
#undef ORV_SS_NEW_TASK

/* Frees what the task owns, runs its cleanup list and writes null to the handle. -4031: null address. A
 * handle that is null already is left alone. */
int32_t ORV_CALL __rnqSSDeleteTask(SSTask** task);

/* Sets the field of a code: __rnqiSSEditTask for integers and arrays of them, __rnqdSSEditTask and
 * __rnqsSSEditTask for all others. -4031 null task, -3 code unknown or of the other form, the field's own
 * status for a null value. */
int32_t ORV_CALL __rnqiSSEditTask(SSTask* task, int64_t code, const void* value);

/* Edits of several fields, named in the argument list. A null argument leaves its field as it is. */
#define ORV_SS_EDITS(t)                                                                                      \
  int32_t ORV_CALL __rnq##t##SSEditMoments(SSTask* task, void* mean, void* rawMoment2, void* rawMoment3,     \
                                           void* rawMoment4, void* centralMoment2, void* centralMoment3,     \
                                           void* centralMoment4);                                            \
  int32_t ORV_CALL __rnq##t##SSEditSums(SSTask* task, void* sum, void* rawSum2, void* rawSum3,               \
                                        void* rawSum4, void* centralSum2, void* centralSum3,                 \
                                        void* centralSum4);                                                  \
  int32_t ORV_CALL __rnq##t##SSEditCovCor(SSTask* task, void* mean, void* cov, const void* covStorage,       \
                                          void* cor, const void* corStorage);                                \
  int32_t ORV_CALL __rnq##t##SSEditCP(SSTask* task, void* mean, void* sum, void* crossProduct,               \
                                      const void* crossProductStorage);                                      \
  int32_t ORV_CALL __rnq##t##SSEditPartialCovCor(SSTask* task, const void* partialCovIndices, void* cov,     \
                                                 const void* covStorage, void* cor, const void* corStorage,  \
                                                 void* partialCov, const void* partialCovStorage,            \
                                                 void* partialCor, const void* partialCorStorage);           \
  int32_t ORV_CALL __rnq##t##SSEditQuantiles(SSTask* task, const void* quantileOrderCount,                   \
                                             void* quantileOrders, void* quantiles, void* orderStats,        \
                                             const void* orderStatsStorage);                                 \
  int32_t ORV_CALL __rnq##t##SSEditStreamQuantiles(                                                          \
      SSTask* task, const void* streamQuantileOrderCount, void* streamQuantileOrders, void* streamQuantiles, \
      const void* streamQuantileParamCount, void* streamQuantileParams);                                     \
  int32_t ORV_CALL __rnq##t##SSEditPooledCovariance(                                                         \
      SSTask* task, const void* pooledGroupIndices, void* pooledMean, void* pooledCov,                       \
      const void* groupIndices, void* groupMeans, void* groupCov);                                           \
  int32_t ORV_CALL __rnq##t##SSEditMtxParametrz(SSTask* task, void* cor, const void* corStorage,             \
                                                void* paramCor, const void* paramCorStorage);                \
  int32_t ORV_CALL __rnq##t##SSEditRCov(SSTask* task, const void* robustCovStorage,                          \
                                        const void* robustParamCount, void* robustParams, void* robustMean,  \
                                        void* robustCov);                                                    \
  int32_t ORV_CALL __rnq##t##SSEditOutDetect(SSTask* task, const void* outlierParamCount,                    \
                                             void* outlierParams, void* outlierWeights);                     \
  int32_t ORV_CALL __rnq##t##SSEditMissingVals(                                                              \
      SSTask* task, const void* missingParamCount, void* missingParams, const void* missingInitCount,        \
      void* missingInitEstimates, const void* missingPriorCount, void* missingPriors,                        \
      const void* missingSimulatedCount, void* missingSimulated, const void* missingEstimatesCount,          \
      void* missingEstimates);
ORV_SS_EDITS(d)
ORV_SS_EDITS(s)
#undef ORV_SS_EDITS

/* Moments, sums, covariance, correlation, cross-products of a block: the estimates SSEstimatesOfBasic. With
 * weights w (all 1 without), W = sum w, W2 = sum w^2, and d the difference from the mean m = sum w x / W:
 *   SSRawMoment k      sum w x^k / W              SSRawSum k       sum w x^k
 *   SSCentralMoment2   sum w d^2 / (W - W2 / W)   SSCentralSum k   sum w d^k
 *                      without weights the variance of a sample, n - 1 below the line
 *   SSCentralMoment3   sum w d^3 / W              SSCentralMoment4   sum w d^4 / W
 *   SSSkewness         central moment 3 / (central moment 2)^1.5
 *   SSKurtosis         central moment 4 / (central moment 2)^2 - 3
 *   SSVariation        root of central moment 2 / m
 *   SSCovariance       sum w d_i d_j / (W - W2 / W)   SSCrossProduct   sum w d_i d_j
 *   SSCorrelation      covariance / root of the product of both variances
 * Skewness and kurtosis thus have the variance of a sample below the line. Without weights, g1 and g2 of the
 * population are n^1.5 / (n - 1)^1.5 times the skewness, and n^2 / (n - 1)^2 times (kurtosis + 3), less 3.
 * `method` is one of
 *   SSMethodFast         sums of powers, in one pass; central estimates lose digits when the mean is large
 *                        against the spread
 *   SSMethodOnePass      updates of mean and central sums; keeps the digits
 *   SSMethodFastUserMean central sums about the caller's mean
 *   SSMethodFromSums     turns sums of earlier calls into moments; reads no data
 * Every estimate needs its own array and those that it is made of; a missing one gives that field's status
 * (Fast: a central moment k needs the mean and raw moments up to k; kurtosis and skewness need all up to
 * theirs, variation needs mean and central moment 2). With One-pass, the same holds but for central sums,
 * which need the mean only; a central sum 3 or 4 that is continued over blocks needs the lower central arrays
 * (or the raw moments they follow from) as well. The diagonal of a correlation matrix holds variances.
 * A failing allocation gives -4000. Running rows are doubles in both families. Correct digits of a standard
 * deviation, over 1e7 + {0.1, 0.2, 0.3} and 1e9 + the same: One-pass 15.8 and 16, User-mean 15.8 and 12.9,
 * Fast none. One-pass follows Chan, Golub and LeVeque 1983 and Pebay 2008.
 * A first block of a single observation leaves no variance to go on from; the next block takes it as 0, or
 * from `centralSum2` if that is given. Observations of weight 0 don't count. `accumWeights` carries the sum of
 * squared weights: weights below 1e-154 (1e-19 in the `s` family) lose it, and variances then divide by the sum
 * of weights alone.
 * Once a matrix is asked for, every matrix among `cov`, `cor` and `crossProduct` that has an array and a storage
 * is brought up to date, and the next block goes on from the first of crossProduct, cov, cor that is there. */
int32_t ORV_CALL _rnqdSSBasic(SSTask* task, uint64_t estimates, uint64_t method,
                              const SSThreadServices* services);
int32_t ORV_CALL _rnqsSSBasic(SSTask* task, uint64_t estimates, uint64_t method,
                              const SSThreadServices* services);

/* Lowers `minimum` and raises `maximum` by a block. The arrays hold the running result on entry; the caller
 * initialises them. A NaN observation changes nothing. Statuses: -4044, -4003, -4015, -4016, -4029. */
int32_t ORV_CALL _rnqdSSMinmax(SSTask* task, uint64_t estimates, uint64_t method,
                               const SSThreadServices* services);
int32_t ORV_CALL _rnqsSSMinmax(SSTask* task, uint64_t estimates, uint64_t method,
                               const SSThreadServices* services);

/* The entries below take the method bit of their name; -4031 is a null task, -4029 a method without the bit, -4000 a
 * failing allocation. Reals are put in one total order by all that sorts: negative NaN, -Inf ... -0, +0 ... +Inf,
 * positive NaN.
 *
 * Quantiles: SSQuantiles and SSOrderStatistics, SSMethodFast. An order q among n values stands at q (n - 1) of the sorted
 * ones, between neighbours in a straight line (R's type 7, numpy's default). Results are packed by selected variables:
 * a row of quantiles for each, and a row of sorted values, or a column of a matrix of p columns under SSStorageCols.
 * Order of tests: -4003 data layout; -4023, -4021, -4022; -4024, -4044, -4003; -4029.
 *
 * Sort: SSMethodSort; sorts each selected variable to `sortedData`, which may be `data` if both layouts are one and
 * there are no `indices`. -4084, -4044, -4085, -4003, -4029.
 *
 * StreamQuantiles: absorbs a block of a stream of any length, with SSMethodStreamUpdate, and reports quantiles with
 * SSMethodStreamReport, one row for each variable that took part in the first call. `streamQuantileParams` holds the
 * error bound e, 0 < e <= 1: of N values, a reported one has a rank within e N of q N once N is above 32 / e; in
 * shorter streams it may be 3.8 times as far, or e N + 6 ranks. Blocks of any sizes give the same results. The state is
 * the task's, until it is deleted or __rnqSQuantilesFreeBuffers frees it. A call that fails has absorbed nothing.
 * -4002, -4032, -4044, -4003; -4070, -4068, -4069; -4064, -4066; -4069; -4065; -4029; -4067 also for another e than the
 * stream began with; -4001 for more variables than it began with; -4004 for a variable that it began without.
 *
 * RobustCovariance: SSMethodRobust, location and covariance to `robustMean` and `robustCov` of data in which fewer than
 * half of the observations are bad. `robustParams`, used if there are 4: breakdown point (at most (n - p) / 2 n, which
 * is the default), rejection probability (0.001), accuracy (0.001), iterations (100); with 0 iterations the pairwise
 * start is the result. Scale the columns first: the rank test is absolute. -4001, -4002 for n <= 2 p, -4003, -4028,
 * -4027, -4003, -4029; -4026 if all weights are 0, -5000, and the rank test's.
 *
 * OutliersDetection: SSMethodOutlierSearch; `outlierWeights` receives 0 for an outlier and the observation's weight, or
 * 1, for all others. `outlierParams`, used if there are 3: start (1: distances from the mean, 2, the default, from
 * the medians), alpha (0.05; 0.05 / n keeps false alarms of clean data below 0.1 %), tolerance of the size of
 * the clean subset (0.005). -4001, -4002 for n < 5 p, -4003, -4041, -4029; -4026 if at most 4 p observations are left.
 *
 * PooledCovariance: SSMethodOnePass; SSPooledMean, SSPooledCovariance, and of the groups that `groupIndices` flags
 * SSGroupMeans, SSGroupCovariance, in places that follow each other. Groups without weight add nothing to the pool, and
 * their own results are NaN. -4003, -4030, -4035, -4044, -4034, -4030, -4037, -4044, -4036, -4029; -4038 for a
 * negative group or a flag other than 0 and 1.
 *
 * PartialCovariance: SSMethodFast; from `cov`, or without it `cor` (whose diagonal holds variances), the covariance of
 * the variables marked 1 with the effect of those marked -1 taken out. -4018, -4044, -4045, -4046, -4044, -4047, -4044,
 * -4029, -4073; -5010 and -5011 for a matrix that isn't positive definite.
 *
 * CorParametrization: SSMethodCorParametrize; `paramCor` receives `cor` if that is positive definite, and the nearest
 * that scaling finds if not. The diagonal counts: it has to hold ones. -4001, -4019, -4044, -4003, -4071, -4044, -4003,
 * -4029; -5030, -4072.
 *
 * MAD: SSMedianAbsDeviation, |x - median| in the median, without a factor, and SSMeanAbsDeviation, weighted |x - mean|
 * in the weighted mean, where SSMethodFastUserMean takes `mean` as given. -4001, -4002, -4044, -4003, -4082, -4029,
 * -4083, -4029, -4006.
 *
 * MissingValues: SSMethodMultipleImpute; imputes values that are a quiet NaN with the sign bit set, by expectation-
 * maximization and data augmentation for the multivariate normal model. `missingParams`: limit of EM steps (50), sweeps
 * for each set (30), accuracy of EM (0.001, absolute: scale the columns), sets, missing values in the data.
 * `missingSimulated` receives them set after set, in order of observations and variables; `missingEstimates`
 * the mean and the lower packed covariance of each sweep. Equal calls give equal values. Each sweep's posterior is
 * the next one's prior, so that sets vary much less than the values are uncertain: no intervals follow from them. -4001,
 * -4003, -4048, -4049, -4050, -4055, -4060, -4054, -4060, -4029; -4063, -4051, -4058, -4060, -4059; -5021 to -5025
 * for covariances that are singular and draws that fail, and the statuses of streams.
 *
 * WMedian: for each variable one quantile of order quantileOrders[0] under `weights`.
 *
 * MahDistance: distances of rows mahFirstRow to mahLastRow - 1; checks nothing. */
#define ORV_SS_COMPUTE(name)                                                                                 \
  int32_t ORV_CALL _rnqdSS##name(SSTask* task, uint64_t estimates, uint64_t method,                          \
                                 const SSThreadServices* services);                                          \
  int32_t ORV_CALL _rnqsSS##name(SSTask* task, uint64_t estimates, uint64_t method,                          \
                                 const SSThreadServices* services);
ORV_SS_COMPUTE(Quantiles)
ORV_SS_COMPUTE(Sort)
ORV_SS_COMPUTE(StreamQuantiles)
ORV_SS_COMPUTE(RobustCovariance)
ORV_SS_COMPUTE(OutliersDetection)
ORV_SS_COMPUTE(PooledCovariance)
ORV_SS_COMPUTE(PartialCovariance)
ORV_SS_COMPUTE(CorParametrization)
ORV_SS_COMPUTE(MAD)
ORV_SS_COMPUTE(MahDistance)
ORV_SS_COMPUTE(WMedian)
ORV_SS_COMPUTE(MissingValues)
#undef ORV_SS_COMPUTE

/* Frees the state of streams. */
void ORV_CALL __rnqSQuantilesFreeBuffers(SSTask* task);

/* Helpers. QSort sorts `count` elements in place, QSortStep elements a stride apart (-4000 without memory for a copy);
 * QSortSelect gives the k-th smallest from 0 and leaves the array partly ordered. TestCovRank tests a full symmetric
 * matrix for its rank before InvCov inverts it in the elements (i, j), j not below i, at i p + j, which alone are
 * read: a matrix of too low a rank gets a raised diagonal; -4033 without a positive eigenvalue, -5040 with a NaN;
 * -5041 and -5042 if it isn't positive definite. Lower elements are lost. */
#define ORV_SS_HELPERS(t, T)                                                                                 \
  int32_t ORV_CALL __rnq##t##QSort(intptr_t count, T* array);                                                \
  int32_t ORV_CALL __rnq##t##QSortStep(intptr_t count, T* array, intptr_t stride);                           \
  T ORV_CALL __rnq##t##QSortSelect(intptr_t count, T* array, intptr_t k);                                    \
  int32_t ORV_CALL __rnq##t##TestCovRank(intptr_t p, T* matrix);                                             \
  int32_t ORV_CALL __rnq##t##InvCov(intptr_t p, T* matrix);                                                  \
  T ORV_CALL __rnq##t##Ln(T x);
ORV_SS_HELPERS(d, double)
ORV_SS_HELPERS(s, float)
#undef ORV_SS_HELPERS

/* The chi-square distribution: P(X <= x), its density (error: freedom times 2e-11), its inverse (0 for a probability
 * not above 0, infinity for one not below 1); the logarithm of Gamma for positive arguments; floor; square root. */
double ORV_CALL __rnqdChi2CDF(double freedom, double x);
double ORV_CALL __rnqdChi2PDF(double freedom, double x);
double ORV_CALL __rnqdChi2ICDF(double freedom, double probability);
double ORV_CALL __rnqdLGamma(double x);
double ORV_CALL __rnqdFloor(double x);
double ORV_CALL __rnqdSqrt(double x);

#ifdef __cplusplus
}
#endif
#endif
