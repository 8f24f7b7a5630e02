// Writes 32-bit words of a generator to standard output until nobody reads, for statistical test programs.
//
//   stream_bits NUMBER [SEED...] | dieharder -g 200 -d 0
//
// Words of 32 bits go out as they are; of MCG31M1 its 31 bits at the top with a fresh high bit of the next
// word below them, of MCG59 the top 32 bits, of WH the first 32 bits of the double output.
#include "orv/streams.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int count, char** args) {
  if (count < 2) return std::fputs("usage: stream_bits NUMBER [SEED...]\n", stderr), 2;
  int32_t const number = static_cast<int32_t>(std::strtol(args[1], nullptr, 0));
  std::vector<uint32_t> seed;
  for (int i = 2; i < count; ++i) seed.push_back(static_cast<uint32_t>(std::strtoul(args[i], nullptr, 0)));
  RngStream* stream;
  if (__rnqNewStreamEx(&stream, number, static_cast<int32_t>(seed.size()), seed.data()) < 0)
    return std::fputs("no such generator\n", stderr), 1;
  BrngProperties row;
  __rnqGetBrngProperties(number, &row);
  constexpr int n = 1 << 14;
  std::vector<uint32_t> words(n), raw(2 * n);
  std::vector<uint64_t> wide(n);
  std::vector<double> reals(n);
  for (;;) {
    if (row.wordSize == 8) {
      row.generateInteger(stream, n, wide.data());
      for (int i = 0; i < n; ++i) words[i] = static_cast<uint32_t>(wide[i] >> (row.bitCount - 32));
    } else if (row.wordSize == 16) {
      row.generateDouble(stream, n, reals.data(), 0, 1);
      for (int i = 0; i < n; ++i) words[i] = static_cast<uint32_t>(reals[i] * 0x1p32);
    } else if (row.bitCount == 31) {
      row.generateInteger(stream, 2 * n, raw.data());
      for (int i = 0; i < n; ++i) words[i] = raw[2 * i] << 1 | raw[2 * i + 1] >> 30;
    } else {
      row.generateInteger(stream, n, words.data());
    }
    if (std::fwrite(words.data(), 4, n, stdout) != n) return 0;
  }
}
