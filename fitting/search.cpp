// Cell search. Hybrid, sorted and peak search share one routine. A group of sites near the last cell is
// compared with the breaks there. Any other group gets a common bound on the number of candidates (from the
// cell index), which a branchless bisection brings down to eight, and these are counted with vector compares.
// Sites go side by side so that their loads overlap.
#include "fitting/search.h"

#include "fitting/lanes.h"
#include "frame/export.h"

#include <limits>

namespace orv::fitting {
namespace {

constexpr int small_group = 16; // also the longest partition that is counted as a whole
constexpr int large_group = 64; // where the breaks are beyond the nearest cache, more loads go side by side
constexpr int32_t counted_at_once = 8;

// How many of the eight breaks at x are not right of the site.
template <class T>
ORV_INLINE int32_t count_not_right(T const* x, T site) {
  using V = Vector<T>;
  V const s = broadcast<V>(site);
  unsigned bits = 0;
  for (int k = 0; k < counted_at_once; k += LaneInfo<V>::count)
    bits |= static_cast<unsigned>(bits_not_above(load<V>(x + k), s)) << k;
  return __builtin_popcount(bits);
}

// For each lane, how many breaks were not right of its site.
template <class V>
class Counter {
 public:
  ORV_INLINE void add_not_above(V b, V site) {
    if constexpr (LaneInfo<V>::count == 4)
      sum_ = _mm256_sub_epi64(sum_, _mm256_castpd_si256(_mm256_cmp_pd(b, site, _CMP_LE_OQ)));
    else
      sum_ = _mm256_sub_epi32(sum_, _mm256_castps_si256(_mm256_cmp_ps(b, site, _CMP_LE_OQ)));
  }
  ORV_INLINE void store(int32_t* p, int32_t base) const {
    if constexpr (LaneInfo<V>::count == 4) {
      __m256i const even = _mm256_permutevar8x32_epi32(sum_, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                       _mm_add_epi32(_mm256_castsi256_si128(even), _mm_set1_epi32(base)));
    } else {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_add_epi32(sum_, _mm256_set1_epi32(base)));
    }
  }

 private:
  __m256i sum_ = _mm256_setzero_si256();
};

template <class T>
class Locator {
 public:
  Locator(DFTask const& task, bool indexed)
      : x_(breaks<T>(task)), n_(break_count(task)), last_(x_[n_ - 1]),
        pairs_(indexed ? task.cellIndex : nullptr), slots_(static_cast<int32_t>(task.indexSlots)),
        scale_(index_scale<T>(task)) {
    if (n_ > small_group) return;
    // A short partition is counted as a whole, padded by what is right of every site.
    for (int32_t i = 0; i < small_group; ++i) short_[i] = i < n_ ? x_[i] : std::numeric_limits<T>::infinity();
    x_ = short_;
  }

  // Cells of all sites. `near` is a cell that the first site may be close to; it leaves as the last one
  // found. The window of candidates begins `back` breaks before it.
  void locate(T const* sites, int64_t count, int32_t* cells, int32_t& near, int32_t back) const {
    int64_t i = 0;
    if (n_ > 4096) {
      for (; i + large_group <= count; i += large_group) {
        int k = 0;
        while (k < large_group && near_group(sites + i + k, cells + i + k, near, back)) k += small_group;
        if (k < large_group) group<large_group>(sites + i, cells + i, near);
      }
    }
    for (; i + small_group <= count; i += small_group)
      if (!near_group(sites + i, cells + i, near, back)) group<small_group>(sites + i, cells + i, near);
    if (i == count) return;
    T rest[small_group];
    int32_t found[small_group];
    for (int64_t k = 0; k < small_group; ++k) rest[k] = sites[i + k < count ? i + k : i];
    if (!near_group(rest, found, near, back)) group<small_group>(rest, found, near);
    for (int64_t k = 0; i + k < count; ++k) cells[i + k] = found[k];
  }

 private:
  using V = Vector<T>;
  static constexpr int lanes = LaneInfo<V>::count;
  static constexpr int32_t window = 64; // breaks that a near group may reach over

  // Sites that all lie near a cell: the breaks there are compared with all sites, eight breaks at a time,
  // until one is right of every site.
  bool near_group(T const* sites, int32_t* cells, int32_t& near, int32_t back) const {
    if (near <= 0 || near >= n_ || n_ <= small_group) return false;
    constexpr int vectors = small_group / lanes;
    V s[vectors];
    for (int v = 0; v < vectors; ++v) s[v] = load<V>(sites + v * lanes);
    auto all_left_of = [&](T limit) {
      int all = (1 << lanes) - 1;
      for (int v = 0; v < vectors; ++v) all &= bits_less(s[v], broadcast<V>(limit));
      return all == (1 << lanes) - 1;
    };
    int32_t const from = std::max(near - 1 - back, 0);
    int inside = (1 << lanes) - 1;
    for (int v = 0; v < vectors; ++v) inside &= bits_not_above(broadcast<V>(x_[from]), s[v]);
    if (inside != (1 << lanes) - 1 || !all_left_of(x_[std::min(from + window, n_ - 1)])) return false;
    if (all_left_of(x_[from + 1])) {
      for (int k = 0; k < small_group; ++k) cells[k] = from + 1;
      near = from + 1;
      return true;
    }
    Counter<V> counts[vectors];
    for (int32_t base = from + 1; base + counted_at_once < n_; base += counted_at_once) {
      for (int k = 0; k < counted_at_once; ++k) {
        V const b = broadcast<V>(x_[base + k]);
        for (int v = 0; v < vectors; ++v) counts[v].add_not_above(b, s[v]);
      }
      if (!all_left_of(x_[base + counted_at_once])) continue;
      for (int v = 0; v < vectors; ++v) counts[v].store(cells + v * lanes, from + 1);
      near = cells[small_group - 1];
      return true;
    }
    return false;
  }

  template <int group_sites>
  void group(T const* sites, int32_t* cells, int32_t& near) const {
    if (n_ > small_group) {
      narrow<group_sites>(sites, cells,
                          pairs_ ? index_candidates<group_sites>(sites, cells)
                                 : all_candidates<group_sites>(cells));
    } else {
      for (int k = 0; k < group_sites; ++k)
        cells[k] = count_not_right(x_, sites[k]) + count_not_right(x_ + counted_at_once, sites[k]);
    }
    uint64_t right = 0;
    for (int k = 0; k < group_sites; k += lanes)
      right |= static_cast<uint64_t>(~bits_less(load<V>(sites + k), broadcast<V>(last_)) & ((1 << lanes) - 1))
               << k;
    // The last break and what is right of it, with NaN.
    for (; right != 0; right &= right - 1) {
      int const k = __builtin_ctzll(right);
      cells[k] = sites[k] == last_ ? n_ - 1 : n_;
    }
    near = cells[group_sites - 1];
  }

  // Candidates of each site by the cell index: sets the number of breaks that are surely not right of it, and
  // returns how many more there may be at most.
  template <int group_sites>
  int32_t index_candidates(T const* sites, int32_t* cells) const {
    V const first = broadcast<V>(x_[0]), scale = broadcast<V>(scale_), zero = broadcast<V>(0);
    V const top = broadcast<V>(static_cast<T>(slots_));
    int32_t buckets[group_sites];
    for (int k = 0; k < group_sites; k += lanes) {
      V const q = (load<V>(sites + k) - first) * scale;
      V const low = if_less(zero, q, q, zero);
      store_truncated(buckets + k, if_less(low, top, low, top));
    }
    int32_t most = 0;
    for (int k = 0; k < group_sites; ++k) {
      int32_t const lowest = pairs_[buckets[k]][0];
      cells[k] = lowest;
      most = std::max(most, pairs_[buckets[k]][1] - lowest);
    }
    return most;
  }

  template <int group_sites>
  int32_t all_candidates(int32_t* cells) const {
    for (int k = 0; k < group_sites; ++k) cells[k] = 0;
    return n_;
  }

  template <int group_sites>
  void narrow(T const* sites, int32_t* cells, int32_t candidates) const {
    int32_t length = std::min(candidates, n_);
    for (int k = 0; k < group_sites; ++k) cells[k] = std::max(std::min(cells[k], n_ - length), 0);
    while (length > counted_at_once) {
      int32_t const half = length >> 1;
      for (int k = 0; k < group_sites; ++k)
        cells[k] += half & -static_cast<int32_t>(x_[cells[k] + half - 1] <= sites[k]);
      length -= half;
    }
    for (int k = 0; k < group_sites; ++k) {
      int32_t const from = std::min(cells[k], n_ - counted_at_once);
      cells[k] = from + count_not_right(x_ + from, sites[k]);
    }
  }

  T const* x_;
  int32_t n_;
  T last_;
  int32_t const (*pairs_)[2];
  int32_t slots_;
  T scale_;
  T short_[small_group];
};

// The cell of a site from a guess, break by break.
template <class T>
int32_t walk(T const* x, int32_t n, T site, int32_t guess) {
  if (site < x[0]) return 0;
  if (site == x[n - 1]) return n - 1;
  int32_t g = std::min(guess, n);
  if (g < n && !(x[g] > site)) {
    while (g < n && !(x[g] > site)) ++g;
  } else {
    while (g > 0 && x[g - 1] > site) --g;
  }
  return g;
}

// Guesses on an even partition, limited while they are reals: trunc(scale (site - first)) + 1 from 1 to n -
// 1; n for sites right of the last break and NaN, n - 1 for the last break, 0 left of the first. Rounding of
// the scale moves no site across an end.
template <class T>
void even_cells(T const* sites, int64_t count, T first, T last, T scale, int32_t n, int32_t* cells) {
  // What a float cannot count has few distinct sites anyway; the largest float below 2^31 bounds what
  // converts.
  T const top = std::is_same_v<T, float> ? std::min(static_cast<T>(n), T(2147483520.0f)) : static_cast<T>(n);
  T const inner_top = std::min(static_cast<T>(n - 1), top);
  for_lanes<T>(0, static_cast<ptrdiff_t>(count), [&](auto lane, ptrdiff_t i) {
    using V = decltype(lane);
    V const s = load<V>(sites + i), zero = broadcast<V>(0), one = broadcast<V>(1),
            inner = broadcast<V>(inner_top);
    V const q = truncated((s - broadcast<V>(first)) * broadcast<V>(scale)) + one;
    V const low = if_less(one, q, q, one);
    V const guess = if_less(low, inner, low, inner);
    V const outer = if_not_above(s, broadcast<V>(last), inner, broadcast<V>(top));
    V const cell = if_less(s, broadcast<V>(last), guess, outer);
    store_truncated(cells + i, if_less(s, broadcast<V>(first), zero, cell));
  });
  if (std::is_same_v<T, float> && n > 1 << 24)
    for (int64_t i = 0; i < count; ++i)
      cells[i] = sites[i] < last ? std::min(cells[i], n - 1) : sites[i] == last ? n - 1 : n;
}

template <class T>
void uniform(typename Types<T>::SearchBlock const& block, T const* sites, int64_t count, int32_t* cells) {
  even_cells(sites, count, first_break<T>(*block.task), last_break<T>(*block.task), block.scale,
             break_count(*block.task), cells);
}

template <class T>
int32_t quasi_uniform_kernel(typename Types<T>::SearchBlock const* block) {
  auto const* x = breaks<T>(*block->task);
  int32_t const n = break_count(*block->task);
  auto* cells = static_cast<int32_t*>(block->cells);
  constexpr int64_t at_once = 32;
  for (int64_t from = 0; from < block->siteCount; from += at_once) {
    T const* sites = block->sites + from;
    int64_t const count = std::min(at_once, block->siteCount - from);
    even_cells(sites, count, x[0], x[n - 1], block->scale, n, cells + from);
    for (int64_t i = 0; i < count; ++i) cells[from + i] = walk(x, n, sites[i], cells[from + i]);
  }
  return DFStatusOk;
}

template <class T>
int32_t uniform_kernel(typename Types<T>::SearchBlock const* block) {
  uniform<T>(*block, block->sites, block->siteCount, static_cast<int32_t*>(block->cells));
  return DFStatusOk;
}

// Sorted and hybrid search: both look near the last cell first. A list that is not sorted costs them one
// compare for each group.
template <class T, bool Indexed>
int32_t near_kernel(typename Types<T>::SearchBlock const* block) {
  int64_t fresh = 0;
  int64_t& running = block->runningCell ? *block->runningCell : fresh;
  auto near = static_cast<int32_t>(running);
  Locator<T>(*block->task, Indexed)
      .locate(block->sites, block->siteCount, static_cast<int32_t*>(block->cells), near, 0);
  running = near;
  return DFStatusOk;
}

template <class T>
int32_t peak_kernel(typename Types<T>::SearchBlock const* block) {
  Locator<T> const locator(*block->task, true);
  // Every group starts from the peak, with candidates on both sides of it.
  for (int64_t from = 0; from < block->siteCount; from += small_group) {
    auto near = static_cast<int32_t>(block->peak);
    locator.locate(block->sites + from, std::min<int64_t>(small_group, block->siteCount - from),
                   static_cast<int32_t*>(block->cells) + from, near, small_group);
  }
  return DFStatusOk;
}

// Finishes a site from the callback's guess. A guess exactly on its break stands.
template <class T>
int64_t finish_guess(DFTask const& task, T site, int64_t guess) {
  auto const* x = breaks<T>(task);
  int32_t const n = break_count(task);
  auto const g = static_cast<int32_t>(std::clamp<int64_t>(guess, 0, n));
  if (g == n) return site == x[n - 1] ? n - 1 : walk(x, n, site, n);
  bool const leaves = site > x[g] || (g > 0 && x[g - 1] > site);
  return leaves ? walk(x, n, site, g) : g;
}

template <class T, bool Uniform>
int32_t user_kernel(typename Types<T>::SearchBlock const* block) {
  constexpr int64_t at_once = 128;
  DFTask const& task = *block->task;
  bool const wide = task.wideIndices != 0;
  int64_t done = 0;
  for (;;) {
    int64_t const count = std::min(at_once, block->siteCount - done);
    int64_t guesses[at_once] = {};
    int32_t flags[at_once] = {};
    T const* sites = block->sites + done;
    int32_t const status = block->callback(&count, sites, guesses, flags, block->parameter, nullptr);
    if (status < 0) return status;
    bool const final = status == 1000;
    int32_t own[at_once];
    if (Uniform && !final) uniform<T>(*block, sites, count, own);
    for (int64_t i = 0; i < count; ++i) {
      int64_t cell = guesses[i];
      if (!final && flags[i] == 0) {
        if constexpr (Uniform)
          cell = own[i];
        else
          cell = finish_guess(task, sites[i], cell);
      }
      if (wide)
        static_cast<int64_t*>(block->cells)[done + i] = cell;
      else
        static_cast<int32_t*>(block->cells)[done + i] = static_cast<int32_t>(cell);
    }
    done += count;
    // The call for the rest is made even when nothing is left, and gives the result.
    if (count < at_once) return final ? static_cast<int32_t>(DFStatusOk) : status;
  }
}

// Whether a list of sites is worth the threads at hand.
bool worth_threads(DFTask const& task, int32_t method, int64_t sites, int32_t threads) {
  if (threads <= 1) return false;
  int64_t const n = task.breakCount;
  switch (method) {
  case DFSearchUniform:
    return sites > 5000;
  case DFSearchSorted:
    return sites > 3000;
  case DFSearchPeak:
    return sites > 1200;
  case DFSearchQuasiUniform:
    return sites > 300 || (sites > 150 && (n >= 600 || (n >= 40 && threads >= 4)));
  case DFSearchHybrid:
    return n > 16 && (sites > 2000 || (sites > 600 && threads <= 4) || (sites > 300 && threads <= 2));
  default:
    return false;
  }
}

template <class T>
int32_t search(DFTask const* task, int64_t count, T const* sites, int64_t site_hint, T const* data_hint,
               void* cells, typename Types<T>::SearchCallback callback, void* parameter,
               DFThreader const* threader) {
  if (!task) return DFStatusNullTask;
  int32_t const method = choose_method(*task, site_hint, data_hint, callback != nullptr);
  if (method < 0) return method;
  auto constants = search_constants(*task, method, data_hint, callback, parameter);
  SearchKernel<T> const kernel = search_kernel<T>(method);
  SiteList<T> const list(sites, site_hint, count);
  SmallScratch<T, 4096> room(list.spread ? static_cast<size_t>(count) + (count == 4096) : 0);
  if (!room) return DFStatusNoMemory;
  T const* expanded = list.at(0, count, room.get());
  size_t const cell_size = wide_cells(*task, method) ? sizeof(int64_t) : sizeof(int32_t);
  auto run = [&](int64_t from, int64_t length) {
    auto block = constants;
    int64_t running = 0;
    block.siteCount = length;
    block.sites = expanded + from;
    block.cells = static_cast<char*>(cells) + static_cast<size_t>(from) * cell_size;
    block.runningCell = &running;
    return kernel(&block);
  };
  int32_t const threads = count < 32 ? 1 : max_threads(threader);
  if (!worth_threads(*task, method, count, threads)) return run(0, std::max<int64_t>(count, 0));
  int64_t const chunk = count / threads;
  parallel_for(threader, threads, threads, [&](int32_t i, int32_t) { run(i * chunk, chunk); });
  return run(threads * chunk, count - threads * chunk);
}

} // namespace

template <class T>
int32_t choose_method(DFTask const& task, int64_t site_hint, T const* data_hint, bool has_callback) {
  if (has_callback) return task.breakHint == DFUniform ? DFSearchUniformUser : DFSearchUser;
  if (task.breakHint == DFUniform) return DFSearchUniform;
  if (task.breakHint == DFQuasiUniform) return DFSearchQuasiUniform;
  if (site_hint == DFSitesSorted) return DFSearchSorted;
  if (!data_hint || data_hint[1] == 0) return DFSearchHybrid;
  bool const peak_fits = data_hint[4] >= 0 && data_hint[4] <= static_cast<T>(task.breakCount);
  return data_hint[1] == 1 && peak_fits ? static_cast<int32_t>(DFSearchPeak)
                                        : static_cast<int32_t>(DFStatusBadDataHint);
}

template <class T>
int32_t cell_of(DFTask const& task, T site) {
  auto const* x = breaks<T>(task);
  int32_t const n = break_count(task);
  if (task.breakHint == DFUniform) {
    int32_t cell;
    even_cells(&site, 1, x[0], x[1], static_cast<T>(n - 1) / (x[1] - x[0]), n, &cell);
    return cell;
  }
  if (!(site < x[n - 1])) return site == x[n - 1] ? n - 1 : n;
  if (site < x[0]) return 0;
  int32_t low = 0, length = n; // breaks before low are not right of the site, breaks from low + length on are
  if (task.cellIndex && task.breakHint != DFQuasiUniform) {
    auto const* pair =
        task.cellIndex[bucket_of(site, x[0], index_scale<T>(task), static_cast<int32_t>(task.indexSlots))];
    low = std::clamp(pair[0], 0, n - 1);
    length = std::clamp(pair[1] - low, 0, n - low);
  }
  while (length > 0) {
    int32_t const half = (length + 1) >> 1;
    low += half & -static_cast<int32_t>(x[low + half - 1] <= site);
    length -= half;
  }
  return low;
}

template <class T>
typename Types<T>::SearchBlock search_constants(DFTask const& task, int32_t method, T const* data_hint,
                                                typename Types<T>::SearchCallback callback, void* parameter) {
  typename Types<T>::SearchBlock block{};
  block.task = &task;
  block.callback = callback;
  block.parameter = parameter;
  T const width = last_break<T>(task) - first_break<T>(task);
  if (method == DFSearchUniform || method == DFSearchUniformUser || method == DFSearchQuasiUniform)
    block.scale = static_cast<T>(task.breakCount - 1) / width;
  if (method == DFSearchPeak) block.peak = static_cast<int64_t>(data_hint[4]);
  return block;
}

#define ORV_INSTANCE(t, T)                                                                                   \
  template int32_t cell_of<T>(DFTask const&, T);                                                             \
  template int32_t choose_method<T>(DFTask const&, int64_t, T const*, bool);                                 \
  template t##DFSearchBlock search_constants<T>(DFTask const&, int32_t, T const*, t##DFSearchCallback, void*);
ORV_INSTANCE(d, double)
ORV_INSTANCE(s, float)

} // namespace orv::fitting

namespace fit = orv::fitting;

#define ORV_KERNEL(t, T, name, ...)                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##DF##name##Search1D(const t##DFSearchBlock* block) {                  \
    return fit::__VA_ARGS__(block);                                                                          \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##DF##name##Search1D32(const t##DFSearchBlock* block) {                \
    return fit::__VA_ARGS__(block);                                                                          \
  }
#define ORV_TABLE(t, suffix)                                                                                 \
  {                                                                                                          \
    orv_df_kernel_##t##DFUniformSearch1D##suffix, orv_df_kernel_##t##DFQuasiUniformSearch1D##suffix,         \
        orv_df_kernel_##t##DFSortedSearch1D##suffix, orv_df_kernel_##t##DFPeakSearch1D##suffix,              \
        orv_df_kernel_##t##DFHybridSearch1D##suffix, orv_df_kernel_##t##DFUserDefSearch1D##suffix,           \
        orv_df_kernel_##t##DFUniUserDefSearch1D##suffix                                                      \
  }
#define ORV_TWIN(t, T)                                                                                       \
  ORV_KERNEL(t, T, Uniform, uniform_kernel<T>)                                                               \
  ORV_KERNEL(t, T, QuasiUniform, quasi_uniform_kernel<T>)                                                    \
  ORV_KERNEL(t, T, Sorted, near_kernel<T, false>)                                                            \
  ORV_KERNEL(t, T, Peak, peak_kernel<T>)                                                                     \
  ORV_KERNEL(t, T, Hybrid, near_kernel<T, true>)                                                             \
  ORV_KERNEL(t, T, UserDef, user_kernel<T, false>)                                                           \
  ORV_KERNEL(t, T, UniUserDef, user_kernel<T, true>)                                                         \
  static fit::SearchKernel<T> const t##_kernels[7] = ORV_TABLE(t, );                                         \
  static fit::SearchKernel<T> const t##_kernels_32[7] = ORV_TABLE(t, 32);                                    \
  template <>                                                                                                \
  fit::SearchKernel<T> fit::search_kernel<T>(int32_t method) {                                               \
    return t##_kernels[method];                                                                              \
  }                                                                                                          \
  template <>                                                                                                \
  fit::SearchKernel<T> fit::search_kernel_32<T>(int32_t method) {                                            \
    return t##_kernels_32[method];                                                                           \
  }                                                                                                          \
  ORV_EXPORT int32_t orv_df_kernel_##t##DFSearch1D(                                                          \
      const DFTask* task, int64_t, int64_t count, const T* sites, int64_t site_hint, const T* data_hint,     \
      void* cells, t##DFSearchCallback callback, void* parameter, const DFThreader* threader) {              \
    return fit::search(task, count, sites, site_hint, data_hint, cells, callback, parameter, threader);      \
  }
ORV_TWIN(d, double)
ORV_TWIN(s, float)
