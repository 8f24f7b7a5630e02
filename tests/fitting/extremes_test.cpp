// Partitions at the ends of the range: very wide and very narrow ones, neighbouring reals, and what integrals of
// equal limits are over them.
#include "support.h"

using namespace fit_test;

namespace {

template <class T>
class Extremes : public testing::Test {};
using Reals = testing::Types<double, float>;
TYPED_TEST_SUITE(Extremes, Reals);

constexpr int bound_power(int64_t type, int which) { // of the unit of length in a boundary value
  switch (type) {
  case DFBoundFirstFirst:
    return 1;
  case DFBoundSecondSecond:
    return 2;
  case DFBoundFirstSecond:
    return which == 0 ? 1 : 2;
  case DFBoundSecondFirst:
    return which == 0 ? 2 : 1;
  default:
    return 0;
  }
}

template <class T>
struct Scheme {
  char const* name;
  Construct<T> construct;
  int64_t order, type, inner_type;
  int inner_power; // of the unit of length in the inner conditions, -1 for knots, 0 for none
  std::vector<int64_t> bounds;
};

template <class T>
std::vector<Scheme<T>> schemes() {
  using E = Entries<T>;
  std::vector<int64_t> const all{DFBoundNotAKnot,     DFBoundFreeEnd,     DFBoundFirstFirst,
                                 DFBoundSecondSecond, DFBoundFirstSecond, DFBoundSecondFirst,
                                 DFBoundPeriodic};
  std::vector<int64_t> const given{DFBoundFirstFirst, DFBoundSecondSecond, DFBoundFirstSecond,
                                   DFBoundSecondFirst};
  return {{"natural", E::natural, 4, 4, 0, 0, all},
          {"bessel", E::bessel, 4, 2, 0, 0, all},
          {"hyman", E::hyman, 4, 9, 0, 0, all},
          {"hermite", E::hermite, 4, 3, 1, 1, all},
          {"second", E::second, 4, 0, 2, 2, all},
          {"linear", E::linear, 2, 0, 0, 0, {0}},
          {"quadratic", E::quadratic, 3, 0, 0, 0, {128}},
          {"subbotin", E::quadratic, 3, 1, 8, -1, given},
          {"subbotin, middles", E::quadratic, 3, 1, 8, 0, given}};
}

// Coefficients over breaks times 2^e and values times 2^f.
template <class T>
std::vector<T> coefficients(Scheme<T> const& scheme, int64_t bound, Shape shape, int e, int f,
                            int functions) {
  std::mt19937_64 g(31);
  int const n = 9;
  auto x = partition<T>(shape, n, g, -0.5);
  auto y = random_values<T>(static_cast<size_t>(n * functions), g);
  for (int j = 0; j < functions; ++j) y[static_cast<size_t>(j * n + n - 1)] = y[static_cast<size_t>(j * n)];
  std::vector<T> inner = random_values<T>(static_cast<size_t>(n + 1), g), ends = random_values<T>(2, g);
  if (scheme.inner_power < 0) {
    inner.front() = x.front(), inner.back() = x.back();
    T const step = (x.back() - x.front()) / static_cast<T>(n - 1);
    for (int k = 1; k < n; ++k) {
      auto const i = static_cast<size_t>(k);
      T const left = shape == Shape::Even ? x.front() + step * static_cast<T>(k - 1) : x[i - 1];
      T const right = shape == Shape::Even ? x.front() + step * static_cast<T>(k) : x[i];
      inner[i] = left + (right - left) * T(0.375);
    }
  }
  for (auto& v : x) v = std::ldexp(v, e);
  for (auto& v : y) v = std::ldexp(v, f);
  for (auto& v : inner) v = std::ldexp(v, scheme.inner_power < 0 ? e : f - scheme.inner_power * e);
  for (int k = 0; k < 2; ++k) {
    int const power = bound == DFBoundPeriodic ? std::max(scheme.inner_power, 0) : bound_power(bound, k);
    ends[static_cast<size_t>(k)] = std::ldexp(ends[static_cast<size_t>(k)], f - power * e);
  }
  for (auto const* list : {&inner, &ends})
    for (T const v : *list)
      if (std::fpclassify(v) != FP_NORMAL) return {}; // the conditions can't be told in these units
  Task<T> task(x, y, functions, shape == Shape::Even ? DFUniform : DFNonUniform);
  bool const takes_inner = scheme.inner_power != 0;
  task.spline(scheme.order, scheme.type, bound, ends.data(), takes_inner ? scheme.inner_type : 0,
              takes_inner ? inner.data() : nullptr);
  task.task->innerCondType = scheme.inner_type;
  EXPECT_EQ(scheme.construct(task.task, 0, 0, &serial), 0) << scheme.name;
  return task.coefficients;
}

// The same spline in other units: coefficients differ by powers of two, down to the last bit where the range
// allows it.
TYPED_TEST(Extremes, CoefficientsScaleWithTheUnits) {
  using T = TypeParam;
  bool const wide = sizeof(T) == 8;
  int const top = std::numeric_limits<T>::max_exponent - 4; // breaks reach 2^3
  int compared = 0;
  for (auto const& scheme : schemes<T>())
    for (int64_t const bound : scheme.bounds)
      for (Shape const shape : {Shape::Even, Shape::Random}) {
        int const functions = 2;
        auto const plain = coefficients(scheme, bound, shape, 0, 0, functions);
        for (int const e : wide ? std::vector<int>{-600, -400, -260, 260, 350, 520, 700, 1000, top}
                                : std::vector<int>{-80, -50, -36, 36, 50, 66, 100, top})
          for (int const f : {0, std::clamp(e, -top + 60, top - 4)}) {
            auto const got = coefficients(scheme, bound, shape, e, f, functions);
            compared += !got.empty();
            for (size_t i = 0; i < got.size(); ++i) {
              int const k = static_cast<int>(i % static_cast<size_t>(scheme.order));
              if (plain[i] == T(-777)) continue; // not written
              T const want = std::ldexp(plain[i], f - k * e);
              if (std::fpclassify(want) == FP_NORMAL || std::isinf(want))
                ASSERT_EQ(got[i], want)
                    << scheme.name << " ends " << bound << " by 2^" << e << " power " << k;
              else
                ASSERT_NEAR(got[i], want, 4 * std::numeric_limits<T>::denorm_min())
                    << scheme.name << " ends " << bound << " by 2^" << e << " power " << k;
            }
          }
      }
  EXPECT_GT(compared, 900);
}

// Akima's rule knows absolute slopes; it stays finite.
TYPED_TEST(Extremes, AkimaOverWidePartitionsIsFinite) {
  using T = TypeParam;
  T const wide = std::numeric_limits<T>::max() / 2;
  std::vector<T> const x{0, wide / 8, wide / 4, wide / 2, wide * T(0.75), wide}, y{1, 2, -1, 4, 2, 1};
  for (int64_t const bound : {DFBoundNone, DFBoundNotAKnot, DFBoundFreeEnd, DFBoundPeriodic}) {
    Task<T> task(x, y);
    task.spline(4, 5, bound);
    ASSERT_EQ(Entries<T>::akima(task.task, 0, 0, &serial), 0);
    for (size_t i = 0; i < 20; ++i)
      ASSERT_TRUE(std::isfinite(task.coefficients[i])) << "ends " << bound << " coefficient " << i;
    for (size_t i = 0; i < 5; ++i) EXPECT_EQ(task.coefficients[4 * i], y[i]);
  }
}

// Lines and quadratics over wide cells: the values at the breaks, the last one too.
TYPED_TEST(Extremes, ValuesAtTheBreaksOfWidePartitions) {
  using T = TypeParam;
  T const wide = std::numeric_limits<T>::max() / 2;
  std::vector<T> const x{-wide / 2, -wide / 4, 0, wide / 8, wide / 2}, y{3, -1, 2, 5, -4};
  T const ends[] = {0, 0};
  for (auto const& scheme : schemes<T>()) {
    if (scheme.order > 2) continue;
    Task<T> task(x, y);
    task.spline(scheme.order, scheme.type, scheme.bounds[0], ends, scheme.inner_type);
    ASSERT_EQ(scheme.construct(task.task, 0, 0, &serial), 0);
    auto const at = task.at(x);
    for (size_t i = 0; i < x.size(); ++i)
      EXPECT_NEAR(at[i], y[i], 64 * std::numeric_limits<T>::epsilon()) << scheme.name << " break " << i;
  }
}

// Between neighbouring reals no knot has room: each break keeps its piece and its value.
TYPED_TEST(Extremes, NeighbouringBreaksWithKnotsInTheMiddle) {
  using T = TypeParam;
  for (T const from : {T(1), T(1) + std::numeric_limits<T>::epsilon(), T(-3), T(1000)}) {
    std::vector<T> x{from - 1, from};
    for (int i = 0; i < 3; ++i) x.push_back(std::nextafter(x.back(), T(1e6)));
    x.push_back(x.back() + 1);
    std::vector<T> const y{1, 2, T(1.5), 3, T(0.25), 1};
    T const ends[] = {T(0.5), T(-0.5)};
    for (int64_t const bound : {DFBoundFirstFirst, DFBoundSecondSecond}) {
      Task<T> task(x, y);
      task.spline(3, 1, bound, ends);
      task.task->innerCondType = 8;
      ASSERT_EQ(Entries<T>::quadratic(task.task, 0, 0, &serial), 0);
      for (int i = 0; i < 18; ++i) ASSERT_TRUE(std::isfinite(task.coefficients[static_cast<size_t>(i)])) << i;
      EXPECT_EQ(task.at(x), y) << from;
    }
  }
}

// Whatever the antiderivative is there, between equal limits lies nothing.
TYPED_TEST(Extremes, IntegralsOfEqualLimits) {
  using T = TypeParam;
  T const inf = std::numeric_limits<T>::infinity(), big = std::numeric_limits<T>::max();
  std::vector<T> const limits{0, 1, T(1.5), 3, -big, big, inf, -inf, 100};
  for (int64_t const order : {2, 3, 4, 6, 0}) {
    Task<T> task({0, 1, 2, 3}, {1, 2, 3, 4});
    task.spline(order, order == 0 ? 7 : order == 4 ? 5 : 0, 2);
    for (size_t i = 0; i < task.coefficients.size(); ++i) task.coefficients[i] = i % 3 ? T(2) : inf;
    for (int64_t const layout : {16, 32})
      for (T const r : task.integrals(limits, limits, layout)) EXPECT_EQ(r, 0) << order;
    // A callback on one side leaves the other sides as they are.
    auto const call = [](int64_t const*, int64_t const*, T const*, int64_t const*, T const*, T* r, void*,
                         void*) {
      *r = 0;
      return 0;
    };
    std::vector<T> r(limits.size(), T(9));
    ASSERT_EQ(Entries<T>::integrate(task.task, 0, static_cast<int64_t>(limits.size()), limits.data(), 0,
                                    limits.data(), 0, nullptr, nullptr, r.data(), 16, call, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              0);
    for (T const v : r) EXPECT_EQ(v, 0) << order;
  }
}

TYPED_TEST(Extremes, EveryAllocationOfAScaledConstructionMayFail) {
  using T = TypeParam;
  std::vector<T> x, y;
  for (int i = 0; i < 9; ++i)
    x.push_back(std::ldexp(T(1 + i), std::numeric_limits<T>::max_exponent - 8)), y.push_back(T(i % 3));
  Task<T> task(x, y);
  task.spline(4, 4, DFBoundFreeEnd);
  EXPECT_EQ(walk_allocations([&] { return Entries<T>::natural(task.task, 0, 0, nullptr); }), 2);
  // Statuses stay those of the construction.
  task.task->boundCondType = 5;
  EXPECT_EQ(Entries<T>::natural(task.task, 0, 0, nullptr), DFStatusBadBoundCondType);
  task.task->breakCount = 1;
  EXPECT_EQ(Entries<T>::natural(task.task, 0, 0, nullptr), DFStatusBadBreakCount);
}

// Changes of slope just above 1e-10 weigh the slopes, those just below leave their mean.
TYPED_TEST(Extremes, AkimaWeighsSlopesFrom1e10On) {
  using T = TypeParam;
  for (T const change : {T(0x1p-35), T(0x1p-32)}) { // of the slope at break 3: about 2.9e-11 and 2.3e-10
    T const s = change;
    std::vector<T> const x{0, 1, 2, 3, 4, 5, 6}, y{0, 0, 0, 0, s, 3 * s, 6 * s};
    Task<T> task(x, y);
    task.spline(4, 5, DFBoundFreeEnd);
    ASSERT_EQ(Entries<T>::akima(task.task, 0, 0, nullptr), 0);
    // Slopes 0, 0, 0, s, 2 s, 3 s: at break 3 no change before it and s after it.
    EXPECT_EQ(task.coefficients[4 * 3 + 1], s < T(1e-10) ? s / 2 : T(0)) << s;
  }
}

} // namespace
