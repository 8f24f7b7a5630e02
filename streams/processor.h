// What the processor offers to generators; the answers are kept after the first call, as CPUID is slow.
#pragma once
#include <cstdint>

extern "C" {
int32_t __rnqCPUisAES(void);
int32_t __rnqCPUisVAES(void);
int32_t __rnqCPUisRDRAND(void);
}
