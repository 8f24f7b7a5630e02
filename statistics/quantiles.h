// Quantiles of one variable by their orders: which elements they need, and how they follow from them.
#pragma once
#include "statistics/column.h"

namespace orv::statistics {

// Place of the order q among n sorted values: the k-th from 0, and the share of the step to the next. With float data
// both are taken in double where a float can't hold n.
template <class T>
struct Place {
  ptrdiff_t k;
  T f;
};
template <class T>
Place<T> place_of(T q, ptrdiff_t n) {
  auto const in = [n]<class R>(R order) {
    R const last = static_cast<R>(n - 1);
    ptrdiff_t const k = static_cast<ptrdiff_t>(order * last);
    return Place<T>{k, static_cast<T>(__builtin_fma(static_cast<double>(order), static_cast<double>(last),
                                                    -static_cast<double>(k)))};
  };
  if constexpr (sizeof(T) == 4) {
    if (n > 1 << 24) return in(static_cast<double>(q));
    // In float: one rounding of the exact share, which the double above may not be.
    float const last = static_cast<float>(n - 1);
    ptrdiff_t const k = static_cast<ptrdiff_t>(q * last);
    return {k, __builtin_fmaf(q, last, -static_cast<float>(k))};
  } else {
    return in(q);
  }
}

// From a, the element at k, and c, the next one. Infinite neighbours give what their order says, never NaN.
template <class T>
T interpolate(T a, T c, T f) {
  if (f == 0 || a == c) return a;
  T const infinity = std::numeric_limits<T>::infinity(), step = c - a;
  if (a == -infinity && c - c == 0) return a;
  if (step - step != 0 && step == step) { // infinite
    if (f < 0) return a;
    if (a - a == 0 && c - c == 0) return a * (1 - f) + c * f;
  }
  return a + f * step;
}

// Orders of one call.
template <class T>
class Orders {
 public:
  // False if there is no memory.
  bool make(T const* orders, ptrdiff_t count, ptrdiff_t n) {
    n_ = n;
    count_ = count;
    if (count == 0) return true;
    if (!places_.make(count) || !ranks_.make(2, count)) return false;
    for (ptrdiff_t i = 0; i < count; ++i) {
      places_[i] = place_of(orders[i], n);
      ranks_[2 * i] = places_[i].k;
      ranks_[2 * i + 1] = next(i);
    }
    sort_words(ranks_.get(), 2 * count);
    rank_count_ = std::unique(ranks_.get(), ranks_.get() + 2 * count) - ranks_.get();
    return true;
  }
  // Of unsorted keys, which are put in places, or of keys that are sorted already.
  void of_keys(Key<T>* keys, T* quantiles) const {
    select_keys(keys, n_, ranks_.get(), rank_count_);
    of_sorted([&](ptrdiff_t k) { return real_of<T>(keys[k]); }, quantiles);
  }
  template <class Sorted>
  void of_sorted(Sorted sorted, T* quantiles) const {
    for (ptrdiff_t i = 0; i < count_; ++i)
      quantiles[i] = interpolate(sorted(places_[i].k), sorted(next(i)), places_[i].f);
  }

 private:
  ptrdiff_t next(ptrdiff_t i) const { return std::min(places_[i].k + 1, n_ - 1); }
  static void sort_words(ptrdiff_t* a, ptrdiff_t n) {
    if constexpr (sizeof(ptrdiff_t) == 8)
      sort_keys(reinterpret_cast<int64_t*>(a), n);
    else
      sort_keys(reinterpret_cast<int32_t*>(a), n);
  }
  ptrdiff_t n_ = 0, count_ = 0, rank_count_ = 0;
  Scratch<Place<T>> places_;
  Scratch<ptrdiff_t> ranks_;
};

// The median of keys, which are rearranged.
template <class T>
T median_of_keys(Key<T>* keys, ptrdiff_t n) {
  Place<T> const place = place_of(T(0.5), n);
  ptrdiff_t const ranks[] = {place.k, std::min(place.k + 1, n - 1)};
  select_keys(keys, n, ranks, n > 1 ? 2 : 1);
  return interpolate(real_of<T>(keys[ranks[0]]), real_of<T>(keys[ranks[1]]), place.f);
}

} // namespace orv::statistics
