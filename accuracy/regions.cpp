// The hard regions, function by function: one line each. What the kinds mean: accuracy/points.h. A function that gets
// a kernel gets its regions here: the limits between its paths, the edges of its tables, where results cancel, where
// they leave the normal range.
#include "accuracy/points.h"

namespace orv::accuracy {
namespace {

using Kind = Region::Kind;
using Text = std::string_view;
using Numbers = std::span<const double>;

constexpr Region interval(Text f, Text t, double low, double high) {
  return {f, t, Kind::interval, low, high};
}
constexpr Region logs(Text f, Text t, double low, double high) { return {f, t, Kind::logs, low, high}; }
constexpr Region near(Text f, Text t, double x, int ulps) { return {f, t, Kind::near, x, 0, 0, 0, ulps}; }
// The step is a double and what is left of it behind that.
constexpr Region multiples(Text f, Text t, double step, double from, double to, double step_low, int ulps) {
  return {f, t, Kind::multiples, step, from, to, step_low, ulps};
}
constexpr Region listed(Text f, Text t, Numbers numbers, int ulps) {
  return {f, t, Kind::listed, 0, 0, 0, 0, ulps, numbers};
}
constexpr Region box(Text f, Text t, double a, double b, double c, double d) {
  return {f, t, Kind::box, a, b, c, d};
}
constexpr Region log_box(Text f, Text t, double a, double b, double c, double d) {
  return {f, t, Kind::log_box, a, b, c, d};
}
constexpr Region made(Text f, Text t, void (*s)(Draw<float>&, float*), void (*d)(Draw<double>&, double*)) {
  return {f, t, Kind::made, 0, 0, 0, 0, 0, {}, s, d};
}

constexpr double half_pi = 1.5707963267948966, half_pi_low = 6.123233995736766e-17;
constexpr double ln2 = 0.6931471805599453, ln2_low = 2.3190468138462996e-17;

// Integers and the like that lie next to a multiple of pi/2, by continued fractions of its binades; arguments where
// short reductions fail.
constexpr double quarter_turns_s[] = {16367173 * 0x1p72, 10741887 * 0x1p11, 8256,  10000,
                                      16777306,          65536.0035,        128000};
constexpr double quarter_turns_d[] = {6381956970095103 * 0x1p797,
                                      5916243447979695 * 0x1p79,
                                      14461176.67027838,
                                      1e22,
                                      8256,
                                      10000,
                                      16777306,
                                      65536.0035,
                                      128000};
constexpr double powers_of_two_s[] = {0x1p21, 0x1p22, 0x1p23, 0x1p24, 0x1p26, 0x1p31};
constexpr double powers_of_two_d[] = {0x1p21, 0x1p26, 0x1p31, 0x1p50, 0x1p51, 0x1p52, 0x1p53, 0x1p63};
constexpr double lgamma_zeros[] = {1, 2, 2.7476826467274126, 2.4570247382208006, 3, 3.1435808883499800, 4};

// Powers next to the ends of the range and where the base is next to 1.
template <class T>
void power_at_the_ends(Draw<T>& random, T* parts) {
  constexpr double high = std::numeric_limits<T>::max_exponent,
                   low = std::numeric_limits<T>::min_exponent - std::numeric_limits<T>::digits;
  double const log2 = random.bits(1) ? high + random.uniform(-1, 0.01) : random.uniform(low - 1, low + 60);
  double const base = random.bits(1) ? 1 + random.either_sign(random.logarithmic(1e-7, 0.4))
                                     : random.logarithmic(1e-30, 1e30);
  parts[0] = static_cast<T>(base);
  parts[1] = static_cast<T>(log2 / std::log2(static_cast<double>(parts[0])));
}
// Exponents far apart, for the angle of two operands.
template <class T>
void far_apart(Draw<T>& random, T* parts) {
  parts[0] = random.one();
  parts[1] =
      static_cast<T>(std::ldexp(static_cast<double>(parts[0]) * random.either_sign(random.uniform(0.5, 2)),
                                static_cast<int>(random.bits(10)) - 512));
}
// Quotients next to a number where a table or polynomial changes.
template <class T>
void ratio_near(Draw<T>& random, T* parts) {
  constexpr double at[] = {0.5, 1, 2, 0.4142135623730950, 2.414213562373095};
  parts[0] = static_cast<T>(random.either_sign(random.logarithmic(1e-30, 1e30)));
  parts[1] = random.beside(static_cast<T>(static_cast<double>(parts[0]) * at[random.bits(8) % 5]), 1000);
}

// For scalars of one sign each way: what is measured is the arithmetic, not the loss of digits in sums.
template <class T>
void no_cancellation(Draw<T>& random, T* parts) {
  parts[0] = static_cast<T>(random.logarithmic(1e-9, 1e9));
  parts[1] = static_cast<T>(random.logarithmic(1e-9, 1e9));
}

constexpr Region table[] = {
    // Exponentials: the middles between table entries, the ends of the range, small results of Expm1.
    multiples("Exp Expm1", "sd", ln2 / 64, 0, 2000, ln2_low / 64, 64),
    interval("Exp Expm1", "s", 87, 89),
    interval("Exp Expm1", "s", -104, -86),
    interval("Exp Expm1", "d", 708, 710),
    interval("Exp", "d", -746, -707),
    interval("Exp2", "s", -150, -125),
    interval("Exp2", "d", -1075, -1021),
    interval("Exp10", "s", -46, -37),
    interval("Exp10", "d", -324, -307),
    logs("Expm1", "sd", 1e-5, 0.4),
    interval("Expm1", "d", 0.002, 0.004),
    // Logarithms: next to 1, denormals.
    interval("Ln Log2 Log10", "sd", 0.7, 1.45),
    near("Ln Log2 Log10", "sd", 1, 20000),
    logs("Ln Log2 Log10", "s", 1e-45, 2e-38),
    logs("Ln Log2 Log10", "d", 5e-324, 4e-308),
    logs("Log1p", "sd", 1e-8, 0.5),
    interval("Log1p", "sd", -1, -0.9),
    // Roots and powers: whole binades, denormal results and arguments.
    near("Inv", "s", 0x1p126, 8000), // results next to the smallest normal number
    interval("Inv Sqrt InvSqrt Cbrt InvCbrt Pow2o3", "sd", 1, 8),
    logs("Inv Sqrt InvSqrt Cbrt InvCbrt Pow2o3", "s", 1e-45, 1e-37),
    logs("Inv Sqrt InvSqrt Cbrt InvCbrt Pow2o3", "d", 5e-324, 1e-307),
    logs("Inv", "s", 1e37, 3.4e38),
    logs("Inv", "d", 1e307, 1.7e308),
    logs("Pow3o2", "s", 1e-31, 1e-24),
    logs("Pow3o2", "d", 1e-216, 1e-204),
    made("Pow Powr", "sd", power_at_the_ends<float>, power_at_the_ends<double>),
    box("Pow Powr", "sd", 0.5, 2, -1000, 1000),
    logs("Powx", "s", 1e-45, 3e38),
    logs("Powx", "d", 1e-320, 1e308),
    log_box("Hypot", "s", 1e-45, 3e38, 1e-45, 3e38),
    log_box("Hypot", "d", 1e-320, 1e308, 1e-320, 1e308),
    box("Hypot", "sd", 0.5, 2, 0.5, 2),
    // Numerator and denominator round once each where they do not cancel: operands of one sign.
    made("LinearFrac", "sd", no_cancellation<float>, no_cancellation<double>),
    // Sines of radians: next to the multiples of pi/2, the edges of tables, the limits of reductions.
    multiples("Sin Cos Tan SinCos CIS", "sc", half_pi, 1, 10680707, half_pi_low, 2),
    multiples("Sin Cos Tan SinCos CIS", "dz", half_pi, 1, 10680707, half_pi_low, 1),
    multiples("Sin Cos Tan SinCos CIS", "sdcz", half_pi / 256, 1, 1 << 14, half_pi_low / 256, 4),
    multiples("Sin Cos Tan SinCos CIS", "sdcz", half_pi / 2, 1, 1 << 14, half_pi_low / 2, 16),
    listed("Sin Cos Tan SinCos CIS", "sc", quarter_turns_s, 2000),
    listed("Sin Cos Tan SinCos CIS", "sc", powers_of_two_s, 200),
    listed("Sin Cos Tan SinCos CIS", "dz", quarter_turns_d, 200),
    listed("Sin Cos Tan SinCos CIS", "dz", powers_of_two_d, 200),
    interval("Sin Cos Tan SinCos CIS", "sdcz", -4, 4),
    logs("Sin Cos Tan SinCos CIS", "sc", 1e4, 3.4e38),
    logs("Sin Cos Tan SinCos CIS", "dz", 1e4, 1.7e308),
    // Half-turns and degrees: quarters, the ends of the reduction, large arguments.
    multiples("Sinpi Cospi Tanpi", "sd", 0.25, 1, 1 << 12, 0, 3),
    interval("Sinpi Cospi Tanpi", "sd", -2, 2),
    listed("Sinpi Cospi Tanpi", "s", powers_of_two_s, 200),
    listed("Sinpi Cospi Tanpi", "d", powers_of_two_d, 200),
    multiples("Sind Cosd Tand", "sd", 15, 1, 1 << 12, 0, 3),
    interval("Sind Cosd Tand", "sd", -360, 360),
    logs("Sind Cosd Tand", "s", 1e3, 3.4e38),
    logs("Sind Cosd Tand", "d", 1e3, 1.7e308),
    // Inverses.
    near("Asin Acos Asinpi Acospi", "sd", 0.5, 100000),
    near("Asin Acos Asinpi Acospi", "sd", 1, 100000),
    interval("Asin Acos Asinpi Acospi", "sd", -1, 1),
    logs("Asin Acos Asinpi Acospi", "sd", 1e-12, 1),
    interval("Atan Atanpi", "sd", 0.4, 2.6),
    interval("Atan Atanpi", "sd", 0.95, 1.02),
    logs("Atan Atanpi", "sd", 1e-9, 1e9),
    made("Atan2 Atan2pi", "sd", far_apart<float>, far_apart<double>),
    made("Atan2 Atan2pi", "sd", ratio_near<float>, ratio_near<double>),
    log_box("Atan2 Atan2pi", "s", 1e-45, 1e-35, 1e-45, 1e-35),
    log_box("Atan2 Atan2pi", "d", 5e-324, 1e-300, 5e-324, 1e-300),
    // Hyperbolic functions.
    interval("Sinh Cosh", "sd", 0.34, 0.40),
    multiples("Sinh Cosh", "sd", ln2 / 2, 1, 255, ln2_low / 2, 100),
    interval("Sinh Cosh", "s", 87.33, 89.42),
    interval("Sinh Cosh", "d", 708, 710.48),
    logs("Sinh Cosh Tanh", "sd", 1e-6, 10),
    interval("Tanh", "sd", 0.02, 0.6),
    interval("Tanh", "s", 8.9, 10.1),
    interval("Tanh", "d", 18.9, 19.2),
    interval("Asinh", "sd", 0.05, 0.3),
    logs("Asinh", "sd", 1e-6, 1e12),
    near("Asinh Acosh", "sd", 0x1p30, 1000),
    near("Acosh", "sd", 1, 2000),
    interval("Acosh", "sd", 1, 1.2),
    logs("Acosh", "sd", 1, 1e12),
    interval("Atanh", "sd", 0.06, 0.15),
    near("Atanh", "sd", 1, 100000),
    logs("Atanh", "sd", 1e-6, 1),
    // Error functions: between the points of the grids, the limits.
    multiples("Erf Erfc CdfNorm", "sd", 1.0 / 256, 0, 8192, 0, 64),
    logs("Erf Erfc", "sd", 1e-6, 30),
    interval("Erfc", "s", 9, 10.1),
    interval("Erfc", "d", 26, 27.3),
    interval("CdfNorm", "sd", -10, 10),
    interval("CdfNorm", "s", -14.2, -12.8),
    interval("CdfNorm", "d", -38.5, -37),
    near("ErfInv", "sd", 1, 2000),
    interval("ErfInv", "sd", -1, 1),
    near("ErfcInv", "sd", 1, 2000),
    near("ErfcInv", "sd", 2, 2000),
    interval("ErfcInv", "sd", 0, 2),
    near("CdfNormInv", "sd", 0.5, 2000),
    near("CdfNormInv", "sd", 1, 2000),
    interval("CdfNormInv", "sd", 0, 1),
    logs("ErfcInv CdfNormInv", "s", 1e-45, 1),
    logs("ErfcInv CdfNormInv", "d", 5e-324, 1),
    listed("LGamma", "sd", lgamma_zeros, 100),
    interval("LGamma", "sd", -18, 4),
    interval("LGamma", "sd", 4, 12),
    interval("TGamma", "s", -42, 36),
    interval("TGamma", "d", -185, 172),
    multiples("TGamma", "sd", 1, 1, 184, 0, 8),
    interval("ExpInt1", "sd", 0, 2),
    interval("ExpInt1", "s", 80, 90),
    interval("ExpInt1", "d", 701, 740),
    // Complex functions: along the cuts, the unit circle, the poles, the ends of the range.
    box("Exp", "cz", -20, 20, -20, 20),
    box("Exp Sinh Cosh", "c", 86, 89.5, -10, 10),
    box("Exp Sinh Cosh", "z", 707, 710.5, -10, 10),
    box("Sin Cos Tan Sinh Cosh Tanh", "cz", -5, 5, -5, 5),
    box("Asin Acos Atan Asinh Acosh Atanh Ln Log10 Sqrt", "cz", -2, 2, -2, 2),
    box("Asin Acos Atan Asinh Acosh Atanh", "cz", 0.999, 1.001, -1e-3, 1e-3),
    box("Asin Acos Atan Asinh Acosh Atanh", "cz", -1e-3, 1e-3, 0.999, 1.001),
    log_box("Sqrt Ln Log10 Abs Arg", "c", 1e-45, 3e38, 1e-45, 3e38),
    log_box("Sqrt Ln Log10 Abs Arg", "z", 1e-320, 1e308, 1e-320, 1e308),
};

} // namespace

std::span<Region const> regions() { return table; }

} // namespace orv::accuracy
