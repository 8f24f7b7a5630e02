// The acceptance loop: pairs of uniform numbers are candidates, taken in order until all results stand.
//
// A block never holds more pairs than results are left, so no candidate is lost and a call may be split anywhere.
// A scheme looks at a whole block: it sorts the pairs into lists by region, each with the slots that its pairs have
// in the block, so that functions run over lists, and leaves for every slot a value and whether it is accepted.
#pragma once
#include "distributions/draw.h"

namespace orv::distributions {

inline constexpr int block = 512; // pairs

// Pairs of one region.
template <class T>
struct Region {
  int count = 0;
  int32_t slot[block];
  T u[block], v[block];
  // Without a branch: the last one is written over unless it belongs here.
  void offer(int i, T x, T y, bool here) {
    slot[count] = i;
    u[count] = x;
    v[count] = y;
    count += here;
  }
};

// The accepted of n values to the front, in order; returns how many.
template <class T>
int compact(int n, T* x, uint8_t const* accepted) {
  int count = 0;
  for (int i = 0; i < n; ++i) {
    x[count] = x[i];
    count += accepted[i] != 0;
  }
  return count;
}

// Draw: type of the uniform numbers, `each` of them for a candidate. scheme.look(m, u, v, x, accepted) fills x and
// accepted of m candidates, with w behind v where there are three; scheme.store(m, x, r) turns accepted values into
// results.
template <class Draw, int each = 2, class Scheme, class Result>
int32_t accept(Source const& source, int n, Result* r, Scheme& scheme) {
  Draw drawn[each * block], u[block], v[block], w[each == 3 ? block : 1];
  typename Scheme::Value x[block];
  uint8_t accepted[block];
  for (int done = 0; done < n;) {
    int const m = std::min(block, n - done);
    if (int32_t const status = source.uniform(each * m, drawn); status < 0) return status;
    if constexpr (each == 2) {
      split(m, drawn, u, v);
      scheme.look(m, u, v, x, accepted);
    } else {
      for (int i = 0; i < m; ++i) u[i] = drawn[3 * i], v[i] = drawn[3 * i + 1], w[i] = drawn[3 * i + 2];
      scheme.look(m, u, v, w, x, accepted);
    }
    int const count = compact(m, x, accepted);
    scheme.store(count, x, r + done);
    done += count;
  }
  return RnqOk;
}

} // namespace orv::distributions
