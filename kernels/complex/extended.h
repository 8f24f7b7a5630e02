// Elementary functions of 64-bit precision for the complex functions, in long double: tables and polynomials, and of the
// microcoded instructions of the x87 unit the root only, since the others are slow and their bits differ between
// makers. Errors are some units of 2^-63, so that results are rounded to double about once.
#pragma once
#include "frame/report.h"
#include "kernels/exp/reduction.h"
#include "kernels/log/reciprocal.h"
#include "kernels/trig/large.h"

namespace orv::complex {

using Long = long double;
using Extended = Complex<Long>;

constexpr Long infinity = __builtin_infl();
constexpr Long not_a_number = __builtin_nanl("");
constexpr Long pi = 3.14159265358979323846264338327950288L;

struct LongBits {
  uint64_t mantissa;
  uint16_t top; // sign and exponent
};
inline LongBits bits(Long x) {
  LongBits b;
  unsigned char bytes[sizeof(Long)];
  __builtin_memcpy(bytes, &x, sizeof x);
  __builtin_memcpy(&b.mantissa, bytes, 8);
  __builtin_memcpy(&b.top, bytes + 8, 2);
  return b;
}
inline Long from_bits(LongBits b) {
  unsigned char bytes[sizeof(Long)] = {};
  __builtin_memcpy(bytes, &b.mantissa, 8);
  __builtin_memcpy(bytes + 8, &b.top, 2);
  Long x;
  __builtin_memcpy(&x, bytes, sizeof x);
  return x;
}
inline bool negative(Long x) { return __builtin_signbitl(x); }
inline Long magnitude(Long x) { return __builtin_fabsl(x); }
inline Long with_sign(Long x, Long s) { return __builtin_copysignl(x, s); }
inline bool is_nan(Long x) { return x != x; }
inline bool is_infinite(Long x) { return magnitude(x) == infinity; }
inline bool is_finite(Long x) { return magnitude(x) < infinity; }
inline Long power_of_two(int n) { return from_bits({uint64_t{1} << 63, static_cast<uint16_t>(16383 + n)}); }
inline Long root(Long x) {
  __asm__("fsqrt" : "+t"(x));
  return x;
}

inline Long polynomial(Long, Long last) { return last; }
template <class... More>
inline Long polynomial(Long x, Long first, More... rest) {
  return first + x * polynomial(x, rest...);
}

// The nearest integer of a number below 2^62, in the number itself.
inline Long nearest(Long x) {
  Long shifter = 0x1.8p63L;
  __asm__("" : "+t"(shifter));
  Long sum = x + shifter;
  __asm__("" : "+t"(sum));
  return sum - shifter;
}

// ---- exponential ----

// e^x, |x| up to 11000.
inline Long exp(Long x) {
  Long const k = nearest(x * 92.332482616893656877L);
  int const n = static_cast<int>(k);
  Long const r = (x - k * 0xB17217F7D1p-46L) - k * 0x0.CF79ABC9E3B39803p-46L;
  Long const q = r * polynomial(r, 1.0L, 1.0L / 2, 1.0L / 6, 1.0L / 24, 1.0L / 120, 1.0L / 720, 1.0L / 5040);
  auto const& row = exponential::table_d64[n & 63];
  Long const t = static_cast<Long>(row.hi) + static_cast<Long>(row.lo);
  return (t + t * q) * power_of_two(n >> 6);
}

struct Hyperbolic {
  Long sinh, cosh;
};
// Beyond 4000 all products with them are infinite in double.
inline Hyperbolic hyperbolic(Long x) {
  Long a = magnitude(x);
  if (a > 4000) a = 4000;
  Long const e = exp(a), inverse = 1 / e;
  Long s;
  if (a < 0.3L) {
    Long const u = a * a;
    s = a + a * u *
                polynomial(u, 1.0L / 6, 1.0L / 120, 1.0L / 5040, 1.0L / 362880, 1.0L / 39916800,
                           1.0L / 6227020800);
  } else {
    s = (e - inverse) / 2;
  }
  return {with_sign(s, x), (e + inverse) / 2};
}

// ---- sine and cosine ----

struct Circular {
  Long sin, cos;
};
// |x| as a step of the table of kernels/trig/turn.h, pi / 256 each, and a rest.
struct Step {
  unsigned step;
  Long rest;
};
// From 2^16 on: kernels/trig/large.h, of one number.
inline Step step_of_large(double x) {
  uint64_t const pattern = scalar::bits(x);
  unsigned const exponent = static_cast<unsigned>(pattern >> 52) & 0x7FF;
  unsigned const byte = (2362 - exponent) >> 3, shift = (byte << 3) + exponent - 2355;
  uint64_t window[4];
  __builtin_memcpy(window, trig::inverse_turn_bytes + byte - 32, 32);
  auto join = [&](uint64_t a, uint64_t b) { return shift ? a << shift | b >> (64 - shift) : a; };
  uint64_t const w0 = join(window[3], window[2]), w1 = join(window[2], window[1]),
                 w2 = join(window[1], window[0]);
  auto high = [](uint64_t v) { return v >> 32; };
  auto low = [](uint64_t v) { return v & 0xFFFFFFFF; };
  uint64_t const m = (pattern & simd::mantissa_mask<double>) | uint64_t{1} << 52, m0 = low(m), m1 = high(m);
  uint64_t const p0 = m0 * high(w0), p1 = m0 * low(w0), p2 = m0 * high(w1), p3 = m0 * low(w1),
                 p4 = m0 * high(w2);
  uint64_t const q1 = m1 * low(w0), q2 = m1 * high(w1), q3 = m1 * low(w1), q4 = m1 * high(w2),
                 q5 = m1 * low(w2);
  uint64_t const c4 = low(p3) + high(p4) + low(q4) + high(q5);
  uint64_t const c3 = low(p2) + high(p3) + low(q3) + high(q4) + high(c4);
  uint64_t const upper = ((p0 + q1) << 32) + p1 + q2 + high(p2) + high(q3) + high(c3);
  uint64_t const lower = c3 << 32 | low(c4);
  uint64_t const moved = upper + (uint64_t{1} << 54);
  auto const rest = static_cast<int64_t>(moved & ((uint64_t{1} << 55) - 1)) - (int64_t{1} << 54);
  Long const part = static_cast<Long>(rest) + static_cast<Long>(static_cast<int64_t>(lower >> 1)) * 0x1p-63L;
  return {static_cast<unsigned>(moved >> 55), part * (pi * 0x1p-63L)};
}
inline Step step_of(Long a) {
  if (a >= 0x1p16L) {
    double x;
    __asm__("fstpl\t%0" : "=m"(x) : "t"(a) : "st"); // it is a double
    return step_of_large(x);
  }
  Long const k = nearest(a * (256 / pi));
  Long const first = a - k * 0x3.243F6A888p-8L; // exact, as the product of the next line
  return {static_cast<unsigned>(static_cast<int>(k)),
          (first - k * 0x0.5A308D313p-44L) - k * 0x0.198A2E03707344A409p-80L};
}
inline Circular circular(Long x) {
  if (is_infinite(x)) return {not_a_number, not_a_number};
  if (is_nan(x)) return {x, x};
  Step const t = step_of(magnitude(x));
  auto const& row = trig::turn_rows[t.step & 511];
  Long const s = static_cast<Long>(row.a) + static_cast<Long>(row.b),
             c = static_cast<Long>(row.c) + static_cast<Long>(row.d);
  Long const r = t.rest, u = r * r;
  Long const sine = r + r * u * polynomial(u, -1.0L / 6, 1.0L / 120, -1.0L / 5040),
             versed = u * polynomial(u, -1.0L / 2, 1.0L / 24, -1.0L / 720, 1.0L / 40320);
  Long const v = s + (c * sine + s * versed);
  return {negative(x) ? -v : v, c + (c * versed - s * sine)};
}

// ---- logarithm ----

// ln x of a positive number that is not next to 1.
inline Long log_by_table(Long x) {
  LongBits const b = bits(x);
  int const e = (b.top & 0x7FFF) - 16383;
  auto const& row = logarithm::table_repair[b.mantissa >> 56 & 127];
  Long const m = from_bits({b.mantissa, 16383});
  Long const r = static_cast<Long>(row.c) * m - 1;
  Long const p = r * polynomial(r, 1.0L, -1.0L / 2, 1.0L / 3, -1.0L / 4, 1.0L / 5, -1.0L / 6, 1.0L / 7, -1.0L / 8,
                                1.0L / 9, -1.0L / 10, 1.0L / 11);
  return e * 0.693147180559945309417232121458176568L +
         ((static_cast<Long>(row.hi) + static_cast<Long>(row.lo)) + p);
}
// ln(1 + v), v from -1 on.
inline Long log1p(Long v) {
  if (magnitude(v) <= 0.0625L) {
    Long const s = v / (2 + v), u = s * s;
    return 2 * s + 2 * s * u *
                       polynomial(u, 1.0L / 3, 1.0L / 5, 1.0L / 7, 1.0L / 9, 1.0L / 11, 1.0L / 13, 1.0L / 15);
  }
  if (v == -1) return -infinity;
  return log_by_table(1 + v);
}
// ln x of a positive number or 0.
inline Long log(Long x) {
  if (x > 0.9375L && x < 1.0625L) return log1p(x - 1);
  return x == 0 ? -infinity : log_by_table(x);
}

// ---- angle ----

// The angle of (x, y) as atan2 has it.
inline Long angle(Long y, Long x) {
  if (is_nan(x) || is_nan(y)) return x + y;
  Long a = magnitude(y), b = magnitude(x);
  bool const steep = a > b;
  if (steep) {
    Long const t = a;
    a = b;
    b = t;
  }
  Long v;
  if (a == infinity) {
    v = pi / 4;
  } else if (b == infinity || b == 0) {
    v = 0;
  } else {
    Long const t = a / b;
    // Next to the angle within a step.
    int const j = static_cast<int>(t * (64.5L + 22.2L * (1 - t)) + 0.5L);
    auto const& row = trig::turn_rows[j];
    Long const s = static_cast<Long>(row.a) + static_cast<Long>(row.b),
               c = static_cast<Long>(row.c) + static_cast<Long>(row.d);
    Long const q = j == 0 ? t : (a * c - b * s) / (b * c + a * s), u = q * q;
    v = j * (pi / 256) +
        (q + q * u * polynomial(u, -1.0L / 3, 1.0L / 5, -1.0L / 7, 1.0L / 9, -1.0L / 11, 1.0L / 13));
  }
  if (steep) v = pi / 2 - v;
  if (negative(x)) v = pi - v;
  return with_sign(v, y);
}

} // namespace orv::complex
