// Rounding, arithmetic, exponentials, logarithms, powers.
#include "accuracy/real.h"

namespace orv::accuracy {
namespace {

template <class R>
bool finite(R const& x) {
  return x - x == R(0);
}
template <class R>
R fraction(R const& x) {
  if (x != x) return x;
  return copysign(finite(x) ? R(x - trunc(x)) : R(0), x);
}
template <class R>
R real_power(R const& x, R const& y) {
  R const infinite = R(1) / R(0);
  bool const indeterminate =
      (y == R(0) && (x == R(0) || x == infinite)) || (x == R(1) && (y == infinite || y == -infinite));
  if (x != x || y != y || x < R(0) || indeterminate) return infinite - infinite;
  return pow(fabs(x), y); // -0 counts as 0
}

// Exponents with a function of their own take its values: they differ from a power's at -0 and -infinity.
template <class R>
R scalar_power(R const& x, R const& y) {
  if (y == R(0.5)) return sqrt(x);
  if (y == R(-0.5)) return R(1) / sqrt(x);
  if (y == R(1.5)) return x * sqrt(x);
  return pow(x, y);
}
constexpr Reference regions_alone(Reference r) {
  r.general = false;
  return r;
}

constexpr Reference table[] = {
    ORV_ONE("Floor", floor(x)),
    ORV_ONE("Ceil", ceil(x)),
    ORV_ONE("Trunc", trunc(x)),
    ORV_ONE("Rint", rint(x)),
    ORV_ONE("NearbyInt", rint(x)),
    ORV_ONE("Round", round(x)),
    ORV_ONE("Frac", fraction(x)),
    ORV_ONE("Abs", fabs(x)),
    ORV_ONE("Sqr", R(x* x)),
    ORV_TWO("Add", R(x + y)),
    ORV_TWO("Sub", R(x - y)),
    ORV_TWO("Mul", R(x* y)),
    ORV_ONE("Exp", exp(x)),
    ORV_ONE("Exp2", exp2(x)),
    ORV_ONE("Exp10", exp10(x)),
    ORV_ONE("Expm1", expm1(x)),
    ORV_ONE("Ln", log(x)),
    ORV_ONE("Log2", log2(x)),
    ORV_ONE("Log10", log10(x)),
    ORV_ONE("Log1p", log1p(x)),
    ORV_ONE("Logb", logb(x)),
    ORV_ONE("Inv", R(R(1) / x)),
    ORV_TWO("Div", R(x / y)),
    ORV_ONE("Sqrt", sqrt(x)),
    ORV_ONE("InvSqrt", R(R(1) / sqrt(x))),
    ORV_ONE("Cbrt", cbrt(x)),
    ORV_ONE("InvCbrt", R(R(1) / cbrt(x))),
    ORV_ONE("Pow3o2", R(x* sqrt(x))),
    ORV_ONE("Pow2o3", R(cbrt(x) * cbrt(x))),
    ORV_TWO("Hypot", hypot(x, y)),
    ORV_TWO("Pow", pow(x, y)),
    ORV_TWO("Powr", real_power(x, y)),
    ORV_SCALAR("Powx", scalar_power(x, y)),
    ORV_TWO("Fmod", fmod(x, y)),
    ORV_TWO("Remainder", remainder(x, y)),
    // scalea, shifta, scaleb, shiftb
    regions_alone(real("LinearFrac", 2, 1,
                       [](auto const* x, auto* r) { *r = (x[0] * x[2] + x[3]) / (x[1] * x[4] + x[5]); })),
    real("Modf", 1, 2,
         [](auto const* x, auto* r) {
           r[0] = trunc(x[0]);
           r[1] = fraction(x[0]);
         }),
};

} // namespace

std::span<Reference const> elementary_references() { return table; }

} // namespace orv::accuracy
