// What the classes of the front end stand on: the pool of threads, arrays of a caller's size.
#include "frontend/reals.h"
#include "frontend/thread_pool.h"
#include "tests/frontend/support.h"
#include "tests/support/environment.h"

#include <atomic>

namespace {

TEST(ThreadPool, SizeByArgumentOrEnvironment) {
  EXPECT_EQ(orv::ThreadPool(5).threads(), 5);
  orv::test::set_environment("ORV_NUM_THREADS", "3");
  EXPECT_EQ(orv::ThreadPool().threads(), 3);
  EXPECT_EQ(orv::ThreadPool(2).threads(), 2);
  orv::test::set_environment("ORV_NUM_THREADS", nullptr);
  int const all = orv::ThreadPool().threads();
  EXPECT_GE(all, 1);
  for (const char* nonsense : {"0", "-4", "many", "", "5000"}) {
    orv::test::set_environment("ORV_NUM_THREADS", nonsense);
    EXPECT_EQ(orv::ThreadPool().threads(), all) << nonsense;
  }
  orv::test::set_environment("ORV_NUM_THREADS", nullptr);
}

TEST(ThreadPool, ACallFromInsideATaskRunsOnItsThread) {
  orv::ThreadPool pool(3);
  std::atomic<int> inner{0}, strange{0};
  for (int round = 0; round < 20; ++round)
    pool.run(6, [&](int, int) {
      auto const here = std::this_thread::get_id();
      pool.run(5, [&](int, int thread) {
        ++inner;
        strange += thread != 0 || std::this_thread::get_id() != here;
      });
    });
  EXPECT_EQ(inner, 600);
  EXPECT_EQ(strange, 0);
}

TEST(Reals, ProductsOfSizesBeyondTheAddressSpaceAreRefused) {
  constexpr std::size_t half = std::size_t{1} << (4 * sizeof(std::size_t));
  for (auto sizes : {std::initializer_list<std::size_t>{half, half},
                     {half, half, 2},
                     {2 * half, half, half},
                     {PTRDIFF_MAX, 1}})
    EXPECT_THROW(orv::reals(sizes, "this"), orv::Error);
  EXPECT_EQ(orv::reals({3, 4}, "this"), std::vector<double>(12));
  EXPECT_TRUE(orv::reals({half, 0, 5}, "this").empty());
}

} // namespace
