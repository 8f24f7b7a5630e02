// The negative binomial distribution function far above its mode, inverted through the incomplete beta function: a
// few evaluations of its continued fraction where single steps would be millions.
#pragma once

namespace orv::distributions {

// The smallest k > from with P(K <= k) above u, where P(K <= from) is not.
double negative_binomial_tail(double a, double p, int from, double u);

} // namespace orv::distributions
