#include "cli/command.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace orv::cli {

double parse_number(std::string const& text, std::string const& where) {
  char* end = nullptr;
  double const value = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size() || std::isspace(static_cast<unsigned char>(text[0])))
    throw Error(fmt::format("{}: '{}' is not a number", where, text));
  if (std::isinf(value) && text.find_first_of("iI") == std::string::npos)
    throw Error(fmt::format("{}: {} is beyond the largest number of double precision", where, text));
  return value;
}

} // namespace orv::cli
