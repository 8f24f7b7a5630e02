// Running state of the moments and the one rule by which two parts of a data set are joined; it serves
// blocks that follow each other and threads that worked side by side.
#pragma once
#include <cstddef>

namespace orv::statistics {

enum class Family { fast, one_pass, user_mean };

// The seven rows of running state, in the order of their parameter codes, and what a one-pass mean lost by
// rounding, which lasts as long as a call.
enum Row { Mean, Raw2, Raw3, Raw4, Central2, Central3, Central4, RowCount, MeanLow = RowCount, AllRows };

// The rows that a family needs for an order, as a set of bits.
constexpr unsigned rows_in_use(Family family, int order) {
  constexpr unsigned fast[] = {0x01, 0x03, 0x07, 0x0f}, one_pass[] = {0x81, 0x91, 0x93, 0xff},
                     user_mean[] = {0x11, 0x31, 0x71, 0x7f};
  return family == Family::fast       ? fast[order]
         : family == Family::one_pass ? one_pass[order]
                                      : user_mean[order];
}

// Sums of powers of deviations from the mean, of one variable over one part. The mean is mean + low: where it
// is large against the deviations, they need more of it than a double holds.
struct Central {
  double mean, low, c2, c3, c4;
};

// Weights of two parts and their shares of the whole. Products of weights are never formed: tiny weights would
// vanish in them.
struct Join {
  double a, b, share_a, share_b;
  Join(double a_weight, double b_weight) : a(a_weight), b(b_weight) {
    double const t = 1 / (a + b);
    share_a = a * t;
    share_b = b * t;
  }
  double both() const { return share_a * b; } // a b / (a + b)
};

// Central sums about any value near the mean become sums about the mean, `residual` the first power's sum.
template <int Highest>
void recenter(Central& c, double residual, double weight) {
  double const r = residual / weight;
  if (!(r - r == 0)) return; // infinite data: nothing to correct
  c.low = r;
  if constexpr (Highest >= 4) c.c4 -= r * (4 * c.c3 - 6 * r * c.c2);
  if constexpr (Highest >= 3) c.c3 -= 3 * r * c.c2;
  if constexpr (Highest >= 2) c.c2 -= residual * r;
}

// Joins b into a (Chan, Golub and LeVeque 1983; Pebay 2008). `Highest` is the highest power that is kept.
template <int Highest>
void join(Central& a, Central const& b, Join const& w) {
  if (w.a == 0) { // all of b, to the last bit
    a = b;
    return;
  }
  double const d = b.mean - a.mean + (b.low - a.low), d2 = d * d, f = w.share_a, g = w.share_b;
  if constexpr (Highest >= 4)
    a.c4 += b.c4 + w.both() * (f * f - f * g + g * g) * (d2 * d2) + 6 * d2 * (f * f * b.c2 + g * g * a.c2) +
            4 * d * (f * b.c3 - g * a.c3);
  if constexpr (Highest >= 3) a.c3 += b.c3 + w.both() * (f - g) * (d2 * d) + 3 * d * (f * b.c2 - g * a.c2);
  if constexpr (Highest >= 2) a.c2 += b.c2 + w.both() * d2;
  if (d - d == 0) {
    double const step = a.low + g * d, mean = a.mean + step, back = mean - a.mean;
    a.low = (a.mean - (mean - back)) + (step - back);
    a.mean = mean;
  } else { // an infinite mean must stay one
    a.mean = f * a.mean + g * b.mean;
    a.low = 0;
  }
}

} // namespace orv::statistics
