// A Monte Carlo estimate with four threads: what the mean of a random path is above its start. The work is cut into
// parts, each with its own stretch of one sequence that it jumps to, so the result has the same bits for any number
// of threads.
//
//   g++ -std=c++20 monte_carlo.cpp -lorv_elw_avx2 -pthread -o monte_carlo
//   ./monte_carlo 4
#include "orv/distributions.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

constexpr int parts = 64, paths = 4096, steps = 16;

struct Sums {
  double sum = 0, square = 0;
};

// A part's paths: a price that moves by lognormal steps, and what its mean is above 100.
Sums estimate(int part) {
  RngStream* stream = nullptr;
  uint32_t const seed[] = {2026, 1};
  Sums sums;
  if (__rnqNewStreamEx(&stream, RnqPHILOX4X32X10, 2, seed) < 0) return sums;
  __rnqSkipAheadStream(stream, static_cast<uint64_t>(part) * paths * steps); // a uniform number each
  std::vector<double> factor(steps);
  for (int i = 0; i < paths; ++i) {
    if (_rnqdRngLognormal(1, stream, steps, factor.data(), -0.0002, 0.02, 0, 1) < 0) break;
    double price = 100, mean = 0;
    for (double f : factor) mean += (price *= f) / steps;
    double const gain = std::fmax(mean - 100, 0);
    sums.sum += gain;
    sums.square += gain * gain;
  }
  __rnqDeleteStream(&stream);
  return sums;
}

int main(int count, char** args) {
  int const threads = count > 1 ? std::atoi(args[1]) : 4;
  std::vector<Sums> results(parts);
  std::atomic<int> next = 0;
  std::vector<std::thread> team;
  for (int t = 0; t < threads; ++t)
    team.emplace_back([&] {
      for (int part; (part = next++) < parts;) results[static_cast<size_t>(part)] = estimate(part);
    });
  for (auto& t : team) t.join();
  Sums total; // always in the order of the parts
  for (Sums const& s : results) total.sum += s.sum, total.square += s.square;
  double const n = double{parts} * paths, mean = total.sum / n;
  std::printf("%.17g +- %.3g\n", mean, std::sqrt((total.square / n - mean * mean) / n));
}
