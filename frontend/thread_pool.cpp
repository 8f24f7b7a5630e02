#include "frontend/thread_pool.h"

#include <cstdlib>
#include <system_error>

namespace orv {
namespace {

thread_local bool inside_task = false;

int wanted_threads(int asked) {
  if (asked > 0) return asked;
  if (const char* text = std::getenv("ORV_NUM_THREADS"))
    if (int const n = std::atoi(text); n > 0 && n <= 1024) return n;
  int const n = static_cast<int>(std::thread::hardware_concurrency());
  return n > 0 ? n : 1;
}

} // namespace

ThreadPool::ThreadPool(int threads) {
  int const wanted = wanted_threads(threads);
  try {
    for (int i = 1; i < wanted; ++i) workers_.emplace_back([this, i] { work(i); });
  } catch (std::system_error const&) { // fewer threads do the same work
  }
}

ThreadPool::~ThreadPool() {
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
  }
  start_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

ThreadPool& ThreadPool::common() {
  static ThreadPool pool;
  return pool;
}

void ThreadPool::take(int thread) {
  inside_task = true;
  for (;;) {
    int i;
    {
      std::lock_guard lock(mutex_);
      if (next_ >= count_) break;
      i = next_++;
    }
    (*task_)(i, thread);
  }
  inside_task = false;
}

void ThreadPool::work(int thread) {
  for (unsigned long seen = 0;;) {
    {
      std::unique_lock lock(mutex_);
      start_.wait(lock, [&] { return stop_ || round_ != seen; });
      if (stop_) return;
      seen = round_;
    }
    take(thread);
    std::lock_guard lock(mutex_);
    if (--busy_ == 0) done_.notify_one();
  }
}

void ThreadPool::run(int count, std::function<void(int, int)> const& task) {
  if (inside_task || workers_.empty() || count <= 1) {
    for (int i = 0; i < count; ++i) task(i, 0);
    return;
  }
  std::lock_guard one(one_run_);
  {
    std::lock_guard lock(mutex_);
    task_ = &task;
    count_ = count;
    next_ = 0;
    busy_ = static_cast<int>(workers_.size());
    ++round_;
  }
  start_.notify_all();
  take(0);
  std::unique_lock lock(mutex_);
  done_.wait(lock, [&] { return busy_ == 0; });
}

} // namespace orv
