// First phase of the robust covariance: an orthogonalized pairwise estimate (Maronna and Zamar 2002) and the weights
// of 0 and 1 that its distances give. Results don't depend on the number of threads.
#pragma once
#include "frame/linalg.h"
#include "statistics/chi_square.h"
#include "statistics/location_scale.h"
#include "statistics/parallel.h"

namespace orv::statistics {

template <class T>
class RobustStart {
 public:
  RobustStart(DataSet<T const> const& data, SSThreadServices const* services)
      : data_(data), services_(services) {
    ptrdiff_t const most = 1250000 / (3 * data.n);
    threads_ = std::max<ptrdiff_t>(1, std::min(max_threads(services), most));
  }

  // Weights of all observations.
  int32_t weights(T* out) {
    size_t const p = static_cast<size_t>(data_.p), n = static_cast<size_t>(data_.n);
    if (!columns_.make(p, n) || !projected_.make(p, n) || !keys_.make(static_cast<size_t>(threads_), n) ||
        !packed_.make(p, p + 1) || !vectors_.make(p, p) || !scales_.make(3, p))
      return SSOutOfMemory;
    standardize();
    correlate();
    if (int32_t const status = eigenvectors()) return status;
    project();
    T* const squares = columns_.get(); // the first column, whose data are done with
    sum_squares(squares);
    __builtin_memcpy(keys_.get(), squares, n * sizeof(T));
    flip_all<T>(keys_.get(), data_.n);
    double const median = static_cast<double>(median_of_keys<T>(keys_.get(), data_.n)),
                 order = static_cast<double>(p);
    T const cut = static_cast<T>(chi_square_quantile(order, 0.9) * median / chi_square_quantile(order, 0.5));
    for (size_t i = 0; i < n; ++i) out[i] = squares[i] < cut ? T(1) : T(0);
    return 0;
  }

 private:
  T* column(ptrdiff_t j) const { return columns_.get() + j * data_.n; }
  T* projection(ptrdiff_t j) const { return projected_.get() + j * data_.n; }
  Key<T>* keys(ptrdiff_t thread) const { return keys_.get() + thread * data_.n; }
  static T inverse(T scale) { return scale > 0 ? 1 / scale : T(0); }

  // Columns about their locations in units of their scales; where a scale is 0, all 0.
  void standardize() {
    auto work = [this](ptrdiff_t j, ptrdiff_t thread) {
      T* const x = column(j);
      data_.column(j).copy_to(x, data_.n);
      auto const [location, scale] = robust_location_scale(x, data_.n, keys(thread));
      T const factor = inverse(scale);
      for (ptrdiff_t i = 0; i < data_.n; ++i) x[i] = factor > 0 ? (x[i] - location) * factor : T(0);
    };
    for_each(services_, data_.p, threads_, work);
  }

  // Pairwise correlations from the scales of sums and differences, packed as the upper triangle row after row.
  void correlate() {
    ptrdiff_t const p = data_.p;
    auto work = [this, p](ptrdiff_t pair, ptrdiff_t thread) {
      ptrdiff_t i = 0;
      for (ptrdiff_t left = pair; left >= p - 1 - i; ++i) left -= p - 1 - i;
      ptrdiff_t const j = pair - (i * (p - 1) - i * (i - 1) / 2) + i + 1;
      T const *a = column(i), *b = column(j);
      T* const z = projection(thread);
      T scale[2];
      for (int sign = 0; sign < 2; ++sign) {
        for (ptrdiff_t k = 0; k < data_.n; ++k) z[k] = sign ? a[k] - b[k] : a[k] + b[k];
        scale[sign] = robust_location_scale(z, data_.n, keys(thread)).scale;
      }
      packed_[place(Packing::upper, p, i, j)] = (scale[0] * scale[0] - scale[1] * scale[1]) / 4;
    };
    for (ptrdiff_t i = 0; i < p; ++i) packed_[place(Packing::upper, p, i, i)] = 1;
    for_each(services_, p * (p - 1) / 2, std::min(threads_, p), work);
  }

  int32_t eigenvectors() {
    int const p = static_cast<int>(data_.p);
    int const room = 1 + 6 * p + p * p, integers = 3 + 5 * p;
    Scratch<T> work(static_cast<size_t>(room));
    Scratch<int> integer_work(static_cast<size_t>(integers));
    if (!work || !integer_work) return SSOutOfMemory;
    int info = 0;
    core::Linalg<T>::spevd("V", "L", &p, packed_.get(), scales_.get(), vectors_.get(), &p, work.get(), &room,
                           integer_work.get(), &integers, &info);
    return info == 0 ? 0 : SSRobustEigenFailed;
  }

  void project() {
    int const n = static_cast<int>(data_.n), p = static_cast<int>(data_.p);
    T const one = 1, zero = 0;
    core::Linalg<T>::gemm("n", "n", &n, &p, &p, &one, columns_.get(), &n, vectors_.get(), &p, &zero,
                          projected_.get(), &n);
  }

  // Squared distances along the components, in units of their scales.
  void sum_squares(T* sums) {
    T *const locations = scales_.get(), *const factors = locations + data_.p;
    auto work = [&](ptrdiff_t j, ptrdiff_t thread) {
      auto const [location, scale] = robust_location_scale(projection(j), data_.n, keys(thread));
      locations[j] = location;
      factors[j] = inverse(scale);
    };
    for_each(services_, data_.p, threads_, work);
    auto add = [&](ptrdiff_t first, ptrdiff_t last, ptrdiff_t) {
      std::fill(sums + first, sums + last, T(0));
      for (ptrdiff_t j = 0; j < data_.p; ++j) {
        T const *z = projection(j), location = locations[j], factor = factors[j];
        for (ptrdiff_t i = first; i < last; ++i) {
          T const u = factor > 0 ? (z[i] - location) * factor : T(0);
          sums[i] = u * u + sums[i];
        }
      }
    };
    for_ranges(services_, data_.n, threads_, add);
  }

  DataSet<T const> data_;
  SSThreadServices const* services_;
  ptrdiff_t threads_;
  Scratch<T> columns_, projected_, packed_, vectors_, scales_;
  Scratch<Key<T>> keys_;
};

} // namespace orv::statistics
