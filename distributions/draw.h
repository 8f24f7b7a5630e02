// Drawing from a stream: its row is looked up once a call, numbers come in pieces that stay in the first-level
// cache.
#pragma once
#include "frame/export.h"
#include "kernels/simd/vector.h"
#include "orv/distributions.h"
#include "streams/stream.h"

#include <algorithm>
#include <cstring>

namespace orv::distributions {

inline constexpr int piece = 1024;

class Source {
 public:
  explicit Source(RngStream* stream) : stream_(stream), row_(streams::find_brng(stream->brng)) {}
  RngStream* stream() const { return stream_; }
  int32_t uniform(int n, double* r, double a = 0, double b = 1) const {
    return row_ ? row_->generateDouble(stream_, n, r, a, b) : static_cast<int32_t>(RnqErrBadBrng);
  }
  int32_t uniform(int n, float* r, float a = 0, float b = 1) const {
    return row_ ? row_->generateSingle(stream_, n, r, a, b) : static_cast<int32_t>(RnqErrBadBrng);
  }
  int32_t words(int n, void* r) const {
    return row_ ? row_->generateInteger(stream_, n, r) : static_cast<int32_t>(RnqErrBadBrng);
  }
  // Points of these are made faster in one run.
  bool is_quasi() const {
    return row_ && (row_->generateInteger == __rnqiBRngSobol || row_->generateInteger == __rnqiBRngNiederr);
  }

 private:
  RngStream* stream_;
  BrngProperties const* row_;
};

// r[i] = f(r[i]), where f maps vectors lane by lane.
template <class T, class Function>
void map(int n, T* r, Function f) {
  using V = simd::Vec<T>;
  int i = 0;
  for (; i + V::lanes <= n; i += V::lanes) simd::store(r + i, f(simd::load(r + i)));
  if (i < n) {
    alignas(32) T rest[V::lanes] = {};
    std::copy(r + i, r + n, rest);
    simd::store(rest, f(simd::load(rest)));
    std::copy(rest, rest + (n - i), r + i);
  }
}
// r[i] = f(a[i], b[i])
template <class T, class Function>
void map(int n, T const* a, T const* b, T* r, Function f) {
  using V = simd::Vec<T>;
  int i = 0;
  for (; i + V::lanes <= n; i += V::lanes) simd::store(r + i, f(simd::load(a + i), simd::load(b + i)));
  if (i < n) {
    alignas(32) T x[V::lanes] = {}, y[V::lanes] = {};
    std::copy(a + i, a + n, x);
    std::copy(b + i, b + n, y);
    simd::store(x, f(simd::load(x), simd::load(y)));
    std::copy(x, x + (n - i), r + i);
  }
}
template <class T>
simd::Vec<T> negate(simd::Vec<T> x) {
  return x ^ simd::Vec<T>(T(-0.0));
}

// Alternating elements to two arrays, and back.
template <class T>
void split(int n, T const* pairs, T* first, T* second) {
  using V = simd::Vec<T>;
  int i = 0;
  for (; i + V::lanes <= n; i += V::lanes) {
    auto const two = simd::deinterleave(simd::load(pairs + 2 * i), simd::load(pairs + 2 * i + V::lanes));
    simd::store(first + i, two.first);
    simd::store(second + i, two.second);
  }
  for (; i < n; ++i) {
    first[i] = pairs[2 * i];
    second[i] = pairs[2 * i + 1];
  }
}
template <class T>
void join(int n, T const* first, T const* second, T* pairs) {
  for (int i = 0; i < n; ++i) {
    pairs[2 * i] = first[i];
    pairs[2 * i + 1] = second[i];
  }
}

// Draws n numbers into r and calls step(m, r) for each piece.
template <class T, class Step>
int32_t closed_form(Source const& source, int n, T* r, T low, T high, Step step) {
  bool const whole = source.is_quasi();
  if (whole)
    if (int32_t const status = source.uniform(n, r, low, high); status < 0) return status;
  for (int done = 0; done < n;) {
    int const m = std::min(piece, n - done);
    if (!whole)
      if (int32_t const status = source.uniform(m, r + done, low, high); status < 0) return status;
    step(m, r + done);
    done += m;
  }
  return RnqOk;
}

// The same for results of another type than what is drawn: step(m, drawn, r).
template <class T, class R, class Step>
int32_t drawn_apart(Source const& source, int n, R* r, T low, T high, Step step) {
  T u[piece];
  for (int done = 0; done < n;) {
    int const m = std::min(piece, n - done);
    if (int32_t const status = source.uniform(m, u, low, high); status < 0) return status;
    step(m, u, r + done);
    done += m;
  }
  return RnqOk;
}

} // namespace orv::distributions
