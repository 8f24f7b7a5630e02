// All 2^32 arguments of functions in single precision, each level against the HA kernel of the same function in double
// precision, whose own error, below 1 ulp of a double, is 2^-29 of a float's: some forty seconds a function and core where
// `orv accuracy --exhaustive`, which decides by 256 bits, takes minutes. Writes the same CSV.
//
//   g++ -std=c++20 -O3 -march=native -I. -Iinclude tools/sweep_floats.cpp -o sweep_floats -ldl
//   sweep_floats LIBRARY FUNCTION... > accuracy.csv
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <string>
#include <vector>

namespace {

struct Worst {
  double error = 0, relative = 0; // in ulp, and of normal results
  float at = 0, at_relative = 0;
};

constexpr int block = 4096;
using Single = void (*)(int, const float*, float*);
using Double = void (*)(int, const double*, double*);

template <class F>
F symbol(void* library, std::string const& name) {
  void* f = dlsym(library, name.c_str());
  if (!f) {
    std::fprintf(stderr, "sweep_floats: no %s\n", name.c_str());
    std::exit(1);
  }
  return reinterpret_cast<F>(f);
}

// The unit in the last place of the float next to x.
double unit(double x) {
  double const nearest = std::fabs(static_cast<double>(static_cast<float>(x)));
  if (nearest < 0x1p-126) return 0x1p-149;
  return std::bit_cast<double>((std::bit_cast<uint64_t>(nearest) & 0x7FF0000000000000)) * 0x1p-23;
}

void compare(const float* x, const float* got, const double* exact, Worst& worst) {
  for (int i = 0; i < block; ++i) {
    double const e = exact[i], r = got[i];
    float const rounded = static_cast<float>(e);
    if (std::isnan(e) && std::isnan(r)) continue;
    double error;
    if (std::isinf(rounded) || std::isinf(r) || std::isnan(e) || std::isnan(r))
      error = rounded == got[i] ? 0 : 1e30;
    else
      error = std::fabs(r - e) / unit(e);
    if (error > worst.error) worst.error = error, worst.at = x[i];
    if (std::fabs(rounded) >= 0x1p-126f && !std::isinf(rounded)) {
      double const relative = std::fabs(r - e) / std::fabs(e);
      if (relative > worst.relative) worst.relative = relative, worst.at_relative = x[i];
    }
  }
}

} // namespace

int main(int count, char** arguments) {
  void* library = count > 2 ? dlopen(arguments[1], RTLD_NOW) : nullptr;
  if (!library) {
    std::fprintf(stderr, "usage: sweep_floats LIBRARY FUNCTION...\n%s\n", count > 2 ? dlerror() : "");
    return 2;
  }
  std::printf(
      "function,type,level,max_ulp,ulp_bound,good_bits,bits_bound,argument,second_argument,points,pass\n");
  const char* const levels[] = {"LA", "HA", "EP"};
  for (int k = 2; k < count; ++k) {
    std::string const name = arguments[k];
    Single const kernels[] = {symbol<Single>(library, "_elws" + name + "_21"),
                              symbol<Single>(library, "_elws" + name + "_HA"),
                              symbol<Single>(library, "_elws" + name + "_11")};
    Double const reference = symbol<Double>(library, "_elwd" + name + "_HA");
    Worst worst[3];
    std::vector<float> x(block), r(block);
    std::vector<double> wide(block), exact(block);
    for (uint64_t start = 0; start < uint64_t{1} << 32; start += block) {
      for (int i = 0; i < block; ++i) {
        x[i] = std::bit_cast<float>(static_cast<uint32_t>(start + static_cast<uint64_t>(i)));
        wide[i] = x[i];
      }
      reference(block, wide.data(), exact.data());
      for (int l = 0; l < 3; ++l) {
        kernels[l](block, x.data(), r.data());
        compare(x.data(), r.data(), exact.data(), worst[l]);
      }
      if (start % (uint64_t{1} << 28) == 0)
        std::fprintf(stderr, "\r%s: %2.0f %%", name.c_str(), 0x1p-32 * 100 * static_cast<double>(start));
    }
    std::fprintf(stderr, "\r%s: done\n", name.c_str());
    for (int l = 0; l < 3; ++l) {
      double const bits = worst[l].relative > 0 ? -std::log2(worst[l].relative) : 999;
      double const bound = l == 0 ? 4 : 1;
      bool const pass = l == 2 ? bits >= 11 : worst[l].error < bound;
      std::printf("%s,s,%s,%.9g,%g,%.4f,%d,%a,0,4294967296,%s\n", name.c_str(), levels[l], worst[l].error,
                  bound, bits, l == 2 ? 11 : 24,
                  static_cast<double>(l == 2 ? worst[l].at_relative : worst[l].at), pass ? "pass" : "FAIL");
    }
    std::fflush(stdout);
  }
}
