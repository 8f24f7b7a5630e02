#pragma once
#include "frame/core.h"
#include "orv/streams.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace tools {

using Seeds = std::vector<uint32_t>;

// A stream that deletes itself.
class Stream {
 public:
  Stream() = default;
  explicit Stream(int32_t brng, Seeds const& seeds = {1, 2, 3, 4, 5, 6}) {
    status = __rnqNewStreamEx(&p, brng, static_cast<int32_t>(seeds.size()), seeds.data());
  }
  Stream(Stream const& other) { status = __rnqCopyStream(&p, other.p); }
  Stream& operator=(Stream const&) = delete;
  ~Stream() {
    if (p) __rnqDeleteStream(&p);
  }
  BrngProperties row() const {
    BrngProperties r;
    EXPECT_EQ(__rnqGetBrngProperties(p->brng, &r), RnqOk);
    return r;
  }
  std::vector<uint32_t> words(int n) { // wordSize / 4 words an element
    std::vector<uint32_t> r(static_cast<size_t>(n < 0 ? 0 : n) * row().wordSize / 4 + 1, 0xABABABAB);
    EXPECT_EQ(row().generateInteger(p, n, r.data()), RnqOk);
    EXPECT_EQ(r.back(), 0xABABABABu);
    r.pop_back();
    return r;
  }
  std::vector<double> doubles(int n, double a = 0, double b = 1) {
    std::vector<double> r(n + 1, -7.0);
    EXPECT_EQ(row().generateDouble(p, n, r.data(), a, b), RnqOk);
    EXPECT_EQ(r.back(), -7.0);
    r.pop_back();
    return r;
  }
  std::vector<float> singles(int n, float a = 0, float b = 1) {
    std::vector<float> r(n + 1, -7.0f);
    EXPECT_EQ(row().generateSingle(p, n, r.data(), a, b), RnqOk);
    EXPECT_EQ(r.back(), -7.0f);
    r.pop_back();
    return r;
  }
  char* state() { return reinterpret_cast<char*>(p + 1); }
  uint32_t state_word(size_t offset) {
    uint32_t w;
    std::memcpy(&w, state() + offset, 4);
    return w;
  }
  RngStream* p = nullptr;
  int32_t status = RnqOk;
};

template <class T>
bool same_bits(std::vector<T> const& a, std::vector<T> const& b) {
  return a.size() == b.size() && (a.empty() || !std::memcmp(a.data(), b.data(), a.size() * sizeof(T)));
}

} // namespace tools
