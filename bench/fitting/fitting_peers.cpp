// Times search, cubic evaluation and construction beside std::upper_bound, the GNU Scientific Library and
// Boost. Every figure is the median of interleaved runs on one thread, in nanoseconds per site or per break,
// with the quartiles; ratios are peer over ours. Usage: orv_fitting_peers [runs]
#include "bench/cycles.h"
#include "orv/fitting.h"

#include <algorithm>
#include <boost/math/interpolators/cubic_hermite.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <gsl/gsl_spline.h>
#include <random>
#include <string>
#include <vector>

namespace {

// Time that the thread has run: other work on the machine is left out.
double now() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return 1e9 * static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec);
}

struct Entry {
  std::string name;
  std::function<void()> run;
};

// Runs all entries in turn, `runs` times; the first is ours.
void compare(std::string const& what, double elements, int runs, std::vector<Entry> const& entries) {
  std::vector<std::vector<double>> times(entries.size());
  for (auto const& e : entries) e.run();
  for (int r = 0; r < runs; ++r)
    for (size_t k = 0; k < entries.size(); ++k) {
      double const start = now();
      entries[k].run();
      times[k].push_back((now() - start) / elements);
    }
  double ours = 0;
  for (size_t k = 0; k < entries.size(); ++k) {
    auto& t = times[k];
    std::sort(t.begin(), t.end());
    double const median = t[t.size() / 2];
    if (k == 0) ours = median;
    std::printf("%-38s %-18s %8.2f ns [%.2f, %.2f]  %6.2f\n", what.c_str(), entries[k].name.c_str(), median,
                t[t.size() / 4], t[t.size() * 3 / 4], median / ours);
  }
}

double sink = 0;

} // namespace

int main(int argc, char** argv) {
  int const runs = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 15;
  constexpr int site_count = 1000000;
  std::mt19937_64 g(1);
  std::uniform_real_distribution<double> unit(0, 1);
  auto const start = std::chrono::steady_clock::now();
  uint64_t const first_tick = orv::bench::ticks();
  double const per_tick = orv::bench::cycles_per_tick();
  std::chrono::duration<double, std::nano> passed;
  while ((passed = std::chrono::steady_clock::now() - start).count() < 2e7) {
  }
  std::printf("core cycles in a nanosecond: %.2f\n",
              static_cast<double>(orv::bench::ticks() - first_tick) / passed.count() * per_tick);
  std::printf("%-38s %-18s %11s %-15s %7s\n", "", "", "median", "[quartiles]", "ratio");
  for (int const n : {1000, 1000000}) {
    std::vector<double> x(static_cast<size_t>(n)), y(static_cast<size_t>(n)), slopes(static_cast<size_t>(n));
    for (auto& e : x) e = unit(g);
    std::sort(x.begin(), x.end());
    x.erase(std::unique(x.begin(), x.end()), x.end());
    auto const breaks = static_cast<int>(x.size());
    y.resize(x.size()), slopes.resize(x.size());
    for (auto& e : y) e = unit(g);
    for (auto& e : slopes) e = unit(g);
    std::vector<double> coefficients(4 * x.size());
    DFTask* task;
    orv_df_kernel_dNewTask1D(&task, breaks, x.data(), DFNonUniform, 1, y.data(), DFRows, 0);
    orv_df_kernel_dEditPPSpline1D(task, 4, 5, DFBoundFreeEnd, nullptr, 0, nullptr, coefficients.data(),
                                  DFRows);
    gsl_spline* spline = gsl_spline_alloc(gsl_interp_cspline, x.size());
    gsl_interp_accel* accel = gsl_interp_accel_alloc();
    std::string const size = std::to_string(n) + " breaks, ";
    int const repeats = 1000000 / n; // as long as the other runs
    auto repeated = [&](auto work) {
      return [=] {
        for (int k = 0; k < repeats; ++k) work();
      };
    };
    compare("natural cubic, " + size + "construction", static_cast<double>(breaks) * repeats, runs,
            {{"orv", repeated([&] { orv_df_kernel_dDFNaturalCubicSpline1D(task, 0, 0, nullptr); })},
             {"GSL cspline", repeated([&] { gsl_spline_init(spline, x.data(), y.data(), x.size()); })}});
    auto hx = x, hy = y, hs = slopes;
    boost::math::interpolators::cubic_hermite<std::vector<double>> const hermite(std::move(hx), std::move(hy),
                                                                                 std::move(hs));
    std::vector<double> sites(site_count), results(site_count);
    std::vector<int32_t> cells(site_count);
    for (auto& s : sites) s = x.front() + (x.back() - x.front()) * unit(g);
    int32_t const value = 1;
    auto evaluate = [&](DFTask* of, int64_t site_hint) {
      orv_df_kernel_dDFInterpolate1D(of, 1, 0, site_count, sites.data(), site_hint, 1, &value, nullptr,
                                     results.data(), 16, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr, nullptr, nullptr, nullptr);
    };
    double const ends[] = {0, 1};
    DFTask* even;
    orv_df_kernel_dNewTask1D(&even, breaks, ends, DFUniform, 1, y.data(), DFRows, 0);
    orv_df_kernel_dEditPPSpline1D(even, 4, 5, DFBoundFreeEnd, nullptr, 0, nullptr, coefficients.data(),
                                  DFRows);
    for (bool const sorted : {false, true}) {
      if (sorted) std::sort(sites.begin(), sites.end());
      std::string const order = size + (sorted ? "sorted sites" : "random sites");
      auto search = [&](DFTask* of, int64_t site_hint) {
        orv_df_kernel_dDFSearch1D(of, 0, site_count, sites.data(), site_hint, nullptr, cells.data(), nullptr,
                                  nullptr, nullptr);
      };
      std::vector<Entry> searches{
          {"orv hybrid", [&] { search(task, 0); }},
          {"std::upper_bound",
           [&] {
             for (int i = 0; i < site_count; ++i)
               cells[static_cast<size_t>(i)] = static_cast<int32_t>(
                   std::upper_bound(x.begin(), x.end(), sites[static_cast<size_t>(i)]) - x.begin());
           }},
          {"orv uniform", [&] { search(even, 0); }}};
      if (sorted) searches.push_back({"orv sorted", [&] { search(task, DFSitesSorted); }});
      compare("search, " + order, site_count, runs, searches);
      std::vector<Entry> evaluations{{"orv", [&] { evaluate(task, 0); }},
                                     {"GSL cspline",
                                      [&] {
                                        for (int i = 0; i < site_count; ++i)
                                          results[static_cast<size_t>(i)] =
                                              gsl_spline_eval(spline, sites[static_cast<size_t>(i)], accel);
                                      }},
                                     {"Boost hermite",
                                      [&] {
                                        for (int i = 0; i < site_count; ++i)
                                          results[static_cast<size_t>(i)] =
                                              hermite(sites[static_cast<size_t>(i)]);
                                      }},
                                     {"orv uniform", [&] { evaluate(even, 0); }}};
      if (sorted) evaluations.push_back({"orv sorted hint", [&] { evaluate(task, DFSitesSorted); }});
      compare("cubic evaluation, " + order, site_count, runs, evaluations);
      sink += results[0];
    }
    gsl_spline_free(spline);
    gsl_interp_accel_free(accel);
    orv_df_kernel_DeleteTask(&task);
    orv_df_kernel_DeleteTask(&even);
  }
  return sink == 12345 ? 1 : 0;
}
