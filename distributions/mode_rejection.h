// Rejection of integers around the mode of a distribution whose density falls to both sides: a hat of a centre and two
// exponential tails, after V. Kachitvichyanukul, B. Schmeiser, CACM 31 (1988). Candidates are offsets from the mode
// M in double precision, so that a mean of 10^9 loses none; near the mode the density is a table, else a logarithm.
//
// Distribution: `static constexpr bool triangle`: the centre is a triangle of half-width `half` under the density,
// whose candidates are taken at once, with a band of height `band` above it; else a rectangle of height 1;
// `void log_ratio(n, k, out)`: out += ln f(M + k) - ln f(M).
#pragma once
#include "distributions/integers.h"
#include "distributions/kernels.h"
#include "distributions/rejection.h"

namespace orv::distributions {

// Sizes are areas under the hat, places are offsets from M.
struct Hat {
  double centre, with_left, with_right; // running sums of the areas
  double left, right;                   // where the tails begin
  double left_rate, right_rate;
  // Whether values from a stored image can be these: enough to be sure that candidates are accepted now and then.
  // `sd`: the distribution's standard deviation.
  bool sound(double sd) const {
    double const width = right - left;
    double const left_area = with_left - centre, right_area = with_right - with_left;
    return left <= 0 && right > 0 && width <= 16 * sd + 16 && centre > 0 && centre <= 8 * width &&
           left_area >= 0 && left_rate > 0 && left_area * left_rate <= 4 && left_area <= 8 * centre &&
           right_area >= 0 && right_rate > 0 && right_area * right_rate <= 4 &&
           (right_area <= 8 * centre || right_rate * sd >= 0.1);
  }
};

// f(M + k) / f(M) for k from -reach to reach.
template <int reach>
struct Ratios {
  float ratio[2 * reach + 1];
  // up(k) = f(M + k) / f(M + k - 1), down(k) = f(M - k) / f(M - k + 1)
  template <class Up, class Down>
  void make(Up up, Down down) {
    double above = 1, below = 1;
    ratio[reach] = 1;
    for (int k = 1; k <= reach; ++k) {
      ratio[reach + k] = static_cast<float>(above *= up(k));
      ratio[reach - k] = static_cast<float>(below *= down(k));
    }
  }
};

template <class T, int reach, class Distribution>
struct ModeRejection {
  using Value = double;
  Hat hat;
  Ratios<reach> const& ratios;
  Distribution const& f;
  double mode, low, high;    // bounds of offsets
  int32_t reflect_from = -1; // results are this less the count, if not negative

  void look(int m, T const* u, T const* v, double* x, uint8_t* accepted) const {
    Region<double> tests, left, right; // u of a test is the offset
    for (int i = 0; i < m; ++i) {
      double const place = u[i] * hat.with_right, y = v[i];
      bool const in_centre = place <= hat.centre, in_left = !in_centre && place <= hat.with_left;
      centre(i, place, y, in_centre, x, accepted, tests);
      left.offer(i, (place - hat.centre) * hat.left_rate, y, in_left);
      right.offer(i, (place - hat.with_left) * hat.right_rate, y, !in_centre && !in_left);
    }
    tail(left, hat.left, 1 / hat.left_rate, accepted, tests);
    tail(right, hat.right, -1 / hat.right_rate, accepted, tests);
    decide(tests, x, accepted);
  }
  void store(int n, double const* x, int32_t* r) const {
    for (int i = 0; i < n; ++i) {
      int32_t const count = to_int(mode + x[i]);
      r[i] = reflect_from >= 0 ? reflect_from - count : count;
    }
  }

 private:
  void centre(int i, double place, double y, bool here, double* x, uint8_t* accepted,
              Region<double>& tests) const {
    if constexpr (Distribution::triangle) {
      bool const under = place <= f.half;
      double const at = hat.left + (place - f.half) * f.inverse_band;
      double const distance = (0.5 - at) * f.inverse_half;
      double const height = y * f.band + 1 - (distance < 0 ? -distance : distance);
      x[i] = kernel::floor(0.5 - f.half * y + place);
      accepted[i] = here && under;
      tests.offer(i, kernel::floor(at), height, here && !under && height <= 1);
    } else {
      accepted[i] = 0;
      tests.offer(i, kernel::floor(hat.left + place), y, here);
    }
  }
  // u holds the height of the hat at the tail's place over v.
  void tail(Region<double>& part, double from, double step, uint8_t* accepted, Region<double>& tests) const {
    double l[block];
    kernel::ln(part.count, part.v, l, kernel::ha);
    for (int i = 0; i < part.count; ++i) {
      double const k = kernel::floor(from + l[i] * step);
      accepted[part.slot[i]] = 0;
      tests.offer(part.slot[i], k, part.v[i] * part.u[i], part.v[i] > 0 && k >= low && k <= high);
    }
  }
  void decide(Region<double> const& tests, double* x, uint8_t* accepted) const {
    Region<double> far;
    for (int i = 0; i < tests.count; ++i) {
      double const k = tests.u[i];
      bool const near = k >= -reach && k <= reach;
      int const at = near ? _mm_cvttsd_si32(_mm_set_sd(k)) + reach : 0;
      int32_t const slot = tests.slot[i];
      x[slot] = k;
      accepted[slot] = near && tests.v[i] <= ratios.ratio[at];
      far.offer(slot, k, tests.v[i], !near && k >= low && k <= high);
    }
    if (!far.count) return;
    double density[block] = {};
    f.log_ratio(far.count, far.u, density);
    kernel::ln(far.count, far.v, far.v, kernel::ha);
    for (int i = 0; i < far.count; ++i) accepted[far.slot[i]] = far.v[i] <= density[i];
  }
};

} // namespace orv::distributions
