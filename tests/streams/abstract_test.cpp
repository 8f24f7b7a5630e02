#include "stream_tools.h"

#include <cmath>

using namespace tools;

namespace {

// A ring fed with 0, 1, 2, ... that notes how it was asked.
template <class T>
struct Source {
  static inline std::vector<T> ring;
  static inline uint32_t next;
  static inline int most, answer; // most elements a call, or what to answer instead
  struct Asked {
    int wanted, room, position;
  };
  static inline std::vector<Asked> asked;
  static void reset(int size, int most_ = 1000000) {
    ring.assign(size, T(-1));
    next = 0;
    most = most_;
    answer = 0x10000;
    asked.clear();
  }
  static int32_t refill(RngStream*, int32_t* size, T* buffer, int32_t* wanted, int32_t* room,
                        int32_t* position) {
    EXPECT_EQ(buffer, ring.data());
    EXPECT_EQ(*size, static_cast<int32_t>(ring.size()));
    asked.push_back({*wanted, *room, *position});
    if (answer != 0x10000) return answer;
    int const n = std::min(*room, most);
    for (int i = 0; i < n; ++i) buffer[(*position + i) % *size] = static_cast<T>(next++);
    return n;
  }
};
using Integers = Source<uint32_t>;
using Doubles = Source<double>;
using Singles = Source<float>;

Stream integers(int size, int most = 1000000) {
  Integers::reset(size, most);
  Stream s;
  s.status = __rnqiNewAbstractStream(&s.p, size, Integers::ring.data(), Integers::refill);
  return s;
}

TEST(Abstract, RingsOfAnySizeHandOutEveryNumberOnce) {
  for (int size : {1, 2, 3, 7, 64, 1000})
    for (int most : {1, 2, 5, 1000000}) {
      SCOPED_TRACE(testing::Message() << size << ' ' << most);
      Stream s = integers(size, most);
      EXPECT_TRUE(Integers::asked.empty());
      uint32_t expected = 0;
      for (int n : {1, 0, 2, 5, 64, 3, 130, 1}) {
        for (uint32_t w : s.words(n)) ASSERT_EQ(w, expected++);
        if (expected == 1) {
          EXPECT_EQ(Integers::asked[0].position, 0);
          EXPECT_EQ(Integers::asked[0].room, size);
          EXPECT_EQ(Integers::asked[0].wanted, 1);
        }
      }
      for (auto const& a : Integers::asked)
        EXPECT_TRUE(a.wanted <= a.room && a.room == size && a.position < size);
    }
}

TEST(Abstract, MisbehavingCallbacksLeaveThePosition) {
  Stream s = integers(10);
  s.words(4);
  std::vector<uint32_t> r(30);
  auto const row = s.row();
  for (auto [answer, status] :
       {std::pair{0, RnqErrAbstractNoData}, {-1, RnqErrAbstractCallback}, {11, RnqErrAbstractCallback}}) {
    Integers::answer = answer;
    EXPECT_EQ(row.generateInteger(s.p, 8, r.data()), status);
    EXPECT_EQ(r[5], 9u); // what was there has been written
    EXPECT_EQ(s.state_word(4), 4u);
    EXPECT_EQ(s.state_word(8), 4u);
  }
  Integers::answer = 0x10000;
  EXPECT_EQ(s.words(3), (std::vector<uint32_t>{4, 5, 6}));
  double d;
  float f;
  EXPECT_EQ(row.generateDouble(s.p, 1, &d, 0, 1), RnqErrAbstractWrongType);
  EXPECT_EQ(row.generateSingle(s.p, 1, &f, 0, 1), RnqErrAbstractWrongType);
  EXPECT_EQ(__rnqLeapfrogStream(s.p, 0, 1), RnqErrNoLeapfrog);
  EXPECT_EQ(__rnqSkipAheadStream(s.p, 1), RnqErrNoSkipAhead);
  uint64_t const one = 1;
  EXPECT_EQ(__rnqSkipAheadStreamEx(s.p, 1, &one), RnqErrNoSkipAheadEx);
}

TEST(Abstract, RealKindsMapTheirInterval) {
  Doubles::reset(37);
  Singles::reset(37);
  Stream d, s, unit;
  ASSERT_EQ(__rnqdNewAbstractStream(&d.p, 37, Doubles::ring.data(), -1, 3, Doubles::refill), RnqOk);
  ASSERT_EQ(__rnqsNewAbstractStream(&s.p, 37, Singles::ring.data(), -1, 3, Singles::refill), RnqOk);
  auto const x = d.doubles(100, 5, 6);
  auto const y = s.singles(100, 5, 6);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(x[i], std::fma(0.25, i + 1.0, 5.0));
    EXPECT_EQ(y[i], std::fma(0.25f, static_cast<float>(i) + 1.0f, 5.0f));
  }
  Doubles::reset(5);
  ASSERT_EQ(__rnqdNewAbstractStream(&unit.p, 5, Doubles::ring.data(), 0, 1, Doubles::refill), RnqOk);
  EXPECT_EQ(unit.doubles(9)[8], 8.0);
}

TEST(Abstract, CreationChecksItsArguments) {
  RngStream* p = nullptr;
  double b[2];
  float f[2];
  uint32_t w[2];
  double const nan = std::nan("");
  EXPECT_EQ(__rnqiNewAbstractStream(&p, 0, w, Integers::refill), RnqErrBadArgument);
  EXPECT_EQ(__rnqiNewAbstractStream(&p, 2, nullptr, Integers::refill), RnqErrBadArgument);
  EXPECT_EQ(__rnqiNewAbstractStream(&p, 2, w, nullptr), RnqErrBadArgument);
  EXPECT_EQ(__rnqdNewAbstractStream(&p, 2, b, 1, 1, Doubles::refill), RnqErrBadArgument);
  EXPECT_EQ(__rnqsNewAbstractStream(&p, 2, f, 2, 1, Singles::refill), RnqErrBadArgument);
  orv_serv_fail_allocation(1);
  EXPECT_EQ(__rnqiNewAbstractStream(&p, 2, w, Integers::refill), RnqErrNoMemory);
  orv_serv_fail_allocation(0);
  EXPECT_EQ(__rnqdNewAbstractStream(&p, 2, b, nan, 1, Doubles::refill), RnqOk);
  __rnqDeleteStream(&p);
}

// An image can name a ring of this process only as it was given here.
TEST(Abstract, ImagesCannotNameCode) {
  Stream s = integers(10);
  s.words(3);
  std::vector<char> image(__rnqGetStreamSize(s.p));
  ASSERT_EQ(__rnqSaveStreamM(s.p, image.data()), RnqOk);
  Stream same, larger, elsewhere, wild;
  ASSERT_EQ(__rnqLoadStreamM(&same.p, image.data()), RnqOk);
  EXPECT_EQ(same.words(2), (std::vector<uint32_t>{3, 4}));
  uint32_t r;
  auto changed = [&](Stream& t, size_t at, char value) {
    auto copy = image;
    copy[24 + at] = value;
    EXPECT_EQ(__rnqLoadStreamM(&t.p, copy.data()), RnqOk);
    return t.row().generateInteger(t.p, 1, &r);
  };
  EXPECT_EQ(changed(larger, 0, 11), RnqErrNullArgument);
  EXPECT_EQ(changed(elsewhere, sizeof(void*) == 8 ? 24 : 16, 1), RnqErrNullArgument);
  EXPECT_EQ(changed(wild, 7, '\x7F'), RnqOk); // an index out of the ring empties it
}

} // namespace
