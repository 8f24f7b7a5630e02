// Element-wise functions by name, and what they refuse.
#include "frontend/elementwise.h"
#include "frontend/library.h"
#include "tests/frontend/support.h"

#include <cmath>

using namespace orv;

namespace {

TEST(Elementwise, RefusesMissingArraysInBothForms) {
  double x[4] = {1, 2, 3, 4}, r1[4], r2[4];
  struct Case {
    const char* name;
    Arrays whole;
  };
  Case const cases[] = {{"Exp", {.a = x, .r1 = r1}},
                        {"Add", {.a = x, .b = x, .r1 = r1}},
                        {"Modf", {.a = x, .r1 = r1, .r2 = r2}},
                        {"Powx", {.a = x, .r1 = r1, .scalars = {2}}},
                        {"LinearFrac", {.a = x, .b = x, .r1 = r1, .scalars = {1, 0, 0, 1}}}};
  for (Case const& c : cases) {
    auto const f = Elementwise::find('d', c.name);
    f.call(Level::HA, c.whole, 4);
    f.call_strided(Level::HA, c.whole, 4);
    for (int lacks = 0; lacks < 4; ++lacks) {
      Arrays part = c.whole;
      if (lacks == 0) part.a = nullptr;
      if (lacks == 1) part.b = nullptr;
      if (lacks == 2) part.r1 = nullptr;
      if (lacks == 3) part.r2 = nullptr;
      if ((lacks == 1 && !c.whole.b) || (lacks == 3 && !c.whole.r2)) continue;
      EXPECT_THROW(f.call(Level::HA, part, 4), Error) << c.name << lacks;
      EXPECT_THROW(f.call_strided(Level::HA, part, 4), Error) << c.name << lacks;
      f.call(Level::HA, part, 0);
      f.call_strided(Level::HA, part, 0);
    }
    EXPECT_THROW(f.call_strided(Level::HA, c.whole, -1), Error) << c.name;
  }
}

TEST(Elementwise, RefusesPackFunctionsAndUnknownLevels) {
  double x[4] = {}, r[4] = {};
  for (orv::Function const& f : functions) {
    if (f.form != Form::pack) continue;
    auto const pack = Elementwise::find(f.type, std::string(f.name));
    EXPECT_THROW(pack.call(Level::HA, {.a = x, .b = x, .r1 = r}, 1), Error) << f.name;
    EXPECT_THROW(pack.call_strided(Level::HA, {.a = x, .b = x, .r1 = r}, 1), Error) << f.name;
  }
  auto const exp = Elementwise::find('d', "Exp");
  for (int const number : {-1, 3, 1000}) {
    auto const level = static_cast<Level>(number);
    EXPECT_THROW(exp.call(level, {.a = x, .r1 = r}, 1), Error);
    EXPECT_THROW(exp.call_strided(level, {.a = x, .r1 = r}, 1), Error);
    EXPECT_THROW(exp.cost(level), Error);
    EXPECT_THROW(level_name(level), Error);
  }
  EXPECT_THROW(Elementwise::find('q', "Exp"), Error);
  EXPECT_THROW(Elementwise::find('d', "Exq"), Error);
}

TEST(Elementwise, StridesGoEachTheirOwnWay) {
  double const a[6] = {1, -1, 2, -1, 3, -1}, b[3] = {10, 20, 30};
  double r[9] = {};
  Elementwise::find('d', "Sub")
      .call_strided(Level::HA, {.a = a, .b = b + 2, .r1 = r, .inca = 2, .incb = -1, .incr1 = 4}, 3);
  EXPECT_EQ(r[0], 1 - 30);
  EXPECT_EQ(r[4], 2 - 20);
  EXPECT_EQ(r[8], 3 - 10);
  EXPECT_EQ(r[1], 0);
}

TEST(ErrorLog, CollectsAndPutsTheThreadBack) {
  auto* const mode = ORV_FUNCTION_OF(orv_elw_kernel_GetMode);
  uint32_t const before = mode();
  auto* const status = ORV_FUNCTION_OF(orv_elw_kernel_GetErrStatus);
  ORV_FUNCTION_OF(orv_elw_kernel_SetErrStatus)(ORV_STATUS_SINGULARITY);
  double const x[5] = {1, 1000, 2, -1000, 1e9};
  double r[5];
  auto const exp = Elementwise::find('d', "Exp");
  {
    ErrorLog outer;
    {
      ErrorLog log;
      exp.call(Level::HA, {.a = x, .r1 = r}, 5);
      ASSERT_EQ(log.errors().size(), 3u);
      EXPECT_EQ(log.errors()[0].index, 1u);
      EXPECT_EQ(log.errors()[0].status, ORV_STATUS_OVERFLOW);
      EXPECT_EQ(log.errors()[1].index, 3u);
      EXPECT_EQ(log.errors()[1].status, ORV_STATUS_UNDERFLOW);
      EXPECT_EQ(log.errors()[2].arg1, 1e9);
      EXPECT_TRUE(std::isinf(log.errors()[2].res1));
    }
    exp.call(Level::HA, {.a = x, .r1 = r}, 2);
    ASSERT_EQ(outer.errors().size(), 1u);
  }
  EXPECT_EQ(mode(), before);
  EXPECT_EQ(status(), ORV_STATUS_SINGULARITY);
  EXPECT_EQ(ORV_FUNCTION_OF(orv_elw_kernel_GetErrorCallBack)(), nullptr);
  ORV_FUNCTION_OF(orv_elw_kernel_ClearErrStatus)();
}

} // namespace
