// ln|z| in long double, of a z whose parts are doubles.
#pragma once
#include "kernels/complex/extended.h"

namespace orv::complex {

struct LongPair {
  Long hi, lo;
};
inline LongPair two_sum(Long a, Long b) {
  Long const s = a + b, t = s - a;
  return {s, (a - (s - t)) + (b - t)};
}
// The square of a number of at most 53 bits: exact.
inline LongPair square(Long x) {
  Long const c = x * 0x1.00000002p32L, high = c - (c - x), low = x - high, p = x * x;
  return {p, ((high * high - p) + 2 * high * low) + low * low};
}

inline Long log_modulus(Extended z) {
  if (is_infinite(z.re) || is_infinite(z.im)) return infinity;
  Long big = magnitude(z.re), small = magnitude(z.im);
  if (is_nan(big) || is_nan(small)) return big + small;
  if (small > big) {
    Long const t = big;
    big = small;
    small = t;
  }
  if (big < 0.5L || big > 1.5L) return log(big * big + small * small) / 2;
  // |z|^2 - 1 = 2 d + d^2 + small^2 with d = big - 1, exact.
  Long const d = big - 1;
  LongPair const p = square(small), q = square(d), s = two_sum(2 * d, p.hi), t = two_sum(s.hi, q.hi);
  Long const rest = (s.lo + t.lo) + (p.lo + q.lo);
  return log1p(t.hi + rest) / 2;
}

} // namespace orv::complex
