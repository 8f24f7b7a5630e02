// Tasks that the fuzz target found worth keeping, and random ones.
#include "tests/statistics/exercise.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
using namespace orv::test;

TEST(StatisticsExercise, Corpus) {
  int count = 0;
  for (auto const& file : std::filesystem::directory_iterator(ORV_TEST_VECTORS "/statistics_corpus")) {
    std::ifstream in(file.path(), std::ios::binary);
    std::vector<char> const bytes{std::istreambuf_iterator<char>(in), {}};
    exercise_statistics(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size());
    ASSERT_FALSE(HasFailure()) << file.path();
    ++count;
  }
  EXPECT_GT(count, 20);
}

TEST(StatisticsExercise, RandomTasks) {
  std::mt19937 random(77);
  for (int k = 0; k < 250; ++k) {
    uint8_t bytes[48];
    for (auto& b : bytes) b = static_cast<uint8_t>(random());
    exercise_statistics(bytes, sizeof bytes);
    ASSERT_FALSE(HasFailure()) << k;
  }
}

} // namespace
