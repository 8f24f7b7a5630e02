// Mahalanobis distances of observations, a panel of rows at a time: differences from the location stand variable by
// variable in the panel, so that the quadratic form runs over rows in vectors.
#pragma once
#include "statistics/column.h"

namespace orv::statistics {

template <class T>
struct Distances {
  static constexpr int vectors = 4, width = vectors * simd::Vec<T>::lanes; // rows of a panel

  DataSet<T const> data;
  T const* location;
  T const* inverse; // elements (i, j), j not below i, at i p + j; null stands for the identity

  static size_t panel_size(ptrdiff_t p) { return static_cast<size_t>(p) * width; }

  // Of rows first to last, to the same places of `out`.
  void of_rows(ptrdiff_t first, ptrdiff_t last, T* out, T* panel) const {
    for (ptrdiff_t i = first; i < last; i += width) {
      ptrdiff_t const count = std::min<ptrdiff_t>(width, last - i);
      fill(i, count, panel);
      T result[width];
      forms(panel, result);
      std::copy_n(result, count, out + i);
    }
  }

 private:
  using V = simd::Vec<T>;

  void fill(ptrdiff_t first, ptrdiff_t count, T* panel) const {
    ptrdiff_t const p = data.p;
    if (count < width) std::fill_n(panel, p * width, T(0));
    if (data.rows_layout) {
      for (ptrdiff_t j = 0; j < p; ++j) {
        T const* const x = data.data + j * data.n + first;
        T const center = location[j];
        for (ptrdiff_t l = 0; l < count; ++l) panel[j * width + l] = x[l] - center;
      }
      return;
    }
    for (ptrdiff_t l = 0; l < count; ++l) {
      T const* const x = data.data + (first + l) * p;
      for (ptrdiff_t j = 0; j < p; ++j) panel[j * width + l] = x[j] - location[j];
    }
  }
  // Roots of the quadratic forms: twice the upper triangle with half the diagonal. One below 0, which rounding may
  // leave, counts as 0.
  void forms(T const* panel, T* result) const {
    ptrdiff_t const p = data.p;
    V total[vectors];
    for (auto& t : total) t = V(T(0));
    for (ptrdiff_t i = 0; i < p; ++i) {
      V own[vectors], sum[vectors];
      V const diagonal(inverse ? inverse[i * p + i] * T(0.5) : T(0.5));
      for (int v = 0; v < vectors; ++v) {
        own[v] = simd::load(panel + i * width + v * V::lanes);
        sum[v] = diagonal * own[v];
      }
      for (ptrdiff_t j = i + 1; inverse && j < p; ++j) {
        V const a(inverse[i * p + j]);
        for (int v = 0; v < vectors; ++v)
          sum[v] = fma(a, simd::load(panel + j * width + v * V::lanes), sum[v]);
      }
      for (int v = 0; v < vectors; ++v) total[v] = fma(own[v], sum[v], total[v]);
    }
    for (int v = 0; v < vectors; ++v) {
      V const form = total[v] + total[v];
      simd::store(result + v * V::lanes, sqrt(simd::drop(simd::is_less(form, V(T(0))), form)));
    }
  }
};

} // namespace orv::statistics
