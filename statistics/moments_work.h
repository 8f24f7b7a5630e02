// How data become running state: blocks of observations through the sums of powers, a thread's share of them,
// and the joining of threads.
#pragma once
#include "frame/linalg.h"
#include "statistics/moments.h"
#include "statistics/power_sums.h"
#include "statistics/task.h"

#include <algorithm>
#include <atomic>

namespace orv::statistics {

using core::Linalg;

constexpr ptrdiff_t scatter_bytes = 0x40000; // a rank-k step's rows stay in the second-level cache
constexpr int alignment_reals = 128 / sizeof(double);

// One thread's part of the running state.
template <class T>
struct Slot {
  double weight = 0, weight2 = 0;
  double* rows[AllRows]; // raw rows are sums, the mean is one as well under `fast`
  T* scatter = nullptr;
};

template <class T>
struct Job {
  SSTask* task;
  Family family;
  int order;
  bool rows_layout;
  ptrdiff_t p, n, threads;
  T const *data, *weights;
  Slot<T>* slots;
  bool scatter_in_threads;
  ptrdiff_t scatter_rows, block;
  double* panels; // one for each thread
  void (*moments)(Job const&, Slot<T>&, double* panel, ptrdiff_t first, ptrdiff_t last, Join const&);
  std::atomic<int32_t> status{0};

  ptrdiff_t panel_size() const { return rows_layout ? 0 : block * ((p % narrow + 3) / 4 * 4); }
};

// Where sums of powers come from: one contiguous column, or columns side by side in rows.
template <class X, class W>
struct OneColumn {
  static constexpr int width = 1;
  X const* x;
  W const* w;
  ptrdiff_t n;
  template <int powers, bool weighted, bool centered>
  void sums(double const* centers, double (*out)[width]) const {
    power_sums<powers, weighted, centered>(x, w, n, centered ? centers[0] : 0.0, &out[0][0]);
  }
};
template <int columns, class X, class W>
struct SideBySide {
  static constexpr int width = columns;
  X const* x;
  W const* w;
  ptrdiff_t n, row;
  template <int powers, bool weighted, bool centered>
  void sums(double const* centers, double (*out)[width]) const {
    group_power_sums<width, powers, weighted, centered>(x, row, w, n, centers, &out[0][0]);
  }
};

// Adds columns of a block to the running rows of their variables, from j on.
template <Family family, int order, bool weighted, class T, class Source>
inline void add_columns(Slot<T>& slot, ptrdiff_t j, Source const& source, Join const& weights) {
  constexpr int width = Source::width;
  double** const rows = slot.rows;
  double raw[4][width], central[4][width];
  if constexpr (family == Family::fast) {
    source.template sums<order + 1, weighted, false>(nullptr, raw);
    for (int k = 0; k <= order; ++k)
      for (int c = 0; c < width; ++c) rows[Mean + k][j + c] += raw[k][c];
  } else if constexpr (family == Family::user_mean) {
    constexpr int highest = order == 0 ? 2 : order == 1 ? 3 : 4;
    source.template sums<highest, weighted, true>(rows[Mean] + j, central);
    for (int k = 2; k <= highest; ++k)
      for (int c = 0; c < width; ++c) rows[Central2 + k - 2][j + c] += central[k - 1][c];
    if constexpr (order == 3) {
      source.template sums<4, weighted, false>(nullptr, raw);
      for (int k = 2; k <= 4; ++k)
        for (int c = 0; c < width; ++c) rows[Raw2 + k - 2][j + c] += raw[k - 1][c];
    }
  } else {
    constexpr int raws = order < 2 ? 1 : order == 2 ? 2 : 4, highest = order == 0 ? 1 : order < 3 ? 2 : 4;
    double means[width];
    source.template sums<raws, weighted, false>(nullptr, raw);
    for (int c = 0; c < width; ++c) means[c] = raw[0][c] / weights.b;
    if constexpr (highest >= 2) source.template sums<highest, weighted, true>(means, central);
    for (int c = 0; c < width; ++c, ++j) {
      for (int k = 2; k <= raws; ++k) rows[Raw2 + k - 2][j] += raw[k - 1][c];
      Central block{means[c], 0, 0, 0, 0}, running{rows[Mean][j], rows[MeanLow][j], 0, 0, 0};
      if constexpr (highest >= 2) {
        block.c2 = central[1][c];
        running.c2 = rows[Central2][j];
        if constexpr (highest >= 4) {
          block.c3 = central[2][c];
          block.c4 = central[3][c];
          running.c3 = rows[Central3][j];
          running.c4 = rows[Central4][j];
        }
        recenter<highest>(block, central[0][c], weights.b);
      }
      join<highest>(running, block, weights);
      rows[Mean][j] = running.mean;
      rows[MeanLow][j] = running.low;
      if constexpr (highest >= 2) rows[Central2][j] = running.c2;
      if constexpr (highest >= 4) {
        rows[Central3][j] = running.c3;
        rows[Central4][j] = running.c4;
      }
    }
  }
}

template <class T, Family family, int order, bool weighted, bool rows_layout>
void add_block(Job<T> const& job, Slot<T>& slot, double* panel, ptrdiff_t first, ptrdiff_t last,
               Join const& weights) {
  T const* w = weighted ? job.weights + first : nullptr;
  ptrdiff_t const count = last - first, p = job.p;
  if constexpr (rows_layout) {
    for (ptrdiff_t j = 0; j < p; ++j)
      add_columns<family, order, weighted>(slot, j, OneColumn<T, T>{job.data + j * job.n + first, w, count},
                                           weights);
  } else {
    T const* x = job.data + first * p;
    ptrdiff_t j = 0;
    for (; j + wide <= p; j += wide)
      add_columns<family, order, weighted>(slot, j, SideBySide<wide, T, T>{x + j, w, count, p}, weights);
    for (; j + narrow <= p; j += narrow)
      add_columns<family, order, weighted>(slot, j, SideBySide<narrow, T, T>{x + j, w, count, p}, weights);
    if (j == p) return;
    transpose_panel(x + j, p, count, p - j, panel, job.block);
    for (; j < p; ++j, panel += job.block)
      add_columns<family, order, weighted>(slot, j, OneColumn<double, T>{panel, w, count}, weights);
  }
}

template <class T, Family family, int order>
auto kernel(bool weighted, bool rows) {
  return weighted
             ? (rows ? add_block<T, family, order, true, true> : add_block<T, family, order, true, false>)
             : (rows ? add_block<T, family, order, false, true> : add_block<T, family, order, false, false>);
}
template <class T, Family family>
auto kernel(int order, bool weighted, bool rows) {
  return order == 0   ? kernel<T, family, 0>(weighted, rows)
         : order == 1 ? kernel<T, family, 1>(weighted, rows)
         : order == 2 ? kernel<T, family, 2>(weighted, rows)
                      : kernel<T, family, 3>(weighted, rows);
}

// Moments of observations first to last, which are few enough for the cache.
template <class T>
void moments(Job<T> const& job, Slot<T>& slot, double* panel, ptrdiff_t first, ptrdiff_t last) {
  double sums[2] = {static_cast<double>(last - first), static_cast<double>(last - first)};
  if (job.weights) {
    T const* w = job.weights + first;
    power_sums<2, false, false>(w, w, last - first, 0, sums);
    if (!(sums[0] > 0) && last - first > 1) {
      // Nothing, or weights that cancel each other: one by one.
      for (ptrdiff_t i = first; i < last; ++i) moments(job, slot, panel, i, i + 1);
      return;
    }
    if (sums[0] == 0) return; // an observation that doesn't count
  }
  job.moments(job, slot, panel, first, last, Join(slot.weight, sums[0]));
  slot.weight += sums[0];
  slot.weight2 += sums[1];
}

// Buffers of a thread for its scatter matrix.
template <class T>
struct ScatterBuffers {
  Scratch<T> step, block, weighted;
  Scratch<double> before, before_low;

  bool make(Job<T> const& job, ptrdiff_t rows) {
    ptrdiff_t const p = job.p;
    bool const one_pass = job.family == Family::one_pass;
    return step.make(p) && (!one_pass || (before.make(p) && before_low.make(p) && block.make(p, rows))) &&
           (!job.weights || weighted.make(p, rows));
  }
};

// to := from - center, down a column or along a row.
inline void subtract(double* to, double const* from, ptrdiff_t n, double center) {
  __m256d const c = _mm256_set1_pd(center);
  ptrdiff_t i = 0;
  for (; i + 4 <= n; i += 4) _mm256_storeu_pd(to + i, _mm256_sub_pd(_mm256_loadu_pd(from + i), c));
  for (; i < n; ++i) to[i] = from[i] - center;
}
inline void subtract(float* to, float const* from, ptrdiff_t n, double center) {
  __m256d const c = _mm256_set1_pd(center);
  ptrdiff_t i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(to + i, _mm256_cvtpd_ps(_mm256_sub_pd(load4(from + i), c)));
  for (; i < n; ++i) to[i] = static_cast<float>(from[i] - center);
}
inline void subtract(double* to, double const* from, ptrdiff_t n, double const* centers) {
  ptrdiff_t i = 0;
  for (; i + 4 <= n; i += 4)
    _mm256_storeu_pd(to + i, _mm256_sub_pd(_mm256_loadu_pd(from + i), load4(centers + i)));
  for (; i < n; ++i) to[i] = from[i] - centers[i];
}
inline void subtract(float* to, float const* from, ptrdiff_t n, double const* centers) {
  ptrdiff_t i = 0;
  for (; i + 4 <= n; i += 4)
    _mm_storeu_ps(to + i, _mm256_cvtpd_ps(_mm256_sub_pd(load4(from + i), load4(centers + i))));
  for (; i < n; ++i) to[i] = static_cast<float>(from[i] - centers[i]);
}

// S += sum of w x x' over rows of `x`, which is laid out like the data with `ld` between its lines.
template <class T>
void add_products(Job<T> const& job, T* s, T const* x, ptrdiff_t ld, ptrdiff_t first, ptrdiff_t rows,
                  T* weighted, bool on_caller) {
  int const p = static_cast<int>(job.p), k = static_cast<int>(rows), distance = static_cast<int>(ld);
  T const one = 1;
  if (!job.weights) {
    auto& syrk = on_caller ? Linalg<T>::syrk : Linalg<T>::xsyrk;
    syrk("u", job.rows_layout ? "t" : "n", &p, &k, &one, x, &distance, &one, s, &p);
    return;
  }
  T const* w = job.weights + first;
  if (job.rows_layout) {
    for (ptrdiff_t j = 0; j < job.p; ++j)
      for (ptrdiff_t i = 0; i < rows; ++i) weighted[j * rows + i] = x[j * ld + i] * w[i];
    Linalg<T>::xgemm("t", "n", &p, &p, &k, &one, x, &distance, weighted, &k, &one, s, &p);
  } else {
    for (ptrdiff_t i = 0; i < rows; ++i)
      for (ptrdiff_t j = 0; j < job.p; ++j) weighted[i * job.p + j] = x[i * ld + j] * w[i];
    Linalg<T>::xgemm("n", "t", &p, &p, &k, &one, x, &distance, weighted, &p, &one, s, &p);
  }
}

// S += factor times m m', which undoes (factor above 0) or does the centring of sums of products.
template <class T>
void add_mean_square(Job<T> const& job, T* s, Slot<T> const& slot, T const* mean, double factor, T* step) {
  double const scale = job.family == Family::fast ? 1 / slot.weight : 1;
  if (factor == 0) return;
  int const p = static_cast<int>(job.p), one = 1;
  for (ptrdiff_t j = 0; j < job.p; ++j) step[j] = mean ? mean[j] : static_cast<T>(slot.rows[Mean][j] * scale);
  T const alpha = static_cast<T>(factor);
  Linalg<T>::xsyr("u", &p, &alpha, step, &one, s, &p);
}

// Observations first to last of a thread.
template <class T>
void work(Job<T>& job, ptrdiff_t thread, ptrdiff_t first, ptrdiff_t last) {
  Slot<T>& slot = job.slots[thread];
  double* panel =
      job.panels + thread * ((job.panel_size() + alignment_reals - 1) / alignment_reals * alignment_reals);
  if (job.weights)
    while (first < last && job.weights[first] == 0) ++first;
  if (first >= last) return;
  if (!slot.scatter || !job.scatter_in_threads) {
    for (ptrdiff_t i = first; i < last; i += job.block)
      moments(job, slot, panel, i, std::min(last, i + job.block));
    return;
  }
  ScatterBuffers<T> buffers;
  ptrdiff_t const rows = std::min(job.scatter_rows, last - first);
  if (!buffers.make(job, rows)) {
    job.status.store(SSOutOfMemory, std::memory_order_relaxed);
    return;
  }
  bool const one_pass = job.family == Family::one_pass;
  int const p = static_cast<int>(job.p), one = 1;
  T const* const saved =
      job.family == Family::user_mean ? static_cast<T const*>(job.task->savedMean) : nullptr;
  if (!one_pass) add_mean_square(job, slot.scatter, slot, saved, slot.weight, buffers.step.get());
  for (ptrdiff_t b = first; b < last; b += rows) {
    ptrdiff_t const end = std::min(last, b + rows), count = end - b;
    if (one_pass)
      for (ptrdiff_t j = 0; j < job.p; ++j)
        buffers.before[j] = slot.rows[Mean][j], buffers.before_low[j] = slot.rows[MeanLow][j];
    T const weight_before = static_cast<T>(slot.weight);
    for (ptrdiff_t i = b; i < end; i += job.block) moments(job, slot, panel, i, std::min(end, i + job.block));
    T const* x = job.data + (job.rows_layout ? b : b * job.p);
    ptrdiff_t ld = job.rows_layout ? job.n : job.p;
    if (one_pass) {
      // Both parts of S are taken about the new mean: the old one moves there by a rank-1 step.
      double const* mean = slot.rows[Mean];
      T* y = buffers.block.get();
      for (ptrdiff_t j = 0; j < job.p; ++j)
        buffers.step[j] = static_cast<T>(mean[j] - buffers.before[j] - buffers.before_low[j]);
      if (weight_before != 0)
        Linalg<T>::xsyr("u", &p, &weight_before, buffers.step.get(), &one, slot.scatter, &p);
      if (job.rows_layout)
        for (ptrdiff_t j = 0; j < job.p; ++j) subtract(y + j * count, x + j * ld, count, mean[j]);
      else
        for (ptrdiff_t i = 0; i < count; ++i) subtract(y + i * job.p, x + i * ld, job.p, mean);
      x = y;
      ld = job.rows_layout ? count : job.p;
    }
    add_products(job, slot.scatter, x, ld, b, count, buffers.weighted.get(), false);
    if (one_pass) { // the mean is a rounded one
      for (ptrdiff_t j = 0; j < job.p; ++j) buffers.step[j] = static_cast<T>(slot.rows[MeanLow][j]);
      T const minus_weight = static_cast<T>(-slot.weight);
      Linalg<T>::xsyr("u", &p, &minus_weight, buffers.step.get(), &one, slot.scatter, &p);
    }
  }
  if (!one_pass) add_mean_square<T>(job, slot.scatter, slot, nullptr, -slot.weight, buffers.step.get());
}

template <class T>
void worker(intptr_t thread, intptr_t, intptr_t threads, void* context) {
  Job<T>& job = *static_cast<Job<T>*>(context);
  ptrdiff_t const share = job.n / job.threads;
  (void)threads;
  work(job, thread, thread * share, thread + 1 == job.threads ? job.n : (thread + 1) * share);
}

// Folds b into a. Means of large data differ by what their low parts hold.
template <class T>
void merge(Job<T> const& job, Slot<T>& a, Slot<T> const& b) {
  if (b.weight == 0) return;
  ptrdiff_t const p = job.p;
  Join const weights(a.weight, b.weight);
  bool const one_pass = job.family == Family::one_pass;
  auto const mean = [&](Slot<T> const& s, ptrdiff_t j) {
    return job.family == Family::fast ? (s.weight == 0 ? 0 : s.rows[Mean][j] / s.weight) : s.rows[Mean][j];
  };
  auto const apart = [&](ptrdiff_t j) {
    double const d = mean(a, j) - mean(b, j);
    return one_pass ? d + (a.rows[MeanLow][j] - b.rows[MeanLow][j]) : d;
  };
  if (a.scatter && b.scatter)
    for (ptrdiff_t j = 0; j < p; ++j) {
      double const dj = weights.both() * apart(j);
      for (ptrdiff_t i = 0; i <= j; ++i)
        a.scatter[i + j * p] += static_cast<T>(b.scatter[i + j * p] + dj * apart(i));
    }
  unsigned const rows = rows_in_use(job.family, job.order);
  bool const central3 = rows & 1u << Central3, central4 = rows & 1u << Central4;
  for (ptrdiff_t j = 0; j < p; ++j) {
    if (job.family != Family::fast) {
      Central x{a.rows[Mean][j], 0, 0, 0, 0}, y{b.rows[Mean][j], 0, 0, 0, 0};
      auto const take = [&](Slot<T> const& s, Central& c) {
        if (rows & 1u << Central2) c.c2 = s.rows[Central2][j];
        if (central3) c.c3 = s.rows[Central3][j];
        if (central4) c.c4 = s.rows[Central4][j];
      };
      if (one_pass) {
        x.low = a.rows[MeanLow][j];
        y.low = b.rows[MeanLow][j];
      }
      take(a, x);
      take(b, y);
      join<4>(x, y, weights);
      if (one_pass) {
        a.rows[Mean][j] = x.mean;
        a.rows[MeanLow][j] = x.low;
      }
      if (rows & 1u << Central2) a.rows[Central2][j] = x.c2;
      if (central3) a.rows[Central3][j] = x.c3;
      if (central4) a.rows[Central4][j] = x.c4;
    } else {
      a.rows[Mean][j] += b.rows[Mean][j];
    }
    for (int r = Raw2; r <= Raw4; ++r)
      if (rows & 1u << r) a.rows[r][j] += b.rows[r][j];
  }
  a.weight += b.weight;
  a.weight2 += b.weight2;
}

} // namespace orv::statistics
