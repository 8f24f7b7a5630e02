#ifdef __linux__
#  include "platform/attach.h"
#  include "platform/platform.h"

#  include <atomic>
#  include <cerrno>
#  include <cstdio>
#  include <cstdlib>
#  include <cstring>
#  include <dlfcn.h>
#  include <pthread.h>
#  include <semaphore.h>

extern "C" int __cxa_atexit(void (*)(void*), void*, void*);

namespace orv::platform {
namespace {

bool key_exists = false;
pthread_key_t key;
// The key only carries the thread-exit destructor; reads go to slot_value.

struct HeapBlock {
  HeapBlock *next, *previous;
  alignas(16) unsigned char payload[1];
};
bool heap_made = false;
HeapBlock* heap_blocks = nullptr;
pthread_mutex_t heap_mutex = PTHREAD_MUTEX_INITIALIZER;

void thread_exit(void* value) {
  slot_value = nullptr;
  on_thread_exit(value);
}

} // namespace

__thread void* slot_value = nullptr;

bool slot_create() {
  if (!key_exists) key_exists = pthread_key_create(&key, thread_exit) == 0;
  return key_exists;
}
void slot_free() {
  if (key_exists) pthread_key_delete(key);
  key_exists = false;
}
bool slot_exists() { return key_exists; }
bool slot_set(void* value) {
  if (pthread_setspecific(key, value) != 0) return false;
  slot_value = value;
  return true;
}

bool heap_create(std::size_t) { return heap_made = true; }
bool heap_exists() { return heap_made; }

void* heap_allocate(std::size_t bytes) {
  auto* block = static_cast<HeapBlock*>(std::calloc(1, offsetof(HeapBlock, payload) + bytes));
  if (!block) return nullptr;
  pthread_mutex_lock(&heap_mutex);
  block->next = heap_blocks;
  if (heap_blocks) heap_blocks->previous = block;
  heap_blocks = block;
  pthread_mutex_unlock(&heap_mutex);
  return block->payload;
}

void heap_free(void* payload) {
  auto* block =
      reinterpret_cast<HeapBlock*>(static_cast<unsigned char*>(payload) - offsetof(HeapBlock, payload));
  pthread_mutex_lock(&heap_mutex);
  (block->previous ? block->previous->next : heap_blocks) = block->next;
  if (block->next) block->next->previous = block->previous;
  pthread_mutex_unlock(&heap_mutex);
  std::free(block);
}

void heap_destroy() {
  while (heap_blocks) heap_free(heap_blocks->payload);
  heap_made = false;
}

namespace {

std::atomic<void*> core_module{nullptr};
std::atomic<bool> core_told{false};

void tell(const char* what, const char* detail) { std::fprintf(stderr, "orv: %s: %s\n", what, detail); }
void tell_once(const char* what, const char* detail) {
  if (!core_told.exchange(true)) tell(what, detail);
}

void* load_core() {
  constexpr const char* file = "liborv_core.so.2";
  Dl_info self;
  const char* slash = nullptr;
  if (dladdr(reinterpret_cast<void*>(&core_function), &self) && self.dli_fname)
    slash = std::strrchr(self.dli_fname, '/');
  char path[4096];
  int const length = slash ? std::snprintf(path, sizeof path, "%.*s/%s",
                                           static_cast<int>(slash - self.dli_fname), self.dli_fname, file)
                           : -1; // never the working directory
  if (length < 0 || length >= static_cast<int>(sizeof path)) {
    tell_once("the core library's place is not known", file);
    return nullptr;
  }
  void* const module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!module) tell_once("the core library cannot be loaded", dlerror());
  return module;
}

} // namespace

void* core_function(const char* name) {
  void* module = core_module.load(std::memory_order_acquire);
  if (!module) {
    void* const loaded = load_core();
    if (!loaded) return nullptr;
    if (core_module.compare_exchange_strong(module, loaded, std::memory_order_acq_rel))
      module = loaded;
    else
      dlclose(loaded); // another thread was first
  }
  void* const function = dlsym(module, name);
  if (!function) tell_once("the core library lacks a function", name);
  return function;
}

// The loader puts the unload of the core library off until it has finished this one's; the core library then ends
// its threads first.
void release_core() {
  if (void* const module = core_module.exchange(nullptr)) dlclose(module);
}

int* errno_location() { return &errno; }

void die(const char* what, const char* detail, int code) {
  if (what) tell(what, detail);
  std::fflush(nullptr);
  std::_Exit(code);
}

} // namespace orv::platform

namespace {

// Set when exit() begins. The handler is a function of the C library, which stays when this library goes,
// so that the loader's call of `detach` can tell an unload from the end of the process.
sem_t* process_ends = nullptr;

[[gnu::constructor]] void attach() {
  process_ends = static_cast<sem_t*>(std::malloc(sizeof(sem_t)));
  if (!process_ends || sem_init(process_ends, 0, 0) != 0 || !orv::on_process_attach())
    orv::platform::die("cannot load", "no memory for the state of a thread", 3);
  // Of no module, so that no unload calls it; not null, where the thread sanitizer would lose the argument.
  void* const no_module = process_ends;
  __cxa_atexit(reinterpret_cast<void (*)(void*)>(reinterpret_cast<void*>(&sem_post)), process_ends,
               no_module);
}

[[gnu::destructor]] void detach() {
  int ending = 1;
  sem_getvalue(process_ends, &ending);
  if (!ending) orv::on_library_unload();
}

} // namespace
#endif
