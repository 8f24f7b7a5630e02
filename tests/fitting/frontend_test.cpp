// The C++ front end of splines and the thread services of the common pool.
#include "frontend/fitting_threads.h"
#include "frontend/spline.h"

#include "support.h"

using namespace fit_test;

namespace {

TEST(FittingFrontEnd, ThreadsOfThePoolGiveTheSameBits) {
  std::mt19937_64 g(51);
  auto const x = partition<double>(Shape::Random, 3000, g);
  Task<double> one(x, random_values<double>(3000 * 6, g), 6), many(x, one.y, 6);
  for (auto const build : {Entries<double>::natural, Entries<double>::akima, Entries<double>::linear}) {
    int const order = build == Entries<double>::linear ? 2 : 4;
    one.spline(order, 5, DFBoundFreeEnd), many.spline(order, 5, DFBoundFreeEnd);
    ASSERT_EQ(build(one.task, 0, 0, nullptr), 0);
    ASSERT_EQ(build(many.task, 0, 0, &orv::fitting_threads()), 0);
    EXPECT_EQ(one.coefficients, many.coefficients);
    auto const sites = random_values<double>(20000, g, x.front(), x.back());
    EXPECT_EQ(one.at(sites, {1, 1}, 256, nullptr), many.at(sites, {1, 1}, 256, &orv::fitting_threads()));
    EXPECT_EQ(one.integrals(sites, one.at(sites), 16, nullptr),
              many.integrals(sites, one.at(sites), 16, &orv::fitting_threads()));
  }
  EXPECT_EQ(orv::fitting_threads(1).maxThreads(), 1);
  orv::fitting_threads();
}

TEST(FittingFrontEnd, SplinesAndTheirErrors) {
  using namespace orv;
  Spline const spline({.breaks = {0, 1, 2, 3},
                       .values = {{0, 1, 8, 27}, {1, 1, 1, 1}},
                       .has_boundary = true,
                       .boundary = boundary_of("slopes=0,27")});
  auto const r = spline.evaluate({1.5}, 3);
  EXPECT_NEAR(r[0][0][0], 3.375, 1e-14);
  EXPECT_NEAR(r[0][0][3], 6, 1e-13);
  EXPECT_NEAR(spline.integrate(0, 2)[0], 4, 1e-14);
  EXPECT_THROW(Spline({.breaks = {0, 0}, .values = {{1, 2}}}), Error);
  EXPECT_THROW(Spline({.breaks = {0, 1}, .values = {{1, 2}}, .scheme = Scheme::Akima}), Error);
  EXPECT_THROW(Spline({.breaks = {0, 1, NAN}, .values = {{1, 2, 3}}}), Error);
  EXPECT_THROW(Spline({.breaks = {0, 1, 2}, .values = {{1, 2}}}), Error);
  for (auto const* bad : {"slopes=1", "slopes=1,2,3", "free=1", "middle", "loose", "slopes=1;2"})
    EXPECT_THROW(boundary_of(bad), Error) << bad;
  for (auto const& s : schemes()) EXPECT_EQ(scheme_of(s.name).scheme, s.scheme);
  EXPECT_THROW(scheme_of("cubic"), Error);
}

} // namespace
