#include "accuracy/points.h"

namespace orv::accuracy {

template <class T>
T Draw<T>::one() {
  using L = std::numeric_limits<T>;
  switch (bits(3)) {
  case 0:
  case 1:
    return pattern();
  case 2:
    return static_cast<T>(uniform(-1, 1));
  case 3:
    return static_cast<T>(uniform(-100, 100));
  case 4:
    return static_cast<T>(uniform(sizeof(T) == 4 ? -110 : -760, sizeof(T) == 4 ? 100 : 720));
  case 5:
    return beside(T(1));
  case 6: {
    T const special[] = {0,
                         L::min(),
                         L::max(),
                         T(0.5),
                         T(1),
                         T(2),
                         T(-1),
                         T(0.70710678118654752),
                         T(1.4142135623730951),
                         T(1.3333333333333333),
                         T(0.6666666666666666),
                         T(3),
                         T(0.1),
                         T(10),
                         T(1.5),
                         L::infinity()};
    return beside(special[bits(4)]);
  }
  default:
    return static_cast<T>(std::ldexp(uniform(1, 2), static_cast<int>(bits(7)) - 64));
  }
}

// The second operand is chosen with the first in view: results near 1, near the ends of the range, equal and very
// different sizes, small integers.
template <class T>
void Draw<T>::two(T& a, T& b) {
  constexpr double range = sizeof(T) == 4 ? 127 : 1023;
  a = one();
  T const magnitude = std::fabs(a);
  double const log2 =
      magnitude > 0 && std::isfinite(magnitude) ? std::log2(static_cast<double>(magnitude)) : 1;
  auto narrow = [](double x) { return static_cast<T>(x); };
  switch (bits(4)) {
  case 0:
    b = pattern();
    break;
  case 1:
    b = one();
    break;
  case 2: // small integers
    b = static_cast<T>(static_cast<int>(bits(6)) - 32);
    break;
  case 3: // beside them
    b = beside(static_cast<T>(static_cast<int>(bits(5)) - 16));
    break;
  case 4: // powers all over the range
    a = magnitude;
    b = narrow(uniform(-1, 1) * range / log2);
    break;
  case 5: // near overflow
    a = magnitude;
    b = narrow((range + uniform(-1, 1)) / log2);
    break;
  case 6: // near underflow
    a = magnitude;
    b = narrow(-(range + uniform(-30, 2)) / log2);
    break;
  case 7:
    a = beside(T(1));
    b = narrow(uniform(-1, 1) * range / std::log2(static_cast<double>(a == 1 ? T(2) : a)));
    break;
  case 8:
    a = narrow(uniform(0, 4));
    b = narrow(uniform(-30, 30));
    break;
  case 9:
    a = narrow(uniform(0.5, 2));
    b = narrow(uniform(-range, range));
    break;
  case 10: // a power near 1
    b = narrow(std::ldexp(uniform(1, 2), static_cast<int>(bits(4)) - 60));
    break;
  case 11:
    b = narrow(static_cast<double>(a) * uniform(0.5, 2));
    break;
  case 12:
    b = narrow(std::ldexp(static_cast<double>(a), static_cast<int>(bits(6)) - 32));
    break;
  case 13:
    b = beside(a);
    break;
  case 14:
    a = narrow(uniform(0, 1e4));
    b = narrow(uniform(-3, 3));
    break;
  default:
    a = narrow(uniform(-8, 8));
    b = static_cast<T>(static_cast<int>(bits(4)) - 8) / 2;
    break;
  }
}

// Parts of like and unlike size, on the axes, near the unit circle; a second number that makes products cancel.
template <class T>
void Draw<T>::complex(T* a, int numbers) {
  for (int i = 0; i < numbers; ++i) {
    T &re = a[2 * i], &im = a[2 * i + 1];
    auto narrow = [](double x) { return static_cast<T>(x); };
    switch (bits(3)) {
    case 0:
      re = one();
      im = one();
      break;
    case 1:
      re = one();
      im = narrow(static_cast<double>(re) * either_sign(uniform(0.25, 4)));
      break;
    case 2: {
      double const angle = uniform(-3.2, 3.2), radius = 1 + either_sign(logarithmic(1e-16, 0.5));
      re = narrow(radius * std::cos(angle));
      im = narrow(radius * std::sin(angle));
      break;
    }
    case 3:
      re = bits(1) ? T(0) : -T(0);
      im = one();
      if (bits(1)) std::swap(re, im);
      break;
    default: {
      constexpr double low = sizeof(T) == 4 ? 1e-6 : 1e-12;
      re = narrow(either_sign(logarithmic(low, 50)));
      im = narrow(either_sign(logarithmic(low, 50)));
    }
    }
  }
  if (numbers == 2 && bits(2) == 0) {
    // One part of the product is a difference of nearly equal numbers.
    T const scale = static_cast<T>(std::ldexp(1.0, static_cast<int>(bits(3)) - 4));
    a[2] = beside(a[1] * scale, 4);
    a[3] = beside(a[0] * scale, 4);
    if (bits(1)) a[3] = -a[3];
    if (bits(1)) std::swap(a[2], a[3]);
  }
  // Infinities and NaN are matters of tables of cases: libraries do not agree about them.
  for (int i = 0; i < 2 * numbers; ++i)
    if (!std::isfinite(a[i])) a[i] = T(0.75);
}

template <class T>
std::span<const T> landmarks() {
  using L = std::numeric_limits<T>;
  static const T numbers[] = {0,
                              L::denorm_min(),
                              L::min() - L::denorm_min(),
                              L::min(),
                              L::epsilon() / 4,
                              T(0.25),
                              T(0.5) - L::epsilon() / 4,
                              T(0.5),
                              1 - L::epsilon() / 2,
                              1,
                              1 + L::epsilon(),
                              T(1.5),
                              2,
                              3,
                              10,
                              1000,
                              T(1e9),
                              1 / L::epsilon(),
                              2 / L::epsilon() + 2,
                              L::max(),
                              L::infinity()};
  return numbers;
}
template std::span<const float> landmarks<float>();
template std::span<const double> landmarks<double>();

template class Draw<float>;
template class Draw<double>;

bool Region::serves(std::string_view name, char type) const {
  if (types.find(type) == types.npos) return false;
  for (std::size_t at = functions.find(name); at != functions.npos; at = functions.find(name, at + 1)) {
    std::size_t const end = at + name.size();
    if ((at == 0 || functions[at - 1] == ' ') && (end == functions.size() || functions[end] == ' '))
      return true;
  }
  return false;
}

uint64_t Region::count() const {
  uint64_t const beside = 2 * static_cast<uint64_t>(ulps) + 1;
  if (kind == Kind::near) return 2 * beside;
  if (kind == Kind::listed) return 2 * beside * numbers.size();
  return 0;
}

template <class T>
T Region::number(uint64_t i) const {
  uint64_t const beside = 2 * static_cast<uint64_t>(ulps) + 1;
  bool const negative = i % 2;
  i /= 2;
  T const center = static_cast<T>(kind == Kind::near ? a : numbers[i / beside]);
  auto const shift = static_cast<BitsOf<T>>(static_cast<int64_t>(i % beside) - ulps);
  T const x = std::bit_cast<T>(static_cast<BitsOf<T>>(std::bit_cast<BitsOf<T>>(center) + shift));
  return negative ? -x : x;
}

template <class T>
void Region::draw(Draw<T>& random, T* parts) const {
  switch (kind) {
  case Kind::interval:
    *parts = static_cast<T>(random.uniform(a, b));
    break;
  case Kind::logs:
    *parts = static_cast<T>(random.either_sign(random.logarithmic(a, b)));
    break;
  case Kind::multiples: {
    double const k = std::floor(random.uniform(b, c + 1));
    // The step is a double with the rest of it in d.
    long double const x = static_cast<long double>(a) * k + static_cast<long double>(d) * k;
    *parts = random.beside(static_cast<T>(x), ulps);
    if (random.bits(1)) *parts = -*parts;
    break;
  }
  case Kind::box:
    parts[0] = static_cast<T>(random.uniform(a, b));
    parts[1] = static_cast<T>(random.uniform(c, d));
    break;
  case Kind::log_box:
    parts[0] = static_cast<T>(random.either_sign(random.logarithmic(a, b)));
    parts[1] = static_cast<T>(random.either_sign(random.logarithmic(c, d)));
    break;
  case Kind::made:
    if constexpr (sizeof(T) == 4)
      make_s(random, parts);
    else
      make_d(random, parts);
    break;
  case Kind::near:
  case Kind::listed:
    break;
  }
}

template float Region::number<float>(uint64_t) const;
template double Region::number<double>(uint64_t) const;
template void Region::draw<float>(Draw<float>&, float*) const;
template void Region::draw<double>(Draw<double>&, double*) const;

} // namespace orv::accuracy
