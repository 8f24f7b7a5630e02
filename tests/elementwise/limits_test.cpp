// Around the arguments where a function leaves its vector path or changes its status: some numbers on either side, in
// each lane, errors on and off. The arguments: the regions that name theirs, and where the status changes.
#include "accuracy/measure.h"
#include "accuracy/points.h"
#include "orv/elementwise.h"
#include "tests/elementwise/each_function.h"

namespace orv::test {
namespace {

class Limits : public EachFunction {};

// Numbers in their order, the negative ones first.
template <class T>
T in_order(int64_t i) {
  constexpr auto sign = BitsOf<T>{1} << (8 * sizeof(T) - 1);
  return std::bit_cast<T>(i < 0 ? static_cast<BitsOf<T>>(-i) | sign : static_cast<BitsOf<T>>(i));
}
template <class T>
int64_t order_of(T x) {
  auto const pattern = static_cast<int64_t>(bits(std::fabs(x)));
  return std::signbit(x) ? -pattern : pattern;
}

// Where the status or the class of the result changes between landmarks, by halving.
template <class T>
std::vector<T> changes(Elementwise const& f, Level level, double scalar, T second) {
  auto kind = [&](int64_t i) {
    auto const r = call<T>(f, level, {in_order<T>(i)}, {second}, scalar);
    return std::pair(r.status[0], std::fpclassify(r.r1[0]));
  };
  std::vector<int64_t> marks;
  for (T v : accuracy::landmarks<T>()) {
    marks.push_back(order_of(v));
    marks.push_back(-order_of(v));
  }
  std::sort(marks.begin(), marks.end());
  std::vector<T> found;
  for (std::size_t i = 1; i < marks.size(); ++i) {
    int64_t low = marks[i - 1], high = marks[i];
    auto const at_low = kind(low);
    if (at_low == kind(high)) continue;
    while (high - low > 1) {
      int64_t const middle = low + (high - low) / 2;
      (kind(middle) == at_low ? low : high) = middle;
    }
    found.push_back(in_order<T>(low));
  }
  return found;
}

template <class T>
std::vector<T> limits(Function const& f, Elementwise const& function, Level level, double scalar, T second) {
  auto at = changes<T>(function, level, scalar, second);
  for (accuracy::Region const& region : accuracy::regions())
    if (region.serves(f.name, f.type) && region.kind == accuracy::Region::Kind::near)
      at.push_back(static_cast<T>(region.a));
  std::vector<T> all;
  for (T x : at)
    for (int shift = -3; shift <= 4; ++shift) {
      T const v = in_order<T>(order_of(x) + shift);
      if (std::isnan(v)) continue;
      all.push_back(v);
      all.push_back(-v);
    }
  return all;
}

TEST_P(Limits, BothSidesKeepTheirBoundInEachLaneAndMode) {
  Function const& f = *GetParam();
  auto const* reference = accuracy::reference(f.name, f.type);
  for_each_level(f, [&]<class T>(Elementwise const& function, Level level, double scalar) {
    for (T second : {T(2.5), T(-0.75), T(60)}) {
      auto const x = limits<T>(f, function, level, scalar, second);
      // A call for each lane: the vector filled with an ordinary number, the limit in one place.
      std::size_t const lanes = 32 / sizeof(T), n = x.size();
      for (std::size_t i = 0; i < n; ++i) {
        auto const alone = call<T>(function, level, {x[i]}, {second}, scalar);
        for (std::size_t lane = 0; lane < 2 * lanes; lane += i % 2 ? 3 : 1) {
          std::vector<T> a(2 * lanes, T(0.875)), b(2 * lanes, T(1.125));
          a[lane] = x[i];
          b[lane] = second;
          auto const got = call(function, level, a, b, scalar);
          ASSERT_EQ(bits(got.r1[lane]), bits(alone.r1[0])) << std::hexfloat << x[i] << " in lane " << lane;
          ASSERT_EQ(got.status[lane], alone.status[0]) << std::hexfloat << x[i] << " in lane " << lane;
        }
      }
      if (n == 0) continue;
      // Errors switched off change no result.
      std::vector<T> const b(n, second);
      auto const loud = call(function, level, x, b, scalar);
      auto const set = ORV_FUNCTION_OF(orv_elw_kernel_SetMode);
      uint32_t const mode = set(ORV_ERRMODE_NOERR);
      std::vector<T> quiet(n), quiet2(n);
      function.call(
          level,
          with_scalars({.a = x.data(), .b = b.data(), .r1 = quiet.data(), .r2 = quiet2.data()}, scalar), n);
      set(mode);
      ASSERT_TRUE(same_bits(quiet, loud.r1)) << "errors off";
      // The bound at each of them, by a subject that is called with these arguments alone.
      std::array<accuracy::Big, 8> in;
      std::array<accuracy::Big, 4> exact;
      for (std::size_t i = 0; i < n; ++i) {
        in[0] = accuracy::Big(static_cast<double>(x[i]));
        in[1] = accuracy::Big(static_cast<double>(second));
        reference->exact(in.data(), exact.data());
        auto const worst =
            accuracy::error_at(static_cast<double>(loud.r1[i]), exact[0], f.type, reference->zero_sign);
        ASSERT_TRUE(accuracy::keeps_bound(f, level, worst))
            << std::hexfloat << x[i] << ", " << second << ": " << loud.r1[i] << ", error " << worst.ulp;
      }
    }
  });
}
// Not selections and chains of products.
ORV_EACH_FUNCTION_THAT(Limits, [](Function const& f) {
  auto const* reference = accuracy::reference(f.name, f.type);
  return reference && reference->general && f.form != Form::scalar;
});

} // namespace
} // namespace orv::test
