// Which NaN a result carries: the same in each lane, length, order of operands and form.
#include "tests/elementwise/each_function.h"

namespace orv::test {
namespace {

class Nan : public EachFunction {};

template <class T>
T nan_of(uint32_t payload, bool negative) {
  auto x = bits(std::numeric_limits<T>::quiet_NaN()) | payload;
  if (negative) x |= BitsOf<T>{1} << (8 * sizeof(T) - 1);
  return std::bit_cast<T>(x);
}

TEST_P(Nan, OfTwoTheSameOneComesOutAtEveryPlace) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    if (std::isnan(scalar)) return;
    T const first = nan_of<T>(0x123, false), second = nan_of<T>(0x456, true);
    for (auto [x, y] : {std::pair{first, second}, {second, first}}) {
      auto const alone = call<T>(f, level, {x}, {y}, scalar);
      ASSERT_TRUE(std::isnan(alone.r1[0]) || f.function().form == Form::scalar);
      if (std::isnan(alone.r1[0])) {
        BitsOf<T> const payload = bits(std::fabs(alone.r1[0]));
        ASSERT_TRUE(payload == bits(std::fabs(x)) || payload == bits(std::fabs(y)) || f.operands() == 1)
            << std::hex << payload;
      }
      for (std::size_t n = 1; n <= 3 * 32 / sizeof(T); ++n)
        for (std::size_t place = 0; place < n; ++place) {
          std::vector<T> a(n, T(0.875)), b(n, T(1.125));
          std::memcpy(&a[place], &x, sizeof x);
          std::memcpy(&b[place], &y, sizeof y);
          auto const got = call(f, level, a, b, scalar);
          ASSERT_EQ(bits(got.r1[place]), bits(alone.r1[0])) << "place " << place << " of " << n;
          ASSERT_EQ(bits(got.r2[place]), bits(alone.r2[0])) << "place " << place << " of " << n;
          Arrays in = with_scalars({.a = a.data(), .b = b.data(), .r1 = a.data(), .r2 = b.data()}, scalar);
          ErrorLog quiet;
          f.call_strided(level, in, static_cast<int>(n)); // in place
          ASSERT_EQ(bits(a[place]), bits(alone.r1[0])) << "in place, place " << place << " of " << n;
        }
    }
  });
}

TEST_P(Nan, ASignallingOneComesOutQuiet) {
  // These move bits.
  if (GetParam()->name == "CopySign" || GetParam()->name == "Abs") return;
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    if (std::isnan(scalar)) return;
    T const x = std::numeric_limits<T>::signaling_NaN();
    std::vector<T> a(9, T(0.875)), b(9, T(1.125));
    for (std::size_t place : {0, 5, 8}) {
      auto spoiled = a;
      std::memcpy(&spoiled[place], &x, sizeof x);
      auto const got = call(f, level, spoiled, b, scalar);
      T const r = got.r1[place];
      if (std::isnan(r) && !(f.scalar_operand() && scalar == 1)) {
        ASSERT_TRUE(bits(r) & (BitsOf<T>{1} << (std::numeric_limits<T>::digits - 2)));
      }
    }
  });
}
ORV_EACH_FUNCTION(Nan);

} // namespace
} // namespace orv::test
