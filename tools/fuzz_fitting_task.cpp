// libFuzzer target: makes a fitting task of any bytes and compares it with plain models. Built and run by
// fuzz_task.sh.
#include "tests/fitting/exercise.h"

#include "platform/attach.h"

// The thread hooks belong to the frame, which is not part of this program.
namespace orv {
bool on_process_attach() { return true; }
void on_thread_exit(void*) {}
void on_library_unload() {}
} // namespace orv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  testing::FLAGS_gtest_throw_on_failure = true; // ends the run with the bytes kept
  fit_test::exercise_fitting(data, size);
  return 0;
}
