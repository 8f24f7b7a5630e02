// libFuzzer target: makes a moments task of any bytes and compares it with a plain model. Built and run by
// fuzz_task.sh.
#include "tests/statistics/exercise.h"

#include "frame/thread_state.h"
#include "orv/elementwise.h"
#include "platform/attach.h"

// What the statistics want of the frame and the kernels, plainly.
namespace orv {
bool on_process_attach() { return true; }
void on_thread_exit(void*) {}
void on_library_unload() {}
ElwThreadState& ElwGetThreadState() {
  static thread_local ElwThreadState state{0x1A02, 0, nullptr, {}, nullptr};
  return state;
}
} // namespace orv
extern "C" uint32_t orv_elw_kernel_SetMode(uint32_t mode) {
  uint32_t& word = orv::ElwGetThreadState().mode;
  uint32_t const old = word;
  if (mode & 0x3C0000) word = (word & ~0x3C0000u) | (mode & 0x3C0000);
  return old;
}
template <class T>
static void inverse_roots(int n, T const* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = 1 / std::sqrt(a[i]);
}
extern "C" {
decltype(orv_elw_kernel_dInvSqrt_ttab) orv_elw_kernel_dInvSqrt_ttab = {
    inverse_roots<double>, inverse_roots<double>, inverse_roots<double>};
decltype(orv_elw_kernel_sInvSqrt_ttab) orv_elw_kernel_sInvSqrt_ttab = {
    inverse_roots<float>, inverse_roots<float>, inverse_roots<float>};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  testing::FLAGS_gtest_throw_on_failure = true; // ends the run with the bytes kept
  orv::test::exercise_statistics(data, size);
  return 0;
}
