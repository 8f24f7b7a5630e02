#include "frame/core.h"
#include "tests/support/environment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace {

using Limit = decltype(&orv_rnq_serv_threader_get_num_threads_limit);
using For = decltype(&orv_rnq_serv_threader_for);
auto const limit =
    reinterpret_cast<Limit>(orv::core::load_thread_fun("orv_rnq_serv_threader_get_num_threads_limit"));
auto const parallel = reinterpret_cast<For>(orv::core::load_thread_fun("orv_rnq_serv_threader_for"));

struct ThreadLimit {
  explicit ThreadLimit(const char* n) { orv::test::set_environment("ORV_NUM_THREADS", n); }
  ~ThreadLimit() { orv::test::set_environment("ORV_NUM_THREADS", nullptr); }
};

struct Visits {
  explicit Visits(int n) : counts(n) {}
  std::vector<std::atomic<int>> counts;
  std::mutex mutex;
  std::set<std::thread::id> threads;
  int inner = 0; // chunks of a nested call
  static void visit(int chunk, int, int, void* context) {
    auto& self = *static_cast<Visits*>(context);
    ++self.counts[chunk];
    {
      std::lock_guard lock(self.mutex);
      self.threads.insert(std::this_thread::get_id());
    }
    if (self.inner) {
      struct Nested {
        std::thread::id thread = std::this_thread::get_id();
        int next = 0;
        bool in_order_on_one_thread = true;
      } nested;
      parallel(self.inner, 0, &nested, [](int c, int, int, void* p) {
        auto& n = *static_cast<Nested*>(p);
        n.in_order_on_one_thread &= c == n.next++ && n.thread == std::this_thread::get_id();
      });
      EXPECT_TRUE(nested.in_order_on_one_thread);
      EXPECT_EQ(nested.next, self.inner);
    }
  }
  bool each_once() const {
    for (auto& c : counts)
      if (c != 1) return false;
    return true;
  }
};

TEST(Threader, VisitsEachChunkOnceWithinTheLimit) {
  ASSERT_NE(limit, nullptr);
  ASSERT_NE(parallel, nullptr);
  EXPECT_EQ(orv::core::load_thread_fun("orv_no_such_function"), nullptr);
  for (const char* n : {"1", "2", "7"}) {
    ThreadLimit wish(n);
    EXPECT_EQ(limit(), std::atoi(n));
    for (int chunks : {0, 1, 2, 5, 1000}) {
      Visits v(chunks);
      for (int repeat = 0; repeat < 20; ++repeat) {
        for (auto& c : v.counts) c = 0;
        parallel(chunks, 0, &v, Visits::visit);
        EXPECT_TRUE(v.each_once()) << n << " " << chunks;
      }
    }
  }
  EXPECT_GE(limit(), 1);
}

TEST(Threader, ChunksRunAtTheSameTime) {
  ThreadLimit wish("2");
  std::atomic<int> arrived{0};
  // Each chunk waits for the other: only ends if two threads are at work.
  parallel(2, 0, &arrived, [](int, int, int, void* context) {
    auto& count = *static_cast<std::atomic<int>*>(context);
    ++count;
    while (count < 2) std::this_thread::yield();
  });
  EXPECT_EQ(arrived, 2);
}

TEST(Threader, NestedCallsRunOnTheirOwnThread) {
  ThreadLimit wish("3");
  Visits v(50);
  v.inner = 4;
  parallel(50, 0, &v, Visits::visit);
  EXPECT_TRUE(v.each_once());
  EXPECT_LE(v.threads.size(), 3u);
}

TEST(Threader, SeveralCallersAtOnce) {
  ThreadLimit wish("3");
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i)
    callers.emplace_back([] {
      for (int repeat = 0; repeat < 200; ++repeat) {
        Visits v(20);
        parallel(20, 0, &v, Visits::visit);
        EXPECT_TRUE(v.each_once());
      }
    });
  for (auto& c : callers) c.join();
}

} // namespace
