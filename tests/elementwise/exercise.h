// Any bytes as an element-wise call: function, level, mode, count, strides, which arrays are one, values. Every array
// is a block of its own of exactly the size that the call may touch; the result is compared with calls of one element.
#pragma once
#include "orv/elementwise.h"
#include "tests/elementwise/each_function.h"

#include <cstdlib>
#include <memory>

namespace orv::test {

// Bytes one after the other; zeros behind the end.
class Bytes {
 public:
  Bytes(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  uint8_t next() { return at_ < size_ ? data_[at_++] : 0; }
  template <class T>
  T value() {
    // Mostly ordinary numbers, else any pattern or a special one.
    uint8_t const kind = next();
    if (kind < 160) return static_cast<T>(static_cast<int8_t>(next())) / static_cast<T>(1 + kind % 16);
    if (kind < 208) return special_[next() % special_.size()];
    BitsOf<T> pattern = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) pattern = static_cast<BitsOf<T>>(pattern << 8 | next());
    return std::bit_cast<T>(pattern);
  }

 private:
  const uint8_t* data_;
  std::size_t size_, at_ = 0;
  std::vector<float> const special_ = special_values<float>();
};

// n elements with a stride, in a block that holds them and no more.
template <class T>
struct Spread {
  std::unique_ptr<T[]> block;
  std::size_t size;
  T* first;
  int stride;
  Spread(int n, int s) : stride(s) {
    size = n ? static_cast<std::size_t>(n - 1) * static_cast<std::size_t>(std::abs(s)) + 1 : 0;
    block.reset(new T[size]());
    first = block.get() + (s < 0 && n ? static_cast<std::size_t>(n - 1) * static_cast<std::size_t>(-s) : 0);
  }
  T& operator[](int i) { return first[static_cast<std::ptrdiff_t>(i) * stride]; }
};

template <class T>
void exercise_typed(Elementwise const& f, Bytes& bytes) {
  auto const level = static_cast<Level>(bytes.next() % 3);
  uint8_t const modes = bytes.next();
  int const n = bytes.next() % 71;
  auto stride = [&](bool zero) {
    int const s = static_cast<int>(bytes.next() % 7) - 3;
    return s == 0 && !zero ? 1 : s;
  };
  bool const dense = modes & 4;
  int sa = stride(true), sb = stride(true), s1 = stride(false), s2 = stride(false);
  if (dense) sa = sb = s1 = s2 = 1;
  // 0, 3: arrays apart; 1, 2: the result takes the place of an operand.
  int const shared = modes >> 3 & 3;
  if (shared == 1 && sa != 0) s1 = sa;
  if (shared == 2 && sb != 0) s1 = sb;
  Spread<T> a(n, sa), b(n, sb), r1(n, s1), r2(n, s2);
  for (int i = 0; i < n; ++i) {
    T const x = bytes.value<T>(), y = bytes.value<T>();
    if (sa || i == 0) std::memcpy(&a[i], &x, sizeof x);
    if (sb || i == 0) std::memcpy(&b[i], &y, sizeof y);
  }
  Arrays x{.a = a.first, .b = b.first, .r1 = r1.first, .r2 = r2.first};
  for (double& s : x.scalars) s = static_cast<double>(bytes.value<T>());
  x.inca = sa;
  x.incb = sb;
  x.incr1 = s1;
  x.incr2 = s2;
  bool const over_a = shared == 1 && sa != 0, over_b = shared == 2 && sb != 0 && f.operands() == 2;
  if (over_a) x.r1 = a.first;
  if (over_b) x.r1 = b.first;

  auto const set = ORV_FUNCTION_OF(orv_elw_kernel_SetMode);
  ErrorLog log;
  set(modes & 1 ? ORV_FLUSH_DENORMALS : ORV_KEEP_DENORMALS);
  if (modes & 2) set(ORV_ERRMODE_NOERR);
  std::vector<T> expected(static_cast<std::size_t>(n)), second(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    Arrays one = x;
    one.a = &a[i];
    one.b = &b[i];
    one.r1 = &expected[static_cast<std::size_t>(i)];
    one.r2 = &second[static_cast<std::size_t>(i)];
    f.call(level, one, 1);
  }
  if (dense)
    f.call(level, x, static_cast<std::size_t>(n));
  else
    f.call_strided(level, x, n);
  set(ORV_KEEP_DENORMALS);
  for (int i = 0; i < n; ++i) {
    T* const got = static_cast<T*>(x.r1) + static_cast<std::ptrdiff_t>(i) * s1;
    bool same = std::memcmp(got, &expected[static_cast<std::size_t>(i)], sizeof(T)) == 0;
    if (f.results() == 2) same &= std::memcmp(&r2[i], &second[static_cast<std::size_t>(i)], sizeof(T)) == 0;
    if (!same) {
      std::fprintf(
          stderr, "%c%s %s: element %d of %d, strides %d %d %d %d, mode %d: not what a call of one gives\n",
          f.function().type, f.function().name.data(), level_name(level).data(), i, n, sa, sb, s1, s2, modes);
      std::abort();
    }
  }
}

inline void exercise_call(const uint8_t* data, std::size_t size) {
  static auto const all = functions_of_numbers([](Function const&) { return true; });
  Bytes bytes(data, size);
  Function const& f = *all[(bytes.next() | bytes.next() << 8) % static_cast<int>(all.size())];
  auto const function = Elementwise::find(f.type, std::string(f.name));
  if (f.type == 's')
    exercise_typed<float>(function, bytes);
  else
    exercise_typed<double>(function, bytes);
}

} // namespace orv::test
