// Binomial numbers, of the smaller of p and 1 - p: by inversion below a mean of 30, else the method BTPE of
// V. Kachitvichyanukul, B. Schmeiser, CACM 31 (1988).
#include "distributions/chunk.h"
#include "distributions/frame.h"
#include "distributions/inversion.h"
#include "distributions/log_density.h"
#include "distributions/mode_rejection.h"

namespace orv::distributions {
namespace {

constexpr int near = 32;

struct Parameters {
  int32_t ntrial;
  double p, smaller, q, mode;
  Parameters(int32_t ntrial, double p)
      : ntrial(ntrial), p(p), smaller(p < 0.5 ? p : 1 - p), q(1 - smaller),
        mode(kernel::floor((ntrial + 1.0) * smaller)) {}
  double mean() const { return ntrial * smaller; }
  bool reflected() const { return p >= 0.5; }
};

struct Table {
  static constexpr int room = 62;
  double ntrial, p, a, s; // f(k + 1) = f(k) (a / (k + 1) - s)
  double c[64];

  double ratio(int64_t k) const { return a / static_cast<double>(k + 1) - s; }
  double first(Parameters const& b) const { return kernel::powx(b.q, b.ntrial); }
  static int entries(Parameters const& b) { return std::min(room, static_cast<int>(b.mean()) + 32); }
  bool fits(Parameters const& b) const {
    return ntrial == b.ntrial && p == b.p && s == b.smaller / b.q && a == (b.ntrial + 1.0) * s &&
           stored_sums(c, 64) > 0;
  }
  void make(Parameters const& b) {
    ntrial = b.ntrial;
    p = b.p;
    s = b.smaller / b.q;
    a = (b.ntrial + 1.0) * s;
    running_sums(c, entries(b), first(b), b.ntrial, [this](int64_t k) { return ratio(k); });
  }
};
static_assert(sizeof(Table) == 544);

int32_t by_inversion(Source const& source, int n, int32_t* r, Parameters const& b) {
  auto* const table = cached<Table>(source.stream(), binomial_chunk, b);
  if (!table) return RnqErrNoMemory;
  int const count = stored_sums(table->c, 64);
  Inversion const inversion(table->c, count, n);
  auto const beyond = [&](double u) {
    return walk_on(table->c, count, table->first(b), b.ntrial, u, [=](int64_t k) { return table->ratio(k); });
  };
  return drawn_apart<double>(source, n, r, 0.0, 1.0, [&](int m, double const* u, int32_t* out) {
    inversion.search(m, u, out, beyond);
    if (b.reflected())
      for (int i = 0; i < m; ++i) out[i] = b.ntrial - out[i];
  });
}

struct Density {
  static constexpr bool triangle = true;
  double half, inverse_half, band, inverse_band;
  Parameters const& b;
  void log_ratio(int n, double const* k, double* out) const {
    double const rest = b.ntrial - b.mode, slope = kernel::log1p((b.mean() - b.mode) / (b.mode * b.q));
    for (int i = 0; i < n; ++i) out[i] = k[i] * slope;
    add_factorial_steps(n, b.mode, 1, k, -1, out);
    add_factorial_steps(n, rest, -1, k, -1, out);
  }
};

struct Setup {
  double ntrial, p;
  Hat hat;
  double half, band;
  Ratios<near> ratios;
  char unused[544 - 11 * 8 - sizeof(Ratios<near>)];

  static double variance(Parameters const& b) { return b.mean() * b.q; }
  bool fits(Parameters const& b) const {
    return ntrial == b.ntrial && p == b.p && hat.sound(kernel::sqrt(variance(b))) && half >= 1 &&
           half <= hat.centre && hat.left == 0.5 - half && band > 0.1 && band < 2;
  }
  void make(Parameters const& b) {
    ntrial = b.ntrial;
    p = b.p;
    half = kernel::floor(2.195 * kernel::sqrt(variance(b)) - 4.6 * b.q) + 0.5;
    band = 0.134 + 20.5 / (15.3 + b.mode);
    double const centre = b.mean() + b.smaller, left = b.mode + 0.5 - half, right = b.mode + 0.5 + half;
    double const al = (centre - left) / (centre - left * b.smaller), ar = (right - centre) / (right * b.q);
    hat.left = 0.5 - half;
    hat.right = 0.5 + half;
    hat.left_rate = al * (1 + al / 2);
    hat.right_rate = ar * (1 + ar / 2);
    hat.centre = half * (1 + 2 * band);
    hat.with_left = hat.centre + band / hat.left_rate;
    hat.with_right = hat.with_left + band / hat.right_rate;
    double const odds = b.smaller / b.q;
    ratios.make([&](int k) { return (b.ntrial - b.mode - k + 1) / (b.mode + k) * odds; },
                [&](int k) {
                  double const x = b.mode - k + 1;
                  return x > 0 ? x / (b.ntrial - x + 1) / odds : 0;
                });
  }
};
static_assert(sizeof(Setup) == 544);

int32_t by_rejection(Source const& source, int n, int32_t* r, Parameters const& b) {
  auto* const setup = cached<Setup>(source.stream(), binomial_chunk, b);
  if (!setup) return RnqErrNoMemory;
  Density const density{setup->half, 1 / setup->half, setup->band, 1 / setup->band, b};
  ModeRejection<float, near, Density> scheme{
      setup->hat, setup->ratios, density, b.mode, -b.mode, b.ntrial - b.mode, b.reflected() ? b.ntrial : -1};
  return accept<float>(source, n, r, scheme);
}

int32_t binomial(RngStream* stream, int n, int32_t* r, int32_t ntrial, double p) {
  if (n <= 0) return RnqOk;
  if (ntrial < 0 || !(p >= 0 && p <= 1)) return RnqErrBadArgument;
  if (ntrial == 0) {
    std::fill_n(r, n, 0);
    return RnqOk;
  }
  Frame const frame(replace_singular<float, Replace::ln>);
  p = launder(p);
  Parameters const b(ntrial, p);
  Source const source(stream);
  return b.mean() >= 30 ? by_rejection(source, n, r, b) : by_inversion(source, n, r, b);
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngBinomial(int32_t, RngStream* stream, int32_t n, int32_t* r, int32_t ntrial,
                                    double p) {
  return binomial(stream, n, r, ntrial, p);
}
