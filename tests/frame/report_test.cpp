// Error reporting: record, callback, actions, delivered exceptions.
#include "frame/report.h"
#include "frame/thread_state.h"

#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace orv {
namespace {

std::vector<OrvErrorRecord> records;
double replacement;
int answer;

int callback(OrvErrorRecord* record) {
  records.push_back(*record);
  if (!std::isnan(replacement)) record->res1 = replacement;
  return answer;
}

class Report : public ::testing::Test {
 protected:
  void SetUp() override {
    records.clear();
    replacement = NAN;
    answer = 0;
    ElwGetThreadState().mode = ORV_HA | ORV_ERRMODE_DEFAULT;
    orv_elw_kernel_SetErrorCallBack(callback);
    orv_elw_kernel_ClearErrStatus();
    errno = 0;
  }
  void TearDown() override {
    orv_elw_kernel_ClearErrorCallBack();
    orv_elw_kernel_SetInterfInputVectorPointer(nullptr);
    __asm__ volatile("fnclex\n\tfninit");
  }
  double a[8] = {1, 2, 3, -4, 5, 6, 7, 8}, b[8] = {}, r[8] = {10, 11, 12, 13, 14, 15, 16, 17};
};

TEST_F(Report, TheRecordHoldsTheElement) {
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  ASSERT_EQ(records.size(), 1u);
  OrvErrorRecord const& e = records[0];
  EXPECT_EQ(e.code, 1);
  EXPECT_EQ(e.index, 3);
  EXPECT_EQ(e.arg1, -4);
  EXPECT_EQ(e.arg2, -4);
  EXPECT_EQ(e.res1, 13);
  EXPECT_EQ(e.res2, 13);
  EXPECT_STREQ(e.name, "vdLn");
  EXPECT_EQ(e.name_length, 4);
  EXPECT_EQ(orv_elw_kernel_GetErrStatus(), 1);
  EXPECT_EQ(errno, 33);
}

TEST_F(Report, StridedAndComplexElements) {
  ElwReportErrorDI(3, 2, a, 3, b, 0, r, 2, r, -1, "vdPow");
  EXPECT_EQ(records.back().arg1, 7);
  EXPECT_EQ(records.back().arg2, 0);
  EXPECT_EQ(records.back().res1, 14);
  Complex<float> const z[2] = {{1, 2}, {3, 4}};
  Complex<float> w[2] = {{5, 6}, {7, 8}};
  replacement = 1e300;
  ElwReportErrorC(3, 1, z, z, w, w, "vcExp");
  EXPECT_EQ(records.back().arg1, 3);
  EXPECT_EQ(records.back().arg1_im, 4);
  EXPECT_EQ(records.back().res1_im, 8);
  EXPECT_TRUE(std::isinf(w[1].re)) << "narrowed to float on the way back";
  EXPECT_EQ(w[1].im, 8);
}

TEST_F(Report, IndexCountsFromTheWholeVector) {
  orv_elw_kernel_SetInterfInputVectorPointer(a - 100);
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(records.back().index, 103);
  orv_elw_kernel_SetInterfInputVectorPointer(a + 2);
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(records.back().index, 1);
}

TEST_F(Report, NamesAreCutAt47Characters) {
  ElwReportErrorD(1, 0, a, a, r, r, "12345678901234567890123456789012345678901234567890");
  EXPECT_EQ(records.back().name_length, 47);
  EXPECT_EQ(std::strlen(records.back().name), 47u);
}

TEST_F(Report, TheCallbackDecidesOnTheResult) {
  replacement = 42;
  orv_elw_kernel_SetMode(ORV_ERRMODE_CALLBACK);
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(r[3], 42) << "res2 is written first, res1 stays";
  EXPECT_EQ(errno, 0);
  orv_elw_kernel_SetMode(ORV_ERRMODE_DEFAULT);
  ElwReportErrorD(2, 4, a, a, r, r, "vdLn");
  EXPECT_EQ(r[4], 42);
  EXPECT_EQ(errno, 34);
  errno = 0;
  answer = 1;
  ElwReportErrorD(1, 5, a, a, r, r, "vdLn");
  EXPECT_EQ(r[5], 15) << "dealt with: nothing else happens";
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(orv_elw_kernel_GetErrStatus(), 1);
}

TEST_F(Report, SwitchedOffAndIgnored) {
  orv_elw_kernel_SetMode(ORV_ERRMODE_NOERR);
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(orv_elw_kernel_GetErrStatus(), 0);
  orv_elw_kernel_SetMode(ORV_ERRMODE_IGNORE);
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(orv_elw_kernel_GetErrStatus(), 1);
  EXPECT_EQ(errno, 0);
  EXPECT_TRUE(records.empty());
  orv_elw_kernel_SetMode(ORV_ERRMODE_IGNORE | ORV_ERRMODE_ERRNO);
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(errno, 33) << "not ignore alone";
}

TEST_F(Report, StatusesOfNoElementFillNoneAndWriteNoneBack) {
  for (auto [status, number] : {std::pair{-1, 22}, {-2, 13}, {77, 14}}) {
    errno = 0;
    ElwReportErrorD(status, 0, a, a, r, r, "vdLn");
    EXPECT_EQ(errno, number);
  }
}

TEST_F(Report, MessagesByTheShapeOfTheElement) {
  orv_elw_kernel_SetMode(ORV_ERRMODE_STDERR);
  auto printed = [&](int status, double arg2, double res2) {
    double const x[1] = {-4}, y[1] = {arg2};
    double r1[1] = {7}, r2[1] = {res2};
    testing::internal::CaptureStderr();
    ElwReportErrorD(status, 0, x, y, r1, r2, "vdName");
    return testing::internal::GetCapturedStderr();
  };
  auto lines = [](std::string const& s) { return std::count(s.begin(), s.end(), '\n'); };
  std::string const one = printed(1, -4, 7);
  EXPECT_NE(one.find("vdName"), std::string::npos);
  EXPECT_NE(one.find("domain"), std::string::npos);
  EXPECT_EQ(lines(one), 3);
  EXPECT_EQ(lines(printed(1, 0.0, 7)), 3) << "a second operand of zero counts as none";
  EXPECT_EQ(lines(printed(1, NAN, 7)), 4) << "a NaN is a second operand";
  EXPECT_EQ(lines(printed(2, -4, 8)), 4);
  EXPECT_EQ(lines(printed(3, 5, 8)), 5);
  EXPECT_EQ(lines(printed(-1, 5, 8)), 1);
  EXPECT_EQ(lines(printed(0, 5, 8)), 0);
}

uint16_t x87_flags() {
  uint16_t status;
  __asm__ volatile("fnstsw %0" : "=m"(status));
  return status & 0x3F;
}

TEST_F(Report, ExceptionFlagWithoutATrap) {
  orv_elw_kernel_SetMode(ORV_ERRMODE_EXCEPT);
  struct {
    int status;
    uint16_t flag;
  } const cases[] = {{1, 0x01}, {2, 0x04}, {3, 0x08}, {4, 0x10}};
  for (auto const& c : cases) {
    __asm__ volatile("fnclex");
    ElwReportErrorD(c.status, 0, a, a, r, r, "vdLn");
    EXPECT_EQ(x87_flags(), c.flag);
  }
}

#ifndef _WIN32 // as a signal
sigjmp_buf landing;
volatile int delivered_code;
void on_exception(int, siginfo_t* info, void*) {
  delivered_code = info->si_code;
  siglongjmp(landing, 1);
}

TEST_F(Report, ATrappedExceptionIsDelivered) {
  struct sigaction action {
  }, old;
  action.sa_sigaction = on_exception;
  action.sa_flags = SA_SIGINFO;
  ASSERT_EQ(sigaction(SIGFPE, &action, &old), 0);
  struct {
    int status;
    uint32_t trap;
    int code;
  } const cases[] = {{1, ORV_TRAP_INVALID, FPE_FLTINV},
                     {2, ORV_TRAP_DIVBYZERO, FPE_FLTDIV},
                     {3, ORV_TRAP_OVERFLOW, FPE_FLTOVF},
                     {4, ORV_TRAP_UNDERFLOW, FPE_FLTUND}};
  for (auto const& c : cases) {
    delivered_code = 0;
    ElwGetThreadState().mode = ORV_HA | ORV_ERRMODE_EXCEPT | c.trap;
    if (sigsetjmp(landing, 1) == 0) ElwReportErrorD(c.status, 0, a, a, r, r, "vdLn");
    EXPECT_EQ(delivered_code, c.code) << "status " << c.status;
    __asm__ volatile("fnclex\n\tfninit");
    // Another status than the trapped one is not delivered.
    delivered_code = 0;
    if (sigsetjmp(landing, 1) == 0) ElwReportErrorD(c.status % 4 + 1, 0, a, a, r, r, "vdLn");
    EXPECT_EQ(delivered_code, 0);
    __asm__ volatile("fnclex\n\tfninit");
  }
  sigaction(SIGFPE, &old, nullptr);
}
#endif

} // namespace
} // namespace orv
