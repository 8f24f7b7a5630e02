#include "frame/export.h"
ORV_EXPORT int dll_cpu_version(void) { return 9; }
