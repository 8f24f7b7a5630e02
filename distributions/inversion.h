// Inversion of a discrete distribution function: the result for u is the smallest k whose running sum is above u.
//
// A table holds the first running sums, strictly rising. It ends with the support, where a term no longer changes
// the sum, or where it is full; from there a search goes on with `beyond`.
#pragma once
#include "distributions/integers.h"

namespace orv::distributions {

// Fills c with running sums of f(0) = first, f(k + 1) = f(k) ratio(k); returns how many. `last` is the end of the
// support.
template <class Ratio>
int running_sums(double* c, int room, double first, int64_t last, Ratio ratio) {
  double f = first, sum = first;
  c[0] = first;
  int count = 1;
  for (; count < room && count <= last; ++count) {
    f *= ratio(count - 1);
    double const next = sum + f;
    if (next == sum) break;
    c[count] = sum = next;
  }
  return count;
}
// How many there are in a stored table, whose rest is zero; 0 if it is none. A wrong one that passes gives wrong
// numbers, but it ends every search.
inline int stored_sums(double const* c, int room) {
  if (!(c[0] >= 0) || c[0] > 1.001) return 0;
  int count = 1;
  while (count < room && c[count] > c[count - 1]) ++count;
  if (!(c[count - 1] <= 1.001)) return 0;
  for (int k = count; k < room; ++k)
    if (c[k] != 0) return 0;
  return count;
}

// The search past the table, from its last index with the terms made once more from the start.
template <class Ratio>
int64_t walk_on(double const* c, int count, double first, int64_t last, double u, Ratio ratio) {
  double f = first, sum = c[count - 1];
  int64_t k = 0;
  while (k < count - 1) f *= ratio(k++);
  while (sum <= u && k < last) {
    f *= ratio(k);
    double const next = sum + f;
    if (next == sum) break;
    sum = next;
    ++k;
  }
  return k;
}

class Inversion {
 public:
  // n: how many searches there will be; the guide pays for many only.
  Inversion(double const* c, int count, int n) : c_(c), count_(count), guided_(n >= 256) {
    if (!guided_) return;
    int k = 0;
    for (int j = 0; j < buckets; ++j) {
      while (k < count - 1 && c[k] <= j * (1.0 / buckets)) ++k;
      guide_[j] = static_cast<uint8_t>(k);
    }
  }
  template <class Beyond>
  void search(int n, double const* u, int32_t* r, Beyond beyond) const {
    int k = 0;
    for (int i = 0; i < n; ++i) {
      double const x = u[i];
      if (guided_) {
        int const j = _mm_cvttsd_si32(_mm_set_sd(x * buckets));
        k = guide_[j < 0 ? 0 : j >= buckets ? buckets - 1 : j];
        while (k < count_ - 1 && c_[k] <= x) ++k;
      } else {
        while (k > 0 && c_[k - 1] > x) --k;
        while (k < count_ - 1 && c_[k] <= x) ++k;
      }
      r[i] = c_[k] <= x ? to_int(static_cast<double>(beyond(x))) : k;
    }
  }

 private:
  static constexpr int buckets = 256;
  double const* c_;
  int count_;
  bool guided_;
  uint8_t guide_[buckets];
};

} // namespace orv::distributions
