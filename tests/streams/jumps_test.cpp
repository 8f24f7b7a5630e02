#include "models.h"
#include "stream_tools.h"

#include <tuple>

using namespace tools;

namespace {

// The words of a stream that has run `count` elements, in calls of moderate size.
std::vector<uint32_t> after_running(Stream& s, uint64_t count, int n) {
  std::vector<uint32_t> sink(1 << 16);
  auto const row = s.row();
  int const most = (1 << 18) / row.wordSize;
  for (; count; count -= std::min<uint64_t>(count, most))
    EXPECT_EQ(row.generateInteger(s.p, static_cast<int32_t>(std::min<uint64_t>(count, most)), sink.data()),
              RnqOk);
  return s.words(n);
}

TEST(Jumps, SkippingEqualsRunning) {
  uint64_t const counts[] = {0,     1,     2,     3,      4,        5,        7,        68,
                             69,    70,    250,   617,    618,      623,      624,      625,
                             1241,  1248,  2048,  2049,   19936,    19937,    19967,    19968,
                             19969, 20591, 79872, 100003, 0x3FFFFF, 0x400000, 0x400001, 0x4003FF};
  for (int32_t number : {0x100000, 0x300000, 0x400000, 0x500000 + 7, 0x800000, 0xD00000, 0xF00000, 0x1000000})
    for (int before : {0, 6, 624})
      for (uint64_t count : counts) {
        if (count > 200000 && before != 6) continue;
        SCOPED_TRACE(testing::Message() << std::hex << number << std::dec << ' ' << before << ' ' << count);
        Stream skipped(number);
        skipped.words(before);
        Stream run(skipped);
        ASSERT_EQ(__rnqSkipAheadStream(skipped.p, count), RnqOk);
        auto const expected = after_running(run, count, 700);
        ASSERT_EQ(skipped.words(700), expected);
      }
}

// Long jumps: by parts and as a whole, in either order of sizes.
TEST(Jumps, JumpsAddUp) {
  for (int32_t number : {0x100000, 0x300000, 0x400000, 0x500000, 0x800000, 0xD00000, 0xF00000, 0x1000000}) {
    SCOPED_TRACE(number);
    Stream whole(number), parts(number);
    uint64_t const a = 0x123456789ABCDEF, b = 12345, c = uint64_t{1} << 62;
    ASSERT_EQ(__rnqSkipAheadStream(whole.p, a + b + c), RnqOk);
    for (uint64_t part : {c, b, a}) ASSERT_EQ(__rnqSkipAheadStream(parts.p, part), RnqOk);
    EXPECT_EQ(whole.words(700), parts.words(700));
  }
}

TEST(Jumps, LeapfrogTakesEveryOtherElement) {
  for (int32_t number : {0x100000, 0x400000, 0x500000, 0x500000 + 200})
    for (int streams : {1, 2, 3, 7, 1000})
      for (int k : {0, 1, 6}) {
        if (k >= streams) continue;
        SCOPED_TRACE(testing::Message() << std::hex << number << std::dec << ' ' << streams << ' ' << k);
        Stream all(number), one(number);
        ASSERT_EQ(__rnqLeapfrogStream(one.p, k, streams), RnqOk);
        auto const reals = all.doubles(40 * streams), got = one.doubles(40);
        for (int i = 0; i < 40; ++i) ASSERT_EQ(got[i], reals[i * streams + k]);
        // Going on, and skipping, stay in the thinned sequence.
        ASSERT_EQ(__rnqSkipAheadStream(one.p, 11), RnqOk);
        Stream far(number);
        ASSERT_EQ(__rnqSkipAheadStream(far.p, 51 * uint64_t(streams) + k), RnqOk);
        EXPECT_EQ(one.words(1), far.words(1));
      }
}

TEST(Jumps, CountersOfBlocks) {
  for (int32_t number : {0xF00000, 0x1000000}) {
    SCOPED_TRACE(number);
    size_t const counter = number == 0xF00000 ? 16 : 8, remaining = number == 0xF00000 ? 32 : 24;
    Stream s(number, {});
    for (int n : {1, 2, 3, 4}) s.words(n);
    EXPECT_EQ(s.state_word(remaining), 2u);
    EXPECT_EQ(s.state_word(counter), 3u);
    Stream same(s);
    ASSERT_EQ(__rnqSkipAheadStream(s.p, 2), RnqOk);
    EXPECT_EQ(s.state_word(remaining), 0u);
    EXPECT_EQ(s.state_word(counter), 3u);
    same.words(2);
    EXPECT_EQ(s.words(9), same.words(9));
    // Long counts: 2^66 + 6 words are 2^64 blocks and six words; a fourth word doesn't count.
    uint64_t const count[] = {6, 4, 0, 77};
    Stream jumped(number, {1, 2}),
        high(number, number == 0xF00000 ? Seeds{1, 2, 0, 0, 0, 0, 1, 0} : Seeds{1, 2, 0, 0, 1, 0});
    ASSERT_EQ(__rnqSkipAheadStreamEx(jumped.p, 4, count), RnqOk);
    high.words(6);
    EXPECT_EQ(jumped.words(9), high.words(9));
    // All the way round: 2^130 words, less the one that was drawn.
    uint64_t const round[] = {~uint64_t{0}, ~uint64_t{0}, 3};
    Stream a(number, {5}), b(number, {5});
    a.words(1);
    ASSERT_EQ(__rnqSkipAheadStreamEx(a.p, 3, round), RnqOk);
    EXPECT_EQ(a.words(5), b.words(5));
  }
}

TEST(Jumps, LongCountsOfMrg) {
  Stream a(0x300000), b(0x300000);
  uint64_t const small[] = {1000, 0, 0, 0};
  ASSERT_EQ(__rnqSkipAheadStreamEx(a.p, 4, small), RnqOk);
  ASSERT_EQ(__rnqSkipAheadStream(b.p, 1000), RnqOk);
  EXPECT_EQ(a.words(5), b.words(5));
  // 2^192 is the last power in the table; both ways must meet. 2^193 is twice 2^192.
  uint64_t const by_table[] = {5, 0, 1, 1}, far[] = {10, 0, 2, 2};
  Stream c(0x300000), d(0x300000);
  for (int i = 0; i < 2; ++i) ASSERT_EQ(__rnqSkipAheadStreamEx(c.p, 4, by_table), RnqOk);
  ASSERT_EQ(__rnqSkipAheadStreamEx(d.p, 4, far), RnqOk);
  EXPECT_EQ(c.words(5), d.words(5));
  // Many words: once around both components' periods, m1^3 - 1 times m2^3 - 1 steps, changes nothing.
  using Number = std::vector<uint32_t>;
  auto multiply = [](Number const& p, Number const& q) {
    Number r(p.size() + q.size());
    for (size_t i = 0; i < p.size(); ++i) {
      uint64_t carry = 0;
      for (size_t k = 0; k < q.size() || carry; ++k) {
        carry += r[i + k] + (k < q.size() ? uint64_t{p[i]} * q[k] : 0);
        r[i + k] = static_cast<uint32_t>(carry);
        carry >>= 32;
      }
    }
    return r;
  };
  auto cube_minus_one = [&](uint32_t m) {
    Number r = multiply(multiply({m}, {m}), {m});
    --r[0]; // an odd number
    return r;
  };
  Number const steps = multiply(cube_minus_one(4294967087u), cube_minus_one(4294944443u));
  std::vector<uint64_t> period;
  for (size_t i = 0; i < steps.size(); i += 2) period.push_back(steps[i] | uint64_t{steps[i + 1]} << 32);
  Stream e(0x300000), f(0x300000);
  ASSERT_EQ(__rnqSkipAheadStreamEx(e.p, static_cast<int32_t>(period.size()), period.data()), RnqOk);
  EXPECT_EQ(e.words(20), f.words(20));
}

TEST(Powers, MatchPlainArithmetic) {
  EXPECT_EQ(__rnqiPowMod2P31M1(5, 0, 0), 1u);
  EXPECT_EQ(__rnqiPowMod(7, 0, 0, 16770647), 1u);
  EXPECT_EQ(__rnqiPowMod2P59(3, 0, 0, 0), 1u);
  uint64_t r31 = 1, r59 = 1, r = 1;
  for (uint32_t c = 1; c < 200; ++c) {
    r31 = r31 * 1132489760 % 0x7FFFFFFF;
    r59 = r59 * 302875106592253 % (uint64_t{1} << 59);
    r = r * 4294967290u % 4294967291u;
    EXPECT_EQ(__rnqiPowMod2P31M1(1132489760, c, 0), r31);
    EXPECT_EQ(__rnqiPowMod2P59(0x9B23C5FD, 0x11376, c, 0), r59);
    EXPECT_EQ(__rnqiPowMod(4294967290u, c, 0, 4294967291u), r);
  }
  EXPECT_EQ(__rnqiPowMod2P31M1(7, 0x7FFFFFFE, 0), 1u) << "Fermat";
  EXPECT_EQ(__rnqiPowMod2P31M1(7, 0xFFFFFFFE, 0xFFFFFFFF),
            __rnqiPowMod2P31M1(7, (~uint64_t{1}) % 0x7FFFFFFE, 0));

  uint32_t const row[3] = {527612, 0, 4294944443u - 1370589};
  uint32_t v[3] = {1, 2, 3}, w[3] = {1, 2, 3};
  __rnqiVect3PowMod(v, row, 4294944443u, 0, 0);
  EXPECT_EQ(std::memcmp(v, w, sizeof v), 0);
  for (int i = 0; i < 25; ++i) {
    uint64_t const next =
        (uint64_t{row[0]} * w[2] % 4294944443u + uint64_t{row[2]} * w[0] % 4294944443u) % 4294944443u;
    w[0] = w[1], w[1] = w[2], w[2] = static_cast<uint32_t>(next);
  }
  __rnqiVect3PowMod(v, row, 4294944443u, 25, 0);
  EXPECT_EQ(std::memcmp(v, w, sizeof v), 0);
  uint64_t const zero[2] = {}, long_count[2] = {20, 1}, short_count[1] = {5};
  EXPECT_EQ(__rnqiVect3PowArrayMod(v, row, 4294944443u, 2, zero), RnqOk);
  EXPECT_EQ(std::memcmp(v, w, sizeof v), 0);
  // 2^64 + 20 in one go, and as 2^63 + 2^63 + 20.
  __rnqiVect3PowArrayMod(v, row, 4294944443u, 2, long_count);
  for (int i = 0; i < 2; ++i) __rnqiVect3PowMod(w, row, 4294944443u, 0, 0x80000000);
  __rnqiVect3PowMod(w, row, 4294944443u, 15, 0);
  __rnqiVect3PowArrayMod(w, row, 4294944443u, 1, short_count);
  EXPECT_EQ(std::memcmp(v, w, sizeof v), 0);
}

// t^n modulo a polynomial, by stepping.
std::vector<uint32_t> slow_remainder(uint64_t n, int degree, std::vector<int32_t> const& exponents) {
  std::vector<bool> f(degree + 1);
  f[0] = true;
  for (uint64_t i = 0; i < n; ++i) {
    f.insert(f.begin(), false);
    f.pop_back();
    if (f[degree])
      for (int e : exponents) f[e] = !f[e];
  }
  std::vector<uint32_t> words((degree + 31) / 32);
  for (int i = 0; i < degree; ++i) words[i / 32] |= uint32_t{f[i]} << i % 32;
  return words;
}

TEST(Polynomials, Remainders) {
  std::vector<std::vector<int32_t>> const polynomials{{0, 1},
                                                      {0, 2, 3},
                                                      {0, 1, 31},
                                                      {0, 1, 2, 7, 32},
                                                      {0, 5, 33},
                                                      {0, 1, 3, 62, 63},
                                                      {0, 1, 3, 4, 64},
                                                      {0, 18, 65},
                                                      {0, 29, 60, 61, 100},
                                                      {0, 1, 2, 7, 127, 128},
                                                      {0, 3, 100, 190, 191},
                                                      {0, 250, 252}};
  for (auto const& p : polynomials) {
    int const degree = p.back();
    for (uint64_t n : {uint64_t{0}, uint64_t{1}, uint64_t(degree) - 1, uint64_t(degree), uint64_t(degree) + 1,
                       2 * uint64_t(degree) - 1, uint64_t{777}, uint64_t{4096}, uint64_t{5003}}) {
      auto const expected = slow_remainder(n, degree, p);
      std::vector<uint32_t> r(expected.size(), 0xFFFFFFFF);
      ASSERT_EQ(__rnqPolyRem(n, degree, static_cast<int32_t>(p.size()), p.data(),
                             static_cast<int32_t>(r.size()), r.data()),
                RnqOk);
      EXPECT_EQ(r, expected) << degree << ' ' << n;
    }
  }
}

// The longest jump is twice its half, and comes without running: 2^62 words would never end.
TEST(Jumps, TheLongestJumpIsTwiceItsHalf) {
  for (int32_t number : {0x100000, 0x300000, 0x400000, 0x500000, 0x800000, 0xD00000, 0xF00000, 0x1000000}) {
    Stream whole(number), halves(number);
    ASSERT_EQ(__rnqSkipAheadStream(whole.p, uint64_t{1} << 63), RnqOk);
    for (int i = 0; i < 2; ++i) ASSERT_EQ(__rnqSkipAheadStream(halves.p, uint64_t{1} << 62), RnqOk);
    EXPECT_EQ(whole.words(1300), halves.words(1300)) << number;
    EXPECT_NE(Stream(number).words(1300), Stream(whole).words(1300)) << number;
  }
}

// States of the congruential generators after a leapfrog: element k first, the multiplier to the power of the
// number of streams, reduced, and its powers in the lanes.
TEST(Jumps, LeapfrogStatesOfCongruentialGenerators) {
  auto times = [](uint64_t x, uint64_t y, uint64_t m) { // by doubling: m is below 2^63
    uint64_t r = 0;
    for (x %= m; y; y >>= 1, x = 2 * x % m)
      if (y & 1) r = (r + x) % m;
    return r;
  };
  for (auto [number, modulus, a] : {std::tuple{0x100000, uint64_t{0x7FFFFFFF}, uint64_t{1132489760}},
                                    std::tuple{0x400000, uint64_t{1} << 59, uint64_t{302875106592253}}})
    for (auto [k, streams] : {std::pair{0u, 1u}, {1u, 2u}, {2u, 5u}, {99u, 100u}, {77777u, 1000003u}}) {
      Stream s(number, {123457, 77});
      size_t const width = number == 0x100000 ? 4 : 8;
      auto field = [&](size_t i) {
        uint64_t v = 0;
        std::memcpy(&v, s.state() + i * width, width);
        return v;
      };
      auto power = [&](uint64_t n) {
        uint64_t r = 1, square = a;
        for (; n; n >>= 1, square = times(square, square, modulus))
          if (n & 1) r = times(r, square, modulus);
        return r;
      };
      uint64_t const x = field(0);
      EXPECT_EQ(field(1), a);
      ASSERT_EQ(__rnqLeapfrogStream(s.p, static_cast<int32_t>(k), static_cast<int32_t>(streams)), RnqOk);
      uint64_t const first = times(x, power(k), modulus), step = power(streams);
      EXPECT_EQ(field(0), first) << k << " of " << streams;
      EXPECT_EQ(field(1), step) << k << " of " << streams;
      uint64_t chunk[36]; // kind, lanes, powers
      ASSERT_NE(__rnqSearchChunk(s.p, 14), nullptr);
      std::memcpy(chunk, __rnqSearchChunk(s.p, 14), sizeof chunk);
      uint64_t lane = first, p = 1;
      for (size_t i = 0; i < 4; ++i, lane = times(lane, step, modulus)) EXPECT_EQ(chunk[4 + i], lane) << i;
      for (size_t i = 0; i < 7; ++i) {
        for (int t = 0; t < 4; ++t) p = times(p, step, modulus);
        for (size_t place = 0; place < 4; ++place) EXPECT_EQ(chunk[8 + 4 * i + place] % modulus, p) << i;
      }
    }
}

} // namespace
