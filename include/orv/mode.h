/* Mode, status and callback of element-wise kernels: one set for each thread.
 *
 * The mode word holds the accuracy level, the actions on a numerical error, and how kernels treat
 * denormals. A thread's first use reads the default from the environment variable ORV_ELW_MODE, a
 * comma-separated list such as "ELW_EP,ELW_ERRMODE_STDERR"; without it the default is 0x1A02.
 */
#ifndef ORV_MODE_H
#define ORV_MODE_H

#include "orv/platform.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Accuracy, bits 0-3. */
#define ORV_LA 0x1u /* below 4 ulp */
#define ORV_HA 0x2u /* below 1 ulp */
#define ORV_EP 0x3u /* at least 11 good bits in single, 26 in double precision */

/* Consistency, bits 4-7: kept for front ends; set by the environment only. */
#define ORV_FLOAT_CONSISTENT 0x10u
#define ORV_DOUBLE_CONSISTENT 0x20u
#define ORV_RESTORE 0x30u

/* Actions on a numerical error, bits 8-15. */
#define ORV_ERRMODE_IGNORE 0x100u    /* alone: record the status, do nothing else */
#define ORV_ERRMODE_ERRNO 0x200u     /* set errno */
#define ORV_ERRMODE_STDERR 0x400u    /* print a message */
#define ORV_ERRMODE_EXCEPT 0x800u    /* raise the floating-point exception */
#define ORV_ERRMODE_CALLBACK 0x1000u /* call the thread's callback */
#define ORV_ERRMODE_NOERR 0x2000u    /* alone: not even the status is recorded */
#define ORV_ERRMODE_DEFAULT 0x1A00u  /* errno, exception and callback */

/* Denormals, bits 18-21. */
#define ORV_FLUSH_DENORMALS 0x280000u
#define ORV_KEEP_DENORMALS 0x140000u

/* Exceptions that are delivered and not only flagged, bits 24-27; with ORV_ERRMODE_EXCEPT. */
#define ORV_TRAP_INVALID 0x1000000u
#define ORV_TRAP_DIVBYZERO 0x2000000u
#define ORV_TRAP_OVERFLOW 0x4000000u
#define ORV_TRAP_UNDERFLOW 0x8000000u

/* Statuses of a numerical error. */
enum {
  ORV_STATUS_ACCESS = -2,
  ORV_STATUS_ARGUMENT = -1,
  ORV_STATUS_OK = 0,
  ORV_STATUS_DOMAIN = 1,      /* argument outside the domain: NaN */
  ORV_STATUS_SINGULARITY = 2, /* pole: infinite result of finite arguments */
  ORV_STATUS_OVERFLOW = 3,
  ORV_STATUS_UNDERFLOW = 4 /* result denormal or zero */
};

/* What an error callback is given. Real functions leave the imaginary fields unfilled. */
typedef struct OrvErrorRecord {
  int32_t code;  /* the status */
  int32_t index; /* element number, from 0 */
#ifdef __cplusplus
  alignas(8) double arg1;
#else
  _Alignas(8) double arg1;
#endif
  double arg2; /* equals arg1 in a one-operand function */
  double res1; /* may be changed by the callback: the element's final value */
  double res2;
  char name[64]; /* v, the type, the function, and I in the strided form: "vsExp", "vdPowxI" */
  int32_t name_length;
  int32_t reserved;
  double arg1_im, arg2_im, res1_im, res2_im;
} OrvErrorRecord;

/* Returns 0 to go on with the other actions and the write-back, non-zero to leave the element as it is. */
typedef int(ORV_CALL* OrvErrorCallback)(OrvErrorRecord* record);

/* The calling thread's mode word. */
uint32_t ORV_CALL orv_elw_kernel_GetMode(void);
/* Replaces each field of the mode that is not 0 in `mode`; returns the previous word. */
uint32_t ORV_CALL orv_elw_kernel_SetMode(uint32_t mode);
/* The slot of a kernel table for the thread's accuracy: 0 LA, 1 HA, 2 EP; M: for the accuracy in `mode`. */
int32_t ORV_CALL orv_elw_kernel_GetTTableIndex(void);
int32_t ORV_CALL orv_elw_kernel_GetTTableIndexM(uint32_t unused, uint32_t mode);
/* The status of the thread's last error; kernels never clear it. Set and Clear return the previous one. */
int32_t ORV_CALL orv_elw_kernel_GetErrStatus(void);
int32_t ORV_CALL orv_elw_kernel_SetErrStatus(int32_t status);
int32_t ORV_CALL orv_elw_kernel_ClearErrStatus(void);
/* The thread's error callback. Setting one adds ORV_ERRMODE_CALLBACK to the mode, clearing removes it. */
OrvErrorCallback ORV_CALL orv_elw_kernel_GetErrorCallBack(void);
OrvErrorCallback ORV_CALL orv_elw_kernel_SetErrorCallBack(OrvErrorCallback callback);
OrvErrorCallback ORV_CALL orv_elw_kernel_ClearErrorCallBack(void);
/* Base of the whole vector while pieces of it are handed to kernels, so that errors are numbered in the
 * whole; null: numbers count from the array that a kernel got. Returns its argument. */
const void* ORV_CALL orv_elw_kernel_SetInterfInputVectorPointer(const void* base);

uint32_t ORV_CALL _elwGetMode(void);
uint32_t ORV_CALL _elwSetMode(uint32_t mode);
int32_t ORV_CALL _elwGetErrStatus(void);
int32_t ORV_CALL _elwSetErrStatus(int32_t status);
int32_t ORV_CALL _elwClearErrStatus(void);
OrvErrorCallback ORV_CALL _elwGetErrorCallBack(void);
OrvErrorCallback ORV_CALL _elwSetErrorCallBack(OrvErrorCallback callback);
OrvErrorCallback ORV_CALL _elwClearErrorCallBack(void);
const void* ORV_CALL _elwSetInterfInputVectorPointer(const void* base);

/* The code of the processor class this library is built for: 9, AVX2 and FMA. */
int ORV_CALL dll_cpu_version(void);

#ifdef __cplusplus
}
#endif
#endif
