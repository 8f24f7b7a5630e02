// What all kernels of complex numbers must hold, whatever they compute. An element of an operand or a result is a row
// of one or two numbers.
#include "tests/elementwise/each_function.h"
#include "tests/support/guarded.h"

#include <xmmintrin.h>

namespace orv::test {
namespace {

class EveryComplexKernel : public EachFunction {};

// n elements of a call, a number or a pair each.
struct Width {
  std::size_t a, r;
};
Width width_of(Function const& f) {
  return {f.form == Form::real_to_complex ? 1u : 2u, f.form == Form::complex_to_real ? 1u : 2u};
}

template <class Check>
void for_each_complex_level(Function const& f, Check check) {
  auto const function = Elementwise::find(f.type, std::string(f.name));
  for (Level level : {Level::LA, Level::HA, Level::EP}) {
    if (kernel_level(f.slots, level) != level) continue;
    SCOPED_TRACE(level_name(level));
    if (f.type == 'c')
      check.template operator()<float>(function, level);
    else
      check.template operator()<double>(function, level);
    if (testing::Test::HasFatalFailure()) return;
  }
}

struct Outcome {
  std::vector<int> status;
  std::vector<std::size_t> order;
};
template <class T>
Outcome run(Elementwise const& f, Level level, std::size_t n, const T* a, const T* b, T* r) {
  Outcome out{std::vector<int>(n), {}};
  ErrorLog log;
  f.call(level, with_scalars({.a = a, .b = b, .r1 = r}, 2.5), n);
  for (auto const& e : log.errors()) {
    out.status[e.index] = e.status;
    out.order.push_back(e.index);
  }
  return out;
}
template <class T>
bool same(const T* x, const T* y, std::size_t n) {
  return std::memcmp(x, y, n * sizeof(T)) == 0;
}

TEST_P(EveryComplexKernel, AllFormsOfACallGiveTheSameBitsAndErrorsRise) {
  Width const w = width_of(*GetParam());
  for_each_complex_level(*GetParam(), [w]<class T>(Elementwise const& f, Level level) {
    for (std::size_t n : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 67, 300}) {
      auto const a = mixed_values<T>(n * w.a, 1), b = mixed_values<T>(n * 2, 2);
      std::vector<T> whole(n * w.r), single(n * w.r);
      auto const outcome = run<T>(f, level, n, a.data(), b.data(), whole.data());
      for (std::size_t i = 0; i < n; ++i) {
        auto const one =
            run<T>(f, level, 1, a.data() + i * w.a, b.data() + i * 2, single.data() + i * w.r);
        ASSERT_EQ(one.status[0], outcome.status[i]) << "element " << i << " of " << n;
        ASSERT_TRUE(same(&whole[i * w.r], &single[i * w.r], w.r)) << "element " << i << " of " << n;
      }
      for (std::size_t i = 1; i < outcome.order.size(); ++i)
        ASSERT_LT(outcome.order[i - 1], outcome.order[i]);
      if (w.a == w.r) {
        auto in_place = a;
        run<T>(f, level, n, in_place.data(), b.data(), in_place.data());
        ASSERT_TRUE(same(whole.data(), in_place.data(), n * w.r)) << "in place, n " << n;
        if (f.operands() == 2) {
          auto over = b;
          run<T>(f, level, n, a.data(), over.data(), over.data());
          ASSERT_TRUE(same(whole.data(), over.data(), n * w.r)) << "over the second operand, n " << n;
        }
      }
      struct Strides {
        int a, b, r;
      };
      for (Strides s : {Strides{1, 1, 1}, {2, 1, 1}, {1, 3, 2}, {-1, 2, -2}, {3, -1, 1}}) {
        // Element i of x at base + i stride.
        auto spread = [n](const T* x, std::size_t width, int stride, std::vector<T>& memory) {
          memory.assign((n * static_cast<std::size_t>(std::abs(stride)) + 1) * width, T(0.5));
          T* const base =
              memory.data() + (stride < 0 ? (n - 1) * static_cast<std::size_t>(-stride) * width : 0);
          if (x)
            for (std::size_t i = 0; i < n; ++i)
              std::memcpy(base + static_cast<std::ptrdiff_t>(i * width) * stride, x + i * width, width * sizeof(T));
          return base;
        };
        std::vector<T> ma, mb, mr;
        Arrays x{.a = spread(a.data(), w.a, s.a, ma),
                 .b = spread(b.data(), 2, s.b, mb),
                 .r1 = spread(nullptr, w.r, s.r, mr)};
        x.inca = s.a;
        x.incb = s.b;
        x.incr1 = s.r;
        ErrorLog log;
        f.call_strided(level, with_scalars(x, 2.5), static_cast<int>(n));
        std::vector<int> status(n, 0);
        for (auto const& e : log.errors()) status[e.index] = e.status;
        ASSERT_EQ(status, outcome.status) << "strides " << s.a << " " << s.b << " " << s.r << ", n " << n;
        for (std::size_t i = 0; i < n; ++i)
          ASSERT_TRUE(same(static_cast<T*>(x.r1) + static_cast<std::ptrdiff_t>(i * w.r) * s.r,
                           &whole[i * w.r], w.r))
              << "strides " << s.a << " " << s.b << " " << s.r << ", element " << i << " of " << n;
      }
    }
  });
}

TEST_P(EveryComplexKernel, NoAccessBeyondTheArrays) {
  Width const w = width_of(*GetParam());
  for_each_complex_level(*GetParam(), [w]<class T>(Elementwise const& f, Level level) {
    for (std::size_t n = 0; n <= 2 * 32 / sizeof(T) + 3; ++n)
      for (auto side : {Guarded<T>::at_end, Guarded<T>::at_start}) {
        Guarded<T> a(n * w.a, side), b(n * 2, side), r(n * w.r, side);
        auto const va = mixed_values<T>(n * w.a, 3), vb = mixed_values<T>(n * 2, 4);
        if (n) {
          std::memcpy(a.data(), va.data(), n * w.a * sizeof(T));
          std::memcpy(b.data(), vb.data(), n * 2 * sizeof(T));
        }
        ErrorLog quiet;
        Arrays x = with_scalars({.a = a.data(), .b = b.data(), .r1 = r.data()}, 2.5);
        f.call(level, x, n);
        f.call_strided(level, x, static_cast<int>(n));
        x.inca = x.incb = 0;
        if (n) f.call_strided(level, x, static_cast<int>(n));
      }
  });
}

TEST_P(EveryComplexKernel, ASpecialValueInAnyLaneDisturbsNoNeighbour) {
  Width const w = width_of(*GetParam());
  for_each_complex_level(*GetParam(), [w]<class T>(Elementwise const& f, Level level) {
    constexpr std::size_t n = 32 / sizeof(T) + 3;
    std::vector<T> const plain_a(n * w.a, T(0.875)), plain_b(n * 2, T(1.125));
    std::vector<T> plain(n * w.r);
    run<T>(f, level, n, plain_a.data(), plain_b.data(), plain.data());
    for (T special : special_values<T>())
      for (std::size_t part = 0; part < w.a; ++part) {
        auto a = plain_a;
        std::memcpy(&a[part], &special, sizeof(T));
        T alone[2];
        int const status = run<T>(f, level, 1, a.data(), plain_b.data(), alone).status[0];
        for (std::size_t lane = 0; lane < n; ++lane) {
          a = plain_a;
          std::memcpy(&a[lane * w.a + part], &special, sizeof(T));
          auto expected = plain;
          std::memcpy(&expected[lane * w.r], alone, w.r * sizeof(T));
          std::vector<T> got(n * w.r);
          auto const outcome = run<T>(f, level, n, a.data(), plain_b.data(), got.data());
          ASSERT_TRUE(same(got.data(), expected.data(), n * w.r))
              << "value " << special << " in part " << part << " of lane " << lane;
          ASSERT_EQ(outcome.status[lane], status);
        }
      }
  });
}

// Also a rounding direction, flushed denormals and an x87 precision that the kernel does not work with.
TEST_P(EveryComplexKernel, TheCallersControlStateIsRestoredAndDoesNotMatter) {
  Width const w = width_of(*GetParam());
  for_each_complex_level(*GetParam(), [w]<class T>(Elementwise const& f, Level level) {
    constexpr std::size_t n = 13;
    std::vector<T> a(n * w.a), b(n * 2), expected(n * w.r);
    for (std::size_t i = 0; i < n * 2; ++i) {
      if (i < a.size()) a[i] = T(0.3) + static_cast<T>(i) / 7;
      b[i] = T(1.1) + static_cast<T>(i) / 19;
    }
    run<T>(f, level, n, a.data(), b.data(), expected.data());
    unsigned const mxcsr = _mm_getcsr();
    unsigned short x87;
    __asm__ volatile("fnstcw %0" : "=m"(x87));
    for (unsigned short word : {0x0F40, 0x007F, 0x027F, 0x0B7F, 0x037F})
      for (unsigned state : {0x7F80u, 0x3F80u, 0x5F80u, 0x9FC0u, 0x1F80u | 0x20u}) {
        std::vector<T> got(n * w.r);
        unsigned after;
        unsigned short x87_after;
        {
          ErrorLog quiet;
          Arrays const x = with_scalars({.a = a.data(), .b = b.data(), .r1 = got.data()}, 2.5);
          __asm__ volatile("fldcw %0" ::"m"(word));
          _mm_setcsr(state);
          f.call(level, x, n);
          after = _mm_getcsr();
          __asm__ volatile("fnstcw %0" : "=m"(x87_after));
          _mm_setcsr(mxcsr);
          __asm__ volatile("fnclex\n\tfldcw %0" ::"m"(x87));
        }
        ASSERT_EQ(after & ~0x3Fu, state & ~0x3Fu) << std::hex << state;
        ASSERT_EQ(x87_after, word);
        ASSERT_TRUE(same(got.data(), expected.data(), n * w.r)) << std::hex << state << " " << word;
      }
  });
}

TEST_P(EveryComplexKernel, CostsRiseFromEpOverLaToHa) {
  Function const& f = *GetParam();
  auto const function = Elementwise::find(f.type, std::string(f.name));
  EXPECT_LE(function.cost(Level::EP), function.cost(Level::LA));
  EXPECT_LE(function.cost(Level::LA), function.cost(Level::HA));
  EXPECT_GT(function.cost(Level::EP), 0);
}
ORV_EACH_COMPLEX_FUNCTION_THAT(EveryComplexKernel, [](Function const&) { return true; });

} // namespace
} // namespace orv::test
