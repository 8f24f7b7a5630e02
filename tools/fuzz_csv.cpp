// libFuzzer target of the CSV reader: the first byte says whether there is a header. Built and run by fuzz_front_end.sh.
#include "tests/frontend/exercise.h"

#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static int const file = memfd_create("csv", 0), copy = memfd_create("copy", 0);
  static std::string const path = "/proc/self/fd/" + std::to_string(file),
                           copy_path = "/proc/self/fd/" + std::to_string(copy);
  if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) return 0;
  std::freopen("/dev/null", "w", stderr); // notes of every file
  tools::exercise_csv(path, size % 2 == 0, copy_path);
  return 0;
}
