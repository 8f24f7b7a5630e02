// Gaussian numbers for the generators that build on them. A frame with the Gaussian's callback is in force.
#pragma once
#include "distributions/draw.h"

namespace orv::distributions {

int32_t gaussian(int32_t method, Source const& source, int n, double* r, double a, double sigma);
int32_t gaussian(int32_t method, Source const& source, int n, float* r, float a, float sigma);

} // namespace orv::distributions
