// Poisson counts from standard Gaussian numbers g: the count is the integer part of a polynomial in g whose
// coefficients depend on the mean. Fitted tables serve up to 100 (method 1) and 8192 (a mean for each result); from
// there an expansion in 1 / lambda. Errors of the distribution function: at most 2e-4, row by row in the tables.
#pragma once
#include "distributions/integers.h"
#include "distributions/kernels.h"

namespace orv::distributions {

// e^x for x from 0 to 1, and its first four terms.
inline double exp_below_one(double x) {
  return 0.9999999978976929 +
         x * (1.000000235204182 +
              x * (0.49999555884885266 +
                   x * (0.16669916415448055 +
                        x * (0.0415487961378904 +
                             x * (0.008565930750590653 +
                                  x * (0.0011369805324212754 + x * 0.0003351641595394528))))));
}
inline double exp_of_tiny(double x) {
  return 0.9999999978976929 + x * (1.000000235204182 + x * (0.49999555884885266 + x * 0.16669916415448055));
}

inline int32_t count_of(double y) { return to_int(y > 0 ? y : 0); }

// The expansion for large means, all in double precision after g.
struct LargeMean {
  double mean, root, e1, e2, e3;
  explicit LargeMean(double lambda) {
    double const x = 1 / lambda;
    mean = lambda - 0.6666957198 + x * (-0.01941020862 + x * (-0.001288719308 + x * 0.001645153709));
    root = kernel::sqrt(lambda - 0.05580667628 +
                        x * (-0.000975814817 + x * (-0.005534854444 + x * 0.00519830812)));
    e1 = x *
         (0.00774710541609 +
          x * (-0.443911391797447 + x * (2.29098262740971 + x * (-3.85841212878712 + x * 2.02847035732762))));
    e2 = x * (0.168577008904505 +
              x * (0.0472242348292688 +
                   x * (-0.228162379800275 + x * (0.358642226989579 + x * -0.185436433294704))));
    e3 = x * (-0.0001145865551857 +
              x * (-0.0126559989233446 +
                   x * (0.0232257954288354 + x * (-0.0291113093667918 + x * 0.014389264627966))));
  }
  int32_t operator()(double g) const {
    double const d = root * g;
    return count_of(mean + d + 1 + d * (e1 + d * (e2 + d * e3)));
  }
};

// Rows of method 1, for means from 2^i to 2^(i + 1), and of a mean for each result, from 2^(i - 4) to 2^(i - 3).
extern const double poisson_rows[7][24];
extern const double poisson_v_rows[17][20];

// Method 1 with one mean of 1 or more.
class PoissonMap {
 public:
  explicit PoissonMap(double lambda);
  void operator()(int n, float const* g, int32_t* r) const;

 private:
  double lambda_;
  float a_, c_[5];
};

} // namespace orv::distributions
