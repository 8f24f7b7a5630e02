#include "frame/report.h"

#include "frame/core.h"
#include "frame/thread_state.h"
#include "platform/platform.h"

#include <bit>
#include <cstring>
#include <type_traits>

namespace orv {
namespace {

static_assert(sizeof(OrvErrorRecord) == 144 && offsetof(OrvErrorRecord, arg1) == 8 &&
              offsetof(OrvErrorRecord, name) == 40 && offsetof(OrvErrorRecord, name_length) == 104 &&
              offsetof(OrvErrorRecord, arg1_im) == 112);

constexpr int name_limit = 47;

// What each status means to the outside: errno, x87 exception bit, message.
struct Meaning {
  int error_number;
  uint16_t exception;
  int message;
};
constexpr Meaning meaning(int status) {
  switch (status) {
  case ORV_STATUS_ACCESS:
    return {13, 0, 749};
  case ORV_STATUS_ARGUMENT:
    return {22, 0, 748};
  case ORV_STATUS_OK:
    return {0, 0, 0};
  case ORV_STATUS_DOMAIN:
    return {33, 0x01, 750};
  case ORV_STATUS_SINGULARITY:
    return {34, 0x04, 751};
  case ORV_STATUS_OVERFLOW:
    return {34, 0x08, 752};
  case ORV_STATUS_UNDERFLOW:
    return {34, 0x10, 753};
  default:
    return {14, 0, 754};
  }
}

bool concerns_no_element(int status) { return status == ORV_STATUS_ACCESS || status == ORV_STATUS_ARGUMENT; }

void set_errno(int status) {
  if (int* location = platform::errno_location()) *location = meaning(status).error_number;
}

bool same_bits(double a, double b) { return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b); }

void print(OrvErrorRecord const& e) {
  int const message = meaning(e.code).message;
  if (!message) return;
  if (e.code == ORV_STATUS_ARGUMENT)
    core::print(message, e.name, e.index);
  else
    core::print(message, e.name);
  if (concerns_no_element(e.code)) return;
  // The record does not say how many operands and results there are; a NaN counts as a second one.
  bool const one_argument = same_bits(e.arg1, e.arg2) || e.arg2 == 0.0;
  bool const one_result = same_bits(e.res1, e.res2) || e.res2 == 0.0;
  int number = one_argument ? (one_result ? 755 : 757) : (one_result ? 760 : 763);
  core::print(number++, e.index, e.arg1);
  if (!one_argument) core::print(number++, e.index, e.arg2);
  core::print(number++, e.index, e.res1);
  if (!one_result) core::print(number++, e.index, e.res2);
}

// The x87 environment as fnstenv stores it.
struct X87Environment {
  uint16_t control, reserved1, status, reserved2;
  uint32_t rest[5];
};
static_assert(sizeof(X87Environment) == 28);

// Raises the exception in the x87 unit. A trap that the mode asks for is delivered by the second load; the
// masks are all set afterwards, as kernels run.
void raise_exception(int status, uint32_t mode) {
  constexpr uint16_t masks = 0x3F;
  uint16_t const exception = meaning(status).exception;
  uint16_t unmasked = 0;
  if (mode & ORV_TRAP_INVALID) unmasked |= 0x01;
  if (mode & ORV_TRAP_DIVBYZERO) unmasked |= 0x04;
  if (mode & ORV_TRAP_OVERFLOW) unmasked |= 0x08;
  if (mode & ORV_TRAP_UNDERFLOW) unmasked |= 0x10;

  X87Environment saved, raised;
  __asm__ volatile("fnstenv %0" : "=m"(saved)::"memory");
  raised = saved;
  raised.control &= static_cast<uint16_t>(~unmasked);
  raised.status = static_cast<uint16_t>((saved.status & ~masks) | exception);
  saved.control |= masks;
  saved.status |= exception;
  __asm__ volatile("fldenv %0\n\tfldenv %1" ::"m"(raised), "m"(saved) : "memory");
}

void act(OrvErrorRecord const& record, uint32_t mode) {
  if (mode & ORV_ERRMODE_ERRNO) set_errno(record.code);
  if (mode & ORV_ERRMODE_STDERR) print(record);
  if (mode & ORV_ERRMODE_EXCEPT) raise_exception(record.code, mode);
}

template <class T>
void read(T value, double& re, double&) {
  re = value;
}
template <class T>
void read(Complex<T> value, double& re, double& im) {
  re = value.re;
  im = value.im;
}
template <class T>
void write(T& element, double re, double) {
  element = static_cast<T>(re);
}
template <class T>
void write(Complex<T>& element, double re, double im) {
  element = {static_cast<T>(re), static_cast<T>(im)};
}

} // namespace

template <class A, class R>
[[gnu::noinline, gnu::cold]] void report_error(int status, int index, Strided<const A> a1,
                                               Strided<const A> a2, Strided<R> r1, Strided<R> r2,
                                               const char* name) {
  uint32_t const mode = orv_elw_kernel_GetMode();
  uint32_t const error_mode = mode & error_mode_mask;
  if (error_mode == ORV_ERRMODE_NOERR) return;
  ElwThreadState& state = ElwGetThreadState();
  state.errStatus = status;
  if (error_mode == ORV_ERRMODE_IGNORE) return;

  OrvErrorRecord record;
  record.code = status;
  record.index = index;
  if (state.interfInputVector) {
    auto const distance =
        reinterpret_cast<intptr_t>(a1.base) - reinterpret_cast<intptr_t>(state.interfInputVector);
    record.index += static_cast<int32_t>(distance / static_cast<intptr_t>(sizeof(A)));
  }
  record.name_length = static_cast<int32_t>(strnlen(name, name_limit));
  std::memcpy(record.name, name, static_cast<std::size_t>(record.name_length));
  record.name[record.name_length] = 0;

  bool const element = !concerns_no_element(status);
  if (element) {
    auto const i = static_cast<std::ptrdiff_t>(index);
    if constexpr (!std::is_same_v<A, R> || !std::is_floating_point_v<A>)
      record.arg1_im = record.arg2_im = record.res1_im = record.res2_im = 0;
    read(a1.base[i * a1.stride], record.arg1, record.arg1_im);
    read(a2.base[i * a2.stride], record.arg2, record.arg2_im);
    read(r1.base[i * r1.stride], record.res1, record.res1_im);
    read(r2.base[i * r2.stride], record.res2, record.res2_im);
  }

  if ((mode & ORV_ERRMODE_CALLBACK) && state.errorCallback && state.errorCallback(&record) != 0) return;
  act(record, mode);
  if (!element) return;
  auto const i = static_cast<std::ptrdiff_t>(index);
  write(r2.base[i * r2.stride], record.res2, record.res2_im);
  write(r1.base[i * r1.stride], record.res1, record.res1_im); // last: it stays where r1 and r2 are one array
}

#define ORV_REPORT(A, R)                                                                                     \
  template void report_error(int, int, Strided<const A>, Strided<const A>, Strided<R>, Strided<R>,           \
                             const char*);
ORV_REPORT(float, float)
ORV_REPORT(double, double)
ORV_REPORT(Complex<float>, Complex<float>)
ORV_REPORT(Complex<double>, Complex<double>)
ORV_REPORT(Complex<float>, float)
ORV_REPORT(Complex<double>, double)
ORV_REPORT(float, Complex<float>)
ORV_REPORT(double, Complex<double>)

} // namespace orv
