// Choices from a fuzz target's bytes; zeros follow when they are used up.
#pragma once
#include <cstddef>
#include <cstdint>

namespace orv::test {

class Bytes {
 public:
  Bytes(uint8_t const* data, size_t size) : at_(data), end_(data + size) {}
  // From 0 to count - 1; a byte, or two for more than 256.
  int below(int count) {
    unsigned v = next();
    if (count > 256) v = v << 8 | next();
    return static_cast<int>(v % static_cast<unsigned>(count));
  }

 private:
  unsigned next() { return at_ < end_ ? *at_++ : 0; }
  uint8_t const *at_, *end_;
};

} // namespace orv::test
