// The thread services that statistics entries are given, over the common pool.
#pragma once
#include "orv/statistics.h"

namespace orv {

// `threads` limits what maxThreads answers on the calling thread; 0 lifts the limit.
SSThreadServices const& statistics_threads(int threads = 0);

} // namespace orv
