#include "frame/core.h"

#include "platform/platform.h"

namespace orv::core {

void* find_service(const char* name) { return platform::core_function(name); }

void missing_service() { platform::die(nullptr, nullptr, 3); }

} // namespace orv::core
