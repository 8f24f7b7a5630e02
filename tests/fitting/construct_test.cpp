// Constructions against the definitions of the splines in quadruple precision, their properties, and their
// statuses.
#include "reference.h"
#include "support.h"

#include <map>

using namespace fit_test;

namespace {

enum class Scheme { Natural, Akima, Bessel, Hyman, Hermite, Second };
char const* const scheme_names[] = {"natural", "akima", "bessel", "hyman", "hermite", "default"};

template <class T>
Construct<T> entry(Scheme s) {
  using E = Entries<T>;
  constexpr Construct<T> entries[] = {E::natural, E::akima, E::bessel, E::hyman, E::hermite, E::second};
  return entries[static_cast<int>(s)];
}

std::vector<Quad> widen(auto const& v) { return {v.begin(), v.end()}; }

struct Problem {
  Scheme scheme;
  int64_t bound;
  bool even;
  std::vector<Quad> x, y, given, inner; // given: the two boundary values
};

std::vector<Quad> cell_widths(std::vector<Quad> const& x) {
  std::vector<Quad> h;
  for (size_t i = 0; i + 1 < x.size(); ++i) h.push_back(x[i + 1] - x[i]);
  return h;
}

bool first_left(int64_t b) { return b == DFBoundFirstFirst || b == DFBoundFirstSecond; }
bool first_right(int64_t b) { return b == DFBoundFirstFirst || b == DFBoundSecondFirst; }
bool has_values(int64_t b) { return b == 12 || b == 24 || b == 36 || b == 48; }

// End conditions on derivatives that all C2 constructions share.
void end_conditions(Definition& d, Problem const& p, size_t last_piece) {
  Quad const zero = 0, a = p.x.front(), b = p.x.back();
  d.value(0, first_left(p.bound) ? 1 : 2, a, has_values(p.bound) ? p.given[0] : zero);
  d.value(last_piece, first_right(p.bound) ? 1 : 2, b, has_values(p.bound) ? p.given[1] : zero);
}

std::vector<Quad> natural_by_definition(Problem const& p) {
  size_t const cells = p.x.size() - 1;
  Definition d(4, {p.x.begin(), p.x.end() - 1}, cell_widths(p.x));
  for (size_t i = 0; i < cells; ++i) {
    d.value(i, 0, p.x[i], p.y[i]);
    d.value(i, 0, p.x[i + 1], p.y[i + 1]);
  }
  for (size_t i = 1; i < cells; ++i)
    for (int r = 1; r <= 2; ++r) d.equal(i - 1, p.x[i], i, p.x[i], r);
  if (p.bound == DFBoundNotAKnot) {
    d.equal(0, p.x[1], 1, p.x[1], 3);
    d.equal(cells - 2, p.x[1], cells - 1, p.x[1], 3);
  } else if (p.bound == DFBoundPeriodic) {
    for (int r = 1; r <= 2; ++r) d.equal(0, p.x[0], cells - 1, p.x[cells], r);
  } else {
    end_conditions(d, p, cells - 1);
  }
  return d.solve();
}

std::vector<Quad> second_by_definition(Problem const& p) {
  size_t const cells = p.x.size() - 1;
  Definition d(4, {p.x.begin(), p.x.end() - 1}, cell_widths(p.x));
  for (size_t i = 0; i < cells; ++i) {
    d.value(i, 0, p.x[i], p.y[i]);
    d.value(i, 0, p.x[i + 1], p.y[i + 1]);
    if (i > 0) d.value(i, 2, p.x[i], p.inner[i - 1]);
    if (i + 1 < cells) d.value(i, 2, p.x[i + 1], p.inner[i]);
  }
  if (p.bound == DFBoundNotAKnot) {
    d.equal(0, p.x[1], 1, p.x[1], 3);
    d.equal(cells - 2, p.x[1], cells - 1, p.x[1], 3);
  } else if (p.bound == DFBoundPeriodic) {
    d.value(0, 2, p.x[0], p.given[0]);
    d.value(cells - 1, 2, p.x[cells], p.given[0]);
  } else {
    end_conditions(d, p, cells - 1);
  }
  return d.solve();
}

std::vector<Quad> local_by_definition(Problem const& p) {
  auto const& [x, y] = std::tie(p.x, p.y);
  size_t const n = x.size();
  auto const h = cell_widths(x);
  std::vector<Quad> s(n - 1), m(n);
  for (size_t i = 0; i + 1 < n; ++i) s[i] = (y[i + 1] - y[i]) / h[i];
  // The slope at the middle of three points of their parabola, by differentiating Lagrange's form.
  auto parabola = [](Quad a, Quad b, Quad c, Quad fa, Quad fb, Quad fc) {
    return fa * (b - c) / ((a - b) * (a - c)) + fb * ((b - a) + (b - c)) / ((b - a) * (b - c)) +
           fc * (b - a) / ((c - a) * (c - b));
  };
  auto change = [&](size_t i) { return magnitude(s[i] - s[i - 1]); };
  auto weighted = [](Quad before, Quad after, Quad s0, Quad s1) {
    return before + after < Quad(1e-10) ? (s0 + s1) / 2 : (after * s0 + before * s1) / (before + after);
  };
  for (size_t i = 1; i + 1 < n; ++i) {
    Quad const bessel = parabola(x[i - 1], x[i], x[i + 1], y[i - 1], y[i], y[i + 1]);
    switch (p.scheme) {
    case Scheme::Akima:
      m[i] = weighted(change(i == 1 ? 1 : i - 1), change(i + 1 == n - 1 ? i : i + 1), s[i - 1], s[i]);
      break;
    case Scheme::Bessel:
      m[i] = bessel;
      break;
    case Scheme::Hyman: {
      Quad const limit = 3 * std::min(magnitude(s[i - 1]), magnitude(s[i]));
      m[i] = s[i - 1] * s[i] <= 0 ? Quad(0)
             : bessel < 0         ? -std::min(-bessel, limit)
                                  : std::min(bessel, limit);
      break;
    }
    default:
      m[i] = p.inner[i - 1];
    }
  }
  if (p.bound == DFBoundPeriodic) {
    if (p.scheme == Scheme::Hermite)
      m[0] = m[n - 1] = p.given[0];
    else if (p.scheme == Scheme::Akima)
      m[0] = m[n - 1] = weighted(change(n - 2), change(1), s[n - 2], s[0]);
    else
      m[0] = m[n - 1] = parabola(-h[n - 2], 0, h[0], y[n - 2], y[0], y[1]);
  } else if (p.bound == DFBoundNotAKnot) {
    // The end rows of the C2 system; on an even partition another rule.
    auto rule = [&](size_t e, size_t e2, Quad next) {
      Quad const both = h[e] + h[e2];
      if (p.even) return (s[e] + s[e2]) / 2 - 2 * next;
      return (((h[e] + 2 * both) * h[e2] * s[e] + h[e] * h[e] * s[e2]) / both - both * next) / h[e2];
    };
    m[0] = rule(0, 1, m[1]);
    m[n - 1] = rule(n - 2, n - 3, m[n - 2]);
  }
  Definition d(4, {x.begin(), x.end() - 1}, h);
  bool const by_condition = p.bound != DFBoundPeriodic && p.bound != DFBoundNotAKnot;
  for (size_t i = 0; i + 1 < n; ++i) {
    d.value(i, 0, x[i], y[i]);
    d.value(i, 0, x[i + 1], y[i + 1]);
    if (i > 0 || !by_condition) d.value(i, 1, x[i], m[i]);
    if (i + 2 < n || !by_condition) d.value(i, 1, x[i + 1], m[i + 1]);
  }
  if (by_condition) end_conditions(d, p, n - 2);
  return d.solve();
}

std::vector<Quad> by_definition(Problem const& p) {
  return p.scheme == Scheme::Natural  ? natural_by_definition(p)
         : p.scheme == Scheme::Second ? second_by_definition(p)
                                      : local_by_definition(p);
}

// The largest difference, in units in the last place of the largest coefficient.
template <class T>
double error_in_ulps(T const* got, std::vector<Quad> const& want) {
  Quad worst = 0, top = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    worst = std::max(worst, magnitude(Quad(got[i]) - want[i]));
    top = std::max(top, magnitude(want[i]));
  }
  T const largest = static_cast<T>(top);
  return static_cast<double>(worst /
                             Quad(std::nextafter(largest, std::numeric_limits<T>::infinity()) - largest));
}
// The same cell by cell, with every coefficient weighed by its power of the cell's width.
template <class T>
double cell_error_in_ulps(T const* got, std::vector<Quad> const& want, std::vector<Quad> const& h,
                          size_t order) {
  double worst = 0;
  for (size_t i = 0; i * order < want.size(); ++i) {
    Quad error = 0, top = 0, scale = 1;
    for (size_t k = 0; k < order; ++k, scale *= h[std::min(i, h.size() - 1)]) {
      error = std::max(error, magnitude(Quad(got[i * order + k]) - want[i * order + k]) * scale);
      top = std::max(top, magnitude(want[i * order + k]) * scale);
    }
    worst = std::max(worst, static_cast<double>(error / top) / std::numeric_limits<T>::epsilon());
  }
  return worst;
}

template <class T>
class Construction : public testing::Test {};
using Reals = testing::Types<double, float>;
TYPED_TEST_SUITE(Construction, Reals);

template <class T>
int minimum(Scheme s) {
  return s == Scheme::Akima ? 5 : s == Scheme::Bessel || s == Scheme::Hyman ? 4 : 3;
}

TYPED_TEST(Construction, CubicsMeetTheirDefinition) {
  using T = TypeParam;
  std::mt19937_64 g(7);
  std::map<std::pair<Scheme, Shape>, std::pair<double, double>> worst;
  for (Scheme const scheme :
       {Scheme::Natural, Scheme::Akima, Scheme::Bessel, Scheme::Hyman, Scheme::Hermite, Scheme::Second})
    for (Shape const shape : {Shape::Even, Shape::Random, Shape::Hard})
      for (int64_t const bound : {0, 1, 2, 12, 36, 24, 48, 64})
        for (int const n : {minimum<T>(scheme), 6, 9, 21}) {
          if (bound == 0 && scheme != Scheme::Akima) continue;
          if (bound == 1 && n == 3) continue; // has no definition of its own
          auto const x = partition<T>(shape, n, g, shape == Shape::Hard ? 0 : -3);
          auto y = random_values<T>(static_cast<size_t>(n), g);
          if (bound == 64) y.back() = y.front();
          auto const given = random_values<T>(2, g), inner = random_values<T>(static_cast<size_t>(n - 2), g);
          bool const even = shape == Shape::Even;
          Problem const problem{scheme, bound, even, widen(x), widen(y), widen(given), widen(inner)};
          auto const want = by_definition(problem);
          ASSERT_EQ(want.size(), static_cast<size_t>(4 * (n - 1)));
          bool const takes_inner = scheme == Scheme::Hermite || scheme == Scheme::Second;
          Task<T> task(x, y, 1, even ? DFUniform : DFNonUniform);
          task.spline(4, 5, bound, given.data(), takes_inner, takes_inner ? inner.data() : nullptr);
          ASSERT_EQ(entry<T>(scheme)(task.task, 0, 0, &serial), 0) << scheme_names[static_cast<int>(scheme)];
          double const e = error_in_ulps(task.row(0), want);
          double const c = cell_error_in_ulps(task.row(0), want, cell_widths(problem.x), 4);
          // Where widths differ by H / h, c and d of a narrow cell are differences of slopes that agree to h
          // / H, so the cell's values are what stays accurate; the end rule of not-a-knot divides by h once
          // more.
          bool const hard = shape == Shape::Hard;
          EXPECT_LT(hard ? c : e, !hard        ? 60
                                  : bound == 1 ? 1e6
                                               : 1000)
              << scheme_names[static_cast<int>(scheme)] << " bound " << bound << " n " << n << " shape "
              << static_cast<int>(shape);
          auto& w = worst[{scheme, shape}];
          w = {std::max(w.first, e), std::max(w.second, c)};
        }
  for (auto const& [key, w] : worst)
    std::printf("[ accuracy ] %s %-8s %-6s largest coefficient %.2f ulp, by cell %.2f ulp\n",
                sizeof(T) == 8 ? "double" : "float ", scheme_names[static_cast<int>(key.first)],
                key.second == Shape::Even     ? "even"
                : key.second == Shape::Random ? "random"
                                              : "hard",
                w.first, w.second);
}

TYPED_TEST(Construction, QuadraticsMeetTheirDefinition) {
  using T = TypeParam;
  std::mt19937_64 g(11);
  double middle = 0, knots = 0;
  for (Shape const shape : {Shape::Even, Shape::Random, Shape::Hard})
    for (int const n : {2, 3, 5, 14}) {
      auto const x = partition<T>(shape, n, g, shape == Shape::Hard ? 0 : -3);
      auto const y = random_values<T>(static_cast<size_t>(n), g);
      auto const xs = widen(x), ys = widen(y);
      auto const h = cell_widths(xs);
      size_t const cells = h.size();
      bool const even = shape == Shape::Even;
      Task<T> task(x, y, 1, even ? DFUniform : DFNonUniform);
      T const mid[] = {T(0.3)};
      {
        Definition d(3, {xs.begin(), xs.end() - 1}, h);
        d.value(0, 0, (xs[0] + xs[1]) / 2, mid[0]);
        for (size_t i = 0; i < cells; ++i) d.value(i, 0, xs[i], ys[i]), d.value(i, 0, xs[i + 1], ys[i + 1]);
        for (size_t i = 1; i < cells; ++i) d.equal(i - 1, xs[i], i, xs[i], 1);
        task.spline(3, 0, DFBoundMidValue, mid);
        ASSERT_EQ(Entries<T>::quadratic(task.task, 0, 0, &serial), 0);
        middle = std::max(middle, error_in_ulps(task.row(0), d.solve()));
      }
      std::vector<T> given(static_cast<size_t>(n + 1));
      for (int k = 1; k < n; ++k) {
        T const a = x[static_cast<size_t>(k - 1)], b = x[static_cast<size_t>(k)];
        given[static_cast<size_t>(k)] = a + (b - a) * T(0.4);
      }
      given.front() = x.front(), given.back() = x.back();
      std::vector<T> const ends{given[1], given[static_cast<size_t>(n - 1)]};
      auto const bound_values = random_values<T>(2, g);
      for (int64_t const bound : {12, 36, 24, 48})
        for (int const kind : {0, 1, 2}) {             // knots in the middle, given, evenly spaced
          if (kind == 2 && (n < 3 || !even)) continue; // evenly spaced ones fit an even partition only
          std::vector<Quad> t(static_cast<size_t>(n + 1));
          for (int k = 1; k < n; ++k) {
            auto const i = static_cast<size_t>(k);
            t[i] = kind == 0   ? (xs[i - 1] + xs[i]) / 2
                   : kind == 1 ? Quad(given[i])
                               : Quad(ends[0]) + (Quad(ends[1]) - ends[0]) * (k - 1) / (n - 2);
          }
          Definition d(3, xs, std::vector<Quad>(xs.size(), (xs.back() - xs.front()) / n));
          auto const last = static_cast<size_t>(n - 1);
          for (size_t i = 0; i <= last; ++i) d.value(i, 0, xs[i], ys[i]);
          for (size_t k = 1; k <= last; ++k)
            for (int r = 0; r < 2; ++r) d.equal(k - 1, t[k], k, t[k], r);
          d.value(0, first_left(bound) ? 1 : 2, xs[0], bound_values[0]);
          d.value(last, first_right(bound) ? 1 : 2, xs[last], bound_values[1]);
          // A null array of knots is not for the spline edit, which wants one for a type; it comes by
          // pointer.
          task.spline(3, 1, bound, bound_values.data(), kind == 2 ? 12 : 8,
                      kind == 2 ? ends.data() : given.data());
          if (kind == 0) task.task->innerCond = nullptr;
          ASSERT_EQ(Entries<T>::quadratic(task.task, 0, 0, &serial), 0);
          double const e = error_in_ulps(task.row(0), d.solve());
          if (shape != Shape::Hard) {
            EXPECT_LT(e, 64) << "n " << n << " kind " << kind << " bound " << bound;
          }
          knots = std::max(knots, e);
        }
    }
  std::printf("[ accuracy ] %s quadratic by middle value %.2f ulp, with knots %.2f ulp\n",
              sizeof(T) == 8 ? "double" : "float ", middle, knots);
  EXPECT_LT(middle, 64);
  EXPECT_LT(knots, 1e6);
}

// Polynomials that a scheme contains come back, and it keeps the continuity that it promises.
TYPED_TEST(Construction, PolynomialsAreReproduced) {
  using T = TypeParam;
  std::mt19937_64 g(5);
  for (Shape const shape : {Shape::Even, Shape::Random})
    for (int const n : {5, 40, 3000}) {
      auto x = partition<T>(shape, n, g, 0);
      for (auto& e : x) e /= x.back();
      auto f = [](T v, int degree) {
        return degree == 1   ? T(2) - 3 * v
               : degree == 2 ? T(1) + v * (T(2) - 3 * v)
                             : T(1) + v * (T(-2) + v * (1 + v));
      };
      struct Case {
        Scheme scheme;
        int degree;
        int64_t bound;
      };
      for (auto const& [scheme, degree, bound] :
           {Case{Scheme::Natural, 3, 1}, Case{Scheme::Natural, 1, 2}, Case{Scheme::Bessel, 2, 12},
            Case{Scheme::Akima, 1, 2}, Case{Scheme::Hyman, 1, 2}}) {
        std::vector<T> y;
        for (T const v : x) y.push_back(f(v, degree));
        T const slopes[] = {degree == 2 ? T(2) : 0, degree == 2 ? T(-4) : 0};
        Task<T> task(x, y, 1, shape == Shape::Even ? DFUniform : DFNonUniform);
        task.spline(4, 5, bound, slopes);
        ASSERT_EQ(entry<T>(scheme)(task.task, 0, 0, &serial), 0);
        auto const sites = random_values<T>(500, g, 0, 1);
        auto const r = task.at(sites);
        for (size_t i = 0; i < sites.size(); ++i)
          ASSERT_NEAR(r[i], f(sites[i], degree), 200 * std::numeric_limits<T>::epsilon())
              << scheme_names[static_cast<int>(scheme)] << " n " << n;
      }
    }
}

TYPED_TEST(Construction, DerivativesAreContinuousAndHymanIsMonotone) {
  using T = TypeParam;
  std::mt19937_64 g(15);
  int const n = 300;
  auto const x = partition<T>(Shape::Random, n, g);
  auto y = random_values<T>(static_cast<size_t>(n), g);
  auto const inner = random_values<T>(static_cast<size_t>(n - 2), g);
  Task<T> task(x, y);
  for (Scheme const scheme :
       {Scheme::Natural, Scheme::Akima, Scheme::Bessel, Scheme::Hyman, Scheme::Hermite}) {
    bool const takes_inner = scheme == Scheme::Hermite;
    task.spline(4, 5, DFBoundFreeEnd, nullptr, takes_inner, takes_inner ? inner.data() : nullptr);
    ASSERT_EQ(entry<T>(scheme)(task.task, 0, 0, &serial), 0);
    T const* c = task.row(0);
    for (int i = 0; i + 2 < n; ++i) {
      T const h = x[static_cast<size_t>(i + 1)] - x[static_cast<size_t>(i)];
      T const *p = c + 4 * i, *q = p + 4;
      T const unit = 100 * std::numeric_limits<T>::epsilon() / h;
      ASSERT_NEAR(p[0] + h * (p[1] + h * (p[2] + h * p[3])), q[0], unit * 20);
      ASSERT_NEAR(p[1] + h * (2 * p[2] + h * 3 * p[3]), q[1], unit * 20);
      if (scheme == Scheme::Natural) {
        ASSERT_NEAR(p[2] + 3 * h * p[3], q[2], unit / h * 20);
      }
    }
    ASSERT_NEAR(c[2], 0, 1000 * std::numeric_limits<T>::epsilon());
  }
  std::sort(y.begin(), y.end());
  Task<T> rising(x, y);
  rising.spline(4, 5, DFBoundFreeEnd);
  ASSERT_EQ(Entries<T>::hyman(rising.task, 0, 0, &serial), 0);
  auto sites = random_values<T>(20000, g, x[1], x[static_cast<size_t>(n - 2)]);
  std::sort(sites.begin(), sites.end());
  auto const r = rising.at(sites);
  for (size_t i = 1; i < r.size(); ++i) ASSERT_GE(r[i], r[i - 1] - 4 * std::numeric_limits<T>::epsilon());
}

// Layouts, hints, blocks and threads decide where numbers lie and who computes them, not what they are.
TYPED_TEST(Construction, LayoutsAndThreadsGiveTheSameBits) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(3);
  for (auto const& [n, functions] : {std::pair{7, 3}, std::pair{700, 6}, std::pair{5001, 5}})
    for (Shape const shape : {Shape::Even, Shape::Random})
      for (int64_t const bound : {2, 48, 64}) {
        auto const x = partition<T>(shape, n, g);
        auto y = random_values<T>(static_cast<size_t>(n * functions), g);
        for (int j = 0; j < functions; ++j)
          y[static_cast<size_t>(j * n + n - 1)] = y[static_cast<size_t>(j * n)];
        auto const inner = random_values<T>(static_cast<size_t>(n - 2), g);
        T const given[] = {T(0.5), T(-0.25)};
        int64_t const hint = shape == Shape::Even ? DFUniform : DFNonUniform;
        Task<T> rows(x, y, functions, hint), interleaved(x, y, functions, hint, DFInterleaved);
        for (Construct<T> const build :
             {E::natural, E::akima, E::bessel, E::hyman, E::hermite, E::second, E::linear}) {
          bool const takes_inner = build == E::hermite || build == E::second;
          int const order = build == E::linear ? 2 : 4;
          for (Task<T>* t : {&rows, &interleaved})
            t->spline(order, 5, bound, given, takes_inner, takes_inner ? inner.data() : nullptr);
          ASSERT_EQ(build(rows.task, 0, 0, nullptr), 0);
          ASSERT_EQ(build(interleaved.task, 0, 0, &parallel), 0);
          ASSERT_EQ(rows.coefficients, interleaved.coefficients);
          // Each function alone gives the same coefficients, and nothing is written past the cells.
          Task<T> alone(x, {y.begin() + n, y.begin() + 2 * n}, 1, hint);
          alone.spline(order, 5, bound, given, takes_inner, takes_inner ? inner.data() : nullptr);
          ASSERT_EQ(build(alone.task, 0, 0, &serial), 0);
          auto const cells = static_cast<size_t>(order * (n - 1));
          ASSERT_EQ(std::memcmp(alone.row(0), rows.row(1), cells * sizeof(T)), 0);
          for (size_t i = cells; i < alone.coefficients.size(); ++i)
            ASSERT_EQ(alone.coefficients[i], T(-777));
        }
      }
}

// Large splines are written past the caches; alone or with others, aligned or not, they have the same bits.
TYPED_TEST(Construction, LargeSplines) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(13);
  int const n = (1 << 18) + 5;
  auto const count = static_cast<size_t>(n);
  for (Shape const shape : {Shape::Even, Shape::Random}) {
    std::vector<T> x(count);
    for (int i = 0; i < n; ++i)
      x[static_cast<size_t>(i)] = static_cast<T>(shape == Shape::Even ? i : i + (i % 3) * 0.25);
    auto const y = random_values<T>(2 * count, g);
    int64_t const hint = shape == Shape::Even ? DFUniform : DFNonUniform;
    Task<T> both(x, y, 2, hint);
    both.spline(4, 5, DFBoundNotAKnot);
    ASSERT_EQ(E::natural(both.task, 0, 0, &parallel), 0);
    Task<T> alone(x, {y.begin() + n, y.end()}, 1, hint);
    for (size_t const shift : {0, 1, 2}) {
      alone.spline(4, 5, DFBoundNotAKnot);
      alone.coefficients.resize(4 * count + 4);
      T* const at = alone.coefficients.data() + shift;
      ASSERT_EQ(E::edit_pointer(alone.task, DFParamCoeffs, at), 0);
      ASSERT_EQ(E::natural(alone.task, 0, 0, &serial), 0);
      EXPECT_EQ(std::memcmp(at, both.row(1), 4 * (count - 1) * sizeof(T)), 0);
    }
  }
}

TYPED_TEST(Construction, SpecialCases) {
  using T = TypeParam;
  using E = Entries<T>;
  T const unit = 10 * std::numeric_limits<T>::epsilon();
  { // the straight line through two breaks
    Task<T> task({0, 2}, {1, 5});
    task.spline(4, 0, DFBoundFreeEnd);
    ASSERT_EQ(E::natural(task.task, 0, 0, &serial), 0);
    T const want[] = {1, 2, 0, 0};
    for (int k = 0; k < 4; ++k) EXPECT_NEAR(task.row(0)[k], want[k], unit);
  }
  { // not a knot with three breaks sets the middle slope to zero
    Task<T> task({0, 1, 3}, {1, 2, 0});
    task.spline(4, 0, DFBoundNotAKnot);
    ASSERT_EQ(E::natural(task.task, 0, 0, &serial), 0);
    EXPECT_EQ(task.row(0)[5], 0);
    // rows 0 and 2 without their middle unknown: m0 = ((1 + 6) 2 (1) + 1 (-1)) / 3 / 2
    EXPECT_NEAR(task.row(0)[1], T(13) / 6, unit);
  }
  { // given slopes come back exactly
    std::mt19937_64 g(1);
    auto const x = partition<T>(Shape::Random, 50, g);
    Task<T> task(x, random_values<T>(50, g));
    T const slopes[] = {T(0.1), T(-7)};
    task.spline(4, 0, DFBoundFirstFirst, slopes);
    ASSERT_EQ(E::natural(task.task, 0, 0, &serial), 0);
    EXPECT_EQ(task.row(0)[1], slopes[0]);
  }
  { // Akima on a line, Hyman at an extremum
    std::vector<T> const x{0, 1, 2, 3, 4, 5};
    Task<T> line(x, {0, 2, 4, 6, 8, 10}), bump(x, {0, 1, 4, 2, 1, 1});
    line.spline(4, 0, DFBoundNone);
    bump.spline(4, 0, DFBoundFreeEnd);
    ASSERT_EQ(E::akima(line.task, 0, 0, &serial), 0);
    ASSERT_EQ(E::hyman(bump.task, 0, 0, &serial), 0);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(line.row(0)[4 * i + 1], 2);
    EXPECT_EQ(bump.row(0)[4 * 2 + 1], 0);
    EXPECT_GT(bump.row(0)[4 * 1 + 1], 0);
  }
  { // three breaks and not a knot on both sides: free ends
    T const inner[] = {T(0.75)};
    Task<T> a({0, 1, 3}, {1, 2, 0}), b({0, 1, 3}, {1, 2, 0});
    a.spline(4, 0, DFBoundNotAKnot, nullptr, 1, inner);
    b.spline(4, 0, DFBoundFreeEnd, nullptr, 1, inner);
    ASSERT_EQ(E::second(a.task, 0, 0, &serial), 0);
    ASSERT_EQ(E::second(b.task, 0, 0, &serial), 0);
    EXPECT_EQ(a.coefficients, b.coefficients);
  }
}

TYPED_TEST(Construction, Statuses) {
  using T = TypeParam;
  using E = Entries<T>;
  std::vector<T> const x{0, 1, 2, 3, 4, 5}, y{0, 1, 0, 2, 1, 3}, values{1, 2, 3, 4, 5, 6, 7};
  struct Case {
    Construct<T> build;
    int n;
    int64_t type, bound, inner_type, layout, method;
    bool bound_values, inner;
    int32_t want;
  };
  Case const cases[] = {
      {E::akima, 4, 0, 999, 0, 99, 0, true, true, DFStatusBadBreakCount},
      {E::akima, 5, 0, 999, 0, 99, 0, true, true, DFStatusBadValueHint},
      {E::akima, 5, 0, 999, 0, 16, 0, true, true, DFStatusBadBoundCondType},
      {E::akima, 5, 3, 64, 0, 16, 0, false, true, DFStatusNullBoundCond},
      {E::akima, 5, 5, 64, 0, 16, 0, false, true, DFStatusPeriodMismatch},
      {E::akima, 5, 0, 0, 0, 16, 0, false, true, 0},
      {E::bessel, 3, 0, 0, 0, 16, 0, false, true, DFStatusBadBreakCount},
      {E::bessel, 4, 0, 0, 0, 16, 0, false, true, DFStatusBadBoundCondType},
      {E::hyman, 3, 0, 2, 0, 16, 0, false, true, DFStatusBadBreakCount},
      {E::hyman, 4, 0, 48, 0, 16, 0, false, true, DFStatusNullBoundCond},
      {E::hermite, 2, 0, 2, 1, 16, 0, false, true, DFStatusBadBreakCount},
      {E::hermite, 3, 0, 128, 1, 16, 0, false, false, DFStatusBadBoundCondType},
      {E::hermite, 3, 0, 2, 1, 16, 0, false, false, DFStatusNullInnerCond},
      {E::hermite, 3, 5, 64, 1, 16, 0, false, true, DFStatusNullBoundCond},
      {E::second, 2, 0, 2, 1, 16, 0, false, true, DFStatusBadBreakCount},
      {E::second, 3, 0, 2, 1, 16, 0, false, false, DFStatusNullInnerCond},
      {E::second, 4, 5, 64, 1, 16, 0, true, true, DFStatusPeriodMismatch},
      {E::natural, 2, 0, 1, 0, 99, 7, false, true, DFStatusBadMethod},
      {E::natural, 2, 0, 1, 0, 99, 0, false, true, DFStatusBadBreakCount},
      {E::natural, 3, 0, 1, 0, 99, 0, false, true, DFStatusBadValueHint},
      {E::natural, 3, 0, 24, 0, 16, 0, false, true, DFStatusNullBoundCond},
      {E::natural, 3, 0, 0, 0, 16, 0, false, true, DFStatusBadBoundCondType},
      {E::natural, 4, 5, 64, 0, 16, 0, false, true, DFStatusPeriodMismatch},
      {E::linear, 2, 0, 64, 0, 99, 1, false, true, DFStatusBadMethod},
      {E::linear, 2, 0, 64, 0, 99, 0, false, true, DFStatusBadValueHint},
      {E::linear, 2, 0, 64, 0, 16, 0, false, true, DFStatusPeriodMismatch},
      {E::linear, 2, 0, 999, 0, 16, 0, false, true, 0},
      {E::quadratic, 5, 2, 2, 0, 99, 3, false, true, DFStatusBadValueHint},
      {E::quadratic, 5, 2, 2, 0, 16, 3, false, true, DFStatusBadMethod},
      {E::quadratic, 5, 0, 2, 0, 16, 3, false, true, DFStatusBadBoundCondType},
      {E::quadratic, 5, 0, 128, 0, 16, 3, false, true, DFStatusNullBoundCond},
      {E::quadratic, 5, 1, 999, 4, 16, 0, false, false, DFStatusBadInnerCondType},
      {E::quadratic, 5, 1, 999, 8, 16, 0, false, false, DFStatusBadBoundCondType},
      {E::quadratic, 5, 1, 12, 8, 16, 0, false, false, DFStatusNullBoundCond},
      {E::quadratic, 5, 1, 64, 8, 16, 0, true, false, DFStatusBadBoundCondType},
      {E::quadratic, 5, 1, 2, 8, 16, 0, true, false, DFStatusBadBoundCondType},
      {E::quadratic, 5, 1, 12, 8, 16, 0, true, true, DFStatusNullInnerCond}, // knots don't begin at x[0]
      {E::quadratic, 5, 1, 12, 12, 16, 0, true, true, 0},
  };
  for (auto const& c : cases) {
    Task<T> task({x.begin(), x.begin() + c.n}, y);
    task.coefficients.resize(100);
    ASSERT_EQ(E::edit_spline(task.task, 4, c.type, 2, nullptr, 0, nullptr, task.coefficients.data(), 16), 0);
    task.task->boundCondType = c.bound;
    task.task->valueHint = c.layout;
    task.task->innerCondType = c.inner_type;
    if (c.bound_values) task.task->boundCond = values.data();
    if (c.inner) task.task->innerCond = values.data();
    EXPECT_EQ(c.build(task.task, 0, c.method, &serial), c.want) << "case " << (&c - cases);
  }
  EXPECT_EQ(E::akima(nullptr, 0, 0, &serial), DFStatusNullTask);
  { // a repeated break makes a pivot zero
    Task<T> task({0, 0, 0, 1}, {0, 1, 2, 3});
    task.spline(4, 0, DFBoundFirstFirst, values.data());
    EXPECT_EQ(E::natural(task.task, 0, 0, &serial), DFStatusSolverFailure);
  }
}

TYPED_TEST(Construction, EveryAllocationMayFail) {
  using T = TypeParam;
  using E = Entries<T>;
  std::mt19937_64 g(2);
  int const n = 5000, functions = 3;
  auto const x = partition<T>(Shape::Random, n, g);
  auto y = random_values<T>(static_cast<size_t>(n * functions), g);
  for (int j = 0; j < functions; ++j) y[static_cast<size_t>(j * n + n - 1)] = y[static_cast<size_t>(j * n)];
  std::vector<T> const given(static_cast<size_t>(n + 1), 0);
  for (int64_t const layout : {DFRows, DFInterleaved})
    for (int64_t const bound : {2, 64}) {
      Task<T> task(x, y, functions, DFNonUniform, layout);
      for (Construct<T> const build : {E::natural, E::akima, E::bessel, E::hyman, E::hermite, E::second}) {
        task.spline(4, 5, bound, given.data(), 1, given.data());
        EXPECT_GE(walk_allocations([&] { return build(task.task, 0, 0, &parallel); }),
                  build == E::second && layout == DFRows ? 0 : 1);
      }
      task.spline(3, 0, DFBoundMidValue, given.data());
      EXPECT_EQ(walk_allocations([&] { return E::quadratic(task.task, 0, 0, &serial); }), 1);
      task.spline(3, 1, DFBoundSecondSecond, given.data(), 8, given.data());
      task.task->innerCond = nullptr;
      EXPECT_EQ(walk_allocations([&] { return E::quadratic(task.task, 0, 0, &serial); }), 1);
    }
}

} // namespace
