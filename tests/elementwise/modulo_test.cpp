// Fmod and Remainder against integer arithmetic, over all gaps of exponents.
#include "tests/elementwise/support.h"

namespace orv::test {
namespace {

// |a| mod |b| by integers: a b = m 2^e each; m_a 2^(e_a - e_b) mod m_b by repeated doubling.
template <class T>
struct Exact {
  T fmod, remainder;
  Exact(T a, T b) {
    int ea, eb;
    constexpr int digits = std::numeric_limits<T>::digits;
    auto ma = static_cast<uint64_t>(std::ldexp(std::frexp(std::fabs(a), &ea), digits));
    auto mb = static_cast<uint64_t>(std::ldexp(std::frexp(std::fabs(b), &eb), digits));
    if (ea < eb) { // |a| below |b|: only the remainder can differ from a, where |a| is above |b| / 2
      fmod = remainder = a;
      if (eb - ea == 1 && ma > mb) remainder = std::fabs(a) - std::fabs(b); // exact: they are close
      if (remainder != a && std::signbit(a)) remainder = -remainder;
      return;
    }
    bool odd = ma / mb & 1;
    uint64_t m = ma % mb;
    for (int i = ea - eb; i > 0; --i) {
      m *= 2;
      odd = m >= mb;
      if (odd) m -= mb;
    }
    fmod = std::copysign(std::ldexp(static_cast<T>(m), eb - digits), a);
    bool const up = 2 * m > mb || (2 * m == mb && odd);
    T const size = std::ldexp(static_cast<T>(up ? mb - m : m), eb - digits);
    remainder = (std::signbit(a) != up) ? -size : size;
    if (size == 0) remainder = std::copysign(size, a);
  }
};

template <class T>
void check(std::vector<T> const& a, std::vector<T> const& b) {
  auto const type = sizeof(T) == 4 ? 's' : 'd';
  auto const fmod = call(Elementwise::find(type, "Fmod"), Level::LA, a, b);
  auto const remainder = call(Elementwise::find(type, "Remainder"), Level::LA, a, b);
  for (std::size_t i = 0; i < a.size(); ++i) {
    Exact<T> const exact(a[i], b[i]);
    ASSERT_EQ(bits(fmod.r1[i]), bits(exact.fmod))
        << std::hexfloat << a[i] << " mod " << b[i] << ": " << fmod.r1[i];
    ASSERT_EQ(bits(remainder.r1[i]), bits(exact.remainder))
        << std::hexfloat << a[i] << " rem " << b[i] << ": " << remainder.r1[i] << " not " << exact.remainder;
  }
}

template <class T>
void check_all() {
  constexpr int range = std::numeric_limits<T>::max_exponent, bits = std::numeric_limits<T>::digits;
  std::mt19937_64 random(5);
  auto number = [&](int exponent) {
    T const m = static_cast<T>((random() >> (64 - bits)) | (uint64_t{1} << (bits - 1)));
    return std::ldexp(random() % 2 ? m : -m, exponent - bits);
  };
  std::vector<T> a, b;
  // Every gap of exponents, at several places of the range.
  for (int gap = -3; gap < 2 * range + bits - 3; ++gap)
    for (int k = 0; k < 6; ++k) {
      int const lowest = -range - bits + 4;
      int const room = range - 1 - lowest - gap;
      if (room <= 0) continue;
      int const eb = lowest + (gap < 0 ? -gap : 0) + static_cast<int>(random() % static_cast<unsigned>(room));
      if (eb + gap > range || eb > range) continue;
      a.push_back(number(eb + gap));
      b.push_back(number(eb));
    }
  // Multiples, their neighbours and halves: remainders of zero, ties and nearly so.
  for (int k = 0; k < 4000; ++k) {
    T const y = static_cast<T>(static_cast<int>(random() % 4000) + 1) / 8;
    T const x = y * static_cast<T>(random() % 3000) / 2;
    for (T v : {x, std::nextafter(x, T(1e9)), std::nextafter(x, T(0)), -x}) {
      if (v == 0) continue;
      a.push_back(v);
      b.push_back(y);
    }
  }
  // Next to multiples that are no numbers of the type: the quotient rounds up to the whole one above it.
  for (int k = 0; k < 20000; ++k) {
    T const y = number(static_cast<int>(random() % 8)),
            x = y * static_cast<T>(3 + random() % (bits == 24 ? 1000 : 10000000));
    for (T v : {x, std::nextafter(x, T(0)), -x}) {
      a.push_back(v);
      b.push_back(y);
    }
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (b[i] == 0) b[i] = std::numeric_limits<T>::denorm_min();
    if (a[i] == 0) a[i] = std::numeric_limits<T>::denorm_min();
  }
  check(a, b);
  EXPECT_GT(a.size(), 10000u);
}

TEST(Modulo, SinglePrecisionIsExact) { check_all<float>(); }
TEST(Modulo, DoublePrecisionIsExact) { check_all<double>(); }

} // namespace
} // namespace orv::test
