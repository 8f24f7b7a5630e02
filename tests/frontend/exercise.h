// The front-end classes and the CSV reader under any bytes, for the fuzz targets and their corpora. An orv::Error is
// a right answer to bad input; what is computed is compared with long double models. Ends the process on a wrong
// result.
#pragma once
#include "cli/csv.h"
#include "frontend/elementwise.h"
#include "frontend/spline.h"
#include "frontend/summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace tools {

inline void expect(bool right, const char* what) {
  if (right) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::abort();
}

// Takes bytes off the front; zeros behind the end.
class Bytes {
 public:
  Bytes(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  template <class T>
  T take() {
    T value{};
    std::size_t const n = std::min(size_, sizeof value);
    if (n) std::memcpy(&value, data_, n);
    data_ += n, size_ -= n;
    return value;
  }
  int below(int end) { return take<uint8_t>() % end; }
  bool flag() { return take<uint8_t>() & 1; }
  // Any double, or a tame one: a multiple of 1/16 up to 2048.
  double real(bool tame) { return tame ? take<int16_t>() / 16.0 : take<double>(); }
  std::vector<double> reals(std::size_t n, bool tame) {
    std::vector<double> values(n);
    for (double& v : values) v = real(tame);
    return values;
  }

 private:
  const uint8_t* data_;
  std::size_t size_;
};

inline void exercise_elementwise(Bytes& in) {
  auto const& listed = orv::functions[in.take<uint16_t>() % std::size(orv::functions)];
  if (listed.type != 's' && listed.type != 'd') return; // arrays of reals below
  auto const function = orv::Elementwise::find(listed.type, std::string(listed.name));
  auto const level = static_cast<orv::Level>(in.below(8) == 7 ? in.take<int8_t>() : in.below(3));
  int const n = in.below(70);
  bool const tame = in.flag();
  int strides[4];
  for (int& s : strides) s = in.below(7) - 3;
  std::size_t const room = 70 * 3 + 1;
  std::vector<double> memory[4];
  for (auto& m : memory) m.assign(room, 0.5);
  auto const raw = in.reals(static_cast<std::size_t>(2 * n), tame);
  orv::Arrays x{.inca = strides[0], .incb = strides[1], .incr1 = strides[2], .incr2 = strides[3]};
  for (double& s : x.scalars) s = in.real(tame);
  bool const lacks = in.below(16) == 0;
  std::size_t const width = listed.type == 's' ? 4 : 8;
  char* base[4];
  for (int k = 0; k < 4; ++k)
    base[k] = reinterpret_cast<char*>(memory[k].data()) +
              (strides[k] < 0 ? static_cast<std::size_t>(std::max(n - 1, 0) * -strides[k]) * width : 0);
  for (int k = 0; k < 2; ++k)
    for (int i = 0; i < n; ++i) {
      auto const at = static_cast<std::ptrdiff_t>(i) * strides[k] * static_cast<std::ptrdiff_t>(width);
      double const v = raw[static_cast<std::size_t>(k * n + i)];
      float const f = static_cast<float>(v);
      std::memcpy(base[k] + at, listed.type == 's' ? static_cast<const void*>(&f) : &v, width);
    }
  x.a = base[0], x.b = base[1], x.r1 = base[2], x.r2 = lacks ? nullptr : base[3];
  if (lacks && in.flag()) x.a = nullptr;
  orv::ErrorLog log;
  function.call_strided(level, x, n);
  for (auto const& e : log.errors()) expect(e.index < static_cast<std::size_t>(n), "the index of an error");
  if (!x.a || !x.r2) return;
  // The contiguous form over gathered operands gives the same bits.
  std::vector<char> a(room * 8), b(room * 8), r1(room * 8), r2(room * 8);
  auto const gather = [&](int k, std::vector<char>& to) {
    for (int i = 0; i < n; ++i)
      std::memcpy(to.data() + static_cast<std::size_t>(i) * width,
                  base[k] + static_cast<std::ptrdiff_t>(i) * strides[k] * static_cast<std::ptrdiff_t>(width),
                  width);
  };
  gather(0, a), gather(1, b);
  function.call(level,
                {.a = a.data(),
                 .b = b.data(),
                 .r1 = r1.data(),
                 .r2 = r2.data(),
                 .scalars = {x.scalars[0], x.scalars[1], x.scalars[2], x.scalars[3]}},
                static_cast<std::size_t>(n));
  for (int k = 2; k < 2 + function.results(); ++k)
    for (int i = 0; i < n; ++i)
      if (strides[k] != 0)
        expect(std::memcmp((k == 2 ? r1 : r2).data() + static_cast<std::size_t>(i) * width,
                           base[k] + static_cast<std::ptrdiff_t>(i) * strides[k] *
                                         static_cast<std::ptrdiff_t>(width),
                           width) == 0,
               "a strided result");
}

inline void exercise_spline(Bytes& in) {
  orv::SplineData data;
  bool const tame = in.flag();
  data.scheme = static_cast<orv::Scheme>(in.below(16) == 15 ? in.take<int8_t>() : in.below(11));
  auto const n = static_cast<std::size_t>(in.below(40));
  data.breaks = in.reals(n, tame);
  if (in.below(4)) std::ranges::sort(data.breaks);
  for (int functions = in.below(4); functions > 0; --functions)
    data.values.push_back(in.reals(in.below(32) ? n : n / 2, tame));
  data.has_boundary = in.flag();
  constexpr int codes[] = {0, 1, 2, 12, 24, 36, 48, 64, 128};
  data.boundary = {in.below(16) == 15 ? in.take<int>() : codes[in.below(9)], {in.real(tame), in.real(tame)}};
  if (in.flag()) data.inner = in.reals(in.below(32) && n > 2 ? n - 2 : n, tame);
  data.threads = in.below(16) == 15 ? in.take<int>() : in.below(3);
  auto sites = in.reals(static_cast<std::size_t>(in.below(20)), tame);
  int const derivatives = in.below(16) == 15 ? in.take<int>() : in.below(5);
  double const from = in.real(tame), to = in.real(tame);
  sites.insert(sites.end(), data.breaks.begin(), data.breaks.end());

  orv::Spline const spline(data);
  auto const r = spline.evaluate(sites, derivatives);
  expect(r.size() == data.values.size(), "functions of an evaluation");
  for (double const integral : spline.integrate(from, from))
    expect(integral == 0 || !tame, "an empty integral");
  auto const there = spline.integrate(from, to), back = spline.integrate(to, from);
  for (std::size_t j = 0; j < there.size(); ++j) {
    double const size = std::fabs(there[j]) + std::fabs(back[j]);
    expect(!tame || !(std::fabs(there[j] + back[j]) > 1e-9 * size + 1e-300), "an integral's sign");
  }
  // The left continuous step has the value of a break at it, like all splines at their breaks. Those that need a
  // well-conditioned partition are held to what that allows.
  if (!tame) return;
  for (std::size_t j = 0; j < r.size(); ++j) {
    double largest = 1;
    for (double const v : data.values[j]) largest = std::max(largest, std::fabs(v));
    for (std::size_t i = 0; i + 1 < n; ++i) {
      double const value = r[j][sites.size() - n + i][0];
      bool const local = data.scheme == orv::Scheme::Linear || data.scheme == orv::Scheme::Step ||
                         data.scheme == orv::Scheme::StepLeft;
      if (local) expect(std::fabs(value - data.values[j][i]) <= 1e-12 * largest, "a value at a break");
    }
  }
}

inline void exercise_summary(Bytes& in) {
  constexpr int hard[] = {-1, 0, 2'000'000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
  int const columns = in.below(32) == 31 ? hard[in.below(5)] : in.below(6);
  bool const tame = in.flag();
  orv::Summary::Options options{.method =
                                    static_cast<orv::Summary::Method>(in.below(16) == 15 ? 9 : in.below(3)),
                                .covariance = in.flag(),
                                .correlation = in.flag(),
                                .threads = in.below(16) == 15 ? in.take<int>() : in.below(3)};
  if (columns > 1000) options.covariance = true; // whose memory there isn't
  bool const weighted = in.flag();
  auto const p = static_cast<std::size_t>(std::clamp(columns, 0, 1000));
  int const blocks = in.below(4);
  std::vector<double> all, all_weights;
  std::vector<std::vector<double>> rows, weights;
  for (int b = 0; b < blocks; ++b) {
    auto const count = static_cast<std::size_t>(in.below(50));
    rows.push_back(in.reals(count * p, tame));
    weights.emplace_back();
    for (std::size_t i = 0; i < count; ++i)
      weights.back().push_back(tame ? in.below(4) / 2.0 : std::fabs(in.take<double>()));
    all.insert(all.end(), rows.back().begin(), rows.back().end());
    all_weights.insert(all_weights.end(), weights.back().begin(), weights.back().end());
  }
  std::vector<long double> mean(p, 0);
  long double total = 0;
  for (std::size_t i = 0; i < all_weights.size(); ++i) {
    long double const w = weighted ? all_weights[i] : 1;
    total += w;
    for (std::size_t j = 0; j < p; ++j) mean[j] += w * all[i * p + j];
  }
  for (auto& m : mean) m = total > 0 ? m / total : 0;
  if (options.method == orv::Summary::Method::user_mean)
    for (auto const m : mean) options.mean.push_back(static_cast<double>(m));
  orv::Summary s(columns, options);
  for (std::size_t b = 0; b < rows.size(); ++b)
    s.add(rows[b].data(), static_cast<int>(weights[b].size()), weighted ? weights[b].data() : nullptr);
  if (in.flag()) (void)s.covariance(in.take<int8_t>(), in.below(6));
  if (!tame || total == 0) return;
  for (std::size_t j = 0; j < p; ++j) {
    double least = std::numeric_limits<double>::infinity(), most = -least;
    long double spread = 0;
    for (std::size_t i = 0; i < all_weights.size(); ++i) {
      double const v = all[i * p + j];
      least = std::min(least, v), most = std::max(most, v);
      spread += std::fabs(v);
    }
    int const k = static_cast<int>(j);
    expect(s.minimum(k) == least && s.maximum(k) == most, "an extreme");
    expect(std::fabs(s.mean(k) - mean[j]) <= 1e-12L * (1 + spread), "a mean");
  }
}

inline void exercise_front_end(const uint8_t* data, std::size_t size) {
  Bytes in(data, size);
  try {
    switch (in.below(3)) {
    case 0:
      return exercise_elementwise(in);
    case 1:
      return exercise_spline(in);
    default:
      return exercise_summary(in);
    }
  } catch (orv::Error const& e) {
    expect(*e.what() != 0, "an error without a text");
  }
}

using Rows = std::vector<std::vector<double>>;
inline Rows read_rows(orv::cli::CsvReader& reader) {
  std::vector<int> wanted(reader.columns().size());
  for (std::size_t i = 0; i < wanted.size(); ++i) wanted[i] = static_cast<int>(i);
  Rows rows;
  for (std::vector<double> row; reader.row(wanted, row);) rows.push_back(row);
  return rows;
}

inline std::string csv_text(std::vector<std::string> const& names, Rows const& rows) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) text += (i ? "," : "") + orv::cli::csv_cell(names[i]);
  for (auto const& row : rows) {
    char cell[40];
    for (std::size_t i = 0; i < row.size(); ++i) {
      std::snprintf(cell, sizeof cell, "%c%.17g", i ? ',' : '\n', row[i]);
      text += cell;
    }
  }
  return text + '\n';
}

// Reads a file as CSV; names and numbers that are written to `copy` and read from there must be the same. Returns
// whether the file could be read.
inline bool exercise_csv(std::string const& path, bool header, std::string const& copy) {
  try {
    orv::cli::CsvReader reader(path, header);
    auto const names = reader.columns();
    Rows const rows = read_rows(reader);
    if (names[0].starts_with("\xEF\xBB\xBF") || names[0].starts_with("\xFF\xFE") ||
        names[0].starts_with("\xFE\xFF"))
      return true; // a second mark
    std::string const text = csv_text(names, rows);
    std::FILE* const out = std::fopen(copy.c_str(), "wb");
    expect(out && std::fwrite(text.data(), 1, text.size(), out) == text.size() && std::fclose(out) == 0,
           "a copy");
    orv::cli::CsvReader again(copy);
    expect(again.columns() == names, "names of columns that are written again");
    Rows const copied = read_rows(again);
    expect(copied.size() == rows.size(), "the count of rows that are written again");
    for (std::size_t i = 0; i < rows.size(); ++i)
      for (std::size_t j = 0; j < rows[i].size(); ++j)
        expect(copied[i][j] == rows[i][j] || (std::isnan(copied[i][j]) && std::isnan(rows[i][j])),
               "a number that is written again");
    return true;
  } catch (orv::Error const& e) {
    expect(*e.what() != 0, "an error without a text");
    return false;
  }
}

} // namespace tools
