#include "stream_tools.h"

using namespace tools;

namespace {

TEST(Registry, NumbersDecodeAndAreChecked) {
  struct Case {
    int32_t number;
    bool in_range;
    uint32_t row, sub;
    bool legacy;
  };
  Case const cases[] = {{0x100000, true, 0, 0, false},
                        {0x100001, false, 0, 1, false},
                        {0x500110, true, 4, 272, false},
                        {0x500111, false, 4, 273, false},
                        {276, true, 4, 272, true},
                        {4, true, 4, 0, true},
                        {277, true, 277, 0, true},
                        {278, true, 278, 0, true},
                        {279, true, 279, 0, true}, // rows without a generator
                        {280, true, 280, 0, true},
                        {281, false, 281, 0, true},
                        {0xFFFFF, false, 0xFFFFF, 0, true},
                        {0x900000 + 6023, true, 8, 6023, false},
                        {0x900000 + 6024, false, 8, 6024, false},
                        {0x1000000, true, 15, 0, false},
                        {-1, false, 0xFFFFFFFF, 0, true},
                        {INT32_MIN, false, 0x80000000, 0, true},
                        {INT32_MAX, false, 2046, 0xFFFFF, false}};
  for (auto const& c : cases) {
    SCOPED_TRACE(c.number);
    uint32_t row, sub;
    auto const* table = __rnqGetBrngBaseOffset(c.number, &row, &sub);
    EXPECT_EQ(table, c.legacy ? static_cast<const BrngProperties*>(__RegBrngs) : __RegBrngsNew);
    EXPECT_EQ(row, c.row);
    EXPECT_EQ(sub, c.sub);
    BrngProperties p;
    EXPECT_EQ(__rnqIsBrngValid(table, row, sub), c.in_range ? RnqOk : RnqErrBadBrng);
    EXPECT_EQ(__rnqGetBrngProperties(c.number, &p), c.in_range ? RnqOk : RnqErrBadBrng);
    bool const empty = c.number == 279 || c.number == 280;
    if (c.in_range) {
      EXPECT_EQ(p.initStream == nullptr, empty);
    }
    if (!c.in_range || empty) {
      RngStream* s = nullptr;
      EXPECT_EQ(__rnqNewStreamEx(&s, c.number, 0, nullptr), RnqErrBadBrng);
      EXPECT_EQ(__rnqAllocateStream(&s, table, c.number, row, sub), RnqErrBadBrng);
      EXPECT_EQ(s, nullptr);
    }
  }
}

TEST(Registry, RowsDescribeTheGenerators) {
  int32_t const expected[16][5] = {
      {24, 1, 0, 4, 31},     {1024, 252, 1, 4, 32},   {40, 6, 1, 4, 32},        {32, 1, 0, 8, 59},
      {48, 4, 1, 16, 24},    {11712, 2604, 0, 4, 32}, {84288, 10498, 0, 4, 32}, {2520, 625, 1, 4, 32},
      {312, 70, 1, 4, 32},   {40, 0, 1, 4, 32},       {56, 0, 1, 4, 32},        {48, 0, 1, 4, 32},
      {2536, 625, 1, 4, 32}, {24, 1, 0, 4, 32},       {72, 8, 1, 4, 32},        {64, 8, 1, 4, 32}};
  for (int i = 0; i < 16; ++i) {
    auto const& p = __RegBrngsNew[i];
    int32_t const fields[5] = {p.stateSize, p.seedCount, p.zeroPossible, p.wordSize, p.bitCount};
    for (int k = 0; k < 5; ++k) {
      bool const holds_addresses = sizeof(void*) == 8 && i >= 9 && i <= 11 && k == 0;
      EXPECT_TRUE(holds_addresses || fields[k] == expected[i][k]) << i << ' ' << k;
    }
    EXPECT_TRUE(p.initStream && p.generateSingle && p.generateDouble && p.generateInteger) << i;
  }
  int const legacy[][2] = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {276, 4}, {277, 5}, {278, 6}};
  for (auto const& [old, now] : legacy) {
    EXPECT_EQ(__RegBrngs[old].initStream, __RegBrngsNew[now].initStream) << old;
    EXPECT_EQ(__RegBrngs[old].stateSize, __RegBrngsNew[now].stateSize) << old;
  }
}

TEST(Registry, MethodsThatAGeneratorLacksSaySo) {
  struct Case {
    int32_t number;
    bool leapfrog, skip, skip_ex;
  };
  Case const cases[] = {
      {0x100000, true, true, false},   {0x200000, false, false, false}, {0x300000, false, true, true},
      {0x400000, true, true, false},   {0x500000, true, true, false},   {0x800000, false, true, false},
      {0x900000, false, false, false}, {0xD00000, false, true, false},  {0xE00000, false, false, false},
      {0xF00000, false, true, true},   {0x1000000, false, true, true}};
  for (auto const& c : cases) {
    SCOPED_TRACE(c.number);
    Stream s(c.number);
    uint64_t const count[] = {3, 0};
    EXPECT_EQ(__rnqLeapfrogStream(s.p, 0, 2), c.leapfrog ? RnqOk : RnqErrNoLeapfrog);
    EXPECT_EQ(__rnqSkipAheadStream(s.p, 3), c.skip ? RnqOk : RnqErrNoSkipAhead);
    EXPECT_EQ(__rnqSkipAheadStreamEx(s.p, 2, count), c.skip_ex ? RnqOk : RnqErrNoSkipAheadEx);
    EXPECT_EQ(__rnqLeapfrogStream(s.p, 0, -1), RnqErrLeapfrogStreams);
    for (int method : {-1, 4, 1000}) EXPECT_EQ(s.row().initStream(method, s.p, 0, nullptr), RnqErrBadMethod);
  }
}

int32_t init(int32_t method, RngStream* stream, int32_t, const void*) {
  if (method) return RnqErrNoSkipAhead;
  std::memset(stream + 1, 7, 4);
  return RnqOk;
}
int32_t single(RngStream*, int32_t, float*, float, float) { return RnqOk; }
int32_t real(RngStream*, int32_t n, double* r, double a, double) {
  for (int i = 0; i < n; ++i) r[i] = a;
  return RnqOk;
}
int32_t integer(RngStream*, int32_t, void*) { return RnqOk; }

// One test for all, since rows are never removed.
TEST(Registry, RegistrationChecksAddsAndRefusesWhenFull) {
  BrngProperties const good{20, 1, 0, 4, 32, init, single, real, integer};
  auto with = [&](auto change) {
    BrngProperties p = good;
    change(p);
    return __rnqRegisterBrng(&p);
  };
  EXPECT_EQ(with([](auto& p) { p.stateSize = -1, p.wordSize = 12; }), RnqErrBadStateSize);
  EXPECT_EQ(with([](auto& p) { p.wordSize = 12, p.initStream = nullptr; }), RnqErrBadWordSize);
  EXPECT_EQ(with([](auto& p) { p.seedCount = 0, p.bitCount = 0; }), RnqErrBadSeedCount);
  EXPECT_EQ(with([](auto& p) { p.bitCount = 0, p.initStream = nullptr; }), RnqErrBadBitCount);
  EXPECT_EQ(with([](auto& p) { p.generateDouble = nullptr; }), RnqErrNullArgument);
  EXPECT_EQ(with([](auto& p) { p.generateSingle = nullptr; }), RnqErrNullArgument);
  EXPECT_EQ(with([](auto& p) { p.generateInteger = nullptr; }), RnqErrNullArgument);
  EXPECT_EQ(with([](auto& p) { p.initStream = nullptr; }), RnqErrNullArgument);
  EXPECT_EQ(__rnqGetNumRegBrngs(), 16);
  BrngProperties p;
  EXPECT_EQ(__rnqGetBrngProperties(0x1100000, &p), RnqErrBadBrng);

  EXPECT_EQ(__rnqRegisterBrng(&good), 0x1100000);
  EXPECT_EQ(__rnqGetNumRegBrngs(), 17);
  EXPECT_EQ(__rnqGetBrngProperties(0x1100001, &p), RnqErrBadBrng);
  {
    Stream s(0x1100000);
    EXPECT_EQ(s.status, RnqOk);
    EXPECT_EQ(s.doubles(3, 5)[2], 5.0);
    EXPECT_EQ(__rnqSkipAheadStream(s.p, 1), RnqErrNoSkipAhead);
    Stream copy(s);
    EXPECT_EQ(copy.state_word(0), 0x07070707u);
  }
  // A state smaller than the head that every stream has.
  EXPECT_EQ(with([](auto& q) { q.stateSize = 0; }), 0x1200000);
  {
    RngStream* s = nullptr;
    BrngProperties none;
    ASSERT_EQ(__rnqGetBrngProperties(0x1200000, &none), RnqOk);
    uint32_t row, sub;
    auto const* table = __rnqGetBrngBaseOffset(0x1200000, &row, &sub);
    ASSERT_EQ(__rnqAllocateStream(&s, table, 0x1200000, row, sub), RnqOk);
    EXPECT_EQ(__rnqGetStreamStateBrng(s), 0x1200000);
    __rnqDeleteStream(&s);
  }
  for (int row = 18; row < 512; ++row) ASSERT_EQ(__rnqRegisterBrng(&good), (row + 1) << 20);
  EXPECT_EQ(__rnqRegisterBrng(&good), RnqErrBrngTableFull);
  EXPECT_EQ(__rnqGetNumRegBrngs(), 512);
  EXPECT_EQ(Stream(512 << 20).status, RnqOk);
}

} // namespace
