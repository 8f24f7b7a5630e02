// Reference values of the element-wise functions in a wider type: double for single precision (exhaustive
// runs), long double for double precision, and 128 bits to confirm a worst case.
#pragma once
#include <string_view>

namespace orv::cli {

struct Reference {
  std::string_view name;
  double (*d1)(double);
  long double (*l1)(long double);
  __float128 (*q1)(__float128);
  double (*d2)(double, double);
  long double (*l2)(long double, long double);
  __float128 (*q2)(__float128, __float128);
  double (*second_d)(double); // second result, of two_results functions
  long double (*second_l)(long double);
};

// Null if the function has none: exact copies and the like are checked by tests alone.
Reference const* reference(std::string_view name);

} // namespace orv::cli
