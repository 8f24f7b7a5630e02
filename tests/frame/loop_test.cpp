// The driver in the call forms that no kernel has yet: complex operands, to real and back.
#include "kernels/loop/drive.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace orv::loop {
namespace {

// Kernels of the test: the sum of the parts; a real number spread on both; the parts changed places.
template <class T>
struct PartSum {
  using Operand = Complex<T>;
  using Result = T;
  static constexpr int operands = 1, results = 1;
  auto eval(ComplexVec<T> x) const { return x.re + x.im; }
  unsigned special(ComplexVec<T> x, Vec<T>) const {
    return simd::lane_mask(simd::compare<_CMP_LT_OQ>(x.re, Vec<T>(T(0))));
  }
  int repair(Complex<T> x, T& r) const {
    r = -x.re;
    return 1;
  }
};
template <class T>
struct Spread {
  using Operand = T;
  using Result = Complex<T>;
  static constexpr int operands = 1, results = 1, unroll = 2;
  auto eval(Vec<T> x) const { return ComplexVec<T>{x, x + x}; }
};
// Two results; a negative operand is an error, whose results the repair makes.
template <class T>
struct Halves {
  using Operand = T;
  using Result = T;
  static constexpr int operands = 1, results = 2;
  Pair<Vec<T>> eval(Vec<T> x) const { return {x * Vec<T>(T(0.5)), x + x}; }
  unsigned special(Vec<T> x, Pair<Vec<T>> const&) const {
    return simd::lane_mask(simd::compare<_CMP_LT_OQ>(x, Vec<T>(T(0))));
  }
  int repair(T x, T& r1, T& r2) const {
    r1 = x - 1;
    r2 = x - 2;
    return 1;
  }
};
template <class T>
struct Exchange {
  using Operand = Complex<T>;
  using Result = Complex<T>;
  static constexpr int operands = 2, results = 1;
  auto eval(ComplexVec<T> x, ComplexVec<T> y) const { return ComplexVec<T>{x.im, y.re}; }
};

template <class T>
void check_forms() {
  for (int n = 0; n < 40; ++n) {
    auto const size = static_cast<std::size_t>(n);
    std::vector<Complex<T>> z(size), w(size), out(size + 1);
    std::vector<T> x(size), r(size + 1);
    for (int i = 0; i < n; ++i) {
      auto const k = static_cast<std::size_t>(i);
      z[k] = {static_cast<T>(i % 5 == 3 ? -i : i), static_cast<T>(100 + i)};
      w[k] = {static_cast<T>(1000 + i), 0};
      x[k] = static_cast<T>(i);
    }
    {
      ControlState const control;
      ContiguousIn<Complex<T>> const in{z.data()};
      ContiguousOut<T> const result{r.data()};
      run(control, PartSum<T>(), n, in, in, result, result, "sum");
      run(control, Spread<T>(), n, ContiguousIn<T>{x.data()}, ContiguousIn<T>{x.data()},
          ContiguousOut<Complex<T>>{out.data()}, ContiguousOut<Complex<T>>{out.data()}, "spread");
    }
    for (int i = 0; i < n; ++i) {
      auto const k = static_cast<std::size_t>(i);
      ASSERT_EQ(r[k], i % 5 == 3 ? static_cast<T>(i) : static_cast<T>(100 + 2 * i))
          << "n " << n << " i " << i;
      ASSERT_EQ(out[k].re, x[k]);
      ASSERT_EQ(out[k].im, 2 * x[k]);
    }
    ASSERT_EQ(r[size], 0);
    ASSERT_EQ(out[size].re, 0);

    std::vector<Complex<T>> spread(3 * size + 1);
    {
      ControlState const control;
      StridedOut<Complex<T>> const result{spread.data(), 3};
      run(control, Exchange<T>(), n, StridedIn<Complex<T>>{z.data(), 1},
          StridedIn<Complex<T>>{w.data() + (n ? n - 1 : 0), -1}, result, result, "exchange");
    }
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(spread[static_cast<std::size_t>(3 * i)].re, static_cast<T>(100 + i));
      ASSERT_EQ(spread[static_cast<std::size_t>(3 * i)].im, static_cast<T>(1000 + n - 1 - i));
    }
  }
}

int last_index;
double last_part;
int note(OrvErrorRecord* record) {
  last_index = record->index;
  last_part = record->arg1_im;
  return 1;
}

TEST(Loop, ComplexFormsInSinglePrecision) { check_forms<float>(); }
TEST(Loop, ComplexFormsInDoublePrecision) { check_forms<double>(); }

TEST(Loop, ReportsOfComplexOperandsCountElements) {
  std::vector<Complex<float>> z(13, {1, 2});
  std::vector<float> r(13);
  z[10] = {-1, 5};
  orv_elw_kernel_SetErrorCallBack(note);
  {
    ControlState const control;
    ContiguousIn<Complex<float>> const in{z.data()};
    ContiguousOut<float> const out{r.data()};
    run(control, PartSum<float>(), 13, in, in, out, out, "sum");
  }
  orv_elw_kernel_ClearErrorCallBack();
  EXPECT_EQ(last_index, 10);
  EXPECT_EQ(last_part, 5);
}

// What the callback gets and what it leaves, in both results, at every place and length.
template <class T>
void check_two_results() {
  static std::vector<OrvErrorRecord> seen;
  orv_elw_kernel_SetErrorCallBack([](OrvErrorRecord* record) {
    seen.push_back(*record);
    record->res1 = 1000 + record->index;
    record->res2 = 2000 + record->index;
    return 0;
  });
  for (int n = 1; n < 40; ++n)
    for (int bad = 0; bad < n; ++bad) {
      auto const size = static_cast<std::size_t>(n);
      std::vector<T> x(size), r1(size + 1), r2(size + 1);
      for (int i = 0; i < n; ++i) x[static_cast<std::size_t>(i)] = static_cast<T>(i == bad ? -3 : i);
      seen.clear();
      {
        ControlState const control;
        ContiguousIn<T> const in{x.data()};
        run(control, Halves<T>(), n, in, in, ContiguousOut<T>{r1.data()}, ContiguousOut<T>{r2.data()},
            "halves");
      }
      ASSERT_EQ(seen.size(), 1u) << "n " << n << ", element " << bad;
      ASSERT_EQ(seen[0].index, bad);
      ASSERT_EQ(seen[0].arg1, -3);
      ASSERT_EQ(seen[0].res1, -4);
      ASSERT_EQ(seen[0].res2, -5);
      for (int i = 0; i < n; ++i) {
        auto const k = static_cast<std::size_t>(i);
        ASSERT_EQ(r1[k], i == bad ? static_cast<T>(1000 + i) : static_cast<T>(i) / 2)
            << "n " << n << ", i " << i;
        ASSERT_EQ(r2[k], i == bad ? static_cast<T>(2000 + i) : static_cast<T>(2 * i))
            << "n " << n << ", i " << i;
      }
      ASSERT_EQ(r1[size] + r2[size], 0) << "behind the end";
    }
  orv_elw_kernel_ClearErrorCallBack();
}
TEST(Loop, ACallbackChangesBothResultsAtEveryPlace) {
  check_two_results<float>();
  check_two_results<double>();
}

} // namespace
} // namespace orv::loop
