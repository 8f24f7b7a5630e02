// Strides whose product with the count leaves 31 bits: sparse mappings, of which few pages are touched.
#include "tests/elementwise/each_function.h"

#if defined(__linux__) && defined(__x86_64__)
#  include <sys/mman.h>

namespace orv::test {
namespace {

class Far : public EachFunction {
 protected:
  static constexpr std::size_t size = std::size_t{1} << 36;
  static char* map() {
    void* p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return p == MAP_FAILED ? nullptr : static_cast<char*>(p);
  }
};

TEST_P(Far, ProductsOfStrideAndCountBeyond31Bits) {
  char *ma = map(), *mb = map(), *m1 = map(), *m2 = map();
  if (!ma || !mb || !m1 || !m2) GTEST_SKIP() << "no room for sparse mappings";
  for_each_level(*GetParam(), [&]<class T>(Elementwise const& f, Level level, double scalar) {
    if (f.scalar_operand() && scalar != 2.375 && scalar != -3) return;
    constexpr std::size_t n = 11;
    auto const a = mixed_values<T>(n, 31), b = mixed_values<T>(n, 32);
    auto const near = call(f, level, a, b, scalar);
    for (int stride : {(1 << 29) + 1, -(1 << 29) - 3}) {
      auto at = [&](char* memory, std::size_t i) {
        T* const base = stride < 0 ? reinterpret_cast<T*>(memory + size) - 1 : reinterpret_cast<T*>(memory);
        return base + static_cast<std::ptrdiff_t>(i) * stride;
      };
      for (std::size_t i = 0; i < n; ++i) {
        std::memcpy(at(ma, i), &a[i], sizeof(T));
        std::memcpy(at(mb, i), &b[i], sizeof(T));
      }
      Arrays x = with_scalars({.a = at(ma, 0), .b = at(mb, 0), .r1 = at(m1, 0), .r2 = at(m2, 0)}, scalar);
      x.inca = x.incb = x.incr1 = x.incr2 = stride;
      ErrorLog log;
      f.call_strided(level, x, static_cast<int>(n));
      for (std::size_t i = 0; i < n; ++i) {
        ASSERT_EQ(bits(*at(m1, i)), bits(near.r1[i])) << "stride " << stride << ", element " << i;
        if (f.results() == 2) {
          ASSERT_EQ(bits(*at(m2, i)), bits(near.r2[i])) << "stride " << stride << ", element " << i;
        }
      }
      for (auto const& e : log.errors()) ASSERT_EQ(e.status, near.status[e.index]);
      if (!f.scalar_operand()) {
        for (auto const& e : log.errors()) ASSERT_EQ(bits(static_cast<T>(e.arg1)), bits(a[e.index]));
      }
    }
  });
  for (char* m : {ma, mb, m1, m2}) munmap(m, size);
}
ORV_EACH_FUNCTION(Far);

} // namespace
} // namespace orv::test
#endif
