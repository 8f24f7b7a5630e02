#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include "platform/attach.h"
#  include "platform/platform.h"

#  include <atomic>
#  include <cstdio>
#  include <cstdlib>
#  include <cstring>
#  include <windows.h>

namespace orv::platform {
namespace {
DWORD slot = TLS_OUT_OF_INDEXES;
HANDLE heap = nullptr;

using ErrnoFunction = int*(__cdecl*)();
std::atomic<ErrnoFunction> errno_function{nullptr};
std::atomic<bool> errno_searched{false};

// Runtime libraries that a program may have loaded, release builds first.
constexpr const char* runtimes[] = {"MSVCR100.DLL", "MSVCR90.DLL",  "MSVCR80.DLL",   "MSVCR71.DLL",
                                    "MSVCR70.DLL",  "MSVCRT.DLL",   "MSVCR100D.DLL", "MSVCR90D.DLL",
                                    "MSVCR80D.DLL", "MSVCR71D.DLL", "MSVCR70D.DLL",  "MSVCRTD.DLL"};
} // namespace

bool slot_create() {
  if (slot == TLS_OUT_OF_INDEXES) slot = TlsAlloc();
  return slot != TLS_OUT_OF_INDEXES;
}
void slot_free() {
  if (slot != TLS_OUT_OF_INDEXES) TlsFree(slot);
  slot = TLS_OUT_OF_INDEXES;
}
bool slot_exists() { return slot != TLS_OUT_OF_INDEXES; }
void* slot_get() { return TlsGetValue(slot); }
bool slot_set(void* value) { return TlsSetValue(slot, value); }

bool heap_create(std::size_t initial_bytes) {
  if (!heap) heap = HeapCreate(0, initial_bytes, 0);
  return heap != nullptr;
}
bool heap_exists() { return heap != nullptr; }
void* heap_allocate(std::size_t bytes) { return HeapAlloc(heap, HEAP_ZERO_MEMORY, bytes); }
void heap_free(void* block) { HeapFree(heap, 0, block); }
void heap_destroy() {
  if (heap) HeapDestroy(heap);
  heap = nullptr;
}

const char* const core_library_file = "orv_core.2.dll";

void* function_beside(const char* file, const char* name) {
  HMODULE self;
  char path[MAX_PATH];
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                              GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<LPCSTR>(&function_beside), &self))
    return nullptr;
  DWORD const length = GetModuleFileNameA(self, path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  char* slash = std::strrchr(path, '\\');
  if (!slash || static_cast<std::size_t>(slash + 1 - path) + std::strlen(file) >= MAX_PATH) return nullptr;
  std::strcpy(slash + 1, file);
  HMODULE const module = LoadLibraryExA(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  return module ? reinterpret_cast<void*>(GetProcAddress(module, name)) : nullptr;
}

// Written without a lock: two searches find the same address, and the address is written before the mark.
int* errno_location() {
  if (!errno_searched.load(std::memory_order_acquire)) {
    for (const char* name : runtimes) {
      if (HMODULE const module = GetModuleHandleA(name)) {
        errno_function.store(
            reinterpret_cast<ErrnoFunction>(reinterpret_cast<void*>(GetProcAddress(module, "_errno"))),
            std::memory_order_relaxed);
        break;
      }
    }
    errno_searched.store(true, std::memory_order_release);
  }
  ErrnoFunction const function = errno_function.load(std::memory_order_relaxed);
  return function ? function() : nullptr;
}

void die(const char* what, const char* detail, int code) {
  std::fprintf(stderr, "orv: %s: %s\n", what, detail);
  std::fflush(nullptr);
  std::_Exit(code);
}

} // namespace orv::platform

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
  using namespace orv;
  switch (reason) {
  case DLL_PROCESS_ATTACH:
    return on_process_attach();
  case DLL_THREAD_DETACH:
    if (platform::slot_exists())
      if (void* block = platform::slot_get()) {
        on_thread_exit(block);
        platform::slot_set(nullptr);
      }
    break;
  case DLL_PROCESS_DETACH:
    if (!reserved) on_library_unload();
    break;
  }
  return TRUE;
}
#endif
