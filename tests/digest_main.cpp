// Writes a digest of the results of every element-wise kernel on fixed inputs, a line each. The digests of
// two targets on one processor must agree; `./check` compares them.
#include "tests/elementwise/each_function.h"

#include <cstdio>

int main() {
  using namespace orv;
  using namespace orv::test;
  for_each_kernel([]<class T>(Elementwise const& f, Level level, double scalar) {
    auto const a = mixed_values<T>(100'000, 11), b = mixed_values<T>(100'000, 12);
    auto const r = call(f, level, a, b, scalar);
    uint64_t hash = 1469598103934665603u;
    auto add = [&](auto value) {
      for (std::size_t i = 0; i < sizeof value; ++i) {
        hash ^= static_cast<unsigned char>(value >> (8 * i));
        hash *= 1099511628211u;
      }
    };
    for (std::size_t i = 0; i < a.size(); ++i) {
      add(bits(r.r1[i]));
      add(bits(r.r2[i]));
      add(static_cast<uint32_t>(r.status[i]));
    }
    std::printf("%c%s %s %g %016llx\n", f.function().type, std::string(f.function().name).c_str(),
                std::string(level_name(level)).c_str(), scalar, static_cast<unsigned long long>(hash));
  });
}
