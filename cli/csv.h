// CSV files: a header line of names, then rows of numbers. A cell may be quoted; an empty cell, NA and nan
// are missing values. A byte-order mark is left out. Errors name file and line.
#pragma once
#include <fstream>
#include <string>
#include <vector>

namespace orv::cli {

// Reads a file row by row, so that it may be larger than memory.
class CsvReader {
 public:
  // "-" is standard input. Without a header the columns are named by their numbers. Throws Error if the file
  // cannot be read.
  explicit CsvReader(std::string path, bool header = true);
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
  double size() const { return size_; } // in bytes; 0 where it is not known, as of a pipe
  double bytes_read() const { return bytes_; }

 private:
  void open();
  void tell_numbers_as_names() const;
  bool split();
  std::string path_;
  std::ifstream file_;
  std::istream* in_;
  double size_ = 0, bytes_ = 0;
  bool first_row_is_split_ = false; // where there is no header line
  std::vector<std::string> columns_, cells_;
  std::vector<bool> missing_;
  std::string text_;
  long line_ = 0;
};

// Whole columns. A missing cell is an error that names file, line and column, unless skip_missing is set:
// then rows with a missing cell in one of the columns are left out.
std::vector<std::vector<double>> read_columns(std::string const& path, std::vector<std::string> const& names,
                                              bool skip_missing = false, bool header = true);

// A name or text as a cell: quoted where it has to be.
std::string csv_cell(std::string const& text);

} // namespace orv::cli
