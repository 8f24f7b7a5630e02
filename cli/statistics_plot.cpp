#include "cli/statistics_plot.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orv::cli {
namespace {

constexpr double gap = std::numeric_limits<double>::quiet_NaN(); // lifts the pen

PlotSeries box(std::vector<double> const& x, std::vector<double> const& quartiles, double place,
               double center, double unit) {
  double const low = quartiles[0], middle = quartiles[1], high = quartiles[2], reach = 1.5 * (high - low);
  auto const y = [=](double v) { return (v - center) / unit; };
  double least = low, most = high;
  PlotSeries s;
  for (double const v : x) {
    if (v < low - reach || v > high + reach)
      s.points.emplace_back(place, y(v));
    else
      least = std::min(least, v), most = std::max(most, v);
  }
  double const a = place - 0.28, b = place + 0.28, c = place - 0.14, d = place + 0.14;
  s.curve = {{a, y(low)},      {b, y(low)},       {b, y(high)},   {a, y(high)},  {a, y(low)},
             {gap, gap},       {a, y(middle)},    {b, y(middle)}, {gap, gap},    {place, y(high)},
             {place, y(most)}, {gap, gap},        {c, y(most)},   {d, y(most)},  {gap, gap},
             {place, y(low)},  {place, y(least)}, {gap, gap},     {c, y(least)}, {d, y(least)}};
  return s;
}

} // namespace

Plot box_plot(Columns const& columns, std::vector<std::string> const& names, Columns const& quartiles) {
  bool const several = columns.size() > 1;
  Plot plot{"Box plots", "column", several ? "distance from the median in box lengths" : names[0], {}};
  for (std::size_t j = 0; j < columns.size(); ++j) {
    double const length = quartiles[j][2] - quartiles[j][0];
    auto s = box(columns[j], quartiles[j], static_cast<double>(j + 1), several ? quartiles[j][1] : 0,
                 several && length > 0 ? length : 1);
    s.name = names[j];
    plot.series.push_back(std::move(s));
  }
  return plot;
}

Plot scatter_plot(Columns const& columns, std::vector<std::string> const& names, RobustFit const& fit) {
  double const radius = std::sqrt(chi_square_quantile(2, 0.975));
  PlotSeries inside, outside, ellipse;
  inside.name = "rows";
  outside.name = "outside of it";
  ellipse.name = "97.5 % of clean data";
  for (std::size_t i = 0; i < columns[0].size(); ++i)
    (fit.distances[i] > radius ? outside : inside).points.emplace_back(columns[0][i], columns[1][i]);
  // The circle of that radius through the Cholesky factor of the covariance.
  double const a = std::sqrt(fit.covariance[0]), b = fit.covariance[1] / a,
               c = std::sqrt(std::max(0.0, fit.covariance[3] - b * b));
  for (int k = 0; k <= 180; ++k) {
    double const angle = k * 3.14159265358979323846 / 90, u = radius * std::cos(angle),
                 v = radius * std::sin(angle);
    ellipse.curve.emplace_back(fit.location[0] + a * u, fit.location[1] + b * u + c * v);
  }
  return {"Robust ellipse", names[0], names[1], {inside, outside, ellipse}};
}

} // namespace orv::cli
