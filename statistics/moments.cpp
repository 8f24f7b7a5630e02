// Means, moments, sums, covariance, correlation, cross-products: _rnqdSSBasic and its twin.
//
// Data are read once, in blocks that stay in cache. Within a block each variable is a contiguous column (of
// the data, or of a panel transposed into scratch), over which sums of powers are formed; one-pass blocks
// take their central sums about the block's own mean and are joined to the running state. Running rows are
// doubles in both families. The scatter matrix S is kept in its upper triangle, column-major; a block adds
// its rank-k product to it by BLAS.
#include "statistics/moments.h"

#include "frame/export.h"
#include "frame/linalg.h"
#include "statistics/elementwise.h"
#include "statistics/power_sums.h"
#include "statistics/task.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <new>

namespace orv::statistics {
namespace {

using core::Linalg;

// Results in the order of their bits.
enum Output {
  OutMean,
  OutRaw2,
  OutRaw3,
  OutRaw4,
  OutCentral2,
  OutCentral3,
  OutCentral4,
  OutCov,
  OutCor,
  OutKurtosis,
  OutSkewness,
  OutVariation,
  OutSum,
  OutRawSum2,
  OutRawSum3,
  OutRawSum4,
  OutCentralSum2,
  OutCentralSum3,
  OutCentralSum4,
  OutCrossProduct,
  OutImpossible
};
constexpr unsigned bit(int output) { return 1u << output; }
constexpr unsigned matrix_bits = bit(OutCov) | bit(OutCor) | bit(OutCrossProduct);

// A request: the bit of the estimates word, its result, and what must be there by each kind of method.
struct Request {
  int estimate;
  Output output;
  unsigned fast, one_pass, from_sums;
};
constexpr Request requests[] = {
    {0, OutMean, 0x1, 0x1, 0x1001},
    {1, OutRaw2, 0x2, 0x2, 0x2002},
    {2, OutRaw3, 0x4, 0x4, 0x4004},
    {3, OutRaw4, 0x8, 0x8, 0x8008},
    {4, OutCentral2, 0x13, 0x13, 0x10010},
    {5, OutCentral3, 0x27, 0x27, 0x20020},
    {6, OutCentral4, 0x4f, 0x4f, 0x40040},
    {12, OutCov, 0x81, 0x81, 0x80080},
    {13, OutCor, 0x101, 0x101, 0x80100},
    {7, OutKurtosis, 0x25f, 0x25f, 0x251},
    {8, OutSkewness, 0x437, 0x437, 0x431},
    {9, OutVariation, 0x813, 0x813, 0x811},
    {25, OutSum, 0x1000, 0x1000, 0x100000},
    {26, OutRawSum2, 0x2000, 0x2000, 0x100000},
    {27, OutRawSum3, 0x4000, 0x4000, 0x100000},
    {28, OutRawSum4, 0x8000, 0x8000, 0x100000},
    {29, OutCentralSum2, 0x10003, 0x10001, 0x100000},
    {30, OutCentralSum3, 0x20007, 0x20001, 0x100000},
    {31, OutCentralSum4, 0x4000f, 0x40001, 0x100000},
    {32, OutCrossProduct, 0x80001, 0x80001, 0x100000},
};

struct Result {
  void* SSTask::*field;
  int32_t missing;
};
constexpr Result results[] = {
    {&SSTask::mean, SSNullMean},
    {&SSTask::rawMoment2, SSNullRawMoment2},
    {&SSTask::rawMoment3, SSNullRawMoment3},
    {&SSTask::rawMoment4, SSNullRawMoment4},
    {&SSTask::centralMoment2, SSNullCentralMoment2},
    {&SSTask::centralMoment3, SSNullCentralMoment3},
    {&SSTask::centralMoment4, SSNullCentralMoment4},
    {&SSTask::cov, SSNullCov},
    {&SSTask::cor, SSNullCor},
    {&SSTask::kurtosis, SSNullKurtosis},
    {&SSTask::skewness, SSNullSkewness},
    {&SSTask::variation, SSNullVariation},
    {&SSTask::sum, SSNullSum},
    {&SSTask::rawSum2, SSNullRawSum2},
    {&SSTask::rawSum3, SSNullRawSum3},
    {&SSTask::rawSum4, SSNullRawSum4},
    {&SSTask::centralSum2, SSNullCentralSum2},
    {&SSTask::centralSum3, SSNullCentralSum3},
    {&SSTask::centralSum4, SSNullCentralSum4},
    {&SSTask::crossProduct, SSNullCrossProduct},
};

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
      for (ptrdiff_t i = first; i < last; ++i)
        if (job.weights[i] != 0) moments(job, slot, panel, i, i + 1);
      return;
    }
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
    size_t const p = static_cast<size_t>(job.p), cells = p * static_cast<size_t>(rows);
    bool const one_pass = job.family == Family::one_pass;
    return step.make(p) && (!one_pass || (before.make(p) && before_low.make(p) && block.make(cells))) &&
           (!job.weights || weighted.make(cells));
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

// Folds b into a.
template <class T>
void merge(Job<T> const& job, Slot<T>& a, Slot<T> const& b) {
  if (b.weight == 0) return;
  ptrdiff_t const p = job.p;
  Join const weights(a.weight, b.weight);
  auto const mean = [&](Slot<T> const& s, ptrdiff_t j) {
    return job.family == Family::fast ? (s.weight == 0 ? 0 : s.rows[Mean][j] / s.weight) : s.rows[Mean][j];
  };
  if (a.scatter && b.scatter) {
    double const f = a.weight * b.weight * weights.t;
    for (ptrdiff_t j = 0; j < p; ++j) {
      double const dj = f * (mean(a, j) - mean(b, j));
      for (ptrdiff_t i = 0; i <= j; ++i)
        a.scatter[i + j * p] += static_cast<T>(b.scatter[i + j * p] + dj * (mean(a, i) - mean(b, i)));
    }
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
      bool const one_pass = job.family == Family::one_pass;
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

// All that a call knows about its results.
template <class T>
struct Outputs {
  SSTask& task;
  ptrdiff_t p;
  Selection selected;
  unsigned wanted; // results that the request needs, its own and what they are made of

  T* array(int output) const { return static_cast<T*>(task.*results[output].field); }
  bool wants(int output) const { return (wanted & bit(output)) != 0; }
  void const* storage(int output) const {
    return output == OutCov ? task.covStorage : output == OutCor ? task.corStorage : task.crossProductStorage;
  }
  Packing packing_of(int output) const { return packing(integer(task, storage(output))); }

  template <class F>
  void each(int output, F value) const {
    T* to = array(output);
    for (ptrdiff_t j = 0; j < p; ++j)
      if (selected(j)) to[j] = static_cast<T>(value(j));
  }
};

constexpr int moment_output(int row) { return OutMean + row; }
constexpr int sum_output(int row) { return OutSum + row; }

// Central moments as they follow from raw moments.
struct Raw {
  double m, r2, r3, r4;
  double c2() const { return r2 - m * m; }
  double c3() const { return r3 - 3 * m * r2 + 2 * m * m * m; }
  double c4() const { return r4 - 4 * m * r3 + 6 * m * m * r2 - 3 * m * m * m * m; }
};

// Turns what the caller's arrays hold after earlier blocks into running rows.
template <class T>
void resume(Outputs<T> const& out, Job<T> const& job, Slot<T>& slot) {
  unsigned const rows = rows_in_use(job.family, job.order);
  double const w = slot.weight, w2 = slot.weight2;
  bool const user_mean = job.family == Family::user_mean;
  for (int r = Mean; r < RowCount; ++r) {
    if (!(rows & 1u << r)) continue;
    T const *moment = out.array(moment_output(r)), *sum = out.array(sum_output(r));
    // A single observation has a central sum, but no central moment 2 that it could be had from.
    if (r == Central2 && w * w == w2 && sum) moment = nullptr;
    double factor;
    if (r == Mean)
      factor = user_mean ? 1 : job.family == Family::fast ? (moment ? w : 1) : (moment ? 1 : 1 / w);
    else if (r == Central2)
      factor = moment ? (w * w - w2) / w : 1;
    else
      factor = moment ? w : 1;
    T const* from = moment ? moment : sum;
    bool const fresh = (w == 0 || factor == 0) && !(user_mean && r == Mean);
    for (ptrdiff_t j = 0; j < job.p; ++j)
      slot.rows[r][j] = fresh || !from ? 0.0 : static_cast<double>(from[j]) * factor;
  }
  if (w == 0 || job.family != Family::one_pass || job.order != 3) return;
  // Central rows that have no array of their own follow from raw moments, if those are kept.
  auto const kept = [&](int r) { return out.array(moment_output(r)) || out.array(sum_output(r)); };
  bool const raws = kept(Mean) && kept(Raw2);
  for (int r : {Central2, Central3}) {
    if (kept(r) || !raws || (r == Central3 && !kept(Raw3))) continue;
    for (ptrdiff_t j = 0; j < job.p; ++j) {
      Raw const raw{slot.rows[Mean][j], slot.rows[Raw2][j] / w, slot.rows[Raw3][j] / w, 0};
      slot.rows[r][j] = w * (r == Central2 ? raw.c2() : raw.c3());
    }
  }
}

// The scatter matrix that an earlier block's matrix `from` stands for, in the upper triangle of s.
template <class T>
void resume_scatter(Outputs<T> const& out, int from, double w, double w2, T* s) {
  T const* a = out.array(from);
  Packing const packed = out.packing_of(from);
  ptrdiff_t const p = out.p;
  double const freedom = w - w2 / w;
  if (freedom == 0 && from != OutCrossProduct) { // a single observation, whose covariance is undefined
    for (ptrdiff_t j = 0; j < p; ++j) std::fill_n(s + j * p, j + 1, T(0));
    return;
  }
  // Off the diagonal first: in place, the diagonal is needed as it is.
  for (ptrdiff_t j = p - 1; j >= 0; --j)
    for (ptrdiff_t i = j - 1; i >= 0; --i) {
      double x = static_cast<double>(a[place(packed, p, i, j)]);
      if (from == OutCov) x *= freedom;
      if (from == OutCor)
        x *= root(static_cast<double>(a[place(packed, p, i, i)]) *
                  static_cast<double>(a[place(packed, p, j, j)])) *
             freedom;
      s[i + j * p] = static_cast<T>(x);
    }
  for (ptrdiff_t i = 0; i < p; ++i)
    s[i + i * p] = static_cast<T>(a[place(packed, p, i, i)] * (from == OutCrossProduct ? 1 : freedom));
}

// Writes one matrix from S; `value(i, j)` with i <= j.
template <class T, class F>
void write_matrix(Outputs<T> const& out, int output, F value) {
  T* to = out.array(output);
  Packing const packed = out.packing_of(output);
  ptrdiff_t const p = out.p;
  for (ptrdiff_t j = 0; j < p; ++j) {
    if (!out.selected(j)) continue;
    for (ptrdiff_t i = 0; i <= j; ++i) {
      if (!out.selected(i)) continue;
      T const x = value(i, j);
      if (packed == Packing::full) {
        to[j + i * p] = x;
        to[i + j * p] = x;
      } else {
        to[place(packed, p, i, j)] = x;
      }
    }
  }
}

template <class T>
bool write_matrices(Outputs<T> const& out, unsigned asked, T const* s, double w, double w2) {
  ptrdiff_t const p = out.p;
  T const g = w > 0 ? static_cast<T>(1 / (w - w2 / w)) : T(1);
  if (asked & bit(OutCor)) {
    Scratch<T> diagonal(2 * static_cast<size_t>(p));
    if (!diagonal) return false;
    T* const r = diagonal.get() + p;
    for (ptrdiff_t i = 0; i < p; ++i) diagonal[i] = s[i + i * p];
    inverse_root(p, diagonal.get(), r);
    write_matrix(out, OutCor, [&](ptrdiff_t i, ptrdiff_t j) {
      return i == j ? g * diagonal[i] : s[i + j * p] * r[i] * r[j];
    });
  }
  if (asked & bit(OutCov))
    write_matrix(out, OutCov, [&](ptrdiff_t i, ptrdiff_t j) { return g * s[i + j * p]; });
  if (asked & bit(OutCrossProduct))
    write_matrix(out, OutCrossProduct, [&](ptrdiff_t i, ptrdiff_t j) { return s[i + j * p]; });
  return true;
}

// Kurtosis, skewness and variation from moments as they stand in the caller's arrays.
template <class T>
void write_ratios(Outputs<T> const& out) {
  auto const at = [&](int output, ptrdiff_t j) { return static_cast<double>(out.array(output)[j]); };
  if (out.wants(OutKurtosis))
    out.each(OutKurtosis, [&](ptrdiff_t j) {
      double const c2 = at(OutCentral2, j);
      return at(OutCentral4, j) / (c2 * c2) - 3;
    });
  if (out.wants(OutSkewness))
    out.each(OutSkewness, [&](ptrdiff_t j) {
      double const c2 = at(OutCentral2, j);
      return at(OutCentral3, j) / root(c2 * c2 * c2);
    });
  if (out.wants(OutVariation))
    out.each(OutVariation, [&](ptrdiff_t j) { return root(at(OutCentral2, j)) / at(OutMean, j); });
}

// Running rows to the caller's arrays. Rows in use are written wherever they have an array, as the next block
// resumes from there; rows of the fast method's central results only when they are wanted.
template <class T>
void write_rows(Outputs<T> const& out, Job<T> const& job, Slot<T> const& slot) {
  unsigned const rows = rows_in_use(job.family, job.order);
  double const w = slot.weight, w2 = slot.weight2, unbiased = w / (w * w - w2);
  bool const fast = job.family == Family::fast;
  for (int r = Mean; r <= Raw4; ++r) {
    if (!(rows & 1u << r)) continue;
    double const* x = slot.rows[r];
    bool const is_mean = r == Mean && !fast; // all other rows are sums
    bool const moment = out.array(moment_output(r)) != nullptr;
    if (moment && !(is_mean && job.family == Family::user_mean))
      out.each(moment_output(r), [&](ptrdiff_t j) { return is_mean ? x[j] : x[j] / w; });
    if (out.array(sum_output(r)) && (!moment || out.wants(sum_output(r))))
      out.each(sum_output(r), [&](ptrdiff_t j) { return is_mean ? x[j] * w : x[j]; });
  }
  if (fast) {
    auto const raw = [&](ptrdiff_t j) {
      auto const at = [&](int r) { return rows & 1u << r ? slot.rows[r][j] / w : 0.0; };
      return Raw{at(Mean), at(Raw2), at(Raw3), at(Raw4)};
    };
    if (out.wants(OutCentralSum2)) out.each(OutCentralSum2, [&](ptrdiff_t j) { return w * raw(j).c2(); });
    if (out.wants(OutCentralSum3)) out.each(OutCentralSum3, [&](ptrdiff_t j) { return w * raw(j).c3(); });
    if (out.wants(OutCentralSum4)) out.each(OutCentralSum4, [&](ptrdiff_t j) { return w * raw(j).c4(); });
    if (out.wants(OutCentral2))
      out.each(OutCentral2, [&](ptrdiff_t j) { return w * unbiased * raw(j).c2(); });
    if (out.wants(OutCentral3)) out.each(OutCentral3, [&](ptrdiff_t j) { return raw(j).c3(); });
    if (out.wants(OutCentral4)) out.each(OutCentral4, [&](ptrdiff_t j) { return raw(j).c4(); });
  } else {
    for (int r = Central2; r <= Central4; ++r) {
      if (!(rows & 1u << r)) continue;
      double const* x = slot.rows[r];
      bool const moment = out.array(moment_output(r)) != nullptr;
      if (moment)
        out.each(moment_output(r), [&](ptrdiff_t j) { return r == Central2 ? unbiased * x[j] : x[j] / w; });
      if (out.array(sum_output(r)) && (!moment || out.wants(sum_output(r))))
        out.each(sum_output(r), [&](ptrdiff_t j) { return x[j]; });
    }
  }
}

// Moments of sums that stand in the caller's arrays.
template <class T>
int32_t from_sums(Outputs<T> const& out, unsigned asked) {
  SSTask& task = out.task;
  T const* accumulated = static_cast<T const*>(task.accumWeights);
  double w, w2;
  if (accumulated) {
    w = static_cast<double>(accumulated[0]);
    w2 = static_cast<double>(accumulated[1]);
  } else {
    w = w2 = static_cast<double>(integer(task, task.observations));
  }
  ptrdiff_t const p = out.p;
  if (asked & matrix_bits) {
    Scratch<T> s(static_cast<size_t>(p) * static_cast<size_t>(p));
    if (!s) return SSOutOfMemory;
    resume_scatter(out, OutCrossProduct, w, w2, s.get());
    if (!write_matrices(out, asked & (bit(OutCov) | bit(OutCor)), s.get(), w, w2)) return SSOutOfMemory;
  }
  for (int r = Mean; r < RowCount; ++r) {
    T const* sum = out.array(sum_output(r));
    if (!out.wants(moment_output(r)) || !sum) continue;
    double const factor = r == Central2 ? w / (w * w - w2) : 1 / w;
    out.each(moment_output(r), [&](ptrdiff_t j) { return factor * static_cast<double>(sum[j]); });
  }
  write_ratios(out);
  return 0;
}

int order_number(Family family, unsigned wanted) {
  auto const row = [&](int r) { return (wanted & (bit(moment_output(r)) | bit(sum_output(r)))) != 0; };
  if (family == Family::fast) return row(Raw4) ? 3 : row(Raw3) ? 2 : row(Raw2) ? 1 : 0;
  if (family == Family::one_pass) {
    if (row(Raw3) || row(Raw4) || row(Central3) || row(Central4)) return 3;
    return row(Raw2) ? 2 : row(Central2) ? 1 : 0;
  }
  return row(Raw2) || row(Raw3) || row(Raw4) ? 3 : row(Central4) ? 2 : row(Central3) ? 1 : 0;
}

template <class T>
int32_t from_data(Outputs<T> const& out, unsigned asked, Family family, bool central2_asked,
                  SSThreadServices const* services) {
  SSTask& task = out.task;
  Job<T> job;
  job.task = &task;
  job.family = family;
  job.order = order_number(family, out.wanted);
  job.p = out.p;
  job.n = integer(task, task.observations);
  job.data = static_cast<T const*>(task.data);
  job.weights = static_cast<T const*>(task.weights);
  job.rows_layout = job.p == 1 || integer(task, task.dataStorage) & SSStorageRows;
  bool const weighted = job.weights, rows_layout = job.rows_layout;
  job.moments = family == Family::fast       ? kernel<T, Family::fast>(job.order, weighted, rows_layout)
                : family == Family::one_pass ? kernel<T, Family::one_pass>(job.order, weighted, rows_layout)
                                             : kernel<T, Family::user_mean>(job.order, weighted, rows_layout);
  job.block =
      rows_layout ? 2048 : std::clamp<ptrdiff_t>(4096 / std::max<ptrdiff_t>(job.p, 1) & ~3, 256, 2048);

  // Enough work for each thread: 2^13 elements, or products of elements, and 16 observations.
  ptrdiff_t const p = job.p, n = job.n;
  bool const matrices = asked & matrix_bits;
  double const amount =
      static_cast<double>(n) * static_cast<double>(p) * (matrices ? static_cast<double>(p) : 1.0);
  ptrdiff_t const limit = services ? services->maxThreads() : 1;
  double const useful = std::min({static_cast<double>(limit), amount / 8192, static_cast<double>(n >> 4)});
  job.threads = std::max<ptrdiff_t>(1, static_cast<ptrdiff_t>(useful));

  ptrdiff_t const width = std::max<ptrdiff_t>(1, p) * static_cast<ptrdiff_t>(sizeof(double));
  ptrdiff_t const plain_rows = std::max<ptrdiff_t>(64, scatter_bytes / width);
  job.scatter_rows = weighted ? std::max<ptrdiff_t>(64, scatter_bytes / (2 * width)) : plain_rows;
  job.scatter_in_threads = job.threads == 1 || family == Family::one_pass || central2_asked ||
                           p <= std::min(plain_rows, std::max<ptrdiff_t>(1, n / job.threads));

  // Running rows and panels of all threads.
  unsigned const rows = rows_in_use(family, job.order);
  auto const aligned = [](ptrdiff_t reals) {
    return (reals + alignment_reals - 1) / alignment_reals * alignment_reals;
  };
  ptrdiff_t const state = std::popcount(rows) * aligned(p), panel = aligned(job.panel_size());
  Scratch<Slot<T>> slots(static_cast<size_t>(job.threads));
  Scratch<double> memory(static_cast<size_t>(job.threads) * static_cast<size_t>(state + panel));
  if (!slots || !memory) return SSOutOfMemory;
  job.slots = slots.get();
  job.panels = memory.get() + job.threads * state;
  std::fill_n(memory.get(), job.threads * state, 0.0);
  for (ptrdiff_t t = 0; t < job.threads; ++t) {
    Slot<T>& slot = *new (&slots[t]) Slot<T>;
    double* at = memory.get() + t * state;
    for (int r = 0; r < AllRows; ++r) {
      slot.rows[r] = rows & 1u << r ? at : nullptr;
      if (rows & 1u << r) at += aligned(p);
    }
  }
  Slot<T>& first = job.slots[0];
  if (T const* accumulated = static_cast<T const*>(task.accumWeights)) {
    first.weight = static_cast<double>(accumulated[0]);
    first.weight2 = static_cast<double>(accumulated[1]);
  }

  // S, in the result's own place where that is a full matrix, and other threads' parts.
  Scratch<T> own_scatter, others, step, weighted_block;
  if (matrices) {
    int const base = asked & bit(OutCrossProduct) ? OutCrossProduct : asked & bit(OutCov) ? OutCov : OutCor;
    size_t const cells = static_cast<size_t>(p) * static_cast<size_t>(p);
    if (out.packing_of(base) == Packing::full && out.selected.all())
      first.scatter = out.array(base);
    else if (own_scatter.make(cells))
      first.scatter = own_scatter.get();
    else
      return SSOutOfMemory;
    if (job.scatter_in_threads && job.threads > 1) {
      if (!others.make(cells * static_cast<size_t>(job.threads - 1))) return SSOutOfMemory;
      std::fill_n(others.get(), cells * static_cast<size_t>(job.threads - 1), T(0));
      for (ptrdiff_t t = 1; t < job.threads; ++t)
        job.slots[t].scatter = others.get() + cells * static_cast<size_t>(t - 1);
    }
    if (!job.scatter_in_threads)
      if (!step.make(static_cast<size_t>(p)) ||
          (weighted && !weighted_block.make(static_cast<size_t>(p) * static_cast<size_t>(job.scatter_rows))))
        return SSOutOfMemory;
    if (first.weight == 0)
      std::fill_n(first.scatter, cells, T(0));
    else
      resume_scatter(out, base, first.weight, first.weight2, first.scatter);
  }
  resume(out, job, first);
  if (family == Family::user_mean) // a fixed mean is every thread's mean
    for (ptrdiff_t t = 1; t < job.threads; ++t) std::copy_n(first.rows[Mean], p, job.slots[t].rows[Mean]);

  bool const scatter_after = matrices && !job.scatter_in_threads;
  T const* const saved = family == Family::user_mean ? static_cast<T const*>(task.savedMean) : nullptr;
  if (scatter_after) add_mean_square(job, first.scatter, first, saved, first.weight, step.get());
  if (job.threads == 1)
    work(job, 0, 0, n);
  else
    services->parallelRegion(job.threads, &job, &worker<T>);
  if (int32_t const status = job.status.load(std::memory_order_relaxed)) return status;
  if (scatter_after) { // S isn't a thread's: it is left alone by the merge
    T* const s = first.scatter;
    first.scatter = nullptr;
    for (ptrdiff_t t = 1; t < job.threads; ++t) merge(job, first, job.slots[t]);
    ptrdiff_t const rows_at_once = weighted ? job.scatter_rows : n;
    for (ptrdiff_t b = 0; b < n; b += rows_at_once)
      add_products(job, s, job.data + (rows_layout ? b : b * p), rows_layout ? n : p, b,
                   std::min(rows_at_once, n - b), weighted_block.get(), true);
    add_mean_square<T>(job, s, first, nullptr, -first.weight, step.get());
    first.scatter = s;
  } else {
    for (ptrdiff_t t = 1; t < job.threads; ++t) merge(job, first, job.slots[t]);
  }

  if (matrices && !write_matrices(out, asked & matrix_bits, first.scatter, first.weight, first.weight2))
    return SSOutOfMemory;
  if (T* accumulated = static_cast<T*>(task.accumWeights)) {
    accumulated[0] = static_cast<T>(first.weight);
    accumulated[1] = static_cast<T>(first.weight2);
  }
  write_rows(out, job, first);
  write_ratios(out);
  if (family == Family::user_mean) {
    if (!task.savedMean) task.savedMean = core::allocate(static_cast<size_t>(p) * sizeof(T));
    if (!task.savedMean) return SSOutOfMemory;
    for (ptrdiff_t j = 0; j < p; ++j)
      static_cast<T*>(task.savedMean)[j] = static_cast<T>(first.rows[Mean][j]);
  }
  return 0;
}

template <class T>
int32_t basic(SSTask* task, uint64_t estimates, uint64_t method, SSThreadServices const* services) {
  constexpr uint64_t data_methods = SSMethodFast | SSMethodOnePass | SSMethodFastUserMean;
  int const data_method_count = std::popcount(method & data_methods);
  if (data_method_count > 1) return SSMethodNotSupported;
  if (data_method_count == 0 && !(method & (SSMethodFromSums | SSMethodFromSumsB)))
    return SSMethodNotSupported;
  if (!task) return SSNullTask;

  unsigned asked = 0, wanted = 0, present = 0;
  for (Request const& r : requests) {
    if (!(estimates >> r.estimate & 1)) continue;
    asked |= bit(r.output);
    wanted |= method & SSMethodFast ? r.fast : data_method_count ? r.one_pass : r.from_sums;
  }
  for (int output = 0; output < OutImpossible; ++output)
    if (task->*results[output].field) present |= bit(output);
  if (unsigned const missing = wanted & ~present) {
    int const lowest = std::countr_zero(missing);
    return lowest == OutImpossible ? SSMethodNotSupported : results[lowest].missing;
  }
  if (data_method_count) {
    if (!task->observations || both_halves(*task, task->observations) <= 0) return SSBadObservations;
    if (!task->data) return SSNullData;
    if (!task->dataStorage) return SSNullStorage;
    if (!(integer(*task, task->dataStorage) & (SSStorageRows | SSStorageCols))) return SSBadStorage;
  } else if (!task->accumWeights && (!task->observations || task->weights)) {
    return SSNullAccumWeights;
  }
  Outputs<T> const out{*task, integer(*task, task->dimension), Selection(*task), wanted};
  for (int output : {OutCor, OutCov, OutCrossProduct})
    if (wanted & bit(output) && !out.storage(output)) return SSNullStorage;
  if (!data_method_count) return from_sums<T>(out, asked);
  Family const family = method & SSMethodFast      ? Family::fast
                        : method & SSMethodOnePass ? Family::one_pass
                                                   : Family::user_mean;
  return from_data<T>(out, asked, family, (estimates & SSCentralMoment2) != 0, services);
}

} // namespace
} // namespace orv::statistics

ORV_EXPORT int32_t _rnqdSSBasic(SSTask* task, uint64_t estimates, uint64_t method,
                                const SSThreadServices* services) {
  return orv::statistics::basic<double>(task, estimates, method, services);
}
ORV_EXPORT int32_t _rnqsSSBasic(SSTask* task, uint64_t estimates, uint64_t method,
                                const SSThreadServices* services) {
  return orv::statistics::basic<float>(task, estimates, method, services);
}
