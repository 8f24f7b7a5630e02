// Trigonometric functions of radians, half-turns and degrees, their inverses, hyperbolic functions.
#include "accuracy/real.h"

namespace orv::accuracy {
namespace {

// The three units of angles: how many make a half-turn. The reduction is exact; what is left is turned into radians
// only where the angle lies within an eighth of a turn of an axis.
template <class R>
struct Angle {
  R rest; // of the division by a full turn, as near zero as can be
  R half; // a half-turn
  R to_radians;
  R first() const { return fabs(rest); }
};
template <class R>
R sine(R const& x, Angle<R> const& t) {
  R a = t.first();
  if (a == R(0)) return copysign(R(0), x);
  if (a == t.half) return -copysign(R(0), x); // the sign of x and the parity of the half-turns
  if (a > t.half / R(2)) a = t.half - a;
  R const value =
      a <= t.half / R(4) ? R(sin(R(a * t.to_radians))) : R(cos(R((t.half / R(2) - a) * t.to_radians)));
  return copysign(value, t.rest);
}
template <class R>
R cosine(Angle<R> const& t) {
  R const a = t.first(), quarter = t.half / R(4);
  if (a <= quarter) return cos(R(a * t.to_radians));
  if (a <= R(3) * quarter) return sin(R((t.half / R(2) - a) * t.to_radians));
  return -cos(R((t.half - a) * t.to_radians));
}
template <class R>
Angle<R> half_turns(R const& x) {
  return {remainder(x, R(2)), R(1), pi<R>()};
}
template <class R>
Angle<R> degrees(R const& x) {
  return {remainder(x, R(360)), R(180), R(pi<R>() / R(180))};
}
// The quotient has the sign that poles are told to have: odd in x, positive at the first.
template <class R>
R tangent(R const& x, Angle<R> const& t) {
  return sine(x, t) / cosine(t);
}
template <class R>
R over_pi(R const& x) {
  return x / pi<R>();
}

constexpr Reference untold_zero(Reference r) {
  r.zero_sign = false;
  return r;
}
// Two results, sine and cosine; CIS is a complex number, cosine and sine.
constexpr Reference cis() {
  Reference r = real("CIS", 1, 2, [](auto const* x, auto* result) {
    result[0] = cos(x[0]);
    result[1] = sin(x[0]);
  });
  r.complex = true;
  r.shape = {1, 1, 1, 2};
  return r;
}

constexpr Reference table[] = {
    ORV_ONE("Sin", sin(x)),
    ORV_ONE("Cos", cos(x)),
    ORV_ONE("Tan", tan(x)),
    ORV_ONE("Sinpi", sine(x, half_turns(x))),
    ORV_ONE("Cospi", cosine(half_turns(x))),
    untold_zero(ORV_ONE("Tanpi", tangent(x, half_turns(x)))),
    ORV_ONE("Sind", sine(x, degrees(x))),
    ORV_ONE("Cosd", cosine(degrees(x))),
    untold_zero(ORV_ONE("Tand", tangent(x, degrees(x)))),
    real("SinCos", 1, 2,
         [](auto const* x, auto* r) {
           r[0] = sin(x[0]);
           r[1] = cos(x[0]);
         }),
    cis(),
    ORV_ONE("Asin", asin(x)),
    ORV_ONE("Acos", acos(x)),
    ORV_ONE("Atan", atan(x)),
    ORV_ONE("Asinpi", over_pi(R(asin(x)))),
    ORV_ONE("Acospi", over_pi(R(acos(x)))),
    ORV_ONE("Atanpi", over_pi(R(atan(x)))),
    ORV_TWO("Atan2", atan2(x, y)),
    ORV_TWO("Atan2pi", over_pi(R(atan2(x, y)))),
    ORV_ONE("Sinh", sinh(x)),
    ORV_ONE("Cosh", cosh(x)),
    ORV_ONE("Tanh", tanh(x)),
    ORV_ONE("Asinh", asinh(x)),
    ORV_ONE("Acosh", acosh(x)),
    ORV_ONE("Atanh", atanh(x)),
};

} // namespace

std::span<Reference const> circular_references() { return table; }

} // namespace orv::accuracy
