// Splines of the front end: values, limits of threads, and what they refuse.
#include "frontend/fitting_threads.h"
#include "frontend/spline.h"
#include "orv/fitting.h"
#include "tests/frontend/support.h"

#include <cmath>
#include <limits>

using namespace orv;
using orv::test::message_of;

namespace {

SplineData line(Scheme scheme, int functions = 1) {
  return {.breaks = {0, 1, 2, 3, 4},
          .values = std::vector<std::vector<double>>(static_cast<size_t>(functions), {1, 3, 5, 7, 9}),
          .scheme = scheme};
}

TEST(Spline, EverySchemeGoesThroughALine) {
  for (auto const& info : schemes()) {
    SplineData data = line(info.scheme);
    if (info.scheme == Scheme::Hermite) data.inner = {2, 2, 2};
    if (info.scheme == Scheme::Second) data.inner = {0, 0, 0};
    Spline const spline(data);
    auto const r = spline.evaluate({0, 2.5, 4}, 1)[0];
    bool const step = info.scheme == Scheme::Step || info.scheme == Scheme::StepLeft;
    if (step) {
      EXPECT_EQ(r[1][0], info.scheme == Scheme::Step ? 5 : 7) << info.name;
      continue;
    }
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR(r[i][0], 1 + 2 * (i == 1 ? 2.5 : 2 * i), 1e-13) << info.name;
      EXPECT_NEAR(r[i][1], 2, 1e-12) << info.name;
    }
    EXPECT_NEAR(spline.integrate(1, 3)[0], 10, 1e-12) << info.name;
    EXPECT_EQ(spline.integrate(1.5, 1.5)[0], 0) << info.name;
  }
}

TEST(Spline, RefusesWhatCannotBe) {
  for (auto const& info : schemes()) EXPECT_THROW(Spline(line(info.scheme, 0)), Error) << info.name;
  EXPECT_THROW(Spline(line(Scheme::Quadratic, 2)), Error);
  for (int const number : {-1, 11, 1000}) EXPECT_THROW(Spline(line(static_cast<Scheme>(number))), Error);
  SplineData data = line(Scheme::Natural);
  data.has_boundary = true;
  for (int const code : {-1, 3, 1000}) {
    data.boundary.code = code;
    EXPECT_THROW(Spline{data}, Error) << code;
  }
  data.boundary.code = DFBoundPeriodic;
  EXPECT_NE(message_of([&] { Spline{data}; }).find("they are 1 and 9"), std::string::npos);
  data = line(Scheme::Natural);
  data.threads = -1;
  EXPECT_THROW(Spline{data}, Error);
  data = line(Scheme::Hermite);
  data.inner = {1, 2};
  EXPECT_THROW(Spline{data}, Error);
  EXPECT_THROW(Spline({.breaks = {0, std::numeric_limits<double>::infinity()}, .values = {{1, 2}}}), Error);
  EXPECT_THROW(Spline({.breaks = {}, .values = {}}), Error);
}

TEST(Spline, CountsOfDerivatives) {
  Spline const spline(line(Scheme::Natural));
  EXPECT_THROW(spline.evaluate({1}, -1), Error);
  EXPECT_THROW(spline.evaluate({1}, std::numeric_limits<int>::min()), Error);
  EXPECT_THROW(spline.evaluate({1}, std::numeric_limits<int>::max()), Error);
  auto const r = spline.evaluate({1}, Spline::most_derivatives)[0][0];
  ASSERT_EQ(r.size(), 101u);
  EXPECT_EQ(r[4], 0);
  EXPECT_EQ(r[100], 0);
  EXPECT_TRUE(spline.evaluate({}, 0)[0].empty());
}

TEST(Spline, EachHasItsOwnThreadLimit) {
  SplineData data = line(Scheme::Natural);
  data.threads = 1;
  Spline const first(data);
  data.threads = 2;
  Spline const second(data);
  int const all = (fitting_threads(), fitting_threads().maxThreads());
  first.evaluate({1}, 0); // asks under its own limit, which the calling thread keeps until the next call
  DFThreader const& services = fitting_threads(1);
  EXPECT_EQ(services.maxThreads(), 1);
  second.evaluate({1}, 0);
  EXPECT_EQ(services.maxThreads(), std::min(2, all));
  first.evaluate({1}, 0);
  EXPECT_EQ(services.maxThreads(), 1);
  second.integrate(0, 1);
  EXPECT_EQ(services.maxThreads(), std::min(2, all));
  first.integrate(0, 1);
  EXPECT_EQ(services.maxThreads(), 1);
  fitting_threads();
}

} // namespace
