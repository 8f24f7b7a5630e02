#include "stream_tools.h"

#include <algorithm>
#include <array>
#include <cmath>

using namespace tools;

namespace {

// Direction numbers built another way: Sobol by the printed recurrence with its own bit order, Niederreiter
// by power series division of 1/p^q over GF(2).
struct Words {
  std::vector<std::array<uint32_t, 32>> of; // by dimension
};

Words sobol_words(std::vector<std::pair<uint32_t, std::vector<uint32_t>>> const& rest) {
  Words w;
  w.of.push_back({});
  for (int k = 0; k < 32; ++k) w.of[0][k] = 0x80000000u >> k;
  for (auto const& [p, m] : rest) {
    size_t const s = m.size();
    std::array<uint32_t, 32> v{};
    for (size_t k = 0; k < 32; ++k) {
      if (k < s) {
        v[k] = m[k] << (31 - k);
        continue;
      }
      v[k] = v[k - s] ^ v[k - s] >> s; // v_k = a_1 v_(k-1) ^ ... ^ v_(k-s) ^ v_(k-s) / 2^s
      for (size_t i = 1; i < s; ++i)
        if (p >> (s - i) & 1) v[k] ^= v[k - i];
    }
    w.of.push_back(v);
  }
  return w;
}

std::vector<uint32_t> points(Words const& w, uint32_t first, int count) {
  std::vector<uint32_t> r;
  for (int n = 0; n < count; ++n) {
    uint32_t const i = first + n, gray = i ^ i >> 1;
    for (auto const& v : w.of) {
      uint32_t x = 0;
      for (int k = 0; k < 32; ++k)
        if (gray >> k & 1) x ^= v[k];
      r.push_back(x);
    }
  }
  return r;
}

Words sobol8() {
  return sobol_words({{3, {1}},
                      {7, {1, 1}},
                      {0xB, {1, 3, 7}},
                      {0xD, {1, 1, 5}},
                      {0x13, {1, 3, 1, 1}},
                      {0x19, {1, 1, 3, 7}},
                      {0x25, {1, 3, 3, 9, 9}}});
}
// The table of P. Bratley and B. Fox (ACM TOMS 14, 1988; algorithm 659), as it is printed: polynomials, then the
// k-th numbers of all dimensions that have one.
Words sobol40() {
  std::vector<uint32_t> const polynomials{3,   7,   11,  13,  19,  25,  37,  59,  47,  61,  55,  41,  67,
                                          97,  91,  109, 103, 115, 131, 193, 137, 145, 143, 241, 157, 185,
                                          167, 229, 171, 213, 191, 253, 203, 211, 239, 247, 285, 369, 299};
  std::vector<std::vector<uint32_t>> const numbers{
      {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
       1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
      {1, 3, 1, 3, 1, 3, 3, 1, 3, 1, 3, 1, 3, 1, 1, 3, 1, 3, 1,
       3, 1, 3, 3, 1, 3, 1, 3, 1, 3, 1, 1, 3, 1, 3, 1, 3, 1, 3},
      {7, 5, 1, 3, 3, 7, 5, 5, 7, 7, 1, 3, 3, 7, 5, 1, 1, 5, 3,
       3, 1, 7, 5, 1, 3, 3, 7, 5, 1, 1, 5, 7, 7, 5, 1, 3, 3},
      {1, 7, 9,  13, 11, 1,  3, 7, 9,  5, 13, 13, 11, 3, 15, 5, 3, 15,
       7, 9, 13, 9,  1,  11, 7, 5, 15, 1, 15, 11, 5,  3, 1,  7, 9},
      {9,  3,  27, 15, 29, 21, 23, 19, 11, 25, 7,  13, 17, 1, 25, 29, 3,
       31, 11, 5,  23, 27, 19, 21, 5,  1,  17, 13, 7,  15, 9, 31, 9},
      {37, 33, 7,  5, 11, 39, 63, 27, 17, 15, 23, 29, 3, 21,
       13, 31, 25, 9, 49, 33, 19, 29, 11, 19, 27, 15, 25},
      {13, 33, 115, 41, 79, 17, 29, 119, 75, 73, 105, 7, 59, 65, 21, 3, 113, 61, 89, 45, 107},
      {7, 23, 39}};
  std::vector<std::pair<uint32_t, std::vector<uint32_t>>> rest;
  for (size_t j = 0; j < 39; ++j) {
    rest.push_back({polynomials[j], {}});
    for (auto const& of_all : numbers)
      if (size_t const without = 39 - of_all.size(); j >= without)
        rest.back().second.push_back(of_all[j - without]);
  }
  return sobol_words(rest);
}

uint32_t head(Stream& s, int field) { return s.state_word(4 * field); }

TEST(Quasi, SobolPoints) {
  EXPECT_EQ(Stream(0x600000, {1}).words(4),
            (std::vector<uint32_t>{0x80000000, 0xC0000000, 0x40000000, 0x60000000}));
  EXPECT_EQ(Stream(0x600000, {8}).words(8 * 5000), points(sobol8(), 1, 5000));
  EXPECT_EQ(Stream(277, {8}).words(80), points(sobol8(), 1, 10));
  // All dimensions, by the points at which the last words enter too.
  EXPECT_EQ(Stream(0x600000, {40}).words(40 * 300), points(sobol40(), 1, 300));
  for (uint32_t at : {0xFFFFu, 0x7FFFFFFFu, 0x80000000u, 0xABCDEF01u}) {
    Stream far(0x600000, {40});
    ASSERT_EQ(__rnqSkipAheadStream(far.p, uint64_t{40} * (at - 1)), RnqOk);
    EXPECT_EQ(far.words(40 * 3), points(sobol40(), at, 3)) << at;
  }
  // The first 2^10 points of each coordinate, with the origin, fill the intervals of equal length evenly: of
  // length 2^-10 for Sobol, 2^(e - 11) for Niederr with a polynomial of degree e.
  for (int32_t number : {0x600000, 0x700000}) {
    auto const x = Stream(number, {40}).words(40 * 1023);
    for (int j = 0; j < 40; ++j) {
      int const e = number == 0x600000 ? 1
                    : j < 2            ? 1
                    : j < 3            ? 2
                    : j < 5            ? 3
                    : j < 8            ? 4
                    : j < 14           ? 5
                    : j < 23           ? 6
                                       : 7;
      std::vector<int> filled(1 << (11 - e));
      filled[0] = 1;
      for (int i = 0; i < 1023; ++i) ++filled[x[40 * i + j] >> (21 + e)];
      EXPECT_EQ(filled, std::vector<int>(filled.size(), 1 << (e - 1))) << number << ' ' << j;
    }
  }
}

// Niederreiter in base 2 from the Laurent series of t^u / p^q (Bratley, Fox, Niederreiter): the series that
// the digits come from has free leading terms, which for base 2 are fixed to ones; the polynomials t and t +
// 1 make the van der Corput sequence and Pascal's triangle.
TEST(Quasi, NiederrPoints) {
  auto const x = Stream(0x700000, {3}).words(3 * 1000);
  for (uint32_t i = 1; i <= 1000; ++i) {
    uint32_t const gray = i ^ i >> 1;
    uint32_t first = 0;
    for (int k = 0; k < 32; ++k) first |= (gray >> k & 1) << (31 - k);
    ASSERT_EQ(x[3 * (i - 1)], first);
  }
  // Elementary intervals: 2^12 points of 3 dimensions with the origin. For degrees 1, 1, 2 the quality
  // parameter is 1, so each box of volume 2^-11 holds two points.
  auto const y = Stream(0x700000, {3}).words(3 * 4095);
  for (auto [a, b, c] :
       {std::array{11, 0, 0}, {0, 11, 0}, {0, 1, 10}, {5, 4, 2}, {3, 6, 2}, {1, 0, 10}, {4, 3, 4}}) {
    std::vector<int> boxes(2048);
    boxes[0] = 1;
    for (int i = 0; i < 4095; ++i) {
      uint32_t const* p = &y[3 * i];
      uint64_t const box =
          (uint64_t{p[0]} >> (32 - a) << b | uint64_t{p[1]} >> (32 - b)) << c | uint64_t{p[2]} >> (32 - c);
      ++boxes[box];
    }
    EXPECT_EQ(*std::max_element(boxes.begin(), boxes.end()), 2) << a << b << c;
  }
}

std::vector<Seeds> requests() {
  Seeds direct{50, 1, 4};
  for (int j = 0; j < 50; ++j)
    for (int k = 0; k < 32; ++k) direct.push_back((j + 1) * 2654435761u * (k + 7) | 0x80000000u >> k);
  return {{1},
          {2},
          {3},
          {7},
          {8},
          {9},
          {15},
          {16},
          {17},
          {40},
          {5, 1, 3, 3, 7, 11, 13, 2, 1, 1, 1, 3, 5, 7, 1, 1},
          direct};
}

TEST(Quasi, CallsOfAnySizeContinueOneSequence) {
  for (int32_t number : {0x600000, 0x700000})
    for (auto const& request : requests()) {
      SCOPED_TRACE(testing::Message()
                   << std::hex << number << " d " << request[0] << " words " << request.size());
      Stream all(number, request), reals(number, request), floats(number, request), cut(number, request);
      ASSERT_EQ(all.status, RnqOk);
      constexpr int total = 6000;
      auto const words = all.words(total);
      auto const doubles = reals.doubles(total, -2, 3);
      auto const singles = floats.singles(total, -2, 3);
      for (int i = 0; i < total; ++i) {
        auto const v = static_cast<int32_t>(words[i] >> 1);
        ASSERT_EQ(doubles[i], std::fma(5 * 0x1p-31, v, -2.0)) << i;
        ASSERT_EQ(singles[i], std::fma(5 * 0x1p-31f, static_cast<float>(v), -2.0f)) << i;
      }
      int at = 0;
      for (int n = 1; at < total; n = (n * 7 + 3) % 211) {
        int const part = std::min(n, total - at);
        if (n % 2)
          ASSERT_EQ(cut.words(part), std::vector<uint32_t>(words.begin() + at, words.begin() + at + part))
              << at;
        else
          ASSERT_EQ(cut.doubles(part, -2, 3),
                    std::vector<double>(doubles.begin() + at, doubles.begin() + at + part))
              << at;
        at += part;
        // A skip of any size from here lands where running does.
        Stream skipped(cut), run(cut);
        uint64_t const count = static_cast<uint64_t>(n) * 3 % 97;
        ASSERT_EQ(__rnqSkipAheadStream(skipped.p, count), RnqOk);
        run.words(static_cast<int>(count));
        ASSERT_EQ(skipped.words(100), run.words(100)) << count;
      }
    }
}

TEST(Quasi, PendingCoordinates) {
  Stream s(0x600000, {3});
  auto const all = Stream(s).words(30);
  s.words(4);
  EXPECT_EQ(head(s, 3), 2u);
  EXPECT_EQ(head(s, 0), 2u);
  Stream t(s);
  ASSERT_EQ(__rnqSkipAheadStream(t.p, 0), RnqOk);
  EXPECT_EQ(head(t, 3), 2u);
  ASSERT_EQ(__rnqSkipAheadStream(t.p, 2), RnqOk);
  EXPECT_EQ(head(t, 3), 0u);
  EXPECT_EQ(head(t, 0), 3u);
  EXPECT_EQ(t.words(1)[0], all[6]);
}

TEST(Quasi, Components) {
  Stream s(0x600000, {5});
  auto const all = Stream(s).words(5 * 50);
  auto component = [&](Stream& from, int k) { return __rnqLeapfrogStream(from.p, k, 0x7FFFFFFF); };
  EXPECT_EQ(__rnqLeapfrogStream(s.p, 2, 5), RnqErrNoLeapfrog);
  EXPECT_EQ(component(s, 5), RnqErrNoLeapfrog);
  for (int before : {0, 5, 7}) { // in the last case coordinates 0 and 1 of point 1 are out
    for (int k : {0, 1, 2, 4}) {
      SCOPED_TRACE(testing::Message() << before << ' ' << k);
      Stream t(s);
      t.words(before);
      ASSERT_EQ(component(t, k), RnqOk);
      ASSERT_EQ(component(t, k), RnqOk);
      int const point = before / 5 + (k < before % 5 ? 1 : 0);
      auto const got = t.words(20);
      for (int i = 0; i < 20; ++i) EXPECT_EQ(got[i], all[5 * (point + i) + k]);
      // Another coordinate goes on at the next point.
      int const other = (k + 1) % 5;
      ASSERT_EQ(component(t, other), RnqOk);
      EXPECT_EQ(t.words(1)[0], all[5 * (point + 21) + other]);
    }
  }
}

TEST(Quasi, RequestsThatFallBack) {
  auto dimension = [](int32_t number, Seeds const& params) {
    Stream s(number, params);
    EXPECT_EQ(s.status, RnqOk);
    return head(s, 1);
  };
  EXPECT_EQ(dimension(0x600000, {}), 1u);
  EXPECT_EQ(dimension(0x600000, {0}), 1u);
  EXPECT_EQ(dimension(0x600000, {41}), 1u);
  EXPECT_EQ(dimension(0x600000, {0xFFFFFFFF}), 1u);
  EXPECT_EQ(dimension(0x700000, {319}), 1u);
  EXPECT_EQ(dimension(0x700000, {318}), 318u);
  EXPECT_EQ(dimension(0x600000, {3, 1, 1}), 3u);              // too short for the user's form
  EXPECT_EQ(dimension(0x600000, {3, 1, 99, 1, 2, 3, 4}), 3u); // no such class
  EXPECT_EQ(dimension(0x600000, {41, 1, 1, 7, 7, 7, 7}), 1u);
  EXPECT_EQ(dimension(0x600000, {0x7FFFFFFF, 1, 4, 1, 2}), 1u);
  EXPECT_EQ(dimension(0x600000, {3, 1, 3, 7, 7, 0x7FFFFFFF, 1}), 3u);
  EXPECT_EQ(dimension(0x600000, {3, 1, 3, 7, 7, 0x80000000, 1}), 3u);
  EXPECT_EQ(Stream(0x600000, {3, 1, 1, 0x200, 7}).status, RnqErrBadArgument);
  EXPECT_EQ(Stream(0x600000, {3, 1, 1, 0x1FF, 7}).status, RnqOk);
}

// The user's form with the tables that are built in gives the built-in sequence.
TEST(Quasi, UserTablesOfEachClass) {
  Seeds const polynomials{3, 7, 0xB, 0xD, 0x13, 0x19, 0x25};
  std::vector<Seeds> const numbers{{1},          {1, 1},       {1, 3, 7},      {1, 1, 5},
                                   {1, 3, 1, 1}, {1, 1, 3, 7}, {1, 3, 3, 9, 9}};
  auto padded = [&](Seeds list) {
    for (auto const& m : numbers)
      for (size_t i = 0; i < 6; ++i) list.push_back(i < m.size() ? m[i] : 0);
    return list;
  };
  auto const expected = Stream(0x600000, {8}).words(8000);
  auto joined = [](Seeds a, Seeds const& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
  };
  EXPECT_EQ(Stream(0x600000, joined({8, 1, 1}, polynomials)).words(8000), expected);
  EXPECT_EQ(Stream(0x600000, padded({8, 1, 2, 6})).words(8000), expected);
  EXPECT_EQ(Stream(0x600000, padded(joined(joined({8, 1, 3}, polynomials), {6}))).words(8000), expected);
  // Class 11 names dimension 1 too: here a second copy of dimension 2.
  Seeds eleven = joined(joined({8, 1, 11, 3}, polynomials), {6, 1, 0, 0, 0, 0, 0});
  auto const got = Stream(0x600000, padded(eleven)).words(8000);
  for (size_t i = 0; i < got.size(); ++i) ASSERT_EQ(got[i], expected[i % 8 ? i : i + 1]);
  Seeds direct{8, 1, 4};
  for (auto const& row : sobol8().of) direct.insert(direct.end(), row.begin(), row.end());
  EXPECT_EQ(Stream(0x600000, direct).words(8000), expected);
  EXPECT_EQ(Stream(0x700000, direct).words(8000), expected) << "the same words make the same points";
  // In another order, so that they can't be the built-in ones by chance.
  auto const built_in = Stream(0x700000, {3}).words(900);
  EXPECT_EQ(Stream(0x700000, {3, 1, 1, 2, 3, 7}).words(900), built_in);
  auto const turned = Stream(0x700000, {3, 1, 1, 7, 2, 3}).words(900);
  for (size_t i = 0; i < 900; i += 3)
    for (size_t j = 0; j < 3; ++j) ASSERT_EQ(turned[i + (j + 1) % 3], built_in[i + j]) << i;
  Seeds const swapped{3, 0xB, 7, 0xD, 0x13, 0x19, 0x25};
  Seeds both = joined(joined({8, 1, 3}, swapped), {6});
  for (size_t k : {0u, 2u, 1u, 3u, 4u, 5u, 6u})
    for (size_t i = 0; i < 6; ++i) both.push_back(i < numbers[k].size() ? numbers[k][i] : 0);
  auto const exchanged = Stream(0x600000, both).words(8000);
  for (size_t i = 0; i < 8000; ++i) {
    size_t const j = i % 8;
    ASSERT_EQ(exchanged[i], expected[j == 2 ? i + 1 : j == 3 ? i - 1 : i]) << i;
  }
}

TEST(Quasi, WideStreamsKeepTablesInChunks) {
  int64_t const before = orv_serv_blocks_in_use();
  {
    Seeds params{320, 1, 1}; // above what the state holds
    for (int j = 0; j < 320; ++j) params.push_back(j < 318 ? 2 + j : 7);
    Stream wide(0x700000, params), narrow(0x700000, Seeds(params.begin(), params.begin() + 3 + 318));
    EXPECT_NE(__rnqSearchChunk(wide.p, 10), nullptr);
    Seeds few = params;
    few[0] = 10;
    Stream ten(0x700000, few);
    auto const x = wide.words(320 * 100), y = ten.words(1000);
    for (int i = 0; i < 100; ++i)
      for (int j = 0; j < 10; ++j) ASSERT_EQ(x[320 * i + j], y[10 * i + j]);
    EXPECT_EQ(head(narrow, 1), 1u); // two polynomials are missing: too wide to be made without them
    EXPECT_EQ(narrow.words(100), Stream(0x700000, {1}).words(100));
    // Copies of a Sobol stream share its tables and have points of their own.
    Seeds direct{20, 1, 4};
    for (int i = 0; i < 20 * 32; ++i) direct.push_back(0x80000000u >> i % 32);
    Stream s(0x600000, direct);
    auto const all = Stream(s).words(2000);
    s.words(33);
    Stream copy(s);
    EXPECT_EQ(__rnqSearchChunk(copy.p, 9), __rnqSearchChunk(s.p, 9));
    __rnqDeleteStream(&s.p);
    EXPECT_EQ(copy.words(67), std::vector<uint32_t>(all.begin() + 33, all.begin() + 100));
    // A payload that is too small, or gone, is as good as none.
    __rnqDeleteChunksById(copy.p, 13);
    EXPECT_EQ(copy.row().generateInteger(copy.p, 1, direct.data()),
              RnqOk); // 20 fit the state, which is all zeros
    __rnqDeleteChunksById(wide.p, 10);
    EXPECT_EQ(wide.row().generateInteger(wide.p, 1, direct.data()), RnqErrNoMemory);
  }
  EXPECT_EQ(orv_serv_blocks_in_use(), before);
  for (int k = 1;; ++k) {
    orv_serv_fail_allocation(k);
    int32_t const status = Stream(0x600000, {2, 1, 3, 7, 2, 1, 1}).status;
    if (orv_serv_fail_allocation(0) < k) {
      EXPECT_EQ(status, RnqOk);
      EXPECT_EQ(k, 6);
      break;
    }
    EXPECT_EQ(status, RnqErrNoMemory);
    EXPECT_EQ(orv_serv_blocks_in_use(), before);
  }
}

TEST(Quasi, ThePeriodEnds) {
  Stream s(0x600000, {2});
  ASSERT_EQ(__rnqSkipAheadStream(s.p, (0xFFFFFFFFull - 11) * 2), RnqOk);
  EXPECT_EQ(head(s, 0), 0xFFFFFFFFu - 10);
  std::vector<uint32_t> r(20);
  EXPECT_EQ(s.row().generateInteger(s.p, 11, r.data()), RnqErrQuasiPeriodExceeded);
  EXPECT_EQ(s.row().generateInteger(s.p, 10, r.data()), RnqOk);
  EXPECT_EQ(__rnqSkipAheadStream(s.p, 100), RnqErrNoSkipAhead);
  // The last point that can be reached has the number 2^32 - 2.
  Stream last(0x600000, {2}), beyond(0x600000, {2});
  EXPECT_EQ(__rnqSkipAheadStream(last.p, (0xFFFFFFFFull - 2) * 2), RnqOk);
  EXPECT_EQ(head(last, 0), 0xFFFFFFFEu);
  EXPECT_EQ(__rnqSkipAheadStream(beyond.p, (0xFFFFFFFFull - 1) * 2), RnqErrNoSkipAhead);
  EXPECT_EQ(head(beyond, 0), 1u);
  EXPECT_EQ(__rnqSkipAheadStream(s.p, ~uint64_t{0}), RnqErrNoSkipAhead);
}

// Threads change the map, not the words: a block too small to wake them for, runs of points, stripes of
// coordinates.
TEST(Quasi, ThreadedRuns) {
  for (auto [d, count] : {std::pair{1030, 100}, {520, 3000}, {32005, 40}}) {
    SCOPED_TRACE(d);
    Seeds direct{static_cast<uint32_t>(d), 1, 4};
    for (int j = 0; j < d; ++j)
      for (int k = 0; k < 32; ++k) direct.push_back((j * 97u + 1) * 2654435761u * (k + 7) | 0x80000000u >> k);
    Stream words(0x600000, direct), few(0x600000, direct), reals(0x600000, direct), singles(0x600000, direct);
    int const n = d * count + 7;
    auto const x = words.words(n);
    Stream one(few);
    ASSERT_EQ(__rnqLeapfrogStream(one.p, d - 1, 0x7FFFFFFF),
              RnqOk); // a single coordinate never runs on threads
    auto const last = one.words(count);
    for (int i = 0; i < count; ++i) ASSERT_EQ(x[(i + 1) * d - 1], last[i]);
    std::vector<uint32_t> y;
    while (static_cast<int>(y.size()) < n) { // too few points at a time for threads, below 32000 coordinates
      auto const part = few.words(std::min(d * 5, n - static_cast<int>(y.size())));
      y.insert(y.end(), part.begin(), part.end());
    }
    EXPECT_EQ(x, y);
    EXPECT_EQ(words.words(2000), few.words(2000));
    auto const f = reals.doubles(n, 0, 1);
    auto const s = singles.singles(n, 0, 1);
    bool const threads = orv_rnq_serv_threader_get_num_threads_limit() > 1;
    for (int i = 0; i < d * count; ++i) {
      double const expected = threads ? x[i] * 0x1p-32 : (x[i] >> 1) * 0x1p-31;
      ASSERT_EQ(f[i], expected) << i;
      float const half = static_cast<float>(static_cast<double>(x[i] >> 1)) * 0x1p-31f;
      ASSERT_EQ(s[i], threads ? static_cast<float>(static_cast<double>(x[i])) * 0x1p-32f : half) << i;
    }
  }
}

} // namespace
