// Means, moments, sums, covariance, correlation, cross-products: _rnqdSSBasic and its twin.
//
// Data are read once, in blocks that stay in cache. Within a block, sums of powers are formed over contiguous
// columns, over columns side by side in rows, or, for what is left of rows, over a transposed panel. One-pass
// blocks take their central sums about the block's own mean and are joined to the running state, which is in
// doubles in both families. The scatter matrix S is kept in its upper triangle, column-major; a block adds
// its rank-k product to it by BLAS.
#include "frame/export.h"
#include "statistics/moments_results.h"

#include <bit>
#include <new>

namespace orv::statistics {
namespace {

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
    Scratch<T> s(p, p);
    if (!s) return SSOutOfMemory;
    resume_scatter(out, OutCrossProduct, w, w2, s.get());
    if (!write_matrices(out, asked & (bit(OutCov) | bit(OutCor)), s.get(), w, w2)) return SSOutOfMemory;
  }
  for (int r = Mean; r < RowCount; ++r) {
    T const* sum = out.array(sum_output(r));
    if (!out.wants(moment_output(r)) || !sum) continue;
    double const factor = 1 / (r == Central2 ? freedom<double>(w, w2) : w);
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
  unsigned const kept = matrices ? out.matrices() : 0;
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
  Scratch<Slot<T>> slots(job.threads);
  Scratch<double> memory(job.threads, state + panel);
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
    int const base = kept & bit(OutCrossProduct) ? OutCrossProduct : kept & bit(OutCov) ? OutCov : OutCor;
    size_t const cells = static_cast<size_t>(p) * static_cast<size_t>(p);
    if (out.packing_of(base) == Packing::full && out.selected.all())
      first.scatter = out.array(base);
    else if (own_scatter.make(p, p))
      first.scatter = own_scatter.get();
    else
      return SSOutOfMemory;
    if (job.scatter_in_threads && job.threads > 1) {
      if (!others.make(p, p, job.threads - 1)) return SSOutOfMemory;
      std::fill_n(others.get(), cells * static_cast<size_t>(job.threads - 1), T(0));
      for (ptrdiff_t t = 1; t < job.threads; ++t)
        job.slots[t].scatter = others.get() + cells * static_cast<size_t>(t - 1);
    }
    if (!job.scatter_in_threads)
      if (!step.make(p) || (weighted && !weighted_block.make(p, job.scatter_rows))) return SSOutOfMemory;
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

  if (matrices && !write_matrices(out, kept, first.scatter, first.weight, first.weight2))
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
