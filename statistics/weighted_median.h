// Weighted quantile of one variable.
#pragma once
#include "statistics/quantiles.h"

namespace orv::statistics {

// A sum that carries what it lost.
struct CarefulSum {
  double high = 0, low = 0;
  void add(double x) {
    double const s = high + x, back = s - high;
    low += (high - (s - back)) + (x - back);
    high = s;
  }
  double value() const { return high + low; }
};

// `keys` are sorted, `weights` are theirs. Sums of weights that ought to be equal may differ by their rounding.
template <class T>
T weighted_quantile_of_sorted(Key<T> const* keys, T const* weights, ptrdiff_t n, double q) {
  auto const weight = [&](ptrdiff_t i) { return static_cast<double>(weights[i]); };
  CarefulSum all;
  ptrdiff_t last = 0; // of positive weight
  for (ptrdiff_t i = 0; i < n; ++i) {
    all.add(weight(i));
    if (weight(i) > 0) last = i;
  }
  double const total = all.value(), target = total * q;
  double const slack = 4 * std::numeric_limits<double>::epsilon() * total;
  CarefulSum sum;
  double before = 0, here = 0;
  ptrdiff_t i = 0;
  for (;; ++i) {
    before = sum.value();
    sum.add(weight(i));
    here = sum.value();
    if (here >= target - slack || i >= last) break;
  }
  T const x = real_of<T>(keys[i]);
  if (here > target + slack) {
    if (!(before > 0)) return x;
    ptrdiff_t j = i - 1;
    while (j > 0 && !(weight(j) > 0)) --j;
    double const gap = before - (total - weight(i)) * q;
    if (n % 2 && gap <= slack && gap >= -slack) return x;
    return interpolate(real_of<T>(keys[j]), x, static_cast<T>((target - before) / (here - before)));
  }
  if (n % 2 || i == n - 1) return x;
  ptrdiff_t next = i + 1;
  while (next < n - 1 && !(weight(next) > 0)) ++next;
  return interpolate(x, real_of<T>(keys[next]), T(0.5));
}

// Room for n keys and n weights is given.
template <class T>
T weighted_quantile(Column<T const> x, T const* weights, ptrdiff_t n, double q, Key<T>* keys,
                    T* own_weights) {
  constexpr Key<T> most =
      std::numeric_limits<Key<T>>::max(); // pads in the sort: that one NaN turns into another
  x.keys_to(keys, n);
  for (ptrdiff_t i = 0; i < n; ++i) keys[i] -= keys[i] == most;
  std::copy_n(weights, n, own_weights);
  sort_pairs(keys, reinterpret_cast<Key<T>*>(own_weights), n);
  return weighted_quantile_of_sorted(keys, own_weights, n, q);
}

} // namespace orv::statistics
