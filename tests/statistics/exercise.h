// A moments task made of any bytes: computed block by block, and compared with two passes in extended precision
// where the data are tame. Hostile data only must not lose memory or reach outside of it. For the fuzz target and
// its corpus.
#pragma once
#include "tests/statistics/expect.h"

#include "tests/support/bytes.h"

namespace orv::test {

template <class T>
class StatisticsExercise {
 public:
  explicit StatisticsExercise(Bytes& in) : in_(in) {}

  void run() {
    Data<T> const d = data();
    int const threads = in_.below(4) + 1, cuts = in_.below(4) + 1;
    uint64_t const methods[] = {SSMethodOnePass, SSMethodFast, SSMethodFastUserMean};
    method_ = methods[in_.below(3)];
    uint64_t const asked = estimates();
    Reference<T> const r(d);
    Results<T> got(d.p, in_.below(3));
    bool const user_mean = method_ == SSMethodFastUserMean;
    if (user_mean)
      for (int j = 0; j < d.p; ++j)
        got.arrays[0][j] = d.selected(j) ? static_cast<T>(r.mean[j]) : Results<T>::mark;
    int status = 0;
    for (int b = 0, from = 0; b < cuts && status == 0; ++b) {
      int const to = b + 1 == cuts ? d.n : std::min(d.n, from + in_.below(d.n) + 1);
      if (from == to) continue;
      auto const part = d.part(from, to);
      uint64_t const matrix = asked & all_matrices ? matrices(asked) : 0;
      got.point_at(part);
      status = Entries<T>::basic(got.task, (asked & ~all_matrices) | (to == d.n ? asked : matrix), method_,
                                 Services(threads).get());
      from = to;
    }
    ASSERT_EQ(status, 0);
    if (tame_)
      expect_results(d, got, comparable(d, r, asked), 2000,
                     std::to_string(d.n) + " by " + std::to_string(d.p) + ", method " +
                         std::to_string(method_) + ", " + std::to_string(cuts) + " cuts, " +
                         std::to_string(threads) + " threads, weights " +
                         std::to_string(static_cast<double>(r.w)) + ", squared " +
                         std::to_string(static_cast<double>(r.w2)) + ":");
  }

 private:
  Data<T> data() {
    static constexpr int counts[] = {1, 2, 3, 5, 16, 17, 33, 255, 256, 257, 513, 700, 2047, 2048, 2049, 2100};
    Data<T> d(counts[in_.below(16)], in_.below(9) + 1, in_.below(2) ? SSStorageRows : SSStorageCols);
    int const kind = in_.below(5);
    double const offset = kind == 1 ? 1000 : kind == 2 ? -37.5 : 0;
    tame_ = kind < 3;
    std::mt19937 random(static_cast<unsigned>(in_.below(65536)));
    for (auto& x : d.values)
      x = tame_ ? static_cast<T>(offset + static_cast<double>(random() % 4001) / 256 - 8)
                : hostile(static_cast<int>(random() % 16));
    for (int k = in_.below(8); k > 0; --k)
      d.values[static_cast<size_t>(in_.below(65536)) % d.values.size()] =
          tame_ ? static_cast<T>(offset + in_.below(256) - 128) : hostile(in_.below(16));
    double const unit[] = {0, 0.5, 0.1, sizeof(T) == 8 ? 0x1p-480 : 0x1p-30,
                           sizeof(T) == 8 ? 0x1p300 : 0x1p30};
    int const weights = in_.below(6);
    if (weights == 5) tame_ = false;
    if (weights)
      for (int i = 0; i < d.n; ++i)
        d.weights.push_back(weights == 5 ? hostile(static_cast<int>(random() % 16))
                                         : static_cast<T>(unit[weights] * (random() % 4)));
    if (in_.below(4) == 0)
      for (int j = 0; j < d.p; ++j) d.indices.push_back(in_.below(3));
    return d;
  }
  static T hostile(int k) {
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
    return values[k];
  }
  uint64_t estimates() {
    uint64_t set = 0;
    int const bits = in_.below(65536);
    for (int k = 0; k < 10; ++k) set |= bits >> k & 1 ? SSMean << k : 0;
    for (int k = 0; k < 3; ++k) set |= bits >> (10 + k) & 1 ? matrix[k] : 0;
    if (bits & 0x8000) set |= all_sums;
    if (method_ == SSMethodFastUserMean) set &= ~(SSMean | SSSum);
    return set ? set : SSCovariance;
  }
  static constexpr uint64_t matrix[] = {SSCovariance, SSCorrelation, SSCrossProduct};
  // Some of the matrices, at least one.
  uint64_t matrices(uint64_t asked) {
    uint64_t const some = asked & matrix[in_.below(3)];
    return some ? some : asked & all_matrices;
  }
  // Without what is a division by nothing, or all noise.
  uint64_t comparable(Data<T> const& d, Reference<T> const& r, uint64_t asked) const {
    if (!(r.w > 0) || !(r.freedom() > 1e-3L * r.w)) return 0;
    bool spread = true, center = true;
    for (int j = 0; j < d.p; ++j) {
      long double const deviation = sqrtl(r.central2(j)), mean = fabsl(r.mean[j]);
      spread = spread && deviation > 1e-2L * (mean + 1);
      center = center && mean > 1e-3L;
    }
    uint64_t set = asked;
    if (!spread) set &= ~(SSKurtosis | SSSkewness | SSVariation | SSCorrelation | SSCentralMoment3);
    if (!center) set &= ~SSVariation;
    // Fast central moments are differences of powers of the mean.
    if (method_ == SSMethodFast) set &= ~(SSKurtosis | SSSkewness | SSVariation);
    if (method_ == SSMethodFast && !spread) set &= ~(SSCovariance | SSCorrelation | SSCrossProduct);
    return set;
  }

  Bytes& in_;
  uint64_t method_ = 0;
  bool tame_ = true;
};

inline void exercise_statistics(uint8_t const* data, size_t size) {
  Bytes in(data, size);
  int64_t const before = orv_serv_blocks_in_use();
  if (in.below(2))
    StatisticsExercise<double>(in).run();
  else
    StatisticsExercise<float>(in).run();
  ASSERT_EQ(orv_serv_blocks_in_use(), before);
}

} // namespace orv::test
