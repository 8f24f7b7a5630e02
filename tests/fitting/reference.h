// Splines by their definition in quadruple precision: every piece is a polynomial in u = t / h with unknown
// coefficients, each condition (a value, a continuity, an end condition) is one linear equation, and the
// whole system is solved with pivoting. Nothing here knows how the library forms slopes.
#pragma once
#include <algorithm>
#include <cstddef>
#include <vector>

namespace fit_test {

using Quad = __float128;

inline Quad magnitude(Quad v) { return v < 0 ? -v : v; }

// A x = b by elimination with row pivoting; equations are appended one by one.
class Equations {
 public:
  explicit Equations(size_t unknowns) : unknowns_(unknowns) {}
  // The next equation: coefficients are set in the returned row, whose last element is the right side.
  std::vector<Quad>& add() {
    rows_.emplace_back(unknowns_ + 1, Quad(0));
    return rows_.back();
  }
  std::vector<Quad> solve() {
    size_t const n = unknowns_;
    if (rows_.size() != n) return {};
    for (auto& row : rows_) { // rows of different units weigh the same in the choice of pivots
      Quad top = 0;
      for (size_t c = 0; c < n; ++c) top = std::max(top, magnitude(row[c]));
      for (auto& e : row) e /= top;
    }
    for (size_t k = 0; k < n; ++k) {
      size_t best = k;
      for (size_t r = k + 1; r < n; ++r)
        if (magnitude(rows_[r][k]) > magnitude(rows_[best][k])) best = r;
      std::swap(rows_[k], rows_[best]);
      for (size_t r = k + 1; r < n; ++r) {
        if (rows_[r][k] == 0) continue;
        Quad const f = rows_[r][k] / rows_[k][k];
        for (size_t c = k; c <= n; ++c)
          if (rows_[k][c] != 0) rows_[r][c] -= f * rows_[k][c];
      }
    }
    std::vector<Quad> x(n);
    for (size_t k = n; k-- > 0;) {
      Quad sum = rows_[k][n];
      for (size_t c = k + 1; c < n; ++c) sum -= rows_[k][c] * x[c];
      x[k] = sum / rows_[k][k];
    }
    return x;
  }

 private:
  size_t unknowns_;
  std::vector<std::vector<Quad>> rows_;
};

// Pieces of `order` coefficients with an origin and a unit of length each.
class Definition {
 public:
  Definition(size_t order, std::vector<Quad> origins, std::vector<Quad> units)
      : order_(order), origins_(std::move(origins)), units_(std::move(units)),
        system_(order * origins_.size()) {}

  // Adds factor * (derivative r of piece p at x) to an equation.
  void term(std::vector<Quad>& row, size_t p, int r, Quad x, Quad factor) const {
    Quad const u = (x - origins_[p]) / units_[p];
    for (size_t k = static_cast<size_t>(r); k < order_; ++k) {
      Quad v = factor;
      for (size_t i = 0; i < static_cast<size_t>(r); ++i) v *= static_cast<Quad>(k - i) / units_[p];
      for (size_t i = static_cast<size_t>(r); i < k; ++i) v *= u;
      row[p * order_ + k] += v;
    }
  }
  void value(size_t p, int r, Quad x, Quad v) {
    auto& row = system_.add();
    term(row, p, r, x, 1);
    row.back() = v;
  }
  void equal(size_t p, Quad x, size_t p2, Quad x2, int r) {
    auto& row = system_.add();
    term(row, p, r, x, 1);
    term(row, p2, r, x2, -1);
  }
  // Coefficients in powers of the distance from each origin.
  std::vector<Quad> solve() {
    auto c = system_.solve();
    for (size_t p = 0; p < c.size() / order_; ++p) {
      Quad scale = 1;
      for (size_t k = 0; k < order_; ++k, scale /= units_[p]) c[p * order_ + k] *= scale;
    }
    return c;
  }

 private:
  size_t order_;
  std::vector<Quad> origins_, units_;
  Equations system_;
};

} // namespace fit_test
