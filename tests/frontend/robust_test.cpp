// Robust estimates of columns: scaling there and back, refusals, streams.
#include "frontend/robust.h"
#include "tests/frontend/support.h"

#include <cmath>
#include <limits>
#include <random>

using orv::Columns, orv::Error, orv::test::message_of;

namespace {

Columns sample(std::size_t n, double unit) {
  std::mt19937 random(3);
  Columns columns(2);
  for (std::size_t i = 0; i < n; ++i)
    for (int j = 0; j < 2; ++j) {
      double x = -6;
      for (int k = 0; k < 12; ++k) x += static_cast<double>(random()) * 0x1p-32;
      columns[static_cast<std::size_t>(j)].push_back((i < n / 10 ? x / 4 + 20 : x) * unit + 3 * unit);
    }
  return columns;
}

// The rank test of the covariance is absolute; columns of any unit give the same flags and scaled estimates.
TEST(RobustColumns, AnyUnit) {
  auto const plain = sample(400, 1);
  auto const fit = orv::robust_fit(plain);
  auto const flags = orv::find_outliers(plain);
  for (std::size_t i = 0; i < 400; ++i) EXPECT_EQ(flags[i], i < 40) << i;
  EXPECT_NEAR(fit.location[0], 3, 0.2);
  EXPECT_NEAR(fit.covariance[0], 1, 0.4);
  for (double const unit : {0x1p-40, 0x1p30}) {
    auto const scaled = orv::robust_fit(sample(400, unit));
    for (std::size_t k = 0; k < 4; ++k)
      EXPECT_NEAR(scaled.covariance[k] / (unit * unit), fit.covariance[k], 1e-9) << unit;
    EXPECT_NEAR(scaled.location[1] / unit, fit.location[1], 1e-9);
    EXPECT_EQ(orv::find_outliers(sample(400, unit)), flags);
  }
}

TEST(RobustColumns, Refusals) {
  double const nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_NE(message_of([&] {
              orv::quantiles({{1, 2}, {1, nan}}, {0.5});
            }).find("row 2 of column 2"),
            std::string::npos);
  EXPECT_THROW(orv::quantiles({{1, 2}, {1}}, {0.5}), Error);
  EXPECT_THROW(orv::quantiles({}, {0.5}), Error);
  EXPECT_THROW(orv::quantiles({{1}}, {nan}), Error);
  EXPECT_THROW(orv::find_outliers(sample(400, 1), -1), Error);
  EXPECT_NE(message_of([] {
              orv::robust_fit({{1, 2, 3, 4, 5, 6}, {1, 1, 1, 1, 1, 6}});
            }).find("column 2"),
            std::string::npos);
  EXPECT_THROW(orv::StreamQuantiles(0, {0.5}, 0.1), Error);
  EXPECT_THROW(orv::StreamQuantiles(1, {0.5}, 0), Error);
  orv::StreamQuantiles stream(1, {0.5}, 0.1);
  EXPECT_THROW(stream.report(), Error);
  double const rows[] = {5, nan};
  EXPECT_THROW(stream.add(rows, 2), Error);
  stream.add(rows, 1);
  EXPECT_EQ(stream.report(), (Columns{{5}}));
}

} // namespace
