// libFuzzer target: any bytes as an element-wise call. Built and run by fuzz_elementwise.sh.
#include "tests/elementwise/exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orv::test::exercise_call(data, size);
  return 0;
}
