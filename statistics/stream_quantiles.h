// Quantiles of a stream: summaries of bounded size (Zhang and Wang 2007).
//
// A variable's stream is cut into runs that double in length, so that no length need be known beforehand. A run has an
// input buffer of b values and levels of b / 2 entries, each with the least and the greatest rank that it may have. A
// full buffer is sorted and every other entry of it carried up; a level that is taken is merged with the carry,
// halved, and carried on, as in a binary counter.
#pragma once
#include "statistics/column.h"

namespace orv::statistics {

// Sizes of the run with number k for an error bound epsilon.
struct RunSizes {
  intptr_t length, capacity, levels;
  RunSizes(double epsilon, int k);
};

struct StreamRun {
  intptr_t count, capacity, levelCount, topLevel, fill;
  intptr_t* levelFull; // of levelCount + 1 words; the start of the block that holds all four arrays
  void* values; // levelCount + 1 rows of capacity + 1 reals: row 0 is the input, the others are summaries
  intptr_t *rankMin, *rankMax;
};

struct StreamRecord {
  intptr_t runCount, runIndex, active;
  StreamRun* runs;
};

// What `streamQuantileState` points at.
struct StreamState {
  intptr_t variables;
  alignas(8) double epsilon;
  StreamRecord* records; // in the same block
};

void free_streams(StreamState* state);

} // namespace orv::statistics
