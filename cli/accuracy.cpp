#include "cli/accuracy.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <thread>

namespace orv::cli {
namespace {

constexpr int block = 4096;

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
// The type of the reference: wide enough for T and quick.
template <class T>
using WideOf = std::conditional_t<sizeof(T) == 4, double, long double>;

// The unit in the last place of the correctly rounded value of x; below the normal range the smallest denormal.
template <class T, class R>
R unit(R x) {
  constexpr int digits = std::numeric_limits<T>::digits, lowest = std::numeric_limits<T>::min_exponent,
                highest = std::numeric_limits<T>::max_exponent;
  int exponent;
  if constexpr (std::is_same_v<R, double>)
    exponent = static_cast<int>((std::bit_cast<uint64_t>(x) >> 52) & 0x7FF) - 1022;
  else
    std::frexp(static_cast<long double>(x), &exponent);
  exponent = std::min(std::max(exponent, lowest), highest) - digits;
  if constexpr (std::is_same_v<R, double>)
    return std::bit_cast<double>(static_cast<uint64_t>(exponent + 1023) << 52);
  else
    return static_cast<R>(std::ldexp(1.0L, exponent));
}

template <class R>
bool nan(R x) {
  return !(x == x);
}

struct Error {
  double ulp, relative; // relative: 0 where the exact value is not normal
};

template <class T, class R>
Error error_of(T result, R exact) {
  constexpr double infinite = std::numeric_limits<double>::infinity();
  if (nan(exact)) return nan(result) ? Error{0, 0} : Error{infinite, 1};
  if (nan(result)) return {infinite, 1};
  T const rounded = static_cast<T>(exact);
  if (result == rounded) {
    if (std::isinf(result)) return {0, 0};
  } else if (std::isinf(result) || std::isinf(rounded)) {
    // Next to the overflow limit an infinity stands for the power of two behind the largest value.
    R const edge = static_cast<R>(std::ldexp(1.0L, std::numeric_limits<T>::max_exponent));
    R const got = std::isinf(result) ? (result > 0 ? edge : -edge) : static_cast<R>(result);
    R const ulps = (got - exact) / unit<T>(edge / 2);
    double const u = std::fabs(static_cast<double>(ulps));
    return {u < 1e6 ? u : infinite, u < 1e6 ? 0.0 : 1.0};
  }
  R const difference = static_cast<R>(result) - exact;
  if (difference == 0) return {0, 0};
  double const ulp = std::fabs(static_cast<double>(difference / unit<T>(exact)));
  R const magnitude = exact < 0 ? -exact : exact;
  double relative = 0;
  if (magnitude >= static_cast<R>(std::numeric_limits<T>::min()))
    relative = std::fabs(static_cast<double>(difference / exact));
  return {ulp, relative};
}

void note(WorstCase& worst, Error const& error, double a, double b) {
  ++worst.points;
  if (error.ulp > worst.ulp) {
    worst.ulp = error.ulp;
    worst.ulp_a = a;
    worst.ulp_b = b;
  }
  if (error.relative > worst.relative) {
    worst.relative = error.relative;
    worst.bits_a = a;
    worst.bits_b = b;
  }
}

void merge(WorstCase& into, WorstCase const& from) {
  uint64_t const points = into.points + from.points;
  if (from.ulp > into.ulp) {
    into.ulp = from.ulp;
    into.ulp_a = from.ulp_a;
    into.ulp_b = from.ulp_b;
  }
  if (from.relative > into.relative) {
    into.relative = from.relative;
    into.bits_a = from.bits_a;
    into.bits_b = from.bits_b;
  }
  into.points = points;
}

// Arguments: all exponents alike, plain ranges, neighbours of values where functions change, and for two
// operands results near 1, near the ends of the range, equal and very different sizes, small integers.
template <class T>
class Points {
 public:
  Points(uint64_t seed, bool two) : random_(seed), two_(two) {}
  void fill(T* a, T* b) {
    for (int i = 0; i < block; ++i) {
      a[i] = one();
      if (two_) pair(a[i], b[i]);
    }
  }

 private:
  uint64_t bits(int n) { return random_() >> (64 - n); }
  T uniform(double low, double high) {
    return static_cast<T>(low + (high - low) * (static_cast<double>(bits(53)) * 0x1p-53));
  }
  T any_pattern() { return std::bit_cast<T>(static_cast<BitsOf<T>>(random_())); }
  T beside(T x) {
    auto pattern = std::bit_cast<BitsOf<T>>(x);
    pattern += static_cast<BitsOf<T>>(bits(12)) - 2048;
    return std::bit_cast<T>(pattern);
  }
  T one() {
    switch (bits(3)) {
    case 0:
    case 1:
      return any_pattern();
    case 2:
      return uniform(-1, 1);
    case 3:
      return uniform(-100, 100);
    case 4:
      return uniform(sizeof(T) == 4 ? -110 : -760, sizeof(T) == 4 ? 100 : 720);
    case 5:
      return beside(T(1));
    case 6: {
      T const special[] = {0,
                           std::numeric_limits<T>::min(),
                           std::numeric_limits<T>::max(),
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
                           std::numeric_limits<T>::infinity()};
      return beside(special[bits(4)]);
    }
    default:
      return std::ldexp(uniform(1, 2), static_cast<int>(bits(7)) - 64);
    }
  }
  // The second operand, chosen with the first in view.
  void pair(T& a, T& b) {
    constexpr double range = sizeof(T) == 4 ? 127 : 1023;
    auto const kind = bits(4);
    T const magnitude = std::fabs(a);
    double const log2 =
        magnitude > 0 && std::isfinite(magnitude) ? std::log2(static_cast<double>(magnitude)) : 1;
    switch (kind) {
    case 0:
      b = any_pattern();
      break;
    case 1:
      b = one();
      break;
    case 2:
      b = static_cast<T>(static_cast<int>(bits(6)) - 32);
      break; // small integers
    case 3:
      b = beside(static_cast<T>(static_cast<int>(bits(5)) - 16));
      break; // beside them
    case 4:
      a = magnitude;
      b = static_cast<T>(uniform(-1, 1) * range / log2);
      break;
    case 5:
      a = magnitude;
      b = static_cast<T>((range + uniform(-1, 1)) / log2);
      break; // near overflow
    case 6:
      a = magnitude;
      b = static_cast<T>(-(range + uniform(-30, 2)) / log2);
      break; // near underflow
    case 7:
      a = beside(T(1));
      b = static_cast<T>(uniform(-1, 1) * range / std::log2(static_cast<double>(a == 1 ? T(2) : a)));
      break;
    case 8:
      a = uniform(0, 4);
      b = uniform(-30, 30);
      break;
    case 9:
      a = uniform(0.5, 2);
      b = uniform(-range, range);
      break;
    case 10:
      b = std::ldexp(uniform(1, 2), static_cast<int>(bits(4)) - 60);
      break; // result near 1
    case 11:
      b = static_cast<T>(a * uniform(0.5, 2));
      break; // like sizes
    case 12:
      b = static_cast<T>(std::ldexp(static_cast<double>(a), static_cast<int>(bits(6)) - 32));
      break;
    case 13:
      b = beside(a);
      break;
    case 14:
      a = uniform(0, 1e4);
      b = uniform(-3, 3);
      break;
    default:
      a = uniform(-8, 8);
      b = static_cast<T>(static_cast<int>(bits(4)) - 8) / 2;
      break;
    }
  }
  std::mt19937_64 random_;
  bool two_;
};

template <class T>
struct Work {
  Elementwise const& function;
  Reference const& reference;
  AccuracyPlan const& plan;

  WideOf<T> exact(T a, T b) const {
    if constexpr (sizeof(T) == 4)
      return reference.d1 ? reference.d1(a) : reference.d2(a, b);
    else
      return reference.l1 ? reference.l1(a) : reference.l2(a, b);
  }
  __float128 exact128(T a, T b) const { return reference.q1 ? reference.q1(a) : reference.q2(a, b); }

  // A worst case again by 128 bits, so that the reference's own error is out of it.
  void confirm(Level level, WorstCase& worst) const {
    auto again = [&](double a, double b) {
      T const x = static_cast<T>(a), y = static_cast<T>(b);
      T r = 0, r2 = 0;
      Arrays arrays{.a = &x, .b = &y, .r1 = &r, .r2 = &r2};
      arrays.scalars[0] = plan.scalar;
      function.call(level, arrays, 1);
      return error_of<T, __float128>(r, exact128(x, y));
    };
    if (worst.ulp > 0) worst.ulp = again(worst.ulp_a, worst.ulp_b).ulp;
    if (worst.relative > 0) worst.relative = again(worst.bits_a, worst.bits_b).relative;
  }

  std::array<WorstCase, 3> run(uint64_t first, uint64_t last, uint64_t seed, bool report) const {
    std::array<WorstCase, 3> worst;
    bool const two = function.operands() == 2;
    ErrorLog quiet;
    // Nothing is recorded: the reports would cost more than the work.
    Points<T> points(seed, two);
    std::vector<T> a(block), b(block, static_cast<T>(plan.scalar)), r2(block);
    std::array<std::vector<T>, 3> r{std::vector<T>(block), std::vector<T>(block), std::vector<T>(block)};
    for (uint64_t start = first; start < last; start += block) {
      if (plan.exhaustive)
        for (int i = 0; i < block; ++i)
          a[static_cast<std::size_t>(i)] =
              std::bit_cast<T>(static_cast<BitsOf<T>>(start + static_cast<uint64_t>(i)));
      else
        points.fill(a.data(), b.data());
      if (!two) std::fill(b.begin(), b.end(), static_cast<T>(plan.scalar));
      for (std::size_t k = 0; k < 3; ++k) {
        Arrays arrays{.a = a.data(), .b = b.data(), .r1 = r[k].data(), .r2 = r2.data()};
        arrays.scalars[0] = plan.scalar;
        function.call(static_cast<Level>(k), arrays, block);
      }
      for (std::size_t i = 0; i < block; ++i) {
        auto const wide = exact(a[i], b[i]);
        for (std::size_t k = 0; k < 3; ++k)
          note(worst[k], error_of<T>(r[k][i], wide), static_cast<double>(a[i]), static_cast<double>(b[i]));
      }
      if (report && plan.progress && (start / block) % 64 == 0)
        plan.progress(static_cast<double>(start - first) / static_cast<double>(last - first));
    }
    return worst;
  }

  std::array<WorstCase, 3> measure() const {
    uint64_t const total = plan.exhaustive ? uint64_t{1} << 32 : plan.points;
    unsigned const threads = std::max(1u, std::thread::hardware_concurrency());
    uint64_t const share = (total / threads + block - 1) / block * block;
    std::vector<std::array<WorstCase, 3>> parts(threads);
    std::vector<std::thread> running;
    for (unsigned t = 0; t < threads; ++t)
      running.emplace_back([&, t] {
        uint64_t const first = t * share, last = std::min(total, first + share);
        parts[t] = run(first, last, plan.seed * 1000 + t, t == 0);
      });
    for (std::thread& thread : running) thread.join();
    std::array<WorstCase, 3> worst = parts[0];
    for (unsigned t = 1; t < threads; ++t)
      for (std::size_t k = 0; k < 3; ++k) merge(worst[k], parts[t][k]);
    ErrorLog quiet;
    for (std::size_t k = 0; k < 3; ++k) confirm(static_cast<Level>(k), worst[k]);
    return worst;
  }
};

} // namespace

std::array<WorstCase, 3> measure_accuracy(Elementwise const& function, Reference const& reference,
                                          AccuracyPlan const& plan) {
  if (function.function().type == 's') return Work<float>{function, reference, plan}.measure();
  return Work<double>{function, reference, plan}.measure();
}

double WorstCase::bits() const { return relative > 0 ? -std::log2(relative) : 999; }

bool keeps_bound(orv::Function const& f, Level level, WorstCase const& worst) {
  // Bounds of 1 and 4 are strict, those of exact and correctly rounded functions are reached.
  auto below = [](double ulp, double bound) { return bound >= 1 ? ulp < bound : ulp <= bound; };
  switch (level) {
  case Level::LA:
    return below(worst.ulp, f.la_ulp);
  case Level::HA:
    return below(worst.ulp, f.ha_ulp);
  case Level::EP:
    return worst.bits() >= f.ep_bits || below(worst.ulp, f.la_ulp);
  }
  return false;
}

} // namespace orv::cli
