// A task over a data set for any entry, and what is tried with all of them: each allocation failing in turn, one field
// after the other null.
#pragma once
#include "tests/statistics/support.h"

#include <fstream>
#include <functional>
#include <memory>
#include <sstream>

namespace orv::test {

#define ORV_TEST_ENTRY(name)                                                                                 \
  template <class T>                                                                                         \
  int32_t name(SSTask* task, uint64_t estimates, uint64_t method, int threads = 1) {                         \
    Services const services(threads);                                                                        \
    if constexpr (sizeof(T) == 8)                                                                            \
      return _rnqdSS##name(task, estimates, method, services.get());                                         \
    else                                                                                                     \
      return _rnqsSS##name(task, estimates, method, services.get());                                         \
  }
ORV_TEST_ENTRY(Quantiles)
ORV_TEST_ENTRY(Sort)
ORV_TEST_ENTRY(StreamQuantiles)
ORV_TEST_ENTRY(RobustCovariance)
ORV_TEST_ENTRY(OutliersDetection)
ORV_TEST_ENTRY(PooledCovariance)
ORV_TEST_ENTRY(PartialCovariance)
ORV_TEST_ENTRY(CorParametrization)
ORV_TEST_ENTRY(MAD)
ORV_TEST_ENTRY(MahDistance)
ORV_TEST_ENTRY(WMedian)
#undef ORV_TEST_ENTRY

// A task that points at a data set, which has to stay. Integers given to it live as long as it does; with wide ones the
// upper halves are set, as entries must not read them.
template <class T>
class Task {
 public:
  explicit Task(Data<T> const& d, bool wide = false) : wide_(wide) {
    int64_t const one = 1;
    Entries<T>::create(&task_, &one, nullptr, nullptr, nullptr, nullptr, nullptr, wide);
    task_->dimension = integer(d.p);
    task_->observations = integer(d.n);
    task_->dataStorage = integer(d.layout);
    task_->data = const_cast<T*>(d.values.data());
    task_->weights = d.weights.empty() ? nullptr : const_cast<T*>(d.weights.data());
    task_->indices = d.indices.empty() ? nullptr : integers(d.indices);
  }
  ~Task() { __rnqSSDeleteTask(&task_); }
  Task(Task const&) = delete;
  SSTask* operator->() const { return task_; }
  SSTask* get() const { return task_; }
  void* integer(int value) { return integers({value}); }
  void* integers(std::vector<int> const& values) {
    auto& block = blocks_.emplace_back(std::make_unique<std::vector<int64_t>>(values.size() + 1));
    int* const narrow = reinterpret_cast<int*>(block->data());
    for (size_t i = 0; i < values.size(); ++i)
      if (wide_)
        (*block)[i] = values[i];
      else
        std::memcpy(narrow + i, &values[i], sizeof(int));
    return block->data();
  }

 private:
  bool wide_;
  SSTask* task_ = nullptr;
  std::vector<std::unique_ptr<std::vector<int64_t>>> blocks_;
};

// Runs a call with the k-th request for memory failing, for each k, and expects that it says so and loses nothing.
inline void expect_to_survive_failing_allocations(std::function<int32_t()> const& call) {
  for (int64_t k = 1;; ++k) {
    ASSERT_LT(k, 500);
    int64_t const before = orv_serv_blocks_in_use();
    orv_serv_fail_allocation(k);
    int32_t const status = call();
    bool const failed = orv_serv_fail_allocation(0) >= k;
    ASSERT_EQ(orv_serv_blocks_in_use(), before) << "request " << k;
    if (!failed) {
      ASSERT_EQ(status, 0);
      return;
    }
    ASSERT_EQ(status, SSOutOfMemory) << "request " << k;
  }
}

// Takes fields away from the last one to the first: each status hides those that were met before.
struct Without {
  void const* SSTask::*field;
  int32_t status;
};

// The rows of a CSV file with a header, those with an empty cell left out.
inline std::vector<std::vector<double>> csv_rows(std::string const& name) {
  std::ifstream in(ORV_SOURCE_DIR "/examples/data/" + name);
  std::vector<std::vector<double>> rows;
  std::string line;
  std::getline(in, line);
  while (std::getline(in, line)) {
    std::vector<double> row;
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');)
      row.push_back(cell.empty() || cell == "NA" ? std::nan("") : std::stod(cell));
    rows.push_back(row);
  }
  return rows;
}
template <class T>
Data<T> csv_data(std::string const& name, std::vector<int> const& columns, int layout) {
  auto const rows = csv_rows(name);
  Data<T> d(static_cast<int>(rows.size()), static_cast<int>(columns.size()), layout);
  for (int i = 0; i < d.n; ++i)
    for (int j = 0; j < d.p; ++j) d(i, j) = static_cast<T>(rows[i][columns[j]]);
  return d;
}

template <class T>
Data<T> normal_data(int n, int p, int layout, unsigned seed = 1) {
  Data<T> d(n, p, layout);
  std::mt19937 random(seed);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < p; ++j) { // a sum of twelve, which needs no system mathematics
      double x = -6;
      for (int k = 0; k < 12; ++k) x += static_cast<double>(random()) * 0x1p-32;
      d(i, j) = static_cast<T>(x);
    }
  return d;
}

} // namespace orv::test
