// The front end's thread services.
#include "frontend/statistics_threads.h"

#include "tests/statistics/support.h"

#include <atomic>

namespace {

struct Calls {
  std::atomic<int> visits[500] = {};
  std::atomic<int> bad{0};
  int inside = 0, total = 0; // only touched one at a time
  intptr_t threads;
};

TEST(StatisticsThreads, EveryItemOnceOnAThreadBelowTheCount) {
  SSThreadServices const& s = orv::statistics_threads();
  EXPECT_GE(s.maxThreads(), 1);
  for (intptr_t threads : {0, 1, 2, 7})
    for (intptr_t items : {0, 1, 3, 500})
      for (auto service : {s.parallelFor, s.parallelForChunks}) {
        Calls calls;
        calls.threads = threads ? threads : s.maxThreads();
        service(items, threads, &calls, [](intptr_t item, intptr_t thread, intptr_t, void* context) {
          auto& c = *static_cast<Calls*>(context);
          ++c.visits[item];
          if (thread < 0 || thread >= c.threads) ++c.bad;
        });
        EXPECT_EQ(calls.bad, 0);
        for (intptr_t i = 0; i < 500; ++i) ASSERT_EQ(calls.visits[i], i < items);
      }
}

TEST(StatisticsThreads, RegionsRunOncePerThreadAndSerializedCallsOneAtATime) {
  SSThreadServices const& s = orv::statistics_threads();
  for (intptr_t threads : {1, 2, 7}) {
    Calls calls;
    calls.threads = threads;
    s.parallelRegion(threads, &calls, [](intptr_t thread, intptr_t, intptr_t count, void* context) {
      auto& c = *static_cast<Calls*>(context);
      ++c.visits[thread];
      if (count != c.threads) ++c.bad;
      for (int k = 0; k < 200; ++k)
        orv::statistics_threads().serialized(k, thread, count, context,
                                             [](intptr_t, intptr_t, intptr_t, void* p) {
                                               auto& inner = *static_cast<Calls*>(p);
                                               if (++inner.inside != 1) ++inner.bad;
                                               ++inner.total;
                                               --inner.inside;
                                             });
    });
    EXPECT_EQ(calls.bad, 0);
    EXPECT_EQ(calls.total, 200 * threads);
    for (intptr_t i = 0; i < threads; ++i) EXPECT_EQ(calls.visits[i], 1);
  }
  EXPECT_EQ(orv::statistics_threads(1).maxThreads(), 1);
  orv::statistics_threads();
}

} // namespace
