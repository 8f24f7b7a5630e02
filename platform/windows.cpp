#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include "platform/attach.h"
#  include "platform/platform.h"

#  include <atomic>
#  include <cstdio>
#  include <cstdlib>
#  include <cstring>
#  include <cwchar>
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

namespace {

std::atomic<HMODULE> core_module{nullptr};
std::atomic<bool> core_told{false};

// By the system's calls: while the library is loaded or unloaded its C runtime may not be whole.
void write_error(const char* text, std::size_t length) {
  DWORD written;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(length), &written, nullptr);
}
void tell(const char* what, const char* detail) {
  for (const char* part : {"orv: ", what, ": ", detail, "\r\n"}) write_error(part, std::strlen(part));
}
void tell_once(const char* what, const char* detail) {
  if (!core_told.exchange(true)) tell(what, detail);
}

// Paths may have any characters and 32767 of them.
class WidePath {
 public:
  WidePath() : text_(static_cast<wchar_t*>(HeapAlloc(GetProcessHeap(), 0, room * sizeof(wchar_t)))) {}
  ~WidePath() {
    if (text_) HeapFree(GetProcessHeap(), 0, text_);
  }
  WidePath(WidePath const&) = delete;
  WidePath& operator=(WidePath const&) = delete;
  // The path of `file` in the directory of the module that `address` lies in.
  bool set_beside(void* address, const wchar_t* file) {
    HMODULE self;
    if (!text_ || !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                          GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                      static_cast<LPCWSTR>(address), &self))
      return false;
    DWORD const length = GetModuleFileNameW(self, text_, room);
    if (length == 0 || length >= room) return false;
    wchar_t* const slash = std::wcsrchr(text_, L'\\');
    if (!slash || static_cast<std::size_t>(slash + 1 - text_) + std::wcslen(file) >= room) return false;
    std::wcscpy(slash + 1, file);
    return true;
  }
  const wchar_t* text() const { return text_; }

 private:
  static constexpr DWORD room = 32768;
  wchar_t* text_;
};

HMODULE load_core() {
  WidePath path;
  if (!path.set_beside(reinterpret_cast<void*>(&core_function), L"orv_core.2.dll")) {
    tell_once("the core library's place is not known", "orv_core.2.dll");
    return nullptr;
  }
  HMODULE const module = LoadLibraryExW(path.text(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (!module) {
    char detail[1200];
    int length = WideCharToMultiByte(CP_UTF8, 0, path.text(), -1, detail, 1100, nullptr, nullptr);
    if (length <= 0) std::strcpy(detail, "orv_core.2.dll");
    std::snprintf(detail + std::strlen(detail), 64, ", error %lu", GetLastError());
    tell_once("the core library cannot be loaded", detail);
  }
  return module;
}

} // namespace

void* core_function(const char* name) {
  HMODULE module = core_module.load(std::memory_order_acquire);
  if (!module) {
    HMODULE const loaded = load_core();
    if (!loaded) return nullptr;
    if (core_module.compare_exchange_strong(module, loaded, std::memory_order_acq_rel))
      module = loaded;
    else
      FreeLibrary(loaded); // another thread was first
  }
  void* const function = reinterpret_cast<void*>(GetProcAddress(module, name));
  if (!function) tell_once("the core library lacks a function", name);
  return function;
}

// No library may be freed within the hook, and threads cannot end there: the core library does both on a thread
// of its own that begins behind it. One without that service stays loaded.
void release_core() {
  HMODULE const module = core_module.exchange(nullptr);
  if (!module) return;
  using Release = void(void*);
  if (auto* const release =
          reinterpret_cast<Release*>(reinterpret_cast<void*>(GetProcAddress(module, "orv_serv_release"))))
    release(module);
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
  std::fflush(nullptr);
  if (what) tell(what, detail);
  std::_Exit(code);
}

} // namespace orv::platform

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
  using namespace orv;
  switch (reason) {
  case DLL_PROCESS_ATTACH:
    if (on_process_attach()) break;
    platform::tell("cannot load", "no memory for the state of a thread");
    return FALSE;
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
