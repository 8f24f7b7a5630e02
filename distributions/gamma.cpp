// Gamma numbers. Shape above 1: G. Marsaglia, W. Tsang, ACM TOMS 26 (2000). From 0.6 to 1: I. Vaduva, rejection from
// Weibull numbers. Below: J. Ahrens, U. Dieter, Computing 12 (1974), in two parts.
#include "distributions/gamma.h"

#include "distributions/chunk.h"
#include "distributions/exponential.h"
#include "distributions/frame.h"
#include "distributions/kernels.h"
#include "distributions/rejection.h"

namespace orv::distributions {
namespace {

using simd::Vec;

template <class T>
inline constexpr uint32_t gamma_chunk = sizeof(T) == 8 ? gamma_double : gamma_single;

template <class T>
void scale(int n, T* r, T a, T beta) {
  map(n, r, [=](Vec<T> x) { return simd::max(Vec<T>(a), Vec<T>(a) + Vec<T>(beta) * x); });
}

// Candidates are Gaussian numbers g with a uniform number u each. The second test, for the few that the first one
// leaves, is in double precision with the leading terms of ln w taken away by hand: w - 1 - ln w is of the order of
// (c g)^2 and meets a factor of the order of alpha.
template <class T>
struct MarsagliaTsang {
  double d, c;
  explicit MarsagliaTsang(double alpha)
      : d(alpha - 0x1.5555555555555p-2), c(1 / kernel::sqrt(9 * alpha - 3)) {}

  bool second_test(double g, double u) const {
    double const y = c * g;
    if (!(y > -1)) return false;
    double const ln_w_less = 3 * (kernel::log1p(y) - y),
                 rest = y * y * (3 + y); // 1 - w + ln w is the difference
    return 0.5 * (g * g) + d * (ln_w_less - rest) > kernel::ln(u);
  }
  int look(int m, T const* g, T const* u, T* x) const {
    uint8_t accepted[block];
    for (int i = 0; i < m; ++i) {
      // In double precision for floats too: with a large shape 1 + c g has few bits left for g.
      double const y = 1 + c * g[i], w = y * y * y, g2 = double{g[i]} * g[i],
                   s = 1 - 0x1.0F27BB2FEC56Dp-5 * (g2 * g2);
      x[i] = static_cast<T>(d * w);
      accepted[i] = w > 0 ? (s > u[i] ? 1 : 2) : 0;
    }
    for (int i = 0; i < m; ++i)
      if (accepted[i] == 2) accepted[i] = second_test(g[i], u[i]);
    return compact(m, x, accepted);
  }
};

// Two candidates of each four uniform numbers: Gaussian pairs of the first and third, sine first, with the second and
// fourth to accept them.
template <class T>
void candidates(int fours, T const* drawn, T* g, T* u) {
  T radius[block / 2], angle[block / 2], sine[block / 2], cosine[block / 2];
  for (int i = 0; i < fours; ++i) {
    radius[i] = drawn[4 * i];
    u[2 * i] = drawn[4 * i + 1];
    angle[i] = drawn[4 * i + 2] * static_cast<T>(0x1.921FB54442D18p2);
    u[2 * i + 1] = drawn[4 * i + 3];
  }
  kernel::ln(fours, radius, radius);
  map(fours, radius, [](Vec<T> x) { return x * Vec<T>(T(-2)); });
  kernel::sqrt(fours, radius, radius);
  kernel::sin_cos(fours, angle, sine, cosine);
  for (int i = 0; i < fours; ++i) {
    g[2 * i] = radius[i] * sine[i];
    g[2 * i + 1] = radius[i] * cosine[i];
  }
}

template <class T>
int32_t above_one(Source const& source, int n, T* r, double alpha, T a, T beta) {
  auto* const due = due_of<T>(source.stream(), gamma_chunk<T>);
  if (!due) return RnqErrNoMemory;
  MarsagliaTsang<T> const scheme(alpha);
  T drawn[2 * block], g[block + 2], u[block + 2], x[block + 2];
  for (int done = 0; done < n;) {
    int const waiting = due->waits();
    if (waiting) u[0] = due->u, g[0] = due->other;
    int const m = std::min(block, n - done), fours = (m - waiting + 1) / 2;
    if (fours)
      if (int32_t const status = source.uniform(4 * fours, drawn); status < 0) return status;
    candidates(fours, drawn, g + waiting, u + waiting);
    if (waiting + 2 * fours > m)
      *due = {u[m], g[m]};
    else
      due->clear();
    int const count = scheme.look(m, g, u, x);
    scale(count, x, a, beta);
    std::copy(x, x + count, r + done);
    done += count;
  }
  return RnqOk;
}

template <class T>
struct Scaled {
  using Value = T;
  T a, beta;
  void store(int n, T* x, T* r) const {
    scale(n, x, a, beta);
    std::copy(x, x + n, r);
  }
};

template <class T>
struct WeibullRejection : Scaled<T> {
  T c, d;
  WeibullRejection(double alpha, T a, T beta) : Scaled<T>{a, beta}, c(static_cast<T>(1 / alpha)) {
    d = static_cast<T>((1 - alpha) * kernel::exp(alpha / (1 - alpha) * kernel::ln(alpha)));
  }
  void look(int m, T* u, T* v, T* x, uint8_t* accepted) const {
    kernel::ln(m, u, u);
    kernel::ln(m, v, v);
    map(m, u, [](Vec<T> l) { return negate(l); });
    kernel::ln(m, u, x);
    map(m, x, [=, c = c](Vec<T> l) { return Vec<T>(c) * l; });
    kernel::exp(m, x, x);
    for (int i = 0; i < m; ++i) accepted[i] = u[i] - v[i] >= d + x[i];
  }
};

// Roots 1/alpha by logarithms. The second part takes ln(1 + alpha (y - 1)), whose argument is near 1.
template <class T>
struct TwoParts : Scaled<T> {
  T alpha;
  TwoParts(T alpha, T a, T beta) : Scaled<T>{a, beta}, alpha(alpha) {}
  void look(int m, T* u, T* v, T* x, uint8_t* accepted) const {
    Region<T> low, high;
    kernel::ln(m, v, v);
    for (int i = 0; i < m; ++i) {
      bool const is_low = u[i] < 1 - alpha;
      low.offer(i, u[i], v[i], is_low);
      high.offer(i, (1 - u[i]) / alpha, v[i], !is_low);
    }
    kernel::ln(low.count, low.u, low.u);
    kernel::ln(high.count, high.u, high.u);
    for (int i = 0; i < high.count; ++i) {
      high.v[i] += high.u[i]; // ln v - y
      high.u[i] = alpha * (-high.u[i] - 1);
    }
    kernel::log1p(high.count, high.u, high.u);
    for (Region<T>* part : {&low, &high}) {
      map(part->count, part->u, [=, this](Vec<T> l) { return l / Vec<T>(alpha); });
      kernel::exp(part->count, part->u, part->u);
      for (int i = 0; i < part->count; ++i) {
        x[part->slot[i]] = part->u[i];
        accepted[part->slot[i]] = -part->v[i] >= part->u[i];
      }
    }
  }
};

template <class T>
int32_t dispatch(Source const& source, int n, T* r, T alpha, T a, T beta) {
  if (!(alpha > 0)) return RnqErrBadArgument;
  if (alpha > 1) return above_one(source, n, r, static_cast<double>(alpha), a, beta);
  if (alpha == 1) return exponential(source, n, r, a, beta);
  if (alpha >= T(0.6)) {
    WeibullRejection<T> scheme(static_cast<double>(alpha), a, beta);
    return accept<T>(source, n, r, scheme);
  }
  TwoParts<T> scheme(alpha, a, beta);
  return accept<T>(source, n, r, scheme);
}

template <class T>
int32_t entry(RngStream* stream, int n, T* r, T alpha, T a, T beta) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<T, Replace::ln>);
  alpha = launder(alpha);
  return dispatch(Source(stream), n, r, alpha, a, beta);
}

} // namespace

int32_t gamma(Source const& source, int n, double* r, double alpha, double a, double beta) {
  return dispatch(source, n, r, alpha, a, beta);
}
int32_t gamma(Source const& source, int n, float* r, float alpha, float a, float beta) {
  return dispatch(source, n, r, alpha, a, beta);
}

} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngGamma(int32_t, RngStream* stream, int32_t n, double* r, double alpha, double a,
                                 double beta) {
  return entry(stream, n, r, alpha, a, beta);
}
ORV_EXPORT int32_t _rnqsRngGamma(int32_t, RngStream* stream, int32_t n, float* r, float alpha, float a,
                                 float beta) {
  return entry(stream, n, r, alpha, a, beta);
}
