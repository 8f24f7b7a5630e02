// Tasks that the fuzz target found worth keeping, and random ones.
#include "exercise.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
using namespace fit_test;

TEST(FittingExercise, Corpus) {
  int count = 0;
  for (auto const& file : std::filesystem::directory_iterator(ORV_TEST_VECTORS "/fitting_corpus")) {
    std::ifstream in(file.path(), std::ios::binary);
    std::vector<char> const bytes{std::istreambuf_iterator<char>(in), {}};
    exercise_fitting(reinterpret_cast<uint8_t const*>(bytes.data()), bytes.size());
    ASSERT_FALSE(HasFailure()) << file.path();
    ++count;
  }
  EXPECT_GT(count, 20);
}

TEST(FittingExercise, RandomTasks) {
  std::mt19937 random(78);
  for (int k = 0; k < 4000; ++k) {
    uint8_t bytes[400];
    for (auto& b : bytes) b = static_cast<uint8_t>(random());
    exercise_fitting(bytes, sizeof bytes);
    ASSERT_FALSE(HasFailure()) << k;
  }
}

} // namespace
