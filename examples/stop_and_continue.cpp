// A simulation that stops and goes on another day, with the numbers that an uninterrupted run would have had.
//
//   g++ -std=c++20 stop_and_continue.cpp -lorv_elw_avx2 -o stop_and_continue
//   ./stop_and_continue state.rng        first run: starts; every further run: goes on
//
// It estimates pi from points in the unit square, 10^7 in each run, and keeps the stream and the counts.
#include "orv/streams.h"

#include <cstdio>
#include <string>
#include <vector>

int main(int count, char** args) {
  if (count != 2) return std::fprintf(stderr, "usage: %s STATE_FILE\n", args[0]), 2;
  std::string const state = args[1], counts = state + ".counts";
  long long inside = 0, all = 0;
  RngStream* stream = nullptr;
  if (std::FILE* file = std::fopen(counts.c_str(), "r")) {
    bool const good = std::fscanf(file, "%lld %lld", &inside, &all) == 2;
    std::fclose(file);
    if (!good) return std::fprintf(stderr, "%s: no counts in it\n", counts.c_str()), 1;
    if (int const status = __rnqLoadStreamF(&stream, state.c_str(), -1); status < 0)
      return std::fprintf(stderr, "%s: status %d\n", state.c_str(), status), 1;
    std::printf("going on after %lld points\n", all);
  } else {
    uint32_t const seed[] = {20, 26};
    if (int const status = __rnqNewStreamEx(&stream, 0xD00000, 2, seed); status < 0)
      return std::fprintf(stderr, "no stream: status %d\n", status), 1;
  }

  BrngProperties generator;
  __rnqGetBrngProperties(stream->brng, &generator);
  std::vector<double> x(20000);
  for (int block = 0; block < 1000; ++block) {
    generator.generateDouble(stream, static_cast<int>(x.size()), x.data(), 0, 1);
    for (size_t i = 0; i < x.size(); i += 2) inside += x[i] * x[i] + x[i + 1] * x[i + 1] < 1;
    all += static_cast<long long>(x.size() / 2);
  }
  std::printf("pi is about %.6f from %lld points\n",
              4.0 * static_cast<double>(inside) / static_cast<double>(all), all);

  int const status = __rnqSaveStreamF(stream, state.c_str(), -1);
  std::FILE* file = std::fopen(counts.c_str(), "w");
  bool good = status == 0 && file && std::fprintf(file, "%lld %lld\n", inside, all) > 0;
  if (file && std::fclose(file) != 0) good = false;
  if (!good) std::fprintf(stderr, "the state could not be kept\n");
  __rnqDeleteStream(&stream);
  return good ? 0 : 1;
}
