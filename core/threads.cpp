// A pool of threads behind the thread functions. Threads start when they are first wanted and sleep between
// calls, but look out for the next call a little while first: waking a thread takes as long as much of the
// work that is worth sharing. The caller works too; a call from inside a chunk, or while another thread uses
// the pool, runs its chunks on the caller alone, so that no call can wait for itself.
#include "core/export.h"
#include "orv/core.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>
#include <vector>
#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include <windows.h>
#endif

namespace {

using Callback = void (*)(int, int, int, void*);
constexpr int max_threads = 256;
thread_local bool inside_chunk = false;

// Waits in place for what another thread is about to do; gives up after a short time.
template <class Ready>
void look_out(Ready ready) {
  auto const end = std::chrono::steady_clock::now() + std::chrono::microseconds(60);
  while (!ready() && std::chrono::steady_clock::now() < end)
    for (int i = 0; i < 8; ++i) __builtin_ia32_pause();
}

class Pool {
 public:
  void run(int chunks, int threads, void* context, Callback callback) {
    std::unique_lock<std::mutex> use(in_use_, std::try_to_lock);
    if (!use) return serial(chunks, context, callback);
    {
      std::lock_guard<std::mutex> lock(state_);
      grow(threads - 1);
      chunks_ = chunks;
      context_ = context;
      callback_ = callback;
      next_.store(0, std::memory_order_relaxed);
      seats_ = std::min(threads - 1, static_cast<int>(workers_.size()));
      ++generation_;
    }
    wake_.notify_all();
    work();
    std::unique_lock<std::mutex> lock(state_);
    seats_ = 0; // whoever did not wake up in time isn't needed any more
    lock.unlock();
    look_out([this] { return busy_ == 0; });
    lock.lock();
    done_.wait(lock, [this] { return busy_ == 0; });
  }

  // Stops once no call runs; false if there were no threads.
  bool stop_when_idle() {
    std::lock_guard<std::mutex> use(in_use_);
    if (idle()) return false;
    stop();
    return true;
  }
  bool idle() const { return workers_.empty(); }

  static void serial(int chunks, void* context, Callback callback) {
    for (int c = 0; c < chunks; ++c) callback(c, 0, 0, context);
  }

  // Ends the threads; the next call starts new ones. Nobody uses the pool, or the process ends.
  void stop() {
    {
      std::lock_guard<std::mutex> lock(state_);
      stopping_ = true;
    }
    wake_.notify_all();
    for (auto& worker : workers_) worker.join();
    workers_.clear();
    stopping_ = false;
  }

 private:
  void grow(int wanted) {
#ifdef _WIN32 // threads can't be waited for while a module detaches: they hold a reference to theirs
    HMODULE self;
    if (idle() && wanted > 0)
      GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                         reinterpret_cast<const wchar_t*>(&orv_rnq_serv_threader_for), &self);
#endif
    while (static_cast<int>(workers_.size()) < wanted) {
      try {
        workers_.emplace_back([this, seen = generation_.load()] { loop(seen); });
      } catch (...) {
        return; // fewer threads do the same work
      }
    }
  }

  void loop(unsigned seen) {
    for (;;) {
      look_out([&] { return stopping_ || generation_ != seen; });
      std::unique_lock<std::mutex> lock(state_);
      wake_.wait(lock, [&] { return stopping_ || generation_ != seen; });
      if (stopping_) return;
      seen = generation_;
      if (seats_ == 0) continue;
      --seats_;
      ++busy_;
      lock.unlock();
      work();
      lock.lock();
      if (--busy_ == 0) done_.notify_one();
    }
  }

  void work() {
    inside_chunk = true;
    for (int c; (c = next_.fetch_add(1, std::memory_order_relaxed)) < chunks_;) callback_(c, 0, 0, context_);
    inside_chunk = false;
  }

  std::mutex in_use_, state_;
  std::condition_variable wake_, done_;
  std::vector<std::thread> workers_;
  std::atomic<int> next_{0};
  int chunks_ = 0, seats_ = 0;
  std::atomic<int> busy_{0};
  std::atomic<unsigned> generation_{0};
  std::atomic<bool> stopping_{false};
  void* context_ = nullptr;
  Callback callback_ = nullptr;
};

// Not a static object: threads that still sleep when a process ends must find it whole.
std::atomic<Pool*> pool_made{nullptr};

#ifdef _WIN32
// The last thing that runs here for a library that was unloaded, outside the hook, where threads can end.
DWORD WINAPI release(void* module) {
  Pool* const pool = pool_made.load(std::memory_order_acquire);
  if (pool && pool->stop_when_idle()) FreeLibrary(static_cast<HMODULE>(module)); // the threads' reference
  FreeLibraryAndExitThread(static_cast<HMODULE>(module), 0);
}
#endif

Pool* the_pool() {
  static std::mutex making;
  if (Pool* const pool = pool_made.load(std::memory_order_acquire)) return pool;
  std::lock_guard<std::mutex> lock(making);
  if (!pool_made.load(std::memory_order_relaxed)) {
    Pool* const pool = new (std::nothrow) Pool;
    static struct Stop {
      ~Stop() {
        Pool* const last = pool_made.exchange(nullptr);
        if (!last) return;
#ifndef _WIN32 // unloading the library takes its code from under the threads: they end first
        last->stop();
#endif
        if (last->idle()) delete last;
      }
    } stop;
    pool_made.store(pool, std::memory_order_release);
  }
  return pool_made.load(std::memory_order_relaxed);
}

} // namespace

ORV_CORE_EXPORT int orv_rnq_serv_threader_get_num_threads_limit(void) {
  static int const processors = static_cast<int>(std::thread::hardware_concurrency()); // asks the system
  int limit = 0;
  char wish[16];
  if (orv_serv_getenv("ORV_NUM_THREADS", wish, sizeof wish) > 0) limit = std::atoi(wish);
  if (limit < 1) limit = processors;
  return std::clamp(limit, 1, max_threads);
}

ORV_CORE_EXPORT void orv_rnq_serv_threader_for(int chunks, int, void* context, Callback callback) {
  int const threads = std::min(chunks, inside_chunk ? 1 : orv_rnq_serv_threader_get_num_threads_limit());
  Pool* pool = threads > 1 ? the_pool() : nullptr;
  if (pool)
    pool->run(chunks, threads, context, callback);
  else
    Pool::serial(chunks, context, callback);
}

#ifdef _WIN32
ORV_CORE_EXPORT void orv_serv_release(void* module) {
  if (HANDLE const thread = CreateThread(nullptr, 0, release, module, 0, nullptr)) CloseHandle(thread);
}
#endif

ORV_CORE_EXPORT void* orv_serv_load_thread_fun(const char* name) {
  if (!name) return nullptr;
  if (!std::strcmp(name, "orv_rnq_serv_threader_get_num_threads_limit"))
    return reinterpret_cast<void*>(&orv_rnq_serv_threader_get_num_threads_limit);
  if (!std::strcmp(name, "orv_rnq_serv_threader_for"))
    return reinterpret_cast<void*>(&orv_rnq_serv_threader_for);
  return nullptr;
}
