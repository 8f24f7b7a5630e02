/* Element-wise functions: one kernel for each function, type and accuracy level, over arrays.
 *
 * For a function such as Exp on type s (float), d (double), c (complex float), z (complex double):
 *
 *   _elwsExp, _elwsExp_HA    high accuracy: below 1 ulp
 *   _elwsExp_21 / _elwdExp_50  low accuracy: below 4 ulp          (s and c / d and z)
 *   _elwsExp_11 / _elwdExp_26  enhanced performance: about half the bits
 *   orv_elw_kernel_sExp_ttab   the three kernels in the order LA, HA, EP
 *   orv_elw_kernel_sExp_ctab   their relative costs of an element
 *
 * and the same with I behind the name for the strided form. Arguments by form (strides behind each array in
 * the strided form; counts and strides in elements; element i lies at base + i * stride):
 *
 *   one operand      n, a, r
 *   two operands     n, a, b, r
 *   two results      n, a, r1, r2
 *   scalar operand   n, a, b, r        with b by value
 *
 * A result array may be an operand array. Arguments are not checked. Errors of elements go to the calling
 * thread's mode, status and callback (orv/mode.h); a kernel never stops early. Rounding is to nearest and
 * exceptions are masked inside a kernel, whatever the caller's state is; sticky flags stay. Accuracy bounds
 * stand in orv/functions.def; measured errors in the documentation.
 */
#ifndef ORV_ELEMENTWISE_H
#define ORV_ELEMENTWISE_H

#include "orv/mode.h"
#include "orv/platform.h"

#include <stdint.h>

typedef struct {
  float re, im;
} orv_complex_float;
typedef struct {
  double re, im;
} orv_complex_double;

#define ORV_TYPE_s float
#define ORV_TYPE_d double
#define ORV_TYPE_c orv_complex_float
#define ORV_TYPE_z orv_complex_double

/* Parameter lists by form, of the contiguous and the strided kernel. */
#define ORV_PARAMETERS_unary(T) (int n, const T* a, T* r)
#define ORV_PARAMETERS_STRIDED_unary(T) (int n, const T* a, int inca, T* r, int incr)
#define ORV_PARAMETERS_binary(T) (int n, const T* a, const T* b, T* r)
#define ORV_PARAMETERS_STRIDED_binary(T) (int n, const T* a, int inca, const T* b, int incb, T* r, int incr)
#define ORV_PARAMETERS_two_results(T) (int n, const T* a, T* r1, T* r2)
#define ORV_PARAMETERS_STRIDED_two_results(T)                                                                \
  (int n, const T* a, int inca, T* r1, int incr1, T* r2, int incr2)
#define ORV_PARAMETERS_scalar(T) (int n, const T* a, T b, T* r)
#define ORV_PARAMETERS_STRIDED_scalar(T) (int n, const T* a, int inca, T b, T* r, int incr)
#define ORV_PARAMETERS_linear_frac(T)                                                                        \
  (int n, const T* a, const T* b, T scalea, T shifta, T scaleb, T shiftb, T* r)
#define ORV_PARAMETERS_STRIDED_linear_frac(T)                                                                \
  (int n, const T* a, int inca, const T* b, int incb, T scalea, T shifta, T scaleb, T shiftb, T* r, int incr)

#define ORV_REAL_OF_c float
#define ORV_REAL_OF_z double
#define ORV_PARAMETERS_between(A, R) (int n, const A* a, R* r)
#define ORV_PARAMETERS_STRIDED_between(A, R) (int n, const A* a, int inca, R* r, int incr)

#define ORV_LEVEL_LA_s _21
#define ORV_LEVEL_LA_d _50
#define ORV_LEVEL_LA_c _21
#define ORV_LEVEL_LA_z _50
#define ORV_LEVEL_EP_s _11
#define ORV_LEVEL_EP_d _26
#define ORV_LEVEL_EP_c _11
#define ORV_LEVEL_EP_z _26
#define ORV_JOIN_(a, b) a##b
#define ORV_JOIN(a, b) ORV_JOIN_(a, b)

#ifdef __cplusplus
extern "C" {
#endif

#define ORV_DECLARE_(x, name, parameters)                                                                    \
  typedef void(ORV_CALL* orv_kernel_##x##name) parameters;                                                   \
  void ORV_CALL ORV_JOIN(_elw##x##name, ORV_LEVEL_LA_##x) parameters;                                        \
  void ORV_CALL _elw##x##name parameters;                                                                    \
  void ORV_CALL _elw##x##name##_HA parameters;                                                               \
  void ORV_CALL ORV_JOIN(_elw##x##name, ORV_LEVEL_EP_##x) parameters;                                                 \
  ORV_DECLARE_TABLES(x, name)
#ifdef ORV_TABLES_DEFINED_HERE
#  define ORV_DECLARE_TABLES(x, name)
#else
#  define ORV_DECLARE_TABLES(x, name)                                                                        \
    ORV_DATA const orv_kernel_##x##name orv_elw_kernel_##x##name##_ttab[3];                                  \
    ORV_DATA const float orv_elw_kernel_##x##name##_ctab[3];
#endif
#define ORV_DECLARE_real(x, name, form)                                                                      \
  ORV_DECLARE_(x, name, ORV_PARAMETERS_##form(ORV_TYPE_##x))                                                 \
  ORV_DECLARE_(x, name##I, ORV_PARAMETERS_STRIDED_##form(ORV_TYPE_##x))

#define ORV_DECLARE_unary(x, name) ORV_DECLARE_real(x, name, unary)
#define ORV_DECLARE_binary(x, name) ORV_DECLARE_real(x, name, binary)
#define ORV_DECLARE_two_results(x, name) ORV_DECLARE_real(x, name, two_results)
#define ORV_DECLARE_scalar(x, name) ORV_DECLARE_real(x, name, scalar)
#define ORV_DECLARE_linear_frac(x, name) ORV_DECLARE_real(x, name, linear_frac)
#define ORV_DECLARE_between(x, name, A, R)                                                                   \
  ORV_DECLARE_(x, name, ORV_PARAMETERS_between(A, R))                                                        \
  ORV_DECLARE_(x, name##I, ORV_PARAMETERS_STRIDED_between(A, R))
#define ORV_DECLARE_real_to_complex(x, name) ORV_DECLARE_between(x, name, ORV_REAL_OF_##x, ORV_TYPE_##x)
#define ORV_DECLARE_complex_to_real(x, name) ORV_DECLARE_between(x, name, ORV_TYPE_##x, ORV_REAL_OF_##x)
#define ORV_DECLARE_pack(x, name) /* in orv/pack.h */
#define ORV_FUNCTION(x, name, form, slots, family, ha, la, ep) ORV_DECLARE_##form(x, name)
#include "orv/functions.def"
#undef ORV_FUNCTION

#ifdef __cplusplus
}
#endif
#endif
