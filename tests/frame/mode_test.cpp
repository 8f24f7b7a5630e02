// Mode word, default from the environment, per-thread blocks.
#include "frame/thread_state.h"
#include "tests/support/environment.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace orv {
namespace {

// The mode of a fresh thread under a value of the variable; null unsets it.
uint32_t fresh_mode(const char* value, uint32_t (*first_use)() = &orv_elw_kernel_GetMode) {
  test::set_environment("ORV_ELW_MODE", value);
  uint32_t mode = 0;
  std::thread([&] { mode = first_use(); }).join();
  test::set_environment("ORV_ELW_MODE", nullptr);
  return mode;
}

TEST(Mode, DefaultComesFromTheEnvironment) {
  struct {
    const char* value;
    uint32_t mode;
  } const cases[] = {
      {nullptr, 0x1A02},
      {"", 0x1A02},
      {"ELW_EP", 0x1A03},
      {"ELW_LA,ELW_ERRMODE_STDERR", 0x401},
      {"ELW_LA,ELW_HA", 0x1A03},
      {"ELW_ERRMODE_ERRNO,ELW_ERRMODE_STDERR", 0x602},
      {"ELW_DEFAULT_PRECISION", 0x1A02},
      {"ELW_ERRMODE_DEFAULT,ELW_TRAP_INVALID", 0x1001A02},
      {"ELW_FLOAT_CONSISTENT", 0x1A12},
      {"ELW_DOUBLE_CONSISTEN", 0x1A22},
      {"ELW_DOUBLE_CONSISTENT", 0x1A02},
      {"ELW_RESTORE,ELW_ERRMODE_NOERR", 0x2032},
      {"ELW_EP,", 0x1A02},
      {",ELW_EP", 0x1A02},
      {"ELW_EP, ELW_LA", 0x1A02},
      {"elw_ep", 0x1A02},
      {"ELW_EPX", 0x1A02},
      {"EP", 0x1A02},
      {"ELW_EPTELW_LA", 0x1A02},
      {"ELW_EP;ELW_LA", 0x1A02},
      {"ELW_EP,ELW_NONSENSE", 0x1A02},
  };
  for (auto const& c : cases) EXPECT_EQ(fresh_mode(c.value), c.mode) << (c.value ? c.value : "(unset)");
}

TEST(Mode, ALongValueIsCutAndParsedAsCut) {
  std::string value;
  while (value.size() + 7 <= 251) value += "ELW_EP,";
  std::string const kept = value.substr(0, value.size() - 1);
  EXPECT_EQ(fresh_mode(kept.c_str()), 0x1A03u);
  // 255 characters are read: what stands behind them cannot spoil the value, what is cut in two does.
  std::string at_limit = "ELW_EP";
  while (at_limit.size() < 255) at_limit += at_limit.size() + 7 <= 255 ? ",ELW_EP" : "X";
  EXPECT_EQ(fresh_mode(at_limit.c_str()), 0x1A02u);
  std::string exactly = "ELW_RESTORE"; // 11 + 7 * 35 = 256 characters; the last one is cut off
  while (exactly.size() < 256) exactly += ",ELW_EP";
  EXPECT_EQ(exactly.size(), 256u);
  EXPECT_EQ(fresh_mode(exactly.c_str()), 0x1A02u);
}

TEST(Mode, SetReplacesWholeFieldsThatAreNotZero) {
  ElwGetThreadState().mode = 0x1A02;
  EXPECT_EQ(orv_elw_kernel_SetMode(0), 0x1A02u);
  EXPECT_EQ(orv_elw_kernel_SetMode(0x300), 0x1A02u);
  EXPECT_EQ(orv_elw_kernel_GetMode(), 0x302u);
  orv_elw_kernel_SetMode(1);
  EXPECT_EQ(orv_elw_kernel_GetMode(), 0x301u);
  orv_elw_kernel_SetMode(0x140000);
  orv_elw_kernel_SetMode(0x9020000);
  EXPECT_EQ(orv_elw_kernel_GetMode(), 0x9160301u);
  orv_elw_kernel_SetMode(0xF0); // consistency is not settable
  EXPECT_EQ(_elwGetMode(), 0x9160301u);
  orv_elw_kernel_SetMode(0x280000);
  EXPECT_EQ(orv_elw_kernel_GetMode(), 0x92A0301u);
  EXPECT_EQ(orv_elw_kernel_GetTTableIndex(), 0);
  EXPECT_EQ(orv_elw_kernel_GetTTableIndexM(77, 3), 2);
  EXPECT_EQ(fresh_mode("ELW_EP",
                       [] {
                         orv_elw_kernel_SetMode(0);
                         return orv_elw_kernel_GetMode();
                       }),
            0x1A03u);
}

TEST(Mode, EachFieldIsReplacedAloneAndWhole) {
  // Every value of a field after every other one; the rest of the word stays.
  constexpr uint32_t fields[] = {0x3, 0xFF00, 0x3C0000, 0xF000000, 0x20000};
  for (uint32_t mask : fields)
    for (uint32_t lowest = mask & -mask, old = lowest; old <= mask; old += lowest)
      for (uint32_t value : {lowest, mask, mask & (lowest * 2), mask & (lowest * 5)}) {
        if ((old & ~mask) || !value) continue;
        uint32_t const others = 0x1A02 & ~mask;
        ElwGetThreadState().mode = others | old;
        orv_elw_kernel_SetMode(value);
        uint32_t const mode = orv_elw_kernel_GetMode();
        ASSERT_EQ(mode & ~mask, others) << std::hex << mask << " " << old << " " << value;
        if (mask != 0x20000) {
          ASSERT_EQ(mode & mask, value) << std::hex << mask << " " << old << " " << value;
        }
      }
  ElwGetThreadState().mode = 0x1A02;
}

TEST(Mode, TheTableIndexIsThatOfTheAccuracy) {
  for (uint32_t accuracy : {1u, 2u, 3u}) {
    ElwGetThreadState().mode = 0x1A00 | accuracy;
    EXPECT_EQ(orv_elw_kernel_GetTTableIndex(), static_cast<int>(accuracy) - 1);
    EXPECT_EQ(orv_elw_kernel_GetTTableIndexM(0, 0x141A30 | accuracy), static_cast<int>(accuracy) - 1);
  }
  ElwGetThreadState().mode = 0x1A02;
}

int other_callback(OrvErrorRecord*) { return 1; }

TEST(Mode, CallbackAndVectorPointerBelongToTheThread) {
  orv_elw_kernel_SetErrorCallBack(other_callback);
  int here;
  EXPECT_EQ(orv_elw_kernel_SetInterfInputVectorPointer(&here), &here);
  std::thread([] {
    EXPECT_EQ(orv_elw_kernel_GetErrorCallBack(), nullptr);
    EXPECT_EQ(ElwGetThreadState().interfInputVector, nullptr);
    EXPECT_EQ(orv_elw_kernel_GetMode(), 0x1A02u);
  }).join();
  EXPECT_EQ(ElwGetThreadState().interfInputVector, &here);
  orv_elw_kernel_SetInterfInputVectorPointer(nullptr);
  EXPECT_EQ(orv_elw_kernel_ClearErrorCallBack(), other_callback);
  ElwGetThreadState().mode = 0x1A02;
}

TEST(Mode, ThreadsHaveTheirOwn) {
  ElwGetThreadState().mode = 0x1A01;
  orv_elw_kernel_SetErrStatus(3);
  std::thread([] {
    orv_elw_kernel_SetMode(0x1A03);
    EXPECT_EQ(orv_elw_kernel_GetErrStatus(), 0);
    EXPECT_EQ(orv_elw_kernel_GetMode(), 0x1A03u);
  }).join();
  EXPECT_EQ(orv_elw_kernel_GetMode(), 0x1A01u);
  EXPECT_EQ(orv_elw_kernel_ClearErrStatus(), 3);
  EXPECT_EQ(orv_elw_kernel_SetErrStatus(5), 0);
  EXPECT_EQ(_elwClearErrStatus(), 5);
}

int some_callback(OrvErrorRecord*) { return 0; }

TEST(Mode, CallbackAndItsBit) {
  orv_elw_kernel_SetMode(0x200);
  EXPECT_EQ(orv_elw_kernel_SetErrorCallBack(some_callback), nullptr);
  EXPECT_EQ(orv_elw_kernel_GetMode() & 0xFF00, 0x1200u);
  orv_elw_kernel_SetMode(0x200);
  EXPECT_EQ(orv_elw_kernel_GetErrorCallBack(), some_callback) << "stored though its bit is gone";
  orv_elw_kernel_SetMode(0x1000);
  EXPECT_EQ(orv_elw_kernel_ClearErrorCallBack(), some_callback);
  EXPECT_EQ(orv_elw_kernel_GetMode() & 0xFF00, 0x1000u) << "an empty error field is left alone";
  orv_elw_kernel_SetMode(0x200);
  orv_elw_kernel_SetErrorCallBack(some_callback);
  orv_elw_kernel_ClearErrorCallBack();
  EXPECT_EQ(orv_elw_kernel_GetMode() & 0xFF00, 0x200u) << "the bit goes with the callback";
  orv_elw_kernel_SetMode(0x1A02);
}

} // namespace
} // namespace orv
