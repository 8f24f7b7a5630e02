// Summaries of columns, and what they refuse.
#include "frontend/library.h"
#include "frontend/statistics.h"
#include "frontend/summary.h"
#include "tests/frontend/support.h"

#include <cmath>
#include <limits>

using orv::Error, orv::Summary, orv::test::message_of;

namespace {

constexpr double rows[] = {1, 10, 2, 30, 4, 20, 9, 0, -3, 15};

TEST(Summary, FormulasOfTheHeader) {
  Summary s(2, {.covariance = true, .correlation = true});
  s.add(rows, 2);
  s.add(rows + 4, 3);
  EXPECT_EQ(s.count(), 5);
  EXPECT_EQ(s.weight(), 5);
  double const mean[] = {2.6, 15};
  double c[2][2] = {}, c3[2] = {}, c4[2] = {};
  for (int i = 0; i < 5; ++i)
    for (int j = 0; j < 2; ++j) {
      double const d = rows[2 * i + j] - mean[j];
      for (int k = 0; k < 2; ++k) c[j][k] += d * (rows[2 * i + k] - mean[k]) / 4;
      c3[j] += d * d * d / 5;
      c4[j] += d * d * d * d / 5;
    }
  for (int j = 0; j < 2; ++j) {
    EXPECT_NEAR(s.mean(j), mean[j], 1e-14);
    EXPECT_NEAR(s.deviation(j), std::sqrt(c[j][j]), 1e-13);
    EXPECT_NEAR(s.skewness(j), c3[j] / std::pow(c[j][j], 1.5), 1e-13);
    EXPECT_NEAR(s.kurtosis(j), c4[j] / (c[j][j] * c[j][j]) - 3, 1e-13);
    EXPECT_NEAR(s.variation(j), std::sqrt(c[j][j]) / mean[j], 1e-13);
    EXPECT_NEAR(s.covariance(j, 1 - j), c[0][1], 1e-12);
    EXPECT_NEAR(s.covariance(j, j), c[j][j], 1e-12);
    EXPECT_NEAR(s.correlation(j, 1 - j), c[0][1] / std::sqrt(c[0][0] * c[1][1]), 1e-14);
    EXPECT_EQ(s.correlation(j, j), 1);
  }
  EXPECT_EQ(s.minimum(0), -3);
  EXPECT_EQ(s.maximum(0), 9);
  EXPECT_EQ(s.minimum(1), 0);
  EXPECT_EQ(s.maximum(1), 30);
}

TEST(Summary, WhatIsNotThereIsAnError) {
  Summary s(2, {});
  s.add(rows, 5);
  EXPECT_THROW(s.covariance(0, 1), Error);
  EXPECT_THROW(s.correlation(0, 0), Error);
  Summary with(2, {.covariance = true, .correlation = true});
  with.add(rows, 5);
  for (int const j : {-1, 2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    for (auto const get : {&Summary::mean, &Summary::deviation, &Summary::skewness, &Summary::kurtosis,
                           &Summary::variation, &Summary::minimum, &Summary::maximum})
      EXPECT_THROW((s.*get)(j), Error) << j;
    for (auto const get : {&Summary::covariance, &Summary::correlation}) {
      EXPECT_THROW((with.*get)(j, 0), Error) << j;
      EXPECT_THROW((with.*get)(1, j), Error) << j;
    }
  }
  EXPECT_THROW(s.add(nullptr, 1), Error);
  EXPECT_THROW(s.add(rows, -1), Error);
  s.add(nullptr, 0);
  EXPECT_THROW(s.add(rows, 1, rows), Error) << "weights behind blocks without";
  EXPECT_EQ(s.count(), 5);
}

TEST(Summary, ConstructionRefusesWhatCannotBe) {
  EXPECT_THROW(Summary(0, {}), Error);
  EXPECT_THROW(Summary(-1, {}), Error);
  EXPECT_THROW(Summary(1, {.threads = -1}).add(rows, 1), Error);
  EXPECT_THROW(Summary(1, {.method = static_cast<Summary::Method>(7)}), Error);
  EXPECT_THROW(Summary(2, {.method = Summary::Method::user_mean, .mean = {1}}), Error);
  auto const text = message_of([] { Summary(2'000'000, {.covariance = true}); });
  EXPECT_NE(text.find("not enough memory for the covariance matrix of 2000000 columns"), std::string::npos)
      << text;
}

TEST(Statistics, EstimatesThatNoEntryServesAreRefused) {
  int const p = 1, n = 5, layout = SSStorageCols;
  double mean = -1, least = 99, orders = 0.5, quantile = -7;
  int const order_count = 1;
  SSTask* task = nullptr;
  ASSERT_EQ(ORV_FUNCTION_OF(__rnqdSSNewTask)(&task, &p, &n, &layout, const_cast<double*>(rows), nullptr,
                                             nullptr, 0),
            0);
  task->mean = &mean;
  task->minimum = &least;
  task->quantileOrderCount = &order_count;
  task->quantileOrders = &orders;
  task->quantiles = &quantile;
  auto const text =
      message_of([&] { orv::compute_statistics(*task, SSMean | (SSQuantiles << 2), SSMethodFast); });
  EXPECT_NE(text.find("estimate bit 18"), std::string::npos) << text;
  EXPECT_EQ(mean, -1) << "nothing is computed before the refusal";
  orv::compute_statistics(*task, SSMean | SSMinimum, SSMethodFast);
  EXPECT_NEAR(mean, (1 + 10 + 2 + 30 + 4) / 5.0, 1e-14);
  EXPECT_EQ(least, 1);
  EXPECT_THROW(orv::compute_statistics(*task, SSRawMoment2, SSMethodFast), Error) << "without an array";
  // The entry itself returns 0 and leaves what it doesn't serve alone.
  EXPECT_EQ(ORV_FUNCTION_OF(_rnqdSSBasic)(task, SSQuantiles, SSMethodFast, nullptr), 0);
  EXPECT_EQ(quantile, -7);
  ORV_FUNCTION_OF(__rnqSSDeleteTask)(&task);
}

} // namespace
