// Log2 and Log10: the schemes of Ln with tables, polynomials and exponent terms of the base. In s at HA the
// reciprocal scheme in float, with C, the leading bits of 1/ln b, folded into the factor, so that
// log_b(1 + z / C) begins with z itself.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sLog2: LA 2.11 at 1.33434451; HA 0.709 at 1.0027082; EP 14.04 bits; 1.20 / 2.51 / 0.77
//   dLog2: LA 1.77 at 1.41421356; HA 0.677 at 0.999016687; EP 31.5 bits; 2.92 / 4.83 / 2.59
//   sLog10: LA 1.7 at 1.33346438; HA 0.628 at 1.00220609; EP 14.04 bits; 1.40 / 2.52 / 0.82
//   dLog10: LA 1.35 at 0.650205571; HA 0.699 at 0.999016687; EP 31.5 bits; 2.90 / 4.66 / 2.61
#include "kernels/log/reciprocal.h"
#include "kernels/loop/tables.h"

namespace orv {
namespace {

using namespace logarithm;

struct Base10 {
  static constexpr auto& table = table_log10;
  static constexpr auto& pairs = table_log10_pairs;
  static constexpr auto& float_pairs = table_s_log10;
  // log10(2) in two parts, the first with trailing zeros; in float likewise.
  static constexpr double unit_hi = 0x1.34413509f8000p-2, unit_lo = -0x1.80433b83b532ap-44,
                          unit = 0.3010299956639812;
  static constexpr float float_hi = 0.30103302001953125f, float_lo = -3.0243536457419395e-06f,
                         float_unit = 0.3010300099849701f;
  static constexpr double slope_hi = 0x1.bcb7b1526e50ep-2, slope_lo = 0x1.95355baaafad3p-57; // 1 / ln 10
  static constexpr double la_d[] = {0.4342944819032518, -0.21714724095157728, 0.14476482730097556,
                                    -0.10857375315018218, 0.08685905559081095};
  static constexpr double la_s[] = {0.4342944920063019,   -0.21714694797992706, 0.1447635442018509,
                                    -0.10860848426818848, 0.08693616092205048,  -0.07127981632947922,
                                    0.06038197502493858,  -0.06689538806676865, 0.06269016861915588};
  static constexpr double ep_s[] = {0.43430083990097046, -0.21683171391487122, 0.14403435587882996,
                                    -0.11959350854158401, 0.10046606510877609};
  // Float HA: C, the power of two that the mantissa is placed at, the rows' top and threshold, the cubic.
  static constexpr float C = 0.43359375f;
  static constexpr int place = -9;
  static constexpr int top = 222, threshold = 157;
  static constexpr float cubic[] = {0x1.a7a6cc00p-10f, -1.15502727f, 1.77591383f};
};
struct Base2 {
  static constexpr auto& table = table_log2;
  static constexpr auto& pairs = table_log2_pairs;
  static constexpr auto& float_pairs = table_s_log2;
  static constexpr double unit_hi = 1, unit_lo = 0, unit = 1;
  static constexpr float float_hi = 1, float_lo = 0, float_unit = 1;
  static constexpr double slope_hi = 0x1.71547652b82fep+0, slope_lo = 2.0355273740931033e-17; // 1 / ln 2
  static constexpr double la_d[] = {1.4426950408889634, -0.7213475204443105, 0.48089834696260636,
                                    -0.3606742138453655, 0.2885395525286444};
  static constexpr double la_s[] = {1.4426950216293335,   -0.7213465571403503,  0.4808940887451172,
                                    -0.36078956723213196, 0.28879567980766296,  -0.23678642511367798,
                                    0.20058457553386688,  -0.22222167253494263, 0.2082522213459015};
  static constexpr double ep_s[] = {1.4427162408828735, -0.7202993631362915, 0.4784717857837677,
                                    -0.39728105068206787, 0.33374103903770447};
  static constexpr float C = 1.4375f;
  static constexpr int place = -7;
  static constexpr int top = 184, threshold = 130;
  static constexpr float cubic[] = {0x1.d9afc000p-9f, -0.349087566f, 0.161897764f};
};

// ---- single precision ----

template <class Base, Level level>
struct LogFloat {
  using Operand = float;
  using Result = float;
  static constexpr int operands = 1, results = 1;

  F eval(F x) const {
    auto const [e, f, exponent] = split(x);
    if constexpr (level == Level::LA) {
      // The first term in two parts, so that its rounding error is not the result's.
      F const c1(static_cast<float>(Base::la_s[0]));
      F const head = f * c1;
      constexpr double const(&c)[9] = Base::la_s;
      constexpr double rest[8] = {c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8]};
      F const tail = simd::fma(f, halves(f, rest), simd::fms(f, c1, head));
      if constexpr (Base::float_lo == 0.0f)
        return e + (head + tail);
      else
        return simd::fma(e, F(Base::float_hi), head + simd::fma(e, F(Base::float_lo), tail));
    } else {
      return simd::fma(e, F(Base::float_unit), halves(f, Base::ep_s));
    }
  }
  unsigned special(F x, F) const { return outside_normal(x); }
  int repair(float x, float& r) const { return repair_float(x, r); }

  static int repair_float(float x, float& r) {
    if (int const status = outside_domain(x, r); status >= 0) return status;
    Log const l = log_parts(x);
    r = static_cast<float>(l.e * Base::unit + (l.hi + l.lo) * Base::slope_hi);
    return ORV_STATUS_OK;
  }
};

template <class Base>
struct LogFloatHA : LogFloat<Base, Level::HA> {
  F eval(F x) const {
    constexpr uint32_t placed = static_cast<uint32_t>(127 + Base::place) << 23;
    F const m =
        simd::from_bits((simd::bits(x) & Bits<float>(simd::mantissa_mask<float>)) | Bits<float>(placed));
    F const y = simd::round<_MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC>(F(Base::C) *
                                                                           simd::approximate_reciprocal(m));
    F const z = simd::fms(y, m, F(Base::C));
    F const upper = simd::compare<_CMP_GT_OQ>(y, F(static_cast<float>(Base::threshold)));
    // The exponent, one higher for the lower rows.
    Bits<float> const exponent = simd::shift_right<23>(simd::bits(x)) - Bits<float>(126) + simd::bits(upper);
    F const e = _mm256_cvtepi32_ps(exponent.v);
    Bits<float> const row = Bits<float>(_mm256_cvtps_epi32(y.v)) - Bits<float>(Base::top / 2);
    auto const t = simd::lookup_pair(Base::float_pairs, row);
    F const h = simd::fma(e, F(Base::float_hi), t.hi);
    F const s = h + z;
    F const error = z - (s - h);
    F const p = z * simd::horner(z, Base::cubic[0], Base::cubic[1], Base::cubic[2]);
    return s + (error + (p + simd::fma(e, F(Base::float_lo), t.lo)));
  }
};

// ---- double precision ----

template <class Base, Level level>
struct LogDouble {
  using Operand = double;
  using Result = double;
  static constexpr int operands = 1, results = 1;

  D eval(D x) const {
    SplitD const s = split(x);
    D const z = s.z;
    if constexpr (level == Level::HA) {
      auto const t = entry(Base::pairs, s.row);
      // The linear term in two parts; the rest of the series with the natural logarithm's coefficients.
      D const p = z * D(Base::slope_hi);
      D const p_low = simd::fma(z, D(Base::slope_lo), simd::fms(z, D(Base::slope_hi), p));
      Sum const sum = add(simd::fma(s.e, D(Base::unit_hi), t.hi), p);
      D const low =
          simd::fma((z * z) * D(Base::slope_hi), tail_of_ln(z), simd::fma(s.e, D(Base::unit_lo), t.lo));
      return sum.hi + (sum.error + (p_low + low));
    } else {
      D const t = entry(Base::table, s.row);
      D const p =
          level == Level::LA
              ? D(simd::horner(z, Base::la_d[0], Base::la_d[1], Base::la_d[2], Base::la_d[3], Base::la_d[4]))
              : D(simd::horner(z, Base::la_d[0], Base::la_d[1], Base::la_d[2]));
      return simd::fma(z, p, simd::fma(s.e, D(Base::unit), t));
    }
  }
  unsigned special(D x, D) const { return outside_normal(x); }
  int repair(double x, double& r) const {
    if (int const status = outside_domain(x, r); status >= 0) return status;
    Log const l = log_parts(x);
    double const rest = (l.hi + l.lo) * Base::slope_hi;
    auto const sum = scalar::two_sum(l.e * Base::unit_hi, rest);
    r = sum.hi + (sum.lo + l.e * Base::unit_lo);
    return ORV_STATUS_OK;
  }
};

template <class Base, class T, Level level>
struct LogOf;
template <class Base, Level level>
struct LogOf<Base, float, level> : LogFloat<Base, level> {};
template <class Base>
struct LogOf<Base, float, Level::HA> : LogFloatHA<Base> {};
template <class Base, Level level>
struct LogOf<Base, double, level> : LogDouble<Base, level> {};

template <class T, Level level>
struct Log2 : LogOf<Base2, T, level> {};
template <class T, Level level>
struct Log10 : LogOf<Base10, T, level> {};

} // namespace
} // namespace orv

ORV_KERNEL(Log2, orv::Log2);
ORV_KERNEL(Log10, orv::Log10);
