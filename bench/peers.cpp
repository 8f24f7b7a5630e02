// Times the peers of element-wise functions, built as their users build them: optimised for this processor, with no
// flag of this tree. 256-bit variants, and where the processor has them 512-bit ones under names of their own.
// Started by `orv bench`; reads commands:
//   peers NAME TYPE N                     the peers there are for N elements, on one line
//   time PEER NAME TYPE N REPEATS         core cycles an element
#include "bench/arguments.h"
#include "bench/cycles.h"

#include <cmath>
#include <complex>
#include <immintrin.h>
#include <iostream>
#include <span>
#include <string>
#ifdef ORV_HAS_BOOST
#  include <boost/math/special_functions.hpp>
#endif
#ifdef ORV_HAS_SLEEF
#  include <sleef.h>
#endif

extern "C" {
double exp10(double);
float exp10f(float);
#ifdef ORV_HAS_MVEC
#  define ORV_MVEC1(name)                                                                                    \
    __m256d _ZGVdN4v_##name(__m256d);                                                                        \
    __m256 _ZGVdN8v_##name##f(__m256);                                                                       \
    __m512d _ZGVeN8v_##name(__m512d);                                                                        \
    __m512 _ZGVeN16v_##name##f(__m512);
#  define ORV_MVEC2(name)                                                                                    \
    __m256d _ZGVdN4vv_##name(__m256d, __m256d);                                                              \
    __m256 _ZGVdN8vv_##name##f(__m256, __m256);                                                              \
    __m512d _ZGVeN8vv_##name(__m512d, __m512d);                                                              \
    __m512 _ZGVeN16vv_##name##f(__m512, __m512);
#  define ORV_EACH_MVEC1(X)                                                                                  \
    X("Exp", exp)                                                                                            \
    X("Exp2", exp2) X("Exp10", exp10) X("Expm1", expm1) X("Ln", log) X("Log2", log2) X("Log10", log10)       \
        X("Log1p", log1p) X("Cbrt", cbrt) X("Sin", sin) X("Cos", cos) X("Tan", tan) X("Asin", asin)          \
            X("Acos", acos) X("Atan", atan) X("Sinh", sinh) X("Cosh", cosh) X("Tanh", tanh)                  \
                X("Asinh", asinh) X("Acosh", acosh) X("Atanh", atanh) X("Erf", erf) X("Erfc", erfc)
#  define ORV_EACH_MVEC2(X) X("Pow", pow) X("Powr", pow) X("Powx", pow) X("Hypot", hypot) X("Atan2", atan2)
#  define ORV_DECLARE1(name, f) ORV_MVEC1(f)
ORV_EACH_MVEC1(ORV_DECLARE1)
ORV_MVEC2(pow)
ORV_MVEC2(hypot)
ORV_MVEC2(atan2)
#endif
}

namespace {

using namespace orv::bench;

// How a peer goes over an array.
template <class T>
using Work = void (*)(long n, const T* a, const T* b, T* r);
struct Peer {
  const char *peer, *name;
  Work<float> s;
  Work<double> d;
  long least = 1; // elements in a vector: shorter arrays are not for it
};

#define ORV_SCALAR1(e32, e64)                                                                                \
  [](long n, const float* a, const float*, float* r) {                                                       \
    for (long i = 0; i < n; ++i) {                                                                           \
      float x = a[i];                                                                                        \
      r[i] = e32;                                                                                            \
    }                                                                                                        \
  },                                                                                                         \
      [](long n, const double* a, const double*, double* r) {                                                \
        for (long i = 0; i < n; ++i) {                                                                       \
          double x = a[i];                                                                                   \
          r[i] = e64;                                                                                        \
        }                                                                                                    \
      }
#define ORV_SCALAR2(e32, e64)                                                                                \
  [](long n, const float* a, const float* b, float* r) {                                                     \
    for (long i = 0; i < n; ++i) {                                                                           \
      float x = a[i], y = b[i];                                                                              \
      r[i] = e32;                                                                                            \
    }                                                                                                        \
  },                                                                                                         \
      [](long n, const double* a, const double* b, double* r) {                                              \
        for (long i = 0; i < n; ++i) {                                                                       \
          double x = a[i], y = b[i];                                                                         \
          r[i] = e64;                                                                                        \
        }                                                                                                    \
      }
#define ORV_VECTOR1(f32, f64)                                                                                \
  [](long n, const float* a, const float*, float* r) {                                                       \
    for (long i = 0; i + 8 <= n; i += 8) {                                                                   \
      __m256 x = _mm256_loadu_ps(a + i);                                                                     \
      _mm256_storeu_ps(r + i, f32);                                                                          \
    }                                                                                                        \
  },                                                                                                         \
      [](long n, const double* a, const double*, double* r) {                                                \
        for (long i = 0; i + 4 <= n; i += 4) {                                                               \
          __m256d x = _mm256_loadu_pd(a + i);                                                                \
          _mm256_storeu_pd(r + i, f64);                                                                      \
        }                                                                                                    \
      }
#define ORV_VECTOR2(f32, f64)                                                                                \
  [](long n, const float* a, const float* b, float* r) {                                                     \
    for (long i = 0; i + 8 <= n; i += 8) {                                                                   \
      __m256 x = _mm256_loadu_ps(a + i), y = _mm256_loadu_ps(b + i);                                         \
      _mm256_storeu_ps(r + i, f32);                                                                          \
    }                                                                                                        \
  },                                                                                                         \
      [](long n, const double* a, const double* b, double* r) {                                              \
        for (long i = 0; i + 4 <= n; i += 4) {                                                               \
          __m256d x = _mm256_loadu_pd(a + i), y = _mm256_loadu_pd(b + i);                                    \
          _mm256_storeu_pd(r + i, f64);                                                                      \
        }                                                                                                    \
      }

#ifdef __AVX512F__
#  define ORV_WIDE1(f32, f64)                                                                                \
    [](long n, const float* a, const float*, float* r) {                                                     \
      for (long i = 0; i + 16 <= n; i += 16) {                                                               \
        __m512 x = _mm512_loadu_ps(a + i);                                                                   \
        _mm512_storeu_ps(r + i, f32);                                                                        \
      }                                                                                                      \
    },                                                                                                       \
        [](long n, const double* a, const double*, double* r) {                                              \
          for (long i = 0; i + 8 <= n; i += 8) {                                                             \
            __m512d x = _mm512_loadu_pd(a + i);                                                              \
            _mm512_storeu_pd(r + i, f64);                                                                    \
          }                                                                                                  \
        }
#  define ORV_WIDE2(f32, f64)                                                                                \
    [](long n, const float* a, const float* b, float* r) {                                                   \
      for (long i = 0; i + 16 <= n; i += 16) {                                                               \
        __m512 x = _mm512_loadu_ps(a + i), y = _mm512_loadu_ps(b + i);                                       \
        _mm512_storeu_ps(r + i, f32);                                                                        \
      }                                                                                                      \
    },                                                                                                       \
        [](long n, const double* a, const double* b, double* r) {                                            \
          for (long i = 0; i + 8 <= n; i += 8) {                                                             \
            __m512d x = _mm512_loadu_pd(a + i), y = _mm512_loadu_pd(b + i);                                  \
            _mm512_storeu_pd(r + i, f64);                                                                    \
          }                                                                                                  \
        }
#endif

const Peer peers[] = {
    {"libm", "Exp", ORV_SCALAR1(expf(x), exp(x))},
    {"libm", "Exp2", ORV_SCALAR1(exp2f(x), exp2(x))},
    {"libm", "Exp10", ORV_SCALAR1(exp10f(x), exp10(x))},
    {"libm", "Expm1", ORV_SCALAR1(expm1f(x), expm1(x))},
    {"libm", "Ln", ORV_SCALAR1(logf(x), log(x))},
    {"libm", "Log2", ORV_SCALAR1(log2f(x), log2(x))},
    {"libm", "Log10", ORV_SCALAR1(log10f(x), log10(x))},
    {"libm", "Log1p", ORV_SCALAR1(log1pf(x), log1p(x))},
    {"libm", "Logb", ORV_SCALAR1(logbf(x), logb(x))},
    {"libm", "Cbrt", ORV_SCALAR1(cbrtf(x), cbrt(x))},
    {"libm", "Pow", ORV_SCALAR2(powf(x, y), pow(x, y))},
    {"libm", "Powr", ORV_SCALAR2(powf(x, y), pow(x, y))},
    {"libm", "Powx", ORV_SCALAR2(powf(x, y), pow(x, y))},
    {"libm", "Hypot", ORV_SCALAR2(hypotf(x, y), hypot(x, y))},
    {"libm", "Fmod", ORV_SCALAR2(fmodf(x, y), fmod(x, y))},
    {"libm", "Remainder", ORV_SCALAR2(remainderf(x, y), remainder(x, y))},
    {"libm", "NextAfter", ORV_SCALAR2(nextafterf(x, y), nextafter(x, y))},
    {"libm", "Round", ORV_SCALAR1(roundf(x), round(x))},
#define ORV_LIBM1(name, fn)                                                                                  \
  { "libm", name, ORV_SCALAR1(fn##f(x), fn(x)) }
    ORV_LIBM1("Sin", sin),
    ORV_LIBM1("Cos", cos),
    ORV_LIBM1("Tan", tan),
    ORV_LIBM1("Asin", asin),
    ORV_LIBM1("Acos", acos),
    ORV_LIBM1("Atan", atan),
    ORV_LIBM1("Sinh", sinh),
    ORV_LIBM1("Cosh", cosh),
    ORV_LIBM1("Tanh", tanh),
    ORV_LIBM1("Asinh", asinh),
    ORV_LIBM1("Acosh", acosh),
    ORV_LIBM1("Atanh", atanh),
    ORV_LIBM1("Erf", erf),
    ORV_LIBM1("Erfc", erfc),
    ORV_LIBM1("TGamma", tgamma),
    ORV_LIBM1("LGamma", lgamma),
    {"libm", "Atan2", ORV_SCALAR2(atan2f(x, y), atan2(x, y))},
    {"libm", "Sinpi", ORV_SCALAR1(sinf(3.14159274f * x), sin(3.141592653589793 * x))},
    {"libm", "Cospi", ORV_SCALAR1(cosf(3.14159274f * x), cos(3.141592653589793 * x))},
    {"libm", "Tanpi", ORV_SCALAR1(tanf(3.14159274f * x), tan(3.141592653589793 * x))},
    {"libm", "Sind", ORV_SCALAR1(sinf(0.0174532925f * x), sin(0.017453292519943295 * x))},
    {"libm", "Cosd", ORV_SCALAR1(cosf(0.0174532925f * x), cos(0.017453292519943295 * x))},
    {"libm", "Tand", ORV_SCALAR1(tanf(0.0174532925f * x), tan(0.017453292519943295 * x))},
    {"libm", "CdfNorm", ORV_SCALAR1(erfcf(-0.707106781f * x) / 2, erfc(-0.7071067811865476 * x) / 2)},
    {"libm", "SinCos",
     [](long n, const float* a, const float*, float* r) {
       for (long i = 0; i < n; ++i) sincosf(a[i], r + i, r + n + i);
     },
     [](long n, const double* a, const double*, double* r) {
       for (long i = 0; i < n; ++i) sincos(a[i], r + i, r + n + i);
     }},
#ifdef ORV_HAS_BOOST
    {"boost", "ErfInv", ORV_SCALAR1(boost::math::erf_inv(x), boost::math::erf_inv(x))},
    {"boost", "ErfcInv", ORV_SCALAR1(boost::math::erfc_inv(x), boost::math::erfc_inv(x))},
    {"boost", "CdfNormInv",
     ORV_SCALAR1(-1.41421356f * boost::math::erfc_inv(2 * x),
                 -1.4142135623730951 * boost::math::erfc_inv(2 * x))},
    {"boost", "ExpInt1", ORV_SCALAR1(boost::math::expint(1, x), boost::math::expint(1, x))},
    {"boost", "TGamma", ORV_SCALAR1(boost::math::tgamma(x), boost::math::tgamma(x))},
    {"boost", "LGamma", ORV_SCALAR1(boost::math::lgamma(x), boost::math::lgamma(x))},
    {"boost", "Sinpi", ORV_SCALAR1(boost::math::sin_pi(x), boost::math::sin_pi(x))},
    {"boost", "Cospi", ORV_SCALAR1(boost::math::cos_pi(x), boost::math::cos_pi(x))},
#endif
    // A plain loop, which the compiler vectorises.
    {"loop", "Add", ORV_SCALAR2(x + y, x + y)},
    {"loop", "Mul", ORV_SCALAR2(x* y, x* y)},
    {"loop", "Div", ORV_SCALAR2(x / y, x / y)},
    {"loop", "Sqrt", ORV_SCALAR1(sqrtf(x), sqrt(x))},
    {"loop", "Inv", ORV_SCALAR1(1 / x, 1 / x)},
    // The bare instruction over the array.
    {"instruction", "Floor", ORV_VECTOR1(_mm256_floor_ps(x), _mm256_floor_pd(x)), 8},
    {"instruction", "Ceil", ORV_VECTOR1(_mm256_ceil_ps(x), _mm256_ceil_pd(x)), 8},
    {"instruction", "Sqr", ORV_VECTOR1(_mm256_mul_ps(x, x), _mm256_mul_pd(x, x)), 8},
    {"instruction", "Add", ORV_VECTOR2(_mm256_add_ps(x, y), _mm256_add_pd(x, y)), 8},
    {"instruction", "Mul", ORV_VECTOR2(_mm256_mul_ps(x, y), _mm256_mul_pd(x, y)), 8},
    {"instruction", "Div", ORV_VECTOR2(_mm256_div_ps(x, y), _mm256_div_pd(x, y)), 8},
    {"instruction", "Sqrt", ORV_VECTOR1(_mm256_sqrt_ps(x), _mm256_sqrt_pd(x)), 8},
    {"instruction", "Inv",
     ORV_VECTOR1(_mm256_div_ps(_mm256_set1_ps(1), x), _mm256_div_pd(_mm256_set1_pd(1), x)), 8},
    {"instruction", "InvSqrt",
     ORV_VECTOR1(_mm256_div_ps(_mm256_set1_ps(1), _mm256_sqrt_ps(x)),
                 _mm256_div_pd(_mm256_set1_pd(1), _mm256_sqrt_pd(x))),
     8},
#ifdef ORV_HAS_MVEC
#  define ORV_ROW1(name, fn) {"libmvec", name, ORV_VECTOR1(_ZGVdN8v_##fn##f(x), _ZGVdN4v_##fn(x)), 8},
#  define ORV_ROW2(name, fn) {"libmvec", name, ORV_VECTOR2(_ZGVdN8vv_##fn##f(x, y), _ZGVdN4vv_##fn(x, y)), 8},
    ORV_EACH_MVEC1(ORV_ROW1) ORV_EACH_MVEC2(ORV_ROW2)
#  undef ORV_ROW1
#  undef ORV_ROW2
#  ifdef __AVX512F__
#    define ORV_ROW1(name, fn) {"libmvec_512", name, ORV_WIDE1(_ZGVeN16v_##fn##f(x), _ZGVeN8v_##fn(x)), 16},
#    define ORV_ROW2(name, fn)                                                                               \
      {"libmvec_512", name, ORV_WIDE2(_ZGVeN16vv_##fn##f(x, y), _ZGVeN8vv_##fn(x, y)), 16},
        ORV_EACH_MVEC1(ORV_ROW1) ORV_EACH_MVEC2(ORV_ROW2)
#  endif
#endif
#ifdef ORV_HAS_SLEEF
// One operand and two, by level; what has 512-bit twins gets them too.
#  define ORV_EACH_SLEEF1(X)                                                                                 \
    X("Exp", exp, u10)                                                                                       \
    X("Exp2", exp2, u10) X("Exp2", exp2, u35) X("Exp10", exp10, u10) X("Exp10", exp10, u35)                  \
        X("Expm1", expm1, u10) X("Ln", log, u10) X("Ln", log, u35) X("Log2", log2, u10) X("Log2", log2, u35) \
            X("Log10", log10, u10) X("Log1p", log1p, u10) X("Cbrt", cbrt, u10) X("Cbrt", cbrt, u35)          \
                X("Sqrt", sqrt, u35) X("Sin", sin, u10) X("Sin", sin, u35) X("Cos", cos, u10)                \
                    X("Cos", cos, u35) X("Tan", tan, u10) X("Tan", tan, u35) X("Sinpi", sinpi, u05)          \
                        X("Cospi", cospi, u05) X("Asin", asin, u10) X("Asin", asin, u35)                     \
                            X("Acos", acos, u10) X("Acos", acos, u35) X("Atan", atan, u10)                   \
                                X("Atan", atan, u35) X("Sinh", sinh, u10) X("Sinh", sinh, u35)               \
                                    X("Cosh", cosh, u10) X("Cosh", cosh, u35) X("Tanh", tanh, u10)           \
                                        X("Tanh", tanh, u35) X("Asinh", asinh, u10) X("Acosh", acosh, u10)   \
                                            X("Atanh", atanh, u10) X("Erf", erf, u10) X("Erfc", erfc, u15)   \
                                                X("TGamma", tgamma, u10) X("LGamma", lgamma, u10)
#  define ORV_EACH_SLEEF2(X)                                                                                 \
    X("Pow", pow, u10)                                                                                       \
    X("Powr", pow, u10) X("Powx", pow, u10) X("Hypot", hypot, u05) X("Hypot", hypot, u35)                    \
        X("Atan2", atan2, u10) X("Atan2", atan2, u35)
#  define ORV_SLEEF1(name, fn, level)                                                                        \
    {"sleef_" #level, name, ORV_VECTOR1(Sleef_##fn##f8_##level##avx2(x), Sleef_##fn##d4_##level##avx2(x)), 8},
#  define ORV_SLEEF2(name, fn, level)                                                                        \
    {"sleef_" #level, name,                                                                                  \
     ORV_VECTOR2(Sleef_##fn##f8_##level##avx2(x, y), Sleef_##fn##d4_##level##avx2(x, y)), 8},
            ORV_EACH_SLEEF1(ORV_SLEEF1) ORV_EACH_SLEEF2(ORV_SLEEF2)
#  ifdef __AVX512F__
#    define ORV_SLEEF1_WIDE(name, fn, level)                                                                 \
      {"sleef_" #level "_512", name,                                                                         \
       ORV_WIDE1(Sleef_##fn##f16_##level##avx512f(x), Sleef_##fn##d8_##level##avx512f(x)), 16},
#    define ORV_SLEEF2_WIDE(name, fn, level)                                                                 \
      {"sleef_" #level "_512", name,                                                                         \
       ORV_WIDE2(Sleef_##fn##f16_##level##avx512f(x, y), Sleef_##fn##d8_##level##avx512f(x, y)), 16},
                ORV_EACH_SLEEF1(ORV_SLEEF1_WIDE) ORV_EACH_SLEEF2(ORV_SLEEF2_WIDE)
#  endif
#endif
};

// Complex functions over arrays of std::complex, as a user writes them.
#define ORV_COMPLEX_AS(T, expression)                                                                        \
  [](long n, const T* a, const T* b, T* r) {                                                                 \
    auto const *za = reinterpret_cast<const std::complex<T>*>(a),                                            \
               *zb = reinterpret_cast<const std::complex<T>*>(b);                                            \
    auto* zr = reinterpret_cast<std::complex<T>*>(r);                                                        \
    for (long i = 0; i < n; ++i) {                                                                           \
      std::complex<T> const x = za[i], y = zb[i];                                                            \
      (void)y;                                                                                               \
      zr[i] = expression;                                                                                    \
    }                                                                                                        \
  }
#define ORV_COMPLEX(name, expression)                                                                        \
  { "std_complex", name, ORV_COMPLEX_AS(float, expression), ORV_COMPLEX_AS(double, expression), 1 }
const Peer complex_peers[] = {
    ORV_COMPLEX("Add", x + y),
    ORV_COMPLEX("Sub", x - y),
    ORV_COMPLEX("Mul", x* y),
    ORV_COMPLEX("MulByConj", x* std::conj(y)),
    ORV_COMPLEX("Div", x / y),
    ORV_COMPLEX("Conj", std::conj(x)),
    ORV_COMPLEX("Abs", std::abs(x)),
    ORV_COMPLEX("Arg", std::arg(x)),
    ORV_COMPLEX("Exp", std::exp(x)),
    ORV_COMPLEX("Ln", std::log(x)),
    ORV_COMPLEX("Log10", std::log10(x)),
    ORV_COMPLEX("Sqrt", std::sqrt(x)),
    ORV_COMPLEX("Sin", std::sin(x)),
    ORV_COMPLEX("Cos", std::cos(x)),
    ORV_COMPLEX("Tan", std::tan(x)),
    ORV_COMPLEX("Sinh", std::sinh(x)),
    ORV_COMPLEX("Cosh", std::cosh(x)),
    ORV_COMPLEX("Tanh", std::tanh(x)),
    ORV_COMPLEX("Asin", std::asin(x)),
    ORV_COMPLEX("Acos", std::acos(x)),
    ORV_COMPLEX("Atan", std::atan(x)),
    ORV_COMPLEX("Asinh", std::asinh(x)),
    ORV_COMPLEX("Acosh", std::acosh(x)),
    ORV_COMPLEX("Atanh", std::atanh(x)),
    ORV_COMPLEX("Pow", std::pow(x, y)),
    ORV_COMPLEX("Powx", std::pow(x, y)),
    ORV_COMPLEX("CIS", std::polar(decltype(x.real())(1), x.real())),
};

Peer const* find(std::string const& peer, std::string const& name, bool complex) {
  for (Peer const& p : complex ? std::span<const Peer>(complex_peers) : std::span<const Peer>(peers))
    if (peer == p.peer && name == p.name) return &p;
  return nullptr;
}

template <class T>
double time(Work<T> work, Ranges const& range, long n, long repeats, bool complex) {
  auto const numbers = static_cast<std::size_t>(complex ? 2 * n : n);
  auto const a = arguments<T>(range.a, numbers, 1), b = arguments<T>(range.b, numbers, 2);
  std::vector<T> r(2 * numbers);
  work(n, a.data(), b.data(), r.data());
  return cycles_per_element(n, repeats, [&] {
    work(n, a.data(), b.data(), r.data());
    __asm__ volatile("" ::: "memory");
  });
}

} // namespace

int main() {
  std::string command, peer, name, type;
  long n, repeats;
  while (std::cin >> command) {
    if (command == "peers") {
      std::cin >> name >> type >> n;
      bool const complex = type == "c" || type == "z";
      for (Peer const& p : complex ? std::span<const Peer>(complex_peers) : std::span<const Peer>(peers))
        if (name == p.name && n >= p.least) std::cout << p.peer << ' ';
      std::cout << std::endl;
    } else if (command == "time") {
      std::cin >> peer >> name >> type >> n >> repeats;
      bool const complex = type == "c" || type == "z", single = type == "s" || type == "c";
      double cycles = -1;
      if (Peer const* p = find(peer, name, complex))
        cycles = single ? time(p->s, range_of(name), n, repeats, complex)
                        : time(p->d, range_of(name), n, repeats, complex);
      std::cout << cycles << std::endl;
    } else {
      return 1;
    }
  }
}
