// Quantiles, order statistics, sorting, selection.
#include "tests/statistics/estimates.h"

#include <algorithm>
#include <bit>

namespace {
using namespace orv::test;

template <class T>
class Order : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(Order, Reals);

template <class T>
using Word = std::conditional_t<sizeof(T) == 8, int64_t, int32_t>;
template <class T>
Word<T> bits(T x) {
  return std::bit_cast<Word<T>>(x);
}
template <class T>
std::vector<Word<T>> bits(std::vector<T> const& x) {
  std::vector<Word<T>> b;
  for (T v : x) b.push_back(bits(v));
  return b;
}
// Negative NaN, numbers with -0 before +0, positive NaN.
template <class T>
bool before(T a, T b) {
  auto const rank = [](T x) { return x == x ? 0 : std::signbit(x) ? -1 : 1; };
  if (rank(a) != rank(b)) return rank(a) < rank(b);
  if (rank(a) == 0 && a != b) return a < b;
  if (std::signbit(a) != std::signbit(b)) return std::signbit(a);
  return std::signbit(a) ? bits(a) > bits(b) : bits(a) < bits(b);
}

template <class T>
std::vector<T> hard_values(int n, int kind, unsigned seed) {
  std::mt19937_64 random(seed * 7919u + static_cast<unsigned>(n));
  std::vector<T> x;
  for (int i = 0; i < n; ++i) {
    switch (kind) {
    case 0:
      x.push_back(std::bit_cast<T>(static_cast<Word<T>>(random())));
      break;
    case 1:
      x.push_back(T(static_cast<int>(random() % 5) - 2) * T(0.0 + (random() % 3 == 0 ? -1 : 1)));
      break;
    case 2:
      x.push_back(T(i));
      break;
    case 3:
      x.push_back(T(-i / 3));
      break;
    default:
      x.push_back(T(random() % 1000003) - T(500000));
    }
  }
  return x;
}

template <class T>
auto sort_of(std::vector<T> x) {
  std::sort(x.begin(), x.end(), before<T>);
  return bits(x);
}

template <class T>
int qsort(intptr_t n, T* x, intptr_t stride) {
  if constexpr (sizeof(T) == 8)
    return stride == 1 ? __rnqdQSort(n, x) : __rnqdQSortStep(n, x, stride);
  else
    return stride == 1 ? __rnqsQSort(n, x) : __rnqsQSortStep(n, x, stride);
}
template <class T>
T qselect(intptr_t n, T* x, intptr_t k) {
  if constexpr (sizeof(T) == 8)
    return __rnqdQSortSelect(n, x, k);
  else
    return __rnqsQSortSelect(n, x, k);
}

TYPED_TEST(Order, SortsEveryLengthOfAnyBitsInOneTotalOrder) {
  using T = TypeParam;
  for (int n = 0; n <= 1100; n += n < 300 ? 1 : 37)
    for (int kind = 0; kind < 5; ++kind) {
      std::vector<T> x = hard_values<T>(n, kind, 1);
      auto const expected = sort_of(x);
      std::vector<T> strided(static_cast<size_t>(n) * 3, T(99));
      for (int i = 0; i < n; ++i) strided[3 * i] = x[i];
      ASSERT_EQ(qsort(n, x.data(), 1), 0);
      ASSERT_EQ(bits(x), expected) << n << " kind " << kind;
      ASSERT_EQ(qsort(n, strided.data(), 3), 0);
      for (int i = 0; i < n; ++i) {
        ASSERT_EQ(bits(strided[3 * i]), expected[i]);
        ASSERT_EQ(strided[3 * i + 1], T(99));
        ASSERT_EQ(strided[3 * i + 2], T(99));
      }
    }
}

TYPED_TEST(Order, SelectsEachRankAndKeepsTheElements) {
  using T = TypeParam;
  for (int n : {1, 2, 7, 64, 65, 129, 1000, 5000})
    for (int kind = 0; kind < 5; ++kind) {
      auto const x = hard_values<T>(n, kind, 2);
      auto const expected = sort_of(x);
      for (int k : {0, 1, n / 3, n / 2, n - 2, n - 1}) {
        if (k < 0 || k >= n) continue;
        std::vector<T> y = x;
        T const value = qselect(n, y.data(), k); // a signalling NaN may come back quiet
        ASSERT_EQ(bits(y[k]), expected[k]) << n << " kind " << kind << " rank " << k;
        ASSERT_TRUE(std::isnan(value) ? std::isnan(y[k]) : bits(value) == expected[k]);
        ASSERT_EQ(sort_of(y), expected);
      }
    }
}

// Patterns that make a quicksort with a fixed choice of pivots quadratic take the way out in the time of the others.
TYPED_TEST(Order, PatternsSort) {
  using T = TypeParam;
  int const n = 300000;
  for (int kind = 0; kind < 4; ++kind) {
    std::vector<T> x(n);
    for (int i = 0; i < n; ++i)
      x[i] = T(kind == 0 ? i % 2 : kind == 1 ? std::min(i, n - i) : kind == 2 ? i ^ 0x5555 : (i * 7919) % 64);
    auto expected = x;
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(qsort(n, x.data(), 1), 0);
    ASSERT_EQ(x, expected) << kind;
  }
}

// What the definition says, from a sort by the standard library; the step is taken in one rounding.
template <class T>
T quantile(std::vector<T> sorted, T q) {
  T const last = static_cast<T>(sorted.size() - 1);
  size_t const k = static_cast<size_t>(q * last), next = std::min(k + 1, sorted.size() - 1);
  T const f = std::fma(q, last, -static_cast<T>(k));
  if (f == 0 || sorted[k] == sorted[next]) return sorted[k];
  return sorted[k] + f * (sorted[next] - sorted[k]);
}

TYPED_TEST(Order, QuantilesAndOrderStatisticsInEverySetting) {
  using T = TypeParam;
  std::vector<T> const orders = {T(0.5), 0, 1, T(0.1), T(0.975), T(0.5), T(1) / 3};
  int const m = static_cast<int>(orders.size());
  for (int layout : {SSStorageRows, SSStorageCols})
    for (int sorted_layout : {SSStorageRows, SSStorageCols})
      for (int n : {1, 2, 3, 64, 100, 1001})
        for (int p : {1, 3, 5})
          for (int threads : {1, 2, 7})
            for (bool indexed : {false, true}) {
              Data<T> d = normal_data<T>(n, p, layout, 5);
              if (indexed)
                for (int j = 0; j < p; ++j) d.indices.push_back(j != 1);
              Task<T> task(d, indexed);
              std::vector<T> got(p * m, T(-77)), alone = got, sorted(static_cast<size_t>(n) * p, T(-77));
              task->quantileOrders = const_cast<T*>(orders.data());
              task->quantileOrderCount = task.integer(m);
              task->quantiles = alone.data();
              ASSERT_EQ(Quantiles<T>(task.get(), SSQuantiles, SSMethodFast, threads), 0);
              task->quantiles = got.data();
              task->orderStats = sorted.data();
              task->orderStatsStorage = task.integer(sorted_layout);
              ASSERT_EQ(Quantiles<T>(task.get(), SSQuantiles | SSOrderStatistics, SSMethodFast, threads), 0);
              ASSERT_EQ(bits(got), bits(alone));
              int row = 0;
              for (int j = 0; j < p; ++j) {
                if (!d.selected(j)) continue;
                std::vector<T> x;
                for (int i = 0; i < n; ++i) x.push_back(d(i, j));
                std::sort(x.begin(), x.end());
                for (int k = 0; k < m; ++k)
                  ASSERT_EQ(got[row * m + k], quantile(x, orders[k])) << n << " " << k;
                for (int i = 0; i < n; ++i)
                  ASSERT_EQ(sorted[p == 1 || sorted_layout == SSStorageRows ? row * n + i : i * p + row],
                            x[i]);
                ++row;
              }
              for (size_t k = static_cast<size_t>(row * m); k < got.size(); ++k) ASSERT_EQ(got[k], T(-77));
            }
}

TYPED_TEST(Order, InfinitiesZerosAndNaNInQuantiles) {
  using T = TypeParam;
  T const inf = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN(),
          most = std::numeric_limits<T>::max();
  struct Case {
    std::vector<T> x;
    T q, expected;
  };
  for (Case const& c : std::vector<Case>{{{1, 2, inf}, T(0.5), 2},
                                         {{1, 2, inf}, T(0.75), inf},
                                         {{1, 2, inf}, 1, inf},
                                         {{-inf, 2, 3}, T(0.25), -inf},
                                         {{-inf, -inf, 3}, T(0.25), -inf},
                                         {{-inf, inf}, 0, -inf},
                                         {{-inf, inf}, 1, inf},
                                         {{-most, most}, T(0.5), 0},
                                         {{-most, most}, T(0.75), most * T(0.75) - most * T(0.25)},
                                         {{nan, 1, 2}, 0, 1},
                                         {{T(-0.0), T(0.0)}, T(0.25), T(-0.0)},
                                         {{T(0.0), T(-0.0), T(0.0)}, 0, T(-0.0)}}) {
    Data<T> d(static_cast<int>(c.x.size()), 1, SSStorageRows);
    d.values = c.x;
    Task<T> task(d);
    T order = c.q, got = -5;
    task->quantileOrders = &order;
    task->quantileOrderCount = task.integer(1);
    task->quantiles = &got;
    ASSERT_EQ(Quantiles<T>(task.get(), SSQuantiles, SSMethodFast), 0);
    EXPECT_EQ(bits(got), bits(c.expected)) << c.x[0] << " " << c.x[1] << " order " << c.q;
  }
}

// In float, (n - 1) q would reach n.
TEST(Quantiles, FloatIndexBeyondItsIntegers) {
  int const n = (1 << 24) + 4;
  Data<float> d(n, 1, SSStorageRows);
  for (int i = 0; i < n; ++i) d.values[i] = static_cast<float>(i & ~7);
  Task<float> task(d);
  float orders[] = {1, 0.5f}, got[2];
  task->quantileOrders = orders;
  task->quantileOrderCount = task.integer(2);
  task->quantiles = got;
  ASSERT_EQ(Quantiles<float>(task.get(), SSQuantiles, SSMethodFast), 0);
  EXPECT_EQ(got[0], static_cast<float>((n - 1) & ~7));
  EXPECT_EQ(got[1], static_cast<float>((n / 2 - 1) & ~7));
}

TYPED_TEST(Order, SortEntryInEverySetting) {
  using T = TypeParam;
  for (int from : {SSStorageRows, SSStorageCols})
    for (int to : {SSStorageRows, SSStorageCols})
      for (int p : {1, 4})
        for (int threads : {1, 2, 7})
          for (int form = 0; form < 3; ++form) { // plain, with indices, in place
            int const n = 333;
            Data<T> d = normal_data<T>(n, p, from, 9);
            Data<T> const original = d;
            if (form == 1)
              for (int j = 0; j < p; ++j) d.indices.push_back(j != 0 || p == 1);
            if (form == 2 && from != to) continue;
            Task<T> task(d, form == 1);
            std::vector<T> out(static_cast<size_t>(n) * p);
            task->sortedData = form == 2 ? d.values.data() : out.data();
            task->sortedDataStorage = task.integer(to);
            ASSERT_EQ(Sort<T>(task.get(), 0, SSMethodSort, threads), 0);
            T const* const got = static_cast<T const*>(task->sortedData);
            int row = 0;
            for (int j = 0; j < p; ++j) {
              if (!d.selected(j)) continue;
              std::vector<T> x;
              for (int i = 0; i < n; ++i) x.push_back(original(i, j));
              std::sort(x.begin(), x.end());
              for (int i = 0; i < n; ++i)
                ASSERT_EQ(got[p == 1 || to == SSStorageRows ? row * n + i : i * p + row], x[i]);
              ++row;
            }
          }
}

TYPED_TEST(Order, StatusesInOrder) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(20, 2, SSStorageRows);
  Task<T> task(d);
  T orders[] = {T(0.5), T(0.1)}, results[4], sorted[40];
  auto const quantiles = [&](uint64_t method) {
    return Quantiles<T>(task.get(), SSQuantiles | SSOrderStatistics, method);
  };
  int const bad_layout = 3, bad_count = -1;
  EXPECT_EQ(Quantiles<T>(nullptr, SSQuantiles, SSMethodFast), SSNullTask);
  void const* const layout = task->dataStorage;
  task->dataStorage = nullptr;
  EXPECT_EQ(quantiles(0), SSNullStorage);
  task->dataStorage = &bad_layout;
  EXPECT_EQ(quantiles(0), SSBadStorage);
  task->dataStorage = layout;
  EXPECT_EQ(quantiles(0), SSNullQuantiles);
  task->quantiles = results;
  EXPECT_EQ(quantiles(0), SSNullQuantileOrders);
  task->quantileOrders = orders;
  EXPECT_EQ(quantiles(0), SSBadQuantileOrders);
  task->quantileOrderCount = &bad_count;
  EXPECT_EQ(quantiles(0), SSBadQuantileOrders);
  task->quantileOrderCount = task.integer(2);
  for (T bad : {T(-0.01), T(1.01), std::numeric_limits<T>::quiet_NaN()}) {
    orders[1] = bad;
    EXPECT_EQ(quantiles(0), SSBadQuantileOrders);
  }
  orders[1] = 1;
  EXPECT_EQ(quantiles(0), SSNullOrderStats);
  task->orderStats = sorted;
  EXPECT_EQ(quantiles(0), SSNullStorage);
  task->orderStatsStorage = &bad_layout;
  EXPECT_EQ(quantiles(0), SSBadStorage);
  task->orderStatsStorage = layout;
  EXPECT_EQ(quantiles(SSMethodOnePass), SSMethodNotSupported);
  void* const data = std::exchange(task->data, nullptr);
  EXPECT_EQ(quantiles(SSMethodFast), SSNullData);
  void const* const n = std::exchange(task->observations, nullptr);
  EXPECT_EQ(quantiles(SSMethodFast), SSBadObservations);
  task->observations = n;
  task->data = data;
  expect_to_survive_failing_allocations([&] { return quantiles(SSMethodFast); });

  auto const sort = [&](uint64_t method) { return Sort<T>(task.get(), 0, method); };
  EXPECT_EQ(sort(0), SSNullSortedData);
  task->sortedData = d.values.data();
  EXPECT_EQ(sort(0), SSNullStorage);
  task->sortedDataStorage = task.integer(SSStorageCols);
  EXPECT_EQ(sort(0), SSNullStorage); // in place between layouts
  task->sortedDataStorage = layout;
  task->indices = task.integers({1, 1});
  EXPECT_EQ(sort(0), SSSortInPlaceWithIndices);
  task->sortedData = sorted;
  task->sortedDataStorage = &bad_layout;
  EXPECT_EQ(sort(0), SSBadStorage);
  task->sortedDataStorage = task.integer(SSStorageCols);
  EXPECT_EQ(sort(SSMethodFast), SSMethodNotSupported);
  expect_to_survive_failing_allocations([&] { return sort(SSMethodSort); });
  std::vector<T> strided(40, T(1));
  expect_to_survive_failing_allocations([&] { return qsort(20, strided.data(), 2); });
}

} // namespace
