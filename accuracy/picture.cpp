#include "accuracy/picture.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace orv::accuracy {
namespace {

constexpr double left = 60, top = 40, width = 900, height = 360;
constexpr const char* colours[] = {"#1b6ca8", "#c0392b", "#9aa5ad"}; // LA HA EP

[[gnu::format(printf, 2, 3)]] void add(std::string& text, const char* format, ...) {
  char buffer[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  text += buffer;
}

// Errors from 1/8 ulp on, by powers of two.
struct Vertical {
  double highest; // power of two at the top
  explicit Vertical(Profile const& p) : highest(2) {
    for (auto const& level : p.ulp)
      for (float u : level)
        if (std::isfinite(u) && u > 0) highest = std::max(highest, std::ceil(std::log2(u) + 0.01));
  }
  double at(double ulp) const {
    double const low = -3, power = std::clamp(ulp > 0 ? std::log2(ulp) : low, low, highest);
    return top + height * (1 - (power - low) / (highest - low));
  }
};

double horizontal(Profile const& p, double x, bool single) {
  if (p.low < p.high) return left + width * (x - p.low) / (p.high - p.low);
  auto const order = single ? std::bit_cast<uint32_t>(static_cast<float>(std::fabs(x))) / double(0x7F800000)
                            : std::bit_cast<uint64_t>(std::fabs(x)) / double(0x7FF0000000000000);
  return left + width * (0.5 + 0.5 * std::copysign(order, x));
}

void axes(std::string& svg, Profile const& p, Vertical const& vertical, bool single) {
  for (double power = -3; power <= vertical.highest;
       power += std::max(1.0, std::floor(vertical.highest / 8))) {
    double const y = vertical.at(std::exp2(power));
    add(svg, "<line x1=\"%g\" x2=\"%g\" y1=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>", left, left + width, y, y);
    add(svg, "<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%g</text>\n", left - 6, y + 4, std::exp2(power));
  }
  for (double bound : {1.0, 4.0})
    add(svg, "<line x1=\"%g\" x2=\"%g\" y1=\"%.1f\" y2=\"%.1f\" stroke=\"#444\" stroke-dasharray=\"4 4\"/>\n",
        left, left + width, vertical.at(bound), vertical.at(bound));
  std::vector<double> ticks;
  if (p.low < p.high) {
    for (int i = 0; i <= 8; ++i) ticks.push_back(p.low + (p.high - p.low) * i / 8);
  } else {
    int const most = single ? 38 : 300, step = single ? 19 : 150;
    for (int e = -most; e <= most; e += step)
      for (double sign : {-1.0, 1.0}) ticks.push_back(sign * std::pow(10.0, e));
    ticks.push_back(0);
  }
  for (double x : ticks) {
    double const at = horizontal(p, x, single);
    add(svg, "<line x1=\"%.1f\" x2=\"%.1f\" y1=\"%g\" y2=\"%g\" stroke=\"#ddd\"/>", at, at, top,
        top + height);
    add(svg, "<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%.4g</text>\n", at, top + height + 16, x);
  }
}

// Shades of one colour up to 4 ulp.
std::string shade(double ulp) {
  double const part = std::clamp(ulp / 4, 0.0, 1.0);
  char text[16];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", static_cast<int>(255 - 215 * part),
                static_cast<int>(255 - 190 * std::sqrt(part)), static_cast<int>(255 - 120 * part));
  return text;
}

void map(std::string& svg, Profile const& p, std::size_t level) {
  double const w = width / p.columns, h = height / p.rows;
  for (int row = 0; row < p.rows; ++row)
    for (int c = 0; c < p.columns; ++c) {
      float const u = p.ulp[level][static_cast<std::size_t>(row * p.columns + c)];
      if (u < 0) continue;
      add(svg, "<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"%s\"/>\n", left + c * w,
          top + height - (row + 1) * h, w + 0.1, h + 0.1, shade(u).c_str());
    }
  for (int i = 0; i <= 4; ++i) {
    add(svg, "<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%.4g</text>", left + width * i / 4,
        top + height + 16, p.low + (p.high - p.low) * i / 4);
    add(svg, "<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%.4g</text>\n", left - 6,
        top + height * (1 - i / 4.0) + 4, p.row_low + (p.row_high - p.row_low) * i / 4);
    add(svg,
        "<rect x=\"%g\" y=\"24\" width=\"12\" height=\"12\" fill=\"%s\"/><text x=\"%g\" y=\"34\">%d "
        "ulp</text>\n",
        left + width - 300 + 60 * i, shade(i).c_str(), left + width - 284 + 60 * i, i);
  }
}

} // namespace

std::string picture(Profile const& p, std::string const& title, char type, Level map_level) {
  bool const single = type == 's' || type == 'c';
  std::string svg;
  add(svg,
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%g\" height=\"%g\" font-family=\"sans-serif\" "
      "font-size=\"11\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n",
      left + width + 30, top + height + 40);
  add(svg, "<text x=\"%g\" y=\"20\" font-size=\"14\">%s</text>\n", left, title.c_str());
  if (p.rows > 1) {
    map(svg, p, static_cast<std::size_t>(map_level));
  } else {
    Vertical const vertical(p);
    axes(svg, p, vertical, single);
    for (std::size_t level : {2, 0, 1}) {
      std::string path;
      for (int c = 0; c < p.columns; ++c) {
        double const u = p.ulp[level][static_cast<std::size_t>(c)];
        if (u < 0) continue;
        add(path, "M%.1f %.1fh1.2", left + (c + 0.5) * width / p.columns, vertical.at(u));
      }
      if (!path.empty())
        svg += "<path stroke=\"" + std::string(colours[level]) + "\" stroke-width=\"2\" fill=\"none\" d=\"" +
               path + "\"/>\n";
      double const x = left + width - 180 + 60 * static_cast<double>(level);
      add(svg,
          "<rect x=\"%g\" y=\"24\" width=\"10\" height=\"10\" fill=\"%s\"/><text x=\"%g\" "
          "y=\"33\">%s</text>\n",
          x, colours[level], x + 14, std::string(level_name(static_cast<Level>(level))).c_str());
    }
    add(svg, "<text x=\"%g\" y=\"33\" fill=\"#666\">largest error in each column, ulp</text>\n", left);
  }
  return svg + "</svg>\n";
}

} // namespace orv::accuracy
