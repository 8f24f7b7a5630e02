// Relative costs of an element: in core cycles at 1024 elements in the first-level cache on the machine that
// tools/measure_costs ran on. For front ends that weigh a call; nothing in the library reads them.
#pragma once
#include <string_view>

namespace orv {

struct Costs {
  float la, ha, ep;
};

struct NamedCosts {
  std::string_view name;
  Costs costs;
};
inline constexpr NamedCosts cost_rows[] = {
#include "frame/costs.inc"
};

consteval Costs cost(std::string_view name) {
  for (NamedCosts const& row : cost_rows)
    if (row.name == name) return row.costs;
  return {1, 1, 1}; // not measured yet
}

} // namespace orv
