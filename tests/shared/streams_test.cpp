// The registry as an executable sees it: the table that it reads is the one that the library fills.
#include "orv/streams.h"

#include <gtest/gtest.h>

namespace {

int32_t init(int32_t, RngStream*, int32_t, const void*) { return RnqOk; }
int32_t single(RngStream*, int32_t, float*, float, float) { return RnqOk; }
int32_t real(RngStream*, int32_t, double* r, double, double b) { return r[0] = b, RnqOk; }
int32_t integer(RngStream*, int32_t, void*) { return RnqOk; }

TEST(StreamsFromOutside, RegisteredRowsAppearInTheTable) {
  BrngProperties const row{64, 1, 1, 4, 32, init, single, real, integer};
  int32_t const number = __rnqRegisterBrng(&row);
  ASSERT_EQ(number, 0x1100000);
  EXPECT_EQ(__RegBrngsNew[16].stateSize, 64);
  EXPECT_EQ(__RegBrngsNew[16].initStream, init);
  RngStream* s = nullptr;
  ASSERT_EQ(__rnqNewStreamEx(&s, number, 0, nullptr), RnqOk);
  uint32_t index, sub;
  double r = 0;
  EXPECT_EQ(__rnqGetBrngBaseOffset(s->brng, &index, &sub), __RegBrngsNew);
  EXPECT_EQ(__RegBrngsNew[index].generateDouble(s, 1, &r, 0, 3), RnqOk);
  EXPECT_EQ(r, 3.0);
  EXPECT_EQ(__rnqDeleteStream(&s), RnqOk);
  EXPECT_EQ(__RegBrngs[4].seedCount, 4);
}

} // namespace
