// orv eval: a function over numbers from the command line or columns of a CSV file.
#include "cli/command.h"
#include "cli/csv.h"
#include "frontend/elementwise.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <memory>

namespace orv::cli {
namespace {

struct Options {
  std::string function, type = "d", level = "HA", column, second, scalars;
  std::vector<std::string> values;
  bool skip_missing = false, no_header = false;
};

std::vector<std::string> split_list(std::string const& text) {
  std::vector<std::string> parts(1);
  for (char c : text)
    if (c == ',')
      parts.emplace_back();
    else
      parts.back() += c;
  return parts;
}

std::vector<double> numbers(std::vector<std::string> const& texts, const char* where) {
  std::vector<double> values;
  for (std::string const& text : texts) values.push_back(parse_number(text, where));
  return values;
}

// The operands as columns of numbers; the second is empty where the function has one, and may be one number
// for all elements.
struct Operands {
  std::vector<double> a, b, scalars;
};

std::vector<double> read_scalars(Options const& o, Elementwise const& function) {
  std::string const name(function.function().name);
  if (function.function().form != Form::linear_frac) {
    if (!o.scalars.empty()) throw Error(name + " takes no --scalars");
    return {};
  }
  auto scalars = o.scalars.empty() ? std::vector<double>() : numbers(split_list(o.scalars), "--scalars");
  if (scalars.size() != 4)
    throw Error(fmt::format("{} wants four numbers, --scalars SCALEA,SHIFTA,SCALEB,SHIFTB; there are {}",
                            name, scalars.size()));
  return scalars;
}

Operands read_operands(Options const& o, Elementwise const& function) {
  std::string const name(function.function().name);
  bool const two = function.operands() == 2 || function.scalar_operand();
  Operands x;
  x.scalars = read_scalars(o, function);
  if (!o.second.empty()) x.b = numbers(split_list(o.second), "--with");
  if (!o.column.empty()) {
    if (o.values.size() != 1) throw Error("--column wants one file behind the function's name");
    auto const names = split_list(o.column);
    if (names.size() > 2 || (names.size() == 2 && !o.second.empty()))
      throw Error("more operands are given than " + name + " takes");
    auto columns = read_columns(o.values[0], names, o.skip_missing, !o.no_header);
    x.a = std::move(columns[0]);
    if (names.size() == 2) x.b = std::move(columns[1]);
  } else {
    if (o.values.empty()) throw Error("numbers are wanted, or --column NAME and a file");
    x.a = numbers(o.values, "the command line");
  }
  if (two && x.b.empty())
    throw Error(name + " takes two operands: give the second by --with NUMBERS or --column FIRST,SECOND");
  if (!two && !x.b.empty()) throw Error(name + " takes one operand");
  if (function.scalar_operand() && x.b.size() != 1) {
    throw Error(name + " takes one number as its second operand, not " + std::to_string(x.b.size()));
  }
  if (two && x.b.size() == 1 && !function.scalar_operand()) x.b.resize(x.a.size(), x.b[0]);
  if (two && !function.scalar_operand() && x.b.size() != x.a.size())
    throw Error(fmt::format("{} first operands and {} second operands; the counts must agree", x.a.size(),
                            x.b.size()));
  return x;
}

// Operands in the function's type. A finite number doesn't become infinite without a word.
template <class T>
std::vector<T> typed(std::vector<double> const& values) {
  for (double const v : values)
    if (std::isfinite(v) && !std::isfinite(static_cast<T>(v)))
      throw Error(fmt::format("{} is beyond the largest number of single precision; --type d takes it", v));
  return {values.begin(), values.end()};
}

// Notes stand on standard error, so that the output is numbers only.
void tell_errors(ErrorLog const& log) {
  std::fflush(stdout);
  for (NumericalError const& e : log.errors())
    fmt::print(stderr, "element {}: status {}, {}\n", e.index, e.status, status_text(e.status));
  if (log.left_out()) fmt::print(stderr, "and {} elements more\n", log.left_out());
}

template <class T>
void evaluate(Elementwise const& function, Level level, Operands const& x) {
  std::size_t const n = x.a.size();
  auto const a = typed<T>(x.a), b = typed<T>(x.b), scalars = typed<T>(x.scalars);
  std::vector<T> r1(n), r2(function.results() == 2 ? n : 0);
  ErrorLog log;
  Arrays arrays{.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()};
  if (function.scalar_operand()) arrays.scalars[0] = x.b[0];
  std::copy(scalars.begin(), scalars.end(), arrays.scalars);
  function.call(level, arrays, n);
  constexpr int digits = sizeof(T) == 4 ? 9 : 17;
  for (std::size_t i = 0; i < n; ++i) {
    fmt::print("{:.{}g}", shown(r1[i]), digits);
    if (!r2.empty()) fmt::print(" {:.{}g}", shown(r2[i]), digits);
    fmt::print("\n");
  }
  tell_errors(log);
}

Command const command("eval", "evaluate a function over numbers or columns of a CSV file", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  app.add_option("function", o->function, "name as 'orv functions' lists it, such as Exp")->required();
  app.add_option("values", o->values, "numbers, or the CSV file (- is standard input) with --column");
  app.add_option("--type", o->type, "s (single) or d (double precision)")->capture_default_str();
  app.add_option("--level", o->level, "accuracy: LA, HA or EP")->capture_default_str();
  app.add_option("--column", o->column, "column by name or number from 1; FIRST,SECOND for two operands");
  app.add_option("--with", o->second, "second operand: one number for all, or a list");
  app.add_option("--scalars", o->scalars,
                 "SCALEA,SHIFTA,SCALEB,SHIFTB of LinearFrac: (SCALEA x + SHIFTA) / (SCALEB y + SHIFTB)");
  app.add_flag("--no-header", o->no_header, "the file's first line is numbers, not column names");
  app.add_flag("--skip-missing", o->skip_missing, "leave out rows with a missing cell");
  app.footer("Numerical errors are told on standard error with index, status and text.\n"
             "Negative numbers follow '--': orv eval Exp -- -1 -2.");
  app.allow_extras(false);
  return [o] {
    if (o->type != "s" && o->type != "d")
      throw Error("there is no type '" + o->type + "' here; there are s (single) and d (double precision)");
    Level const level = level_of(o->level);
    auto const function = Elementwise::find(o->type[0], o->function);
    Operands const x = read_operands(*o, function);
    if (o->type == "s")
      evaluate<float>(function, level, x);
    else
      evaluate<double>(function, level, x);
  };
});

} // namespace
} // namespace orv::cli
