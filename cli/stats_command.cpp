// orv stats: moments and extremes of the columns of a CSV file, block by block, so that the file may be
// larger than memory.
#include "cli/command.h"
#include "cli/csv.h"
#include "cli/statistics_plot.h"
#include "frontend/robust.h"
#include "frontend/summary.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <iterator>
#include <memory>

namespace orv::cli {
namespace {

struct Options {
  std::string file, method = "one-pass", weights, svg;
  std::vector<std::string> columns;
  std::vector<double> quantiles;
  double epsilon = 0;
  bool covariance = false, correlation = false, skip_missing = false, csv = false, no_header = false;
  bool mad = false, robust = false;
  int block = 16384, threads = 0;

  // What is made of whole columns.
  bool wants_columns() const { return (!quantiles.empty() && epsilon == 0) || mad || robust || !svg.empty(); }
};

// Reads the file in blocks of complete rows.
class Blocks {
 public:
  Blocks(Options const& o) : options_(o), reader_(o.file, !o.no_header) {
    int const weight = o.weights.empty() ? -1 : reader_.column(o.weights);
    if (o.columns.empty()) {
      for (int k = 0; k < static_cast<int>(reader_.columns().size()); ++k)
        if (k != weight) wanted_.push_back(k);
    } else {
      for (std::string const& name : o.columns) wanted_.push_back(reader_.column(name));
    }
    if (wanted_.empty()) throw Error(o.file + ": there is no column beside the weights");
    columns_ = wanted_.size();
    if (weight >= 0) wanted_.push_back(weight);
  }

  // False at the end. The block has values() and, if asked for, weights() of count() observations.
  bool next(Progress& progress) {
    values_.clear();
    weights_.clear();
    count_ = 0;
    while (count_ < options_.block && reader_.row(wanted_, row_)) {
      if (missing()) {
        ++skipped_;
        continue;
      }
      values_.insert(values_.end(), row_.begin(), row_.begin() + static_cast<long>(columns_));
      if (row_.size() > columns_) {
        if (!(row_.back() >= 0))
          throw Error(fmt::format("{}: the weight {} is below 0", reader_.where(), row_.back()));
        weights_.push_back(row_.back());
      }
      ++count_;
    }
    progress.update(reader_.bytes_read());
    return count_ > 0;
  }

  double size() const { return reader_.size(); } // bytes; 0 where it isn't known
  int columns() const { return static_cast<int>(columns_); }
  std::string const& name(int j) const {
    return reader_.columns()[static_cast<std::size_t>(wanted_[static_cast<std::size_t>(j)])];
  }
  int count() const { return count_; }
  long skipped() const { return skipped_; }
  double const* values() const { return values_.data(); }
  double const* weights() const { return weights_.empty() ? nullptr : weights_.data(); }

 private:
  bool missing() const {
    for (std::size_t k = 0; k < wanted_.size(); ++k) {
      if (!reader_.missing(k)) continue;
      if (!options_.skip_missing)
        throw Error(fmt::format("{}: the cell of column {} is missing; --skip-missing leaves such rows out",
                                reader_.where(), name(static_cast<int>(k))));
      return true;
    }
    return false;
  }

  Options const& options_;
  CsvReader reader_;
  std::vector<int> wanted_;
  std::size_t columns_ = 0;
  std::vector<double> values_, weights_, row_;
  int count_ = 0;
  long skipped_ = 0;
};

Summary::Method method_of(std::string const& name) {
  return name == "fast" ? Summary::Method::fast
                        : (name == "one-pass" ? Summary::Method::one_pass : Summary::Method::user_mean);
}

// Goes over the file once; the column names and how many rows were left out come along.
struct Pass {
  std::unique_ptr<Summary> summary;
  std::vector<std::string> names;
  long skipped = 0;
  Columns columns;                         // if they are wanted, or few enough for exact quantiles
  std::unique_ptr<StreamQuantiles> stream; // with an error bound
};

// Columns are kept where something needs them; beside a stream of quantiles, as long as its bound doesn't hold.
class Keeper {
 public:
  Keeper(Options const& o, Pass& pass, int columns) : options_(o), pass_(pass) {
    if (!o.quantiles.empty() && o.epsilon > 0)
      pass.stream = std::make_unique<StreamQuantiles>(columns, o.quantiles, o.epsilon, o.threads);
    if (pass.stream || o.wants_columns()) pass.columns.resize(static_cast<std::size_t>(columns));
  }
  void add(double const* rows, int count) {
    std::size_t const p = pass_.columns.size();
    if (pass_.stream) pass_.stream->add(rows, count);
    for (std::size_t i = 0; i < static_cast<std::size_t>(count) && p > 0; ++i)
      for (std::size_t j = 0; j < p; ++j) pass_.columns[j].push_back(rows[i * p + j]);
    if (pass_.stream && p > 0 && !options_.wants_columns() &&
        static_cast<double>(pass_.columns[0].size()) > 32 / options_.epsilon)
      pass_.columns = {}; // from here on the stream's bound holds
  }

 private:
  Options const& options_;
  Pass& pass_;
};

Pass go_over(Options const& o, Summary::Options options, const char* what) {
  Blocks blocks(o);
  Progress progress(what, blocks.size());
  options.threads = o.threads;
  Pass pass{std::make_unique<Summary>(blocks.columns(), std::move(options)), {}, 0, {}, nullptr};
  Keeper keeper(o, pass, blocks.columns());
  while (blocks.next(progress)) {
    pass.summary->add(blocks.values(), blocks.count(), blocks.weights());
    keeper.add(blocks.values(), blocks.count());
  }
  for (int j = 0; j < blocks.columns(); ++j) pass.names.push_back(blocks.name(j));
  pass.skipped = blocks.skipped();
  return pass;
}

std::string number(Options const& o, double x) {
  return o.csv ? fmt::format("{}", shown(x)) : fmt::format("{:.10g}", shown(x));
}

// A table of `rows` by `columns` cells that are made when they are needed: twice, for their widths and for the
// output, as a matrix of all its texts may be larger than memory.
template <class Cell>
void print_table(Options const& o, std::size_t rows, std::size_t columns, Cell cell) {
  std::vector<std::size_t> widths(columns, 0);
  for (std::size_t i = 0; i < rows && !o.csv; ++i)
    for (std::size_t j = 0; j < columns; ++j) widths[j] = std::max(widths[j], cell(i, j).size());
  fmt::memory_buffer line;
  auto const out = std::back_inserter(line);
  for (std::size_t i = 0; i < rows; ++i) {
    line.clear();
    for (std::size_t j = 0; j < columns; ++j) {
      if (o.csv)
        fmt::format_to(out, "{}{}", j ? "," : "", csv_cell(cell(i, j)));
      else if (j == 0)
        fmt::format_to(out, "{:<{}}", cell(i, j), widths[j]);
      else
        fmt::format_to(out, "  {:>{}}", cell(i, j), widths[j]);
    }
    line.push_back('\n');
    if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size())
      throw Error("writing the output failed");
  }
}

template <class Value>
void print_matrix(Options const& o, std::vector<std::string> const& names, const char* title, Value value) {
  fmt::print("\n");
  print_table(o, names.size() + 1, names.size() + 1, [&](std::size_t i, std::size_t j) {
    if (i == 0 || j == 0) return i + j == 0 ? std::string(title) : names[i + j - 1];
    return number(o, value(static_cast<int>(i - 1), static_cast<int>(j - 1)));
  });
}

// Quantiles by the stream where its bound holds, exact ones else.
Columns quantiles_of(Options const& o, Pass const& pass) {
  if (!pass.columns.empty()) return quantiles(pass.columns, o.quantiles, o.threads);
  return pass.stream->report();
}

void print_robust(Options const& o, Pass const& pass) {
  Columns const quartiles = o.quantiles.empty() ? Columns{} : quantiles_of(o, pass);
  if (!quartiles.empty() || o.mad) {
    std::vector<double> const deviations =
        o.mad ? median_deviations(pass.columns, o.threads) : std::vector<double>{};
    std::size_t const m = quartiles.empty() ? 0 : o.quantiles.size();
    fmt::print("\n");
    print_table(o, pass.names.size() + 1, 1 + m + o.mad, [&](std::size_t i, std::size_t j) -> std::string {
      if (j == 0) return i == 0 ? "column" : pass.names[i - 1];
      if (j <= m)
        return i == 0 ? fmt::format("q{:g}", o.quantiles[j - 1]) : number(o, quartiles[i - 1][j - 1]);
      return i == 0 ? "mad" : number(o, deviations[i - 1]);
    });
  }
  if (!o.robust) return;
  RobustFit const fit = robust_fit(pass.columns, o.threads);
  std::size_t const p = pass.names.size();
  fmt::print("\n");
  print_table(o, p + 1, 2, [&](std::size_t i, std::size_t j) -> std::string {
    if (i == 0) return j == 0 ? "robust" : "location";
    return j == 0 ? pass.names[i - 1] : number(o, fit.location[i - 1]);
  });
  print_matrix(o, pass.names, "robust covariance", [&](int i, int j) {
    return fit.covariance[static_cast<std::size_t>(i) * p + static_cast<std::size_t>(j)];
  });
}

void draw(Options const& o, Pass const& pass) {
  if (o.svg.empty()) return;
  if (o.robust && pass.columns.size() > 1) {
    Columns const two(pass.columns.begin(), pass.columns.begin() + 2);
    scatter_plot(two, {pass.names[0], pass.names[1]}, robust_fit(two, o.threads)).write(o.svg);
  } else {
    box_plot(pass.columns, pass.names, quantiles(pass.columns, {0.25, 0.5, 0.75}, o.threads)).write(o.svg);
  }
}

void run(Options const& o) {
  if (o.epsilon > 0 && o.quantiles.empty())
    throw Error("--stream-epsilon bounds the error of --quantiles: name some");
  if (!o.weights.empty() && (!o.quantiles.empty() || o.mad || o.robust || !o.svg.empty()))
    throw Error("quantiles, deviations and robust estimates take no weights");
  Summary::Options options{
      .method = method_of(o.method), .covariance = o.covariance, .correlation = o.correlation};
  if (options.method == Summary::Method::user_mean) {
    if (o.file == "-")
      throw Error("the user-mean method goes over the file twice; standard input can be read once");
    Options moments = o; // nothing else on the way
    moments.quantiles.clear();
    moments.mad = moments.robust = false;
    moments.svg.clear();
    Pass const first = go_over(moments, {}, "means");
    for (int j = 0; j < first.summary->columns(); ++j) options.mean.push_back(first.summary->mean(j));
  }
  Pass const pass = go_over(o, options, "statistics");
  Summary const& s = *pass.summary;
  if (s.count() == 0) throw Error(fmt::format("{}: there are no rows to summarize", o.file));
  if (!o.weights.empty() && s.weight() == 0) throw Error(fmt::format("{}: all weights are 0", o.file));
  if (pass.skipped) fmt::print(stderr, "{}: {} rows with missing cells are left out\n", o.file, pass.skipped);

  std::vector<std::vector<std::string>> lines{
      {"column", "count", "mean", "sd", "skewness", "kurtosis", "min", "max"}};
  for (int j = 0; j < s.columns(); ++j)
    lines.push_back({pass.names[static_cast<std::size_t>(j)], fmt::format("{}", s.count()),
                     number(o, s.mean(j)), number(o, s.deviation(j)), number(o, s.skewness(j)),
                     number(o, s.kurtosis(j)), number(o, s.minimum(j)), number(o, s.maximum(j))});
  print_table(o, lines.size(), lines[0].size(), [&](std::size_t i, std::size_t j) { return lines[i][j]; });
  if (o.covariance)
    print_matrix(o, pass.names, "covariance", [&](int i, int j) { return s.covariance(i, j); });
  if (o.correlation)
    print_matrix(o, pass.names, "correlation", [&](int i, int j) { return s.correlation(i, j); });
  print_robust(o, pass);
  draw(o, pass);
}

Command const
    stats("stats", "summarize the columns of a CSV file", [](CLI::App& app) -> std::function<void()> {
      auto o = std::make_shared<Options>();
      app.add_option("file", o->file, "CSV file with a header line; - is standard input")->required();
      app.add_option("--columns", o->columns, "columns by name or number; all if not given")->delimiter(',');
      app.add_option("--weights", o->weights, "column that holds the weights");
      app.add_option("--method", o->method, "fast, one-pass or user-mean (two passes over the file)")
          ->check(CLI::IsMember({"fast", "one-pass", "user-mean"}))
          ->capture_default_str();
      app.add_option("--block", o->block, "observations held in memory at a time")
          ->check(CLI::Range(1, 1 << 26))
          ->capture_default_str();
      app.add_option("--threads", o->threads, "threads at most; 0 for all processors")
          ->check(CLI::Range(0, 1024));
      app.add_flag("--cov", o->covariance, "print the covariance matrix");
      app.add_flag("--cor", o->correlation, "print the correlation matrix");
      app.add_option("--quantiles", o->quantiles, "orders from 0 to 1, as 0.1,0.5: quantiles of each column")
          ->delimiter(',')
          ->check(CLI::Range(0.0, 1.0));
      app.add_option(
             "--stream-epsilon", o->epsilon,
             "quantiles in one pass, for files larger than memory: of n rows, ranks within this share of n")
          ->check(CLI::Range(1e-6, 1.0));
      app.add_flag("--mad", o->mad, "median absolute deviation of each column");
      app.add_flag("--robust", o->robust, "location and covariance that outliers don't move");
      app.add_option(
          "--svg", o->svg,
          "draw box plots to this file; with --robust the first two columns, their ellipse and outliers");
      app.add_flag("--no-header", o->no_header, "the first line is numbers; columns are named 1, 2, ...");
      app.add_flag("--skip-missing", o->skip_missing, "leave rows with a missing cell out");
      app.add_flag("--csv", o->csv, "print CSV with all digits");
      app.footer(
          "sd has n - 1 below the line. skewness is the third central moment over sd^3, kurtosis the fourth\n"
          "over sd^4, less 3. mad has no factor: times 1.4826 it is the sd of normal data. Quantiles lie on "
          "straight\n"
          "lines between sorted values (R's type 7); --stream-epsilon takes exact ones up to 32 / epsilon "
          "rows.");
      return [o] { run(*o); };
    });

} // namespace
} // namespace orv::cli
