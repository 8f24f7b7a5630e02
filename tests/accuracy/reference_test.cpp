// The references against each other and against known values; the engine against functions whose error is known.
#include "accuracy/measure.h"
#include "accuracy/points.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace orv::accuracy {
namespace {

std::vector<Reference const*> all_references() {
  std::vector<Reference const*> all;
  for (auto const& table :
       {elementary_references(), circular_references(), special_references(), complex_references()})
    for (Reference const& r : table) all.push_back(&r);
  return all;
}
std::string name_of(testing::TestParamInfo<Reference const*> const& info) {
  return std::string(info.param->complex ? "c" : "") + std::string(info.param->name);
}

class EachReference : public testing::TestWithParam<Reference const*> {
 protected:
  // Arguments of type T through the regions of the function.
  template <class T>
  std::vector<std::array<T, 4>> arguments(char type) const {
    Reference const& r = *GetParam();
    Draw<T> random(7);
    std::vector<std::array<T, 4>> all;
    for (Region const& region : regions()) {
      if (!region.serves(r.name, type)) continue;
      for (int i = 0; i < 60; ++i) {
        std::array<T, 4> x{};
        if (r.shape.operand_parts == 2) random.complex(x.data(), r.shape.operands);
        if (region.count())
          x[0] = region.number<T>(random.bits(40) % region.count());
        else
          region.draw(random, x.data());
        all.push_back(x);
      }
    }
    for (int i = 0; i < 200; ++i) {
      std::array<T, 4> x{};
      if (r.shape.operand_parts == 2)
        random.complex(x.data(), r.shape.operands);
      else if (r.shape.operands == 2)
        random.two(x[0], x[1]);
      else
        x[0] = random.one();
      all.push_back(x);
    }
    return all;
  }

  // The two references of one width.
  template <class T, class W>
  void compare(char type) const {
    Reference const& r = *GetParam();
    auto const in = static_cast<std::size_t>(r.shape.in()), out = static_cast<std::size_t>(r.shape.out());
    int told = 0;
    for (auto const& x : arguments<T>(type)) {
      W wide[8] = {}, quick[4] = {};
      std::array<Big, 8> big;
      std::array<Big, 4> exact;
      for (std::size_t k = 0; k < 4; ++k) {
        if (k < in) wide[k] = static_cast<W>(x[k]);
        wide[in + k] = static_cast<W>(k + 2) / 4;
        mpfr_set_ld(big[in + k].get(), static_cast<long double>(wide[in + k]), MPFR_RNDN);
      }
      for (std::size_t k = 0; k < in; ++k)
        mpfr_set_ld(big[k].get(), static_cast<long double>(wide[k]), MPFR_RNDN);
      bool decided;
      if constexpr (sizeof(T) == 4)
        decided = r.quick(wide, quick);
      else
        decided = r.quick_wide(wide, quick);
      if (!decided) continue;
      r.exact(big.data(), exact.data());
      for (std::size_t k = 0; k < out; ++k) {
        // Inside T's range; what lies outside is an infinity or zero either way.
        double const size = std::fabs(exact[k].rounded());
        if (exact[k].nan() || size > static_cast<double>(std::numeric_limits<T>::max()) ||
            size < static_cast<double>(std::numeric_limits<T>::min()))
          continue;
        Big q;
        mpfr_set_ld(q.get(), static_cast<long double>(quick[k]), MPFR_RNDN);
        double const off = (fabs(q - exact[k]) / fabs(exact[k])).rounded();
        ++told;
        // A complex function may lose digits in one part: such arguments are decided by the exact one.
        double const allowed = r.quick_error * static_cast<double>(std::numeric_limits<W>::epsilon());
        if (!r.complex)
          EXPECT_LE(off, allowed) << std::hexfloat << x[0] << ", " << x[1] << ": " << quick[k] << " and "
                                  << exact[k].rounded();
        else
          EXPECT_LE(off, 1e-3) << std::hexfloat << x[0] << ", " << x[1] << ", " << x[2] << ", " << x[3]
                               << ": " << quick[k] << " and " << exact[k].rounded();
      }
    }
    EXPECT_GT(told, 20);
  }
};

TEST_P(EachReference, QuickAndExactAgree) {
  compare<float, double>(GetParam()->complex ? 'c' : 's');
  compare<double, long double>(GetParam()->complex ? 'z' : 'd');
}
INSTANTIATE_TEST_SUITE_P(All, EachReference, testing::ValuesIn(all_references()), name_of);

double exact(const char* name, double x, double y = 0, char type = 'd') {
  std::array<Big, 8> in{Big(x), Big(y)};
  std::array<Big, 4> out;
  reference(name, type)->exact(in.data(), out.data());
  return out[0].rounded();
}

TEST(References, KnownValues) {
  EXPECT_EQ(exact("Sin", 1e22), -0.8522008497671888);
  EXPECT_EQ(exact("Cos", 6381956970095103 * 0x1p797), -4.6871659242546277e-19);
  EXPECT_EQ(exact("Sind", 30), 0.5);
  EXPECT_EQ(exact("Cosd", 1e300), exact("Cosd", std::fmod(1e300, 360)));
  EXPECT_TRUE(std::signbit(exact("Sinpi", 1)) && exact("Sinpi", 1) == 0);
  EXPECT_FALSE(std::signbit(exact("Sinpi", -1)));
  EXPECT_FALSE(std::signbit(exact("Cospi", 1.5)));
  EXPECT_EQ(exact("Tanpi", 0.5), std::numeric_limits<double>::infinity());
  EXPECT_EQ(exact("Tand", 270), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(exact("Tand", 225), 1);
  EXPECT_EQ(exact("Acospi", -1), 1);
  EXPECT_EQ(exact("Atan2pi", -0.0, -1), -1);
  EXPECT_EQ(exact("ErfInv", 0.5), 0.47693627620446987);
  EXPECT_EQ(exact("ErfcInv", 5e-324), 27.213293210812949);
  EXPECT_EQ(exact("CdfNormInv", 0.975), 1.9599639845400539);
  EXPECT_EQ(exact("CdfNorm", -38), 2.8854283600687843e-316);
  EXPECT_EQ(exact("TGamma", 0.5), 1.7724538509055161);
  EXPECT_EQ(exact("LGamma", -2.5), -0.056243716497674054);
  EXPECT_EQ(exact("ExpInt1", 1), 0.21938393439552029);
  EXPECT_EQ(exact("Exp", 0, 1, 'z'), 0.54030230586813977);
}

// A function with an error that is known: 3 units in the last place at one argument, 1 everywhere else.
template <class T>
void measured_error(char type, T bad, Plan plan, double expected) {
  Subject const subject{"Abs", type, [&](Level level, Arrays const& x, std::size_t n) {
                          auto const* a = static_cast<const T*>(x.a);
                          auto* r = static_cast<T*>(x.r1);
                          for (std::size_t i = 0; i < n; ++i) {
                            r[i] = std::fabs(a[i]);
                            if (std::isnan(r[i]) || level == Level::HA) continue;
                            auto bits = std::bit_cast<BitsOf<T>>(r[i]);
                            if (r[i] == bad) bits += 3;
                            r[i] = std::bit_cast<T>(bits);
                            if (level == Level::EP && r[i] == 0) r[i] = -r[i];
                          }
                        }};
  auto const worst = measure(subject, *reference("Abs", type), plan);
  EXPECT_EQ(worst[0].ulp, expected);
  EXPECT_EQ(std::fabs(worst[0].ulp_at[0]), static_cast<double>(bad));
  EXPECT_EQ(worst[1].ulp, 0);
  EXPECT_EQ(worst[1].bits(), 999);
  EXPECT_EQ(worst[0].wrong_signs, 0u);
  EXPECT_GT(worst[2].wrong_signs, 0u);
  EXPECT_EQ(worst[2].sign_at[0], 0);
}

TEST(Engine, FindsTheErrorOfOneArgument) {
  Plan plan;
  plan.points = 200'000;
  measured_error<float>('s', 1.0f, plan, 3);
  measured_error<double>('d', 1.0, plan, 3);
  measured_error<double>('d', 0.5, plan, 3);
}

TEST(Engine, ErrorsAreMeasuredToASmallPartOfTheUnit) {
  // Half a unit of a float in a sum that no float holds, a quarter beside it.
  Subject const subject{"Sqr", 's', [](Level, Arrays const& x, std::size_t n) {
                          auto const* a = static_cast<const float*>(x.a);
                          for (std::size_t i = 0; i < n; ++i) static_cast<float*>(x.r1)[i] = a[i] * a[i];
                        }};
  Plan plan;
  plan.points = 300'000;
  auto const worst = measure(subject, *reference("Sqr", 's'), plan);
  EXPECT_LE(worst[0].ulp, 0.5);
  EXPECT_GT(worst[0].ulp, 0.4999);
  EXPECT_NEAR(worst[0].bits(), 24, 0.01);
}

TEST(Engine, TheSampleDoesNotDependOnTheThreads) {
  Subject const subject{"Exp", 'd', [](Level, Arrays const& x, std::size_t n) {
                          auto const* a = static_cast<const double*>(x.a);
                          for (std::size_t i = 0; i < n; ++i)
                            static_cast<double*>(x.r1)[i] = std::exp(a[i]) * (1 + 0x1p-51);
                        }};
  Plan plan;
  plan.points = 300'000;
  auto const first = measure(subject, *reference("Exp", 'd'), plan);
  for (int i = 0; i < 4; ++i) {
    auto const again = measure(subject, *reference("Exp", 'd'), plan);
    EXPECT_EQ(again[0].ulp, first[0].ulp);
    EXPECT_EQ(again[0].ulp_at, first[0].ulp_at);
    EXPECT_EQ(again[0].bits_at, first[0].bits_at);
    EXPECT_EQ(again[0].points, first[0].points);
  }
}

TEST(Engine, ByModulusAPartMayBeLost) {
  Subject const subject{
      "Pow", 'z', [](Level, Arrays const& x, std::size_t n) {
        auto const *a = static_cast<const double*>(x.a), *b = static_cast<const double*>(x.b);
        for (std::size_t i = 0; i < n; ++i) {
          std::array<Big, 4> in{Big(a[2 * i]), Big(a[2 * i + 1]), Big(b[2 * i]), Big(b[2 * i + 1])};
          std::array<Big, 2> out;
          reference("Pow", 'z')->exact(in.data(), out.data());
          double* r = static_cast<double*>(x.r1) + 2 * i;
          r[0] = out[0].rounded();
          r[1] = out[1].rounded();
          // Within half a unit of the modulus, whatever it is for the part.
          if (std::isfinite(r[0]) && std::fabs(r[1]) < std::fabs(r[0]) * 0x1p-55) r[1] = 0;
        }
      }};
  Plan plan;
  plan.points = 4000;
  auto const worst = measure(subject, *reference("Pow", 'z'), plan);
  EXPECT_LT(worst[0].ulp, 0.75);
  EXPECT_GT(worst[0].ulp, 0.4);
}

} // namespace
} // namespace orv::accuracy
