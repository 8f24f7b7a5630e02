// Suites with a test for each function of the list, so that a failure names its function:
//
//   class Accuracy : public EachFunction {};
//   TEST_P(Accuracy, KeepsItsBound) { ... *GetParam() ... }
//   ORV_EACH_FUNCTION(Accuracy);
#pragma once
#include "tests/elementwise/support.h"

namespace orv {
// What a failing test prints for its parameter.
inline void PrintTo(Function const* f, std::ostream* out) { *out << f->type << f->name; }
} // namespace orv

namespace orv::test {

class EachFunction : public testing::TestWithParam<Function const*> {};

inline std::vector<Function const*> functions_of_types(std::string_view types,
                                                       bool (*wanted)(Function const&)) {
  std::vector<Function const*> all;
  for (Function const& f : functions)
    if (types.find(f.type) != types.npos && f.form != Form::pack && wanted(f)) all.push_back(&f);
  return all;
}
inline std::vector<Function const*> functions_of_numbers(bool (*wanted)(Function const&)) {
  return functions_of_types("sd", wanted);
}
inline std::string function_name(testing::TestParamInfo<Function const*> const& info) {
  return info.param->type + std::string(info.param->name);
}
#define ORV_EACH_FUNCTION_THAT(Suite, wanted)                                                                \
  INSTANTIATE_TEST_SUITE_P(All, Suite, testing::ValuesIn(functions_of_numbers(wanted)), function_name)
#define ORV_EACH_COMPLEX_FUNCTION_THAT(Suite, wanted)                                                        \
  INSTANTIATE_TEST_SUITE_P(AllComplex, Suite, testing::ValuesIn(functions_of_types("cz", wanted)),           \
                           function_name)
#define ORV_EACH_FUNCTION(Suite) ORV_EACH_FUNCTION_THAT(Suite, [](Function const&) { return true; })

// Runs a check for each level of a function that has a kernel of its own, and its scalars:
// check.operator()<T>(function, level, scalar).
template <class Check>
void for_each_level(Function const& f, Check check) {
  auto const function = Elementwise::find(f.type, std::string(f.name));
  for (Level level : {Level::LA, Level::HA, Level::EP}) {
    if (kernel_level(f.slots, level) != level) continue;
    for (double scalar : scalar_operands(f)) {
      SCOPED_TRACE(std::string(level_name(level)) +
                   (f.form == Form::scalar ? " scalar " + std::to_string(scalar) : ""));
      if (f.type == 's')
        check.template operator()<float>(function, level, scalar);
      else
        check.template operator()<double>(function, level, scalar);
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

} // namespace orv::test
