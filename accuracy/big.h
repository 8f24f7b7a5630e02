// Numbers of 256 bits: MPFR with the operators and the names of the C library, so that one expression serves double,
// long double and this type.
#pragma once
#include <mpfr.h>
#include <utility>

namespace orv::accuracy {

class Big {
 public:
  static constexpr mpfr_prec_t precision = 256;
  Big() { mpfr_init2(v_, precision); }
  Big(double x) : Big() { mpfr_set_d(v_, x, MPFR_RNDN); }
  Big(Big const& x) : Big() { mpfr_set(v_, x.v_, MPFR_RNDN); }
  Big(Big&& x) noexcept : Big() { mpfr_swap(v_, x.v_); }
  Big& operator=(Big x) {
    mpfr_swap(v_, x.v_);
    return *this;
  }
  ~Big() { mpfr_clear(v_); }
  mpfr_ptr get() { return v_; }
  mpfr_srcptr get() const { return v_; }
  bool nan() const { return mpfr_nan_p(v_); }
  bool infinite() const { return mpfr_inf_p(v_); }
  bool zero() const { return mpfr_zero_p(v_); }
  bool negative() const { return mpfr_signbit(v_); }
  double rounded() const { return mpfr_get_d(v_, MPFR_RNDN); }

 private:
  mpfr_t v_;
};

#define ORV_BIG1(name, function)                                                                             \
  inline Big name(Big const& x) {                                                                            \
    Big r;                                                                                                   \
    function;                                                                                                \
    return r;                                                                                                \
  }
#define ORV_BIG2(name, function)                                                                             \
  inline Big name(Big const& x, Big const& y) {                                                              \
    Big r;                                                                                                   \
    function(r.get(), x.get(), y.get(), MPFR_RNDN);                                                          \
    return r;                                                                                                \
  }
#define ORV_BIG_PLAIN(name) ORV_BIG1(name, mpfr_##name(r.get(), x.get(), MPFR_RNDN))
ORV_BIG_PLAIN(exp)
ORV_BIG_PLAIN(exp2)
ORV_BIG_PLAIN(exp10)
ORV_BIG_PLAIN(expm1)
ORV_BIG_PLAIN(log)
ORV_BIG_PLAIN(log2)
ORV_BIG_PLAIN(log10)
ORV_BIG_PLAIN(log1p)
ORV_BIG_PLAIN(sqrt)
ORV_BIG_PLAIN(cbrt)
ORV_BIG_PLAIN(sin)
ORV_BIG_PLAIN(cos)
ORV_BIG_PLAIN(tan)
ORV_BIG_PLAIN(asin)
ORV_BIG_PLAIN(acos)
ORV_BIG_PLAIN(atan)
ORV_BIG_PLAIN(sinh)
ORV_BIG_PLAIN(cosh)
ORV_BIG_PLAIN(tanh)
ORV_BIG_PLAIN(asinh)
ORV_BIG_PLAIN(acosh)
ORV_BIG_PLAIN(atanh)
ORV_BIG_PLAIN(erf)
ORV_BIG_PLAIN(erfc)
ORV_BIG1(fabs, mpfr_abs(r.get(), x.get(), MPFR_RNDN))
ORV_BIG1(operator-, mpfr_neg(r.get(), x.get(), MPFR_RNDN))
ORV_BIG1(floor, mpfr_floor(r.get(), x.get()))
ORV_BIG1(ceil, mpfr_ceil(r.get(), x.get()))
ORV_BIG1(trunc, mpfr_trunc(r.get(), x.get()))
ORV_BIG1(round, mpfr_round(r.get(), x.get()))
ORV_BIG1(rint, mpfr_rint(r.get(), x.get(), MPFR_RNDN))
ORV_BIG1(tgamma, mpfr_gamma(r.get(), x.get(), MPFR_RNDN))
ORV_BIG1(log_gamma, int sign; mpfr_lgamma(r.get(), &sign, x.get(), MPFR_RNDN))
ORV_BIG2(operator+, mpfr_add)
ORV_BIG2(operator-, mpfr_sub)
ORV_BIG2(operator*, mpfr_mul)
ORV_BIG2(operator/, mpfr_div)
ORV_BIG2(pow, mpfr_pow)
ORV_BIG2(hypot, mpfr_hypot)
ORV_BIG2(fmod, mpfr_fmod)
ORV_BIG2(remainder, mpfr_remainder)
ORV_BIG2(copysign, mpfr_copysign)
ORV_BIG2(atan2, mpfr_atan2)
#undef ORV_BIG_PLAIN
#undef ORV_BIG2
#undef ORV_BIG1

inline bool operator<(Big const& x, Big const& y) { return mpfr_less_p(x.get(), y.get()); }
inline bool operator>(Big const& x, Big const& y) { return mpfr_greater_p(x.get(), y.get()); }
inline bool operator<=(Big const& x, Big const& y) { return mpfr_lessequal_p(x.get(), y.get()); }
inline bool operator==(Big const& x, Big const& y) { return mpfr_equal_p(x.get(), y.get()); }
inline bool operator!=(Big const& x, Big const& y) { return !mpfr_equal_p(x.get(), y.get()); }

inline Big logb(Big const& x) {
  if (mpfr_regular_p(x.get())) return Big(static_cast<double>(mpfr_get_exp(x.get()) - 1));
  return x.zero() ? Big(-1.0) / Big(0.0) : fabs(x);
}
inline Big big_pi() {
  Big r;
  mpfr_const_pi(r.get(), MPFR_RNDN);
  return r;
}

} // namespace orv::accuracy
