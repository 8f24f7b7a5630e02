// Values against plain scalar code, bit by bit: functions that are exact or a single rounding. All forms of a kernel
// could share one fault; this code shares nothing with it.
#include "orv/elementwise.h"
#include "tests/elementwise/each_function.h"

#include <map>

namespace orv::test {
namespace {

// The plain result, or nothing where the operands' NaN decide (tests of NaN and the tables of cases look there).
template <class T>
struct Plain {
  using One = T (*)(T);
  using Two = T (*)(T, T);
  static T magnitude_choice(T a, T b, bool larger) {
    T const x = std::fabs(a), y = std::fabs(b);
    if (x == y) return larger ? (b > a ? b : a) : (b < a ? b : a);
    return (x > y) == larger ? a : b;
  }
  static std::map<std::string_view, One> const& ones() {
    static std::map<std::string_view, One> const table = {
        {"Floor", [](T x) { return std::floor(x); }},
        {"Ceil", [](T x) { return std::ceil(x); }},
        {"Trunc", [](T x) { return std::trunc(x); }},
        {"Rint", [](T x) { return std::rint(x); }},
        {"NearbyInt", [](T x) { return std::nearbyint(x); }},
        {"Round", [](T x) { return std::round(x); }},
        {"Frac", [](T x) { return std::copysign(std::isinf(x) ? T(0) : x - std::trunc(x), x); }},
        {"Abs", [](T x) { return std::fabs(x); }},
        {"Sqr", [](T x) { return x * x; }},
        {"Modf", [](T x) { return std::trunc(x); }},
    };
    return table;
  }
  static std::map<std::string_view, Two> const& twos() {
    static std::map<std::string_view, Two> const table = {
        {"Add", [](T a, T b) { return a + b; }},
        {"Sub", [](T a, T b) { return a - b; }},
        {"Mul", [](T a, T b) { return a * b; }},
        {"CopySign", [](T a, T b) { return std::copysign(a, b); }},
        {"Fmax", [](T a, T b) { return a > b ? a : b; }},
        {"Fmin", [](T a, T b) { return a < b ? a : b; }},
        {"MaxMag", [](T a, T b) { return magnitude_choice(a, b, true); }},
        {"MinMag", [](T a, T b) { return magnitude_choice(a, b, false); }},
        {"Fdim", [](T a, T b) { return a > b ? a - b : T(0); }},
        {"NextAfter", [](T a, T b) { return std::nextafter(a, b); }},
        {"Fmod", [](T a, T b) { return std::fmod(a, b); }},
        {"Remainder", [](T a, T b) { return std::remainder(a, b); }},
    };
    return table;
  }
};

template <class T>
void check(Function const& f) {
  auto const function = Elementwise::find(f.type, std::string(f.name));
  auto const special = special_values<T>();
  std::vector<T> a, b;
  for (T x : special)
    for (T y : special) {
      a.push_back(x);
      b.push_back(y);
    }
  // Near the ties and steps, equal and nearly equal pairs.
  std::mt19937_64 random(11);
  for (int i = 0; i < 4000; ++i) {
    T const x = static_cast<T>(static_cast<int>(random() % 4001) - 2000) / 4;
    a.push_back(i % 3 ? x : std::nextafter(x, T(i % 2 ? 1e9 : -1e9)));
    b.push_back(i % 5   ? static_cast<T>(static_cast<int>(random() % 401) - 200) / 8
                : i % 2 ? a.back()
                        : -a.back());
  }
  auto const more_a = mixed_values<T>(3000, 21), more_b = mixed_values<T>(3000, 22);
  a.insert(a.end(), more_a.begin(), more_a.end());
  b.insert(b.end(), more_b.begin(), more_b.end());
  auto const one = Plain<T>::ones().find(f.name);
  auto const two = Plain<T>::twos().find(f.name);
  for (Level level : {Level::LA, Level::HA, Level::EP}) {
    auto const got = call(function, level, a, b);
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (std::isnan(a[i]) || (function.operands() == 2 && std::isnan(b[i]))) continue;
      T const want = one != Plain<T>::ones().end() ? one->second(a[i]) : two->second(a[i], b[i]);
      if (std::isnan(want)) {
        ASSERT_TRUE(std::isnan(got.r1[i])) << std::hexfloat << a[i] << ", " << b[i];
        continue;
      }
      ASSERT_EQ(bits(got.r1[i]), bits(want)) << level_name(level) << std::hexfloat << " " << a[i] << ", "
                                             << b[i] << ": " << got.r1[i] << " not " << want;
      if (f.name == "Modf") {
        T const rest = std::copysign(std::isinf(a[i]) ? T(0) : a[i] - want, a[i]);
        ASSERT_EQ(bits(got.r2[i]), bits(rest)) << std::hexfloat << a[i];
      }
    }
  }
}

class Values : public EachFunction {};

TEST_P(Values, AreThoseOfPlainCode) {
  Function const& f = *GetParam();
  f.type == 's' ? check<float>(f) : check<double>(f);
}
ORV_EACH_FUNCTION_THAT(Values, [](Function const& f) {
  return Plain<float>::ones().contains(f.name) || Plain<float>::twos().contains(f.name);
});

// LinearFrac has a kernel for each shape of the fraction.
template <class T>
void check_fraction() {
  auto const f = Elementwise::find(sizeof(T) == 4 ? 's' : 'd', "LinearFrac");
  struct {
    T scalea, shifta, scaleb, shiftb;
  } const cases[] = {{T(2.5), T(0.5), T(-1.25), 3},
                     {-3, 0, T(0.7), T(0.3)},
                     {T(1.1), T(-0.4), 0, T(0.7)},
                     {T(1.1), T(0.9), 0, -3},
                     {0, T(-0.4), T(1.1), 3},
                     {0, T(0.3), 0, T(0.9)},
                     {1, 0, 1, 0}};
  for (auto const& c : cases)
    for (std::size_t n : {1, 7, 8, 9, 40, 67}) {
      std::vector<T> a(n), b(n), r(n), strided(3 * n);
      for (std::size_t i = 0; i < n; ++i) {
        a[i] = T(0.37) * static_cast<T>(i) - 5;
        b[i] = T(0.73) * static_cast<T>(i) + T(0.11);
      }
      // An operand that does not count is not looked at.
      if (c.scaleb == 0) b[n / 2] = std::numeric_limits<T>::quiet_NaN();
      if (c.scalea == 0 && c.scaleb != 0) a[n / 2] = std::numeric_limits<T>::quiet_NaN();
      Arrays x{.a = a.data(), .b = b.data(), .r1 = r.data()};
      double const scalars[] = {c.scalea, c.shifta, c.scaleb, c.shiftb};
      std::copy(scalars, scalars + 4, x.scalars);
      for (Level level : {Level::LA, Level::HA, Level::EP}) {
        f.call(level, x, n);
        Arrays s = x;
        s.r1 = strided.data();
        s.incr1 = 3;
        f.call_strided(level, s, static_cast<int>(n));
        for (std::size_t i = 0; i < n; ++i) {
          T const above = c.scalea == 0 && c.scaleb != 0 ? c.shifta : c.scalea * a[i] + c.shifta;
          T const want = c.scaleb == 0 ? above * (1 / c.shiftb) : above / (c.scaleb * b[i] + c.shiftb);
          ASSERT_EQ(bits(r[i]), bits(want))
              << c.scalea << " " << c.scaleb << ", n " << n << ", element " << i;
          ASSERT_EQ(bits(strided[3 * i]), bits(want)) << "strided, element " << i;
        }
      }
    }
}
TEST(LinearFrac, EachOfItsKernelsRoundsEachOperation) {
  check_fraction<float>();
  check_fraction<double>();
}

} // namespace
} // namespace orv::test
