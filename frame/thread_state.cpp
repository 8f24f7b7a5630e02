#include "frame/thread_state.h"

#include "frame/core.h"
#include "frame/export.h"
#include "platform/attach.h"
#include "platform/platform.h"

namespace orv {
namespace {

int32_t slot_lock, heap_lock;
constexpr std::size_t heap_start = 24;

// A block for this thread, stored in its slot; null without memory. The slot and the heap exist.
ElwThreadState* new_block() {
  void* block = platform::heap_allocate(sizeof(ElwThreadState));
  if (block && !platform::slot_set(block)) {
    platform::heap_free(block);
    block = nullptr;
  }
  return static_cast<ElwThreadState*>(block);
}

constexpr uint32_t default_accuracy = ORV_HA;

} // namespace

ElwThreadState& ElwFirstThreadState() {
  if (!platform::slot_exists()) {
    core::Lock guard(slot_lock);
    platform::slot_create();
  }
  if (!platform::heap_exists()) {
    core::Lock guard(heap_lock);
    platform::heap_create(heap_start);
  }
  if (platform::slot_exists() && platform::heap_exists())
    if (auto* block = new_block()) return *block;
  core::print(773);
  core::exit(3);
  __builtin_unreachable();
}

uint32_t ElwFirstMode(ElwThreadState& state) {
  uint64_t const setting = ElwReadEnvMode();
  uint32_t mode = setting == no_env_mode ? 0 : static_cast<uint32_t>(setting);
  if (!(mode & accuracy_mask)) mode |= default_accuracy;
  if (!(mode & error_mode_mask)) mode |= ORV_ERRMODE_DEFAULT;
  return state.mode = mode;
}

// Takes no lock and loads nothing: the loader's own lock is held here.
bool on_process_attach() {
  return platform::slot_create() && platform::heap_create(heap_start) && new_block() != nullptr;
}

void on_thread_exit(void* block) { platform::heap_free(block); }

void on_library_unload() {
  if (platform::slot_exists()) {
    if (void* block = platform::slot_get()) {
      platform::heap_free(block);
      platform::slot_set(nullptr);
    }
    platform::slot_free();
  }
  platform::heap_destroy();
  platform::release_core();
}

} // namespace orv

using orv::ElwGetThreadState;

ORV_EXPORT uint32_t orv_elw_kernel_GetMode() { return orv::ElwMode(); }

ORV_EXPORT uint32_t orv_elw_kernel_SetMode(uint32_t wanted) {
  uint32_t const old = orv::ElwMode();
  uint32_t mode = old;
  for (uint32_t field :
       {orv::accuracy_mask, orv::error_mode_mask, orv::denormal_mask, orv::trap_mask, orv::carried_mask})
    if (wanted & field) mode = (mode & ~field) | (wanted & field);
  ElwGetThreadState().mode = mode;
  return old;
}

ORV_EXPORT int32_t orv_elw_kernel_GetTTableIndexM(uint32_t, uint32_t mode) {
  return static_cast<int32_t>(mode & orv::accuracy_mask) - 1;
}
ORV_EXPORT int32_t orv_elw_kernel_GetTTableIndex() {
  return orv_elw_kernel_GetTTableIndexM(0, orv_elw_kernel_GetMode());
}

ORV_EXPORT int32_t orv_elw_kernel_GetErrStatus() { return ElwGetThreadState().errStatus; }
ORV_EXPORT int32_t orv_elw_kernel_SetErrStatus(int32_t status) {
  auto& state = ElwGetThreadState();
  int32_t const old = state.errStatus;
  state.errStatus = status;
  return old;
}
ORV_EXPORT int32_t orv_elw_kernel_ClearErrStatus() { return orv_elw_kernel_SetErrStatus(0); }

ORV_EXPORT OrvErrorCallback orv_elw_kernel_GetErrorCallBack() { return ElwGetThreadState().errorCallback; }
ORV_EXPORT OrvErrorCallback orv_elw_kernel_SetErrorCallBack(OrvErrorCallback callback) {
  auto& state = ElwGetThreadState();
  OrvErrorCallback const old = state.errorCallback;
  uint32_t const mode = orv::ElwMode();
  state.errorCallback = callback;
  orv_elw_kernel_SetMode(callback ? mode | ORV_ERRMODE_CALLBACK : mode & ~ORV_ERRMODE_CALLBACK);
  return old;
}
ORV_EXPORT OrvErrorCallback orv_elw_kernel_ClearErrorCallBack() {
  return orv_elw_kernel_SetErrorCallBack(nullptr);
}

ORV_EXPORT const void* orv_elw_kernel_SetInterfInputVectorPointer(const void* base) {
  return ElwGetThreadState().interfInputVector = base;
}

ORV_EXPORT uint32_t _elwGetMode() { return orv_elw_kernel_GetMode(); }
ORV_EXPORT uint32_t _elwSetMode(uint32_t mode) { return orv_elw_kernel_SetMode(mode); }
ORV_EXPORT int32_t _elwGetErrStatus() { return orv_elw_kernel_GetErrStatus(); }
ORV_EXPORT int32_t _elwSetErrStatus(int32_t status) { return orv_elw_kernel_SetErrStatus(status); }
ORV_EXPORT int32_t _elwClearErrStatus() { return orv_elw_kernel_ClearErrStatus(); }
ORV_EXPORT OrvErrorCallback _elwGetErrorCallBack() { return orv_elw_kernel_GetErrorCallBack(); }
ORV_EXPORT OrvErrorCallback _elwSetErrorCallBack(OrvErrorCallback callback) {
  return orv_elw_kernel_SetErrorCallBack(callback);
}
ORV_EXPORT OrvErrorCallback _elwClearErrorCallBack() { return orv_elw_kernel_ClearErrorCallBack(); }
ORV_EXPORT const void* _elwSetInterfInputVectorPointer(const void* base) {
  return orv_elw_kernel_SetInterfInputVectorPointer(base);
}

ORV_EXPORT int dll_cpu_version() { return 9; }
