// What holds for every entry: any split of a call gives the same bits, also through copies and stored images; n of 0
// does nothing; the caller's modes come back; chunks may hold anything; every allocation may fail.
#include "orv/core.h"
#include "orv/mode.h"
#include "tests/distributions/entries.h"
#include "tests/streams/stream_tools.h"

#include <cstdlib>
#include <fstream>
#include <immintrin.h>
#include <map>

namespace {

using namespace orv::test;
using tools::Stream;

using Bytes = std::vector<char>;
constexpr uint32_t seed = 11;

int32_t draw(Entry const& e, Stream const& s, Bytes& r, int first, int n) {
  return e.draw(s.p, n, r.data() + first * e.bytes, first);
}
Bytes in_one(Entry const& e, int n) {
  Stream s(RnqMT19937, {seed});
  Bytes r(n * e.bytes);
  draw(e, s, r, 0, n);
  return r;
}

TEST(EveryEntry, SplitsGiveTheSameBits) {
  constexpr int n = 5000;
  for (Entry const& e : entries()) {
    Bytes const whole = in_one(e, n);
    for (int step : {1, 7, 511, 1023, 1024, 1025}) {
      Stream s(RnqMT19937, {seed});
      Bytes r(n * e.bytes);
      int const limit = step == 1 ? 300 : n;
      int32_t status = 0;
      for (int first = 0; first < limit; first += step)
        status |= draw(e, s, r, first, std::min(step, limit - first));
      ASSERT_GE(status, 0) << e.name;
      ASSERT_TRUE(std::equal(r.begin(), r.begin() + limit * e.bytes, whole.begin()))
          << e.name << " by " << step;
    }
  }
}

TEST(EveryEntry, GoesOnInCopiesAndImagesAndWritesNothingForNone) {
  for (Entry const& e : entries()) {
    Bytes const whole = in_one(e, 100);
    Bytes r(100 * e.bytes, 'x');
    Stream s(RnqMT19937, {seed});
    ASSERT_EQ(e.draw(s.p, 0, r.data(), 0), 0) << e.name;
    ASSERT_EQ(e.draw(s.p, -5, r.data(), 0), 0) << e.name;
    ASSERT_EQ(r, Bytes(100 * e.bytes, 'x')) << e.name;
    draw(e, s, r, 0, 33);
    Stream copy(s), loaded;
    std::vector<char> image(__rnqGetStreamSize(s.p));
    __rnqSaveStreamM(s.p, image.data());
    ASSERT_EQ(__rnqLoadStreamM(&loaded.p, image.data()), RnqOk);
    for (Stream* next : {&copy, &loaded}) {
      draw(e, *next, r, 33, 67);
      ASSERT_EQ(r, whole) << e.name;
    }
  }
}

TEST(EveryEntry, ModesAndControlWordsComeBack) {
  auto const callback = [](OrvErrorRecord*) { return 0; };
  for (Entry const& e : entries()) {
    Stream s(RnqMT19937, {seed});
    Bytes r(50 * e.bytes);
    orv_elw_kernel_SetErrorCallBack(callback);
    uint32_t const mode = orv_elw_kernel_GetMode(), mxcsr = _mm_getcsr();
    orv_elw_kernel_SetErrStatus(ORV_STATUS_OVERFLOW);
    _mm_setcsr(0x1F80 & ~0x680u); // invalid operations, divisions by zero and overflows would trap
    draw(e, s, r, 0, 50);
    uint32_t const after = _mm_getcsr();
    _mm_setcsr(mxcsr);
    EXPECT_EQ(after & ~0x3Fu, 0x1F80u & ~0x680u) << e.name;
    EXPECT_EQ(orv_elw_kernel_GetMode(), mode) << e.name;
    EXPECT_EQ(orv_elw_kernel_GetErrorCallBack(), +callback) << e.name;
    EXPECT_EQ(orv_elw_kernel_GetErrStatus(), ORV_STATUS_OVERFLOW) << e.name;
    orv_elw_kernel_ClearErrStatus();
    orv_elw_kernel_ClearErrorCallBack();
  }
}

TEST(EveryEntry, FailingAllocationsLoseNothing) {
  for (Entry const& e : entries()) {
    Bytes const whole = in_one(e, 100);
    for (int k = 1; k < 12; ++k) {
      int64_t const before = orv_serv_blocks_in_use();
      {
        Stream s(RnqMT19937, {seed});
        Bytes r(100 * e.bytes);
        orv_serv_fail_allocation(k);
        int32_t const status = draw(e, s, r, 0, 100);
        int64_t const requests = orv_serv_fail_allocation(0);
        if (requests >= k) {
          ASSERT_EQ(status, RnqErrNoMemory) << e.name << ' ' << k;
          ASSERT_EQ(draw(e, s, r, 0, 100), RnqOk) << e.name; // nothing was drawn
        }
        ASSERT_EQ(r, whole) << e.name;
        if (requests < k) k = 100;
      }
      ASSERT_EQ(orv_serv_blocks_in_use(), before) << e.name;
    }
  }
}

// Every chunk's bytes as a broken or hostile image could have them; entries end and, where the chunk is seen to be
// wrong, give what they give without it.
TEST(EveryEntry, HostileChunksDoNoHarm) {
  auto spoil = [](RngStream* s, int kind, uint32_t& random) {
    for (RngChunk* c = s->chunks; c; c = c->next) {
      auto* const bytes = static_cast<unsigned char*>(c->data);
      if (kind == 0) std::memset(bytes, 0xFF, c->size);
      if (kind == 1) std::memset(bytes, 0, c->size);
      if (kind == 2) c->size = c->size / 2;
      if (kind >= 3)
        for (int i = 0; i < (kind == 3 ? 1 : 40); ++i) {
          random = random * 1664525 + 1013904223;
          bytes[(random >> 8) % c->size] ^= static_cast<unsigned char>(random >> 24);
        }
    }
  };
  uint32_t random = 5;
  for (Entry const& e : entries())
    for (int kind = 0; kind < 24; ++kind) {
      Stream s(RnqMT19937, {seed});
      Bytes r(600 * e.bytes);
      draw(e, s, r, 0, 301);
      spoil(s.p, std::min(kind, kind % 2 + 3 < kind ? kind % 2 + 3 : kind), random);
      ASSERT_EQ(draw(e, s, r, 301, 299), RnqOk) << e.name;
    }
}

TEST(EveryEntry, WorksOverEveryGenerator) {
  for (Entry const& e : entries()) {
    if (e.name.find("Bits") != std::string::npos) continue;
    for (int32_t brng :
         std::initializer_list<int32_t>{RnqMCG31M1, RnqR250, RnqMRG32K3A, RnqMCG59, RnqWH + 3, RnqMT2203 + 5,
                                        RnqSFMT19937, RnqPHILOX4X32X10, RnqSobol, RnqNiederr, 3}) {
      // Pairs of points in two coordinates have a meaning only where one number makes a result.
      bool const quasi = brng == RnqSobol || brng == RnqNiederr;
      Stream s(brng, {quasi ? 3u : 9u});
      Bytes r(200 * e.bytes);
      ASSERT_EQ(draw(e, s, r, 0, 200), RnqOk) << e.name << ' ' << brng;
    }
  }
}

// The digests of this processor must be the same on all targets: tests/vectors/distributions_digests.txt.
TEST(EveryEntry, SameBitsOnAllTargets) {
  std::map<std::string, std::string> lines;
  for (Entry const& e : entries()) {
    uint64_t h = 14695981039346656037u;
    for (char c : in_one(e, 3000)) h = (h ^ static_cast<unsigned char>(c)) * 1099511628211u;
    char text[32];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(h));
    std::string name = e.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    lines[name] = text;
  }
  if (char const* path = std::getenv("ORV_WRITE_DIGESTS")) {
    std::ofstream out(path);
    for (auto const& [name, digest] : lines) out << name << ' ' << digest << '\n';
    return;
  }
  std::ifstream file(ORV_TEST_VECTORS "/distributions_digests.txt");
  std::map<std::string, std::string> expected;
  for (std::string name, digest; file >> name >> digest;) expected[name] = digest;
  EXPECT_EQ(lines, expected);
}

} // namespace
