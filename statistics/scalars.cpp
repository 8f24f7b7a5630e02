// Logarithm, logarithm of Gamma, floor and square root for single numbers, as exports.
#include "statistics/scalars.h"

#include "frame/export.h"

#include <array>
#include <bit>
#include <cstdint>
#include <limits>

namespace orv::statistics {
namespace {

constexpr double ln2 = 0.69314718055994530942;

struct Step {
  double reciprocal, logarithm; // of 1 + i / 128
};
// Sums in extended precision, rounded once.
constexpr auto steps = [] {
  std::array<Step, 128> table{};
  for (int i = 0; i < 128; ++i) {
    long double const c = 1 + i / 128.0L, s = (c - 1) / (c + 1);
    long double sum = 0, power = s;
    for (int k = 1; k < 100; k += 2, power *= s * s) sum += power / k;
    table[static_cast<size_t>(i)] = {static_cast<double>(1 / c), static_cast<double>(2 * sum)};
  }
  return table;
}();

} // namespace

double quick_ln(double x) {
  auto bits = std::bit_cast<uint64_t>(x);
  int exponent = static_cast<int>(bits >> 52); // with the sign, above all others
  if (exponent >= 0x7ff || x == 0) return -744.4400719213812;
  if (exponent == 0) {
    bits = std::bit_cast<uint64_t>(x * 0x1p52);
    exponent = static_cast<int>(bits >> 52) - 52;
  }
  auto const& step = steps[bits >> 45 & 127];
  double const m = std::bit_cast<double>((bits & 0xfffffffffffff) | 0x3ff0000000000000);
  double const z = __builtin_fma(m, step.reciprocal, -1.0);
  double p = 1.0 / 7;
  for (double const c : {-1.0 / 6, 1.0 / 5, -1.0 / 4, 1.0 / 3, -1.0 / 2}) p = __builtin_fma(p, z, c);
  double const tail = __builtin_fma(p, z * z, z);
  return (exponent - 1023) * ln2 + (step.logarithm + tail);
}

namespace {

// ln Gamma(2 + z) for |z| <= 1/2: (1 - Euler's constant) z + sum over k of (-1)^k (zeta(k) - 1) / k z^k.
double log_gamma_near_2(double z) {
  constexpr double zeta_less_1[] = {
      0.64493406684822644,    0.20205690315959429,    0.082323233711138192,  0.036927755143369926,
      0.01734306198444914,    0.0083492773819228268,  0.0040773561979443394, 0.0020083928260822144,
      0.00099457512781808534, 0.00049418860411946456, 0.0002460865533080483, 0.00012271334757848915,
      6.1248135058704829e-5,  3.0588236307020494e-5,  1.5282259408651872e-5, 7.6371976378997623e-6,
      3.8172932649998399e-6,  1.9082127165539389e-6,  9.5396203387279611e-7, 4.7693298678780646e-7,
      2.3845050272773299e-7,  1.1921992596531107e-7,  5.960818905125948e-8,  2.980350351465228e-8,
      1.4901554828365041e-8,  7.4507117898354295e-9,  3.7253340247884571e-9, 1.862659723513049e-9};
  double sum = 0;
  for (int k = 29; k >= 2; --k) sum = __builtin_fma(sum, -z, zeta_less_1[k - 2] / k);
  return z * __builtin_fma(sum, z, 0.42278433509846713939);
}

double stirling(double x) {
  constexpr double coefficients[] = {-3617.0 / 122400, 1.0 / 156,  -691.0 / 360360, 1.0 / 1188,
                                     -1.0 / 1680,      1.0 / 1260, -1.0 / 360,      1.0 / 12};
  double const y = 1 / x, y2 = y * y;
  double sum = 0;
  for (double const c : coefficients) sum = __builtin_fma(sum, y2, c);
  return (x - 0.5) * ln(x) - x + 0.91893853320467274178 + sum * y;
}

} // namespace

double log_gamma(double x) {
  if (!(x > 0))
    return x == 0 ? std::numeric_limits<double>::infinity() : std::numeric_limits<double>::quiet_NaN();
  if (x >= 8) return x * 0 == 0 ? stirling(x) : x;
  if (x < 0.5) return log_gamma(1 + x) - ln(x);
  if (x < 1.5) return log_gamma_near_2(x - 1) - log_1p(x - 1);
  double product = 1;
  for (; x >= 2.5; x -= 1) product *= x - 1;
  return log_gamma_near_2(x - 2) + (product == 1 ? 0 : ln(product));
}

} // namespace orv::statistics

ORV_EXPORT double __rnqdLn(double x) { return orv::statistics::quick_ln(x); }
ORV_EXPORT float __rnqsLn(float x) {
  return static_cast<float>(orv::statistics::quick_ln(static_cast<double>(x)));
}
ORV_EXPORT double __rnqdLGamma(double x) { return orv::statistics::log_gamma(x); }
ORV_EXPORT double __rnqdFloor(double x) { return _mm_cvtsd_f64(_mm_floor_sd(_mm_set_sd(x), _mm_set_sd(x))); }
ORV_EXPORT double __rnqdSqrt(double x) { return orv::statistics::root(x); }
