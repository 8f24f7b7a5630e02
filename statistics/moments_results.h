// The results of a moments task: which arrays a request needs, how they are written from the running state,
// and how running state comes back from them for the next block.
#pragma once
#include "statistics/elementwise.h"
#include "statistics/moments_work.h"

#include <limits>

namespace orv::statistics {

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
  // Matrices that have a place. Once one is asked for all of them are kept up, as the next block may ask for
  // another, and goes on from the first that is there.
  unsigned matrices() const {
    unsigned set = 0;
    for (int output : {OutCor, OutCov, OutCrossProduct})
      if (array(output) && storage(output)) set |= bit(output);
    return set;
  }

  template <class F>
  void each(int output, F value) const {
    T* to = array(output);
    for (ptrdiff_t j = 0; j < p; ++j)
      if (selected(j)) to[j] = static_cast<T>(value(j));
  }
};

// What a central sum of squares is divided by: W - W2 / W, or 0 where that is nothing but the rounding of a
// state in reals of type S, as after a single observation.
template <class S>
double freedom(double w, double w2) {
  double const f = w - w2 / w, noise = 4 * static_cast<double>(std::numeric_limits<S>::epsilon()) * w;
  return -noise <= f && f <= noise ? 0 : f;
}

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
  double const free = w == 0 ? 0 : freedom<T>(w, w2);
  for (int r = Mean; r < RowCount; ++r) {
    if (!(rows & 1u << r)) continue;
    T const *moment = out.array(moment_output(r)), *sum = out.array(sum_output(r));
    // A single observation has a central sum, but no central moment 2 that it could be had from.
    if (r == Central2 && free == 0 && sum) moment = nullptr;
    double factor;
    if (r == Mean)
      factor = user_mean ? 1 : job.family == Family::fast ? (moment ? w : 1) : (moment ? 1 : 1 / w);
    else if (r == Central2)
      factor = moment ? free : 1;
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
  double const free = freedom<T>(w, w2);
  if (free == 0 && from != OutCrossProduct) { // a single observation, whose covariance is undefined
    for (ptrdiff_t j = 0; j < p; ++j) std::fill_n(s + j * p, j + 1, T(0));
    return;
  }
  // Off the diagonal first: in place, the diagonal is needed as it is.
  for (ptrdiff_t j = p - 1; j >= 0; --j)
    for (ptrdiff_t i = j - 1; i >= 0; --i) {
      double x = static_cast<double>(a[place(packed, p, i, j)]);
      if (from == OutCov) x *= free;
      if (from == OutCor) {
        double const variances[] = {static_cast<double>(a[place(packed, p, i, i)]),
                                    static_cast<double>(a[place(packed, p, j, j)])};
        // Constant so far: no correlation, but a product of 0.
        x = variances[0] == 0 || variances[1] == 0 ? 0 : x * root(variances[0]) * root(variances[1]) * free;
      }
      s[i + j * p] = static_cast<T>(x);
    }
  for (ptrdiff_t i = 0; i < p; ++i)
    s[i + i * p] = static_cast<T>(a[place(packed, p, i, i)] * (from == OutCrossProduct ? 1 : free));
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
  double const g = w > 0 ? 1 / freedom<double>(w, w2) : 1;
  if (asked & bit(OutCor)) {
    Scratch<T> diagonal(2, p);
    if (!diagonal) return false;
    T* const r = diagonal.get() + p;
    for (ptrdiff_t i = 0; i < p; ++i) diagonal[i] = s[i + i * p];
    inverse_root(p, diagonal.get(), r);
    write_matrix(out, OutCor, [&](ptrdiff_t i, ptrdiff_t j) {
      return i == j ? static_cast<T>(g * static_cast<double>(diagonal[i])) : s[i + j * p] * r[i] * r[j];
    });
  }
  if (asked & bit(OutCov))
    write_matrix(out, OutCov, [&](ptrdiff_t i, ptrdiff_t j) {
      return static_cast<T>(g * static_cast<double>(s[i + j * p]));
    });
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
  double const w = slot.weight, unbiased = 1 / freedom<double>(w, slot.weight2);
  // As the next block will see it.
  bool const single = freedom<T>(static_cast<T>(w), static_cast<T>(slot.weight2)) == 0;
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
      bool const only_place = !moment || (r == Central2 && single);
      if (out.array(sum_output(r)) && (only_place || out.wants(sum_output(r))))
        out.each(sum_output(r), [&](ptrdiff_t j) { return x[j]; });
    }
  }
}

} // namespace orv::statistics
