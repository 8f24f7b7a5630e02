// Distributions by name, with their parameters checked against one table of ranges.
//
//   std::vector<double> r(1000);
//   orv::draw(stream, orv::distribution_of("gamma"), 0, {2.5, 0, 1}, r);
#pragma once
#include "frontend/error.h"
#include "orv/distributions.h"

#include <string>
#include <string_view>
#include <vector>

namespace orv {

struct ParameterRange {
  std::string_view name;
  double low, high;
  bool low_open = false, high_open = false, whole = false;
};
struct DistributionInfo {
  std::string_view name;
  bool integers;
  std::vector<ParameterRange> parameters;
  std::vector<std::string_view> methods; // by number; one that is not named is method 0
};
// Those whose parameters are numbers.
std::vector<DistributionInfo> const& distributions();
// Throws Error that lists the names; case does not matter.
DistributionInfo const& distribution_of(std::string_view name);
// Throws Error that names the parameter, its value and its range.
void check_parameters(DistributionInfo const& distribution, std::vector<double> const& parameters);
// Fills r; integers as doubles. Throws Error for bad parameters, methods and statuses.
void draw(RngStream* stream, DistributionInfo const& distribution, int method,
          std::vector<double> const& parameters, std::vector<double>& r);

} // namespace orv
