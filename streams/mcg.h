// MCG31M1 and MCG59: states, chunk of vector lanes.
#pragma once
#include "streams/powers.h"
#include "streams/stream.h"

namespace orv::streams {

struct alignas(32) McgLanes {
  uint32_t kind; // 0 MCG31M1, 1 MCG59
  uint32_t unused[7];
  uint64_t lanes[4];     // the next four outputs
  uint64_t powers[8][4]; // a^4, a^8, ... a^32, each in all four places
  uint32_t rest[8];
};
static_assert(sizeof(McgLanes) == 352 && offsetof(McgLanes, lanes) == 32 && offsetof(McgLanes, powers) == 64);

struct Mcg31 {
  using Word = uint32_t;
  struct State {
    uint32_t x, a;
  };
  static constexpr uint32_t kind = 0, default_a = 1132489760;
  static constexpr Word multiply(Word x, Word a) { return multiply_m31(x, a); }
  static constexpr Word multiplier_power(Word a, uint64_t c) { return power_m31(a, c); }
};

struct Mcg59 {
  using Word = uint64_t;
  struct State {
    alignas(8) uint64_t x;
    alignas(8) uint64_t a;
  };
  static constexpr uint32_t kind = 1;
  static constexpr uint64_t default_a = 302875106592253;
  static constexpr Word multiply(Word x, Word a) { return x * a & mask59; }
  static constexpr Word multiplier_power(Word a, uint64_t c) { return power_2p64(a, c); } // not masked
};

// Makes lanes, or lanes and powers, from the state.
template <class G>
void set_lanes(McgLanes& c, typename G::State const& s) {
  typename G::Word x = s.x;
  for (auto& lane : c.lanes) {
    lane = x;
    x = G::multiply(x, s.a);
  }
}
template <class G>
void set_powers(McgLanes& c, typename G::State const& s) {
  typename G::Word const a4 = G::multiplier_power(s.a, 4);
  typename G::Word p = a4;
  for (auto& group : c.powers) {
    for (auto& place : group) place = p;
    p = G::kind ? p * a4 : G::multiply(p, a4);
  }
}

} // namespace orv::streams
