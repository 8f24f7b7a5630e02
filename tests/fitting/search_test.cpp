// Cell search: every method against plain counting, special sites, callbacks, threads.
#include "support.h"

using namespace fit_test;

namespace {

template <class T>
class Search : public testing::Test {};
using Reals = testing::Types<double, float>;
TYPED_TEST_SUITE(Search, Reals);

template <class T>
int64_t counted(std::vector<T> const& x, T s) {
  auto const n = static_cast<int64_t>(x.size());
  if (s == x.back()) return n - 1;
  return s != s ? n : std::upper_bound(x.begin(), x.end(), s) - x.begin();
}

// Sites inside, outside, on breaks and next to them, and the special values.
template <class T>
std::vector<T> hard_sites(std::vector<T> const& x, size_t count, std::mt19937_64& g) {
  T const inf = std::numeric_limits<T>::infinity();
  T const width = x.back() - x.front();
  auto s = random_values<T>(count, g, x.front() - width / 8, x.back() + width / 8);
  T const special[] = {inf,
                       -inf,
                       std::numeric_limits<T>::quiet_NaN(),
                       T(1e30),
                       T(-1e30),
                       x.front(),
                       x.back(),
                       std::nextafter(x.back(), -inf),
                       std::nextafter(x.back(), inf),
                       std::nextafter(x.front(), -inf)};
  for (size_t i = 0; i < s.size(); ++i) {
    if (i % 7 == 3) s[i] = special[g() % std::size(special)];
    if (i % 7 == 5) s[i] = x[g() % x.size()];
    if (i % 7 == 6) s[i] = std::nextafter(x[g() % x.size()], g() & 1 ? inf : -inf);
  }
  return s;
}

TYPED_TEST(Search, EveryMethodCountsTheBreaks) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(9);
  for (int const n : {2, 3, 9, 16, 17, 24, 60, 1000, 6000})
    for (Shape const shape : {Shape::Even, Shape::Random, Shape::Hard}) {
      if (shape == Shape::Hard && n > 60) continue;
      auto const x = partition<T>(shape, n, g);
      Task<T> task(x, {}, 0);
      Guarded<T> const guarded(x);
      E::edit_pointer(task.task, DFParamBreaks, guarded.data());
      for (size_t const count : {0, 1, 5, 31, 32, 200, 7001}) {
        auto sites = hard_sites(x, count, g);
        for (int64_t const hint : {0, 2, 64}) { // hybrid, quasi-uniform, sorted
          if (hint == 64)
            std::sort(sites.begin(), sites.end(), [](T a, T b) { return a < b || (a == a && b != b); });
          task.task->breakHint = hint == 2 ? DFQuasiUniform : DFNonUniform;
          T const peaks[][5] = {
              {0, 0, 0, 0, 0}, {0, 1, 0, 0, static_cast<T>(n)}, {0, 1, 0, 0, static_cast<T>(n / 2)}};
          for (T const* data : {static_cast<T const*>(nullptr), peaks[0], peaks[1], peaks[2]})
            for (DFThreader const* threader : {&serial, &parallel}) {
              Guarded<int32_t> const cells(std::vector<int32_t>(count, -5));
              ASSERT_EQ(E::search(task.task, 0, static_cast<int64_t>(count), sites.data(),
                                  hint == 64 ? 64 : 0, data, cells.data(), nullptr, nullptr, threader),
                        0);
              for (size_t i = 0; i < count; ++i)
                ASSERT_EQ(cells.data()[i], counted(x, sites[i]))
                    << n << " hint " << hint << " site " << sites[i];
            }
        }
        task.task->breakHint = DFNonUniform;
      }
    }
}

TYPED_TEST(Search, UniformPartitions) {
  using T = TypeParam;
  std::mt19937_64 g(19);
  for (int const n : {2, 3, 33, 1001}) {
    std::vector<T> x;
    for (int i = 0; i < n; ++i) x.push_back(static_cast<T>(i) / 4 - 3); // exact breaks and scale
    Task<T> task(x, {}, 0, DFUniform);
    for (size_t const count : {1, 40, 7000}) {
      auto const sites = hard_sites(x, count, g);
      std::vector<int32_t> cells(count, -5);
      ASSERT_EQ(Entries<T>::search(task.task, 0, static_cast<int64_t>(count), sites.data(), 0, nullptr,
                                   cells.data(), nullptr, nullptr, &parallel),
                0);
      for (size_t i = 0; i < count; ++i) {
        T const s = sites[i];
        int64_t const want = counted(x, s);
        // Next to an inner break the rounded difference may reach it.
        bool const beside = want > 0 && want < n && std::abs(s - x[static_cast<size_t>(want)]) < T(1e-5);
        ASSERT_TRUE(cells[i] == want || (beside && cells[i] == want + 1 && want + 1 < n))
            << n << " site " << s;
      }
    }
  }
  T const ends[] = {0, 1};
  DFTask* huge = nullptr; // more cells than a float can tell apart
  ASSERT_EQ(Entries<T>::new_task(&huge, 2147483647, ends, DFUniform, 0, nullptr, 0, 0), 0);
  T const sites[] = {-1, 0, T(0.5), 1, 2};
  int32_t cells[5];
  ASSERT_EQ(Entries<T>::search(huge, 0, 5, sites, 0, nullptr, cells, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(cells[0], 0);
  EXPECT_EQ(cells[1], 1);
  EXPECT_NEAR(cells[2], 1073741824, 64);
  EXPECT_EQ(cells[3], 2147483646);
  EXPECT_EQ(cells[4], 2147483647);
  orv_df_kernel_DeleteTask(&huge);
}

TYPED_TEST(Search, KernelsAndTheirTwinsAgree) {
  using T = TypeParam;
  std::mt19937_64 g(29);
  auto const x = partition<T>(Shape::Random, 500, g);
  Task<T> task(x, {}, 0);
  auto const sites = hard_sites(x, 100, g);
  auto callback = [](int64_t const*, T const*, int64_t* cells, int32_t*, void*, void*) {
    cells[0] = 7;
    return 0;
  };
  for (int method = 0; method < 7; ++method) {
    int32_t cells[2][100];
    for (int form = 0; form < 2; ++form) {
      typename Entries<T>::SearchBlock block{};
      block.task = task.task;
      block.siteCount = 100;
      block.sites = sites.data();
      block.cells = cells[form];
      block.scale = 499 / (x.back() - x.front());
      block.peak = 250;
      block.callback = callback;
      ASSERT_EQ(Entries<T>::kernels[form][method](&block), 0);
    }
    EXPECT_EQ(std::memcmp(cells[0], cells[1], sizeof cells[0]), 0) << method;
  }
}

// What the callback does is a record that it gets as its parameter.
struct Plan {
  int32_t result = 0;
  std::vector<int64_t> counts;
  int fail_at = -1;
};

TYPED_TEST(Search, Callbacks) {
  using T = TypeParam;
  using E = Entries<T>;
  std::vector<T> const x{0, 1, 2, 3, 4, 5, 6, 7};
  auto guess = [](int64_t const* count, T const* sites, int64_t* cells, int32_t* flags, void* parameter,
                  void*) {
    auto& plan = *static_cast<Plan*>(parameter);
    for (int64_t i = 0; i < *count; ++i) {
      cells[i] = static_cast<int64_t>(sites[i] * 3) - 4; // a poor guess, also below 0 and above n
      flags[i] = sites[i] == T(2.5) ? cells[i] = 99, 1 : 0;
    }
    plan.counts.push_back(*count);
    return static_cast<int>(plan.counts.size()) == plan.fail_at ? -77 : plan.result;
  };
  for (bool const even : {false, true})
    for (int32_t const wide : {0, 1}) {
      Task<T> task(x, {}, 0, even ? DFUniform : DFNonUniform, DFRows, wide);
      auto run = [&](std::vector<T> const& sites, Plan& plan, std::vector<int64_t>& cells) {
        std::vector<int32_t> narrow(sites.size() + 1, -5);
        cells.assign(sites.size() + 1, -5);
        int32_t const status =
            E::search(task.task, 0, static_cast<int64_t>(sites.size()), sites.data(), 0, nullptr,
                      wide ? static_cast<void*>(cells.data()) : narrow.data(), guess, &plan, &parallel);
        if (!wide) cells.assign(narrow.begin(), narrow.end());
        return status;
      };
      std::vector<T> sites;
      for (int i = 0; i < 300; ++i) sites.push_back(static_cast<T>(i % 90) / 10 - T(0.55));
      sites[9] = T(2.5), sites[10] = 7, sites[11] = 2;
      Plan plan;
      std::vector<int64_t> cells;
      ASSERT_EQ(run(sites, plan, cells), 0);
      EXPECT_EQ(plan.counts, (std::vector<int64_t>{128, 128, 44}));
      for (size_t i = 0; i < sites.size(); ++i)
        if (sites[i] == T(2.5)) {
          EXPECT_EQ(cells[i], 99);
        } else if (sites[i] == 2 && !even) {
          EXPECT_EQ(cells[i], 2); // the guess was break 2 itself, and stands
        } else {
          EXPECT_EQ(cells[i], counted(x, sites[i])) << sites[i];
        }
      EXPECT_EQ(cells.back(), -5);
      sites.resize(128); // a last call with nothing left, whose result counts
      plan = {.result = 5, .counts = {}};
      EXPECT_EQ(run(sites, plan, cells), 5);
      EXPECT_EQ(plan.counts, (std::vector<int64_t>{128, 0}));
      plan = {.result = 1000, .counts = {}};
      EXPECT_EQ(run(sites, plan, cells), 0);
      EXPECT_EQ(cells[20], static_cast<int64_t>(sites[20] * 3) - 4);
      plan = {.counts = {}, .fail_at = 2};
      EXPECT_EQ(run(sites, plan, cells), -77);
      plan = {};
      EXPECT_EQ(run({}, plan, cells), 0);
      EXPECT_EQ(plan.counts, std::vector<int64_t>{0});
    }
}

TYPED_TEST(Search, HintsAndStatuses) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(31);
  auto const x = partition<T>(Shape::Random, 100, g);
  Task<T> task(x, {}, 0), even(x, {}, 0, DFUniform);
  std::vector<int32_t> cells(9000);
  T const site = 0;
  auto status = [&](DFTask* of, int64_t hint, T kind, T peak) {
    T const data[] = {9, kind, 9, 9, peak};
    return E::search(of, 0, 1, &site, hint, data, cells.data(), nullptr, nullptr, nullptr);
  };
  EXPECT_EQ(status(task.task, 0, 1, 100), 0);
  EXPECT_EQ(status(task.task, 0, 1, T(100.5)), DFStatusBadDataHint);
  EXPECT_EQ(status(task.task, 0, 1, -1), DFStatusBadDataHint);
  EXPECT_EQ(status(task.task, 0, 1, std::numeric_limits<T>::quiet_NaN()), DFStatusBadDataHint);
  EXPECT_EQ(status(task.task, 0, 2, 0), DFStatusBadDataHint);
  EXPECT_EQ(status(task.task, 64, 2, 0), 0); // not looked at
  EXPECT_EQ(status(even.task, 0, 2, 0), 0);
  EXPECT_EQ(E::search(nullptr, 0, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr),
            DFStatusNullTask);
  T const ends[] = {x.front() - 1, x.back() + 1};
  for (int64_t const count : {1, 2, 50, 4096, 9000}) {
    ASSERT_EQ(E::search(task.task, 0, count, ends, DFSitesUniform, nullptr, cells.data(), nullptr, nullptr,
                        &parallel),
              0);
    for (int64_t i = 0; i < count; ++i) {
      double const s =
          ends[0] + (double(ends[1]) - ends[0]) * double(i) / double(std::max<int64_t>(count - 1, 1));
      auto const want = counted(x, static_cast<T>(s));
      ASSERT_NEAR(cells[static_cast<size_t>(i)], want,
                  std::abs(s - x[static_cast<size_t>(std::clamp<int64_t>(want, 0, 99))]) < 1e-4 ||
                      (want > 0 && std::abs(s - x[static_cast<size_t>(want - 1)]) < 1e-4));
    }
    EXPECT_EQ(walk_allocations([&] {
                return E::search(task.task, 0, count, ends, DFSitesUniform, nullptr, cells.data(), nullptr,
                                 nullptr, &serial);
              }),
              count >= 4096);
  }
}

} // namespace
