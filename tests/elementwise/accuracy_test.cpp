// The stated bounds, on a sample; `orv accuracy` measures more.
#include "cli/accuracy.h"
#include "tests/elementwise/support.h"

namespace orv::test {
namespace {

TEST(Accuracy, BoundsOfTheListHoldOnASample) {
  for (Function const& f : functions) {
    auto const* reference = cli::reference(f.name);
    if (!reference || (f.type != 's' && f.type != 'd')) continue;
    auto const function = Elementwise::find(f.type, std::string(f.name));
    for (double scalar : scalar_operands(f)) {
      // The reciprocal of a positive power: 0 where that power overflows and the result would be denormal.
      if (f.form == Form::scalar && scalar <= -2 && scalar >= -4) continue;
      cli::AccuracyPlan plan;
      plan.points = f.form == Form::scalar ? 20'000 : 100'000;
      plan.scalar = scalar;
      auto const worst = cli::measure_accuracy(function, *reference, plan);
      for (Level level : {Level::LA, Level::HA, Level::EP}) {
        auto const& w = worst[static_cast<std::size_t>(level)];
        EXPECT_TRUE(cli::keeps_bound(f, level, w))
            << f.type << f.name << " " << level_name(level) << ": " << w.ulp << " ulp at " << w.ulp_a << ", "
            << w.ulp_b << "; " << w.bits() << " bits at " << w.bits_a << ", " << w.bits_b << "; scalar "
            << scalar;
      }
    }
  }
}

} // namespace
} // namespace orv::test
