// Cycles per uniform number of each generator beside its peers, and the ratio to the fastest peer.
//
//   bench_streams [--csv] [--runs N]
//
// Each figure is the median of N (21) runs; within a run all generators and peers of a table take their turn,
// so that a change of the processor's clock meets them alike. Core cycles come from the time stamp counter,
// calibrated by a chain of additions of known length beside each run.
#include "orv/streams.h"
#include "bench/cycles.h"
#include "orv/core.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>
#ifdef ORV_HAS_RANDOM123
#  include <Random123/philox.h>
#endif
#ifdef ORV_HAS_BOOST
#  include <boost/random.hpp>
#  include <boost/random/niederreiter_base2.hpp>
#  include <boost/random/sobol.hpp>
#endif
#ifdef ORV_HAS_GSL
#  include <gsl/gsl_qrng.h>
#  include <gsl/gsl_rng.h>
#endif

namespace {

template <class T>
using Fill = std::function<void(T*, int)>;

template <class T>
struct Entry {
  std::string name;
  bool ours;
  Fill<T> fill;
  std::vector<double> cycles = {};
  double median() {
    std::sort(cycles.begin(), cycles.end());
    return cycles[cycles.size() / 2];
  }
};

template <class T>
void add_ours(std::vector<Entry<T>>& list, const char* name, int32_t number) {
  RngStream* stream;
  uint32_t const seed[] = {1, 2, 3, 4, 5, 6};
  if (__rnqNewStreamEx(&stream, number, number == 0x600000 || number == 0x700000 ? 1 : 6, seed) < 0) return;
  BrngProperties row;
  __rnqGetBrngProperties(number, &row);
  list.push_back({name, true, [stream, row](T* r, int n) {
                    if constexpr (std::is_same_v<T, uint32_t>)
                      row.generateInteger(stream, n, r);
                    else if constexpr (sizeof(T) == 8)
                      row.generateDouble(stream, n, r, 0, 1);
                    else
                      row.generateSingle(stream, n, r, 0, 1);
                  }});
}

template <class T, class Engine, class Distribution>
void add_peer(std::vector<Entry<T>>& list, const char* name, Engine engine, Distribution uniform) {
  list.push_back({name, false, [engine, uniform](T* r, int n) mutable {
                    for (int i = 0; i < n; ++i) r[i] = uniform(engine);
                  }});
}

// Words as the engines make them.
std::vector<Entry<uint32_t>> integers() {
  std::vector<Entry<uint32_t>> list;
  add_ours(list, "MCG31M1", 0x100000);
  add_ours(list, "R250", 0x200000);
  add_ours(list, "MRG32K3A", 0x300000);
  add_ours(list, "MT19937", 0x800000);
  add_ours(list, "MT2203", 0x900000);
  add_ours(list, "SFMT19937", 0xD00000);
  add_ours(list, "TRNG", 0xE00000);
  add_ours(list, "ARS5", 0xF00000);
  add_ours(list, "PHILOX4X32X10", 0x1000000);
  auto const as_is = [](auto& engine) { return static_cast<uint32_t>(engine()); };
  add_peer(list, "std::mt19937", std::mt19937(), as_is);
#ifdef ORV_HAS_BOOST
  add_peer(list, "boost::mt19937", boost::random::mt19937(), as_is);
  add_peer(list, "boost::taus88", boost::random::taus88(), as_is);
#endif
#ifdef ORV_HAS_GSL
  gsl_rng* g = gsl_rng_alloc(gsl_rng_mt19937);
  list.push_back({"gsl mt19937", false, [g](uint32_t* r, int n) {
                    for (int i = 0; i < n; ++i) r[i] = static_cast<uint32_t>(gsl_rng_get(g));
                  }});
#endif
#ifdef ORV_HAS_RANDOM123
  // Counters made from the index: independent blocks, which the compiler may vectorise.
  uint64_t base = 0;
  list.push_back({"random123 philox", false, [base](uint32_t* r, int n) mutable {
                    r123::Philox4x32 engine;
                    r123::Philox4x32::key_type const key = {{1, 2}};
                    for (int i = 0; i < n / 4; ++i) {
                      uint64_t const at = base + static_cast<uint64_t>(i);
                      auto const block =
                          engine({{static_cast<uint32_t>(at), static_cast<uint32_t>(at >> 32), 0, 0}}, key);
                      for (int k = 0; k < 4; ++k) r[4 * i + k] = block[static_cast<std::size_t>(k)];
                    }
                    base += static_cast<uint64_t>(n / 4);
                  }});
#endif
  return list;
}

// Points of the unit cube, all coordinates as elements.
std::vector<Entry<double>> quasi(unsigned d) {
  std::vector<Entry<double>> list;
  auto ours = [&](const char* name, int32_t number) {
    RngStream* stream;
    __rnqNewStreamEx(&stream, number, 1, &d);
    BrngProperties row;
    __rnqGetBrngProperties(number, &row);
    list.push_back({name, true, [=](double* r, int n) {
                      uint64_t const far = 4000000000u;
                      uint32_t counter;
                      std::memcpy(&counter, stream + 1, 4);
                      if (counter > far) std::memcpy(stream + 1, &(counter = 1), 4);
                      row.generateDouble(stream, n, r, 0, 1);
                    }});
  };
  ours("Sobol", 0x600000);
  ours("Niederr", 0x700000);
#ifdef ORV_HAS_BOOST
  boost::random::uniform_01<double> const unit;
  add_peer<double>(list, "boost::sobol", boost::random::sobol(d), unit);
  add_peer<double>(list, "boost::niederreiter", boost::random::niederreiter_base2(d), unit);
#endif
#ifdef ORV_HAS_GSL
  for (auto [name, type] :
       {std::pair{"gsl sobol", gsl_qrng_sobol}, {"gsl niederreiter", gsl_qrng_niederreiter_2}}) {
    if (d > type->max_dimension) continue;
    gsl_qrng* q = gsl_qrng_alloc(type, d);
    list.push_back({name, false, [q, d](double* r, int n) {
                      for (int i = 0; i < n; i += static_cast<int>(d)) gsl_qrng_get(q, r + i);
                    }});
  }
#endif
  return list;
}

// Wide points on one thread and on all, and plain stores likewise: what the memory leaves to gain.
std::vector<Entry<uint32_t>> wide(uint32_t d) {
  std::vector<uint32_t> params{d, 1, 4};
  std::mt19937 random;
  for (uint32_t j = 0; j < 32 * d; ++j) params.push_back(static_cast<uint32_t>(random()));
  RngStream* stream;
  if (__rnqNewStreamEx(&stream, 0x600000, static_cast<int32_t>(params.size()), params.data()) < 0) return {};
  struct Part {
    uint32_t* r;
    int n, parts;
  };
  auto stores = [](int index, int, int, void* context) {
    auto const& p = *static_cast<Part*>(context);
    auto edge = [&](int i) { return p.r + static_cast<int64_t>(p.n / 4) * i / p.parts * 4; };
    for (uint32_t *r = edge(index), *end = edge(index + 1); r < end; r += 4)
      _mm_storeu_si128(reinterpret_cast<__m128i*>(r), _mm_set1_epi32(index));
  };
  std::vector<Entry<uint32_t>> list;
  for (const char* threads : {"1", ""}) {
    std::string const where = *threads ? " on one thread" : " on all threads";
    list.push_back({"Sobol" + where, true, [=](uint32_t* r, int n) {
                      uint32_t const first = 1;
                      std::memcpy(stream + 1, &first, 4);
                      setenv("ORV_NUM_THREADS", threads, 1);
                      __rnqiBRngSobol(stream, n, r);
                    }});
    list.push_back({"stores" + where, false, [=](uint32_t* r, int n) {
                      setenv("ORV_NUM_THREADS", threads, 1);
                      Part part{r, n, 32};
                      orv_rnq_serv_threader_for(part.parts, 0, &part, stores);
                    }});
  }
  return list;
}

template <class T>
std::vector<Entry<T>> entries() {
  std::vector<Entry<T>> list;
  add_ours(list, "MCG31M1", 0x100000);
  add_ours(list, "R250", 0x200000);
  add_ours(list, "MRG32K3A", 0x300000);
  add_ours(list, "MCG59", 0x400000);
  add_ours(list, "WH", 0x500000);
  add_ours(list, "Sobol", 0x600000);
  add_ours(list, "Niederr", 0x700000);
  add_ours(list, "MT19937", 0x800000);
  add_ours(list, "MT2203", 0x900000);
  add_ours(list, "SFMT19937", 0xD00000);
  add_ours(list, "ARS5", 0xF00000);
  add_ours(list, "PHILOX4X32X10", 0x1000000);
  std::uniform_real_distribution<T> const uniform(0, 1);
  add_peer<T>(list, "std::mt19937", std::mt19937(), uniform);
  add_peer<T>(list, "std::mt19937_64", std::mt19937_64(), uniform);
  add_peer<T>(list, "std::minstd_rand", std::minstd_rand(), uniform);
#ifdef ORV_HAS_BOOST
  boost::random::uniform_01<T> const unit;
  add_peer<T>(list, "boost::mt19937", boost::random::mt19937(), unit);
  add_peer<T>(list, "boost::mt11213b", boost::random::mt11213b(), unit);
  add_peer<T>(list, "boost::minstd_rand", boost::random::minstd_rand(), unit);
  add_peer<T>(list, "boost::rand48", boost::random::rand48(), unit);
  add_peer<T>(list, "boost::taus88", boost::random::taus88(), unit);
  add_peer<T>(list, "boost::ecuyer1988", boost::random::ecuyer1988(), unit);
#endif
#ifdef ORV_HAS_GSL
  std::pair<const char*, const gsl_rng_type*> const types[] = {
      {"gsl mt19937", gsl_rng_mt19937}, {"gsl taus2", gsl_rng_taus2},  {"gsl gfsr4", gsl_rng_gfsr4},
      {"gsl cmrg", gsl_rng_cmrg},       {"gsl mrg", gsl_rng_mrg},      {"gsl r250", gsl_rng_r250},
      {"gsl minstd", gsl_rng_minstd},   {"gsl ranlux", gsl_rng_ranlux}};
  for (auto [name, type] : types) {
    gsl_rng* g = gsl_rng_alloc(type);
    list.push_back({name, false, [g](T* r, int n) {
                      for (int i = 0; i < n; ++i) r[i] = static_cast<T>(gsl_rng_uniform(g));
                    }});
  }
#endif
  return list;
}

template <class T>
void table(std::vector<Entry<T>> list, const char* type, int n, int runs, bool csv) {
  std::vector<T> r(n);
  int const repeats =
      std::max(4, 30000 / n); // so that each works mostly on what it left in the caches itself
  for (auto& e : list) e.fill(r.data(), n);
  for (int run = 0; run < runs; ++run)
    for (auto& e : list) {
      e.cycles.push_back(orv::bench::cycles_per_element(n, repeats, [&] { e.fill(r.data(), n); }));
    }
  double standard = 0, best = 1e9;
  for (auto& e : list) {
    if (e.ours) continue;
    if (e.name == "std::mt19937") standard = e.median();
    best = std::min(best, e.median());
  }
  if (!csv)
    std::printf("\n%s, %d elements: cycles an element, ratio to std::mt19937, ratio to the fastest peer\n",
                type, n);
  for (auto& e : list)
    if (csv)
      std::printf("%s,%d,%s,%s,%.3f,%.3f,%.3f,%.2f,%.2f\n", type, n, e.ours ? "ours" : "peer", e.name.c_str(),
                  e.median(), e.cycles.front(), e.cycles.back(), standard / e.median(), best / e.median());
    else
      std::printf("  %-20s %8.2f %8.1fx %8.1fx\n", e.name.c_str(), e.median(), standard / e.median(),
                  best / e.median());
}

} // namespace

int main(int count, char** args) {
  bool csv = false;
  int runs = 21;
  for (int i = 1; i < count; ++i) {
    if (!std::strcmp(args[i], "--csv")) csv = true;
    if (!std::strcmp(args[i], "--runs") && i + 1 < count) runs = std::atoi(args[++i]);
  }
  if (csv) std::puts("type,elements,kind,name,cycles,least,most,ratio_to_std_mt19937,ratio_to_fastest_peer");
  for (int n : {1024, 1000000}) {
    table(entries<double>(), "double", n, runs, csv);
    table(entries<float>(), "float", n, runs, csv);
    table(integers(), "integer", n, runs, csv);
  }
  table(quasi(8), "points of 8", 8000, runs, csv);
  table(quasi(40), "points of 40", 40000, runs, csv);
  table(wide(512), "points of 512", 512 * 4096, runs, csv);
  table(wide(2048), "points of 2048", 2048 * 2000, runs, csv);
  table(wide(20000), "points of 20000", 20000 * 100, runs, csv);
}
