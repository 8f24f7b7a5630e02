// The per-thread block: mode, status, callback.
#pragma once
#include "orv/mode.h"
#include "platform/platform.h"

#include <cstddef>
#include <cstdint>

namespace orv {

struct ElwThreadState {
  uint32_t mode; // 0: not yet initialised
  int32_t errStatus;
  OrvErrorCallback errorCallback;
  uint32_t reserved[2];
  const void* interfInputVector;
};
static_assert(sizeof(void*) != 4 || sizeof(ElwThreadState) == 24);

// The calling thread's block. Ends the process with code 3 if there is no memory for it.
ElwThreadState& ElwFirstThreadState();
inline ElwThreadState& ElwGetThreadState() {
  void* const block = platform::slot_get();
  return block ? *static_cast<ElwThreadState*>(block) : ElwFirstThreadState();
}

// The calling thread's mode word, initialised at its first need: what GetMode returns, without the call through
// the exported name.
uint32_t ElwFirstMode(ElwThreadState& state);
inline uint32_t ElwMode() {
  ElwThreadState& state = ElwGetThreadState();
  return state.mode ? state.mode : ElwFirstMode(state);
}

// The OR of the bits of all tokens of ORV_ELW_MODE, or all ones if there is no usable setting.
uint64_t ElwReadEnvMode();
constexpr uint64_t no_env_mode = ~uint64_t{0};

constexpr uint32_t accuracy_mask = 0xF, error_mode_mask = 0xFF00, carried_mask = 0x30000,
                   denormal_mask = 0x3C0000, trap_mask = 0xF000000;

} // namespace orv
