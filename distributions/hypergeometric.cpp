// Hypergeometric numbers, reduced by symmetry to at most half the lot marked and drawn: by inversion for modes below 40,
// else the method H2PE of V. Kachitvichyanukul, B. Schmeiser, J. Stat. Comput. Simul. 22 (1985).
#include "distributions/chunk.h"
#include "distributions/frame.h"
#include "distributions/inversion.h"
#include "distributions/log_density.h"
#include "distributions/mode_rejection.h"

namespace orv::distributions {
namespace {

constexpr int near = 64;

struct Lot {
  int32_t l, s, m;
  int64_t n1, n2, k, mode, high;
  Lot(int32_t l, int32_t s, int32_t m)
      : l(l), s(s), m(m), n1(std::min(m, l - m)), n2(std::max(m, l - m)), k(2 * int64_t{s} < l ? s : l - s),
        mode((n1 + 1) * (k + 1) / (int64_t{l} + 2)), high(std::min(n1, k)) {}
  // f(x + 1) / f(x)
  double up(int64_t x) const {
    return static_cast<double>(n1 - x) * static_cast<double>(k - x) /
           (static_cast<double>(x + 1) * static_cast<double>(n2 - k + x + 1));
  }
  int32_t back(int32_t x) const {
    bool const more = m > l - m;
    if (2 * int64_t{s} >= l) return more ? static_cast<int32_t>(x + s - n1) : m - x;
    return more ? s - x : x;
  }
};

struct Table {
  static constexpr int room = 192; // the tail of a mode of 39 ends near 115
  double l, m, s, last, low, unused;
  double c[room];

  int count() const { return static_cast<int>(last) + 1; }
  bool fits(Lot const& lot) const {
    if (!(l == lot.l && m == lot.m && s == lot.s && last >= 0 && last < room && low == 0)) return false;
    if (last > static_cast<double>(lot.high) || !(c[0] >= 0)) return false;
    for (int k = 1; k < count(); ++k)
      if (!(c[k] >= c[k - 1])) return false;
    return c[count() - 1] == 1;
  }
  // Terms by ratios from the mode, whose sum then is 1; sums up to the mode from below, above it from the top, so that
  // both tails are exact.
  void make(Lot const& lot) {
    l = lot.l, m = lot.m, s = lot.s;
    double f[room], sum = 1;
    auto const mode = static_cast<int>(lot.mode);
    f[mode] = 1;
    for (int x = mode - 1; x >= 0; --x) sum += f[x] = f[x + 1] / lot.up(x);
    int end = mode;
    while (end < lot.high && end + 1 < room && (f[end] >= 0x1p-60 || end < mode + 2)) {
      f[end + 1] = f[end] * lot.up(end);
      sum += f[++end];
    }
    last = end;
    double below = 0;
    for (int x = 0; x <= mode && x < end; ++x) c[x] = below += f[x] / sum;
    c[end] = 1;
    for (int x = end - 1; x > mode; --x) c[x] = c[x + 1] - f[x + 1] / sum;
  }
};

int32_t by_inversion(Source const& source, int n, int32_t* r, Lot const& lot) {
  auto* const table = cached<Table>(source.stream(), hypergeometric_chunk, lot);
  if (!table) return RnqErrNoMemory;
  Inversion const inversion(table->c, table->count(), n);
  return drawn_apart<double>(source, n, r, 0.0, 1.0, [&](int m, double const* u, int32_t* out) {
    inversion.search(m, u, out, [&](double) { return table->count() - 1; });
    for (int i = 0; i < m; ++i) out[i] = lot.back(out[i]);
  });
}

struct Density {
  static constexpr bool triangle = false;
  Lot const& lot;
  void log_ratio(int n, double const* j, double* out) const {
    double const a = static_cast<double>(lot.mode), b = static_cast<double>(lot.n1 - lot.mode),
                 c = static_cast<double>(lot.k - lot.mode),
                 d = static_cast<double>(lot.n2 - lot.k + lot.mode);
    double const slope = kernel::ln(b / a * (c / d));
    for (int i = 0; i < n; ++i) out[i] = j[i] * slope;
    add_factorial_steps(n, a, 1, j, -1, out);
    add_factorial_steps(n, b, -1, j, -1, out);
    add_factorial_steps(n, c, -1, j, -1, out);
    add_factorial_steps(n, d, 1, j, -1, out);
  }
};

struct Setup {
  double l, m, s;
  Hat hat;
  Ratios<near> ratios;
  char unused[600 - 10 * 8 - sizeof(Ratios<near>)];

  static double deviation(Lot const& lot) {
    double const l = lot.l, k = static_cast<double>(lot.k);
    return kernel::sqrt(k / l * (l - k) / l * static_cast<double>(lot.n1) *
                        (static_cast<double>(lot.n2) / (l - 1)));
  }
  bool fits(Lot const& lot) const {
    return l == lot.l && m == lot.m && s == lot.s && hat.sound(deviation(lot)) &&
           hat.centre == hat.right - hat.left;
  }
  void make(Lot const& lot) {
    l = lot.l, m = lot.m, s = lot.s;
    double const d = kernel::floor(1.5 * deviation(lot)) + 0.5;
    hat.left = 0.5 - d;
    hat.right = 0.5 + d;
    auto const left = lot.mode + static_cast<int64_t>(hat.left),
               right = lot.mode + static_cast<int64_t>(hat.right);
    // Ratios of neighbours at both ends, and the density there.
    hat.left_rate = kernel::ln(lot.up(left - 1));
    hat.right_rate = -kernel::ln(lot.up(right - 1));
    double const at[2] = {hat.left, hat.right - 1};
    double height[2] = {};
    Density{lot}.log_ratio(2, at, height);
    hat.centre = 2 * d;
    hat.with_left = hat.centre + kernel::exp(height[0]) / hat.left_rate;
    hat.with_right = hat.with_left + kernel::exp(height[1]) / hat.right_rate;
    ratios.make([&](int k) { return std::max(0.0, lot.up(lot.mode + k - 1)); },
                [&](int k) { return lot.mode >= k ? 1 / lot.up(lot.mode - k) : 0; });
  }
};
static_assert(sizeof(Setup) == 600);

int32_t by_rejection(Source const& source, int n, int32_t* r, Lot const& lot) {
  auto* const setup = cached<Setup>(source.stream(), hypergeometric_chunk, lot);
  if (!setup) return RnqErrNoMemory;
  Density const density{lot};
  auto const mode = static_cast<double>(lot.mode);
  struct Scheme : ModeRejection<float, near, Density> {
    Lot const& lot;
    void store(int count, double const* x, int32_t* out) const {
      ModeRejection::store(count, x, out);
      for (int i = 0; i < count; ++i) out[i] = lot.back(out[i]);
    }
  } scheme{{setup->hat, setup->ratios, density, mode, -mode, static_cast<double>(lot.high) - mode}, lot};
  return accept<float>(source, n, r, scheme);
}

int32_t hypergeometric(RngStream* stream, int n, int32_t* r, int32_t l, int32_t s, int32_t m) {
  if (n <= 0) return RnqOk;
  if (l < 0 || s < 0 || s > l || m < 0 || m > l) return RnqErrBadArgument;
  Lot const lot(l, s, m);
  if (lot.high == 0) {
    std::fill_n(r, n, lot.back(0));
    return RnqOk;
  }
  Frame const frame(replace_singular<float, Replace::ln>);
  Source const source(stream);
  return lot.mode < 40 ? by_inversion(source, n, r, lot) : by_rejection(source, n, r, lot);
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqiRngHypergeometric(int32_t, RngStream* stream, int32_t n, int32_t* r, int32_t l,
                                          int32_t s, int32_t m) {
  return hypergeometric(stream, n, r, l, s, m);
}
