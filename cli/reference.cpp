#include "cli/reference.h"

#include <cmath>

// 128-bit functions of the C library.
extern "C" {
#define ORV_Q1(f) __float128 f##f128(__float128);
ORV_Q1(exp)
ORV_Q1(exp2) ORV_Q1(exp10) ORV_Q1(expm1) ORV_Q1(log) ORV_Q1(log2) ORV_Q1(log10) ORV_Q1(log1p) ORV_Q1(sqrt)
    ORV_Q1(cbrt) ORV_Q1(fabs) ORV_Q1(floor) ORV_Q1(ceil) ORV_Q1(trunc) ORV_Q1(rint) ORV_Q1(round) ORV_Q1(logb)
#undef ORV_Q1
        __float128 powf128(__float128, __float128);
__float128 hypotf128(__float128, __float128);
__float128 fmodf128(__float128, __float128);
__float128 remainderf128(__float128, __float128);
__float128 copysignf128(__float128, __float128);
long double exp10l(long double);
double exp10(double);
}

namespace orv::cli {
namespace {

// One name for all widths.
#define ORV_WIDE1(f)                                                                                         \
  inline double w_##f(double x) { return ::f(x); }                                                           \
  inline long double w_##f(long double x) { return ::f##l(x); }                                              \
  inline __float128 w_##f(__float128 x) { return f##f128(x); }
ORV_WIDE1(exp)
ORV_WIDE1(exp2)
ORV_WIDE1(exp10)
ORV_WIDE1(expm1)
ORV_WIDE1(log)
ORV_WIDE1(log2)
ORV_WIDE1(log10)
ORV_WIDE1(log1p)
ORV_WIDE1(sqrt)
ORV_WIDE1(cbrt)
ORV_WIDE1(fabs)
ORV_WIDE1(floor)
ORV_WIDE1(ceil)
ORV_WIDE1(trunc)
ORV_WIDE1(rint)
ORV_WIDE1(round)
ORV_WIDE1(logb)
#define ORV_WIDE2(f)                                                                                         \
  inline double w_##f(double x, double y) { return ::f(x, y); }                                              \
  inline long double w_##f(long double x, long double y) { return ::f##l(x, y); }                            \
  inline __float128 w_##f(__float128 x, __float128 y) { return f##f128(x, y); }
ORV_WIDE2(pow)
ORV_WIDE2(hypot)
ORV_WIDE2(fmod)
ORV_WIDE2(remainder)
ORV_WIDE2(copysign)

#define ORV_ONE(name, expression)                                                                            \
  {                                                                                                          \
    name, [](double x) -> double { return expression; },                                                     \
        [](long double x) -> long double { return expression; },                                             \
        [](__float128 x) -> __float128 { return expression; }, nullptr, nullptr, nullptr, nullptr, nullptr   \
  }
#define ORV_TWO(name, expression)                                                                            \
  {                                                                                                          \
    name, nullptr, nullptr, nullptr, [](double x, double y) -> double { return expression; },                \
        [](long double x, long double y) -> long double { return expression; },                              \
        [](__float128 x, __float128 y) -> __float128 { return expression; }, nullptr, nullptr                \
  }

template <class R>
R fraction(R x) {
  return w_copysign(x - x == 0 ? x - w_trunc(x) : x == x ? R(0) : x, x);
}
template <class R>
R real_power(R x, R y) {
  R const infinite = R(1) / R(0);
  bool const indeterminate =
      (y == 0 && (x == 0 || x == infinite)) || (x == 1 && (y == infinite || y == -infinite));
  if (x != x || y != y || x < 0 || indeterminate) return infinite - infinite;
  return w_pow(w_fabs(x), y); // -0 counts as 0
}

constexpr Reference references[] = {
    ORV_ONE("Floor", w_floor(x)),
    ORV_ONE("Ceil", w_ceil(x)),
    ORV_ONE("Trunc", w_trunc(x)),
    ORV_ONE("Rint", w_rint(x)),
    ORV_ONE("NearbyInt", w_rint(x)),
    ORV_ONE("Round", w_round(x)),
    ORV_ONE("Frac", fraction(x)),
    ORV_ONE("Abs", w_fabs(x)),
    ORV_ONE("Sqr", x* x),
    ORV_TWO("Add", x + y),
    ORV_TWO("Sub", x - y),
    ORV_TWO("Mul", x* y),
    ORV_ONE("Exp", w_exp(x)),
    ORV_ONE("Exp2", w_exp2(x)),
    ORV_ONE("Exp10", w_exp10(x)),
    ORV_ONE("Expm1", w_expm1(x)),
    ORV_ONE("Ln", w_log(x)),
    ORV_ONE("Log2", w_log2(x)),
    ORV_ONE("Log10", w_log10(x)),
    ORV_ONE("Log1p", w_log1p(x)),
    ORV_ONE("Logb", w_logb(x)),
    ORV_ONE("Inv", 1 / x),
    ORV_TWO("Div", x / y),
    ORV_ONE("Sqrt", w_sqrt(x)),
    ORV_ONE("InvSqrt", 1 / w_sqrt(x)),
    ORV_ONE("Cbrt", w_cbrt(x)),
    ORV_ONE("InvCbrt", 1 / w_cbrt(x)),
    ORV_ONE("Pow3o2", x* w_sqrt(x)),
    ORV_ONE("Pow2o3", w_cbrt(x) * w_cbrt(x)),
    ORV_TWO("Hypot", w_hypot(x, y)),
    ORV_TWO("Pow", w_pow(x, y)),
    ORV_TWO("Powr", real_power(x, y)),
    ORV_TWO("Powx", w_pow(x, y)),
    ORV_TWO("Fmod", w_fmod(x, y)),
    ORV_TWO("Remainder", w_remainder(x, y)),
};

} // namespace

Reference const* reference(std::string_view name) {
  for (Reference const& r : references)
    if (r.name == name) return &r;
  return nullptr;
}

} // namespace orv::cli
