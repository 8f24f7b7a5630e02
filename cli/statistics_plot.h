// Pictures of columns: box plots, and a scatter with the robust ellipse.
#pragma once
#include "cli/plot.h"
#include "frontend/robust.h"

namespace orv::cli {

// Boxes from quartile to quartile with the median, whiskers to the last value within 1.5 box lengths, dots beyond.
// Several columns stand in units of their own box length about their medians.
Plot box_plot(Columns const& columns, std::vector<std::string> const& names, Columns const& quartiles);

// Two columns, the ellipse that holds 97.5 % of clean normal data, and the rows outside of it.
Plot scatter_plot(Columns const& columns, std::vector<std::string> const& names, RobustFit const& fit);

} // namespace orv::cli
