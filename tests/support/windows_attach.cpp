// The library's objects within a test program of Windows: nobody else calls the hook of a library there.
#ifdef _WIN32
#  include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID);

namespace {

struct Attach {
  Attach() { DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr); }
} attach;

void NTAPI on_thread(PVOID, DWORD reason, PVOID) {
  if (reason == DLL_THREAD_DETACH) DllMain(nullptr, reason, nullptr);
}

} // namespace

extern "C" {
__attribute__((section(".CRT$XLY"), used)) PIMAGE_TLS_CALLBACK orv_on_thread = on_thread;
}
#endif
