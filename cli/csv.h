// CSV files: a header line of names, then rows of numbers. A cell may be quoted; an empty cell, NA and nan
// are missing values. Errors name file and line.
#pragma once
#include <fstream>
#include <string>
#include <vector>

namespace orv::cli {

// Reads a file row by row, so that it may be larger than memory.
class CsvReader {
 public:
  explicit CsvReader(std::string path); // "-" is standard input; throws Error if it cannot be read
  std::vector<std::string> const& columns() const { return columns_; }
  // The position of a column by its name, or by its number from 1. Throws Error that lists the names.
  int column(std::string const& name_or_number) const;
  // The next row's cells as numbers, NaN where missing (see missing()); false at the end. Only the columns in
  // `wanted` are converted; the row has one value for each, in that order.
  bool row(std::vector<int> const& wanted, std::vector<double>& values);
  // True if the value of the last row at this place of `wanted` was missing.
  bool missing(std::size_t place) const { return missing_[place]; }
  long line() const { return line_; } // of the last row
  std::string const& path() const { return path_; }
  // "file:line", for messages.
  std::string where() const { return path_ + ":" + std::to_string(line_); }
  double fraction_read(); // 0 to 1 where the size is known, else 0

 private:
  bool split();
  std::string path_;
  std::ifstream file_;
  std::istream* in_;
  double size_ = 0;
  std::vector<std::string> columns_, cells_;
  std::vector<bool> missing_;
  std::string text_;
  long line_ = 0;
};

// Whole columns. A missing cell is an error that names file, line and column, unless skip_missing is set:
// then rows with a missing cell in one of the columns are left out.
std::vector<std::vector<double>> read_columns(std::string const& path, std::vector<std::string> const& names,
                                              bool skip_missing = false);

} // namespace orv::cli
