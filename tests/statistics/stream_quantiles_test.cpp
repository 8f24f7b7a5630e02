// Quantiles of streams: the bound of the rank error, an independent model, cuts, states.
#include "tests/statistics/estimates.h"

#include <algorithm>

namespace {
using namespace orv::test;

template <class T>
class StreamQuantile : public ::testing::Test {};
using Reals = ::testing::Types<double, float>;
TYPED_TEST_SUITE(StreamQuantile, Reals);

// The plain algorithm over lists, with doubles and no sharing of memory.
struct Model {
  struct Entry {
    double value;
    int64_t least, greatest;
  };
  using Summary = std::vector<Entry>;
  double e;
  int k = -1;
  int64_t length = 0, b = 0, room = 0, total = 0;
  struct Run {
    std::vector<double> input;
    std::vector<Summary> levels;
    int64_t b;
  };
  std::vector<Run> runs;

  explicit Model(double e) : e(e) {}
  static Summary merge(Summary const& a, Summary const& b) {
    Summary out;
    int64_t last_a = 0, last_b = 0;
    size_t i = 0, j = 0;
    while (i < a.size() || j < b.size()) {
      bool const take_a = j == b.size() || (i < a.size() && b[j].value > a[i].value);
      if (take_a) {
        int64_t const over = j < b.size() ? b[j].greatest - 1 : b.empty() ? 0 : b.back().greatest;
        out.push_back({a[i].value, a[i].least + last_b, a[i].greatest + over});
        last_a = a[i++].least;
      } else {
        int64_t const over = i < a.size() ? a[i].greatest - 1 : a.empty() ? 0 : a.back().greatest;
        out.push_back({b[j].value, b[j].least + last_a, b[j].greatest + over});
        last_b = b[j++].least;
      }
    }
    return out;
  }
  static Summary sorted(std::vector<double> x) {
    std::sort(x.begin(), x.end());
    Summary s;
    for (double v : x)
      s.push_back({v, static_cast<int64_t>(s.size()) + 1, static_cast<int64_t>(s.size()) + 1});
    return s;
  }
  static Summary half(Summary const& s, int64_t h) {
    Summary out;
    for (int64_t i = 0; i < h; ++i) out.push_back(s[static_cast<size_t>(2 * i)]);
    return out;
  }
  void add(double x) {
    if (room == 0) {
      ++k;
      length = static_cast<int64_t>(std::floor((std::exp2(k + 2) - 1) / e) -
                                    std::floor((std::exp2(k + 1) - 1) / e));
      b = std::max<int64_t>(2, static_cast<int64_t>(std::floor(std::log(e * static_cast<double>(length)) *
                                                               1.4426950408889634 / e)));
      room = length;
      runs.push_back({{}, std::vector<Summary>(80), b});
    }
    Run& run = runs.back();
    run.input.push_back(x);
    --room;
    ++total;
    if (static_cast<int64_t>(run.input.size()) < run.b) return;
    Summary carry = half(sorted(run.input), run.b / 2);
    run.input.clear();
    size_t level = 1;
    for (; !run.levels[level].empty(); ++level) {
      carry = half(merge(carry, run.levels[level]), run.b / 2);
      run.levels[level].clear();
    }
    run.levels[level] = carry;
  }
  double report(double q) const {
    Summary all;
    for (Run const& run : runs) {
      for (auto const& level : run.levels)
        if (!level.empty()) all = merge(all, level);
      if (!run.input.empty()) all = merge(all, sorted(run.input));
    }
    double const r = static_cast<double>(total) * q;
    int64_t best = 2 * total;
    double value = 0;
    for (Entry const& x : all) {
      auto const distance =
          static_cast<int64_t>(std::fabs(0.5 * static_cast<double>(x.least + x.greatest) - r));
      if (distance < best) best = distance, value = x.value;
    }
    return value;
  }
};

std::vector<double> sequence(int n, int kind) {
  std::mt19937 random(static_cast<unsigned>(n + kind));
  std::vector<double> x(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    int const r = static_cast<int>(random() >> 9);
    x[static_cast<size_t>(i)] = kind == 0   ? r
                                : kind == 1 ? i
                                : kind == 2 ? n - i
                                : kind == 3 ? r % 17
                                            : (i % 100) * 64 + r % 64;
  }
  return x;
}

template <class T>
struct StreamTask {
  Data<T> d;
  Task<T> task;
  std::vector<T> orders, results;
  T epsilon;
  StreamTask(Data<T> data, double e, std::vector<double> const& q)
      : d(std::move(data)), task(d), orders(q.begin(), q.end()),
        results(q.size() * static_cast<size_t>(d.p), T(-7)), epsilon(static_cast<T>(e)) {
    task->streamQuantileOrders = orders.data();
    task->streamQuantileOrderCount = task.integer(static_cast<int>(orders.size()));
    task->streamQuantiles = results.data();
    task->streamQuantileParams = &epsilon;
    task->streamQuantileParamCount = task.integer(1);
  }
  int32_t call(uint64_t method, int threads = 1) {
    return StreamQuantiles<T>(task.get(), 0, method, threads);
  }
};
std::vector<double> const tenths = {0, 0.01, 0.1, 0.25, 0.5, 0.75, 0.9, 0.99, 1};

Data<double> single(std::vector<double> const& x) {
  Data<double> d(static_cast<int>(x.size()), 1, SSStorageRows);
  d.values = x;
  return d;
}

TEST(StreamQuantiles, AsAPlainModelSays) {
  for (double e : {1.0, 0.75, 0.5, 0.43, 0.3, 0.1, 0.03, 0.01})
    for (int kind = 0; kind < 5; ++kind)
      for (int n : {1, 2, 5, 50, 777, 20000}) {
        auto const x = sequence(n, kind);
        StreamTask<double> s(single(x), e, tenths);
        ASSERT_EQ(s.call(SSMethodStreamReport), 0);
        Model model(e);
        for (double v : x) model.add(v);
        for (size_t k = 0; k < tenths.size(); ++k)
          ASSERT_EQ(s.results[k], model.report(tenths[k]))
              << "epsilon " << e << " n " << n << " kind " << kind;
      }
}

TEST(StreamQuantiles, RankErrorWithinTheBound) {
  for (double e : {0.1, 0.02, 0.003})
    for (int kind = 0; kind < 5; ++kind)
      for (int n : {static_cast<int>(32 / e) + 1, 50021, 200000}) {
        auto x = sequence(n, kind);
        StreamTask<double> s(single(x), e, tenths);
        ASSERT_EQ(s.call(SSMethodStreamReport), 0);
        std::sort(x.begin(), x.end());
        for (size_t k = 0; k < tenths.size(); ++k) {
          auto const [low, high] = std::equal_range(x.begin(), x.end(), s.results[k]);
          ASSERT_LT(low, high) << "a value that is not in the data";
          double const r = n * tenths[k], first = static_cast<double>(low - x.begin()) + 1,
                       last = static_cast<double>(high - x.begin());
          double const miss = r < first ? first - r : r > last ? r - last : 0;
          EXPECT_LE(miss, e * n + 1) << "epsilon " << e << " n " << n << " kind " << kind << " order "
                                     << tenths[k];
        }
      }
}

// Blocks of any sizes, both layouts, any number of threads, an update without a report: one result.
TYPED_TEST(StreamQuantile, CutsLayoutsAndThreadsGiveEqualResults) {
  using T = TypeParam;
  int const n = 9000, p = 3;
  for (double e : {0.5, 0.02}) {
    std::vector<T> expected;
    for (int layout : {SSStorageRows, SSStorageCols})
      for (int step : {n, 1, 777})
        for (int threads : {1, 2, 7}) {
          if (step == 1 && threads > 1) continue;
          StreamTask<T> s(normal_data<T>(n, p, layout, 3), e, tenths);
          for (int at = 0; at < n; at += step) {
            Data<T> const part = s.d.part(at, std::min(n, at + step));
            s.task->data = const_cast<T*>(part.values.data());
            s.task->observations = &part.n;
            ASSERT_EQ(
                s.call(at % 2 ? SSMethodStreamUpdate : SSMethodStreamUpdate | SSMethodStreamReport, threads),
                0);
          }
          s.task->observations = s.task.integer(0);
          s.task->data = nullptr;
          s.task->dataStorage = nullptr;
          ASSERT_EQ(s.call(SSMethodStreamReport), 0);
          if (expected.empty()) expected = s.results;
          ASSERT_EQ(s.results, expected) << layout << " " << step << " " << threads;
        }
  }
}

TYPED_TEST(StreamQuantile, VariablesTakePartFromTheFirstCall) {
  using T = TypeParam;
  Data<T> d = normal_data<T>(500, 3, SSStorageCols);
  d.indices = {1, 0, 1};
  StreamTask<T> s(d, 0.05, {0, 0.5});
  ASSERT_EQ(s.call(SSMethodStreamReport), 0);
  for (int row = 0; row < 2; ++row) {
    T least = d(0, 2 * row);
    for (int i = 0; i < d.n; ++i) least = std::min(least, d(i, 2 * row));
    EXPECT_EQ(s.results[static_cast<size_t>(2 * row)], least);
  }
  EXPECT_EQ(s.results[4], T(-7));
  s.task->indices = s.task.integers({1, 1, 1});
  EXPECT_EQ(s.call(SSMethodStreamReport), SSBadIndices);
  s.task->indices = nullptr;
  EXPECT_EQ(s.call(SSMethodStreamReport), 0);
  s.task->dimension = s.task.integer(4);
  EXPECT_EQ(s.call(SSMethodStreamReport), SSBadDimension);
  s.task->dimension = s.task.integer(3);
  s.epsilon = T(0.06);
  EXPECT_EQ(s.call(SSMethodStreamReport), SSBadStreamQuantileParams);
  s.task->dimension = nullptr; // freeing doesn't look at it
  __rnqSQuantilesFreeBuffers(s.task.get());
  EXPECT_EQ(s.task->streamQuantileState, nullptr);
  __rnqSQuantilesFreeBuffers(s.task.get());
  s.task->dimension = s.task.integer(3);
  EXPECT_EQ(s.call(SSMethodStreamReport), 0);
  EXPECT_EQ(s.task->cleanupCount, 1);
}

TYPED_TEST(StreamQuantile, StatusesInOrder) {
  using T = TypeParam;
  T orders[] = {T(0.5)}, results[] = {5}, epsilon = 0;
  int const negative = -1, two = 2, layout = SSStorageRows, bad_layout = 4;
  Data<T> d = normal_data<T>(40, 1, layout);
  Task<T> task(d);
  auto const call = [&](uint64_t method = 0) { return StreamQuantiles<T>(task.get(), 0, method); };
  void const* const n = std::exchange(task->observations, nullptr);
  EXPECT_EQ(call(), SSBadObservations);
  task->observations = &negative;
  EXPECT_EQ(call(), SSBadObservations);
  task->observations = n;
  void* const data = std::exchange(task->data, nullptr);
  EXPECT_EQ(call(), SSNullData);
  task->data = data;
  task->dataStorage = nullptr;
  EXPECT_EQ(call(), SSNullStorage);
  task->dataStorage = &bad_layout;
  EXPECT_EQ(call(), SSBadStorage);
  task->dataStorage = &layout;
  EXPECT_EQ(call(), SSNullStreamQuantiles);
  task->streamQuantiles = results;
  EXPECT_EQ(call(), SSNullStreamQuantileOrders);
  task->streamQuantileOrders = orders;
  EXPECT_EQ(call(), SSBadStreamQuantileOrders);
  task->streamQuantileOrderCount = &negative;
  EXPECT_EQ(call(), SSBadStreamQuantileOrders);
  task->streamQuantileOrderCount = task.integer(1);
  EXPECT_EQ(call(), SSNullStreamQuantileParamCount);
  task->streamQuantileParamCount = &two;
  EXPECT_EQ(call(), SSBadStreamQuantileParamCount);
  task->streamQuantileParamCount = task.integer(1);
  orders[0] = std::numeric_limits<T>::quiet_NaN();
  EXPECT_EQ(call(), SSBadStreamQuantileOrders);
  orders[0] = T(0.5);
  EXPECT_EQ(call(), SSNullStreamQuantileParams);
  task->streamQuantileParams = &epsilon;
  EXPECT_EQ(call(SSMethodFast), SSMethodNotSupported);
  for (T bad : {T(0), T(-1), T(1.01), std::numeric_limits<T>::quiet_NaN()}) {
    epsilon = bad;
    EXPECT_EQ(call(SSMethodStreamReport), SSBadStreamQuantileParams);
  }
  EXPECT_EQ(task->streamQuantileState, nullptr);
  epsilon = T(0.1);
  task->observations = task.integer(0);
  EXPECT_EQ(call(SSMethodStreamReport), 0); // an empty stream leaves the results alone
  EXPECT_EQ(results[0], 5);
}

// A call that fails for want of memory has absorbed nothing: made again, it ends where one call would have.
TEST(StreamQuantiles, FailingAllocationsAbsorbNothing) {
  auto const x = sequence(3000, 0);
  StreamTask<double> whole(single(x), 0.05, tenths);
  ASSERT_EQ(whole.call(SSMethodStreamReport), 0);
  int64_t const before = orv_serv_blocks_in_use();
  {
    StreamTask<double> s(single(x), 0.05, tenths);
    int failures = 0;
    for (int64_t k = 1;; ++k) {
      orv_serv_fail_allocation(1 + k % 3);
      int32_t const status = s.call(SSMethodStreamUpdate);
      orv_serv_fail_allocation(0);
      if (status == 0) break;
      ASSERT_EQ(status, SSOutOfMemory);
      ASSERT_LT(++failures, 100);
    }
    EXPECT_GT(failures, 5);
    s.task->observations = s.task.integer(0);
    orv_serv_fail_allocation(1);
    EXPECT_EQ(s.call(SSMethodStreamReport), SSOutOfMemory);
    orv_serv_fail_allocation(0);
    ASSERT_EQ(s.call(SSMethodStreamReport), 0);
    EXPECT_EQ(s.results, whole.results);
  }
  EXPECT_EQ(orv_serv_blocks_in_use(), before);
}

} // namespace
