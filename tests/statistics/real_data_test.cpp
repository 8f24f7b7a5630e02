// Measured data beside R 4.2.2: quantile(), mad(constant = 1), mahalanobis(); and robustbase's covMcd for outliers
// (robust_test.cpp).
#include "tests/statistics/estimates.h"

namespace {
using namespace orv::test;

TEST(RealData, QuantilesAndDeviationsAsR) {
  struct Case {
    const char* file;
    int column;
    std::vector<double> orders, quantiles;
    double deviation;
  };
  for (Case const& c : {Case{"stackloss.csv", 0, {0.1, 0.5, 0.9}, {50, 58, 75}, 4},
                        {"stackloss.csv", 1, {0.1, 0.5, 0.9}, {18, 20, 25}, 2},
                        {"stackloss.csv", 2, {0.1, 0.5, 0.9}, {80, 87, 93}, 3},
                        {"stackloss.csv", 3, {0.1, 0.5, 0.9}, {8, 15, 37}, 4},
                        {"airquality.csv", 0, {0.1, 0.5, 0.975}, {11, 31.5, 118.5}, 17.5},
                        {"faithful.csv", 0, {1.0 / 3, 0.9}, {2.4389999999999996, 4.7000000000000002}, 0.6415},
                        {"faithful.csv", 1, {1.0 / 3, 0.9}, {64, 86}, 8}}) {
    Data<double> d = csv_data<double>(c.file, {c.column}, SSStorageRows);
    std::erase_if(d.values, [](double x) { return std::isnan(x); });
    d.n = static_cast<int>(d.values.size());
    Task<double> task(d);
    std::vector<double> orders = c.orders, got(orders.size());
    double deviation;
    task->quantileOrders = orders.data();
    task->quantileOrderCount = task.integer(static_cast<int>(orders.size()));
    task->quantiles = got.data();
    task->medianAbsDeviation = &deviation;
    ASSERT_EQ(Quantiles<double>(task.get(), SSQuantiles, SSMethodFast), 0);
    ASSERT_EQ(MAD<double>(task.get(), SSMedianAbsDeviation, SSMethodFast), 0);
    for (size_t k = 0; k < got.size(); ++k)
      EXPECT_DOUBLE_EQ(got[k], c.quantiles[k]) << c.file << " " << c.column;
    EXPECT_DOUBLE_EQ(deviation, c.deviation);
  }
}

TEST(RealData, DistancesAsR) {
  Data<double> const d = csv_data<double>("faithful.csv", {0, 1}, SSStorageCols);
  Results<double> moments(2);
  ASSERT_EQ(moments.compute(d, SSMean | SSCovariance, SSMethodOnePass, Services(1)), 0);
  ASSERT_EQ(__rnqdInvCov(2, moments.cov.data()), 0);
  std::vector<double> distances(static_cast<size_t>(d.n));
  Task<double> task(d);
  task->mahFirstRow = task.integer(0);
  task->mahLastRow = task.integer(d.n);
  task->mahMean = moments.arrays[0].data();
  task->mahInvCov = moments.cov.data();
  task->mahDistances = distances.data();
  ASSERT_EQ(MahDistance<double>(task.get(), 0, SSMethodFast), 0);
  double const squares[] = {1.37550828077145182, 2.22882270503933899, 0.66961659316144329};
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(distances[i] * distances[i], squares[i], 1e-13);
}

} // namespace
