#include "models.h"
#include "stream_tools.h"

#include <algorithm>
#include <fstream>
#include <sstream>

using namespace tools;

namespace {

std::vector<Seeds> seed_lists() {
  std::vector<Seeds> lists{{},
                           {0},
                           {1},
                           {0x7FFFFFFF},
                           {0, 5},
                           {4294967087u, 0, 0, 4294944443u, 7},
                           {0x123, 0x234, 0x345, 0x456},
                           {0, 0x08000000},
                           {0, 0, 0, 0, 0, 0},
                           {9, 8, ~0u - 5, ~0u, ~0u, 3},
                           {9, 8, 7, 6, ~0u - 5, ~0u, 5, 9},
                           {1, 2, ~0u - 90, ~0u, ~0u, ~0u},
                           {1, 2, 3, 4, ~0u - 90, ~0u, ~0u, ~0u},
                           {16770647, 3}};
  for (size_t n : {249, 250, 700}) {
    Seeds s;
    for (size_t i = 0; i < n; ++i) s.push_back(static_cast<uint32_t>(i * 2654435761u + n));
    lists.push_back(s);
  }
  return lists;
}

TEST(Generators, WordsAndRealsAgreeWithPlainModels) {
  for (auto const& g : models::generators)
    for (auto const& seeds : seed_lists()) {
      SCOPED_TRACE(g.name);
      constexpr int n = 3000;
      Stream i(g.number, seeds), d(g.number, seeds), s(g.number, seeds);
      ASSERT_EQ(i.status, RnqOk);
      auto words = i.words(n);
      auto model = models::make(g.name, seeds);
      size_t const bytes = i.row().wordSize;
      for (size_t k = 0; k < words.size(); k += bytes == 8 ? 2 : 1) {
        uint64_t const w = bytes == 8 ? words[k] | static_cast<uint64_t>(words[k + 1]) << 32 : words[k];
        ASSERT_EQ(w, model->next()) << k;
      }
      auto doubles = d.doubles(n, -0.3, 1.7);
      model = models::make(g.name, seeds);
      for (int k = 0; k < n; ++k) ASSERT_EQ(doubles[k], models::as_double(g.name, *model, -0.3, 1.7)) << k;
      auto singles = s.singles(n, -0.3f, 1.7f);
      model = models::make(g.name, seeds);
      for (int k = 0; k < n; ++k) ASSERT_EQ(singles[k], models::as_single(g.name, *model, -0.3f, 1.7f)) << k;
    }
}

// Any cut of a run into calls, of any mixture of types, continues the one sequence.
TEST(Generators, CallsOfAnySizeAndTypeContinueOneSequence) {
  for (auto const& g : models::generators) {
    SCOPED_TRACE(g.name);
    Stream whole_i(g.number), whole_d(g.number), whole_s(g.number), cut(g.number);
    constexpr int total = 20000;
    auto words = whole_i.words(total);
    auto doubles = whole_d.doubles(total);
    auto singles = whole_s.singles(total);
    size_t const per = words.size() / total;
    int const sizes[] = {1,  2,  3,  0,   4,   5,   8,   15,  16,  17,  31, 33,   64,
                         68, 69, 70, 249, 250, 251, 300, 623, 624, 625, 1,  1500, 2500};
    int at = 0;
    for (int round = 0; at < total; ++round) {
      int const n = std::min(sizes[round % std::size(sizes)], total - at);
      if (round % 3 == 0) {
        std::vector<uint32_t> part(words.begin() + at * per, words.begin() + (at + n) * per);
        ASSERT_TRUE(same_bits(cut.words(n), part)) << at << ' ' << n;
      } else if (round % 3 == 1) {
        ASSERT_TRUE(
            same_bits(cut.doubles(n), std::vector<double>(doubles.begin() + at, doubles.begin() + at + n)))
            << at << ' ' << n;
      } else {
        ASSERT_TRUE(
            same_bits(cut.singles(n), std::vector<float>(singles.begin() + at, singles.begin() + at + n)))
            << at << ' ' << n;
      }
      at += n;
    }
    EXPECT_EQ(cut.words(-5).size(), static_cast<size_t>(0)) << "a negative count draws nothing";
  }
}

// Lines "generator seeds... : element value element value ..." from published references.
TEST(Generators, PublishedVectors) {
  std::ifstream file(ORV_TEST_VECTORS "/streams_known_answers.txt");
  ASSERT_TRUE(file);
  std::string line;
  int count = 0;
  while (std::getline(file, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream in(line);
    std::string name, token;
    Seeds seeds;
    in >> name;
    while (in >> token && token != ":") seeds.push_back(static_cast<uint32_t>(std::stoul(token, nullptr, 0)));
    auto const* g = std::find_if(std::begin(models::generators), std::end(models::generators),
                                 [&](auto const& x) { return name == x.name; });
    ASSERT_NE(g, std::end(models::generators)) << name;
    Stream stream(g->number, seeds);
    auto words = stream.words(10001);
    size_t index;
    while (in >> index >> token) {
      EXPECT_EQ(words[index], std::stoul(token, nullptr, 0)) << name << ' ' << index;
      ++count;
    }
  }
  EXPECT_GT(count, 30);
}

TEST(Generators, FirstElementsAndEdges) {
  EXPECT_EQ(Stream(0x100000, {0}).doubles(1)[0], 1.0 / 2147483647);
  EXPECT_EQ(Stream(0x100000, {2147483647}).words(1)[0], 1u);
  EXPECT_EQ(Stream(0x500000, {0, 5}).words(1), (std::vector<uint32_t>{1, 5, 1, 1}));
  Stream zero(0x300000, {0, 0, 0, 0, 0, 0}), none(0x300000, {});
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(zero.state_word(4 * i), i % 3 == 0 ? 1u : 0u);
    EXPECT_EQ(none.state_word(4 * i), 1u);
  }
  Stream reduced(0x300000, {4294967087u, 4294967086u});
  EXPECT_EQ(reduced.state_word(0), 0u);
  EXPECT_EQ(reduced.state_word(4), 4294967086u);
  Stream r250(0x200000);
  r250.words(249);
  EXPECT_EQ(r250.state_word(1000), 249u);
  r250.words(300);
  EXPECT_EQ(r250.state_word(1000), 0u);
  EXPECT_EQ(r250.state_word(1004), 103u);
}

TEST(Generators, SfmtKeepsTheRestOfAWord) {
  Stream s(0xD00000);
  auto pending = [&] { return static_cast<int>(s.state_word(2516) - s.state_word(2512)); };
  Stream all(s);
  auto words = all.words(40);
  EXPECT_EQ(s.words(5), std::vector<uint32_t>(words.begin(), words.begin() + 5));
  EXPECT_EQ(pending(), 3);
  EXPECT_EQ(s.state_word(2496), 8u);
  Stream skipped(s);
  ASSERT_EQ(__rnqSkipAheadStream(skipped.p, 2), RnqOk);
  EXPECT_EQ(skipped.state_word(2516) - skipped.state_word(2512), 1u);
  s.words(3);
  EXPECT_EQ(pending(), 0);
  EXPECT_EQ(s.words(1)[0], words[8]);
  // A word of 0 lies in the middle of the interval.
  std::memset(s.state(), 0, 2496);
  EXPECT_EQ(s.doubles(1000)[999], 0.5);
}

// The state block is a stored format.
TEST(Generators, StateLayouts) {
  Stream mcg31(0x100000, {77}), mcg59(0x400000, {77, 5}), wh(0x500000 + 1, {9, 8, 7, 6}), mt(0x800000),
      mt2203(0x900000 + 3);
  EXPECT_EQ(mcg31.state_word(0), 77u);
  EXPECT_EQ(mcg31.state_word(4), 1132489760u);
  EXPECT_EQ(mcg59.state_word(0), 77u);
  EXPECT_EQ(mcg59.state_word(4), 5u);
  EXPECT_EQ(mcg59.state_word(8), 0x9B23C5FDu);
  EXPECT_EQ(mcg59.state_word(12), 0x11376u);
  EXPECT_EQ(wh.state_word(12), 6u);
  EXPECT_EQ(wh.state_word(16), 127u);
  EXPECT_EQ(wh.state_word(28), 123u);
  EXPECT_EQ(mt.state_word(2496), 624u);
  EXPECT_EQ(mt.state_word(0), 0x80000000u);
  mt.words(5);
  EXPECT_EQ(mt.state_word(2496), 5u);
  EXPECT_EQ(mt2203.state_word(276), 69u);
  EXPECT_EQ(mt2203.state_word(280), 0x8B75046Eu);
  EXPECT_EQ(mt2203.state_word(284), 0x76957780u);
  EXPECT_EQ(mt2203.state_word(288), 0xEFC48000u);

  auto* lanes = static_cast<char*>(__rnqSearchChunk(mcg31.p, 14));
  ASSERT_NE(lanes, nullptr);
  auto u64 = [&](size_t offset) {
    uint64_t v;
    std::memcpy(&v, lanes + offset, 8);
    return v;
  };
  mcg31.doubles(13);
  EXPECT_EQ(u64(32), mcg31.state_word(0));
  EXPECT_EQ(u64(40), uint64_t{mcg31.state_word(0)} * 1132489760 % 0x7FFFFFFF);
  EXPECT_EQ(u64(64), __rnqiPowMod2P31M1(1132489760, 4, 0));
  EXPECT_EQ(u64(288 + 24), __rnqiPowMod2P31M1(1132489760, 32, 0));
}

// There is no right answer, only signs that the source is used as it should be.
TEST(Generators, HardwareNumbers) {
  Stream s(0xE00000, {7}), zero(0xE00000, {7, 0}), three(0xE00000, {7, 3});
  EXPECT_EQ(s.state_word(0), 0u);
  EXPECT_EQ(s.state_word(4), 10u);
  EXPECT_EQ(zero.state_word(4), 10u);
  EXPECT_EQ(three.state_word(4), 3u);
  if (!__rnqCPUisRDRAND()) {
    uint32_t w;
    EXPECT_EQ(s.row().generateInteger(s.p, 1, &w), RnqErrNoRdrand);
    return;
  }
  auto const words = s.words(101), again = s.words(101);
  EXPECT_NE(words, again);
  double sum = 0;
  for (double x : s.doubles(1000, 2, 4)) {
    EXPECT_TRUE(x >= 2 && x <= 4);
    sum += x;
  }
  EXPECT_NEAR(sum / 1000, 3, 0.2);
  for (float x : s.singles(101, -1, 1)) EXPECT_TRUE(x >= -1 && x <= 1);
  std::memset(s.state() + 4, 0, 4); // no attempt allowed
  double r[2];
  EXPECT_EQ(s.row().generateDouble(s.p, 2, r, 0, 1), RnqErrRdrandFailed);
}

} // namespace
