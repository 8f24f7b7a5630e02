// Core cycles of a piece of work: time stamp counter, calibrated by a chain of dependent additions, each of
// which takes one core cycle. Of a register: some processors fold additions of constants together.
#pragma once
#include <cstdint>
#include <x86intrin.h>

namespace orv::bench {

inline uint64_t ticks() {
  unsigned unused;
  return __rdtscp(&unused);
}

// Core cycles in a tick, now.
inline double cycles_per_tick() {
  constexpr int additions = 20000;
  double best = 0;
  for (int round = 0; round < 3; ++round) {
    uint64_t const start = ticks();
    unsigned long x = start, one = 1;
    for (int i = 0; i < additions / 10; ++i)
      __asm__ volatile("add %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\t"
                       "add %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0"
                       : "+r"(x)
                       : "r"(one));
    double const ratio = additions / static_cast<double>(ticks() - start);
    if (ratio > best) best = ratio;
  }
  return best;
}

// Core cycles an element of `repeats` calls of work over n elements.
template <class Work>
double cycles_per_element(long n, long repeats, Work work) {
  double const before = cycles_per_tick();
  uint64_t const start = ticks();
  for (long i = 0; i < repeats; ++i) work();
  uint64_t const end = ticks();
  double const after = cycles_per_tick();
  double const scale = before > after ? before : after;
  return static_cast<double>(end - start) * scale / (static_cast<double>(n) * static_cast<double>(repeats));
}

} // namespace orv::bench
