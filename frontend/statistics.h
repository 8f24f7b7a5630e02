// Estimates of a statistics task, each by the entry that serves it.
#pragma once
#include "frontend/error.h"
#include "orv/statistics.h"

namespace orv {

// Computes `estimates` of a task on double over its next block; only moments have a choice of method. Throws
// Error for an estimate that no entry serves, before anything is computed, and for a status below 0. `threads`: at
// most; 0 is all of the common pool.
void compute_statistics(SSTask& task, uint64_t estimates, uint64_t method, int threads = 0);

} // namespace orv
