#include "cli/plot.h"

#include "frontend/error.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

namespace orv::cli {
namespace {

constexpr double width = 900, height = 560, left = 86, right = 28, top = 58, bottom = 64;
constexpr const char* colours[] = {"#2266aa", "#cc4433", "#228855", "#aa6600", "#7744aa", "#007788"};

// The code point that starts at text[i], or -1 where that is no UTF-8; `length` is set to its bytes.
long code_point(std::string const& text, std::size_t i, std::size_t& length) {
  auto const byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
  unsigned const lead = byte(i);
  length = lead < 0x80                   ? 1
           : lead >= 0xC2 && lead < 0xE0 ? 2
           : lead >= 0xE0 && lead < 0xF0 ? 3
           : lead < 0xF5                 ? 4
                                         : 0;
  if (lead >= 0x80 && lead < 0xC2) length = 0;
  if (length == 0 || i + length > text.size()) return -1;
  if (length == 1) return static_cast<long>(lead);
  long code = static_cast<long>(lead & (0x7Fu >> length));
  for (std::size_t k = 1; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return -1;
    code = code << 6 | (byte(i + k) & 0x3F);
  }
  constexpr long lowest[] = {0, 0, 0x80, 0x800, 0x10000};
  bool const surrogate = code >= 0xD800 && code < 0xE000;
  return code < lowest[length] || surrogate || code > 0x10FFFF ? -1 : code;
}

// Text of XML: a character that XML doesn't have becomes U+FFFD, a byte that is no UTF-8 is taken as Latin-1.
std::string escaped(std::string const& text) {
  constexpr const char* replacement = "\xEF\xBF\xBD";
  std::string out;
  std::size_t length;
  for (std::size_t i = 0; i < text.size(); i += length) {
    long const code = code_point(text, i, length);
    if (code < 0) {
      auto const byte = static_cast<unsigned char>(text[i]);
      length = 1;
      if (byte >= 0xA0)
        out.append({static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))});
      else
        out += replacement;
    } else if (code < 0x20 ? code != '\t'
                           : (code >= 0x7F && code < 0xA0) || code == 0xFFFE || code == 0xFFFF) {
      out += replacement;
    } else if (code == '<') {
      out += "&lt;";
    } else if (code == '>') {
      out += "&gt;";
    } else if (code == '&') {
      out += "&amp;";
    } else {
      out.append(text, i, length);
    }
  }
  return out;
}

// The characters of a text, for the room that it takes.
double characters(std::string const& text) {
  return static_cast<double>(std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

// An axis with ticks at round numbers. It works on numbers times a power of two, so that neither the span of the
// largest numbers overflows nor that of denormals vanishes. Where labels would be long, ticks are counted from
// an origin that the axis' name then tells.
class Axis {
 public:
  Axis(double from, double to, int ticks, double margin) {
    double const largest = std::max(std::fabs(from), std::fabs(to));
    scale_ = largest > 0x1p1000 ? 0x1p-8 : largest < 0x1p-900 && largest > 0 ? 0x1p200 : 1;
    // A step is round in the caller's unit; among denormals, which have no powers of ten, in the scaled one.
    double const unit = scale_ > 1 ? 1 : 1 / scale_;
    double a = from * scale_, b = to * scale_;
    if (!(a < b)) {
      double const room = std::max(std::fabs(a) * 0.1, 0.5);
      a -= room, b += room;
    }
    double const pad = (b - a) * margin;
    low_ = a - pad, high_ = b + pad;
    double const rough = (high_ - low_) / ticks * unit, power = std::pow(10, std::floor(std::log10(rough)));
    double const part = rough / power;
    step_ = power * (part < 1.5 ? 1 : part < 3.5 ? 2 : part < 7.5 ? 5 : 10) / unit;
    double const first = std::max(low_, std::ceil(low_ / step_ - 1e-9) * step_);
    count_ = static_cast<int>(std::floor((high_ - first) / step_ + 1e-9)) + 1;
    double const digits = std::log10(std::max(std::fabs(low_), std::fabs(high_)) / step_);
    origin_ = digits > 7 ? first : 0;
    first_ = first - origin_;
  }
  // Where a number lies, 0 to 1.
  double place(double v) const { return (v * scale_ - low_) / (high_ - low_); }
  // Its name, and what ticks are counted from.
  std::string name(std::string const& text) const {
    if (origin_ == 0) return text;
    return fmt::format("{}{}{:.17g}", text, origin_ < 0 ? " + " : " - ", std::fabs(origin_ / scale_));
  }
  // visit(place, label)
  template <class Visit>
  void each_tick(Visit&& visit) const {
    for (int k = 0; k < count_; ++k) {
      double const v = first_ + k * step_;
      // Ticks like 0.30000000000000004 print as 0.3; a zero has no sign.
      double const shown = std::fabs(v) < step_ * 1e-6 ? 0.0 : v / scale_;
      if (std::isfinite(shown)) visit((v + (origin_ - low_)) / (high_ - low_), fmt::format("{:.8g}", shown));
    }
  }

 private:
  double scale_, low_, high_, step_, origin_, first_;
  int count_;
};

// The picture while it grows.
class Picture {
 public:
  Picture(Axis const& x, Axis const& y) : x_(x), y_(y) {}
  void open(std::string const& title);
  void axes(std::string const& x_label, std::string const& y_label);
  void draw(PlotSeries const& series, const char* colour);
  void legend(std::vector<PlotSeries> const& series);
  std::string finished() { return out_ + "</svg>\n"; }

 private:
  double across(double place) const { return left + place * (width - left - right); }
  double up(double place) const { return height - bottom - place * (height - top - bottom); }
  double px(double x) const { return across(x_.place(x)); }
  double py(double y) const { return up(y_.place(y)); }
  std::string path_of(Points const& points) const;
  template <class... A>
  void add(fmt::format_string<A...> text, A&&... arguments) {
    fmt::format_to(std::back_inserter(out_), text, std::forward<A>(arguments)...);
  }

  Axis const &x_, &y_;
  std::string out_;
};

void Picture::open(std::string const& title) {
  add("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" "
      "font-family=\"Helvetica,Arial,sans-serif\">\n<rect width=\"{0}\" height=\"{1}\" fill=\"#ffffff\"/>\n",
      width, height);
  add("<text x=\"{}\" y=\"32\" font-size=\"18\" fill=\"#222\">{}</text>\n", left, escaped(title));
}

void Picture::axes(std::string const& x_label, std::string const& y_label) {
  add("<g stroke=\"#e4e7eb\" stroke-width=\"1\">\n");
  x_.each_tick([&](double place, std::string const&) {
    add("<line x1=\"{0:.2f}\" y1=\"{1}\" x2=\"{0:.2f}\" y2=\"{2}\"/>\n", across(place), top, height - bottom);
  });
  y_.each_tick([&](double place, std::string const&) {
    add("<line x1=\"{0}\" y1=\"{1:.2f}\" x2=\"{2}\" y2=\"{1:.2f}\"/>\n", left, up(place), width - right);
  });
  add("</g>\n<g font-size=\"12\" fill=\"#555\">\n");
  x_.each_tick([&](double place, std::string const& label) {
    add("<text x=\"{:.2f}\" y=\"{}\" text-anchor=\"middle\">{}</text>\n", across(place), height - bottom + 20,
        label);
  });
  y_.each_tick([&](double place, std::string const& label) {
    add("<text x=\"{}\" y=\"{:.2f}\" text-anchor=\"end\">{}</text>\n", left - 8, up(place) + 4, label);
  });
  add("</g>\n<path d=\"M{0} {1}V{2}H{3}\" fill=\"none\" stroke=\"#888\"/>\n", left, top, height - bottom,
      width - right);
  add("<text x=\"{}\" y=\"{}\" font-size=\"13\" fill=\"#333\" text-anchor=\"middle\">{}</text>\n",
      (left + width - right) / 2, height - 18, escaped(x_.name(x_label)));
  add("<text transform=\"translate(20 {}) rotate(-90)\" font-size=\"13\" fill=\"#333\" "
      "text-anchor=\"middle\">{}</text>\n",
      (top + height - bottom) / 2, escaped(y_.name(y_label)));
}

std::string Picture::path_of(Points const& points) const {
  std::string d;
  bool pen = false;
  for (auto const& [x, y] : points) {
    bool const finite = std::isfinite(x) && std::isfinite(y);
    if (finite) fmt::format_to(std::back_inserter(d), "{}{:.2f} {:.2f}", pen ? 'L' : 'M', px(x), py(y));
    pen = finite;
  }
  return d;
}

void Picture::draw(PlotSeries const& s, const char* colour) {
  std::string const area = path_of(s.shaded);
  if (!area.empty())
    add("<path d=\"{}L{:.2f} {:.2f}L{:.2f} {:.2f}Z\" fill=\"{}\" fill-opacity=\"0.14\"/>\n", area,
        px(s.shaded.back().first), py(0), px(s.shaded.front().first), py(0), colour);
  add("<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"2\" stroke-linejoin=\"round\"/>\n",
      path_of(s.curve), colour);
  double const radius = s.points.size() > 400 ? 1.5 : s.points.size() > 80 ? 2.5 : 3.5;
  auto const dots = [&](Points const& points, double r) {
    for (auto const& [x, y] : points)
      if (std::isfinite(y)) add("<circle cx=\"{:.2f}\" cy=\"{:.2f}\" r=\"{}\"/>\n", px(x), py(y), r);
  };
  add("<g fill=\"{}\" stroke=\"#ffffff\" stroke-width=\"0.8\">\n", colour);
  dots(s.points, radius);
  add("</g>\n<g fill=\"#ffffff\" stroke=\"{}\" stroke-width=\"1.6\">\n", colour);
  dots(s.marks, 4);
  add("</g>\n");
}

void Picture::legend(std::vector<PlotSeries> const& series) {
  double x = width - right;
  for (size_t k = series.size(); k-- > 0;) {
    x -= 34 + 7.2 * characters(series[k].name);
    add("<line x1=\"{:.1f}\" y1=\"46\" x2=\"{:.1f}\" y2=\"46\" stroke=\"{}\" stroke-width=\"3\"/>"
        "<text x=\"{:.1f}\" y=\"50\" font-size=\"12\" fill=\"#333\">{}</text>\n",
        x, x + 18, colours[k % std::size(colours)], x + 23, escaped(series[k].name));
  }
}

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
  Axis const x(x0, x1, 9, 0.02), y(y0, y1, 7, 0.06);
  Picture picture(x, y);
  picture.open(title);
  picture.axes(x_label, y_label);
  for (size_t k = 0; k < series.size(); ++k) picture.draw(series[k], colours[k % std::size(colours)]);
  if (series.size() > 1) picture.legend(series);
  std::ofstream file(path, std::ios::binary);
  file << picture.finished();
  file.close();
  if (!file) throw Error("cannot write the picture to " + path);
}

} // namespace orv::cli
