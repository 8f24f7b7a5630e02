// Helpers of the fitting tests: entries by type, tasks that free themselves, arrays next to guard pages,
// partitions, and thread services with and without threads.
#pragma once
#include "orv/core.h"
#include "orv/fitting.h"
#include "tests/support/guarded.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace fit_test {

template <class T>
struct Entries;
#define ORV_ENTRIES(t, T)                                                                                    \
  template <>                                                                                                \
  struct Entries<T> {                                                                                        \
    using SearchBlock = t##DFSearchBlock;                                                                    \
    static constexpr auto new_task = orv_df_kernel_##t##NewTask1D;                                           \
    static constexpr auto edit_spline = orv_df_kernel_##t##EditPPSpline1D;                                   \
    static constexpr auto edit_pointer = orv_df_kernel_##t##EditPtr;                                         \
    static constexpr auto edit_row = orv_df_kernel_##t##EditIdxPtr;                                          \
    static constexpr auto query_pointer = orv_df_kernel_##t##QueryPtr;                                       \
    static constexpr auto query_row = orv_df_kernel_##t##QueryIdxPtr;                                        \
    static constexpr auto natural = orv_df_kernel_##t##DFNaturalCubicSpline1D;                               \
    static constexpr auto akima = orv_df_kernel_##t##DFAkimaCubicSpline1D;                                   \
    static constexpr auto bessel = orv_df_kernel_##t##DFBesselCubicSpline1D;                                 \
    static constexpr auto hyman = orv_df_kernel_##t##DFHymanCubicSpline1D;                                   \
    static constexpr auto hermite = orv_df_kernel_##t##DFHermiteCubicSpline1D;                               \
    static constexpr auto second = orv_df_kernel_##t##DFDefaultCubicSpline1D;                                \
    static constexpr auto linear = orv_df_kernel_##t##DFLinearSpline1D;                                      \
    static constexpr auto quadratic = orv_df_kernel_##t##DFQuadraticSpline1D;                                \
    static constexpr auto search = orv_df_kernel_##t##DFSearch1D;                                            \
    static constexpr auto interpolate = orv_df_kernel_##t##DFInterpolate1D;                                  \
    static constexpr auto integrate = orv_df_kernel_##t##DFIntegrate1D;                                      \
    static constexpr decltype(&orv_df_kernel_##t##DFHybridSearch1D) kernels[2][7] = {                        \
        {orv_df_kernel_##t##DFUniformSearch1D, orv_df_kernel_##t##DFQuasiUniformSearch1D,                    \
         orv_df_kernel_##t##DFSortedSearch1D, orv_df_kernel_##t##DFPeakSearch1D,                             \
         orv_df_kernel_##t##DFHybridSearch1D, orv_df_kernel_##t##DFUserDefSearch1D,                          \
         orv_df_kernel_##t##DFUniUserDefSearch1D},                                                           \
        {orv_df_kernel_##t##DFUniformSearch1D32, orv_df_kernel_##t##DFQuasiUniformSearch1D32,                \
         orv_df_kernel_##t##DFSortedSearch1D32, orv_df_kernel_##t##DFPeakSearch1D32,                         \
         orv_df_kernel_##t##DFHybridSearch1D32, orv_df_kernel_##t##DFUserDefSearch1D32,                      \
         orv_df_kernel_##t##DFUniUserDefSearch1D32}};                                                        \
  };
ORV_ENTRIES(d, double)
ORV_ENTRIES(s, float)
#undef ORV_ENTRIES

template <class T>
using Construct = int32_t (*)(DFTask*, int64_t, int64_t, const DFThreader*);

// Thread services: plain loops, and real threads.
template <int Threads>
DFThreader threads() {
  DFThreader t{};
  t.maxThreads = [] { return Threads; };
  t.parallelFor = [](int32_t iterations, int32_t count, void* context, DFThreadBody body) {
    if (Threads == 1) {
      for (int32_t i = 0; i < iterations; ++i) body(i, 0, nullptr, context);
      return;
    }
    std::vector<std::thread> workers;
    for (int32_t w = 0; w < count; ++w)
      workers.emplace_back([=] {
        for (int32_t i = w; i < iterations; i += count) body(i, w, nullptr, context);
      });
    for (auto& w : workers) w.join();
  };
  return t;
}
inline DFThreader const serial = threads<1>();
inline DFThreader const parallel = threads<3>();

using orv::test::Guarded;

enum class Shape { Even, Random, Hard }; // Hard: cell widths over six orders of magnitude

template <class T>
std::vector<T> partition(Shape shape, int n, std::mt19937_64& g, double from = -3) {
  std::vector<T> x(static_cast<size_t>(n));
  double at = from;
  for (int i = 0; i < n; ++i) {
    x[static_cast<size_t>(i)] = static_cast<T>(at);
    double const u = std::ldexp(static_cast<double>(g() >> 11), -53);
    // Widths rounded to the type's grid at the far end, so that breaks stay distinct in float.
    at += shape == Shape::Even     ? 0.125
          : shape == Shape::Random ? 0.05 + u
                                   : std::exp2(-17 + 20 * std::floor(u * 8) / 7) * (sizeof(T) == 8 ? 1 : 1.0);
  }
  return x;
}

template <class T>
std::vector<T> random_values(size_t n, std::mt19937_64& g, double low = -1, double high = 1) {
  std::vector<T> v(n);
  for (auto& e : v) e = static_cast<T>(low + (high - low) * std::ldexp(static_cast<double>(g() >> 11), -53));
  return v;
}

// A task with its coefficients.
template <class T>
struct Task {
  using E = Entries<T>;
  DFTask* task = nullptr;
  std::vector<T> x, y, coefficients;
  int functions;

  // `even` passes only the two ends of x. Values are by rows.
  Task(std::vector<T> breaks, std::vector<T> values, int count = 1, int64_t hint = DFNonUniform,
       int64_t layout = DFRows, int32_t wide = 0)
      : x(std::move(breaks)), y(std::move(values)), functions(count) {
    n = static_cast<int>(x.size());
    if (hint == DFUniform) x = {x.front(), x.back()};
    if (layout == DFInterleaved) {
      auto rows = y;
      for (int j = 0; j < count; ++j)
        for (int i = 0; i < n; ++i)
          y[static_cast<size_t>(i * count + j)] = rows[static_cast<size_t>(j * n + i)];
    }
    EXPECT_EQ(E::new_task(&task, n, x.data(), hint, count, count ? y.data() : nullptr, layout, wide), 0);
  }
  ~Task() { orv_df_kernel_DeleteTask(&task); }
  Task(Task const&) = delete;
  Task& operator=(Task const&) = delete;

  Task& spline(int64_t order, int64_t type, int64_t bound, T const* bound_values = nullptr,
               int64_t inner_type = 0, T const* inner = nullptr) {
    coefficients.assign(static_cast<size_t>(order * n * functions), T(-777));
    EXPECT_EQ(E::edit_spline(task, order, type, bound, bound_values, inner_type, inner,
                             functions ? coefficients.data() : nullptr, DFRows),
              0);
    return *this;
  }
  T const* row(int j) const { return static_cast<T const*>(task->coeffRows[j]); }

  std::vector<T> at(std::vector<T> const& sites, std::vector<int32_t> orders = {1}, int64_t layout = 16,
                    DFThreader const* threader = &serial, int64_t site_hint = 0) const {
    auto const q = std::max<int64_t>(std::count(orders.begin(), orders.end(), 1), 1);
    std::vector<T> r(sites.size() * static_cast<size_t>(functions * q));
    EXPECT_EQ(E::interpolate(task, 1, 0, static_cast<int64_t>(sites.size()), sites.data(), site_hint,
                             static_cast<int64_t>(orders.size()), orders.data(), nullptr, r.data(), layout,
                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             threader),
              0);
    return r;
  }
  std::vector<T> integrals(std::vector<T> const& a, std::vector<T> const& b, int64_t layout = 16,
                           DFThreader const* threader = &serial) const {
    std::vector<T> r(a.size() * static_cast<size_t>(functions));
    EXPECT_EQ(E::integrate(task, 0, static_cast<int64_t>(a.size()), a.data(), 0, b.data(), 0, nullptr,
                           nullptr, r.data(), layout, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr, nullptr, threader),
              0);
    return r;
  }
  int n;
};

// Runs `work` (which returns a status) with the k-th allocation failing, for every k that it makes; each run
// must give -1001, or 0 at last, and leave no block behind.
template <class Work>
int walk_allocations(Work&& work) {
  int64_t const before = orv_serv_blocks_in_use();
  for (int k = 1;; ++k) {
    orv_serv_fail_allocation(k);
    int32_t const status = work();
    int64_t const made = orv_serv_fail_allocation(0);
    EXPECT_EQ(orv_serv_blocks_in_use(), before);
    if (made < k) {
      EXPECT_EQ(status, 0);
      return k - 1;
    }
    EXPECT_EQ(status, DFStatusNoMemory) << "allocation " << k;
  }
}

} // namespace fit_test
