// libFuzzer target: loads any bytes as a stream and does everything with it. Built and run by fuzz_stream_image.sh.
#include "tests/streams/exercise.h"

#include "platform/attach.h"

#include <string>
#include <sys/mman.h>
#include <unistd.h>

// The thread hooks belong to the frame, which is not part of this program.
namespace orv {
bool on_process_attach() { return true; }
void on_thread_exit(void*) {}
void on_library_unload() {}
} // namespace orv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static int const file = memfd_create("image", 0);
  static std::string const path = "/proc/self/fd/" + std::to_string(file);
  if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) return 0;
  tools::exercise_image(path.c_str());
  return 0;
}
