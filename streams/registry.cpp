// The registry of basic generators. The last two rows of the old table are in range but hold no generator: no
// stream is made of them.
#include "streams/abstract.h"
#include "streams/stream.h"

using namespace orv::streams;

extern "C" {
extern __attribute__((visibility("default"))) BrngProperties __RegBrngsNew[512];
extern __attribute__((visibility("default"))) const BrngProperties __RegBrngs[281];
}

namespace {

constexpr uint32_t rows = 512, legacy_rows = 281, static_rows = 16;

#define BRNG(name) __rnqBRng##name##InitStream, __rnqsBRng##name, __rnqdBRng##name, __rnqiBRng##name

constexpr BrngProperties mcg31m1{24, 1, 0, 4, 31, BRNG(MCG31M1)};
constexpr BrngProperties r250{1024, 252, 1, 4, 32, BRNG(R250)};
constexpr BrngProperties mrg32k3a{40, 6, 1, 4, 32, BRNG(MRG32K3A)};
constexpr BrngProperties mcg59{32, 1, 0, 8, 59, BRNG(MCG59)};
constexpr BrngProperties wh{48, 4, 1, 16, 24, BRNG(WH)};
constexpr BrngProperties sobol{11712, 2604, 0, 4, 32, BRNG(Sobol)};
constexpr BrngProperties niederr{84288, 10498, 0, 4, 32, BRNG(Niederr)};

struct LegacyTable {
  BrngProperties row[legacy_rows];
};

int32_t registered_count = static_rows;
int32_t sub_stream_counts[rows] = {1, 1, 1, 1, 273, 1, 1, 1, 6024, 1, 1, 1, 1, 1, 1, 1};

} // namespace

// Reached by its symbol only: an executable that names the table owns the copy that everyone uses.
BrngProperties __RegBrngsNew[512] = {
    mcg31m1,
    r250,
    mrg32k3a,
    mcg59,
    wh,
    sobol,
    niederr,
    {2520, 625, 1, 4, 32, BRNG(MT19937)},
    {312, 70, 1, 4, 32, BRNG(MT2203)},
    {abstract_stream_size<uint32_t>, 0, 1, 4, 32, BRNG(iAbstract)},
    {abstract_stream_size<double>, 0, 1, 4, 32, BRNG(dAbstract)},
    {abstract_stream_size<float>, 0, 1, 4, 32, BRNG(sAbstract)},
    {2536, 625, 1, 4, 32, BRNG(SFMT19937)},
    {24, 1, 0, 4, 32, BRNG(TRNG)},
    {72, 8, 1, 4, 32, BRNG(ARS5)},
    {64, 8, 1, 4, 32, BRNG(PHILOX4X32X10)},
};

#define WH1 wh
#define WH16 WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1, WH1
const BrngProperties __RegBrngs[281] = {
    mcg31m1, r250,    mrg32k3a, mcg59, //
    WH16,    WH16,    WH16,     WH16,  WH16, WH16, WH16, WH16, WH16,
    WH16,    WH16,    WH16,     WH16,  WH16, WH16, WH16, WH16, WH1, // 17 * 16 + 1 = 273
    sobol,   niederr,
};

namespace orv::streams {

BrngProperties const* find_brng(int32_t number, uint32_t* sub) {
  uint32_t index, s;
  auto const* table = __rnqGetBrngBaseOffset(number, &index, &s);
  if (__rnqIsBrngValid(table, index, s) != RnqOk || !table[index].initStream) return nullptr;
  if (sub) *sub = s;
  return table + index;
}

} // namespace orv::streams

ORV_EXPORT const BrngProperties* __rnqGetBrngBaseOffset(int32_t number, uint32_t* index, uint32_t* sub) {
  if (number >= 0x100000) {
    *index = (static_cast<uint32_t>(number) >> 20) - 1;
    *sub = number & 0xFFFFF;
    return __RegBrngsNew;
  }
  bool const is_wh = number >= 4 && number <= 276;
  *index = is_wh ? 4 : static_cast<uint32_t>(number);
  *sub = is_wh ? number - 4 : 0;
  return __RegBrngs;
}

ORV_EXPORT int32_t __rnqIsBrngValid(const BrngProperties* table, uint32_t index, uint32_t sub) {
  if (table == __RegBrngs) return index < legacy_rows ? RnqOk : RnqErrBadBrng;
  if (index >= static_cast<uint32_t>(registered_count)) return RnqErrBadBrng;
  return sub < static_cast<uint32_t>(sub_stream_counts[index]) ? RnqOk : RnqErrBadBrng;
}

ORV_EXPORT int32_t __rnqGetBrngProperties(int32_t number, BrngProperties* properties) {
  uint32_t index, sub;
  auto const* table = __rnqGetBrngBaseOffset(number, &index, &sub);
  int32_t const status = __rnqIsBrngValid(table, index, sub);
  if (status == RnqOk) *properties = table[index];
  return status;
}

ORV_EXPORT int32_t __rnqGetNumRegBrngs() { return registered_count; }

ORV_EXPORT int32_t __rnqRegisterBrng(const BrngProperties* p) {
  if (p->stateSize < 0) return RnqErrBadStateSize;
  if (p->wordSize != 4 && p->wordSize != 8 && p->wordSize != 16) return RnqErrBadWordSize;
  if (p->seedCount < 1) return RnqErrBadSeedCount;
  if (p->bitCount < 1) return RnqErrBadBitCount;
  if (!p->generateDouble || !p->generateSingle || !p->generateInteger || !p->initStream)
    return RnqErrNullArgument;
  if (registered_count >= static_cast<int32_t>(rows)) return RnqErrBrngTableFull;
  int32_t const row = registered_count;
  __RegBrngsNew[row] = *p;
  sub_stream_counts[row] = 1;
  registered_count = row + 1;
  return (row + 1) << 20;
}
