// Why low-discrepancy points matter: an integral in eight dimensions by pseudo-random and by Sobol points,
// with the errors as a picture.
//
//   g++ -std=c++20 quasi_integral.cpp -lorv_elw_avx2 -o quasi_integral
//   ./quasi_integral picture.svg
//
// The integrand is the product of pi/2 sin(pi x) over the coordinates, whose integral over the unit cube
// is 1. Errors are root mean squares over 16 runs: other seeds of MT19937, other shifts of the Sobol points
// modulo 1.
#include "orv/streams.h"

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

constexpr int dimensions = 8, runs = 16, first_power = 6, last_power = 18;
constexpr double pi = 3.141592653589793;

using Errors = std::vector<double>;

// Squared errors after 2^first_power, ..., 2^last_power points.
Errors integrate(int32_t number, std::vector<uint32_t> const& seed, std::vector<double> const& shift) {
  RngStream* stream = nullptr;
  if (__rnqNewStreamEx(&stream, number, static_cast<int>(seed.size()), seed.data()) < 0) return {};
  BrngProperties generator;
  __rnqGetBrngProperties(number, &generator);
  Errors errors;
  double sum = 0;
  std::vector<double> x(dimensions << first_power);
  long points = 0;
  for (int power = first_power; power <= last_power; ++power) {
    while (points < 1L << power) {
      generator.generateDouble(stream, static_cast<int>(x.size()), x.data(), 0, 1);
      for (size_t i = 0; i < x.size(); i += dimensions, ++points) {
        double f = 1;
        for (int j = 0; j < dimensions; ++j) {
          double const y = x[i + j] + shift[j];
          f *= pi / 2 * std::sin(pi * (y - std::floor(y)));
        }
        sum += f;
      }
    }
    double const error = sum / static_cast<double>(points) - 1;
    errors.push_back(error * error);
  }
  __rnqDeleteStream(&stream);
  return errors;
}

Errors mean_errors(std::function<Errors(int run)> const& one) {
  Errors sum(last_power - first_power + 1);
  for (int run = 0; run < runs; ++run) {
    Errors const e = one(run);
    for (size_t i = 0; i < e.size(); ++i) sum[i] += e[i];
  }
  for (double& e : sum) e = std::sqrt(e / runs);
  return sum;
}

int main(int count, char** args) {
  if (count != 2) return std::fprintf(stderr, "usage: %s PICTURE.svg\n", args[0]), 2;
  Errors const random = mean_errors([](int run) {
    return integrate(0x800000, {static_cast<uint32_t>(run + 1)}, std::vector<double>(dimensions));
  });
  Errors const sobol = mean_errors([](int run) {
    std::vector<double> shift(dimensions);
    for (int j = 0; j < dimensions; ++j)
      shift[j] = std::fmod((run * dimensions + j) * 0.6180339887498949, 1.0);
    return integrate(0x600000, {dimensions}, shift);
  });
  std::printf("points      pseudo-random  Sobol\n");
  for (size_t i = 0; i < random.size(); ++i)
    std::printf("%-10ld  %.2e       %.2e\n", 1L << (first_power + i), random[i], sobol[i]);

  std::FILE* out = std::fopen(args[1], "w");
  if (!out) return std::perror(args[1]), 1;
  auto x = [](double power) { return 80 + (power - first_power) * 45; };
  auto y = [](double error) { return 40 + -std::log10(error) * 60; };
  std::fprintf(
      out,
      "<svg xmlns='http://www.w3.org/2000/svg' width='700' height='440' font-family='sans-serif' "
      "font-size='13'>\n"
      "<rect width='700' height='440' fill='white'/>\n"
      "<text x='80' y='22'>Error of an integral in 8 dimensions (root mean square of %d runs)</text>\n",
      runs);
  for (int p = 0; p <= 6; ++p)
    std::fprintf(out,
                 "<line x1='80' x2='620' y1='%g' y2='%g' stroke='#ddd'/><text x='40' y='%g'>1e-%d</text>\n",
                 40.0 + 60 * p, 40.0 + 60 * p, 44.0 + 60 * p, p);
  for (int p = first_power; p <= last_power; p += 2)
    std::fprintf(out, "<text x='%g' y='420'>2^%d</text>\n", x(p) - 10, p);
  std::fprintf(out, "<text x='320' y='436'>points</text>\n");
  auto line = [&](Errors const& e, const char* colour, const char* name) {
    std::fprintf(out, "<polyline fill='none' stroke-width='2' stroke='%s' points='", colour);
    for (size_t i = 0; i < e.size(); ++i)
      std::fprintf(out, "%g,%.1f ", x(first_power + static_cast<double>(i)), y(e[i]));
    std::fprintf(out, "'/>\n<text x='%g' y='%.1f' fill='%s'>%s</text>\n", x(last_power) - 60, y(e.back()) - 8,
                 colour, name);
  };
  line(random, "#c03030", "MT19937");
  line(sobol, "#2050b0", "Sobol");
  std::fprintf(out, "</svg>\n");
  return std::fclose(out) == 0 ? 0 : 1;
}
