#include "tests/statistics/support.h"

#include <limits>

namespace {
using namespace orv::test;

template <class T>
class Minmax : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Minmax, Reals);

TYPED_TEST(Minmax, RunningExtremesOfSelectedVariables) {
  using T = TypeParam;
  T const nan = std::numeric_limits<T>::quiet_NaN(), inf = std::numeric_limits<T>::infinity();
  for (int layout : {SSStorageRows, SSStorageCols})
    for (int p : {1, 2, 3, 7, 16, 65})
      for (int n : {1, 2, 9, 33, 300})
        for (bool indexed : {false, true}) {
          Data<T> d(n, p, layout);
          std::mt19937 random(static_cast<unsigned>(n + p));
          for (auto& x : d.values)
            x = random() % 11 == 0 ? nan : static_cast<T>(static_cast<int>(random() % 2000) - 1000);
          if (n > 3) d(2, p / 2) = inf, d(3, p / 2) = -inf;
          if (indexed)
            for (int j = 0; j < p; ++j) d.indices.push_back(j % 2);
          Results<T> task(p);
          task.point_at(d);
          // The running result of an earlier block is what counts where it is more extreme.
          std::vector<T> low(p, T(500)), high(p, T(-500));
          low[0] = -2000;
          task.task->minimum = low.data();
          task.task->maximum = high.data();
          ASSERT_EQ(Entries<T>::minmax(task.task, SSMinimum | SSMaximum, SSMethodFast, nullptr), 0);
          for (int j = 0; j < p; ++j) {
            T a = j ? T(500) : T(-2000), b = -500;
            for (int i = 0; i < n && d.selected(j); ++i) {
              if (d(i, j) < a) a = d(i, j);
              if (d(i, j) > b) b = d(i, j);
            }
            ASSERT_EQ(low[j], a) << layout << " " << p << " " << n << " variable " << j;
            ASSERT_EQ(high[j], b) << layout << " " << p << " " << n << " variable " << j;
          }
        }
}

TYPED_TEST(Minmax, OneOfThemOnly) {
  using T = TypeParam;
  Data<T> d(3, 2, SSStorageCols);
  d.values = {1, 2, 3, 4, 5, 6};
  Results<T> task(2);
  task.point_at(d);
  std::vector<T> low(2, T(100));
  task.task->minimum = low.data();
  EXPECT_EQ(Entries<T>::minmax(task.task, SSMinimum, SSMethodOnePass, nullptr), 0);
  EXPECT_EQ(low, (std::vector<T>{1, 2}));
}

TYPED_TEST(Minmax, StatusesInOrder) {
  using T = TypeParam;
  Data<T> d(3, 2, SSStorageCols);
  Results<T> task(2);
  task.point_at(d);
  int const odd = 3;
  uint64_t const both = SSMinimum | SSMaximum;
  std::vector<T> room(2);
  auto const status = [&](uint64_t method) { return Entries<T>::minmax(task.task, both, method, nullptr); };
  task.task->dataStorage = nullptr;
  EXPECT_EQ(status(0), -4044);
  task.task->dataStorage = &odd;
  EXPECT_EQ(status(0), -4003);
  task.task->dataStorage = &d.layout;
  EXPECT_EQ(status(0), -4015);
  task.task->minimum = room.data();
  EXPECT_EQ(status(0), -4016);
  task.task->maximum = room.data();
  EXPECT_EQ(status(SSMethodFastUserMean | SSMethodSort), -4029);
  EXPECT_EQ(status(SSMethodFast | SSMethodOnePass), 0);
  EXPECT_EQ(Entries<T>::minmax(nullptr, both, SSMethodFast, nullptr), -4031);
  int64_t const blocks = orv_serv_blocks_in_use();
  for (int k : {1, 2}) {
    orv_serv_fail_allocation(k);
    EXPECT_EQ(status(SSMethodFast), -4000);
    orv_serv_fail_allocation(0);
  }
  EXPECT_EQ(orv_serv_blocks_in_use(), blocks);
}

} // namespace
