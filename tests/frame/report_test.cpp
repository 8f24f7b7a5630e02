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
  EXPECT_EQ(records.back().arg1, -4) << "the element is that of this call";
  // Elements of the operand's own size.
  static float f[108];
  orv_elw_kernel_SetInterfInputVectorPointer(f);
  ElwReportErrorS(1, 3, f + 100, f, f, f, "vsLn");
  EXPECT_EQ(records.back().index, 103);
  static Complex<double> z[104];
  orv_elw_kernel_SetInterfInputVectorPointer(z);
  ElwReportErrorZ(1, 3, z + 100, z, z, z, "vzLn");
  EXPECT_EQ(records.back().index, 103);
}

TEST_F(Report, NamesAreCutAt47Characters) {
  ElwReportErrorD(1, 0, a, a, r, r, "12345678901234567890123456789012345678901234567");
  EXPECT_EQ(records.back().name_length, 47);
  ElwReportErrorD(1, 0, a, a, r, r, "");
  EXPECT_EQ(records.back().name_length, 0);
  EXPECT_STREQ(records.back().name, "");
  ElwReportErrorD(1, 0, a, a, r, r, "12345678901234567890123456789012345678901234567890");
  EXPECT_EQ(records.back().name_length, 47);
  EXPECT_STREQ(records.back().name, "12345678901234567890123456789012345678901234567");
}

TEST_F(Report, TheCallbackDecidesOnTheResult) {
  replacement = 42;
  orv_elw_kernel_SetMode(ORV_ERRMODE_CALLBACK);
  ElwReportErrorD(1, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(r[3], 42) << "res2 is written first, res1 stays";
  EXPECT_EQ(r[2] + r[4], 12 + 14) << "neighbours stay";
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
  answer = -1;
  ElwReportErrorD(2, 6, a, a, r, r, "vdLn");
  EXPECT_EQ(r[6], 16) << "any answer but 0";
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
  replacement = 42;
  for (int status : {-1, -2}) {
    records.clear();
    ElwReportErrorD(status, 3, nullptr, nullptr, nullptr, nullptr, "vdLn"); // no element is read either
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].code, status);
    EXPECT_EQ(records[0].index, 3);
    EXPECT_STREQ(records[0].name, "vdLn");
    ElwReportErrorD(status, 3, a, a, r, r, "vdLn");
    EXPECT_EQ(r[3], 13) << "no result is written";
  }
  // An unknown status concerns an element.
  ElwReportErrorD(77, 3, a, a, r, r, "vdLn");
  EXPECT_EQ(records.back().arg1, -4);
  EXPECT_EQ(r[3], 42);
}

TEST_F(Report, EachStatusHasItsErrno) {
  for (auto [status, number] : {std::pair{1, 33}, {2, 34}, {3, 34}, {4, 34}, {-1, 22}, {-2, 13}, {5, 14}}) {
    errno = 0;
    ElwReportErrorD(status, 0, a, a, r, r, "vdLn");
    EXPECT_EQ(errno, number) << "status " << status;
    EXPECT_EQ(orv_elw_kernel_GetErrStatus(), status);
  }
  errno = 77;
  orv_elw_kernel_SetMode(ORV_ERRMODE_STDERR);
  testing::internal::CaptureStderr();
  ElwReportErrorD(1, 0, a, a, r, r, "vdLn");
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(errno, 77) << "left alone without its mode bit";
}

TEST_F(Report, ACallbackMayChangeBothResults) {
  double first[3] = {1, 2, 3}, second[3] = {4, 5, 6};
  orv_elw_kernel_SetErrorCallBack([](OrvErrorRecord* record) {
    record->res1 = -record->res1;
    record->res2 = 10 * record->res2;
    return 0;
  });
  ElwReportErrorD(1, 1, a, a, first, second, "vdModf");
  EXPECT_EQ(first[1], -2);
  EXPECT_EQ(second[1], 50);
  EXPECT_EQ(first[0] + first[2] + second[0] + second[2], 1 + 3 + 4 + 6) << "neighbours stay";
  float fa[2] = {1, 2}, f1[2] = {3, 4}, f2[2] = {5, 6};
  ElwReportErrorS(1, 1, fa, fa, f1, f2, "vsModf");
  EXPECT_EQ(f1[1], -4);
  EXPECT_EQ(f2[1], 60);
  Complex<double> z[2] = {{1, 2}, {3, 4}}, w[2] = {{5, 6}, {7, 8}};
  orv_elw_kernel_SetErrorCallBack([](OrvErrorRecord* record) {
    record->res1_im = -1;
    return 0;
  });
  ElwReportErrorZ(1, 1, z, z, w, w, "vzLn");
  EXPECT_EQ(w[1].re, 7);
  EXPECT_EQ(w[1].im, -1);
}

TEST_F(Report, MessagesWordForWord) {
  orv_elw_kernel_SetMode(ORV_ERRMODE_STDERR);
  auto printed = [&](int status, double arg2, double res2) {
    double const x[1] = {-4}, y[1] = {arg2};
    double r1[1] = {7}, r2[1] = {res2};
    testing::internal::CaptureStderr();
    ElwReportErrorD(status, 0, x, y, r1, r2, "vdName");
    return testing::internal::GetCapturedStderr();
  };
  std::string const domain = "orv: vdName: argument outside the domain of the function\n",
                    one_argument = "orv:   element 0: argument -4\n",
                    one_result = "orv:   element 0: result 7\n";
  EXPECT_EQ(printed(1, -4, 7), domain + one_argument + one_result);
  EXPECT_EQ(printed(1, 0.0, 7), domain + one_argument + one_result)
      << "a second operand of zero counts as none";
  EXPECT_EQ(printed(1, NAN, 7),
            domain + "orv:   element 0: first argument -4\norv:   element 0: second argument nan\n" +
                one_result)
      << "a NaN is a second operand";
  EXPECT_EQ(printed(2, -4, 8), "orv: vdName: pole of the function, the result is infinite\n" + one_argument +
                                   "orv:   element 0: first result 7\norv:   element 0: second result 8\n");
  EXPECT_EQ(printed(3, 5, 0.1),
            "orv: vdName: overflow, the result is too large\n"
            "orv:   element 0: first argument -4\norv:   element 0: second argument 5\n"
            "orv:   element 0: first result 7\norv:   element 0: second result 0.10000000000000001\n");
  EXPECT_EQ(printed(4, -4, 7),
            "orv: vdName: underflow, the result is too small\n" + one_argument + one_result);
  EXPECT_EQ(printed(-1, 5, 8), "orv: vdName: argument 0 is not valid\n");
  EXPECT_EQ(printed(-2, 5, 8), "orv: vdName: memory that was given cannot be accessed\n");
  EXPECT_EQ(printed(9, -4, 7), "orv: vdName: unknown error\n" + one_argument + one_result);
  EXPECT_EQ(printed(0, 5, 8), "");
  // A NaN that stands in for the second operand is that of the first.
  double const nan[1] = {NAN};
  double result[1] = {7};
  testing::internal::CaptureStderr();
  ElwReportErrorD(1, 0, nan, nan, result, result, "vdName");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), domain + "orv:   element 0: argument nan\n" + one_result);
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
  // Flags add up; control word and stack stay.
  __asm__ volatile("fnclex");
  uint16_t before, after;
  __asm__ volatile("fnstcw %0" : "=m"(before));
  ElwReportErrorD(1, 0, a, a, r, r, "vdLn");
  ElwReportErrorD(2, 0, a, a, r, r, "vdLn");
  __asm__ volatile("fnstcw %0" : "=m"(after));
  EXPECT_EQ(x87_flags(), 0x05);
  EXPECT_EQ(after, before);
  __asm__ volatile("fnclex");
  orv_elw_kernel_SetMode(ORV_ERRMODE_ERRNO);
  ElwReportErrorD(1, 0, a, a, r, r, "vdLn");
  EXPECT_EQ(x87_flags(), 0) << "not asked for";
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
    // Another status than the trapped one is not delivered, nor an exception that was raised before.
    uint32_t const without_trap = ORV_HA | ORV_ERRMODE_EXCEPT;
    ElwGetThreadState().mode = without_trap;
    ElwReportErrorD(c.status, 0, a, a, r, r, "vdLn");
    ElwGetThreadState().mode = without_trap | c.trap;
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
