// Cbrt, InvCbrt, Pow2o3. With x = 2^(3 q + r) m and m_j the middle of one of 32 intervals of the mantissa,
//
//   x^a = 2^(3 a q) (2^r m_j)^a (1 + z)^a,   z = (m - m_j) / m_j
//
// The second factor is a table's row, the third a short polynomial (tools/root_polynomials.sollya), the exponent
// is divided by 3 by a multiplication.
// Measured: largest error in ulp with its argument, good bits at EP, cycles an element at n = 1024 (LA / HA / EP).
//   sCbrt: LA 2.41 at 1.13884675e-38; HA 0.515 at 5.44198575e-38; EP 15.2 bits; 2.33 / 2.42 / 2.28
//   dCbrt: LA 1.1 at 36.9992115; HA 0.869 at 0.5; EP 30.83 bits; 4.99 / 5.09 / 3.95
//   sInvCbrt: LA 1.01 at 1.28560796e-38; HA 0.542 at 1.21212682e-38; EP 14.21 bits; 2.39 / 2.31 / 2.16
//   dInvCbrt: LA 1.03 at -4.55079048e-258; HA 0.548 at 7.3183563e+47; EP 29.02 bits; 4.97 / 5.08 / 3.96
//   sPow2o3: LA 2.02 at 2.35102149e-38; HA 0.526 at 2.4242626e-38; EP 15.2 bits; 2.19 / 2.24 / 2.12
//   dPow2o3: LA 0.995 at 2.11723153e-41; HA 0.527 at 0.27341213; EP 31.34 bits; 4.84 / 4.99 / 3.87
#include "kernels/loop/tables.h"
#include "kernels/pow/seeds.h"

namespace orv {
namespace {

using namespace power;

#include "kernels/pow/tables.inc"

// What distinguishes the functions: tables, the exponent of the result as a multiple of q, polynomials.
struct CbrtTraits {
  static constexpr auto &s = table_s_cbrt, &s_pairs = table_s_cbrt_pairs;
  static constexpr auto &d = table_d_cbrt, &d_pairs = table_d_cbrt_pairs;
  static constexpr int exponent = 1;
  static constexpr bool keeps_sign = true;
  static F p_la(F z) { return simd::horner(z, 0.3333478271961212f, -0.11116291582584381f); }
  static F p_ha(F z) { return simd::horner(z, 0.333333343f, -0.111118644f, 6.17376640e-2f); }
  static constexpr float ep = 0.33334845f;
  static D p_la(D z) {
    return simd::horner(z, 0.3333333333333333, -0.1111111111111111, 0.06172839506172839, -0.0411522633744856,
                        0.03017832647462277, -0.023472031702484377, 0.019001168521058782);
  }
  static D p_ha(D z) { return p_la(z); }
  static D p_ep(D z) {
    return simd::horner(z, 0.333333332879888810663, -0.111118647656868241302, 6.1737665758863447e-2);
  }
};
struct InvCbrtTraits {
  static constexpr auto &s = table_s_invcbrt, &s_pairs = table_s_invcbrt_pairs;
  static constexpr auto &d = table_d_invcbrt, &d_pairs = table_d_invcbrt_pairs;
  static constexpr int exponent = -1;
  static constexpr bool keeps_sign = true;
  static F p_la(F z) { return simd::horner(z, -0.333333343f, 0.222248599f, -0.172877818f); }
  static F p_ha(F z) { return p_la(z); }
  static constexpr float ep = -0.33337563f;
  static D p_la(D z) {
    return simd::horner(z, -0.33333333333333331, 0.22222222222236869, -0.17283950617333108,
                        0.14403291700888321, -0.12482852388436326, 0.11099802583289843, -0.10043833280213887);
  }
  static D p_ha(D z) { return p_la(z); }
  static D p_ep(D z) {
    return simd::horner(z, -0.33333333145988736, 0.2222486011998854, -0.17287781748822784);
  }
};
struct Pow2o3Traits {
  static constexpr auto &s = table_s_pow2o3, &s_pairs = table_s_pow2o3_pairs;
  static constexpr auto &d = table_d_pow2o3, &d_pairs = table_d_pow2o3_pairs;
  static constexpr int exponent = 2;
  static constexpr bool keeps_sign = false; // the cube root of the square
  static F p_la(F z) { return simd::horner(z, 0.66667271f, -0.11111819f); }
  static F p_ha(F z) { return simd::horner(z, 0.666666687f, -0.111116387f, 4.9388621e-2f); }
  static constexpr float ep = 0.66667879f;
  static D p_la(D z) {
    return simd::horner(z, 0.66666666666666663, -0.11111111111112443, 4.9382716049422112e-2,
                        -2.8806583925644950e-2, 1.9204388905668056e-2, -1.3873412208522991e-2,
                        1.0571268481974795e-2);
  }
  static D p_ha(D z) { return p_la(z); }
  static D p_ep(D z) {
    return simd::horner(z, 0.66666666637788489, -0.11111638659808376, 4.9388619204011212e-2);
  }
};

// The exponent divided by 3: x = 2^(3 (q - q_of_one) + r) m; row is 32 r + j.
template <class T>
constexpr int q_of_one = sizeof(T) == 4 ? 42 : 341;
template <class T>
struct Parts {
  Vec<T> m, middle; // m and m_j
  Bits<T> q, row;
};
template <class T>
ORV_INLINE Parts<T> take_apart(Vec<T> x) {
  constexpr int bits = simd::Format<T>::mantissa_bits;
  constexpr auto one = static_cast<simd::UnsignedOf<T>>(simd::Format<T>::bias) << bits;
  Bits<T> const b = simd::bits(simd::magnitude(x));
  Bits<T> q, dividend;
  if constexpr (sizeof(T) == 4) {
    // Not below 1, so that the row of a zero lies in the table too.
    Bits<T> const field = _mm256_max_epi32(simd::shift_right<bits>(b).v, Bits<T>(1).v);
    q = simd::shift_right<12>(Bits<T>(_mm256_madd_epi16(field.v, _mm256_set1_epi32(0x555))));
    dividend = field - Bits<T>(1);
  } else {
    dividend = simd::shift_right<bits>(b);
    q = simd::shift_right<14>(Bits<T>(_mm256_mul_epu32(dividend.v, _mm256_set1_epi64x(0x1556))));
  }
  Bits<T> const r = dividend - (q + q + q);
  Bits<T> const j = simd::shift_right<bits - 5>(b) & Bits<T>(31);
  Bits<T> const mantissa = b & Bits<T>(simd::mantissa_mask<T>);
  constexpr auto kept = simd::mantissa_mask<T> & ~((simd::UnsignedOf<T>{1} << (bits - 5)) - 1);
  constexpr auto half = simd::UnsignedOf<T>{1} << (bits - 6);
  return {simd::from_bits(mantissa | Bits<T>(one)),
          simd::from_bits((b & Bits<T>(kept)) | Bits<T>(one | half)), q, simd::shift_left<5>(r) + j};
}

template <class Traits, class T, Level level>
struct CubeRoot {
  using Operand = T;
  using Result = T;
  using V = Vec<T>;
  static constexpr int operands = 1, results = 1;

  V eval(V x) const {
    Parts<T> const parts = take_apart(x);
    constexpr bool single = sizeof(T) == 4;
    V r;
    if constexpr (level == Level::HA) {
      auto const t = with_low_part(parts.row);
      V const z = (parts.m - parts.middle) / parts.middle;
      r = simd::fma(t.hi, z * Traits::p_ha(z), t.lo) + t.hi;
    } else {
      auto const t = with_factor(parts.row); // lo is -1 / m_j
      V const z = (parts.middle - parts.m) * t.lo;
      if constexpr (level == Level::LA)
        r = simd::fma(t.hi * z, Traits::p_la(z), t.hi);
      else if constexpr (single)
        r = simd::fma(t.hi * z, V(Traits::ep), t.hi);
      else
        r = simd::fma(t.hi * z, Traits::p_ep(z), t.hi);
    }
    Bits<T> const away = parts.q - Bits<T>(q_of_one<T>);
    Bits<T> exponent = simd::shift_left<simd::Format<T>::mantissa_bits>(away);
    if constexpr (Traits::exponent == 2) exponent = exponent + exponent;
    Bits<T> const b = Traits::exponent < 0 ? simd::bits(r) - exponent : simd::bits(r) + exponent;
    V const result = simd::from_bits(b);
    return Traits::keeps_sign ? result | simd::sign_of(x) : result;
  }
  unsigned special(V x, V) const { return simd::lane_mask(simd::not_normal(x)); }
  int repair(T x, T& r) const {
    if (scalar::is_nan(x)) {
      r = scalar::opaque(x) + x;
      return ORV_STATUS_OK;
    }
    T const sign = Traits::keeps_sign ? x : T(0);
    if (x == T(0) || scalar::is_infinite(x)) {
      if constexpr (Traits::exponent > 0) {
        r = scalar::with_sign(x == T(0) ? T(0) : x, sign);
        return ORV_STATUS_OK;
      } else {
        r = scalar::with_sign(x == T(0) ? scalar::pole<T>() : T(0), sign);
        return x == T(0) ? ORV_STATUS_SINGULARITY : ORV_STATUS_OK;
      }
    }
    // A denormal, scaled by a power of 8 into the normal range.
    constexpr int scale = sizeof(T) == 4 ? 24 : 54;
    V const root = eval(V(scalar::opaque(x) * scalar::power_of_two<T>(scale)));
    T lane[V::lanes];
    simd::store(lane, root);
    r = lane[0] * scalar::power_of_two<T>(-Traits::exponent * scale / 3);
    return ORV_STATUS_OK;
  }

 private:
  ORV_INLINE static simd::VecPair<T> with_low_part(Bits<T> index) {
    if constexpr (sizeof(T) == 4)
      return simd::lookup_pair(Traits::s_pairs, index);
    else
      return simd::lookup_pair(Traits::d_pairs, index + index);
  }
  ORV_INLINE static simd::VecPair<T> with_factor(Bits<T> index) {
    if constexpr (sizeof(T) == 4)
      return simd::lookup_pair(Traits::s, index);
    else
      return simd::lookup_pair(Traits::d, index + index);
  }
};

template <class T, Level level>
struct Cbrt : CubeRoot<CbrtTraits, T, level> {};
template <class T, Level level>
struct InvCbrt : CubeRoot<InvCbrtTraits, T, level> {};
template <class T, Level level>
struct Pow2o3 : CubeRoot<Pow2o3Traits, T, level> {};

} // namespace
} // namespace orv

ORV_KERNEL(Cbrt, orv::Cbrt);
ORV_KERNEL(InvCbrt, orv::InvCbrt);
ORV_KERNEL(Pow2o3, orv::Pow2o3);
