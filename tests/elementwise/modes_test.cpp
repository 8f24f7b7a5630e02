// What the thread's mode changes in a kernel: denormals, errors switched off, sticky flags.
#include "orv/elementwise.h"
#include "tests/elementwise/support.h"

#include <xmmintrin.h>

namespace orv::test {
namespace {

class Mode : public ::testing::Test {
 protected:
  void SetUp() override { old_ = set(0); }
  void TearDown() override {
    set(ORV_KEEP_DENORMALS);
    set(old_);
  }
  static uint32_t set(uint32_t mode) { return ORV_FUNCTION_OF(orv_elw_kernel_SetMode)(mode); }
  static int status() { return ORV_FUNCTION_OF(orv_elw_kernel_ClearErrStatus)(); }
  static double one(const char* name, double x, double y = 0, Level level = Level::LA) {
    double r = 0;
    Elementwise::find('d', name).call(level, {.a = &x, .b = &y, .r1 = &r}, 1);
    return r;
  }
  uint32_t old_;
  static constexpr double tiny = std::numeric_limits<double>::denorm_min();
};

TEST_F(Mode, FlushedDenormalsAreZero) {
  set(ORV_FLUSH_DENORMALS | ORV_ERRMODE_IGNORE);
  EXPECT_EQ(one("Abs", -tiny), 0);
  EXPECT_EQ(one("Add", tiny, tiny), 0);
  EXPECT_EQ(one("Ln", tiny), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(status(), ORV_STATUS_SINGULARITY);
  EXPECT_EQ(one("Exp", -720), 0);
  EXPECT_EQ(status(), ORV_STATUS_UNDERFLOW);
  set(ORV_KEEP_DENORMALS);
  EXPECT_EQ(one("Abs", -tiny), tiny);
  EXPECT_EQ(one("Add", tiny, tiny), 2 * tiny);
  EXPECT_NEAR(one("Ln", tiny), -744.44007192138122, 1e-12);
  EXPECT_EQ(status(), 0);
  EXPECT_GT(one("Exp", -720), 0);
}

TEST_F(Mode, ErrorsSwitchedOffLeaveNoStatusAndTheSameResults) {
  std::vector<double> x;
  for (int i = 0; i < 40; ++i)
    x.push_back(i % 5 == 0 ? 1000 : i % 5 == 1 ? -1000 : i % 5 == 2 ? -740 : i % 7);
  x[3] = std::numeric_limits<double>::quiet_NaN();
  for (const char* name : {"Exp", "Ln", "Pow3o2"})
    for (Level level : {Level::LA, Level::HA, Level::EP}) {
      std::vector<double> loud(x.size()), quiet(x.size());
      auto const f = Elementwise::find('d', name);
      set(ORV_ERRMODE_IGNORE);
      f.call(level, {.a = x.data(), .r1 = loud.data()}, x.size());
      EXPECT_NE(status(), 0);
      set(ORV_ERRMODE_NOERR);
      f.call(level, {.a = x.data(), .r1 = quiet.data()}, x.size());
      EXPECT_EQ(status(), 0) << name;
      EXPECT_TRUE(same_bits(loud, quiet)) << name;
    }
}

TEST_F(Mode, InexactStaysVisibleToTheCaller) {
  for (unsigned state : {0x1F80u, 0x7F80u}) { // also where the kernel has to change the control word
    unsigned const before = _mm_getcsr();
    _mm_setcsr(state);
    double x = 0.3, r;
    ORV_FUNCTION_OF(_elwdExp)(1, &x, &r);
    unsigned const after = _mm_getcsr();
    _mm_setcsr(before);
    EXPECT_TRUE(after & 0x20) << std::hex << state;
  }
}

TEST_F(Mode, TheCallersUnmaskedX87ExceptionsAreNotDelivered) {
  // The report raises the flag in the x87 unit, which the mode does not want trapped.
  set(ORV_ERRMODE_EXCEPT);
  unsigned short before, after, status;
  unsigned short const unmasked = 0x0340;
  __asm__ volatile("fnstcw %0" : "=m"(before));
  for (std::size_t n : {1, 40}) {
    std::vector<double> x(n, -1.0), r(n);
    __asm__ volatile("fnclex\n\tfldcw %0" ::"m"(unmasked));
    ORV_FUNCTION_OF(_elwdLn)(static_cast<int>(n), x.data(), r.data());
    __asm__ volatile("fnstcw %0\n\tfnstsw %1\n\tfnclex" : "=m"(after), "=m"(status));
    __asm__ volatile("fldcw %0" ::"m"(before));
    EXPECT_EQ(after, unmasked);
    EXPECT_TRUE(std::isnan(r[n - 1]));
  }
}

int replace(OrvErrorRecord* record) {
  record->res1 = 42 + record->index;
  return 0;
}
TEST_F(Mode, ACallbackReplacesResultsInEveryForm) {
  set(ORV_ERRMODE_CALLBACK);
  ORV_FUNCTION_OF(orv_elw_kernel_SetErrorCallBack)(&replace);
  double x[9] = {1, 1, 1, -1, 1, 1, 1, 1, -2}, r[9];
  ORV_FUNCTION_OF(_elwdLn)(9, x, r);
  EXPECT_EQ(r[3], 45);
  EXPECT_EQ(r[8], 50);
  EXPECT_EQ(r[4], 0);
  ORV_FUNCTION_OF(_elwdLnI)(5, x + 8, -1, x + 8, -1); // in place, backwards
  EXPECT_EQ(x[8], 42);
  EXPECT_EQ(x[7], 0);
  ORV_FUNCTION_OF(orv_elw_kernel_ClearErrorCallBack)();
}

} // namespace
} // namespace orv::test
