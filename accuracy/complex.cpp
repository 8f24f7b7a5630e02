// Complex arithmetic and functions: the exact values come from MPC, each part correctly rounded to 256 bits.
#include "accuracy/real.h"

#include <complex>
#include <limits>
#include <mpc.h>

namespace orv::accuracy {
namespace {

class BigComplex {
 public:
  BigComplex() { mpc_init2(v_, Big::precision); }
  explicit BigComplex(const Big* x) : BigComplex() { mpc_set_fr_fr(v_, x[0].get(), x[1].get(), MPC_RNDNN); }
  BigComplex(BigComplex const&) = delete;
  BigComplex& operator=(BigComplex const&) = delete;
  ~BigComplex() { mpc_clear(v_); }
  mpc_ptr get() { return v_; }
  void store(Big* r) const {
    mpfr_set(r[0].get(), mpc_realref(v_), MPFR_RNDN);
    mpfr_set(r[1].get(), mpc_imagref(v_), MPFR_RNDN);
  }

 private:
  mpc_t v_;
};

template <auto function>
void exact_one(const Big* x, Big* r) {
  BigComplex z(x), w;
  function(w.get(), z.get(), MPC_RNDNN);
  w.store(r);
}
template <auto function>
void exact_two(const Big* x, Big* r) {
  BigComplex a(x), b(x + 2), w;
  function(w.get(), a.get(), b.get(), MPC_RNDNN);
  w.store(r);
}
template <auto function>
void exact_real(const Big* x, Big* r) {
  BigComplex z(x);
  function(r->get(), z.get(), MPFR_RNDN);
}

// One operand. The lambda works on std::complex of double and long double.
template <auto exact, class F>
constexpr Reference one(std::string_view name, F, double error = 64) {
  return {name,
          true,
          {1, 2, 1, 2},
          [](const double* x, double* r) {
            auto const w = F()(std::complex<double>(x[0], x[1]));
            r[0] = w.real();
            r[1] = w.imag();
            return true;
          },
          [](const long double* x, long double* r) {
            auto const w = F()(std::complex<long double>(x[0], x[1]));
            r[0] = w.real();
            r[1] = w.imag();
            return true;
          },
          &exact_one<exact>,
          error};
}
#define ORV_COMPLEX(name, function, expression) one<function>(name, [](auto const& z) { return expression; })

// Two operands (or one and a scalar): the lambda is given the four parts and says whether it can decide.
template <auto exact, class F>
constexpr Reference two(std::string_view name, F, int operands = 2, unsigned modulus = 0) {
  return {name,
          true,
          {operands, 2, 1, 2},
          [](const double* x, double* r) -> bool { return F()(x, r); },
          [](const long double* x, long double* r) -> bool { return F()(x, r); },
          &exact_two<exact>,
          64,
          true,
          true,
          modulus};
}
// A sum of two products that keeps a few good bits more than the last place, or not.
template <class R>
bool sum_of_products(R a, R b, R c, R d, R& sum) {
  R const first = a * b, second = c * d;
  sum = first + second;
  return std::fabs(sum) * 256 >= std::fabs(first) + std::fabs(second) && std::isfinite(sum);
}
template <class R>
bool divide(const R* x, R* r) {
  R re = 0, im = 0;
  bool const good =
      sum_of_products(x[0], x[2], x[1], x[3], re) & sum_of_products(x[1], x[2], -x[0], x[3], im);
  R const square = x[2] * x[2] + x[3] * x[3];
  r[0] = re / square;
  r[1] = im / square;
  return good && square > std::numeric_limits<R>::min() && std::isfinite(square);
}
template <class R>
bool power(const R* x, R* r) {
  std::complex<R> const w = std::pow(std::complex<R>(x[0], x[1]), std::complex<R>(x[2], x[3]));
  r[0] = w.real();
  r[1] = w.imag();
  // The logarithm's error grows by the exponent.
  return std::fabs(x[2]) + std::fabs(x[3]) < 4 && std::isfinite(r[0]) && std::isfinite(r[1]);
}

int multiply_by_conjugate(mpc_ptr r, mpc_srcptr a, mpc_srcptr b, mpc_rnd_t rounding) {
  BigComplex conjugate;
  mpc_conj(conjugate.get(), b, MPC_RNDNN);
  return mpc_mul(r, a, conjugate.get(), rounding);
}
// tan(x + i y) = (sin x cos x + i sinh y cosh y) / (cos^2 x + sinh^2 y), where nothing cancels; the library's own
// function hardly ends for large y. Beyond 1e5 the first part is 0 in every type and the second 1.
void tangent(Big const& x, Big const& y, Big& circular, Big& hyperbolic) {
  Big const bounded = fabs(y) > Big(1e5) ? copysign(Big(1e5), y) : y;
  Big const s = sin(x), c = cos(x), sh = sinh(bounded), ch = cosh(bounded), below = c * c + sh * sh;
  circular = s * c / below;
  hyperbolic = sh * ch / below;
}
constexpr Reference with_exact(Reference r, void (*exact)(const Big*, Big*)) {
  r.exact = exact;
  return r;
}
constexpr unsigned ep_only = 4, all_levels = 7;

constexpr Reference table[] = {
    two<&mpc_add>("Add",
                  [](auto* x, auto* r) {
                    r[0] = x[0] + x[2];
                    r[1] = x[1] + x[3];
                    return true;
                  }),
    two<&mpc_sub>("Sub",
                  [](auto* x, auto* r) {
                    r[0] = x[0] - x[2];
                    r[1] = x[1] - x[3];
                    return true;
                  }),
    two<&mpc_mul>("Mul",
                  [](auto* x, auto* r) {
                    return sum_of_products(x[0], x[2], -x[1], x[3], r[0]) &
                           sum_of_products(x[0], x[3], x[1], x[2], r[1]);
                  }),
    two<&multiply_by_conjugate>("MulByConj",
                                [](auto* x, auto* r) {
                                  return sum_of_products(x[0], x[2], x[1], x[3], r[0]) &
                                         sum_of_products(x[1], x[2], -x[0], x[3], r[1]);
                                }),
    two<&mpc_div>(
        "Div", [](auto* x, auto* r) { return divide(x, r); }, 2, ep_only),
    one<&mpc_conj>("Conj", [](auto const& z) { return std::conj(z); }),
    {"Abs",
     true,
     {1, 2, 1, 1},
     [](const double* x, double* r) {
       *r = std::hypot(x[0], x[1]);
       return true;
     },
     [](const long double* x, long double* r) {
       *r = std::hypot(x[0], x[1]);
       return true;
     },
     &exact_real<&mpc_abs>},
    {"Arg",
     true,
     {1, 2, 1, 1},
     [](const double* x, double* r) {
       *r = std::atan2(x[1], x[0]);
       return true;
     },
     [](const long double* x, long double* r) {
       *r = std::atan2(x[1], x[0]);
       return true;
     },
     &exact_real<&mpc_arg>},
    ORV_COMPLEX("Exp", &mpc_exp, std::exp(z)),
    ORV_COMPLEX("Ln", &mpc_log, std::log(z)),
    ORV_COMPLEX("Log10", &mpc_log10, std::log10(z)),
    ORV_COMPLEX("Sqrt", &mpc_sqrt, std::sqrt(z)),
    ORV_COMPLEX("Sin", &mpc_sin, std::sin(z)),
    ORV_COMPLEX("Cos", &mpc_cos, std::cos(z)),
    with_exact(ORV_COMPLEX("Tan", &mpc_tan, std::tan(z)),
               [](const Big* x, Big* r) { tangent(x[0], x[1], r[0], r[1]); }),
    ORV_COMPLEX("Sinh", &mpc_sinh, std::sinh(z)),
    ORV_COMPLEX("Cosh", &mpc_cosh, std::cosh(z)),
    with_exact(ORV_COMPLEX("Tanh", &mpc_tanh, std::tanh(z)),
               [](const Big* x, Big* r) { tangent(x[1], x[0], r[1], r[0]); }),
    ORV_COMPLEX("Asin", &mpc_asin, std::asin(z)),
    ORV_COMPLEX("Acos", &mpc_acos, std::acos(z)),
    ORV_COMPLEX("Atan", &mpc_atan, std::atan(z)),
    ORV_COMPLEX("Asinh", &mpc_asinh, std::asinh(z)),
    ORV_COMPLEX("Acosh", &mpc_acosh, std::acosh(z)),
    ORV_COMPLEX("Atanh", &mpc_atanh, std::atanh(z)),
    two<&mpc_pow>(
        "Pow", [](auto* x, auto* r) { return power(x, r); }, 2, all_levels),
    two<&mpc_pow>(
        "Powx", [](auto* x, auto* r) { return power(x, r); }, 1, all_levels),
};

} // namespace

std::span<Reference const> complex_references() { return table; }

} // namespace orv::accuracy
