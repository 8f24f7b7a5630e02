// Sticky flags: those of the elements of a call and no others, tails included.
#include "tests/elementwise/each_function.h"

#include <xmmintrin.h>

namespace orv::test {
namespace {

class Flags : public EachFunction {};

constexpr unsigned invalid = 0x01, denormal = 0x02, divide = 0x04, overflow = 0x08, underflow = 0x10,
                   all_flags = 0x3F;

struct Raised {
  unsigned sse, x87;
  bool operator==(Raised const&) const = default;
};

// What a call of n elements raises; the first element's status too.
template <class T>
Raised flags_of(Elementwise const& f, Level level, std::vector<T> const& a, std::vector<T> const& b,
                double scalar, int stride = 0) {
  std::vector<T> r1(a.size() * 2), r2(a.size() * 2);
  Arrays x = with_scalars({.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()}, scalar);
  ErrorLog log;
  unsigned const before = _mm_getcsr();
  __asm__ volatile("fnclex");
  _mm_setcsr(before & ~all_flags);
  if (stride) {
    x.incr1 = x.incr2 = stride;
    f.call_strided(level, x, static_cast<int>(a.size()));
  } else {
    f.call(level, x, a.size());
  }
  unsigned const after = _mm_getcsr() & all_flags;
  unsigned short x87;
  __asm__ volatile("fnstsw %0" : "=m"(x87));
  _mm_setcsr(before);
  return {after, x87 & all_flags};
}

TEST_P(Flags, ShortCallsRaiseWhatFullVectorsOfTheSameValueRaise) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    auto const special = special_values<T>();
    std::vector<T> values(special.begin(), special.end());
    values.insert(values.end(), {T(0.875), T(1.25), T(-7.5), T(3.3)});
    constexpr std::size_t lanes = 32 / sizeof(T);
    for (std::size_t k = 0; k < values.size(); ++k) {
      std::vector<T> const full(8 * lanes, T(0)), b(8 * lanes, T(1.5));
      auto a = full;
      for (T& v : a) std::memcpy(&v, &values[k], sizeof v);
      Raised const whole = flags_of<T>(f, level, a, b, scalar);
      for (std::size_t n : {std::size_t{1}, lanes - 1, lanes + 1, 3 * lanes - 2}) {
        std::vector<T> const tail(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(n)), tail_b(n, T(1.5));
        ASSERT_EQ(flags_of<T>(f, level, tail, tail_b, scalar), whole)
            << "value " << values[k] << ", n " << n << ": SSE " << std::hex
            << flags_of<T>(f, level, tail, tail_b, scalar).sse << " not " << whole.sse;
        ASSERT_EQ(flags_of<T>(f, level, tail, tail_b, scalar, 2), whole)
            << "strided, value " << values[k] << ", n " << n;
      }
    }
  });
}

TEST_P(Flags, OrdinaryArgumentsRaiseInexactAtMost) {
  for_each_level(*GetParam(), []<class T>(Elementwise const& f, Level level, double scalar) {
    if (std::isnan(scalar)) return;
    std::vector<T> ordinary; // inside the domain
    for (int i = 0; i < 200; ++i) {
      T const x = T(0.3) + static_cast<T>(i) / 37;
      if (call<T>(f, level, {x}, {T(1.1)}, scalar).status[0] == 0) ordinary.push_back(x);
    }
    ASSERT_GT(ordinary.size(), 10u);
    for (std::size_t n = 1; n <= 4 * 32 / sizeof(T) + 1; ++n) {
      std::vector<T> a(n), b(n);
      for (std::size_t i = 0; i < n; ++i) {
        a[i] = ordinary[i % ordinary.size()];
        b[i] = T(1.1) + static_cast<T>(i) / 59;
      }
      ASSERT_EQ(
          flags_of<T>(f, level, a, b, scalar).sse & (invalid | divide | overflow | underflow | denormal), 0u)
          << "n " << n;
    }
  });
}
ORV_EACH_FUNCTION(Flags);

// Each report comes with its exception; where there is none, nothing but inexact is raised.
TEST(StatusFlags, AReportRaisesItsException) {
  struct {
    const char* name;
    double x, y;
    int status;
    unsigned flags;
  } const cases[] = {
      {"Exp", 1000, 0, 3, overflow},
      {"Exp", -1000, 0, 4, underflow},
      {"Exp2", 2000, 0, 3, overflow},
      {"Exp10", -400, 0, 4, underflow},
      {"Expm1", 1000, 0, 3, overflow},
      {"Ln", 0, 0, 2, divide},
      {"Ln", -1, 0, 1, invalid},
      {"Log2", -0.0, 0, 2, divide},
      {"Log10", -5, 0, 1, invalid},
      {"Log1p", -1, 0, 2, divide},
      {"Log1p", -2, 0, 1, invalid},
      {"Inv", 0, 0, 2, divide},
      {"Div", 1, 0, 2, divide},
      {"Sqrt", -1, 0, 1, invalid},
      {"InvSqrt", 0, 0, 2, divide},
      {"InvCbrt", 0, 0, 2, divide},
      {"Pow", 0, -1, 1, divide},
      {"Pow", -1, 0.5, 1, invalid},
      {"Pow", 10, 1000, 3, overflow},
      {"Fmod", 1, 0, 2, invalid},
      {"Remainder", 1, 0, 1, invalid},
      {"Exp", 1, 0, 0, 0},
      {"Pow", 2, 10, 0, 0},
      {"Ln", 2, 0, 0, 0},
  };
  for (auto const& c : cases)
    for (char type : {'s', 'd'}) {
      auto const f = Elementwise::find(type, c.name);
      for (Level level : {Level::LA, Level::HA, Level::EP}) {
        auto check = [&]<class T>(T x, T y) {
          EXPECT_EQ(call<T>(f, level, {x}, {y}).status[0], c.status)
              << type << c.name << " " << c.x << ", " << c.y;
          unsigned const raised =
              flags_of<T>(f, level, {x}, {y}, 0).sse & (invalid | divide | overflow | underflow);
          EXPECT_EQ(c.status ? raised & c.flags : raised, c.flags)
              << type << c.name << " " << level_name(level) << " " << c.x << ", " << c.y;
        };
        if (type == 's')
          check(static_cast<float>(c.x), static_cast<float>(c.y));
        else
          check(c.x, c.y);
      }
    }
}

// The value in unused lanes must not be a zero of any denominator.
TEST(TailFlags, LinearFracDividesByNoUnusedLane) {
  for (double root : {0.75, 0.5, 1.0, 1.125, 0.875, 1.5, 2.0, 2.5, 0.25}) {
    auto const f = Elementwise::find('d', "LinearFrac");
    for (std::size_t n = 1; n <= 9; ++n) {
      std::vector<double> const a(n, 3.0), b(n, 17.0);
      std::vector<double> r(n);
      Arrays x{.a = a.data(), .b = b.data(), .r1 = r.data()};
      double const scalars[] = {1, 0, 4, -4 * root};
      std::copy(scalars, scalars + 4, x.scalars);
      unsigned const before = _mm_getcsr();
      _mm_setcsr(before & ~all_flags);
      f.call(Level::LA, x, n);
      unsigned const after = _mm_getcsr();
      _mm_setcsr(before);
      ASSERT_EQ(after & (invalid | divide | overflow), 0u) << "root " << root << ", n " << n;
    }
  }
}

} // namespace
} // namespace orv::test
