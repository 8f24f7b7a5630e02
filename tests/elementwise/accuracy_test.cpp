// The stated bounds and the signs of zeros, on a sample that is the same everywhere; `orv accuracy` measures more.
#include "accuracy/measure.h"
#include "tests/elementwise/each_function.h"

namespace orv::test {
namespace {

class Accuracy : public EachFunction {};

TEST_P(Accuracy, BoundsAndSignsOfZeroHoldOnASample) {
  Function const& f = *GetParam();
  auto const* reference = accuracy::reference(f.name, f.type);
  if (!reference) GTEST_SKIP() << "a selection, compared with plain code by values_test.cpp";
  auto const function = Elementwise::find(f.type, std::string(f.name));
  for (double scalar : scalar_operands(f)) {
    accuracy::Plan plan;
    plan.points = f.form == Form::scalar ? 20'000 : 100'000;
    plan.scalars = {scalar, 0.5, 1.25, 3};
    auto const worst = accuracy::measure(accuracy::subject(function), *reference, plan);
    for (Level level : {Level::LA, Level::HA, Level::EP}) {
      auto const& w = worst[static_cast<std::size_t>(level)];
      int const in = reference->shape.in();
      EXPECT_TRUE(accuracy::keeps_bound(f, level, w))
          << level_name(level) << ": " << w.ulp << " ulp at " << accuracy::hexadecimal(w.ulp_at, in, f.type) << "; " << w.bits()
          << " bits at " << accuracy::hexadecimal(w.bits_at, in, f.type) << "; " << w.wrong_signs
          << " zeros of the wrong sign, such as at " << accuracy::hexadecimal(w.sign_at, in, f.type) << "; scalar " << scalar;
    }
  }
}
ORV_EACH_FUNCTION(Accuracy);

} // namespace
} // namespace orv::test
