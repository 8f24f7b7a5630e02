#pragma once
#include "streams/counter.h"

namespace orv::streams {

struct Ars5State {
  alignas(8) uint64_t key[2];
  alignas(8) uint64_t counter[2];
  uint32_t remaining, block[4];
  uint32_t reserved;
};
static_assert(sizeof(Ars5State) == 56 && offsetof(Ars5State, block) == 36);

// Keys of the rounds: K + i W in each 64-bit half.
struct Ars5Keys {
  uint64_t round[6][2];
  explicit Ars5Keys(Ars5State const& s) {
    for (uint64_t i = 0; i < 6; ++i) {
      round[i][0] = s.key[0] + i * 0x9E3779B97F4A7C15;
      round[i][1] = s.key[1] + i * 0xBB67AE8584CAA73B;
    }
  }
};

// Blocks with AES on 256-bit vectors; `count` is a multiple of 8. Only for processors that have it.
void ars5_make_wide(Ars5Keys const& keys, uint64_t const* counter, int count, uint32_t* out);

} // namespace orv::streams
