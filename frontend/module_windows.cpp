#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include "frontend/module.h"

#  include <windows.h>

namespace orv::module {

const char* const kernel_library_file = "orv_elw_avx2.2.dll";

std::filesystem::path program_directory() {
  wchar_t path[MAX_PATH];
  DWORD const length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path, path + (length < MAX_PATH ? length : 0)).parent_path();
}

void* open(std::filesystem::path const& file, std::string& why) {
  HMODULE const module = LoadLibraryW(file.c_str());
  if (!module) why = "error " + std::to_string(GetLastError());
  return reinterpret_cast<void*>(module);
}

void* function(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(module), name));
}

} // namespace orv::module
#endif
