// A pool of threads for the thread services that compute entries are given.
#pragma once
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace orv {

class ThreadPool {
 public:
  // threads: 0 takes ORV_NUM_THREADS, or else the number of processors.
  explicit ThreadPool(int threads = 0);
  ~ThreadPool();
  ThreadPool(ThreadPool const&) = delete;
  ThreadPool& operator=(ThreadPool const&) = delete;

  int threads() const { return static_cast<int>(workers_.size()) + 1; }
  // Calls task(i, thread) for each i from 0 to count - 1, thread being 0 to threads() - 1, and returns when
  // all are done. The calling thread takes part as thread 0. A call from inside a task runs serially.
  void run(int count, std::function<void(int i, int thread)> const& task);

  static ThreadPool& common();

 private:
  void work(int thread);
  void take(int thread);

  std::vector<std::thread> workers_;
  std::mutex mutex_, one_run_;
  std::condition_variable start_, done_;
  std::function<void(int, int)> const* task_ = nullptr;
  int count_ = 0, next_ = 0, busy_ = 0;
  unsigned long round_ = 0;
  bool stop_ = false;
};

} // namespace orv
