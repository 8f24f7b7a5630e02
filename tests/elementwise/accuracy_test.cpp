// The stated bounds and the signs of zeros, on a sample that is the same everywhere; `orv accuracy` measures more.
#include "accuracy/measure.h"
#include "tests/elementwise/each_function.h"

#include <algorithm>
#include <fstream>
#include <set>

namespace orv::test {
namespace {

class Accuracy : public EachFunction {};

// The largest HA errors that this sample showed: much more says that a correction was lost, though the bound may hold.
// LA and EP take approximations of the processor, which differ between makers.
double largest_ha_error(std::string const& function, double bound) {
  std::ifstream in(ORV_TEST_VECTORS "/elementwise_ha_errors.txt");
  double error;
  for (std::string name; in >> name >> error;)
    if (name == function) return error;
  return bound;
}

TEST_P(Accuracy, BoundsAndSignsOfZeroHoldOnASample) {
  Function const& f = *GetParam();
  auto const* reference = accuracy::reference(f.name, f.type);
  auto const function = Elementwise::find(f.type, std::string(f.name));
  double largest = 0;
  for (double scalar : scalar_operands(f)) {
    accuracy::Plan plan;
    plan.points = f.form == Form::scalar ? 20'000 : 100'000;
    plan.scalars = {scalar, 0.5, 1.25, 3};
    auto const worst = accuracy::measure(accuracy::subject(function), *reference, plan);
    largest = std::max(largest, worst[1].ulp);
    for (Level level : {Level::LA, Level::HA, Level::EP}) {
      auto const& w = worst[static_cast<std::size_t>(level)];
      int const in = reference->shape.in();
      EXPECT_TRUE(accuracy::keeps_bound(f, level, w))
          << level_name(level) << ": " << w.ulp << " ulp at " << accuracy::hexadecimal(w.ulp_at, in, f.type)
          << "; " << w.bits() << " bits at " << accuracy::hexadecimal(w.bits_at, in, f.type) << "; "
          << w.wrong_signs << " zeros of the wrong sign, such as at "
          << accuracy::hexadecimal(w.sign_at, in, f.type) << "; scalar " << scalar;
    }
  }
  double const known = largest_ha_error(f.type + std::string(f.name), f.ha_ulp);
  RecordProperty("largest_ha_error", std::to_string(largest));
  EXPECT_LE(largest, 1.06 * known) << "HA, ulp";
}
ORV_EACH_FUNCTION_THAT(Accuracy,
                       [](Function const& f) { return accuracy::reference(f.name, f.type) != nullptr; });
ORV_EACH_COMPLEX_FUNCTION_THAT(Accuracy, [](Function const&) { return true; });

TEST(AccuracyList, OnlySelectionsHaveNoReference) {
  // values_test.cpp compares them with plain code.
  std::set<std::string_view> const selections = {"CopySign", "Fmax", "Fmin",     "MaxMag",
                                                 "MinMag",   "Fdim", "NextAfter"};
  for (Function const& f : functions)
    if (f.form != Form::pack) {
      EXPECT_EQ(accuracy::reference(f.name, f.type) == nullptr, selections.contains(f.name))
          << f.type << f.name;
    }
}

} // namespace
} // namespace orv::test
