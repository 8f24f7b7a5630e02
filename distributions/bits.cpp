// Words of the basic generator: as it makes them, and as whole random words of 32 and 64 bits, which the generators
// have whose every bit is random.
#include "distributions/draw.h"

namespace orv::distributions {
namespace {

enum class Words { none, whole, mcg59 };

Words words_of(RngStream const* stream) {
  uint32_t row, sub;
  if (__rnqGetBrngBaseOffset(stream->brng, &row, &sub) != __RegBrngsNew)
    return stream->brng == 3 ? Words::mcg59 : Words::none; // of the older numbers
  switch (row) {
  case 3:
    return Words::mcg59;
  case 7:
  case 8:
  case 12:
  case 13:
  case 14:
  case 15:
    return Words::whole;
  default:
    return Words::none;
  }
}

// The upper 32 of the 59 bits of each word.
int32_t upper_halves(Source const& source, int64_t n, uint32_t* r) {
  constexpr int block = 2048;
  uint64_t words[block];
  for (int64_t done = 0; done < n;) {
    int const m = static_cast<int>(std::min<int64_t>(block, n - done));
    if (int32_t const status = source.words(m, words); status < 0) return status;
    for (int i = 0; i < m; ++i) r[done + i] = static_cast<uint32_t>(words[i] >> 27);
    done += m;
  }
  return RnqOk;
}

// n words of 32 bits to r, which may be twice as many as fit the count of a call.
int32_t words32(RngStream* stream, int64_t n, uint32_t* r) {
  Words const words = words_of(stream);
  Source const source(stream);
  if (words == Words::none) return RnqErrNoBits;
  if (words == Words::mcg59) return upper_halves(source, n, r);
  constexpr int64_t most = 1 << 30;
  for (int64_t done = 0; done < n; done += most)
    if (int32_t const status = source.words(static_cast<int>(std::min(most, n - done)), r + done); status < 0)
      return status;
  return RnqOk;
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngUniformBits(int32_t, RngStream* stream, int32_t n, void* r) {
  return n <= 0 ? static_cast<int32_t>(RnqOk) : Source(stream).words(n, r);
}
ORV_EXPORT int32_t _rnqiRngUniformBits32(int32_t, RngStream* stream, int32_t n, uint32_t* r) {
  return n <= 0 ? static_cast<int32_t>(RnqOk) : words32(stream, n, r);
}
ORV_EXPORT int32_t _rnqiRngUniformBits64(int32_t, RngStream* stream, int32_t n, uint64_t* r) {
  static_assert(std::endian::native == std::endian::little); // the low word comes first
  return n <= 0 ? static_cast<int32_t>(RnqOk)
                : words32(stream, 2 * int64_t{n}, reinterpret_cast<uint32_t*>(r));
}
