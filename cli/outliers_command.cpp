// orv outliers: rows of a CSV file that don't belong to the others.
#include "cli/command.h"
#include "cli/csv.h"
#include "cli/statistics_plot.h"

#include <cmath>
#include <fmt/format.h>
#include <memory>

namespace orv::cli {
namespace {

struct Options {
  std::string file, svg;
  std::vector<std::string> columns;
  double alpha = 0;
  bool robust = false, skip_missing = false, csv = false, no_header = false;
  int threads = 0;
};

void run(Options const& o) {
  // Rows with their numbers, which missing cells leave gaps in.
  CsvReader reader(o.file, !o.no_header);
  std::vector<std::string> names = o.columns.empty() ? reader.columns() : o.columns;
  std::vector<int> wanted;
  for (std::size_t j = 0; j < names.size(); ++j)
    wanted.push_back(o.columns.empty() ? static_cast<int>(j) : reader.column(names[j]));
  Columns columns(names.size());
  std::vector<long> numbers;
  std::vector<double> row;
  long skipped = 0;
  for (long number = 1; reader.row(wanted, row); ++number) {
    bool missing = false;
    for (std::size_t k = 0; k < wanted.size(); ++k) {
      if (!reader.missing(k)) continue;
      if (!o.skip_missing)
        throw Error(fmt::format("{}: the cell of column {} is missing; --skip-missing leaves such rows out",
                                reader.where(), names[k]));
      missing = true;
    }
    if (missing) {
      ++skipped;
      continue;
    }
    for (std::size_t k = 0; k < row.size(); ++k) {
      if (std::isnan(row[k]))
        throw Error(fmt::format("{}: the cell of column {} is no number", reader.where(), names[k]));
      columns[k].push_back(row[k]);
    }
    numbers.push_back(number);
  }
  if (numbers.empty()) throw Error(fmt::format("{}: there are no rows", o.file));
  if (skipped) fmt::print(stderr, "{}: {} rows with missing cells are left out\n", o.file, skipped);

  RobustFit const fit = robust_fit(columns, o.threads);
  std::vector<bool> flags;
  if (o.robust) {
    double const share = o.alpha > 0 ? o.alpha : 0.025,
                 cut = std::sqrt(chi_square_quantile(static_cast<double>(names.size()), 1 - share));
    for (double const d : fit.distances) flags.push_back(d > cut);
  } else {
    flags = find_outliers(columns, o.alpha, o.threads);
  }
  std::string const separator = o.csv ? "," : "  ";
  fmt::print("row{}distance", separator);
  for (std::string const& name : names) fmt::print("{}{}", separator, o.csv ? csv_cell(name) : name);
  fmt::print("\n");
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (!flags[i]) continue;
    fmt::print("{}{}{:.6g}", numbers[i], separator, fit.distances[i]);
    for (auto const& column : columns) fmt::print("{}{}", separator, column[i]);
    fmt::print("\n");
  }
  if (!o.svg.empty()) {
    if (columns.size() < 2) throw Error("the picture shows two columns");
    Columns const two(columns.begin(), columns.begin() + 2);
    scatter_plot(two, names, robust_fit(two, o.threads)).write(o.svg);
  }
}

Command const outliers(
    "outliers", "find rows of a CSV file that don't belong to the others",
    [](CLI::App& app) -> std::function<void()> {
      auto o = std::make_shared<Options>();
      app.add_option("file", o->file, "CSV file with a header line; - is standard input")->required();
      app.add_option("--columns", o->columns, "columns by name or number; all if not given")->delimiter(',');
      app.add_option("--alpha", o->alpha, "share of clean rows that may be flagged; 0.05 / rows if not given")
          ->check(CLI::Range(0.0, 1.0));
      app.add_flag("--robust", o->robust,
                   "by distances of the robust covariance, with alpha 0.025 if not given");
      app.add_option("--threads", o->threads, "threads at most; 0 for all processors")
          ->check(CLI::Range(0, 1024));
      app.add_option("--svg", o->svg, "draw the first two columns with their robust ellipse to this file");
      app.add_flag("--no-header", o->no_header, "the first line is numbers; columns are named 1, 2, ...");
      app.add_flag("--skip-missing", o->skip_missing, "leave rows with a missing cell out");
      app.add_flag("--csv", o->csv, "print CSV");
      app.footer("Rows are counted from 1. A clean subset is grown from the rows nearest to the medians; "
                 "--robust takes\n"
                 "distances from a robust covariance instead, which small data sets need.");
      return [o] { run(*o); };
    });

} // namespace
} // namespace orv::cli
