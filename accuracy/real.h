// How references of real functions are written: one expression for double, long double and Big.
#pragma once
#include "accuracy/reference.h"

#include <cmath>

extern "C" {
double exp10(double) noexcept;
long double exp10l(long double) noexcept;
}

namespace orv::accuracy {

using std::acos, std::acosh, std::asin, std::asinh, std::atan, std::atan2, std::atanh, std::cbrt, std::ceil,
    std::copysign, std::cos, std::cosh, std::erf, std::erfc, std::exp, std::exp2, std::expm1, std::fabs,
    std::floor, std::fmod, std::hypot, std::log, std::log10, std::log1p, std::log2, std::logb, std::pow,
    std::remainder, std::rint, std::round, std::sin, std::sinh, std::sqrt, std::tan, std::tanh, std::tgamma,
    std::trunc;
inline double exp10(double x) { return ::exp10(x); }
inline long double exp10(long double x) { return ::exp10l(x); }
inline bool negative(double x) { return std::signbit(x); }
inline bool negative(long double x) { return std::signbit(x); }
inline bool negative(Big const& x) { return x.negative(); }

template <class R>
R pi() {
  return R(3.141592653589793238462643383279502884L);
}
template <>
inline Big pi<Big>() {
  return big_pi();
}

// A row of a table: a lambda [](auto const* x, auto* r) that writes the results of any of the three types.
template <class F>
constexpr Reference real(std::string_view name, int operands, int results, F) {
  return {name,
          false,
          {operands, 1, results, 1},
          [](const double* x, double* r) {
            F()(x, r);
            return true;
          },
          [](const long double* x, long double* r) {
            F()(x, r);
            return true;
          },
          [](const Big* x, Big* r) { F()
                                     (x, r); }};
}
#define ORV_ONE(name, expression)                                                                            \
  real(name, 1, 1, [](auto const* a, auto* r) {                                                              \
    auto const& x = a[0];                                                                                    \
    using R [[maybe_unused]] = std::decay_t<decltype(x)>;                                                    \
    *r = expression;                                                                                         \
  })
#define ORV_TWO(name, expression)                                                                            \
  real(name, 2, 1, [](auto const* a, auto* r) {                                                              \
    auto const &x = a[0], &y = a[1];                                                                         \
    using R [[maybe_unused]] = std::decay_t<decltype(x)>;                                                    \
    *r = expression;                                                                                         \
  })
// The second operand is a scalar.
#define ORV_SCALAR(name, expression)                                                                         \
  real(name, 1, 1, [](auto const* a, auto* r) {                                                              \
    auto const &x = a[0], &y = a[1];                                                                         \
    *r = expression;                                                                                         \
  })

} // namespace orv::accuracy
