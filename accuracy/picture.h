// A picture of the largest error in each part of the domain: for one operand a line of dots for each level, for a
// complex operand a map of one level.
#pragma once
#include "accuracy/measure.h"

namespace orv::accuracy {

std::string picture(Profile const& profile, std::string const& title, char type, Level map_level);

} // namespace orv::accuracy
