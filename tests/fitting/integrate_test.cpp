// Integration: every kind against a sum over pieces in wider precision, step functions, callbacks, layouts,
// limits by hint, statuses, threads.
#include "support.h"

#include <array>

using namespace fit_test;

namespace {

template <class T>
class Integration : public testing::Test {};
using Reals = testing::Types<double, float>;
TYPED_TEST_SUITE(Integration, Reals);

// A function of one variable in pieces: piece p holds between cut[p] and cut[p + 1] (the outer ones reach
// on), in powers of the distance from origin[p].
template <class T>
struct Pieces {
  std::vector<T> cut, origin, coefficients;
  int order;
  struct Sum {
    long double value = 0, size = 0;
  };
  Sum integral(long double a, long double b) const {
    if (b < a) {
      auto s = integral(b, a);
      s.value = -s.value;
      return s;
    }
    Sum sum;
    size_t const pieces = origin.size();
    for (size_t p = 0; p < pieces; ++p) {
      long double const from = p == 0 ? a : std::max<long double>(a, cut[p]);
      long double const to = p + 1 == pieces ? b : std::min<long double>(b, cut[p + 1]);
      if (from >= to) continue;
      for (int k = 0; k < order; ++k) {
        long double const c =
            coefficients[p * static_cast<size_t>(order) + static_cast<size_t>(k)] / (k + 1.0L);
        long double const high = std::pow(to - origin[p], k + 1.0L),
                          low = std::pow(from - origin[p], k + 1.0L);
        sum.value += c * (high - low);
        sum.size += std::fabs(c) * (std::fabs(high) + std::fabs(low));
      }
    }
    return sum;
  }
};

template <class T>
std::vector<T> limits_around(std::vector<T> const& x, size_t count, std::mt19937_64& g) {
  auto s = random_values<T>(count, g, x.front() - T(0.5), x.back() + T(0.5));
  for (size_t i = 0; i < count; i += 4) s[i] = x[g() % x.size()];
  return s;
}

TYPED_TEST(Integration, PolynomialsAgreeWithTheSumOverPieces) {
  using T = TypeParam;
  std::mt19937_64 g(41);
  long double worst = 0;
  struct Kind {
    int order, type;
  };
  for (auto const& [order, type] : {Kind{2, 0}, Kind{3, 0}, Kind{3, 1}, Kind{4, 5}, Kind{6, 0}})
    for (Shape const shape : {Shape::Even, Shape::Random})
      for (int const n : {2, 3, 12, 90}) {
        bool const with_knots = type == 1;
        Pieces<T> want;
        auto const x = partition<T>(shape, n, g);
        want.order = order;
        want.cut = x;
        want.origin.assign(x.begin(), x.end() - !with_knots);
        if (with_knots) {
          want.cut.assign(static_cast<size_t>(n + 1), x.front());
          want.cut.back() = x.back();
          for (size_t i = 1; i < x.size(); ++i) want.cut[i] = x[i - 1] + (x[i] - x[i - 1]) * T(0.375);
        }
        Task<T> task(x, random_values<T>(static_cast<size_t>(2 * n), g), 2,
                     shape == Shape::Even ? DFUniform : DFNonUniform);
        task.spline(order, type, 2, nullptr, with_knots ? 8 : 0, with_knots ? want.cut.data() : nullptr);
        task.coefficients = random_values<T>(task.coefficients.size(), g);
        Entries<T>::edit_pointer(task.task, DFParamCoeffs, task.coefficients.data());
        for (size_t const count : {1, 127, 128, 1000}) {
          auto const a = limits_around(x, count, g);
          auto b = limits_around(x, count, g);
          for (size_t i = 0; i < count; i += 9) b[i] = a[i];
          auto const r = task.integrals(a, b, DFIntegralFuncLimit, &parallel);
          EXPECT_EQ(r, task.integrals(a, b, 0, nullptr));
          auto const by_limit = task.integrals(a, b, DFIntegralLimitFunc, &parallel);
          auto const swapped = task.integrals(b, a);
          for (size_t j = 0; j < 2; ++j) {
            want.coefficients.assign(task.row(static_cast<int>(j)),
                                     task.row(static_cast<int>(j)) +
                                         order * static_cast<int>(want.origin.size()));
            for (size_t i = 0; i < count; ++i) {
              T const got = r[j * count + i];
              auto const sum = want.integral(a[i], b[i]);
              long double const unit = sum.size * std::numeric_limits<T>::epsilon();
              ASSERT_LE(std::fabs(got - sum.value), 16 * unit)
                  << order << " " << type << " n " << n << " from " << a[i] << " to " << b[i];
              if (unit > 0) worst = std::max(worst, std::fabs(got - sum.value) / unit);
              ASSERT_EQ(by_limit[i * 2 + j], got);
              ASSERT_EQ(swapped[j * count + i], -got);
              if (a[i] == b[i]) {
                ASSERT_EQ(got, 0);
              }
            }
          }
        }
      }
  std::printf("[ accuracy ] %s integrals: %.2Lf ulp of the sum of terms\n",
              sizeof(T) == 8 ? "double" : "float ", worst);
}

TYPED_TEST(Integration, TheIntegralOfTheDerivativeIsTheDifferenceOfValues) {
  using T = TypeParam;
  std::mt19937_64 g(42);
  auto const x = partition<T>(Shape::Random, 80, g);
  Task<T> cubic(x, random_values<T>(80, g));
  cubic.spline(4, 5, DFBoundFreeEnd);
  ASSERT_EQ(Entries<T>::natural(cubic.task, 0, 0, &serial), 0);
  Task<T> derivative(x, std::vector<T>(80, 0));
  derivative.spline(3, 0, DFBoundFreeEnd);
  for (size_t p = 0; p < 79; ++p)
    for (size_t k = 0; k < 3; ++k)
      derivative.coefficients[3 * p + k] = static_cast<T>(k + 1) * cubic.coefficients[4 * p + k + 1];
  auto const a = limits_around(x, 300, g), b = limits_around(x, 300, g);
  auto const at_a = cubic.at(a), at_b = cubic.at(b), r = derivative.integrals(a, b);
  for (size_t i = 0; i < 300; ++i)
    ASSERT_NEAR(r[i], at_b[i] - at_a[i],
                500 * std::numeric_limits<T>::epsilon() * (1 + std::abs(at_a[i]) + std::abs(at_b[i])));
}

TYPED_TEST(Integration, Steps) {
  using T = TypeParam;
  std::vector<T> const x{0, 1, 2, 4, 8}, y{10, 20, 30, 40, 50};
  struct Case {
    T a, b, right, left; // continuous from the right, from the left
  };
  Case const cases[] = {{0, 8, 250, 330}, {1, 2, 20, 30},   {T(0.5), 3, 55, 80}, {-2, -1, 10, 10},
                        {-1, 1, 20, 30},  {8, 9, 50, 50},   {9, 11, 100, 100},   {7, 10, 140, 150},
                        {3, 3, 0, 0},     {2, 1, -20, -30}, {-1, 9, 310, 390}};
  for (int const type : {7, 8})
    for (int64_t const layout : {DFRows, DFInterleaved}) {
      auto two = y;
      for (T const v : y) two.push_back(2 * v);
      Task<T> task(x, two, 2, DFNonUniform, layout);
      Entries<T>::edit_spline(task.task, 0, type, 0, nullptr, 0, nullptr, nullptr, 0);
      for (auto const& c : cases) {
        auto const r = task.integrals({c.a}, {c.b});
        EXPECT_EQ(r[0], type == 7 ? c.right : c.left) << c.a << " to " << c.b;
        EXPECT_EQ(r[1], 2 * r[0]);
      }
    }
  // A value that no part of the range has doesn't come in.
  T const inf = std::numeric_limits<T>::infinity();
  Task<T> task(x, {10, 20, inf, 40, 50});
  Entries<T>::edit_spline(task.task, 0, 7, 0, nullptr, 0, nullptr, nullptr, 0);
  EXPECT_EQ(task.integrals({0}, {2})[0], 30);
}

template <class T>
struct Recorder {
  int part;
  int32_t status = 0;
  std::vector<std::array<double, 4>> calls; // cells and limits
  static int32_t call(int64_t const* count, int64_t const* ca, T const* a, int64_t const* cb, T const* b,
                      T* r, void* parameter, void*) {
    auto& self = *static_cast<Recorder*>(parameter);
    EXPECT_EQ(*count, 1);
    self.calls.push_back({double(*ca), *a, double(*cb), *b});
    r[0] = static_cast<T>(self.part) * (*b - *a);
    r[1] = -r[0];
    return self.status;
  }
};

TYPED_TEST(Integration, CallbacksTakeTheirParts) {
  using T = TypeParam;
  using E = Entries<T>;
  std::vector<T> const x{0, 1, 2, 3, 4};
  for (int64_t const hint : {1, 4}) {
    Task<T> task(x, std::vector<T>(10, 1), 2, hint);
    task.spline(2, 0, 0);
    for (size_t i = 0; i < 8; ++i)
      task.coefficients[2 * i] = 1, task.coefficients[2 * i + 1] = 0; // constant 1
    auto run = [&](T a, T b, int given, Recorder<T>& left, Recorder<T>& right, Recorder<T>& inner, T* r,
                   int64_t layout = 32) {
      auto const call = Recorder<T>::call;
      return E::integrate(task.task, 0, 1, &a, 0, &b, 0, nullptr, nullptr, r, layout,
                          given & 1 ? call : nullptr, &left, given & 2 ? call : nullptr, &right,
                          given & 4 ? call : nullptr, &inner, nullptr, nullptr, &parallel);
    };
    for (int given = 1; given < 8; ++given) {
      Recorder<T> left{10, 0, {}}, right{100, 0, {}}, inner{1000, 5, {}};
      T r[2];
      ASSERT_EQ(run(6, T(-1.5), given, left, right, inner, r), 0); // swapped
      T const l = given & 1 ? 10 : 1, m = given & 4 ? 1000 : 1, h = given & 2 ? 100 : 1;
      EXPECT_EQ(r[0], -(T(1.5) * l + 4 * m + 2 * h));
      EXPECT_EQ(r[1], -((given & 1 ? -1 : 1) * T(1.5) * l + (given & 4 ? -1 : 1) * 4 * m +
                        (given & 2 ? -1 : 1) * 2 * h));
      if (given & 1) {
        EXPECT_EQ(left.calls.at(0), (std::array<double, 4>{0, -1.5, 0, 0}));
      }
      if (given & 2) {
        EXPECT_EQ(right.calls.at(0), (std::array<double, 4>{5, 4, 5, 6}));
      }
      if (given & 4) {
        EXPECT_EQ(inner.calls.at(0), (std::array<double, 4>{0, 0, 5, 4}));
      }
    }
    Recorder<T> left{10, 0, {}}, right{100, 0, {}}, inner{1000, 0, {}};
    T r[2];
    ASSERT_EQ(run(T(0.5), T(2.5), 7, left, right, inner, r), 0);
    EXPECT_EQ(inner.calls.at(0), (std::array<double, 4>{1, 0.5, 3, 2.5}));
    ASSERT_EQ(run(-2, -1, 7, left, right, inner, r), 0);
    EXPECT_EQ(left.calls.at(0), (std::array<double, 4>{0, -2, 0, -1}));
    EXPECT_EQ(inner.calls.size(), 1u);
    inner.status = -9;
    EXPECT_EQ(run(1, 2, 7, left, right, inner, r), -9);
  }
}

TYPED_TEST(Integration, HintsThreadsAndStatuses) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(43);
  auto const x = partition<T>(Shape::Random, 60, g);
  Task<T> task(x, random_values<T>(60, g));
  task.spline(4, 5, DFBoundFreeEnd);
  ASSERT_EQ(E::natural(task.task, 0, 0, &serial), 0);
  T const from[] = {x.front() - 1, x.back()}, to[] = {x.back() + 1, x.front()};
  T const peak_a[] = {0, 1, 0, 0, 10}, peak_b[] = {0, 1, 0, 0, 40}, bad[] = {0, 2, 0, 0, 0};
  for (int const count : {1, 2, 100, 128, 255, 256, 700, 5000}) {
    std::vector<T> a, b;
    for (int i = 0; i < count; ++i) {
      T const f = static_cast<T>(count > 1 ? count - 1 : 1);
      a.push_back(count > 1 ? std::fma(static_cast<T>(i), (from[1] - from[0]) / f, from[0]) : from[0]);
      b.push_back(count > 1 ? std::fma(static_cast<T>(i), (to[1] - to[0]) / f, to[0]) : to[0]);
    }
    auto const want = task.integrals(a, b);
    std::vector<T> r(want.size());
    auto run = [&](T const* left, int64_t left_hint, T const* right, int64_t right_hint, T const* left_data,
                   T const* right_data) {
      r.assign(want.size(), -1);
      return E::integrate(task.task, 0, count, left, left_hint, right, right_hint, left_data, right_data,
                          r.data(), 16, 0, 0, 0, 0, 0, 0, 0, 0, &parallel);
    };
    ASSERT_EQ(run(from, DFSitesUniform, to, DFSitesUniform, nullptr, nullptr), 0);
    EXPECT_EQ(r, want);
    ASSERT_EQ(run(a.data(), DFSitesSorted, b.data(), 0, nullptr, nullptr), 0);
    EXPECT_EQ(r, want);
    ASSERT_EQ(run(a.data(), 0, b.data(), 0, peak_a, peak_b), 0);
    EXPECT_EQ(r, want);
    EXPECT_EQ(run(a.data(), 0, b.data(), 0, peak_a, bad), DFStatusBadDataHint);
    EXPECT_EQ(run(a.data(), DFSitesSorted, b.data(), 0, bad, peak_b), 0);
  }
  T r[1];
  auto status = [&](int order, int type, int64_t layout) {
    task.task->splineOrder = order, task.task->splineType = type;
    return E::integrate(task.task, 0, 1, from, 0, to, 0, nullptr, nullptr, r, layout, 0, 0, 0, 0, 0, 0, 0, 0,
                        nullptr);
  };
  for (auto const& [order, type] : {std::pair{0, 6}, {0, 5}, {1, 0}, {3, 3}, {4, 8}})
    EXPECT_EQ(status(order, type, 64), DFStatusBadType);
  EXPECT_EQ(status(4, 0, 64), DFStatusBadIntegrationResult);
  EXPECT_EQ(status(0, 7, 32), 0);
  task.task->valueRows[0] = nullptr;
  EXPECT_EQ(status(0, 8, 64), DFStatusBadIntegrationResult);
  EXPECT_EQ(status(0, 8, 32), DFStatusNullValues);
  EXPECT_EQ(E::integrate(nullptr, 0, 1, from, 0, to, 0, 0, 0, r, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0),
            DFStatusNullTask);

  // NaN and far limits, with pages on both sides of every array.
  T const nan = std::numeric_limits<T>::quiet_NaN(), inf = std::numeric_limits<T>::infinity();
  for (bool const front : {false, true})
    for (int const order : {2, 4}) {
      Guarded<T> const breaks(x, front), rows(std::vector<T>(static_cast<size_t>(order) * 59, 1), front);
      E::edit_pointer(task.task, DFParamBreaks, breaks.data());
      E::edit_pointer(task.task, DFParamCoeffs, rows.data());
      task.task->splineOrder = order, task.task->splineType = 0;
      T const a[] = {nan, -1, inf, 0, -inf, T(1e30)}, b[] = {0, nan, 0, inf, T(1e30), nan};
      T many[6];
      EXPECT_EQ(E::integrate(task.task, 0, 6, a, 0, b, 0, nullptr, nullptr, many, 16, 0, 0, 0, 0, 0, 0, 0, 0,
                             nullptr),
                0);
      EXPECT_TRUE(std::isnan(many[0]));
    }
}

TYPED_TEST(Integration, EveryAllocationMayFail) {
  using T = TypeParam;
  int const functions = 3000;
  std::vector<T> const x{0, 1, 2};
  Task<T> task(x, std::vector<T>(3 * functions, 1), functions);
  task.spline(2, 0, 0);
  T const a = 0, b = 1;
  std::vector<T> r(functions);
  auto zero = [](int64_t const*, int64_t const*, T const*, int64_t const*, T const*, T*, void*, void*) {
    return 0;
  };
  EXPECT_EQ(walk_allocations([&] {
              return Entries<T>::integrate(task.task, 0, 1, &a, 0, &b, 0, nullptr, nullptr, r.data(), 16,
                                           nullptr, nullptr, nullptr, nullptr, zero, nullptr, nullptr,
                                           nullptr, nullptr);
            }),
            1);
}

} // namespace
