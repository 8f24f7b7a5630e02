// A picture of curves and points as SVG, with axes, grid and legend.
#pragma once
#include <string>
#include <utility>
#include <vector>

namespace orv::cli {

using Points = std::vector<std::pair<double, double>>;

struct PlotSeries {
  std::string name;
  Points curve;
  Points points; // the data, filled dots
  Points marks;  // sites that were asked for, rings
  Points shaded; // part of the curve whose area to the zero line is filled
};

struct Plot {
  std::string title, x_label, y_label;
  std::vector<PlotSeries> series;
  // Throws Error if the file cannot be written.
  void write(std::string const& path) const;
};

} // namespace orv::cli
