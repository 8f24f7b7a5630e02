// The x87 unit's sticky flags: kernels compute in vector registers, and a denormal that passes through that unit's
// stack, as results of functions do in 32-bit code, would leave its mark there.
#include "tests/elementwise/each_function.h"

namespace orv::test {
namespace {

uint16_t x87_flags() {
  uint16_t word;
  __asm__ volatile("fnstsw %0" : "=a"(word));
  return word & 0x3F;
}
void clear_x87_flags() { __asm__ volatile("fnclex"); }

class X87 : public EachFunction {};
TEST_P(X87, KernelsRaiseNoneOfItsFlags) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    constexpr T least = std::numeric_limits<T>::denorm_min(), small = std::numeric_limits<T>::min();
    auto a = mixed_values<T>(512, 3), b = mixed_values<T>(512, 4);
    std::size_t i = 0;
    for (T const x :
         {least, 3 * least, small / 2, small * T(1.75), T(1), T(7) / 3, std::numeric_limits<T>::max()})
      for (T const y : {least, 3 * least, small / 2, small, T(1), T(3)})
        for (T const sign : {T(1), T(-1)}) {
          a[i] = sign * x;
          b[i++] = y;
        }
    std::vector<T> r1(a.size()), r2(a.size());
    ErrorLog quiet;
    clear_x87_flags();
    f.call(level, with_scalars({.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()}, scalar),
           a.size());
    // The scalar comes over the stack of the caller, but only in its memory; errors are collected as doubles.
    EXPECT_EQ(x87_flags(), 0) << f.function().name;
    clear_x87_flags();
  });
}
ORV_EACH_FUNCTION(X87);

} // namespace
} // namespace orv::test
