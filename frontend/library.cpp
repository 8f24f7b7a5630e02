#include "frontend/library.h"
#include "frontend/module.h"

#include <cpuid.h>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace orv {

std::string missing_processor_features() {
  unsigned a, b, c, d;
  std::string missing;
  auto need = [&](bool there, const char* name) {
    if (!there) missing += missing.empty() ? name : std::string(", ") + name;
  };
  if (!__get_cpuid(1, &a, &b, &c, &d)) return "CPUID";
  bool const fma = c & (1u << 12), os_saves = c & (1u << 27), avx = c & (1u << 28);
  need(avx, "AVX");
  need(fma, "FMA");
  bool state_kept = false;
  if (os_saves) {
    unsigned low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    state_kept = (low & 6) == 6;
  }
  need(state_kept, "support of the operating system for AVX");
  bool const leaf7 = __get_cpuid_count(7, 0, &a, &b, &c, &d);
  need(leaf7 && (b & (1u << 5)), "AVX2");
  return missing;
}

namespace {
// Test aid: claims that a feature is missing.
const char* pretended_lack() { return std::getenv("ORV_PRETEND_PROCESSOR_LACKS"); }
} // namespace

Library& Library::get() {
  static Library library;
  return library;
}

Library::Library() {
  std::string lack = missing_processor_features();
  if (const char* pretended = pretended_lack()) lack = pretended;
  if (!lack.empty())
    throw Error("this processor cannot run the kernels, it lacks: " + lack + "; AVX2 and FMA are needed");
  namespace fs = std::filesystem;
  fs::path const file = module::kernel_library_file, here = module::program_directory();
  std::vector<fs::path> const places = {here / file, here / ".." / ORV_LIBDIR / file};
  std::string why;
  for (fs::path const& place : places) {
    if (std::error_code ignored; !fs::exists(place, ignored)) continue;
    handle_ = module::open(place, why);
    if (handle_) return;
  }
  std::string elsewhere;
  handle_ = module::open(file, elsewhere);
  if (!handle_) throw Error("the kernel library cannot be loaded: " + (why.empty() ? elsewhere : why));
}

void* Library::find(const char* name) const { return module::function(handle_, name); }

void* Library::symbol(const char* name) const {
  if (void* address = find(name)) return address;
  throw Error(std::string("the kernel library that was loaded does not export ") + name);
}

} // namespace orv
