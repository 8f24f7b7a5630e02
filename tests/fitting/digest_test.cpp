// The bits of every construction, evaluation and integral on fixed inputs, against a table that all targets
// share.
#include "support.h"

#include <cstdlib>
#include <fstream>
#include <map>

using namespace fit_test;

namespace {

class Digest {
 public:
  template <class T>
  void add(std::vector<T> const& v) {
    for (T const e : v) {
      unsigned char bytes[sizeof(T)];
      T const plain = e != e ? std::numeric_limits<T>::quiet_NaN() : e; // one pattern for every NaN
      std::memcpy(bytes, &plain, sizeof(T));
      for (unsigned char const b : bytes) hash_ = (hash_ ^ b) * 0x100000001B3ull;
    }
  }
  uint64_t value() const { return hash_; }

 private:
  uint64_t hash_ = 0xCBF29CE484222325ull;
};

template <class T>
void compute(std::map<std::string, uint64_t>& table) {
  using E = Entries<T>;
  struct Case {
    char const* name;
    Construct<T> build;
    int order, type;
    int64_t bound;
    bool inner;
  };
  Case const cases[] = {{"natural", E::natural, 4, 5, 2, false},
                        {"natural_not_a_knot", E::natural, 4, 5, 1, false},
                        {"natural_periodic", E::natural, 4, 5, 64, false},
                        {"akima", E::akima, 4, 5, 64, false},
                        {"bessel", E::bessel, 4, 5, 48, false},
                        {"hyman", E::hyman, 4, 5, 12, false},
                        {"hermite", E::hermite, 4, 5, 1, true},
                        {"default", E::second, 4, 5, 24, true},
                        {"linear", E::linear, 2, 0, 0, false},
                        {"quadratic", E::quadratic, 3, 0, 128, false},
                        {"quadratic_knots", E::quadratic, 3, 1, 36, false}};
  for (Shape const shape : {Shape::Even, Shape::Random}) {
    std::mt19937_64 g(99);
    int const n = 1237, functions = 2;
    auto const x = partition<T>(shape, n, g);
    auto y = random_values<T>(static_cast<size_t>(n * functions), g);
    y[n - 1] = y[0], y[2 * n - 1] = y[n];
    auto const inner = random_values<T>(n, g);
    auto const sites = random_values<T>(3000, g, x.front() - 1, x.back() + 1);
    auto const uppers = random_values<T>(3000, g, x.front() - 1, x.back() + 1);
    T const bound[] = {T(0.25), T(-0.75)};
    for (auto const& c : cases) {
      Task<T> task(x, y, functions, shape == Shape::Even ? DFUniform : DFNonUniform);
      bool const knots = c.type == 1;
      task.spline(c.order, c.type, c.bound, bound,
                  c.inner ? 1
                  : knots ? 8
                          : 0,
                  c.inner || knots ? inner.data() : nullptr);
      if (knots) task.task->innerCond = nullptr; // in the middle of the cells
      ASSERT_EQ(c.build(task.task, 0, 0, &parallel), 0);
      Digest d;
      d.add(task.coefficients);
      d.add(task.at(sites, {1, 1, 1, 1}, 16, &parallel));
      d.add(task.integrals(sites, uppers, 16, &parallel));
      std::string const name =
          std::string(sizeof(T) == 8 ? "d " : "s ") + c.name + (shape == Shape::Even ? " even" : " uneven");
      table[name] = d.value();
    }
  }
}

TEST(Digests, AreTheSameOnEveryTarget) {
  std::map<std::string, uint64_t> table;
  compute<double>(table);
  compute<float>(table);
  std::string const path = std::string(ORV_TEST_VECTORS) + "/fitting_digests.txt";
  if (std::getenv("ORV_WRITE_DIGESTS")) {
    std::ofstream out(path);
    for (auto const& [name, value] : table) out << std::hex << value << ' ' << name << '\n';
  }
  std::ifstream in(path);
  size_t lines = 0;
  for (std::string line; std::getline(in, line); ++lines) {
    auto const space = line.find(' ');
    auto const name = line.substr(space + 1);
    ASSERT_EQ(table.count(name), 1u) << name;
    EXPECT_EQ(table[name], std::stoull(line.substr(0, space), nullptr, 16)) << name;
  }
  EXPECT_EQ(lines, table.size());
}

} // namespace
