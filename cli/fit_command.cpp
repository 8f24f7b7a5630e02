// orv fit: a spline through columns of a CSV file; its values, derivatives, integrals and picture.
#include "cli/command.h"
#include "cli/csv.h"
#include "cli/plot.h"
#include "frontend/spline.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <memory>

namespace orv::cli {
namespace {

struct Options {
  std::string file, x, inner, spline = "natural", boundary, svg;
  std::vector<std::string> y;
  std::string at, integrate;
  int grid = 0, derivatives = 0, threads = 0;
  bool skip_missing = false, no_header = false;
};

std::vector<double> number_list(std::string const& text, std::string const& where) {
  std::vector<double> values;
  for (size_t from = 0; from <= text.size();) {
    size_t const comma = std::min(text.find(',', from), text.size());
    values.push_back(parse_number(text.substr(from, comma - from), where));
    from = comma + 1;
  }
  return values;
}

struct Samples {
  std::vector<std::string> names; // of the functions
  std::string x_name;
  SplineData data;
};

// The columns, with break points checked as they are read, so that a message can name the line.
Samples read_samples(Options const& o, SchemeInfo const& scheme) {
  CsvReader reader(o.file, !o.no_header);
  Samples s;
  std::vector<int> wanted{reader.column(o.x)};
  s.x_name = reader.columns()[static_cast<size_t>(wanted[0])];
  for (auto const& y : o.y) {
    wanted.push_back(reader.column(y));
    s.names.push_back(reader.columns()[static_cast<size_t>(wanted.back())]);
  }
  bool const takes_inner = scheme.scheme == Scheme::Hermite || scheme.scheme == Scheme::Second;
  if (takes_inner && o.inner.empty())
    throw Error(fmt::format("the {} spline needs --inner COLUMN with {} at the break points", scheme.name,
                            scheme.scheme == Scheme::Hermite ? "the slopes" : "the second derivatives"));
  if (!takes_inner && !o.inner.empty())
    throw Error(fmt::format("the {} spline takes no --inner", scheme.name));
  if (takes_inner) wanted.push_back(reader.column(o.inner));
  s.data.values.resize(o.y.size());
  std::vector<double> row;
  while (reader.row(wanted, row)) {
    bool missing = false;
    for (size_t k = 0; k < wanted.size() && !missing; ++k) {
      missing = reader.missing(k);
      if (missing && !o.skip_missing)
        throw Error(fmt::format("{}: {} is missing; --skip-missing leaves such rows out", reader.where(),
                                reader.columns()[static_cast<size_t>(wanted[k])]));
      if (!missing && !std::isfinite(row[k]))
        throw Error(fmt::format("{}: {} is {}; finite numbers are wanted", reader.where(),
                                reader.columns()[static_cast<size_t>(wanted[k])], row[k]));
    }
    if (missing) continue;
    auto& x = s.data.breaks;
    if (!x.empty() && row[0] == x.back())
      throw Error(fmt::format("{}: {} {} stands twice; each break point may have one value", reader.where(),
                              s.x_name, row[0]));
    if (!x.empty() && row[0] < x.back())
      throw Error(fmt::format("{}: {} falls from {} to {}; sort the rows by it first", reader.where(),
                              s.x_name, x.back(), row[0]));
    x.push_back(row[0]);
    for (size_t k = 0; k < o.y.size(); ++k) s.data.values[k].push_back(row[k + 1]);
    if (takes_inner) s.data.inner.push_back(row.back());
  }
  if (static_cast<int>(s.data.breaks.size()) < scheme.minimum_breaks)
    throw Error(fmt::format("the {} spline needs at least {} rows; {} has {}", scheme.name,
                            scheme.minimum_breaks, o.file, s.data.breaks.size()));
  if (takes_inner) { // the ends are the boundary condition's
    s.data.inner.pop_back();
    s.data.inner.erase(s.data.inner.begin());
  }
  return s;
}

std::vector<double> even_sites(double from, double to, int count) {
  std::vector<double> sites;
  double const span = to - from;
  bool const wide = !std::isfinite(span * count);
  for (int i = 0; i < count; ++i) {
    double const steps = std::max(count - 1, 1);
    if (i + 1 == count && count > 1)
      sites.push_back(to);
    else
      sites.push_back(wide ? std::lerp(from, to, i / steps) : from + span * i / steps);
  }
  return sites;
}

void print_values(Samples const& s, Spline const& spline, std::vector<double> const& sites, int derivatives) {
  auto const r = spline.evaluate(sites, derivatives);
  fmt::print("{}", csv_cell(s.x_name));
  for (auto const& name : s.names)
    for (int d = 0; d <= derivatives; ++d)
      fmt::print(",{}", csv_cell(name + std::string(static_cast<size_t>(d), '\'')));
  fmt::print("\n");
  for (size_t i = 0; i < sites.size(); ++i) {
    fmt::print("{}", sites[i]);
    for (auto const& function : r)
      for (double const v : function[i]) fmt::print(",{}", shown(v));
    fmt::print("\n");
  }
}

void print_integrals(Samples const& s, Spline const& spline, std::vector<double> const& limits) {
  auto const integrals = spline.integrate(limits[0], limits[1]);
  fmt::print("function,from,to,integral\n");
  for (size_t j = 0; j < integrals.size(); ++j)
    fmt::print("{},{},{},{}\n", csv_cell(s.names[j]), limits[0], limits[1], shown(integrals[j]));
}

void draw(Options const& o, Samples const& s, Spline const& spline, std::vector<double> const& sites,
          std::vector<double> const& limits) {
  double low = spline.first(), high = spline.last();
  for (auto const& list : {sites, limits})
    for (double const v : list) low = std::min(low, v), high = std::max(high, v);
  // Steps want both sides of every jump; curves enough places between the data.
  auto places = even_sites(low, high, 1200);
  for (double const x : s.data.breaks)
    for (double const v : {std::nextafter(x, -INFINITY), x, std::nextafter(x, INFINITY)})
      if (std::isfinite(v)) places.push_back(v);
  std::sort(places.begin(), places.end());
  auto const curve = spline.evaluate(places, 0);
  auto const marks = sites.empty() || o.at.empty() ? decltype(curve)() : spline.evaluate(sites, 0);
  Plot plot;
  plot.title = fmt::format("{} spline of {}", o.spline, o.file.substr(o.file.find_last_of('/') + 1));
  plot.x_label = s.x_name;
  plot.y_label = s.names.size() == 1 ? s.names[0] : "";
  for (size_t j = 0; j < s.names.size(); ++j) {
    PlotSeries series{s.names[j], {}, {}, {}, {}};
    for (size_t i = 0; i < places.size(); ++i) series.curve.emplace_back(places[i], curve[j][i][0]);
    for (size_t i = 0; i < s.data.breaks.size(); ++i)
      series.points.emplace_back(s.data.breaks[i], s.data.values[j][i]);
    if (!marks.empty())
      for (size_t i = 0; i < sites.size(); ++i) series.marks.emplace_back(sites[i], marks[j][i][0]);
    if (limits.size() == 2)
      for (auto const& p : series.curve)
        if (p.first >= std::min(limits[0], limits[1]) && p.first <= std::max(limits[0], limits[1]))
          series.shaded.push_back(p);
    plot.series.push_back(std::move(series));
  }
  plot.write(o.svg);
}

void run(Options const& o) {
  SchemeInfo const& scheme = scheme_of(o.spline);
  if (o.at.empty() && o.grid == 0 && o.integrate.empty() && o.svg.empty())
    throw Error("say what is wanted: --at SITES, --grid N, --integrate FROM,TO or --svg FILE");
  std::vector<double> sites = o.at.empty() ? std::vector<double>() : number_list(o.at, "--at");
  auto const limits = o.integrate.empty() ? std::vector<double>() : number_list(o.integrate, "--integrate");
  if (!limits.empty() && limits.size() != 2) throw Error("--integrate wants two limits, such as 0,100");
  Boundary const boundary = o.boundary.empty() ? Boundary() : boundary_of(o.boundary);

  Samples s = read_samples(o, scheme);
  s.data.scheme = scheme.scheme;
  s.data.has_boundary = !o.boundary.empty();
  s.data.boundary = boundary;
  s.data.threads = o.threads;
  Spline const spline(s.data);

  if (o.grid > 0) {
    auto const grid = even_sites(spline.first(), spline.last(), o.grid);
    sites.insert(sites.end(), grid.begin(), grid.end());
  }
  for (double const v : sites)
    if (v < spline.first() || v > spline.last())
      fmt::print(stderr, "orv fit: {} lies outside the data, {} to {}: the outer piece is extended\n", v,
                 spline.first(), spline.last());
  if (!sites.empty()) print_values(s, spline, sites, o.derivatives);
  if (!sites.empty() && !limits.empty()) fmt::print("\n"); // between two tables
  if (!limits.empty()) print_integrals(s, spline, limits);
  if (!o.svg.empty()) draw(o, s, spline, sites, limits);
}

Command const command("fit", "fit a spline to columns of a CSV file", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("file", o->file, "CSV file (- is standard input)")->required();
  app.add_option("--x", o->x, "column of the break points, by name or number from 1")->required();
  app.add_option("--y", o->y, "columns of values; several are fitted at once")->required()->delimiter(',');
  app.add_option("--spline", o->spline,
                 "natural, akima, bessel, hyman, hermite, second, linear, quadratic, "
                 "subbotin, step or step-left")
      ->capture_default_str();
  app.add_option("--boundary", o->boundary,
                 "free, not-a-knot, periodic, none, slopes=L,R, curvatures=L,R, slope-curvature=L,R, "
                 "curvature-slope=L,R, or middle=V");
  app.add_option("--inner", o->inner, "column of given slopes (hermite) or second derivatives (second)");
  app.add_option("--at", o->at, "sites to evaluate at, such as 15,25,37.5");
  app.add_option("--grid", o->grid, "this many sites evenly over the data")->check(CLI::Range(1, 100000000));
  app.add_option("--derivatives", o->derivatives, "also derivatives up to this one")
      ->check(CLI::Range(0, 10));
  app.add_option("--integrate", o->integrate, "limits of an integral, such as 0,100");
  app.add_option("--svg", o->svg, "file for a picture of data and spline");
  app.add_option("--threads", o->threads, "threads to use at most; 0 is all")->check(CLI::Range(0, 1024));
  app.add_flag("--no-header", o->no_header, "the first line is numbers; columns are named 1, 2, ...");
  app.add_flag("--skip-missing", o->skip_missing, "leave out rows with a missing cell");
  app.footer("Values and integrals are printed as CSV, with an empty line between them. Lists that begin "
             "with a minus sign want '=': --at=-1,2.");
  return [o] { run(*o); };
});

} // namespace
} // namespace orv::cli
