/* Pack and Unpack: copies of elements between a dense array and a strided, masked or indexed one, for element types
 * s (4 bytes), d and c (8), z (16). Nothing is checked; n at or below 0 means no work. For i from 0 to n - 1:
 *
 *   PackI    y[i] = a[i * inca]          UnpackI  y[i * incy] = a[i]
 *   PackM    y[k++] = a[i] if mask[i]    UnpackM  y[i] = a[k++] if mask[i]
 *   PackV    y[i] = a[ia[i]]             UnpackV  y[iy[i]] = a[i]
 *
 * The named entries read the low 32 bits of counts and strides, and masks and indices of 32 bits. The kernels in the
 * tables take one argument more: 1 for these widths, anything else for 64 bits throughout.
 */
#ifndef ORV_PACK_H
#define ORV_PACK_H

#include "orv/elementwise.h"
#include "orv/platform.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ORV_DECLARE_PACK_(x, name, parameters, table_parameters)                                             \
  typedef void(ORV_CALL * orv_kernel_##x##name) table_parameters;                                            \
  void ORV_CALL ORV_JOIN(_elw##x##name, ORV_LEVEL_LA_##x) parameters;                                        \
  void ORV_CALL _elw##x##name parameters;                                                                    \
  void ORV_CALL _elw##x##name##_HA parameters;                                                               \
  void ORV_CALL ORV_JOIN(_elw##x##name, ORV_LEVEL_EP_##x) parameters;                                        \
  ORV_DATA const orv_kernel_##x##name orv_elw_kernel_##x##name##_ttab[3];                                    \
  ORV_DATA const float orv_elw_kernel_##x##name##_ctab[3];
#define ORV_DECLARE_PACKS(x, T)                                                                              \
  ORV_DECLARE_PACK_(x, PackI, (int64_t n, const T* a, int64_t inca, T* y),                                   \
                    (int64_t n, const T* a, int64_t inca, T* y, int32_t width))                              \
  ORV_DECLARE_PACK_(x, PackM, (int64_t n, const T* a, const int32_t* mask, T* y),                            \
                    (int64_t n, const T* a, const void* mask, T* y, int32_t width))                          \
  ORV_DECLARE_PACK_(x, PackV, (int64_t n, const T* a, const int32_t* ia, T* y),                              \
                    (int64_t n, const T* a, const void* ia, T* y, int32_t width))                            \
  ORV_DECLARE_PACK_(x, UnpackI, (int64_t n, const T* a, T* y, int64_t incy),                                 \
                    (int64_t n, const T* a, T* y, int64_t incy, int32_t width))                              \
  ORV_DECLARE_PACK_(x, UnpackM, (int64_t n, const T* a, T* y, const int32_t* mask),                          \
                    (int64_t n, const T* a, T* y, const void* mask, int32_t width))                          \
  ORV_DECLARE_PACK_(x, UnpackV, (int64_t n, const T* a, T* y, const int32_t* iy),                            \
                    (int64_t n, const T* a, T* y, const void* iy, int32_t width))

ORV_DECLARE_PACKS(s, float)
ORV_DECLARE_PACKS(d, double)
ORV_DECLARE_PACKS(c, orv_complex_float)
ORV_DECLARE_PACKS(z, orv_complex_double)

#ifdef __cplusplus
}
#endif
#endif
