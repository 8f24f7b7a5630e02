// What all kernels must hold, whatever they compute.
#include "tests/elementwise/each_function.h"
#include "tests/support/guarded.h"

#include <xmmintrin.h>

namespace orv::test {
namespace {

class EveryKernel : public EachFunction {};

TEST_P(EveryKernel, AllFormsOfACallGiveTheSameBits) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    for (std::size_t n : {1, 3, 4, 5, 7, 8, 9, 17, 31, 32, 33, 67}) {
      auto const a = mixed_values<T>(n, 1), b = mixed_values<T>(n, 2);
      auto const whole = call(f, level, a, b, scalar);

      // Element by element.
      Results<T> single{std::vector<T>(n), std::vector<T>(n), std::vector<int>(n)};
      for (std::size_t i = 0; i < n; ++i) {
        auto const one = call<T>(f, level, {a[i]}, {b[i]}, scalar);
        std::memcpy(&single.r1[i], &one.r1[0], sizeof(T));
        std::memcpy(&single.r2[i], &one.r2[0], sizeof(T));
        single.status[i] = one.status[0];
      }
      ASSERT_TRUE(same_bits(whole.r1, single.r1)) << "n " << n;
      ASSERT_TRUE(same_bits(whole.r2, single.r2)) << "n " << n;
      ASSERT_EQ(whole.status, single.status) << "n " << n;

      // In place, over either operand.
      auto in_place = a;
      std::vector<T> second(n);
      {
        ErrorLog quiet;
        f.call(level,
               with_scalars({.a = in_place.data(), .b = b.data(), .r1 = in_place.data(), .r2 = second.data()},
                            scalar),
               n);
      }
      ASSERT_TRUE(same_bits(whole.r1, in_place)) << "in place, n " << n;
      if (f.operands() == 2) {
        auto over_b = b;
        ErrorLog quiet;
        f.call(level, with_scalars({.a = a.data(), .b = over_b.data(), .r1 = over_b.data()}, scalar), n);
        ASSERT_TRUE(same_bits(whole.r1, over_b)) << "over the second operand, n " << n;
      }

      // Strided, also backwards.
      struct Strides {
        int a, b, r1, r2;
      };
      for (Strides s : {Strides{1, 1, 1, 1}, {2, 1, 1, 1}, {1, 3, 2, 1}, {-1, 2, -2, 3}, {3, -1, 1, -1}}) {
        auto spread = [&](std::vector<T> const& x, int stride, std::vector<T>& memory) {
          memory.assign(n * static_cast<std::size_t>(std::abs(stride)) + 1, T(0.5));
          T* base = stride < 0 ? memory.data() + (n - 1) * static_cast<std::size_t>(-stride) : memory.data();
          for (std::size_t i = 0; i < x.size(); ++i)
            std::memcpy(base + static_cast<std::ptrdiff_t>(i) * stride, &x[i], sizeof(T));
          return base;
        };
        std::vector<T> ma, mb, m1, m2;
        Arrays x{.a = spread(a, s.a, ma),
                 .b = spread(b, s.b, mb),
                 .r1 = spread({}, s.r1, m1),
                 .r2 = spread({}, s.r2, m2)};
        x.inca = s.a;
        x.incb = s.b;
        x.incr1 = s.r1;
        x.incr2 = s.r2;
        ErrorLog log;
        f.call_strided(level, with_scalars(x, scalar), static_cast<int>(n));
        std::vector<T> r1(n), r2(n);
        std::vector<int> status(n, 0);
        for (std::size_t i = 0; i < n; ++i) {
          std::memcpy(&r1[i], static_cast<T*>(x.r1) + static_cast<std::ptrdiff_t>(i) * s.r1, sizeof(T));
          std::memcpy(&r2[i], static_cast<T*>(x.r2) + static_cast<std::ptrdiff_t>(i) * s.r2, sizeof(T));
        }
        for (auto const& e : log.errors()) status[e.index] = e.status;
        ASSERT_TRUE(same_bits(whole.r1, r1)) << "strides " << s.a << " " << s.b << " " << s.r1 << ", n " << n;
        if (f.results() == 2) {
          ASSERT_TRUE(same_bits(whole.r2, r2));
        }
        ASSERT_EQ(whole.status, status) << "strides " << s.a << " " << s.b << " " << s.r1 << ", n " << n;
      }
    }
  });
}

TEST_P(EveryKernel, StrideZeroReadsTheFirstElementForAll) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    std::size_t const n = 11;
    std::vector<T> const a(n, T(0.625)), b(n, T(1.25));
    auto const expected = call(f, level, a, b, scalar);
    std::vector<T> r1(2 * n), r2(2 * n);
    Arrays x{.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()};
    x.inca = x.incb = 0;
    x.incr1 = x.incr2 = 2;
    ErrorLog quiet;
    f.call_strided(level, with_scalars(x, scalar), static_cast<int>(n));
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(bits(r1[2 * i]), bits(expected.r1[i]));
  });
}

TEST_P(EveryKernel, NoAccessBeyondTheArrays) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    for (std::size_t n = 0; n <= 2 * 32 / sizeof(T) + 3; ++n) {
      for (auto side : {Guarded<T>::at_end, Guarded<T>::at_start}) {
        Guarded<T> a(n, side), b(n, side), r1(n, side), r2(n, side);
        auto const va = mixed_values<T>(n, 3), vb = mixed_values<T>(n, 4);
        if (n) {
          std::memcpy(a.data(), va.data(), n * sizeof(T));
          std::memcpy(b.data(), vb.data(), n * sizeof(T));
        }
        ErrorLog quiet;
        Arrays x = with_scalars({.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()}, scalar);
        f.call(level, x, n);
        x.inca = x.incb = x.incr1 = x.incr2 = 1;
        f.call_strided(level, x, static_cast<int>(n));
      }
      // Strided: the gaps may be read, what lies behind the last element not.
      for (int stride : {2, -2}) {
        std::size_t const spread = n ? 2 * n - 1 : 0;
        for (auto side : {Guarded<T>::at_end, Guarded<T>::at_start}) {
          Guarded<T> a(spread, side), b(spread, side), r1(spread, side), r2(spread, side);
          std::ptrdiff_t const first = stride < 0 && n ? static_cast<std::ptrdiff_t>(spread) - 1 : 0;
          for (std::size_t i = 0; i < spread; ++i) a[i] = b[i] = T(1.25);
          ErrorLog quiet;
          Arrays x = with_scalars({.a = a.data() + first,
                                   .b = b.data() + first,
                                   .r1 = r1.data() + first,
                                   .r2 = r2.data() + first},
                                  scalar);
          x.inca = x.incb = x.incr1 = x.incr2 = stride;
          f.call_strided(level, x, static_cast<int>(n));
        }
      }
      // Memory behind a result that is not the array's end is left alone too.
      auto const a = mixed_values<T>(n, 5), b = mixed_values<T>(n, 6);
      std::vector<T> r1(n + 40, T(77)), r2(n + 40, T(77));
      ErrorLog quiet;
      f.call(level, with_scalars({.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()}, scalar),
             n);
      for (std::size_t i = n; i < n + 40; ++i) ASSERT_TRUE(r1[i] == T(77) && r2[i] == T(77)) << "n " << n;
    }
  });
}

TEST_P(EveryKernel, ASpecialValueInAnyLaneDisturbsNoNeighbour) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    constexpr std::size_t n = 32 / sizeof(T);
    std::vector<T> const plain_a(n, T(0.875)), plain_b(n, T(1.125));
    auto const plain = call(f, level, plain_a, plain_b, scalar);
    auto const specials = special_values<T>();
    for (std::size_t k = 0; k < specials.size(); ++k) {
      auto const alone = call<T>(f, level, {specials[k]}, {plain_b[0]}, scalar);
      for (std::size_t lane = 0; lane < n; ++lane) {
        auto a = plain_a;
        std::memcpy(&a[lane], &specials[k], sizeof(T));
        auto expected = plain.r1;
        std::memcpy(&expected[lane], &alone.r1[0], sizeof(T));
        auto const got = call(f, level, a, plain_b, scalar);
        ASSERT_TRUE(same_bits(got.r1, expected)) << "value " << specials[k] << " in lane " << lane;
      }
    }
  });
}

TEST_P(EveryKernel, ErrorsComeInRisingOrderAndTheStatusIsTheLastOnes) {
  auto const status = ORV_FUNCTION_OF(orv_elw_kernel_GetErrStatus);
  for_each_level(*GetParam(), [&]<class T>(Elementwise const& f, Level level, double scalar) {
    auto const a = mixed_values<T>(200, 7), b = mixed_values<T>(200, 8);
    std::vector<T> r1(200), r2(200);
    ErrorLog log;
    ORV_FUNCTION_OF(orv_elw_kernel_ClearErrStatus)();
    f.call(level, with_scalars({.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()}, scalar),
           200);
    for (std::size_t i = 1; i < log.errors().size(); ++i)
      ASSERT_LT(log.errors()[i - 1].index, log.errors()[i].index);
    ASSERT_EQ(status(), log.errors().empty() ? 0 : log.errors().back().status);
    // A negative integer power reports from the reciprocal of the positive one.
    if (f.scalar_operand()) return;
    for (auto const& e : log.errors()) {
      ASSERT_EQ(bits(static_cast<T>(e.arg1)), bits(a[e.index]));
    }
  });
}

TEST_P(EveryKernel, TheCallersControlStateIsRestoredAndDoesNotMatter) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    // Ordinary values only: with overflow unmasked the caller's own code must not meet one.
    std::vector<T> a(13), b(13);
    for (std::size_t i = 0; i < 13; ++i) {
      a[i] = T(0.3) + static_cast<T>(i) / 7;
      b[i] = T(1.1) + static_cast<T>(i) / 9;
    }
    auto const expected = call(f, level, a, b, scalar);
    unsigned const mxcsr = _mm_getcsr();
    unsigned short x87;
    __asm__ volatile("fnstcw %0" : "=m"(x87));
    for (unsigned state : {0x7F80u, 0x3F80u, 0x5F80u, 0x9FC0u, 0x1F80u | 0x20u, 0x1F80u & ~0x1000u}) {
      Results<T> got{std::vector<T>(13), std::vector<T>(13), {}};
      unsigned short const unmasked = 0x0F40; // x87 exceptions unmasked, rounding toward zero
      unsigned after;
      unsigned short x87_after;
      {
        ErrorLog quiet;
        Arrays const x =
            with_scalars({.a = a.data(), .b = b.data(), .r1 = got.r1.data(), .r2 = got.r2.data()}, scalar);
        __asm__ volatile("fldcw %0" ::"m"(unmasked));
        _mm_setcsr(state);
        f.call(level, x, 13);
        after = _mm_getcsr();
        __asm__ volatile("fnstcw %0" : "=m"(x87_after));
        _mm_setcsr(mxcsr);
        __asm__ volatile("fnclex\n\tfldcw %0" ::"m"(x87));
      }
      ASSERT_EQ(after & ~0x3Fu, state & ~0x3Fu) << std::hex << state;
      ASSERT_EQ(after & state & 0x3F, state & 0x3F) << "a sticky flag was lost";
      ASSERT_EQ(x87_after, unmasked);
      ASSERT_TRUE(same_bits(got.r1, expected.r1)) << std::hex << state;
    }
  });
}

TEST_P(EveryKernel, CostsRiseFromEpOverLaToHa) {
  Function const& f = *GetParam();
  auto const function = Elementwise::find(f.type, std::string(f.name));
  EXPECT_LE(function.cost(Level::EP), function.cost(Level::LA));
  EXPECT_LE(function.cost(Level::LA), function.cost(Level::HA));
  EXPECT_GT(function.cost(Level::EP), 0);
}
ORV_EACH_FUNCTION(EveryKernel);

} // namespace
} // namespace orv::test
