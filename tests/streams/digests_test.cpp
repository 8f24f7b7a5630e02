// Equal bits on all targets: digests of all outputs on fixed inputs, one line a generator in
// tests/vectors/streams_digests.txt. ORV_WRITE_DIGESTS=FILE writes the lines of this build instead.
#include "models.h"
#include "stream_tools.h"

#include <cstdlib>
#include <fstream>
#include <map>

using namespace tools;

namespace {

struct Fnv {
  uint64_t h = 14695981039346656037u;
  void add(void const* p, size_t n) {
    for (size_t i = 0; i < n; ++i) h = (h ^ static_cast<unsigned char const*>(p)[i]) * 1099511628211u;
  }
  template <class T>
  void add(std::vector<T> const& v) {
    add(v.data(), v.size() * sizeof(T));
  }
};

TEST(Digests, OutputsAreTheSameBitsEverywhere) {
  std::map<std::string, std::string> lines;
  auto digest = [&](std::string const& name, int32_t number, std::vector<Seeds> const& lists) {
    Fnv f;
    for (Seeds const& seeds : lists) {
      Stream s(number, seeds);
      f.add(s.words(1001));
      f.add(s.doubles(3003, -1e-3, 7.5));
      f.add(s.singles(3001, -1e-3f, 7.5f));
      int32_t const skipped = __rnqSkipAheadStream(s.p, 123456789012345u);
      int32_t const near = __rnqSkipAheadStream(s.p, 12345);
      int32_t const frog = __rnqLeapfrogStream(s.p, 1, 3);
      f.add(&skipped, 4);
      f.add(&near, 4);
      f.add(&frog, 4);
      f.add(s.doubles(101, 1e300, -1e300));
      f.add(s.state(), s.row().stateSize - 16);
    }
    char text[32];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(f.h));
    lines[name] = text;
  };
  for (auto const& g : models::generators) digest(g.name, g.number, {{}, {7}, {1, 2, 3, 4, 5, 6, 7, 8}});
  for (auto const& [name, number] : {std::pair{"Sobol", 0x600000}, {"Niederr", 0x700000}})
    digest(name, number, {{1}, {8}, {13}, {40}});

  if (char const* path = std::getenv("ORV_WRITE_DIGESTS")) {
    std::ofstream out(path);
    for (auto const& [name, digest] : lines) out << name << ' ' << digest << '\n';
    return;
  }
  std::ifstream file(ORV_TEST_VECTORS "/streams_digests.txt");
  std::map<std::string, std::string> expected;
  for (std::string name, digest; file >> name >> digest;) expected[name] = digest;
  EXPECT_EQ(lines, expected);
}

} // namespace
