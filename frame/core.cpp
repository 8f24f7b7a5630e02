#include "frame/core.h"

#include "platform/platform.h"

namespace orv::core {

void* find_service(const char* name) { return platform::function_beside(platform::core_library_file, name); }

void missing_service(const char* name) {
  platform::die("the core library beside the kernel library is missing or lacks a service", name, 3);
}

} // namespace orv::core
