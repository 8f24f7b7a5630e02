// Observations of a data set with gaps, by which of their variables are missing.
#pragma once
#include "statistics/column.h"

namespace orv::statistics {

// A quiet NaN with the sign bit set stands for a missing value.
inline bool is_missing(double x) {
  constexpr uint64_t mark = 0xFFF8000000000000;
  return (std::bit_cast<uint64_t>(x) & mark) == mark;
}
inline bool is_missing(float x) {
  constexpr uint32_t mark = 0xFFC00000;
  return (std::bit_cast<uint32_t>(x) & mark) == mark;
}

struct Pattern {
  ptrdiff_t first, last, count; // chain of observations, in their order
  ptrdiff_t missing;            // variables
};

// Patterns in the order of their first appearance, found by a table of hashed masks.
class Patterns {
 public:
  template <class T>
  bool make(DataSet<T const> const& data) {
    n_ = data.n;
    words_ = (data.p + 63) / 64;
    size_t const slots = std::bit_ceil(static_cast<size_t>(data.n) * 2);
    Scratch<ptrdiff_t> table(slots);
    if (!table || !masks_.make(static_cast<size_t>(data.n), static_cast<size_t>(words_)) ||
        !next_.make(static_cast<size_t>(data.n)) || !patterns_.make(static_cast<size_t>(data.n)))
      return false;
    std::fill_n(table.get(), slots, -1);
    std::fill_n(masks_.get(), data.n * words_, uint64_t{0});
    for (ptrdiff_t i = 0; i < data.n; ++i) add(data, i, table.get(), slots - 1);
    return true;
  }
  ptrdiff_t count() const { return count_; }
  Pattern const& operator[](ptrdiff_t k) const { return patterns_[k]; }
  ptrdiff_t next(ptrdiff_t i) const { return next_[i]; } // observation of the pattern, -1 at its end
  bool missing(ptrdiff_t i, ptrdiff_t j) const { return mask(i)[j / 64] >> (j % 64) & 1; }

 private:
  uint64_t* mask(ptrdiff_t i) const { return masks_.get() + i * words_; }

  template <class T>
  void add(DataSet<T const> const& data, ptrdiff_t i, ptrdiff_t* table, size_t slot_mask) {
    ptrdiff_t missing = 0;
    for (ptrdiff_t j = 0; j < data.p; ++j) {
      if (!is_missing(data(i, j))) continue;
      mask(i)[j / 64] |= uint64_t{1} << (j % 64);
      ++missing;
    }
    uint64_t hash = 0;
    for (ptrdiff_t w = 0; w < words_; ++w) {
      hash = (hash ^ mask(i)[w]) * 0x9E3779B97F4A7C15;
      hash ^= hash >> 29;
    }
    next_[i] = -1;
    for (size_t slot = static_cast<size_t>(hash) & slot_mask;; slot = (slot + 1) & slot_mask) {
      ptrdiff_t const known = table[slot];
      if (known < 0) {
        table[slot] = count_;
        patterns_[count_++] = {i, i, 1, missing};
        return;
      }
      Pattern& pattern = patterns_[known];
      if (!std::equal(mask(i), mask(i) + words_, mask(pattern.first))) continue;
      next_[pattern.last] = i;
      pattern.last = i;
      ++pattern.count;
      return;
    }
  }

  ptrdiff_t n_ = 0, words_ = 0, count_ = 0;
  Scratch<uint64_t> masks_;
  Scratch<ptrdiff_t> next_;
  Scratch<Pattern> patterns_;
};

} // namespace orv::statistics
