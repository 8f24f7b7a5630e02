// The list of functions as a table, for lookups at compile time and for those who walk over it.
#pragma once
#include <string_view>

namespace orv {

enum class Level { LA, HA, EP };
enum class Form { unary, binary, two_results, scalar, linear_frac, real_to_complex, complex_to_real, pack };
enum class Slots { one, la_ha, la_ep, three };

struct Function {
  char type; // s d c z
  std::string_view name;
  Form form;
  Slots slots;
  std::string_view family;
  double ha_ulp, la_ulp, ep_bits; // bounds of the error
};

inline constexpr Function functions[] = {
#define ORV_FUNCTION(x, name, form, slots, family, ha, la, ep)                                               \
  {#x[0], #name, Form::form, Slots::slots, #family, ha, la, ep},
#include "orv/functions.def"
#undef ORV_FUNCTION
};

void not_in_the_list_of_functions(); // never defined: a constant expression cannot call it

consteval Function const& function(char type, std::string_view name) {
  for (Function const& f : functions)
    if (f.type == type && f.name == name) return f;
  not_in_the_list_of_functions();
  return functions[0];
}

// The level whose kernel stands in the slot of `level`.
constexpr Level kernel_level(Slots slots, Level level) {
  switch (slots) {
  case Slots::one:
    return Level::LA;
  case Slots::la_ha:
    return level == Level::EP ? Level::EP : Level::LA;
  case Slots::la_ep:
    return level == Level::HA ? Level::HA : Level::LA;
  case Slots::three:
    return level;
  }
  return level;
}

} // namespace orv
