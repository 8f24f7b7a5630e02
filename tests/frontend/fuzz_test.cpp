// What the fuzz targets have found worth keeping, and inputs to begin from.
#include "tests/frontend/exercise.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

namespace {

TEST(FrontEndFuzz, Corpus) {
  int files = 0;
  for (auto const& file : std::filesystem::directory_iterator(ORV_TEST_VECTORS "/front_end_corpus")) {
    std::ifstream in(file.path(), std::ios::binary);
    std::vector<uint8_t> const bytes((std::istreambuf_iterator<char>(in)), {});
    tools::exercise_front_end(bytes.data(), bytes.size());
    ++files;
  }
  EXPECT_GT(files, 20);
}

TEST(FrontEndFuzz, RandomBytes) {
  std::mt19937_64 g(61);
  for (int i = 0; i < 6000; ++i) {
    std::vector<uint8_t> bytes(g() % 1500);
    for (auto& b : bytes) b = static_cast<uint8_t>(g());
    if (!bytes.empty()) bytes[0] = static_cast<uint8_t>(i % 3);
    tools::exercise_front_end(bytes.data(), bytes.size());
  }
}

TEST(CsvFuzz, Corpus) {
  int read = 0, refused = 0;
  std::string const copy = (std::filesystem::temp_directory_path() / "orv_csv_copy").string() +
                           std::to_string(std::random_device()());
  for (auto const& file : std::filesystem::directory_iterator(ORV_TEST_VECTORS "/csv_corpus"))
    for (bool const header : {true, false})
      (tools::exercise_csv(file.path().string(), header, copy) ? read : refused) += 1;
  std::filesystem::remove(copy);
  EXPECT_GT(read, 10);
  EXPECT_GT(refused, 5);
}

} // namespace
