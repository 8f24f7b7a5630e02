// libFuzzer target of the front-end classes. Built and run by fuzz_front_end.sh.
#include "tests/frontend/exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  tools::exercise_front_end(data, size);
  return 0;
}
