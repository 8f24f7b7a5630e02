// The fuzz target's calls (tools/fuzz_elementwise.sh) on its seeds and on random bytes.
#include "tests/elementwise/exercise.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace orv::test {
namespace {

TEST(Exercise, SeedsOfTheFuzzTarget) {
  int count = 0;
  for (auto const& file : std::filesystem::directory_iterator(ORV_TEST_VECTORS "/elementwise_corpus")) {
    std::ifstream in(file.path(), std::ios::binary);
    std::string const bytes{std::istreambuf_iterator<char>(in), {}};
    exercise_call(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    ++count;
  }
  EXPECT_GT(count, 0);
}

TEST(Exercise, AnyBytesGiveWhatCallsOfOneElementGive) {
  std::mt19937 random(3);
  std::vector<uint8_t> bytes(1200);
  for (int round = 0; round < 4000; ++round) {
    for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
    exercise_call(bytes.data(), bytes.size());
  }
}

} // namespace
} // namespace orv::test
