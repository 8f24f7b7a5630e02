#include "cli/plot.h"

#include "frontend/error.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <fstream>

namespace orv::cli {
namespace {

constexpr double width = 900, height = 560, left = 86, right = 28, top = 58, bottom = 64;
constexpr const char* colours[] = {"#2266aa", "#cc4433", "#228855", "#aa6600", "#7744aa", "#007788"};

std::string escaped(std::string const& text) {
  std::string out;
  for (char const c : text) {
    if (c == '<')
      out += "&lt;";
    else if (c == '&')
      out += "&amp;";
    else
      out += c;
  }
  return out;
}

// An axis with ticks at round numbers.
struct Axis {
  double low, high, step;
  Axis(double a, double b, int ticks) {
    if (!(a < b)) {
      double const room = std::max(std::fabs(a) * 0.1, 0.5);
      a -= room, b += room;
    }
    double const rough = (b - a) / ticks, power = std::pow(10, std::floor(std::log10(rough)));
    double const part = rough / power;
    step = power * (part < 1.5 ? 1 : part < 3.5 ? 2 : part < 7.5 ? 5 : 10);
    low = a, high = b;
  }
  template <class Visit>
  void each_tick(Visit&& visit) const {
    for (double k = std::ceil(low / step - 1e-9); k * step <= high + 1e-9 * step; ++k) visit(k * step);
  }
};

} // namespace

void Plot::write(std::string const& path) const {
  double x0 = INFINITY, x1 = -INFINITY, y0 = INFINITY, y1 = -INFINITY;
  auto widen = [&](Points const& points) {
    for (auto const& [x, y] : points) {
      if (!std::isfinite(x) || !std::isfinite(y)) continue;
      x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
    }
  };
  for (auto const& s : series) {
    widen(s.curve), widen(s.points), widen(s.marks);
    if (!s.shaded.empty()) y0 = std::min(y0, 0.0), y1 = std::max(y1, 0.0);
  }
  if (!(x0 <= x1)) throw Error("there is nothing finite to draw");
  double const pad_x = (x1 - x0) * 0.02, pad_y = (y1 - y0) * 0.06;
  Axis const ax(x0 - pad_x, x1 + pad_x, 9), ay(y0 - pad_y, y1 + pad_y, 7);
  auto px = [&](double x) { return left + (x - ax.low) / (ax.high - ax.low) * (width - left - right); };
  auto py = [&](double y) {
    return height - bottom - (y - ay.low) / (ay.high - ay.low) * (height - top - bottom);
  };

  std::string out = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" "
      "font-family=\"Helvetica,Arial,sans-serif\">\n<rect width=\"{0}\" height=\"{1}\" fill=\"#ffffff\"/>\n",
      width, height);
  out +=
      fmt::format("<text x=\"{}\" y=\"32\" font-size=\"18\" fill=\"#222\">{}</text>\n", left, escaped(title));
  out += "<g stroke=\"#e4e7eb\" stroke-width=\"1\">\n";
  ax.each_tick([&](double v) {
    out += fmt::format("<line x1=\"{0:.2f}\" y1=\"{1}\" x2=\"{0:.2f}\" y2=\"{2}\"/>\n", px(v), top,
                       height - bottom);
  });
  ay.each_tick([&](double v) {
    out += fmt::format("<line x1=\"{0}\" y1=\"{1:.2f}\" x2=\"{2}\" y2=\"{1:.2f}\"/>\n", left, py(v),
                       width - right);
  });
  out += "</g>\n<g font-size=\"12\" fill=\"#555\">\n";
  // Ticks like 0.30000000000000004 print as 0.3; a zero has no sign.
  auto label = [](double v, double step) {
    return fmt::format("{:.6g}", std::fabs(v) < step * 1e-6 ? 0.0 : v);
  };
  ax.each_tick([&](double v) {
    out += fmt::format("<text x=\"{:.2f}\" y=\"{}\" text-anchor=\"middle\">{}</text>\n", px(v),
                       height - bottom + 20, label(v, ax.step));
  });
  ay.each_tick([&](double v) {
    out += fmt::format("<text x=\"{}\" y=\"{:.2f}\" text-anchor=\"end\">{}</text>\n", left - 8, py(v) + 4,
                       label(v, ay.step));
  });
  out += fmt::format("</g>\n<path d=\"M{0} {1}V{2}H{3}\" fill=\"none\" stroke=\"#888\"/>\n", left, top,
                     height - bottom, width - right);
  out +=
      fmt::format("<text x=\"{}\" y=\"{}\" font-size=\"13\" fill=\"#333\" text-anchor=\"middle\">{}</text>\n",
                  (left + width - right) / 2, height - 18, escaped(x_label));
  out += fmt::format("<text transform=\"translate(20 {}) rotate(-90)\" font-size=\"13\" fill=\"#333\" "
                     "text-anchor=\"middle\">{}</text>\n",
                     (top + height - bottom) / 2, escaped(y_label));

  auto path_of = [&](Points const& points) {
    std::string d;
    bool pen = false;
    for (auto const& [x, y] : points) {
      bool const finite = std::isfinite(x) && std::isfinite(y);
      if (finite) d += fmt::format("{}{:.2f} {:.2f}", pen ? 'L' : 'M', px(x), py(y));
      pen = finite;
    }
    return d;
  };
  for (size_t k = 0; k < series.size(); ++k) {
    auto const& s = series[k];
    const char* const colour = colours[k % std::size(colours)];
    if (!s.shaded.empty())
      out += fmt::format("<path d=\"{}L{:.2f} {:.2f}L{:.2f} {:.2f}Z\" fill=\"{}\" fill-opacity=\"0.14\"/>\n",
                         path_of(s.shaded), px(s.shaded.back().first), py(0), px(s.shaded.front().first),
                         py(0), colour);
    out += fmt::format(
        "<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"2\" stroke-linejoin=\"round\"/>\n",
        path_of(s.curve), colour);
    double const radius = s.points.size() > 400 ? 1.5 : s.points.size() > 80 ? 2.5 : 3.5;
    out += fmt::format("<g fill=\"{}\" stroke=\"#ffffff\" stroke-width=\"0.8\">\n", colour);
    for (auto const& [x, y] : s.points)
      if (std::isfinite(y))
        out += fmt::format("<circle cx=\"{:.2f}\" cy=\"{:.2f}\" r=\"{}\"/>\n", px(x), py(y), radius);
    out += fmt::format("</g>\n<g fill=\"#ffffff\" stroke=\"{}\" stroke-width=\"1.6\">\n", colour);
    for (auto const& [x, y] : s.marks)
      if (std::isfinite(y))
        out += fmt::format("<circle cx=\"{:.2f}\" cy=\"{:.2f}\" r=\"4\"/>\n", px(x), py(y));
    out += "</g>\n";
  }
  if (series.size() > 1) {
    double x = width - right;
    for (size_t k = series.size(); k-- > 0;) {
      x -= 34 + 7.2 * static_cast<double>(series[k].name.size());
      out += fmt::format(
          "<line x1=\"{:.1f}\" y1=\"46\" x2=\"{:.1f}\" y2=\"46\" stroke=\"{}\" stroke-width=\"3\"/>"
          "<text x=\"{:.1f}\" y=\"50\" font-size=\"12\" fill=\"#333\">{}</text>\n",
          x, x + 18, colours[k % std::size(colours)], x + 23, escaped(series[k].name));
    }
  }
  out += "</svg>\n";
  std::ofstream file(path);
  file << out;
  file.close();
  if (!file) throw Error("cannot write the picture to " + path);
}

} // namespace orv::cli
