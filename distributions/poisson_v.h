// A mean for each result, for generators that build on it: means are finite and not negative, a frame with the
// Gaussian's callback is in force.
#pragma once
#include "distributions/draw.h"

namespace orv::distributions {

int32_t poisson_v(Source const& source, int n, int32_t* r, double const* lambda);

} // namespace orv::distributions
