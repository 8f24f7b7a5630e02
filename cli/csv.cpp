#include "cli/csv.h"

#include "cli/command.h"
#include "frontend/error.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iostream>
#include <limits>
#include <utility>

namespace orv::cli {
namespace {

std::string trimmed(std::string const& s) {
  auto const first = s.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

bool is_missing(std::string const& cell) {
  return cell.empty() || cell == "NA" || cell == "NaN" || cell == "nan" || cell == ".";
}

bool is_number(std::string const& cell) {
  try {
    parse_number(cell, "");
    return true;
  } catch (Error const&) {
    return false;
  }
}

// A list that a message can hold.
std::string shortened(std::string const& text) {
  return text.size() <= 400 ? text : text.substr(0, 400) + "...";
}

} // namespace

std::string csv_cell(std::string const& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos && trimmed(text) == text) return text;
  std::string cell = "\"";
  for (char const c : text) cell.append(c == '"' ? 2 : 1, c);
  return cell + '"';
}

CsvReader::CsvReader(std::string path, bool header) : path_(std::move(path)) {
  open();
  if (!split())
    throw Error(fmt::format("{}: is empty; {} wanted", path_,
                            header ? "a header line with column names is" : "rows of numbers are"));
  columns_ = cells_;
  if (header) {
    tell_numbers_as_names();
    return;
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) columns_[i] = std::to_string(i + 1);
  first_row_is_split_ = true;
}

void CsvReader::open() {
  if (path_ == "-") {
    in_ = &std::cin;
    return;
  }
  std::error_code ignored;
  if (std::filesystem::is_directory(path_, ignored))
    throw Error(fmt::format("{}: is a directory, not a file that can be read", path_));
  file_.open(path_, std::ios::binary);
  if (!file_) throw Error(fmt::format("{}: cannot be read", path_));
  in_ = &file_;
  file_.seekg(0, std::ios::end);
  auto const size = file_.tellg();
  file_.clear(); // a pipe has no size
  if (size > 0) {
    size_ = static_cast<double>(size);
    file_.seekg(0);
  }
}

// A file without a header line would lose its first row without a word.
void CsvReader::tell_numbers_as_names() const {
  bool any = false;
  for (std::string const& name : columns_) {
    if (is_missing(name)) continue;
    if (!is_number(name)) return;
    any = true;
  }
  if (any)
    fmt::print(stderr, "{}: the first line, {}, was taken as column names; --no-header takes it as numbers\n",
               path_, shortened(fmt::format("{}", fmt::join(columns_, ","))));
}

// Takes the next line apart.
bool CsvReader::split() {
  if (!std::getline(*in_, text_)) {
    if (in_->bad()) throw Error(fmt::format("{}: reading failed behind line {}", path_, line_));
    return false;
  }
  bytes_ += static_cast<double>(text_.size() + 1);
  if (++line_ == 1) {
    if (text_.starts_with("\xFF\xFE") || text_.starts_with("\xFE\xFF"))
      throw Error(fmt::format("{}: is UTF-16 text; UTF-8 is wanted", path_));
    if (text_.starts_with("\xEF\xBB\xBF")) text_.erase(0, 3);
  }
  cells_.clear();
  std::string cell;
  bool quoted = false;
  for (std::size_t i = 0; i < text_.size(); ++i) {
    char const c = text_[i];
    if (quoted) {
      if (c != '"')
        cell += c;
      else if (i + 1 < text_.size() && text_[i + 1] == '"')
        cell += text_[++i];
      else
        quoted = false;
    } else if (c == '"') {
      quoted = true;
    } else if (c == ',') {
      cells_.push_back(trimmed(cell));
      cell.clear();
    } else {
      cell += c;
    }
  }
  if (quoted) throw Error(fmt::format("{}: a quote is not closed", where()));
  cells_.push_back(trimmed(cell));
  return true;
}

int CsvReader::column(std::string const& name) const {
  for (std::size_t i = 0; i < columns_.size(); ++i)
    if (columns_[i] == name) return static_cast<int>(i);
  if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos && name.size() < 6) {
    int const number = std::stoi(name);
    if (number >= 1 && number <= static_cast<int>(columns_.size())) return number - 1;
  }
  throw Error(fmt::format("{}: there is no column '{}'; there are: {}", path_, name,
                          shortened(fmt::format("{}", fmt::join(columns_, ", ")))));
}

bool CsvReader::row(std::vector<int> const& wanted, std::vector<double>& values) {
  do
    if (!std::exchange(first_row_is_split_, false) && !split()) return false;
  while (cells_.size() == 1 && cells_[0].empty() && columns_.size() > 1);
  if (cells_.size() != columns_.size())
    throw Error(
        fmt::format("{}: {} cells where the first line has {}", where(), cells_.size(), columns_.size()));
  values.resize(wanted.size());
  missing_.assign(wanted.size(), false);
  for (std::size_t k = 0; k < wanted.size(); ++k) {
    std::string const& cell = cells_[static_cast<std::size_t>(wanted[k])];
    if (is_missing(cell)) {
      missing_[k] = true;
      values[k] = std::numeric_limits<double>::quiet_NaN();
    } else {
      values[k] = parse_number(
          cell, fmt::format("{}, column {}", where(), columns_[static_cast<std::size_t>(wanted[k])]));
    }
  }
  return true;
}

std::vector<std::vector<double>> read_columns(std::string const& path, std::vector<std::string> const& names,
                                              bool skip_missing, bool header) {
  CsvReader reader(path, header);
  std::vector<int> wanted;
  for (std::string const& name : names) wanted.push_back(reader.column(name));
  std::vector<std::vector<double>> columns(names.size());
  std::vector<double> row;
  while (reader.row(wanted, row)) {
    bool skip = false;
    for (std::size_t k = 0; k < wanted.size(); ++k) {
      if (!reader.missing(k)) continue;
      if (!skip_missing)
        throw Error(fmt::format("{}: the cell of column {} is missing; --skip-missing leaves such rows out",
                                reader.where(), reader.columns()[static_cast<std::size_t>(wanted[k])]));
      skip = true;
    }
    if (skip) continue;
    for (std::size_t k = 0; k < wanted.size(); ++k) columns[k].push_back(row[k]);
  }
  return columns;
}

} // namespace orv::cli
