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

} // namespace
} // namespace orv::loop
