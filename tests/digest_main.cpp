// Writes a digest of the results of every element-wise kernel on fixed inputs, a line each. The digests of
// two targets on one processor must agree; `./check` compares them.
#include "tests/elementwise/each_function.h"

#include <cstdio>

namespace {

using namespace orv;
using namespace orv::test;

class Digest {
 public:
  void add(const void* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      hash_ ^= static_cast<const unsigned char*>(bytes)[i];
      hash_ *= 1099511628211u;
    }
  }
  unsigned long long value() const { return hash_; }

 private:
  uint64_t hash_ = 1469598103934665603u;
};

// Complex elements are two of T.
template <class T>
void print(Elementwise const& f, Level level, double scalar) {
  constexpr std::size_t n = 100'000;
  Form const form = f.function().form;
  bool const complex = f.function().type == 'c' || f.function().type == 'z';
  std::size_t const operand = n * (complex && form != Form::real_to_complex ? 2 : 1);
  std::size_t const result = n * (complex && form != Form::complex_to_real ? 2 : 1);
  auto const a = mixed_values<T>(operand, 11), b = mixed_values<T>(operand, 12);
  std::vector<T> r1(result), r2(result);
  std::vector<int32_t> status(n, 0);
  ErrorLog log;
  f.call(level, with_scalars({.a = a.data(), .b = b.data(), .r1 = r1.data(), .r2 = r2.data()}, scalar), n);
  for (auto const& e : log.errors()) status[e.index] = e.status;
  Digest digest;
  digest.add(r1.data(), result * sizeof(T));
  digest.add(r2.data(), result * sizeof(T));
  digest.add(status.data(), n * sizeof status[0]);
  std::printf("%c%s %s %g %016llx\n", f.function().type, std::string(f.function().name).c_str(),
              std::string(level_name(level)).c_str(), scalar, digest.value());
}

} // namespace

int main() {
  for (Function const& f : functions) {
    if (f.form == Form::pack) continue;
    auto const function = Elementwise::find(f.type, std::string(f.name));
    for (Level level : {Level::LA, Level::HA, Level::EP}) {
      if (kernel_level(f.slots, level) != level) continue;
      for (double scalar : scalar_operands(f)) {
        if (f.type == 's' || f.type == 'c')
          print<float>(function, level, scalar);
        else
          print<double>(function, level, scalar);
      }
    }
  }
}
