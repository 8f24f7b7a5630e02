// The thread services that data fitting entries are given, over the common pool.
#pragma once
#include "orv/fitting.h"

namespace orv {

// `threads` limits what maxThreads answers on the calling thread; 0 lifts the limit.
DFThreader const& fitting_threads(int threads = 0);

} // namespace orv
