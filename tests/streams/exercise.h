// Everything that can be done with a stream from a stored image, for the fuzz target and its corpus. Must
// neither touch memory out of bounds nor lose any, whatever the image holds.
#pragma once
#include "orv/core.h"
#include "orv/streams.h"

#include <cstdlib>
#include <vector>

namespace tools {

inline int32_t exercise_image(char const* path) {
  int64_t const before = orv_serv_blocks_in_use();
  RngStream* s = nullptr;
  int32_t const status = __rnqLoadStreamF(&s, path, -1);
  if ((status == RnqOk) != (s != nullptr)) std::abort();
  if (s) {
    BrngProperties row;
    if (__rnqGetBrngProperties(s->brng, &row) != RnqOk) std::abort();
    std::vector<uint32_t> words(4 * 3000);
    std::vector<double> doubles(3000);
    std::vector<float> singles(3000);
    auto draw = [&](RngStream* from) {
      for (int n : {1, 3, 16, 700, 3000}) {
        row.generateInteger(from, n, words.data());
        row.generateDouble(from, n, doubles.data(), -1, 1);
        row.generateSingle(from, n, singles.data(), -1, 1);
      }
    };
    draw(s);
    __rnqSkipAheadStream(s, 5);
    draw(s);
    __rnqSkipAheadStream(s, 1234567);
    uint64_t const count[] = {1, 2, 3, 4};
    __rnqSkipAheadStreamEx(s, 4, count);
    draw(s);
    RngStream* copy = nullptr;
    if (__rnqCopyStream(&copy, s) != RnqOk) std::abort();
    __rnqSkipAheadStream(copy, uint64_t{1} << 40);
    __rnqLeapfrogStream(copy, 1, 3);
    __rnqLeapfrogStream(copy, 0, 0x7FFFFFFF);
    draw(copy);
    std::vector<char> image(static_cast<uint32_t>(__rnqGetStreamSize(copy)));
    __rnqSaveStreamM(copy, image.data());
    RngStream* again = nullptr;
    if (__rnqLoadStreamM(&again, image.data()) != RnqOk) std::abort();
    draw(again);
    __rnqCopyStreamState(s, again);
    draw(s);
    __rnqDeleteStream(&again);
    __rnqDeleteStream(&copy);
    __rnqDeleteStream(&s);
  }
  if (orv_serv_blocks_in_use() != before) std::abort();
  return status;
}

} // namespace tools
