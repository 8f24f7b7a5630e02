// Negative binomial numbers of any real a > 0: by inversion for modes below 100, else by rejection around the mode.
//
// For a not below 1 the density is log-concave: ratios of successive terms fall. So a hat of height 1 in the centre,
// with exponential tails whose rates are the ratios at the points tl and tr, some 1.4 standard deviations from the
// mode, is above the density; the tails begin where they have fallen to 1, with a step allowed for the integer part.
//
// Below 1 the large form draws N for a + 1 and then k, given N, by inversion of
// P(K <= k) = Gamma(a + k + 1) N! / (k! Gamma(a + N + 1)).
#include "distributions/chunk.h"
#include "distributions/frame.h"
#include "distributions/inversion.h"
#include "distributions/log_density.h"
#include "distributions/mode_rejection.h"
#include "distributions/negative_binomial_tail.h"

namespace orv::distributions {
namespace {

constexpr int near = 64;

struct Parameters {
  double a, p, q, mode;
  Parameters(double a, double p) : a(a), p(p), q(1 - p), mode(kernel::floor((a - 1) * q / p)) {
    if (!(mode > 0)) mode = 0;
  }
  double mean() const { return a * q / p; }
  double deviation() const { return kernel::sqrt(a * q) / p; }
};

struct Table {
  static constexpr int room = 164; // modes are below 100
  double a, p, c[room];

  static double ratio(Parameters const& b, int64_t k) {
    return b.q * (b.a + static_cast<double>(k)) / static_cast<double>(k + 1);
  }
  static double first(Parameters const& b) { return kernel::powx(b.p, b.a); }
  bool fits(Parameters const& b) const { return a == b.a && p == b.p && stored_sums(c, room) > 0; }
  void make(Parameters const& b) {
    a = b.a, p = b.p;
    running_sums(c, static_cast<int>(b.mode) + 64, first(b), INT64_MAX,
                 [&](int64_t k) { return ratio(b, k); });
  }
};
static_assert(sizeof(Table) == 1328);

int32_t by_inversion(Source const& source, int n, int32_t* r, Parameters const& b) {
  auto* const table = cached<Table>(source.stream(), negbinomial_chunk, b);
  if (!table) return RnqErrNoMemory;
  int const count = stored_sums(table->c, Table::room);
  Inversion const inversion(table->c, count, n);
  bool const far = b.deviation() > 32;
  auto const beyond = [&](double u) {
    return far ? negative_binomial_tail(b.a, b.p, count - 1, u)
               : static_cast<double>(walk_on(table->c, count, Table::first(b), INT64_MAX, u,
                                             [&](int64_t k) { return Table::ratio(b, k); }));
  };
  return drawn_apart<double>(source, n, r, 0.0, 1.0,
                             [&](int m, double* u, int32_t* out) { inversion.search(m, u, out, beyond); });
}

// Two forms: for a below 1000 the difference of two ln_rising, whose error does not grow with the offset, else steps
// from the mode, whose error does not grow with a.
struct Density {
  static constexpr bool triangle = false;
  Parameters const& b;
  void log_ratio(int n, double const* k, double* out) const {
    double const less = b.a - 1;
    if (b.a < 1000) {
      double const slope = kernel::log1p(-b.p), at_mode = ln_rising(b.mode, less);
      for (int i = 0; i < n; ++i) out[i] = ln_rising(b.mode + k[i], less) - at_mode + k[i] * slope;
      return;
    }
    double const slope = kernel::log1p((b.q * less - b.p * b.mode) / b.mode);
    for (int i = 0; i < n; ++i) out[i] = k[i] * slope;
    add_factorial_steps(n, less + b.mode, 1, k, 1, out);
    add_factorial_steps(n, b.mode, 1, k, -1, out);
  }
  double at(double k) const {
    double value = 0;
    log_ratio(1, &k, &value);
    return value;
  }
};

struct Setup {
  double a, p;
  Hat hat;
  Ratios<near> ratios;
  char unused[1328 - 9 * 8 - sizeof(Ratios<near>)];

  bool fits(Parameters const& b) const {
    return a == b.a && p == b.p && hat.sound(b.deviation()) && hat.centre == hat.right - hat.left &&
           hat.left >= -b.mode;
  }
  void make(Parameters const& b) {
    a = b.a, p = b.p;
    Density const density{b};
    double const wide =
        kernel::floor(1.4142135623730951 * (kernel::sqrt((b.a - 1) * b.q + b.p * b.p / 4) / b.p));
    double const reach = wide > 1 ? wide : 1, tl = b.mode - reach, tr = b.mode + reach;
    hat.right_rate = -kernel::log1p((b.q * b.a - 1 - b.p * tr) / (tr + 1));
    hat.right = reach + 1 + density.at(reach) / hat.right_rate;
    hat.left = -b.mode;
    hat.left_rate = 1;
    double left_area = 0;
    if (tl > 0) {
      double const rate = kernel::log1p((b.q * (b.a - 1) - b.p * tl) / tl),
                   left = -reach - density.at(-reach) / rate;
      if (left > -b.mode) {
        hat.left = left;
        hat.left_rate = rate;
        left_area = 1 / rate;
      }
    }
    hat.centre = hat.right - hat.left;
    hat.with_left = hat.centre + left_area;
    hat.with_right = hat.with_left + 1 / hat.right_rate;
    ratios.make(
        [&](int k) {
          double const x = b.mode + k;
          return b.q * (b.a - 1 + x) / x;
        },
        [&](int k) {
          double const x = b.mode - k + 1;
          return x > 0 ? x / (b.q * (b.a - 1 + x)) : 0;
        });
  }
};
static_assert(sizeof(Setup) == 1328);

using Rejection = ModeRejection<double, near, Density>;

int32_t by_rejection(Source const& source, int n, int32_t* r, Parameters const& b) {
  auto* const setup = cached<Setup>(source.stream(), negbinomial_chunk, b);
  if (!setup) return RnqErrNoMemory;
  Density const density{b};
  Rejection scheme{setup->hat, setup->ratios, density, b.mode, -b.mode, 1e300};
  return accept<double>(source, n, r, scheme);
}

// The count that belongs to w, given N of shape a + 1.
double given(double upper, double w, double a) {
  double const guess = (upper + (1 + a) / 2) * kernel::exp(kernel::ln(w) / a) - (1 + a) / 2;
  double k = guess > 0 ? kernel::ceil(guess) : 0;
  if (!(w > 0)) return 0;
  if (k > 1e12) return k; // past the largest result
  double const wanted = kernel::ln(w) + ln_rising(upper, a);
  while (k > 0 && ln_rising(k - 1, a) >= wanted) --k;
  while (k < upper && ln_rising(k, a) < wanted) ++k;
  return k;
}

struct BelowOne {
  using Value = double;
  Rejection inner;
  double a;
  void look(int m, double const* u, double const* v, double const* w, double* x, uint8_t* accepted) const {
    inner.look(m, u, v, x, accepted);
    for (int i = 0; i < m; ++i)
      if (accepted[i]) x[i] = given(inner.mode + x[i], w[i], a);
  }
  void store(int n, double const* x, int32_t* r) const {
    for (int i = 0; i < n; ++i) r[i] = to_int(x[i]);
  }
};

int32_t below_one(Source const& source, int n, int32_t* r, double a, double p) {
  Parameters const upper(a + 1, p);
  auto* const setup = cached<Setup>(source.stream(), negbinomial_chunk, upper);
  if (!setup) return RnqErrNoMemory;
  Density const density{upper};
  BelowOne scheme{{setup->hat, setup->ratios, density, upper.mode, -upper.mode, 1e300}, a};
  return accept<double, 3>(source, n, r, scheme);
}

int32_t negative_binomial(RngStream* stream, int n, int32_t* r, double a, double p) {
  if (n <= 0) return RnqOk;
  if (!(a > 0 && a <= simd::Format<double>::largest) || !(p > 0 && p <= 1)) return RnqErrBadArgument;
  Frame const frame(replace_singular<double, Replace::ln>);
  a = launder(a), p = launder(p);
  if (p < 1e-290)
    p = 1e-290; // keeps means in range; results are the same, all but all of them past the largest
  Source const source(stream);
  Parameters const b(a, p);
  constexpr double large = 10737418.24,
                   certain = 1e25; // from there the chance of one that is not is below 2^-52
  if (b.mean() >= large) {
    if (a < 1) return below_one(source, n, r, a, p);
    if (b.mean() < certain) return by_rejection(source, n, r, b);
    std::fill_n(r, n, INT32_MAX);
    return RnqOk;
  }
  return (a - 1) * b.q / p >= 100 ? by_rejection(source, n, r, b) : by_inversion(source, n, r, b);
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngNegbinomial(int32_t, RngStream* stream, int32_t n, int32_t* r, double a,
                                       double p) {
  return negative_binomial(stream, n, r, a, p);
}
