/* Random numbers of a distribution, drawn from a stream (orv/streams.h).
 *
 *   _rnqdRngGaussian(RnqGaussianBoxMuller2, stream, n, r, 0.0, 1.0);
 *
 * Arguments: the method, the stream, the count, the results, the parameters. The letter before Rng is the type of
 * the results: d double, s float, i 32-bit integer. n of 0 or below draws nothing. Results do not depend on how
 * they are split into calls, except that long runs of wide quasi-random points may be made on threads, and that
 * another use of the stream, or a jump, may come between two results of one pair of a paired method.
 *
 * The status is 0, or the negative status of the stream's generator, or RnqErrBadArgument for parameters that no
 * distribution has (nothing is drawn), or RnqErrBadMethod, or RnqErrNoMemory. After a failure the results written
 * so far are good ones. Parameters of displacement and scale are not examined.
 *
 * Integer results are capped at the largest int32_t, with methods in single precision at 2147483520.
 * Quasi-random streams keep their points in the methods that take one uniform number for each result. Abstract
 * streams of doubles serve the generators that draw doubles, those of floats the ones that draw floats
 * (Multinomial draws both).
 *
 * Entry, parameters                      distribution
 *   Uniform a, b                         reals from a to b; integers from a to b - 1
 *   UniformBits, UniformBits32, ...64    words as the generator makes them; random words of 32 and 64 bits
 *   Gaussian a, sigma                    mean a, standard deviation sigma
 *   GaussianMV dimen, mstorage, a, t     vectors with mean a and covariance T T', T lower triangular
 *   Exponential a, beta                  a + beta E, with E the standard exponential
 *   Laplace a, beta                      mean a, density exp(-|x - a| / beta) / (2 beta)
 *   Weibull alpha, a, beta               a + beta E^(1/alpha)
 *   Cauchy a, beta                       a + beta tan
 *   Rayleigh a, beta                     a + beta sqrt(E): the usual parameter sigma is beta / sqrt(2)
 *   Lognormal a, sigma, b, beta          b + beta exp(Gaussian(a, sigma)); may overflow to infinity
 *   Gumbel a, beta                       a + beta ln E: the distribution of minima
 *   Gamma alpha, a, beta                 a + beta times shape alpha
 *   Beta p, q, a, beta                   a + beta times shapes p and q
 *   ChiSquare v                          v degrees of freedom
 *   Bernoulli p                          1 with probability p, else 0
 *   Geometric p                          failures before the first success
 *   Binomial ntrial, p                   successes in ntrial trials
 *   Poisson lambda                       mean lambda
 *   PoissonV lambda                      a mean for each result
 *   Negbinomial a, p                     failures before success number a; a need not be whole
 *   Hypergeometric l, s, m               marked ones among s drawn from l, of which m are marked
 *   Multinomial ntrial, k, p             rows of k counts whose sum is ntrial
 */
#ifndef ORV_DISTRIBUTIONS_H
#define ORV_DISTRIBUTIONS_H

#include "orv/streams.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Statuses beside those of orv/streams.h. */
enum {
  RnqErrNoBits = -1014,        /* the generator has no whole random words */
  RnqErrBadMultinomial = -1150 /* probabilities that do not sum to 1, or a negative one, or none */
};

/* Bit of the method word of Uniform and Beta: results never leave the interval by rounding. */
#define RnqAccurate 0x40000000

enum RnqGaussianMethod {
  RnqGaussianBoxMuller = 0,  /* a result of each pair of uniform numbers */
  RnqGaussianBoxMuller2 = 1, /* two results of each pair */
  RnqGaussianInverse = 2     /* inverse of the distribution function */
};
enum RnqPoissonMethod {
  RnqPoissonPTPE = 0,  /* exact */
  RnqPoissonNormal = 1 /* from a Gaussian number, to 2e-4 of the distribution function */
};
/* Storage of the factor of GaussianMV. */
enum RnqMatrixStorage {
  RnqMatrixFull = 0,    /* rows of the lower triangle, dimen reals each */
  RnqMatrixPacked = 1,  /* lower triangle column by column */
  RnqMatrixDiagonal = 2 /* dimen reals */
};

#define ORV_DECLARE_RNG(x, name, Result, ...)                                                                \
  int32_t ORV_CALL _rnq##x##Rng##name(int32_t method, RngStream* stream, int32_t n, Result* r, __VA_ARGS__);
#define ORV_DECLARE_REAL_RNG(T, x)                                                                           \
  ORV_DECLARE_RNG(x, Uniform, T, T a, T b)                                                                   \
  ORV_DECLARE_RNG(x, Gaussian, T, T a, T sigma)                                                              \
  ORV_DECLARE_RNG(x, GaussianMV, T, int32_t dimen, int32_t mstorage, const T* a, const T* t)                 \
  ORV_DECLARE_RNG(x, Exponential, T, T a, T beta)                                                            \
  ORV_DECLARE_RNG(x, Laplace, T, T a, T beta)                                                                \
  ORV_DECLARE_RNG(x, Weibull, T, T alpha, T a, T beta)                                                       \
  ORV_DECLARE_RNG(x, Cauchy, T, T a, T beta)                                                                 \
  ORV_DECLARE_RNG(x, Rayleigh, T, T a, T beta)                                                               \
  ORV_DECLARE_RNG(x, Lognormal, T, T a, T sigma, T b, T beta)                                                \
  ORV_DECLARE_RNG(x, Gumbel, T, T a, T beta)                                                                 \
  ORV_DECLARE_RNG(x, Gamma, T, T alpha, T a, T beta)                                                         \
  ORV_DECLARE_RNG(x, Beta, T, T p, T q, T a, T beta)                                                         \
  ORV_DECLARE_RNG(x, ChiSquare, T, int32_t v)
ORV_DECLARE_REAL_RNG(double, d)
ORV_DECLARE_REAL_RNG(float, s)

ORV_DECLARE_RNG(i, Uniform, int32_t, int32_t a, int32_t b)
ORV_DECLARE_RNG(i, Bernoulli, int32_t, double p)
ORV_DECLARE_RNG(i, Geometric, int32_t, double p)
ORV_DECLARE_RNG(i, Binomial, int32_t, int32_t ntrial, double p)
ORV_DECLARE_RNG(i, Poisson, int32_t, double lambda)
ORV_DECLARE_RNG(i, PoissonV, int32_t, const double* lambda)
ORV_DECLARE_RNG(i, Negbinomial, int32_t, double a, double p)
ORV_DECLARE_RNG(i, Hypergeometric, int32_t, int32_t l, int32_t s, int32_t m)
ORV_DECLARE_RNG(i, Multinomial, int32_t, int32_t ntrial, int32_t k, const double* p)
/* n elements of the generator's wordSize. */
int32_t ORV_CALL _rnqiRngUniformBits(int32_t method, RngStream* stream, int32_t n, void* r);
int32_t ORV_CALL _rnqiRngUniformBits32(int32_t method, RngStream* stream, int32_t n, uint32_t* r);
int32_t ORV_CALL _rnqiRngUniformBits64(int32_t method, RngStream* stream, int32_t n, uint64_t* r);

#ifdef __cplusplus
}
#endif
#endif
