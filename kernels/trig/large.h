// Exact reduction of arguments of any size, in vectors: the mantissa as an integer times a window of the binary digits
// of 1/(2 pi), from which whole turns fall away, leaves the fraction of a turn. M. Payne and R. Hanek, "Radian
// reduction for trigonometric functions", ACM SIGNUM Newsletter 18 (1983).
#pragma once
#include "kernels/trig/turn.h"

namespace orv::trig {

// ---- double ----

// A signed integer of 64 bits as a sum of two doubles, both exact.
struct IntegerParts {
  D high, low;
};
ORV_INLINE IntegerParts parts_of(Bits<double> v) {
  Bits<double> const high =
      simd::shift_right<32>(v) ^ Bits<double>(0x4530000080000000); // 2^84 + 2^63 + 2^32 high
  Bits<double> const low = (v & Bits<double>(0xFFFFFFFF)) | Bits<double>(0x4330000000000000);
  return {simd::from_bits(high) - D(0x1p84 + 0x1p63), simd::from_bits(low) - D(0x1p52)};
}
// The same of an unsigned integer below 2^32.
ORV_INLINE D small_integer(Bits<double> v) {
  return simd::from_bits(v | Bits<double>(0x4330000000000000)) - D(0x1p52);
}

// The fraction of a turn of a finite |x| of 2^16 or more, in units of 2^-64 and 2^-128 turns. The window is 192 bits
// long: at least 122 bits of the fraction are right, 78 of them at the worst argument, 6381956970095103 * 2^797.
struct Fraction {
  Bits<double> upper, lower;
};
ORV_INLINE Fraction fraction_of_turn(D x) {
  using B = Bits<double>;
  B const word(0xFFFFFFFF);
  B const exponent = simd::shift_right<52>(simd::bits(x)) & B(0x7FF);
  // The window begins at a bit; bytes are loaded from the one that holds it, and shifted left by the rest.
  B const byte = simd::shift_right<3>(B(2362) - exponent);
  B const shift = simd::shift_left<3>(byte) + exponent - B(2355);
  auto const window = simd::lookup_window(inverse_turn_bytes, byte - B(32));
  B const back = B(64) - shift;
  auto join = [&](D a, D b) {
    return simd::shift_left(simd::bits(a), shift) | simd::shift_right(simd::bits(b), back);
  };
  B const w0 = join(window.d, window.c), w1 = join(window.c, window.b), w2 = join(window.b, window.a);
  B const a0 = simd::shift_right<32>(w0), a2 = simd::shift_right<32>(w1), a4 = simd::shift_right<32>(w2);
  B const m = (simd::bits(x) & B(simd::mantissa_mask<double>)) | B(0x0010000000000000);
  B const m1 = simd::shift_right<32>(m);
  // Products of the lower 32 bits of lanes: m0 a_i counts 2^(-32 (i + 1)), m1 a_i counts 2^(-32 i).
  auto high = [](B v) { return simd::shift_right<32>(v); };
  auto low = [&](B v) { return v & word; };
  B const p0 = simd::multiply_low(m, a0), p1 = simd::multiply_low(m, w0), p2 = simd::multiply_low(m, a2),
          p3 = simd::multiply_low(m, w1), p4 = simd::multiply_low(m, a4);
  B const q1 = simd::multiply_low(m1, w0), q2 = simd::multiply_low(m1, a2), q3 = simd::multiply_low(m1, w1),
          q4 = simd::multiply_low(m1, a4), q5 = simd::multiply_low(m1, w2);
  B const c4 = (low(p3) + high(p4)) + (low(q4) + high(q5));
  B const c3 = (low(p2) + high(p3)) + (low(q3) + high(q4)) + high(c4);
  B const upper = simd::shift_left<32>(p0 + q1) + p1 + q2 + (high(p2) + high(q3)) + high(c3);
  return {upper, simd::shift_left<32>(c3) | low(c4)};
}

// The nearest step of the table, and the rest in two terms.
ORV_INLINE Turn reduce_large(D x) {
  using B = Bits<double>;
  Fraction const f = fraction_of_turn(x);
  B const half(uint64_t{1} << 54);
  B const upper = f.upper + half;
  auto const rest = parts_of((upper & B((uint64_t{1} << 55) - 1)) - half);
  D const sum = rest.high + rest.low, error = rest.low - (sum - rest.high);
  D const next = simd::fma(small_integer(simd::shift_right<32>(f.lower)), D(0x1p-32), error);
  D const hi = sum + next;
  D const lo = simd::fma(small_integer(f.lower & B(0xFFFFFFFF)), D(0x1p-64), next - (hi - sum));
  D const turn(0x1.921fb54442d18p-62), turn_low(0x1.1a62633145c07p-116); // 2 pi 2^-64
  D const r = hi * turn;
  return {simd::shift_right<55>(upper), r,
          simd::fma(hi, turn, D(-0.0) - r) + simd::fma(hi, turn_low, lo * turn)};
}

// ---- single precision: the rest in double ----

// Fractions of a turn of the even and of the odd lanes, as signed multiples of 2^-64 turns.
struct FractionsOfFloats {
  Bits<double> even, odd;
};
ORV_INLINE FractionsOfFloats fractions_of_turn(F x) {
  using B = Bits<float>;
  // Below 10000 nothing comes here: the exponent moves the window by 22 bits at least, into eight words.
  B const place = (simd::shift_right<23>(simd::bits(x)) & B(0xFF)) - B(118);
  B const index = simd::shift_right<5>(place), shift = place & B(31), back = B(32) - shift;
  F const words = simd::load(reinterpret_cast<const float*>(inverse_turn_words));
  B const z0 = simd::bits(simd::pick8(words, index)), z1 = simd::bits(simd::pick8(words, index + B(1))),
          z2 = simd::bits(simd::pick8(words, index + B(2))),
          z3 = simd::bits(simd::pick8(words, index + B(3)));
  auto join = [&](B a, B b) { return simd::shift_left(a, shift) | simd::shift_right(b, back); };
  Bits<double> const w0 = simd::pairs(join(z0, z1)), w1 = simd::pairs(join(z1, z2)),
                     w2 = simd::pairs(join(z2, z3));
  Bits<double> const m = simd::pairs((simd::bits(x) & B(0x7FFFFF)) | B(0x800000));
  auto fraction = [](Bits<double> m, Bits<double> w0, Bits<double> w1, Bits<double> w2) {
    return simd::shift_left<32>(simd::multiply_low(m, w0)) + simd::multiply_low(m, w1) +
           simd::shift_right<32>(simd::multiply_low(m, w2));
  };
  auto odd = [](Bits<double> v) { return simd::shift_right<32>(v); };
  return {fraction(m, w0, w1, w2), fraction(odd(m), odd(w0), odd(w1), odd(w2))};
}

} // namespace orv::trig
