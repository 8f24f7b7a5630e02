// Exponential numbers for generators that build on them. A frame with the logarithm's callback is in force.
#pragma once
#include "distributions/draw.h"

namespace orv::distributions {

int32_t exponential(Source const& source, int n, double* r, double a, double beta);
int32_t exponential(Source const& source, int n, float* r, float a, float beta);

} // namespace orv::distributions
