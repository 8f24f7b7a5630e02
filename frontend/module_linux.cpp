#ifdef __linux__
#  include "frontend/module.h"

#  include <dlfcn.h>

namespace orv::module {

const char* const kernel_library_file = "liborv_elw_avx2.so.2";

std::filesystem::path program_directory() {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

void* open(std::filesystem::path const& file, std::string& why) {
  void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) why = dlerror();
  return module;
}

void* function(void* module, const char* name) { return dlsym(module, name); }

} // namespace orv::module
#endif
