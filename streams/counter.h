// What the counter-based generators share: words of 128-bit blocks in order, a block begun by one call and
// finished by the next, and jumps by adding to the counter.
//
// A generator G has: State with `counter` (two u64, low first), `remaining` and `block`; make(state, count,
// out), which writes `count` blocks from the counter on and leaves the counter alone.
#pragma once
#include "streams/stream.h"

namespace orv::streams {

inline void add_to_counter(uint64_t* counter, uint64_t low, uint64_t high) {
  uint64_t const sum = counter[0] + low;
  counter[1] += high + (sum < low);
  counter[0] = sum;
}

template <class State>
uint32_t remaining_of(State const& s) {
  return s.remaining > 4 ? 0 : s.remaining;
}

template <class G, class Map>
int32_t generate_blocks(typename G::State& s, int32_t n, typename Map::Real* r, Map const& map) {
  if (n <= 0) return RnqOk;
  uint32_t const waiting = remaining_of(s);
  int32_t const first = n < static_cast<int32_t>(waiting) ? n : static_cast<int32_t>(waiting);
  emit(r, first, map, s.block + 4 - waiting);
  s.remaining = waiting - first;
  r += first;
  n -= first;
  constexpr int most = 128; // blocks, in the first-level cache
  while (n >= 4) {
    int const blocks = n / 4 < most ? n / 4 : most;
    if constexpr (std::is_same_v<Map, AsWords>) {
      G::make(s, blocks, r);
    } else {
      uint32_t buffer[4 * most];
      G::make(s, blocks, buffer);
      emit(r, 4 * blocks, map, buffer);
    }
    add_to_counter(s.counter, blocks, 0);
    r += 4 * blocks;
    n -= 4 * blocks;
  }
  if (n > 0) {
    G::make(s, 1, s.block);
    add_to_counter(s.counter, 1, 0);
    emit(r, n, map, s.block);
    s.remaining = 4 - n;
  }
  return RnqOk;
}

// A count of up to three words. `stay_behind`: where the jump ends between two blocks, the one before it is
// kept and used up, instead of the next one being made ready.
template <class G>
void skip_words(typename G::State& s, int32_t n, const uint64_t* count, bool stay_behind) {
  uint64_t c[3] = {};
  for (int i = 0; i < n && i < 3; ++i) c[i] = load_u64(count + i);
  uint32_t const waiting = remaining_of(s);
  s.remaining = waiting;
  if (!c[1] && !c[2] && c[0] <= waiting) {
    s.remaining -= static_cast<uint32_t>(c[0]);
    return;
  }
  for (uint64_t take = waiting, i = 0; i < 3 && take; ++i) { // subtract with borrow
    bool const borrow = c[i] < take;
    c[i] -= take;
    take = borrow;
  }
  uint32_t const rest = c[0] % 4;
  add_to_counter(s.counter, c[0] >> 2 | c[1] << 62, c[1] >> 2 | c[2] << 62);
  bool const behind = stay_behind && rest == 0;
  if (behind) add_to_counter(s.counter, ~uint64_t{0}, ~uint64_t{0});
  G::make(s, 1, s.block);
  add_to_counter(s.counter, 1, 0);
  s.remaining = behind ? 0 : 4 - rest;
}

// Words are read as signed numbers around the middle of the interval.
inline FmaInDouble<double, true> signed_map(double a, double b) { return {(b - a) * 0x1p-32, (a + b) / 2}; }
inline FmaInSingle<true> signed_map(float a, float b) { return {(b - a) * 0x1p-32f, (a + b) / 2}; }

} // namespace orv::streams
