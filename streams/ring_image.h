// Images of a twister's state for the skip-ahead by polynomials: blocks of words in ring order from the
// state's index on, which add by exclusive or.
#pragma once
#include "streams/stream.h"

#include <algorithm>
#include <cstring>

namespace orv::streams {

template <class State, int N, uint32_t (State::*words)[N]>
struct RingImage {
  static State& of(void* p) { return state_of<State>(static_cast<RngStream*>(p)); }
  static State const& of(void const* p) { return of(const_cast<void*>(p)); }

  static void zero(void* p) {
    std::memset(of(p).*words, 0, sizeof(of(p).*words));
    of(p).index = 0;
  }
  static void copy(void* destination, void const* source) {
    std::memcpy(of(destination).*words, of(source).*words, sizeof(of(source).*words));
    of(destination).index = of(source).index;
  }
  static void add(void* destination, void const* source) {
    uint32_t* d = of(destination).*words;
    uint32_t const* s = of(source).*words;
    int i = of(destination).index % N, k = of(source).index % N;
    for (int left = N; left > 0;) { // at most three straight pieces
      int const part = std::min({left, N - i, N - k});
      for (int t = 0; t < part; ++t) d[i + t] ^= s[k + t];
      i = (i + part) % N;
      k = (k + part) % N;
      left -= part;
    }
  }
  // The image as a stream's used-up block.
  static void straighten(RngStream* stream, void const* p) {
    auto& d = of(static_cast<void*>(stream));
    auto const& s = of(p);
    int const first = s.index % N;
    std::copy(s.*words + first, s.*words + N, d.*words);
    std::copy(s.*words, s.*words + first, d.*words + N - first);
    d.index = N;
  }
};

} // namespace orv::streams
