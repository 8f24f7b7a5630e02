// A data set with its task, thread services for tests, and estimates by two passes in extended precision.
#pragma once
#include "frame/core.h"
#include "orv/statistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace orv::test {

// Services with a chosen number of threads; 1 is serial.
class Services {
 public:
  explicit Services(int threads) { wish() = threads; }
  SSThreadServices const* get() const {
    static SSThreadServices const services{items, items, region, serialized, [] { return wish(); }};
    return &services;
  }
  static int& wish() {
    static int threads = 1;
    return threads;
  }
  static int& regions() {
    static int count = 0;
    return count;
  }

 private:
  static void region(intptr_t threads, void* context, SSWorker worker) {
    ++regions();
    std::vector<std::thread> team;
    for (intptr_t t = 1; t < threads; ++t) team.emplace_back([=] { worker(t, 0, threads, context); });
    worker(0, 0, threads, context);
    for (auto& t : team) t.join();
  }
  // Items dealt out in turn to as many threads as are asked for (0: all that are wished).
  static void items(intptr_t count, intptr_t threads, void* context, SSWorker worker) {
    if (threads <= 0) threads = wish();
    std::vector<std::thread> team;
    auto const share = [=](intptr_t t) {
      for (intptr_t i = t; i < count; i += threads) worker(i, t, threads, context);
    };
    for (intptr_t t = 1; t < threads; ++t) team.emplace_back(share, t);
    share(0);
    for (auto& t : team) t.join();
  }
  static void serialized(intptr_t item, intptr_t thread, intptr_t threads, void* context, SSWorker function) {
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    function(item, thread, threads, context);
  }
};

template <class T>
struct Entries;
template <>
struct Entries<double> {
  static constexpr auto create = __rnqdSSNewTask;
  static constexpr auto edit = __rnqdSSEditTask;
  static constexpr auto basic = _rnqdSSBasic;
  static constexpr auto minmax = _rnqdSSMinmax;
};
template <>
struct Entries<float> {
  static constexpr auto create = __rnqsSSNewTask;
  static constexpr auto edit = __rnqsSSEditTask;
  static constexpr auto basic = _rnqsSSBasic;
  static constexpr auto minmax = _rnqsSSMinmax;
};

// Observations x(i, j) with weights, in memory as a layout wants it.
template <class T>
struct Data {
  int n, p, layout;
  std::vector<T> values, weights; // no weights: all 1
  std::vector<int> indices;       // none: all variables

  Data(int n, int p, int layout) : n(n), p(p), layout(layout), values(static_cast<size_t>(n) * p) {}
  T& operator()(int i, int j) { return values[place(i, j)]; }
  T operator()(int i, int j) const { return values[place(i, j)]; }
  size_t place(int i, int j) const {
    return layout == SSStorageRows ? static_cast<size_t>(j) * n + i : static_cast<size_t>(i) * p + j;
  }
  T weight(int i) const { return weights.empty() ? T(1) : weights[i]; }
  bool selected(int j) const { return indices.empty() || indices[j]; }
  // Observations first to last as a data set of their own.
  Data part(int first, int last) const {
    Data d(last - first, p, layout);
    for (int i = first; i < last; ++i)
      for (int j = 0; j < p; ++j) d(i - first, j) = (*this)(i, j);
    if (!weights.empty()) d.weights.assign(weights.begin() + first, weights.begin() + last);
    d.indices = indices;
    return d;
  }
};

// Estimates in extended precision.
template <class T>
struct Reference {
  using L = long double;
  L w = 0, w2 = 0;
  std::vector<L> mean, raw[5], central[5], s; // sums of powers; s is the full scatter matrix
  int p;
  explicit Reference(Data<T> const& d) : mean(d.p), s(static_cast<size_t>(d.p) * d.p), p(d.p) {
    for (int k = 1; k <= 4; ++k) raw[k].assign(p, 0), central[k].assign(p, 0);
    for (int i = 0; i < d.n; ++i) {
      w += d.weight(i);
      w2 += L(d.weight(i)) * d.weight(i);
      for (int j = 0; j < p; ++j)
        for (int k = 1; k <= 4; ++k) raw[k][j] += d.weight(i) * power(d(i, j), k);
    }
    for (int j = 0; j < p; ++j) mean[j] = raw[1][j] / w;
    for (int i = 0; i < d.n; ++i)
      for (int j = 0; j < p; ++j) {
        for (int k = 1; k <= 4; ++k) central[k][j] += d.weight(i) * power(d(i, j) - mean[j], k);
        for (int l = 0; l < p; ++l) s[j * p + l] += d.weight(i) * (d(i, j) - mean[j]) * (d(i, l) - mean[l]);
      }
  }
  static L power(L x, int k) {
    L y = 1;
    while (k-- > 0) y *= x;
    return y;
  }
  L freedom() const { return w - w2 / w; }
  L central2(int j) const { return central[2][j] / freedom(); }
};

// All results of a task, and the task over them.
template <class T>
struct Results {
  int p;
  std::vector<std::vector<T>> arrays;
  std::vector<T> cov, cor, cross, accumulated{T(0), T(0)};
  int cov_storage, cor_storage, cross_storage;
  SSTask* task = nullptr;

  static constexpr void* SSTask::*fields[] = {&SSTask::mean,
                                              &SSTask::rawMoment2,
                                              &SSTask::rawMoment3,
                                              &SSTask::rawMoment4,
                                              &SSTask::centralMoment2,
                                              &SSTask::centralMoment3,
                                              &SSTask::centralMoment4,
                                              &SSTask::kurtosis,
                                              &SSTask::skewness,
                                              &SSTask::variation,
                                              &SSTask::sum,
                                              &SSTask::rawSum2,
                                              &SSTask::rawSum3,
                                              &SSTask::rawSum4,
                                              &SSTask::centralSum2,
                                              &SSTask::centralSum3,
                                              &SSTask::centralSum4};
  enum {
    Mean,
    Raw2,
    Raw3,
    Raw4,
    Central2,
    Central3,
    Central4,
    Kurtosis,
    Skewness,
    Variation,
    Sum,
    RawSum2,
    RawSum3,
    RawSum4,
    CentralSum2,
    CentralSum3,
    CentralSum4,
    Count
  };
  static constexpr T mark = T(-12345);

  explicit Results(int p, int storage = SSMatrixFull)
      : p(p), arrays(Count, std::vector<T>(p, mark)), cov(static_cast<size_t>(p) * p, mark), cor(cov),
        cross(cov), cov_storage(storage), cor_storage(storage), cross_storage(storage) {
    Entries<T>::create(&task, &this->p, nullptr, nullptr, nullptr, nullptr, nullptr, 0);
    for (int k = 0; k < Count; ++k) task->*fields[k] = arrays[k].data();
    task->cov = cov.data();
    task->cor = cor.data();
    task->crossProduct = cross.data();
    task->covStorage = &cov_storage;
    task->corStorage = &cor_storage;
    task->crossProductStorage = &cross_storage;
    task->accumWeights = accumulated.data();
  }
  ~Results() { __rnqSSDeleteTask(&task); }
  Results(Results const&) = delete;
  void point_at(Data<T> const& d) {
    task->observations = &d.n;
    task->dataStorage = &d.layout;
    task->data = const_cast<T*>(d.values.data());
    task->weights = d.weights.empty() ? nullptr : const_cast<T*>(d.weights.data());
    task->indices = d.indices.empty() ? nullptr : d.indices.data();
  }
  int compute(Data<T> const& d, uint64_t estimates, uint64_t method, Services const& services) {
    point_at(d);
    return Entries<T>::basic(task, estimates, method, services.get());
  }
  static size_t place(int storage, int p, int i, int j) {
    if (storage == SSMatrixUpperPacked) {
      if (i > j) std::swap(i, j);
      return static_cast<size_t>(i) * p - static_cast<size_t>(i) * (i + 1) / 2 + j;
    }
    if (storage == SSMatrixLowerPacked) {
      if (i < j) std::swap(i, j);
      return static_cast<size_t>(i) * (i + 1) / 2 + j;
    }
    return static_cast<size_t>(i) * p + j;
  }
};

constexpr uint64_t all_moments = SSMean | SSRawMoment2 | SSRawMoment3 | SSRawMoment4 | SSCentralMoment2 |
                                 SSCentralMoment3 | SSCentralMoment4 | SSKurtosis | SSSkewness | SSVariation;
constexpr uint64_t all_sums =
    SSSum | SSRawSum2 | SSRawSum3 | SSRawSum4 | SSCentralSum2 | SSCentralSum3 | SSCentralSum4;
constexpr uint64_t all_matrices = SSCovariance | SSCorrelation | SSCrossProduct;
constexpr uint64_t everything = all_moments | all_sums | all_matrices;

} // namespace orv::test
