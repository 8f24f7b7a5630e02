/* Data fitting: a task that holds a partition and sampled functions, spline construction, cell search,
 * interpolation and integration.
 *
 *   DFTask* task;
 *   orv_df_kernel_dNewTask1D(&task, n, x, DFNonUniform, 1, y, DFRows, 0);
 *   orv_df_kernel_dEditPPSpline1D(task, DFOrderCubic, DFTypeCubic, DFBoundFreeEnd, 0, DFInnerNone, 0,
 *                                 coefficients, DFRows);        // DFOrderCubic * (n - 1) reals
 *   orv_df_kernel_dDFNaturalCubicSpline1D(task, 0, 0, 0);       // 0: no thread services
 *   const int32_t wanted[2] = {1, 1};                           // the value and the first derivative
 *   orv_df_kernel_dDFInterpolate1D(task, DFInterpolateValues, 0, s, sites, 0, 2, wanted, 0, r,
 *                                  DFResultFuncSiteDeriv, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
 *   orv_df_kernel_DeleteTask(&task);
 *
 * Every entry returns a status, 0 for success. `d` names work on double, `s` names on float; the letter
 * must match the task's. A task holds the caller's arrays by reference; they must outlive it. Break points
 * rise strictly; this is not checked, and other partitions give meaningless numbers but touch no memory
 * outside the arrays. Counts of breaks and functions are below 2^31.
 *
 * Results do not depend on the number of threads and are the same bits on every target. Fused
 * multiply-adds are used throughout.
 */
#ifndef ORV_FITTING_H
#define ORV_FITTING_H

#include "orv/platform.h"

#include <stdint.h>

#ifdef __cplusplus
#  define ORV_DF_ALIGN8 alignas(8)
extern "C" {
#else
#  define ORV_DF_ALIGN8 _Alignas(8)
#endif

/* ---- Statuses ---- */
enum {
  DFStatusOk = 0,
  DFStatusNullTask = -1000,
  DFStatusNoMemory = -1001,
  DFStatusBadMethod = -1002,
  DFStatusBadBreakCount = -1004,
  DFStatusNullBreaks = -1005,
  DFStatusBadBreakHint = -1006,
  DFStatusBadFunctionCount = -1007, /* not positive, or values given for no functions */
  DFStatusNullValues = -1008,
  DFStatusBadValueHint = -1009, /* or a row operation on interleaved values */
  DFStatusBadOrder = -1010,
  DFStatusBadType = -1011,
  DFStatusBadInnerCondType = -1012,
  DFStatusNullInnerCond = -1013, /* or knots that don't fit the partition */
  DFStatusBadBoundCondType = -1014,
  DFStatusNullBoundCond = -1015,
  DFStatusNullCoeffs = -1016,
  DFStatusBadCoeffHint = -1017,
  DFStatusPeriodMismatch = -1018, /* periodic, and first and last value differ */
  DFStatusBadParameter = -1019,
  DFStatusBadRowIndex = -1020,
  DFStatusNotABreak = -1022,          /* a look-up site is no break */
  DFStatusBadDerivativeCount = -1024, /* a look-up asks for more than the value */
  DFStatusNoValueRequested = -1025,   /* a look-up doesn't ask for the value */
  DFStatusBadDataHint = -1026,
  DFStatusBadResultHint = -1028,
  DFStatusBadIntegrationResult = -1034,
  DFStatusBadCheckFlag = -1036,
  DFStatusNullResult = -1037,
  DFStatusSolverFailure = -1500 /* a zero pivot in the tridiagonal system */
};

/* ---- Codes ---- */
/* Partition hints. DFUniform: `breaks` holds the two ends only. */
enum { DFNoHint = 0, DFNonUniform = 1, DFQuasiUniform = 2, DFUniform = 4 };
/* Layouts of values and coefficients. DFRows (also 0): rows follow each other. DFInterleaved: function j at
 * break i stands at i * functions + j; for values only. DFFirstRow: one row is given, the others come by
 * an indexed edit. */
enum { DFRows = 16, DFInterleaved = 32, DFFirstRow = 128 };
/* Site hints: first and last site given only; ascending sites. */
enum { DFSitesUniform = 4, DFSitesSorted = 64 };
/* Boundary conditions; the values of `boundCond` are left, right. DFBoundMidValue: the value in the middle
 * of the first cell, for the quadratic spline of type 0. */
enum {
  DFBoundNone = 0, /* as free end; Akima only */
  DFBoundNotAKnot = 1,
  DFBoundFreeEnd = 2,
  DFBoundFirstFirst = 12,
  DFBoundSecondFirst = 24,
  DFBoundFirstSecond = 36,
  DFBoundSecondSecond = 48,
  DFBoundPeriodic = 64,
  DFBoundMidValue = 128
};
/* `splineOrder`: the coefficients of a piece. 0 evaluates without coefficients; above 4 are the caller's own
 * polynomials. */
enum { DFOrderNone = 0, DFOrderLinear = 2, DFOrderQuadratic = 3, DFOrderCubic = 4 };
/* `splineType`, which means something together with the order only. The scheme of a cubic is that of the entry
 * that constructs it; 0, 2, 3, 4 and 9 are cubics like DFTypeCubic (0 and 3 want a `boundCond` with
 * DFBoundPeriodic too). A broken line may have any type. */
enum {
  DFTypeLinear = 0,    /* DFOrderLinear */
  DFTypeQuadratic = 0, /* DFOrderQuadratic: knots are the breaks */
  DFTypeSubbotin = 1,  /* DFOrderQuadratic: knots lie between the breaks */
  DFTypeCubic = 5,     /* DFOrderCubic */
  DFTypeLookUp = 6,    /* DFOrderNone: values at sites that are breaks */
  DFTypeStepRight = 7, /* DFOrderNone: step function, continuous from the right */
  DFTypeStepLeft = 8   /* DFOrderNone: step function, continuous from the left */
};
/* `innerCondType`: what `innerCond` holds. For knots see the quadratic entry. */
enum {
  DFInnerNone = 0,
  DFInnerValues = 1,          /* derivatives at the inner breaks, breaks - 2 of them */
  DFInnerKnots = 8,           /* breaks + 1 knots */
  DFInnerKnotsUniform = 8 + 4 /* the first and the last inner knot */
};
/* `type` of an interpolation. */
enum {
  DFInterpolateValues = 1,   /* values only */
  DFInterpolateCells = 2,    /* writes the cells of the sites as well; 3, 6 and 7 do the same */
  DFInterpolateFromCells = 4 /* takes the cells as input; exactly this value does */
};
/* Parameters of edit and query. */
enum {
  DFParamBreaks = 1,
  DFParamValues = 2,
  DFParamInnerCond = 3,
  DFParamBoundCond = 4,
  DFParamCoeffs = 5,
  DFParamBreakCount = 14,
  /* DFNonUniform rebuilds the cell index: do so after changing breaks or their count */
  DFParamBreakHint = 15,
  DFParamFunctionCount = 16,
  DFParamValueHint = 17,
  DFParamSplineOrder = 18,
  DFParamSplineType = 19,
  DFParamInnerCondType = 20,
  DFParamBoundCondType = 21,
  DFParamCoeffHint = 22,
  DFParamCheckFlag = 23
};
/* Layouts of interpolation results, for function j of F, site s of S, requested derivative d of Q. */
enum {
  DFResultFuncSiteDeriv = 16,  /* (j S + s) Q + d; also 0 and 128 */
  DFResultFuncDerivSite = 32,  /* (j Q + d) S + s */
  DFResultSiteFuncDeriv = 256, /* (s F + j) Q + d */
  DFResultSiteDerivFunc = 512  /* (s Q + d) F + j */
};
/* Layouts of integrals, for pair i of P: j P + i (also 0 and 128), or i F + j. */
enum { DFIntegralFuncLimit = 16, DFIntegralLimitFunc = 32 };
/* Search methods, as chosen from hints. */
enum {
  DFSearchUniform,
  DFSearchQuasiUniform,
  DFSearchSorted,
  DFSearchPeak,
  DFSearchHybrid,
  DFSearchUser,
  DFSearchUniformUser
};

/* ---- Records ---- */
/* A task. Made and freed by the library only; the fields are for reading. */
typedef struct DFTask {
  int32_t wideIndices; /* non-zero: the caller's integers are 64 bits */
  int32_t taskTag;     /* 4 */
  int32_t isDouble;
  int32_t taskVersion; /* 1; edits and queries of another version do nothing */
  ORV_DF_ALIGN8 int64_t breakCount;
  const void* breaks;
  ORV_DF_ALIGN8 int64_t breakHint;
  ORV_DF_ALIGN8 int64_t functionCount;
  const void** valueRows; /* owned table */
  ORV_DF_ALIGN8 int64_t valueHint;
  ORV_DF_ALIGN8 int64_t splineOrder; /* coefficients of a cell; 0 for steps and look-up */
  ORV_DF_ALIGN8 int64_t splineType;
  ORV_DF_ALIGN8 int64_t innerCondType;
  const void* innerCond;
  ORV_DF_ALIGN8 int64_t boundCondType;
  const void* boundCond;
  void** coeffRows; /* owned table */
  ORV_DF_ALIGN8 int64_t coeffHint;
  int32_t checkFlag;
  ORV_DF_ALIGN8 int64_t indexSlots; /* buckets of the cell index */
  int32_t (*cellIndex)[2];          /* owned: lowest and highest candidate of each bucket */
  union {
    ORV_DF_ALIGN8 double d;
    float s;
  } indexScale; /* buckets per unit of length */
} DFTask;

/* Thread services. `parallelFor` runs body(iteration, thread, reserved, context) once for each iteration,
 * perhaps concurrently, with thread in 0 to threads - 1, and returns when all are done. `maxThreads` is the
 * number of threads at hand. A null record or null function stands for the calling thread alone. */
typedef void (ORV_CALL* DFThreadBody)(int32_t iteration, int32_t thread, void* reserved, void* context);
typedef struct DFThreader {
  void (ORV_CALL* parallelFor)(int32_t iterations, int32_t threads, void* context, DFThreadBody body);
  void (ORV_CALL* unused[3])(void);
  int32_t (ORV_CALL* maxThreads)(void);
} DFThreader;

#define ORV_DF_TYPES(t, T)                                                                                     \
  /* Finds cells: for each of *count sites sets a cell and a flag (non-zero: the cell is final; zero: it is  \
   * a guess to start from). Returns 1000 if all cells are final, a negative status to stop, else 0. */ \
  typedef int32_t (ORV_CALL* t##DFSearchCallback)(const int64_t* count, const T* sites, int64_t* cells,                 \
                                         int32_t* flags, void* parameter, void* reserved);                     \
  /* Evaluates: writes *count * Q * F results by function, then site, then derivative. A negative status     \
   * stops the operation. */ \
  typedef int32_t (ORV_CALL* t##DFInterpolateCallback)(const int64_t* count, const int64_t* cells, const T* sites,      \
                                              T* results, void* parameter, void* reserved);                    \
  /* Integrates one pair of limits (*count is 1): writes F integrals. A negative status stops. */              \
  typedef int32_t (ORV_CALL* t##DFIntegrateCallback)(const int64_t* count, const int64_t* lowerCell, const T* lower,    \
                                            const int64_t* upperCell, const T* upper, T* results,              \
                                            void* parameter, void* reserved);                                  \
  /* The argument of the search kernels: a block of sites, with what is computed once for all blocks. */       \
  typedef struct t##DFSearchBlock {                                                                            \
    const DFTask* task;                                                                                        \
    ORV_DF_ALIGN8 int64_t siteCount;                                                                           \
    const T* sites;                                                                                            \
    void* cells;                /* 32-bit integers; 64-bit if the task is wide and a callback searches */      \
    int64_t* runningCell;       /* carried from block to block, 0 at first; may be null */                     \
    ORV_DF_ALIGN8 int64_t peak; /* peak search: index of the break */                                          \
    T scale;                    /* cells per unit length (uniform, quasi-uniform) */                           \
    t##DFSearchCallback callback;                                                                              \
    void* parameter;                                                                                           \
  } t##DFSearchBlock;
ORV_DF_TYPES(d, double)
ORV_DF_TYPES(s, float)
#undef ORV_DF_TYPES

/* ---- Tasks ---- */
/* Frees what the task owns and the task, and sets the handle to null. */
int32_t ORV_CALL orv_df_kernel_DeleteTask(DFTask** task);
/* Integer parameters (DFParamBreakCount to DFParamCheckFlag) of tasks of both precisions. Stores only:
 * tables and the cell index are rebuilt by the pointer edits and by DFParamBreakHint. */
int32_t ORV_CALL orv_df_kernel_iEditVal(DFTask* task, int64_t code, int64_t value);
/* Writes 64 bits if the task is wide, else 32. */
int32_t ORV_CALL orv_df_kernel_iQueryVal(const DFTask* task, int64_t code, void* value);

#define ORV_DF_ENTRIES(t, T)                                                                                   \
  /* A new task: `breakCount` (at least 2) points in `breaks`, `functionCount` functions in `values` (null   \
   * for none). When memory fails behind the record itself, *task is set and must be deleted. */ \
  int32_t ORV_CALL orv_df_kernel_##t##NewTask1D(DFTask** task, int64_t breakCount, const T* breaks,                     \
                                       int64_t breakHint, int64_t functionCount, const T* values,              \
                                       int64_t valueHint, int32_t wideIndices);                                \
  /* The spline to build. `coefficients`: rows of order * (breaks - 1) reals, of order * breaks for          \
   * splineType 1; null leaves the rows. A failed check leaves what was stored before it changed. */ \
  int32_t ORV_CALL orv_df_kernel_##t##EditPPSpline1D(                                                                   \
      DFTask* task, int64_t splineOrder, int64_t splineType, int64_t boundCondType, const T* boundCond,        \
      int64_t innerCondType, const T* innerCond, T* coefficients, int64_t coeffHint);                          \
  /* Pointers: DFParamBreaks to DFParamCoeffs; one row of values or coefficients; queries of the same. */      \
  int32_t ORV_CALL orv_df_kernel_##t##EditPtr(DFTask* task, int64_t code, const T* pointer);                            \
  int32_t ORV_CALL orv_df_kernel_##t##EditIdxPtr(DFTask* task, int64_t code, int64_t row, const T* pointer);            \
  int32_t ORV_CALL orv_df_kernel_##t##QueryPtr(const DFTask* task, int64_t code, T** pointer);                          \
  int32_t ORV_CALL orv_df_kernel_##t##QueryIdxPtr(const DFTask* task, int64_t code, int64_t row, T** pointer);          \
                                                                                                               \
  /* Construction: writes the coefficients of every function to the task's coefficient rows, in ascending    \
   * powers of the distance from the cell's left break. `method` must be 0 in the natural, linear and        \
   * quadratic entries.                                                                                      \
   *   Natural   C2 cubic by the tridiagonal system for the slopes (de Boor, A Practical Guide to Splines)   \
   *   Akima     slopes weighted by differences of slopes (Akima, J. ACM 17, 1970); at least 5 breaks        \
   *   Bessel    slope of the parabola through three points; at least 4 breaks                               \
   *   Hyman     Bessel slopes limited to keep monotone data monotone (Hyman, SIAM J. Sci. Stat. Comput. 4,  \
   *             1983); at least 4 breaks                                                                    \
   *   Hermite   inner slopes given: breaks - 2 values in innerCond                                          \
   *   Default   inner second derivatives given: breaks - 2 values in innerCond                              \
   *   Linear    broken line                                                                                 \
   *   Quadratic DFTypeQuadratic: breaks are knots, with DFBoundMidValue; DFTypeSubbotin: knots between      \
   *             breaks, Subbotin's spline, a piece for each break. innerCond holds the breaks + 1 knots     \
   *             (DFInnerKnots), the first and last inner knot of evenly spaced ones (DFInnerKnotsUniform),  \
   *             or is null for knots in the middle of the cells. DFBoundFirstFirst to DFBoundSecondSecond. */ \
  int32_t ORV_CALL orv_df_kernel_##t##DFNaturalCubicSpline1D(DFTask* task, int64_t reserved, int64_t method,            \
                                                    const DFThreader* threader);                               \
  int32_t ORV_CALL orv_df_kernel_##t##DFAkimaCubicSpline1D(DFTask* task, int64_t reserved, int64_t method,              \
                                                  const DFThreader* threader);                                 \
  int32_t ORV_CALL orv_df_kernel_##t##DFBesselCubicSpline1D(DFTask* task, int64_t reserved, int64_t method,             \
                                                   const DFThreader* threader);                                \
  int32_t ORV_CALL orv_df_kernel_##t##DFHymanCubicSpline1D(DFTask* task, int64_t reserved, int64_t method,              \
                                                  const DFThreader* threader);                                 \
  int32_t ORV_CALL orv_df_kernel_##t##DFHermiteCubicSpline1D(DFTask* task, int64_t reserved, int64_t method,            \
                                                    const DFThreader* threader);                               \
  int32_t ORV_CALL orv_df_kernel_##t##DFDefaultCubicSpline1D(DFTask* task, int64_t reserved, int64_t method,            \
                                                    const DFThreader* threader);                               \
  int32_t ORV_CALL orv_df_kernel_##t##DFLinearSpline1D(DFTask* task, int64_t reserved, int64_t method,                  \
                                              const DFThreader* threader);                                     \
  int32_t ORV_CALL orv_df_kernel_##t##DFQuadraticSpline1D(DFTask* task, int64_t reserved, int64_t method,               \
                                                 const DFThreader* threader);                                  \
                                                                                                               \
  /* Cells of sites: 0 left of the first break, `breaks` right of the last, else the number of breaks at or  \
   * left of the site, at most breaks - 1. A NaN counts as right of everything. `method` is not read.        \
   * `dataHint`: entry 1 is 0.0, or 1.0 with the index of a break that sites cluster at in entry 4. Cells    \
   * are 32-bit integers; 64-bit if the task is wide and a callback is given. */ \
  int32_t ORV_CALL orv_df_kernel_##t##DFSearch1D(const DFTask* task, int64_t method, int64_t siteCount,                 \
                                        const T* sites, int64_t siteHint, const T* dataHint, void* cells,      \
                                        t##DFSearchCallback callback, void* parameter,                         \
                                        const DFThreader* threader);                                           \
                                                                                                               \
  /* Values and derivatives at sites. `type`: DFInterpolate... above; cells are 32-bit integers, 64-bit if   \
   * the task is wide and a callback searches. `derivativeFlags` (32-bit integers,                           \
   * 64-bit if the task is wide): element k is 1 if derivative k is wanted; none stands for the value.       \
   * Sites outside the partition use the first and last piece. DFOrderNone evaluates without coefficients.   \
   * Right of the last break both steps give the value of the cell rule: the right-continuous step gives     \
   * y[n-2] there, though it integrates as y[n-1]. Callbacks replace the evaluation left and right of the    \
   * partition and inside it; they may be called from several threads at once. */ \
  int32_t ORV_CALL orv_df_kernel_##t##DFInterpolate1D(                                                                  \
      const DFTask* task, int64_t type, int64_t method, int64_t siteCount, const T* sites, int64_t siteHint,   \
      int64_t derivativeFlagCount, const void* derivativeFlags, const T* dataHint, T* results,                 \
      int64_t resultHint, void* cells, t##DFInterpolateCallback left, void* leftParameter,                     \
      t##DFInterpolateCallback right, void* rightParameter, t##DFInterpolateCallback inner,                    \
      void* innerParameter, t##DFSearchCallback search, void* searchParameter, const DFThreader* threader);    \
                                                                                                               \
  /* Integrals between pairs of limits, exact for the pieces up to rounding; a limit outside the partition   \
   * extends the first or last piece. The steps integrate y[0] left of the partition and y[n-1] right of     \
   * it. Each list of limits has a hint and a data hint like sites have. */ \
  int32_t ORV_CALL orv_df_kernel_##t##DFIntegrate1D(                                                                    \
      const DFTask* task, int64_t method, int64_t pairCount, const T* leftLimits, int64_t leftHint,            \
      const T* rightLimits, int64_t rightHint, const T* leftDataHint, const T* rightDataHint, T* results,      \
      int64_t resultHint, t##DFIntegrateCallback left, void* leftParameter, t##DFIntegrateCallback right,      \
      void* rightParameter, t##DFIntegrateCallback inner, void* innerParameter, t##DFSearchCallback search,    \
      void* searchParameter, const DFThreader* threader);                                                      \
                                                                                                               \
  /* The search kernels, by method; a `32` name is its twin. Return 0 or the status of the callback. */        \
  ORV_DF_SEARCH_KERNELS(t, Uniform)                                                                            \
  ORV_DF_SEARCH_KERNELS(t, QuasiUniform)                                                                       \
  ORV_DF_SEARCH_KERNELS(t, Sorted)                                                                             \
  ORV_DF_SEARCH_KERNELS(t, Peak)                                                                               \
  ORV_DF_SEARCH_KERNELS(t, Hybrid)                                                                             \
  ORV_DF_SEARCH_KERNELS(t, UserDef)                                                                            \
  ORV_DF_SEARCH_KERNELS(t, UniUserDef)
#define ORV_DF_SEARCH_KERNELS(t, name)                                                                       \
  int32_t ORV_CALL orv_df_kernel_##t##DF##name##Search1D(const t##DFSearchBlock* block);                              \
  int32_t ORV_CALL orv_df_kernel_##t##DF##name##Search1D32(const t##DFSearchBlock* block);
ORV_DF_ENTRIES(d, double)
ORV_DF_ENTRIES(s, float)
#undef ORV_DF_SEARCH_KERNELS
#undef ORV_DF_ENTRIES
#undef ORV_DF_ALIGN8

#ifdef __cplusplus
}
#endif
#endif
