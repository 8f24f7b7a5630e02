// Times the peers of element-wise functions, held to 256-bit variants. Started by `orv bench`; reads commands:
//   peers NAME TYPE                       the peers there are, on one line
//   time PEER NAME TYPE N REPEATS         core cycles an element
#include "bench/arguments.h"
#include "bench/cycles.h"

#include <cmath>
#include <immintrin.h>
#include <iostream>
#include <string>
#ifdef ORV_HAS_SLEEF
#  include <sleef.h>
#endif

extern "C" {
double exp10(double);
float exp10f(float);
#ifdef ORV_HAS_MVEC
#  define ORV_MVEC1(name)                                                                                    \
    __m256d _ZGVdN4v_##name(__m256d);                                                                        \
    __m256 _ZGVdN8v_##name##f(__m256);
ORV_MVEC1(exp)
ORV_MVEC1(exp2)
ORV_MVEC1(exp10)
ORV_MVEC1(expm1)
ORV_MVEC1(log)
ORV_MVEC1(log2)
ORV_MVEC1(log10)
ORV_MVEC1(log1p)
ORV_MVEC1(cbrt)
__m256d _ZGVdN4vv_pow(__m256d, __m256d);
__m256 _ZGVdN8vv_powf(__m256, __m256);
__m256d _ZGVdN4vv_hypot(__m256d, __m256d);
__m256 _ZGVdN8vv_hypotf(__m256, __m256);
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
    // The bare instruction over the array.
    {"instruction", "Floor", ORV_VECTOR1(_mm256_floor_ps(x), _mm256_floor_pd(x))},
    {"instruction", "Ceil", ORV_VECTOR1(_mm256_ceil_ps(x), _mm256_ceil_pd(x))},
    {"instruction", "Sqr", ORV_VECTOR1(_mm256_mul_ps(x, x), _mm256_mul_pd(x, x))},
    {"instruction", "Add", ORV_VECTOR2(_mm256_add_ps(x, y), _mm256_add_pd(x, y))},
    {"instruction", "Mul", ORV_VECTOR2(_mm256_mul_ps(x, y), _mm256_mul_pd(x, y))},
    {"instruction", "Div", ORV_VECTOR2(_mm256_div_ps(x, y), _mm256_div_pd(x, y))},
    {"instruction", "Sqrt", ORV_VECTOR1(_mm256_sqrt_ps(x), _mm256_sqrt_pd(x))},
    {"instruction", "Inv",
     ORV_VECTOR1(_mm256_div_ps(_mm256_set1_ps(1), x), _mm256_div_pd(_mm256_set1_pd(1), x))},
    {"instruction", "InvSqrt",
     ORV_VECTOR1(_mm256_div_ps(_mm256_set1_ps(1), _mm256_sqrt_ps(x)),
                 _mm256_div_pd(_mm256_set1_pd(1), _mm256_sqrt_pd(x)))},
#ifdef ORV_HAS_MVEC
    {"libmvec", "Exp", ORV_VECTOR1(_ZGVdN8v_expf(x), _ZGVdN4v_exp(x))},
    {"libmvec", "Exp2", ORV_VECTOR1(_ZGVdN8v_exp2f(x), _ZGVdN4v_exp2(x))},
    {"libmvec", "Exp10", ORV_VECTOR1(_ZGVdN8v_exp10f(x), _ZGVdN4v_exp10(x))},
    {"libmvec", "Expm1", ORV_VECTOR1(_ZGVdN8v_expm1f(x), _ZGVdN4v_expm1(x))},
    {"libmvec", "Ln", ORV_VECTOR1(_ZGVdN8v_logf(x), _ZGVdN4v_log(x))},
    {"libmvec", "Log2", ORV_VECTOR1(_ZGVdN8v_log2f(x), _ZGVdN4v_log2(x))},
    {"libmvec", "Log10", ORV_VECTOR1(_ZGVdN8v_log10f(x), _ZGVdN4v_log10(x))},
    {"libmvec", "Log1p", ORV_VECTOR1(_ZGVdN8v_log1pf(x), _ZGVdN4v_log1p(x))},
    {"libmvec", "Cbrt", ORV_VECTOR1(_ZGVdN8v_cbrtf(x), _ZGVdN4v_cbrt(x))},
    {"libmvec", "Pow", ORV_VECTOR2(_ZGVdN8vv_powf(x, y), _ZGVdN4vv_pow(x, y))},
    {"libmvec", "Powr", ORV_VECTOR2(_ZGVdN8vv_powf(x, y), _ZGVdN4vv_pow(x, y))},
    {"libmvec", "Powx", ORV_VECTOR2(_ZGVdN8vv_powf(x, y), _ZGVdN4vv_pow(x, y))},
    {"libmvec", "Hypot", ORV_VECTOR2(_ZGVdN8vv_hypotf(x, y), _ZGVdN4vv_hypot(x, y))},
#endif
#ifdef ORV_HAS_SLEEF
#  define ORV_SLEEF1(name, f, level)                                                                         \
    { "sleef_" #level, name, ORV_VECTOR1(Sleef_##f##f8_##level##avx2(x), Sleef_##f##d4_##level##avx2(x)) }
#  define ORV_SLEEF2(name, f, level)                                                                         \
    {                                                                                                        \
      "sleef_" #level, name,                                                                                 \
          ORV_VECTOR2(Sleef_##f##f8_##level##avx2(x, y), Sleef_##f##d4_##level##avx2(x, y))                  \
    }
    ORV_SLEEF1("Exp", exp, u10),
    ORV_SLEEF1("Exp2", exp2, u10),
    ORV_SLEEF1("Exp2", exp2, u35),
    ORV_SLEEF1("Exp10", exp10, u10),
    ORV_SLEEF1("Exp10", exp10, u35),
    ORV_SLEEF1("Expm1", expm1, u10),
    ORV_SLEEF1("Ln", log, u10),
    ORV_SLEEF1("Ln", log, u35),
    ORV_SLEEF1("Log2", log2, u10),
    ORV_SLEEF1("Log2", log2, u35),
    ORV_SLEEF1("Log10", log10, u10),
    ORV_SLEEF1("Log1p", log1p, u10),
    ORV_SLEEF1("Cbrt", cbrt, u10),
    ORV_SLEEF1("Cbrt", cbrt, u35),
    ORV_SLEEF1("Sqrt", sqrt, u35),
    ORV_SLEEF2("Pow", pow, u10),
    ORV_SLEEF2("Powr", pow, u10),
    ORV_SLEEF2("Powx", pow, u10),
    ORV_SLEEF2("Hypot", hypot, u05),
    ORV_SLEEF2("Hypot", hypot, u35),
#endif
};

template <class T>
double time(Work<T> work, Ranges const& range, long n, long repeats) {
  static std::vector<T> a, b, r;
  static std::string last;
  if (last != range.name || a.size() != static_cast<std::size_t>(n)) {
    last = range.name;
    a = arguments<T>(range.a, static_cast<std::size_t>(n), 1);
    b = arguments<T>(range.b, static_cast<std::size_t>(n), 2);
    r.assign(static_cast<std::size_t>(n), T(0));
    work(n, a.data(), b.data(), r.data());
  }
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
      std::cin >> name >> type;
      for (Peer const& p : peers)
        if (name == p.name) std::cout << p.peer << ' ';
      std::cout << std::endl;
    } else if (command == "time") {
      std::cin >> peer >> name >> type >> n >> repeats;
      double cycles = -1;
      for (Peer const& p : peers)
        if (peer == p.peer && name == p.name)
          cycles =
              type == "s" ? time(p.s, range_of(name), n, repeats) : time(p.d, range_of(name), n, repeats);
      std::cout << cycles << std::endl;
    } else {
      return 1;
    }
  }
}
