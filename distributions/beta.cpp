// Beta numbers. Both shapes below 1: M. Johnk, Metrika 8 (1964), or A. Atkinson, J. Whittaker, J. Roy. Stat. Soc. A
// 139 (1976); one below and one above: the mixture of the latter; both above: R. Cheng, CACM 21 (1978).
//
// Roots and powers go through logarithms. 1 - x is formed by Expm1, which keeps small x, and densities near 1 by
// Log1p. The single precision entry computes in double precision from single precision uniform numbers: with large
// shapes the tests need more bits than a float has.
#include "distributions/draw.h"
#include "distributions/frame.h"
#include "distributions/kernels.h"
#include "distributions/rejection.h"

namespace orv::distributions {
namespace {

using simd::D;

template <class T>
struct Results {
  T a, beta;
  bool clamp;
  void store(int n, double const* x, T* r) const {
    for (int i = 0; i < n; ++i) r[i] = a + beta * static_cast<T>(x[i]);
    if (clamp) {
      T const low = a, high = a + beta;
      map(n, r,
          [=](simd::Vec<T> y) { return simd::min(simd::Vec<T>(high), simd::max(simd::Vec<T>(low), y)); });
    }
  }
};

template <class T>
struct Johnk : Results<T> {
  using Value = double;
  double p, q;
  Johnk(Results<T> const& results, double p, double q) : Results<T>(results), p(p), q(q) {}
  void look(int m, T const* u, T const* v, double* x, uint8_t* accepted) const {
    double lx[block], ly[block], y[block];
    std::copy(u, u + m, lx);
    std::copy(v, v + m, ly);
    kernel::ln(m, lx, lx);
    kernel::ln(m, ly, ly);
    map(m, lx, [p = p](D l) { return simd::max(l / D(p), D(-0x1.fp1023)); });
    map(m, ly, [q = q](D l) { return simd::max(l / D(q), D(-0x1.fp1023)); });
    kernel::exp(m, lx, x);
    kernel::exp(m, ly, y);
    for (int i = 0; i < m; ++i) {
      double const sum = x[i] + y[i];
      accepted[i] = sum <= 1;
      // Where the powers fall out of the range their ratio is still there.
      x[i] = sum > 1e-290 ? x[i] / sum : 1 / (1 + kernel::exp(ly[i] - lx[i]));
    }
  }
};

// A power on each side of t, for p below 1; q below 1 too or above it.
template <class T>
struct TwoPowers : Results<T> {
  using Value = double;
  double p, q, t, ln_t, pr, ln_pr, ln_rest, ln_other;
  bool mirror;
  TwoPowers(Results<T> const& results, double p, double q, bool mirror)
      : Results<T>(results), p(p), q(q), mirror(mirror) {
    double weight; // of the right side
    if (q < 1) {
      double const left = kernel::sqrt(p * (1 - p)), right = kernel::sqrt(q * (1 - q));
      t = left / (left + right);
      weight = p * (1 - t);
    } else {
      t = (1 - p) / (1 - p + q);
      weight = p * kernel::exp(q * kernel::log1p(-t));
    }
    pr = q * t / (q * t + weight);
    ln_t = kernel::ln(t);
    ln_pr = -kernel::log1p(weight / (q * t));
    ln_other = -kernel::log1p(q * t / weight); // of 1 - pr
    ln_rest = kernel::log1p(-t);
  }
  void look(int m, T const* u, T const* v, double* x, uint8_t* accepted) const {
    Region<double> left, right;
    for (int i = 0; i < m; ++i) {
      bool const is_left = u[i] <= pr;
      left.offer(i, u[i], v[i], is_left);
      right.offer(i, 1 - static_cast<double>(u[i]), v[i], !is_left);
    }
    double l[block];
    kernel::ln(left.count, left.u, left.u);
    kernel::ln(left.count, left.v, left.v);
    map(left.count, left.u, [=, this](D z) { return D(ln_t) + (z - D(ln_pr)) / D(p); });
    kernel::exp(left.count, left.u, left.u);
    std::transform(left.u, left.u + left.count, l, [](double y) { return -y; });
    kernel::log1p(left.count, l, l);
    double const less = q < 1 ? ln_rest : 0; // the hat's height at t, or at 0
    for (int i = 0; i < left.count; ++i) {
      x[left.slot[i]] = mirror ? 1 - left.u[i] : left.u[i];
      accepted[left.slot[i]] = left.v[i] <= (q - 1) * (l[i] - less);
    }
    kernel::ln(right.count, right.u, right.u);
    kernel::ln(right.count, right.v, right.v);
    map(right.count, right.u, [=, this](D z) { return D(ln_rest) + (z - D(ln_other)) / D(q); });
    double rest[block]; // 1 - x, for the mirrored result
    if (mirror) kernel::exp(right.count, right.u, rest);
    kernel::expm1(right.count, right.u, right.u);
    map(right.count, right.u, [](D e) { return negate(e); });
    kernel::ln(right.count, right.u, l);
    for (int i = 0; i < right.count; ++i) {
      x[right.slot[i]] = mirror ? rest[i] : right.u[i];
      accepted[right.slot[i]] = right.v[i] <= (p - 1) * (l[i] - ln_t);
    }
  }
};

// From A = 10^6 on the test shows the last bits of the functions.
template <class T>
struct Cheng : Results<T> {
  using Value = double;
  static constexpr double ln4 = 1.3862943611198906;
  double p, q, sum, b, g;
  int slot;
  Cheng(Results<T> const& results, double p, double q) : Results<T>(results), p(p), q(q), sum(p + q) {
    // (A - 2) / (2 p q - A), without differences of nearly equal numbers and products out of range.
    double const p1 = p - 1, q1 = q - 1;
    b = kernel::sqrt((p1 / q + q1 / q) / (p * (q1 / q) + p1));
    g = p + 1 / b;
    slot = sum > 1e6 ? kernel::ha : kernel::usual<double>;
  }
  void look(int m, T const* u, T const* u2, double* x, uint8_t* accepted) const {
    double l[block], v[block], w[block], l2[block];
    for (int i = 0; i < m; ++i) l[i] = u[i], v[i] = 1 - l[i], l2[i] = u2[i];
    kernel::ln(m, l, l, slot);
    kernel::ln(m, v, v, slot);
    kernel::ln(m, l2, l2, slot);
    // The bound is far outside of what is accepted and keeps the power in its range.
    map(m, l, v, v, [b = b](D a, D c) { return simd::min(D(600), simd::max(D(-600), D(b) * (a - c))); });
    kernel::exp(m, v, w, slot);
    for (int i = 0; i < m; ++i) {
      double const top = p * w[i], bottom = q + top;
      x[i] = top / bottom;
      w[i] = sum / bottom;
    }
    kernel::ln(m, w, w, slot);
    for (int i = 0; i < m; ++i)
      accepted[i] = sum * w[i] - ln4 + g * v[i] - 2 * l[i] - l2[i] >= 0 && x[i] == x[i];
  }
};

// One shape is 1: p = 1 gives 1 - u^(1/q), q = 1 gives u^(1/p).
template <class T>
int32_t power(Source const& source, int n, T* r, Results<T> const& results, double shape, bool of_rest) {
  return closed_form(source, n, r, T(0), T(1), [=](int m, T* out) {
    double x[piece];
    std::copy(out, out + m, x);
    kernel::ln(m, x, x);
    map(m, x, [=](D l) { return l / D(shape); });
    if (of_rest) {
      kernel::expm1(m, x, x);
      map(m, x, [](D e) { return negate(e); });
    } else {
      kernel::exp(m, x, x);
    }
    results.store(m, x, out);
  });
}

template <class T>
int32_t dispatch(Source const& source, int n, T* r, double p, double q, Results<T> const& results) {
  auto const run = [&](auto scheme) { return accept<T>(source, n, r, scheme); };
  if (p < 1 && q < 1) {
    bool const johnk = 0.8522552176537243 * (p * p) + q - 0.9562409713408151 <= 0;
    return johnk ? run(Johnk<T>(results, p, q)) : run(TwoPowers<T>(results, p, q, false));
  }
  if (p < 1 && q > 1) return run(TwoPowers<T>(results, p, q, false));
  if (p > 1 && q < 1) return run(TwoPowers<T>(results, q, p, true));
  if (p > 1 && q > 1) return run(Cheng<T>(results, p, q));
  if (p == 1 && q == 1) {
    int32_t const status = source.uniform(n, r, results.a, results.a + results.beta);
    if (status >= 0 && results.clamp)
      map(n, r, [low = results.a, high = results.a + results.beta](simd::Vec<T> y) {
        return simd::min(simd::Vec<T>(high), simd::max(simd::Vec<T>(low), y));
      });
    return status;
  }
  return p == 1 ? power(source, n, r, results, q, true) : power(source, n, r, results, p, false);
}

template <class T>
int32_t entry(int32_t method, RngStream* stream, int n, T* r, double p, double q, T a, T beta) {
  if (n <= 0) return RnqOk;
  Frame const frame(replace_singular<double, Replace::ln>);
  p = launder(p), q = launder(q), a = launder(a), beta = launder(beta);
  // Infinite shapes, and sums beyond the range, would never accept.
  if (!(p > 0) || !(q > 0) || !(p + q <= simd::Format<double>::largest)) return RnqErrBadArgument;
  return dispatch(Source(stream), n, r, p, q, Results<T>{a, beta, (method & RnqAccurate) != 0});
}

} // namespace
} // namespace orv::distributions

using namespace orv::distributions;

ORV_EXPORT int32_t _rnqdRngBeta(int32_t method, RngStream* stream, int32_t n, double* r, double p, double q,
                                double a, double beta) {
  return entry(method, stream, n, r, p, q, a, beta);
}
ORV_EXPORT int32_t _rnqsRngBeta(int32_t method, RngStream* stream, int32_t n, float* r, float p, float q,
                                float a, float beta) {
  return entry(method, stream, n, r, static_cast<double>(p), static_cast<double>(q), a, beta);
}
