// Pack and Unpack: copies between a dense array and a strided, masked or indexed one. Plain loops in rising order by
// integer moves: no frame, no status, payloads of NaN pass untouched. The last argument tells the width of counts,
// strides, masks and indices: 1 for 32 bits, anything else for 64.
#include "frame/costs.h"
#include "frame/functions.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

// An element as bytes of its size.
template <std::size_t bytes>
struct Element {
  unsigned char byte[bytes];
};

constexpr int32_t narrow = 1;
constexpr float mark = 1111.0f; // in the cost tables: no measurement

// The wide or narrow reading of a count or stride.
inline int64_t reading(int64_t value, int32_t width) {
  return width == narrow ? static_cast<int32_t>(static_cast<uint64_t>(value)) : value;
}

template <class E>
void pack_i(int64_t n, const E* a, int64_t inca, E* y, int32_t width) {
  n = reading(n, width);
  auto const stride = static_cast<std::ptrdiff_t>(reading(inca, width));
  for (int64_t i = 0; i < n; ++i, a += stride) *y++ = *a;
}
template <class E>
void unpack_i(int64_t n, const E* a, E* y, int64_t incy, int32_t width) {
  n = reading(n, width);
  auto const stride = static_cast<std::ptrdiff_t>(reading(incy, width));
  for (int64_t i = 0; i < n; ++i, y += stride) *y = *a++;
}

// Masks and indices of either width.
template <class Work>
void with_width(int64_t n, const void* array, int32_t width, Work work) {
  if (width == narrow)
    work(reading(n, width), static_cast<const int32_t*>(array));
  else
    work(n, static_cast<const int64_t*>(array));
}
template <class E>
void pack_m(int64_t n, const E* a, const void* mask, E* y, int32_t width) {
  with_width(n, mask, width, [=](int64_t count, auto* m) {
    E* out = y;
    for (int64_t i = 0; i < count; ++i)
      if (m[i] != 0) *out++ = a[i];
  });
}
template <class E>
void unpack_m(int64_t n, const E* a, E* y, const void* mask, int32_t width) {
  with_width(n, mask, width, [=](int64_t count, auto* m) {
    const E* in = a;
    for (int64_t i = 0; i < count; ++i)
      if (m[i] != 0) y[i] = *in++;
  });
}
template <class E>
void pack_v(int64_t n, const E* a, const void* index, E* y, int32_t width) {
  with_width(n, index, width, [=](int64_t count, auto* ia) {
    for (int64_t i = 0; i < count; ++i) y[i] = a[static_cast<std::ptrdiff_t>(ia[i])];
  });
}
template <class E>
void unpack_v(int64_t n, const E* a, E* y, const void* index, int32_t width) {
  with_width(n, index, width, [=](int64_t count, auto* iy) {
    for (int64_t i = 0; i < count; ++i) y[static_cast<std::ptrdiff_t>(iy[i])] = a[i];
  });
}

} // namespace
} // namespace orv

#define ORV_PACK(x, bytes, name, kernel)                                                                     \
  extern "C"                                                                                                 \
      __attribute__((visibility("default"),                                                                  \
                     used)) constinit const orv::TablePair<decltype(orv::kernel<orv::Element<bytes>>)>       \
          orv_elw_kernel_##x##name##_ttab = {{&orv::kernel<orv::Element<bytes>>,                             \
                                              &orv::kernel<orv::Element<bytes>>,                             \
                                              &orv::kernel<orv::Element<bytes>>},                            \
                                             {orv::mark, orv::mark, orv::mark}};                             \
  ORV_TABLE_ALIASES(#x #name);
#define ORV_PACK_TYPES(name, kernel)                                                                         \
  ORV_PACK(s, 4, name, kernel)                                                                               \
  ORV_PACK(d, 8, name, kernel)                                                                               \
  ORV_PACK(c, 8, name, kernel)                                                                               \
  ORV_PACK(z, 16, name, kernel)

ORV_PACK_TYPES(PackI, pack_i)
ORV_PACK_TYPES(PackM, pack_m)
ORV_PACK_TYPES(PackV, pack_v)
ORV_PACK_TYPES(UnpackI, unpack_i)
ORV_PACK_TYPES(UnpackM, unpack_m)
ORV_PACK_TYPES(UnpackV, unpack_v)
