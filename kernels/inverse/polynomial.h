// What the inverse trigonometric functions share: the polynomials q of atan t = t + t u q(u) and asin t = t + t u q(u),
// u = t^2, and the last sum of a multiple of pi / 2 and a small angle, in radians or in parts of pi.
// Polynomials: tools/inverse_polynomials.sollya; errors of the function beside them.
#pragma once
#include "frame/functions.h"
#include "kernels/simd/scalar.h"
#include "orv/mode.h"

namespace orv::inverse {

using simd::D;
using simd::F;
using simd::Vec;

// |t| up to 1 where one quotient covers a quarter of a turn; up to 1/2 where an eighth is taken out of the middle: fewer
// terms, and their errors stay small beside the sum.
template <class T, Level level, bool by_eighths>
ORV_INLINE Vec<T> atan_tail(Vec<T> u) {
  if constexpr (sizeof(T) == 4) {
    if constexpr (level == Level::LA && by_eighths) // 2^-27.4
      return simd::horner(u, -0.333332359790802f, 0.199942946434021f, -0.14175844192504883f,
                          0.10163995623588562f, -0.05139108747243881f);
    else if constexpr (level == Level::LA)
      return simd::even_odd(u, {-0.3333304226398468f, 0.1999192088842392f, -0.1419752836227417f,
                                0.1061486303806305f, -0.07444412261247635f, 0.041934505105018616f,
                                -0.015573070384562016f, 0.0027187317609786987f});
    else if constexpr (level == Level::HA) // 2^-31.7
      return simd::horner(u, -0.333333283662796f, 0.19999557733535767f, -0.14273187518119812f,
                          0.10949167609214783f, -0.08012069761753082f, 0.039084646850824356f);
    else // 2^-14.6
      return simd::horner(u, -0.3322042226791382f, 0.1872604936361313f, -0.09486832469701767f,
                          0.025241531431674957f);
  } else if constexpr (level == Level::LA) { // 2^-53.4
    return simd::even_odd(u, {-0.3333333333332766, 0.19999999998660628, -0.14285714175684955,
                              0.11111106592990076, -0.09090800896172725, 0.07690668979976258,
                              -0.0665025549124433, 0.057713600003542274, -0.047546096697107194,
                              0.03203673852867807, -0.012351597108596287});
  } else if constexpr (level == Level::HA) { // 2^-62.0
    return simd::even_odd(u, {-0.33333333333333315, 0.19999999999993825, -0.14285714285006637,
                              0.11111111070521285, -0.09090907720144539, 0.07692277919438884,
                              -0.06666228433688154, 0.05877844218396908, -0.05230207721375294,
                              0.04590146458520581, -0.037135006504726606, 0.023677212366976723,
                              -0.00837913142340807});
  } else { // 2^-27.4
    return simd::horner(u, -0.333332359790802, 0.199942946434021, -0.14175844192504883, 0.10163995623588562,
                        -0.05139108747243881);
  }
}

// |t| up to 1/2
template <class T, Level level>
ORV_INLINE Vec<T> asin_tail(Vec<T> u) {
  if constexpr (sizeof(T) == 4) {
    if constexpr (level == Level::LA)
      return simd::horner(u, 0.16666792333126068f, 0.0749436765909195f, 0.045557692646980286f,
                          0.0238239374011755f, 0.042690303176641464f);
    else if constexpr (level == Level::HA) // 2^-31.7
      return simd::horner(u, 0.16666659712791443f, 0.0750051811337471f, 0.044514577835798264f,
                          0.031825874000787735f, 0.014374752528965473f, 0.03760075196623802f);
    else // 2^-14.7
      return simd::horner(u, 0.16504153609275818f, 0.09437671303749084f);
  } else if constexpr (level == Level::LA) { // 2^-55.9
    return simd::even_odd(u, {0.16666666666665383, 0.07500000000342938, 0.04464285682355325,
                              0.030381959328752983, 0.02237175357676011, 0.017359770370647346,
                              0.01388460519843159, 0.012173238162995077, 0.006511019993643249,
                              0.019573476863760986, -0.016293436461895506, 0.03195855079474187});
  } else if constexpr (level == Level::HA) { // 2^-59.8
    return simd::even_odd(u, {0.16666666666666763, 0.07499999999970168, 0.04464285717519419,
                              0.030381942680599038, 0.022372215735387165, 0.0173515988763912,
                              0.01398097478014411, 0.011397675072919056, 0.010787057252689079,
                              0.003681164963225795, 0.02176782211830151, -0.02108311275763942,
                              0.03268036794109411});
  } else { // 2^-27.6
    return simd::even_odd(u, {0.16666753927961345, 0.07495241769486427, 0.04547709898435418,
                              0.02414760025523443, 0.04221856822014747});
  }
}

// Angles in radians, or in parts of pi, from eighths of a turn and a rest in radians.
template <class T, bool parts_of_pi>
struct Angle {
  using V = Vec<T>;
  static constexpr T half_turn =
      parts_of_pi ? T(1) : T(sizeof(T) == 4 ? 3.1415927410125732 : 3.141592653589793);
  static constexpr T eighth = half_turn / 4;

  ORV_INLINE static V sum(V eighths, V v) {
    if constexpr (parts_of_pi)
      return simd::fma(v, V(T(inverse_pi)), eighths * V(eighth));
    else
      return simd::fma(eighths, V(eighth), v);
  }
  // The same of a rest in two terms, to below 1 ulp.
  ORV_INLINE static V sum(V eighths, V head, V tail) {
    V const base = eighths * V(eighth);
    if constexpr (parts_of_pi) {
      V const c(T{inverse_pi}), v = head + tail, p = v * c;
      tail = simd::fma(tail - (v - head), c, simd::fma(v, V(T(inverse_pi_low)), simd::fms(v, c, p)));
      head = p;
    } else {
      tail = simd::fma(eighths, V(T(eighth_low)), tail) + simd::fms(eighths, V(eighth), base);
    }
    V const s = base + head; // |base| is above |head|, or 0
    return s + (((base - s) + head) + tail);
  }
  // v / pi of a quotient n / d, all normal, for results below the normal range.
  static T in_parts_of_pi(T q, T error) {
    T const p = q * T(inverse_pi);
    return p + scalar::fma(q, T(inverse_pi_low),
                           scalar::fma(error, T(inverse_pi), scalar::fma(q, T(inverse_pi), -p)));
  }

 private:
  static constexpr double inverse_pi = sizeof(T) == 4 ? 0.31830987334251404 : 0.3183098861837907;
  static constexpr double inverse_pi_low = sizeof(T) == 4 ? 1.2841276633451831e-08 : -1.9678676675182487e-17;
  static constexpr double eighth_low = sizeof(T) == 4 ? -2.1855694143368964e-08 : 3.061616997868383e-17;
};

} // namespace orv::inverse
