// orv functions: what there is, by family and type.
#include "cli/command.h"
#include "frame/functions.h"

#include <fmt/format.h>
#include <map>
#include <vector>

namespace orv::cli {
namespace {

constexpr const char* form_text(Form form) {
  switch (form) {
  case Form::unary:
  case Form::real_to_complex:
  case Form::complex_to_real:
    return "x -> r";
  case Form::binary:
    return "x, y -> r";
  case Form::two_results:
    return "x -> r1, r2";
  case Form::scalar:
    return "x, scalar y -> r";
  case Form::linear_frac:
    return "x, y, four scalars -> r";
  case Form::pack:
    return "copy between dense and strided, masked or indexed";
  }
  return "";
}

Command const command("functions", "list the element-wise functions by family and type", [](CLI::App&) {
  return [] {
    std::vector<std::string_view> families;
    for (Function const& f : functions)
      if (std::ranges::find(families, f.family) == families.end()) families.push_back(f.family);
    for (std::string_view family : families) {
      fmt::print("{}\n", family);
      std::vector<std::string_view> names;
      std::map<std::string_view, std::pair<std::string, Form>> rows;
      for (Function const& f : functions) {
        if (f.family != family) continue;
        if (!rows.contains(f.name)) names.push_back(f.name);
        auto& row = rows[f.name];
        row.first += row.first.empty() ? "" : " ";
        row.first += f.type;
        row.second = f.form;
      }
      for (std::string_view name : names)
        fmt::print("  {:<12} {:<8} {}\n", name, rows[name].first, form_text(rows[name].second));
    }
  };
});

} // namespace
} // namespace orv::cli
