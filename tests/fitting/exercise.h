// A fitting task made of any bytes: built, searched, evaluated and integrated. Tame tasks are compared with plain
// models: cells by counting, values and integrals from the coefficients in extended precision, and the spline with
// what it was made of. Hostile ones only must not lose memory or reach outside of it. For the fuzz target and its
// corpus.
#pragma once
#include "support.h"

#include "tests/support/bytes.h"

namespace fit_test {

using orv::test::Bytes;

template <class T>
class FittingExercise {
 public:
  explicit FittingExercise(Bytes& in) : in_(in) {}

  void run() {
    tame_ = in_.below(4) != 0;
    n_ = 2 + in_.below(40);
    functions_ = 1 + in_.below(3);
    even_ = in_.below(3) == 0;
    make_data();
    int64_t const layout = in_.below(2) ? DFRows : DFInterleaved;
    Task<T> task(x_, y_, functions_,
                 even_          ? DFUniform
                 : in_.below(2) ? DFNonUniform
                                : DFQuasiUniform,
                 layout);
    if (!build(task)) return;
    if (tame_) passes_through(task);
    auto const sites = some_sites();
    if (sites.empty()) return;
    evaluate(task, sites);
    integrate(task, sites);
  }

 private:
  using L = long double;
  using E = Entries<T>;

  T hostile() {
    using N = std::numeric_limits<T>;
    T const values[] = {0,
                        T(-0.0),
                        1,
                        -1,
                        N::min(),
                        N::denorm_min(),
                        -N::min(),
                        N::max(),
                        -N::max(),
                        N::infinity(),
                        -N::infinity(),
                        N::quiet_NaN(),
                        T(1e18),
                        T(-3e-18),
                        T(0.1),
                        7};
    return values[in_.below(16)];
  }
  void make_data() {
    T at = static_cast<T>(in_.below(64) - 32);
    T const step = std::ldexp(T(1), in_.below(12) - 6);
    for (int i = 0; i < n_; ++i) {
      x_.push_back(tame_ ? at : hostile());
      at += even_ ? step : step * static_cast<T>(1 + in_.below(16)) / 4;
    }
    for (int i = 0; i < n_ * functions_; ++i)
      y_.push_back(tame_ ? static_cast<T>(in_.below(256) - 128) / 16 : hostile());
    if (in_.below(2))
      for (int j = 0; j < functions_; ++j)
        y_[static_cast<size_t>(j * n_ + n_ - 1)] = y_[static_cast<size_t>(j * n_)];
    for (int i = 0; i <= n_; ++i) inner_.push_back(tame_ ? static_cast<T>(in_.below(9) - 4) : hostile());
    for (int i = 0; i < 2; ++i) ends_.push_back(tame_ ? static_cast<T>(in_.below(9) - 4) : hostile());
  }
  // Whether the task has a spline.
  bool build(Task<T>& task) {
    static constexpr int64_t bounds[] = {0, 1, 2, 12, 24, 36, 48, 64};
    struct Scheme {
      Construct<T> construct;
      int64_t order, type, inner;
    };
    Scheme const schemes[] = {{E::natural, 4, 4, 0}, {E::akima, 4, 5, 0},     {E::bessel, 4, 2, 0},
                              {E::hyman, 4, 9, 0},   {E::hermite, 4, 3, 1},   {E::second, 4, 0, 2},
                              {E::linear, 2, 0, 0},  {E::quadratic, 3, 0, 0}, {E::quadratic, 3, 1, 8}};
    scheme_ = in_.below(9);
    Scheme const& s = schemes[scheme_];
    bound_ = scheme_ == 7 ? 128 : bounds[in_.below(8)];
    bool const knots = s.inner == 8;
    task.spline(s.order, s.type, bound_, ends_.data(), knots ? 0 : s.inner,
                s.inner && !knots ? inner_.data() : nullptr);
    task.task->innerCondType = s.inner;
    return s.construct(task.task, 0, 0, in_.below(2) ? &parallel : nullptr) == 0;
  }
  T break_at(int i) const {
    if (!even_) return x_[static_cast<size_t>(i)];
    T const step = (x_.back() - x_.front()) / static_cast<T>(n_ - 1);
    return i == n_ - 1 ? x_.back() : std::fma(static_cast<T>(i), step, x_.front());
  }
  T knot(int k) const { // of the quadratic spline with knots between the breaks
    return k == 0 ? x_.front() : k == n_ ? x_.back() : T(0.5) * (break_at(k - 1) + break_at(k));
  }
  bool with_knots() const { return scheme_ == 8; }
  int order() const { return scheme_ < 6 ? 4 : scheme_ == 6 ? 2 : 3; }
  int pieces() const { return with_knots() ? n_ : n_ - 1; }
  int cell(T site) const {
    if (!(site < x_.back())) return site == x_.back() ? n_ - 1 : n_;
    int c = 0;
    while (c < n_ && break_at(c) <= site) ++c;
    return c;
  }
  int piece(T site, int c) const {
    int const p = std::clamp(c, 1, n_ - 1) - 1;
    return with_knots() && site >= knot(p + 1) ? p + 1 : p;
  }
  // The polynomial of a piece, its derivative (-1: its integral from the break), and the size of its terms.
  std::pair<L, L> polynomial(Task<T> const& task, int j, int p, T site, int r) const {
    L const t = static_cast<L>(site - break_at(p));
    L sum = 0, size = 0;
    for (int k = std::max(r, 0); k < order(); ++k) {
      L f = r < 0 ? 1 / L(k + 1) : 1;
      for (int i = 0; i < r; ++i) f *= k - i;
      L const term = task.row(j)[p * order() + k] * f * std::pow(t, k - r);
      sum += term, size += std::fabs(term);
    }
    return {sum, size};
  }
  // On an even partition a site within a rounding of a break may count to either side of it.
  void expect_cell(T site, int found) const {
    int const c = cell(site);
    if (found == c) return;
    ASSERT_TRUE(even_ && std::abs(found - c) == 1 && site < x_.back() && site >= x_.front())
        << "site " << site;
    T const size = std::max(std::fabs(x_.front()), std::fabs(x_.back()));
    ASSERT_LE(std::fabs(site - break_at(std::max(found, c) - 1)),
              4 * std::numeric_limits<T>::epsilon() * size)
        << "site " << site << " in cell " << found;
  }
  static L least() { return 64 * L(std::numeric_limits<T>::denorm_min()); }
  L unit() const { return 32 * std::numeric_limits<T>::epsilon(); }

  // Each break's value, and no step at the ends of pieces. The recurrence of the middle values alone may swing up.
  void passes_through(Task<T> const& task) {
    for (int j = 0; j < functions_; ++j)
      for (int i = 0; i < n_; ++i) {
        int const p = with_knots() ? i : std::min(i, n_ - 2);
        auto const [value, size] = polynomial(task, j, p, break_at(i), 0);
        T const y = y_[static_cast<size_t>(j * n_ + i)];
        L const scale = size + std::fabs(L(y)) + 16;
        ASSERT_LE(std::fabs(value - y), 64 * unit() * scale)
            << "scheme " << scheme_ << " ends " << bound_ << " break " << i;
        if (with_knots() && i > 0) {
          auto const [left, a] = polynomial(task, j, i - 1, knot(i), 0);
          auto const [right, b] = polynomial(task, j, i, knot(i), 0);
          ASSERT_LE(std::fabs(left - right), 256 * unit() * (a + b + 16)) << "knot " << i;
        }
      }
  }
  std::vector<T> some_sites() {
    std::vector<T> sites;
    for (int k = in_.below(150); k > 0; --k) {
      int const form = in_.below(4);
      T const at = break_at(in_.below(n_));
      sites.push_back(!tame_ && form == 3 ? hostile()
                      : form == 0         ? at
                      : form == 1         ? std::nextafter(at, T(in_.below(2) ? 1e9 : -1e9))
                                          : at + static_cast<T>(in_.below(65) - 32) / 16);
    }
    sorted_ = in_.below(2);
    if (sorted_ && tame_) std::sort(sites.begin(), sites.end());
    return sites;
  }
  void evaluate(Task<T> const& task, std::vector<T> const& sites) {
    auto const count = static_cast<int64_t>(sites.size());
    int64_t const hint = sorted_ && tame_ ? DFSitesSorted : 0;
    std::vector<int32_t>& cells = cells_;
    std::vector<int32_t> flags;
    cells.assign(sites.size(), -1);
    ASSERT_EQ(E::search(task.task, 0, count, sites.data(), hint, nullptr, cells.data(), nullptr, nullptr,
                        &parallel),
              0);
    for (int k = in_.below(6); k > 0; --k) flags.push_back(in_.below(2));
    std::vector<int> asked;
    for (size_t k = 0; k < flags.size(); ++k)
      if (flags[k]) asked.push_back(static_cast<int>(k));
    if (asked.empty()) asked = {0};
    auto const q = static_cast<int64_t>(asked.size());
    std::vector<T> r(sites.size() * static_cast<size_t>(functions_ * q), T(-9));
    ASSERT_EQ(E::interpolate(task.task, 1, 0, count, sites.data(), hint, static_cast<int64_t>(flags.size()),
                             flags.data(), nullptr, r.data(), DFResultFuncSiteDeriv, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &parallel),
              0);
    if (!tame_) return;
    auto at = r.begin();
    for (size_t i = 0; i < sites.size(); ++i) expect_cell(sites[i], cells[i]);
    for (int j = 0; j < functions_; ++j)
      for (size_t i = 0; i < sites.size(); ++i)
        for (int const d : asked) {
          T const site = sites[i];
          auto const [want, size] = polynomial(task, j, piece(site, cells[i]), site, d);
          ASSERT_LE(std::fabs(*at++ - want), unit() * size + least()) << "derivative " << d << " at " << site;
        }
  }
  void integrate(Task<T> const& task, std::vector<T> const& sites) {
    std::vector<T> const a(sites.begin(), sites.end() - 1), b(sites.begin() + 1, sites.end());
    if (a.empty()) return;
    std::vector<T> r(a.size() * static_cast<size_t>(functions_));
    ASSERT_EQ(E::integrate(task.task, 0, static_cast<int64_t>(a.size()), a.data(), 0, b.data(), 0, nullptr,
                           nullptr, r.data(), DFIntegralFuncLimit, nullptr, nullptr, nullptr, nullptr,
                           nullptr, nullptr, nullptr, nullptr, &parallel),
              0);
    if (!tame_) return;
    for (int j = 0; j < functions_; ++j)
      for (size_t i = 0; i < a.size(); ++i) {
        T const low = std::min(a[i], b[i]), high = std::max(a[i], b[i]);
        bool const turned = b[i] < a[i];
        int const first = piece(low, cells_[turned ? i + 1 : i]),
                  last = piece(high, cells_[turned ? i : i + 1]);
        L sum = 0, size = 0;
        for (int p = first; p <= last; ++p) {
          T const from = p == first ? low : with_knots() ? knot(p) : break_at(p);
          T const to = p == last ? high : with_knots() ? knot(p + 1) : break_at(p + 1);
          auto const [left, left_size] = polynomial(task, j, p, from, -1);
          auto const [right, right_size] = polynomial(task, j, p, to, -1);
          sum += right - left, size += right_size + left_size;
        }
        ASSERT_LE(std::fabs(r[static_cast<size_t>(j) * a.size() + i] - (b[i] < a[i] ? -sum : sum)),
                  4 * unit() * size + least())
            << "from " << a[i] << " to " << b[i];
      }
  }

  Bytes& in_;
  bool tame_ = true, even_ = false, sorted_ = false;
  int n_ = 0, functions_ = 0, scheme_ = 0;
  int64_t bound_ = 0;
  std::vector<T> x_, y_, inner_, ends_;
  std::vector<int32_t> cells_; // of the sites, as they were found
};

inline void exercise_fitting(uint8_t const* data, size_t size) {
  Bytes in(data, size);
  int64_t const before = orv_serv_blocks_in_use();
  if (in.below(2))
    FittingExercise<double>(in).run();
  else
    FittingExercise<float>(in).run();
  ASSERT_EQ(orv_serv_blocks_in_use(), before);
}

} // namespace fit_test
